#!/usr/bin/env python3
"""Compares `elfload dump --json` by the published rules with what llvm-dwarfdump reads: units, procedures, variables,
locals, types with members, bit fields, bounds and enumerators, inlined calls, ranges of units, line rows.

    compare_published.py [--elfload PATH] [--limit N] [--self-test] FILE_OR_FOLDER...

Prints each difference and how much of each kind was compared. With --self-test values of the dump are
falsified one at a time, and each must be noticed. Files without DWARF 2 to 5 are passed over. Exit
status 1 when something differs.
"""
import argparse
import collections
import copy
import json
import os
import pathlib
import re
import subprocess
import sys

import dwarfdump
import index_sections
import readelf
from published import Image, Reading
from published_units import Checker, UnitChecker


def check_dump(path, dump, units, reading, context):
    checker = Checker()
    modules = {module["ext"]["unitOffset"]: module for module in dump["modules"]}
    if context["compressed"]:  # no unit can be read
        checker.equal("unit", "units of compressed sections", dump["modules"], [])
        return checker
    whole = [
        unit
        for unit in units
        if unit.section == ".debug_info" and unit.root.tag in ("DW_TAG_compile_unit", "DW_TAG_skeleton_unit")
    ]
    checker.equal(
        "unit",
        "units in order",
        [module["ext"]["unitOffset"] for module in dump["modules"]],
        [unit.offset for unit in whole],
    )
    for unit in whole:
        if unit.offset in modules:
            UnitChecker(checker, modules[unit.offset], unit, reading, context).run()
    return checker


CHECKED = {
    "name",
    "lowPc",
    "highPc",
    "type",
    "returnType",
    "byteSize",
    "kind",
    "bitSize",
    "bitOffset",
    "value",
    "items",
    "expression",
    "depth",
    "line",
    "column",
    "addresses",
    "lines",
    "columns",
    "addrRanges",
    "element",
    "target",
    "fileName",
}


def places(value, path=()):
    """Paths to values, those of the last element of its kind in each list."""
    if isinstance(value, dict):
        for key, item in value.items():
            if key not in (
                "frames",
                "codeMarks",
                "mergedModules",
                "files",
                "callKind",
                "frameBase",
                "returnAddress",
                "globalNames",
            ):
                yield from places(item, (*path, key))
    elif isinstance(value, list) and value:
        last = {
            (item.get("kind"), bool(item.get("bitSize"))) if isinstance(item, dict) else None: i
            for i, item in enumerate(value)
            if "Line Info" not in str(item)[:30] and item != 0xFFFFFFFF
        }
        for i in last.values():
            yield from places(value[i], (*path, i))
    elif len(path) > 1 and path[-1] in ("items", "element", "target") and isinstance(value, int):
        return  # what a record of that kind has no use for
    elif "target" in path[:-1] and path[-1] != "name":
        return  # of member functions the names are compared
    elif path[-1] in ("byteSize", "bitSize", "bitOffset") and "items" not in path and path[0] != "types":
        return
    elif next((step for step in reversed(path) if isinstance(step, str)), "") in CHECKED:
        yield path


def falsified(field, old):
    if isinstance(old, int):
        return old + 1
    if field == "expression":
        return old[:-1] + ("0" if old[-1] != "0" else "1")
    return "shared:other" if old.startswith(("T", "shared:")) else old + "x"


def self_test(path, dump, units, reading, context):
    """Falsifies one value at a time. What no difference comes of, by the member's path without numbers."""
    missed, tried = collections.Counter(), collections.Counter()
    before = set(check_dump(path, dump, units, reading, context).differences)
    for number, module in enumerate(dump["modules"]):
        for where in places(module):
            changed = dict(dump)
            changed["modules"] = list(dump["modules"])
            changed["modules"][number] = owner = copy.deepcopy(module)
            for step in where[:-1]:
                owner = owner[step]
            old = owner[where[-1]]
            if old in (None, "", []):
                continue
            owner[where[-1]] = falsified(where[-1], old)
            kind = ".".join(step for step in where if isinstance(step, str))
            tried[kind] += 1
            if set(check_dump(path, changed, units, reading, context).differences) <= before:
                missed[kind] += 1
    return missed, tried


def run_elfload(elfload, path):
    """`elfload dump --json FILE` with the published rules, however this elfload is asked for them."""
    environment = {**os.environ, "DWARFRULES": "PUBLISHED"}
    help_text = subprocess.run([elfload, "--help"], capture_output=True, check=False).stdout.decode()
    rules = ["--rules", "published"] if "--rules" in help_text else []
    result = subprocess.run(
        [elfload, *rules, "dump", "--json", path], capture_output=True, check=False, env=environment
    )
    return json.loads(result.stdout), result.returncode


def sections_of(path):
    return subprocess.run(["readelf", "-SW", path], capture_output=True, check=True).stdout.decode("utf-8", "replace")


def is_compressed(path):
    return re.search(r"\.debug_\w+ .* [A-Z]*C[A-Z]* +\d+ +\d+ +\d+$", sections_of(path), re.MULTILINE) is not None


def is_incomplete(path, units):
    """Whether the rest is in another file, or compressed: the program says so, and ends with 1."""
    return (
        is_compressed(path)
        or ".gnu_debugaltlink" in sections_of(path)
        or any("DW_AT_dwo_name" in unit.root.values or "DW_AT_GNU_dwo_name" in unit.root.values for unit in units)
    )


def check_file(path, options):
    dump, status = run_elfload(options.elfload, path)
    if dump.get("debugFormat") != 2:
        return None
    units, entries = dwarfdump.read_units(path)
    sections, little = readelf.read_sections(path)
    reading = Reading(units, entries, Image(path))
    context = {
        "sections": sections,
        "lines": dwarfdump.read_line_tables(path),
        "compressed": is_compressed(path),
        "aranges": index_sections.read_ranges(sections.get(".debug_aranges", b""), little, by_length=True),
    }
    checker = check_dump(path, dump, units, reading, context)
    checker.equal("unit", "exit status", status, int(is_incomplete(path, units)))
    print(
        f"{path.name}: {len(dump['modules'])} units, exit status {status}, {len(checker.differences)} differences; "
        "compared " + ", ".join(f"{count} {kind}" for kind, count in sorted(checker.compared.items()))
    )
    differences = checker.differences
    if options.self_test:
        missed, tried = self_test(path, dump, units, reading, context)
        print(f"{path.name}: {sum(tried.values())} values falsified, {sum(missed.values())} not noticed")
        differences = differences + [
            f"falsified {kind}: {count} of {tried[kind]} not noticed" for kind, count in missed.items()
        ]
    return differences


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", default="build/release/elfload")
    parser.add_argument("--limit", type=int, default=20)
    parser.add_argument("--self-test", action="store_true")
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    if dwarfdump.PROGRAM is None:
        print("llvm-dwarfdump is not there")
        return 77
    files = [file for path in options.paths for file in (sorted(path.glob("**/*.elf")) if path.is_dir() else [path])]
    compared = failed = 0
    for path in files:
        differences = check_file(path, options)
        if differences is None:
            print(f"{path.name}: passed over")
            continue
        compared += 1
        failed += bool(differences)
        for difference in differences[: options.limit]:
            print(f"  {difference}")
        if len(differences) > options.limit:
            print(f"  and {len(differences) - options.limit} more")
    print(f"{compared} files compared, {failed} differ")
    return 1 if failed or compared == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
