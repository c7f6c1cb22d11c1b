#!/usr/bin/env python3
"""Compares `elfload dump` by the loader's rules with readelf: units, indexes, procedures, variables, types and frames.

    compare_dump.py --elfload PATH [--self-test] FILE_OR_FOLDER...

Indexes and location lists come from their bytes, all else from readelf. With --self-test the dump's values are
falsified one at a time, and each must be noticed. What is not there is passed over; a file without DWARF 2 too.
"""
import argparse
import copy
import json
import pathlib
import re
import subprocess
import sys

import index_sections
import readelf
from expected import LANGUAGES, Expected

# Operations whose operands the dump knows: all of DWARF 2 and some of later editions.
KNOWN_OPERATIONS = ({0x03, 0x06} | set(range(0x08, 0x9E)) | {0x9F}) - {0x9E}


class Checker:
    """Collects differences, each with the place where it was found."""

    def __init__(self):
        self.differences, self.compared = [], 0

    def equal(self, place, dumped, wanted):
        self.compared += 1
        if dumped != wanted:
            self.differences.append(f"{place}: dump has {dumped!r}, expected {wanted!r}")


class UnitChecker:
    """Compares one module of the dump with the entries of its unit."""

    def __init__(self, checker, module, unit, entries, sections, little):
        self.checker, self.module, self.unit = checker, module, unit
        self.expected = Expected(unit, entries)
        self.sections, self.little = sections, little
        self.place = module["name"]

    def equal(self, what, dumped, wanted):
        self.checker.equal(f"{self.place}: {what}", dumped, wanted)

    def run(self):
        self.check_unit()
        self.check_indexes()
        self.check_procs()
        self.check_list("vars", self.module["vars"], self.expected.vars, self.check_var)
        self.check_types()

    def check_unit(self):
        module, root = self.module, self.unit.root
        low, high = root.number("DW_AT_low_pc"), root.number("DW_AT_high_pc")
        name = readelf.base_name(root.text("DW_AT_name") or "")
        self.equal("name", module["name"].split(":", 1)[-1], name)
        self.equal("lowPc", module["lowPc"], low or 0)
        self.equal("highPc", module["highPc"], high or 0)
        self.equal("hasRange", module["hasRange"], int(None not in (low, high) and (low, high) != (0, 0)))
        self.equal("language", module["language"], LANGUAGES.get(root.number("DW_AT_language"), 0))
        self.equal("extend", module["extend"], 1)
        self.equal("unitOffset", module["ext"]["unitOffset"], self.unit.offset)
        self.equal("addressSize", module["ext"]["addressSize"], self.unit.address_size)
        self.equal("lineOffset", module["ext"]["lineOffset"], root.number("DW_AT_stmt_list") or 0)

    def check_indexes(self):
        ext, unit = self.module["ext"], self.unit
        names = index_sections.read_names(self.sections.get(".debug_pubnames", b""), self.little)
        ranges = index_sections.read_ranges(self.sections.get(".debug_aranges", b""), self.little)
        self.equal("globalNames", ext["globalNames"], names.get(unit.offset, []))
        self.equal("addrRanges", ext["addrRanges"], ranges.get(unit.offset, []))

    def check_list(self, what, dumped, wanted, check):
        self.equal(f"number of {what}", len(dumped), len(wanted))
        for i, (record, facts) in enumerate(zip(dumped, wanted)):
            check(f"{what}[{i}] {facts['name']}", record, facts)

    def check_procs(self):
        procs = self.module["procs"]
        while procs and procs[-1]["name"].startswith("Line Info from 0x"):
            procs = procs[:-1]
        labels = self.expected.labels
        self.check_list("labels", procs[:len(labels)], labels, self.check_label)
        self.check_list("procs", procs[len(labels):], self.expected.procs, self.check_proc)

    def check_label(self, what, record, facts):
        self.equal(f"{what} name", record["name"], facts["name"])
        self.equal(f"{what} lowPc", record["lowPc"], facts["lowPc"])

    def check_proc(self, what, record, facts):
        for field in ("name", "lowPc", "highPc"):
            self.equal(f"{what} {field}", record[field], facts[field])
        self.check_reference(f"{what} returnType", record["returnType"], facts["returnType"], "shared:void")
        self.check_location(f"{what} frameBase", record["frameBase"], facts["frameBase"])
        self.check_list(f"{what} params", record["params"], facts["params"], self.check_var)
        self.check_list(f"{what} locals", record["locals"], facts["locals"], self.check_var)

    def check_var(self, what, record, facts):
        self.equal(f"{what} name", record["name"], facts["name"])
        self.check_reference(f"{what} type", record["type"], facts["type"], "shared:undefined")
        self.check_location(f"{what} location", record["location"], facts["location"])
        self.equal(f"{what} bitSize", record["bitSize"], facts["bitSize"] & 0xFF)
        offset = facts["bitOffset"]
        if offset is not None and self.module["ext"]["bitNumbering"] == 2:
            offset = record["byteSize"] * 8 - record["bitSize"] - offset
        self.equal(f"{what} bitOffset", record["bitOffset"], (offset or 0) & 0xFF)

    def check_reference(self, what, reference, offset, default):
        if offset is None:
            self.equal(what, reference, default)
            return
        number = reference[1:] if reference and reference[0] == "T" else ""
        types = self.module["types"]
        is_there = number.isdigit() and int(number) < len(types)
        self.equal(what, types[int(number)]["key"] if is_there else reference, offset)

    def check_location(self, what, locations, wanted):
        if wanted is None:
            self.equal(what, locations, None)
        elif isinstance(wanted, bytes):
            self.equal(f"{what} length", len(locations or []), 1)
            self.check_expression(what, (locations or [{}])[0], 0, 0xFFFFFFFF, wanted)
        else:
            entries = self.read_location_list(wanted)
            self.equal(f"{what} length", len(locations or []), len(entries))
            for record, (low, high, block) in zip(locations or [], reversed(entries)):
                self.check_expression(what, record, low, high, block)

    def check_expression(self, what, record, low, high, block):
        text = record.get("expression", "")
        rest = block[len(text) // 2:]
        self.equal(f"{what} range", (record.get("lowPc"), record.get("highPc")), (low, high))
        self.equal(f"{what} expression", text, block.hex()[:len(text)])
        self.equal(f"{what} ends early", bool(rest) and rest[0] in KNOWN_OPERATIONS, False)

    def read_location_list(self, offset):
        cursor = readelf.Bytes(self.sections.get(".debug_loc", b""), self.little, offset)
        entries = []
        while True:
            low, high = cursor.fixed(self.unit.address_size), cursor.fixed(self.unit.address_size)
            if (low, high) in ((0, 0), (0xFFFFFFFF, 0xFFFFFFFF)):
                return entries
            length = cursor.fixed(2)
            entries.append((low, high, cursor.data[cursor.position:cursor.position + length]))
            cursor.position += length

    def check_types(self):
        defined = {}
        for record in self.module["types"]:
            if record["key"] in self.expected.types:
                defined[record["key"]] = record
            else:
                self.equal(f"type {record['key']:#x}", (record["name"], record["kind"]), ("undefined", 0))
        self.equal("keys of types", sorted(defined), sorted(self.expected.types))
        self.equal("typeCount", self.module["typeCount"], len(self.module["types"]))
        for key, record in defined.items():
            self.check_type(f"type {key:#x}", record, self.expected.types[key])

    def check_type(self, what, record, facts):
        for field in ("kind", "name", "byteSize"):
            self.equal(f"{what} {field}", record[field], facts[field])
        if record["kind"] != facts["kind"]:
            return
        kind, items = record["kind"], record["items"]
        if kind == 0:
            self.equal(f"{what} encoding", items, facts["encoding"])
        elif kind == 3:
            self.equal(f"{what} enumerators", [(item["name"], item["value"] & 0xFFFFFFFF) for item in items],
                       [(name, value & 0xFFFFFFFF) for name, value in facts["items"]])
        elif kind == 7:
            self.equal(f"{what} dimensions", [tuple(item) for item in items], facts["items"])
            self.check_reference(f"{what} element", record["element"], facts["reference"], "shared:undefined")
        elif kind in (4, 5, 6, 8):
            self.check_list(f"{what} items", items, facts["items"], self.check_var)
        if kind in (4, 5, 6):
            self.check_list(f"{what} functions", record["target"], facts["functions"], self.check_proc)
        elif kind not in (3, 7):
            default = "shared:void" if kind == 8 else None
            self.check_reference(f"{what} target", record["target"], facts["reference"], default)


def run_elfload(elfload, *arguments, rules="loader"):
    return subprocess.run([elfload, "--rules", rules, *arguments], capture_output=True, check=False)


def check_finds(checker, path, elfload, dump):
    """Looks up the last indexed name of each unit and an address of each range: what the indexes decide fills the unit that
    is found, once, and units without an index of names up to there."""
    modules, filled, wanted = dump["modules"], set(), []
    names = [module["ext"]["globalNames"][0] for module in modules if module["ext"]["globalNames"]]
    for name in names:
        index = next(i for i, module in enumerate(modules)
                     if name in module["ext"]["globalNames"] or not module["ext"]["globalNames"] and
                     name in [record["name"] for record in module["procs"] + module["vars"]])
        new = [i for i, module in enumerate(modules[:index + 1])
               if i not in filled and (i == index or not module["ext"]["globalNames"])]
        filled.update(new)
        wanted.append({"what": name, "found": 1, "module": index, "filled": new})
    if names:
        found = json.loads(run_elfload(elfload, "find", "--json", path, *names).stdout)["results"]
        checker.equal(f"{path.name}: look-ups of names", found, wanted)
    for index, module in enumerate(modules):
        address = module["lowPc"] if module["hasRange"] else (module["ext"]["addrRanges"] or [[0]])[0][0]
        before = [other for other in modules[:index]
                  if not other["hasRange"] and not other["ext"]["addrRanges"] or holds(other, address)]
        if address == 0 or before:
            continue
        found = json.loads(run_elfload(elfload, "find", "--json", "--kind", "code", path, hex(address)).stdout)["results"]
        checker.equal(f"{path.name}: look-up of {hex(address)}", [(one["module"], one["filled"]) for one in found],
                      [(index, [index])])


def holds(module, address):
    if module["hasRange"]:
        return module["lowPc"] <= address < module["highPc"]
    return any(low <= address <= last for low, last in module["ext"]["addrRanges"])


def check_frame_text(checker, path, elfload):
    """Compares the instructions of each frame description in the text of the dump with readelf's."""
    frames, address = {}, None
    for line in run_elfload(elfload, "dump", path).stdout.decode("utf-8", "replace").splitlines():
        if match := re.match(r"    0x(\w{8})\.\.0x(\w{8})  code x", line):
            address = (int(match.group(1), 16), int(match.group(2), 16))
            frames.setdefault(address, []).append([])
        elif match := re.match(r"      (?:0x\w{8}  )?(DW_CFA_.*)", line):
            frames[address][-1] += match.group(1).split("; ")
    wanted = readelf.read_frames(path)
    checker.equal(f"{path.name}: addresses of frames", sorted(frames), sorted(wanted))
    for address, lists in wanted.items():
        checker.equal(f"{path.name}: instructions of frame {address}", sorted(frames.get(address, [])), sorted(lists))


def check_dump(checker, dump, units, entries, sections, little):
    checker.equal("number of units", len(dump["modules"]), len(units))
    for module, unit in zip(dump["modules"], units):
        UnitChecker(checker, module, unit, entries, sections, little).run()


CHECKED_FIELDS = {"name", "lowPc", "highPc", "language", "unitOffset", "lineOffset", "returnType", "type", "bitSize",
                  "expression", "key", "kind", "value", "globalNames", "addrRanges"}


def places(value, path=()):
    """Paths to the values that are compared. Of a list the last element is enough, but for the loader's own."""
    if isinstance(value, dict):
        for key, item in value.items():
            yield from places(item, (*path, key)) if key != "frames" else ()
    elif isinstance(value, list):
        indexes = [i for i, item in enumerate(value) if "Line Info" not in str(item)[:30]]
        yield from places(value[indexes[-1]], (*path, indexes[-1])) if indexes else ()
    elif CHECKED_FIELDS & set(path[-2:]):
        yield path


def change(value):
    if isinstance(value, int):
        return value + 1
    if value is None:
        return "shared:other"
    return value[:-2] + ("00" if value[-2:] != "00" else "01") if value else "x"


def self_test(dump, units, entries, sections, little):
    """Changes one value at a time; returns the names of those that the check does not notice, and how many were tried."""
    missed, tried = [], 0
    for unit, module in zip(units, dump["modules"]):
        for path in places(module):
            owner = changed = copy.deepcopy(module)
            for step in path[:-1]:
                owner = owner[step]
            owner[path[-1]] = change(owner[path[-1]])
            checker = Checker()
            UnitChecker(checker, changed, unit, entries, sections, little).run()
            tried += 1
            if not checker.differences:
                missed.append(f"{module['name']} {'.'.join(map(str, path))}")
    return missed, tried


def check_file(path, elfload, with_self_test):
    """Differences in one file; None for a file without DWARF 2."""
    result = run_elfload(elfload, "dump", "--json", path)
    dump = json.loads(result.stdout)
    if dump.get("debugFormat") != 2:
        return None
    checker = Checker()
    checker.equal("exit status", result.returncode, 0)
    units, entries = readelf.read_entries(path)
    sections, little = readelf.read_sections(path)
    checker.equal("littleEndian", dump["littleEndian"], int(little))
    if all(unit.address_size == 4 for unit in units):  # readelf takes no other size in .debug_frame
        check_frame_text(checker, path, elfload)
    check_finds(checker, path, elfload, dump)
    check_dump(checker, dump, units, entries, sections, little)
    print(f"{path.name}: {len(units)} units, {checker.compared} values, {len(checker.differences)} differences")
    if with_self_test and not checker.differences:
        missed, tried = self_test(dump, units, entries, sections, little)
        checker.differences += [f"falsified {name}: not noticed" for name in missed]
        print(f"{path.name}: {tried} values falsified, {len(missed)} not noticed")
    return checker.differences


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", required=True)
    parser.add_argument("--self-test", action="store_true")
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    files = [file for path in options.paths for file in (sorted(path.glob("**/*.elf")) if path.is_dir() else [path])]
    compared = failed = 0
    for path in files:
        differences = check_file(path, options.elfload, options.self_test) if path.exists() else None
        if differences is None:
            print(f"{path.name}: passed over")
            continue
        compared += 1
        failed += bool(differences)
        for difference in differences[:20]:
            print(f"  {difference}")
        if len(differences) > 20:
            print(f"  and {len(differences) - 20} more")
    if compared == 0:
        print("nothing to compare")
    return 1 if failed or compared == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
