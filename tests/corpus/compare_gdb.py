#!/usr/bin/env python3
"""Compares the dump by the published rules with gdb: members of every named structure (`ptype/o`: offsets,
bit positions, sizes), and the variables at the beginning of each procedure (`info scope`: names and sizes).

    compare_gdb.py [--elfload PATH] [--limit N] [--self-test] FILE...

Exit status 1 when something differs, or nothing was compared; 77 without gdb.
"""
import argparse
import collections
import copy
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from compare_published import run_elfload
from published_types import leb_offset

GDB = next((name for name in ("gdb-multiarch", "gdb") if shutil.which(name)), None)
MARK = "=== "


def ask(path, commands):
    """What gdb answers to each command."""
    with tempfile.NamedTemporaryFile("w", suffix=".gdb") as script:
        script.write(
            "set width 0\nset height 0\nset max-value-size unlimited\n"
            "set print type methods off\nset print type typedefs off\n"
        )
        for number, command in enumerate(commands):
            script.write(
                f"echo \\n{MARK}{number}\\n\npython\ntry:\n  for each in {command!r}.split(';'): gdb.execute(each)\n"
                "except gdb.error as error:\n  print('ERROR', error)\nend\n"
            )
        script.flush()
        result = subprocess.run([GDB, "-nx", "-batch", "-x", script.name, path], capture_output=True, check=False)
    answers, current = {}, []
    for line in result.stdout.decode("utf-8", "replace").splitlines():
        if line.startswith(MARK):
            current = answers.setdefault(int(line[len(MARK) :]), [])
        else:
            current.append(line)
    return [answers.get(number, []) for number in range(len(commands))]


OFFSETS = re.compile(r"/\*\s*(\d+)(?::\s*(\d+))?\s*\|\s*(\d+) \*/(.*)$")
UNION = re.compile(r"/\*\s{10,}(\d+) \*/(.*)$")


def members(lines, is_union):
    """(name, first bit, bits or 0, size) of each member that has an offset."""
    found, stack = [], []
    for line in lines[1:]:
        code = re.sub(r"/\*.*?\*/", "", line).strip()
        match, in_union = OFFSETS.match(line), UNION.match(line)
        if match:
            place = (8 * int(match.group(1)) + int(match.group(2) or 0), int(match.group(3)))
        elif in_union and (not stack and is_union):
            place = (0, int(in_union.group(1)))
        else:
            place = None
        if code.endswith("{"):
            stack.append(place)
        elif code.startswith("}"):
            if not stack:
                break
            place = stack.pop()
            if not stack and place:
                found.append((declared(code), place[0], 0, place[1]))
        elif not stack and place and code.endswith(";"):
            bits = re.search(r" : (\d+);$", code)
            found.append((declared(code), place[0], int(bits.group(1)) if bits else 0, place[1]))
    return found


def declared(code):
    """The name that a declaration declares."""
    code = re.sub(r" : \d+;$", "", code.rstrip(";").strip() + "" if " : " not in code else code).rstrip(";")
    pointer = re.search(r"\(\s*(?:\w+::)?[*&]+\s*(?:const )?(\w+)", code)
    if pointer:
        return pointer.group(1)
    code = re.sub(r"(\[[^]]*\])+$", "", code.strip("} ").strip())
    match = re.search(r"([\w.$]+)$", code)
    return match.group(1) if match else ""


class Dumped:
    """Structures and procedures of the dump."""

    def __init__(self, dump):
        self.dump, self.little = dump, dump["littleEndian"] == 1

    def size(self, module, reference, depth=0):
        if not reference or reference[0] != "T" or depth > 50:
            return None
        record = module["types"][int(reference[1:])]
        if record["kind"] in (1, 10, 11):
            return record["byteSize"] or self.size(module, record["target"], depth + 1)
        if record["kind"] == 7:
            element = self.size(module, record["element"], depth + 1)
            if element is None or record["byteSize"] < 0:  # of a stride
                return None
            for low, high in record["items"]:
                element *= max(0, high - low + 1)
            return element
        if record["kind"] == 2 and not record["byteSize"]:
            return module["ext"]["addressSize"]
        return record["byteSize"]

    def members(self, module, record):
        found = []
        for item in record["items"]:
            if item["name"].startswith(("_vptr", "baseclass")) or not item["name"]:
                continue
            location = item["location"]
            offset = leb_offset(bytes.fromhex(location[0]["expression"])) if location else 0
            first, bits = 8 * (offset or 0), item["bitSize"]
            if bits:
                inside = item["bitOffset"]
                if module["ext"]["bitNumbering"] == 2:
                    inside = 8 * item["byteSize"] - bits - inside
                first += 8 * item["byteSize"] - bits - inside if self.little else inside
            found.append((item["name"], first, bits, self.size(module, item["type"])))
        return found


