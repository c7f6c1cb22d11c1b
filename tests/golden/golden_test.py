#!/usr/bin/env python3
"""Compares `elfload dump --json` with the dumps kept in the folders beside this script.

    golden_test.py --elfload PATH [--update] SAMPLES

Each folder NAME has a dump.txt, made from SAMPLES/NAME/NAME.elf with a record a line, so that a difference reads like
code, and NOTES that say what it was checked against. --update writes the dumps anew.
"""
import argparse
import difflib
import json
import os
import pathlib
import subprocess
import sys

# Lists whose records get a line each; all else stays within the line of its record.
LISTS = {"modules", "procs", "vars", "types", "frames", "lineBlocks", "files", "sharedTypes"}


def lines(value, indent=0):
    """The document as lines: members of the document and of modules apart, each record of a list by itself."""
    pad = "  " * indent
    for key, member in value.items():
        if key in LISTS and member and isinstance(member, list):
            yield f"{pad}{key}:"
            for record in member:
                if key == "modules":
                    yield f"{pad}  - {record['name']}"
                    yield from lines(record, indent + 2)
                else:
                    yield f"{pad}  {json.dumps(record)}"
        elif key == "ext":
            yield f"{pad}{key}:"
            yield from lines(member, indent + 1)
        else:
            yield f"{pad}{key}: {json.dumps(member)}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--elfload", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("samples", type=pathlib.Path)
    options = parser.parse_args()
    failures = 0
    for folder in sorted(path.parent for path in pathlib.Path(__file__).parent.glob("*/NOTES")):
        # The file is named as it stands beside its sources; those may be younger than it in a fresh clone.
        result = subprocess.run([options.elfload.resolve(), "dump", "--json", f"{folder.name}.elf"], check=False,
                                cwd=options.samples / folder.name, env={**os.environ, "AUTOTEST": "ON"},
                                stdout=subprocess.PIPE)
        text = "\n".join(lines(json.loads(result.stdout))) + "\n"
        golden = folder / "dump.txt"
        if options.update:
            golden.write_text(text, encoding="utf-8")
            continue
        difference = list(difflib.unified_diff(golden.read_text(encoding="utf-8").splitlines(), text.splitlines(),
                                               str(golden), "elfload dump", lineterm="", n=1))
        print("\n".join(difference))
        failures += bool(difference) or result.returncode != 0
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