def check_dump(path, dump, gdb):
    """Differences and counts. `gdb` keeps its answers, since they do not depend on the dump."""
    dumped, differences, compared = Dumped(dump), [], collections.Counter()
    structures, scopes = collections.defaultdict(list), []
    for module in dump["modules"]:
        for record in module["types"]:
            if record["kind"] in (4, 5, 6) and record["items"] and record["name"] not in ("struct", "union", "class"):
                structures[record["name"], record["kind"]].append((module, record))
        scopes += [
            (module, record)
            for record in module["procs"]
            if 0 < record["lowPc"] < record["highPc"] and (record["locals"] or record["params"])
        ]
    commands = {}
    for (name, kind), records in structures.items():
        word = {4: "struct ", 5: "union ", 6: "class "}[kind]
        language = "c++" if records[0][0]["language"] == 4 else "c"
        commands["type", name, kind] = f"set language {language};ptype/o {word}{name}"
    for module, record in scopes:
        commands["scope", record["lowPc"]] = f"info scope *{record['lowPc']:#x}"
    new = [key for key in commands if key not in gdb]
    gdb.update(zip(new, ask(path, [commands[key] for key in new])))
    for (name, kind), records in structures.items():
        lines = [line for line in gdb["type", name, kind] if line.strip() and not line.startswith("/* offset")]
        text = [line for line in gdb["type", name, kind] if "type = " in line]
        if not text or any(line.startswith("ERROR") for line in lines) or "<incomplete type>" in text[0]:
            compared["structures that gdb does not find"] += 1
            continue
        start = gdb["type", name, kind].index(text[0])
        wanted = [
            (each[0], each[1], each[2], each[3] if not each[2] else 0)
            for each in members(gdb["type", name, kind][start:], "type = union" in text[0])
            if each[0] and not each[0].startswith("_vptr")
        ]
        ours = [
            [
                (each[0], each[1], each[2], each[3] if not each[2] and each[3] is not None else 0)
                for each in dumped.members(*each)
            ]
            for each in records
        ]
        wanted_names = {each[0] for each in wanted}
        compared["structures"] += 1
        compared["members"] += len(wanted)
        # gdb shows one of those of a name, with sizes that it works out itself.
        same = [
            each
            for each in ours
            if [(w[0], w[1], w[2]) for w in wanted] == [(o[0], o[1], o[2]) for o in each if o[0] in wanted_names]
            and all(o[3] in (0, w[3]) or w[3] == 0 for o, w in zip([o for o in each if o[0] in wanted_names], wanted))
        ]
        if not same:
            differences.append(f"structure {name}: dump has {ours[:2]}, gdb has {wanted}")
    for module, record in scopes:
        wanted = {}
        for line in gdb["scope", record["lowPc"]]:
            match = re.match(r"Symbol (\S+) is .*?(?:length (\d+)\.)?$", line)
            if match and not re.search(
                r" is (a typedef|a constant|a label|a function|a bogus symbol|optimized out)", line
            ):
                wanted[match.group(1).strip("<>")] = match.group(2)
        compared["procedures"] += bool(wanted)
        compared["variables"] += len(wanted)
        ours = {each["name"] for each in record["params"] + record["locals"]}
        if not set(wanted) <= ours:
            differences.append(
                f"procedure {record['name']} {record['lowPc']:#x}: dump lacks {sorted(set(wanted) - ours)}"
            )
    return differences, compared


def self_test(path, dump, gdb):
    """What falsified members are not noticed."""
    missed, tried = [], 0
    before = set(check_dump(path, dump, gdb)[0])
    for number, module in enumerate(dump["modules"]):
        done = set()
        for index, record in enumerate(module["types"]):
            if (
                record["kind"] not in (4, 5, 6)
                or record["name"] in ("struct", "union", "class")
                or sum(other["name"] == record["name"] for each in dump["modules"] for other in each["types"]) > 1
            ):
                continue
            for item, member in enumerate(record["items"]):
                for field in ("name", "bitOffset", "bitSize", "location"):
                    if (
                        field.startswith("bit")
                        and not member["bitSize"]
                        or (number, field) in done
                        or not member["location"]
                        and field == "location"
                    ):
                        continue
                    if (
                        not gdb.get(("type", record["name"], record["kind"]))
                        or member["name"].startswith(("_vptr", "baseclass"))
                        or not member["name"]
                    ):
                        continue
                    changed = copy.deepcopy(dump)
                    target = changed["modules"][number]["types"][index]["items"][item]
                    if field == "location":
                        target[field][0]["expression"] = "2301" if target[field][0]["expression"] != "2301" else "2302"
                    else:
                        target[field] = target[field] + ("x" if field == "name" else 1)
                    tried += 1
                    done.add((number, field))
                    if set(check_dump(path, changed, gdb)[0]) <= before:
                        missed.append(f"{module['name']} {record['name']}.{member['name']} {field}")
    return missed, tried


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", default="build/release/elfload")
    parser.add_argument("--limit", type=int, default=10)
    parser.add_argument("--self-test", action="store_true")
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    if GDB is None:
        print("gdb is not there")
        return 77
    failed = total = 0
    for path in options.paths:
        dump, _ = run_elfload(options.elfload, path)
        if dump.get("debugFormat") != 2:
            continue
        gdb = {}
        differences, compared = check_dump(path, dump, gdb)
        if options.self_test:
            missed, tried = self_test(path, dump, gdb)
            compared["falsified values"] = tried
            differences += [f"falsified {each}: not noticed" for each in missed]
        total += sum(compared.values())
        failed += bool(differences)
        print(
            f"{path.name}: {len(differences)} differences; compared "
            + ", ".join(f"{count} {kind}" for kind, count in compared.items())
        )
        for difference in differences[: options.limit]:
            print("  " + difference)
        if len(differences) > options.limit:
            print(f"  and {len(differences) - options.limit} more")
    return 1 if failed or not total else 0


if __name__ == "__main__":
    sys.exit(main())
