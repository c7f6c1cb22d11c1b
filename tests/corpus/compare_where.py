#!/usr/bin/env python3
"""Compares `elfload where` with addr2line for every code symbol of a file: procedures, base names of files, lines.

    compare_where.py [--elfload PATH] [--limit N] [--names-only] [--self-test] FILE...

addr2line reads a copy without symbols where llvm-objcopy is there, so that its names come from debug information;
where it has none nothing is compared. Names are compared without scopes and arguments. With --self-test answers are
falsified, and each must be noticed. Exit
status 1 when something differs, or nothing was compared; 77 without addr2line.
"""
import argparse
import collections
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

OBJCOPY = next((name for name in ("llvm-objcopy-14", "llvm-objcopy") if shutil.which(name)), None)


def symbols(path):
    """Addresses of code symbols with their names, without the bit that marks Thumb code."""
    result = subprocess.run(["readelf", "-sW", path], capture_output=True, check=True).stdout.decode("utf-8", "replace")
    is_arm = "ARM" in subprocess.run(["readelf", "-hW", path], capture_output=True, check=True).stdout.decode(
        "utf-8", "replace"
    )
    found = {}
    for line in result.splitlines():
        words = line.split()
        if len(words) >= 8 and words[3] in ("FUNC", "<OS") and words[6] not in ("UND", "ABS"):
            found[int(words[1], 16) & ~(1 if is_arm else 0)] = words[7]
    return found


def chunks(items, size=2000):
    items = list(items)
    return [items[i : i + size] for i in range(0, len(items), size)]


def without_symbols(path, folder):
    """A copy without symbols, or the file itself."""
    copy = pathlib.Path(folder, path.name)
    if (
        OBJCOPY
        and subprocess.run([OBJCOPY, "-w", "--strip-symbol=*", path, copy], capture_output=True, check=False).returncode
        == 0
    ):
        return copy
    return path


def addr2line(path, addresses):
    """The outermost function, base name and line of each address: (name, file, line), innermost file and line."""
    text = "\n".join(map(hex, addresses)) + "\n"
    result = subprocess.run(
        ["addr2line", "-a", "-f", "-i", "-C", "-e", path], input=text.encode(), capture_output=True, check=True
    )
    answers, frames = {}, []
    for line in result.stdout.decode("utf-8", "replace").splitlines():
        if re.fullmatch(r"0x[0-9a-f]{8,16}", line):
            frames = answers.setdefault(int(line, 16), [])
        else:
            frames.append(line)
    found = {}
    for address, lines in answers.items():
        place = re.match(r"(.*):(\d+|\?)", lines[1])
        found[address] = (lines[-2], place.group(1).rsplit("/", 1)[-1], place.group(2))
    return found


def without_arguments(name):
    """The last part of a qualified name, without arguments and those of templates; operators stay whole."""
    name = re.sub(
        r"\[clone [^]]*\]|\.(constprop|isra|part|cold|lto_priv)(\.\d+)*|\[abi:\w+\]|^__\w+?_MOD_", "", name
    ).strip()
    name = name.replace("(anonymous namespace)", "{anonymous}")
    depth, kept = 0, ""
    for position, character in enumerate(name):
        if depth == 0 and name.startswith("operator", position) and not (kept and kept[-1].isalnum()):
            return re.sub(r"\s|(?<!operator)\(.*", "", name[position:])
        if depth == 0 and character == "(" and kept:
            break
        depth += (character in "<{(") - (character in ">})")
        if depth == 0 and character == ":":
            kept = ""
        elif depth == 0 and character not in ">})":
            kept += character
    return kept.strip().split(" ")[-1].rstrip("_")  # Fortran adds one


def where(elfload, path, addresses):
    environment = {**os.environ, "DWARFRULES": "PUBLISHED"}
    help_text = subprocess.run([elfload, "--help"], capture_output=True, check=False).stdout.decode()
    rules = ["--rules", "published"] if "--rules" in help_text else []
    result = subprocess.run(
        [elfload, *rules, "where", "--json", path, *map(hex, addresses)],
        capture_output=True,
        check=False,
        env=environment,
    )
    return json.loads(result.stdout)["results"]


def compare(names, theirs, by_symbol, answers, names_only):
    """Differences of elfload's answers, what was compared, and how many addresses neither knows."""
    differences, compared, uncovered = [], collections.Counter(), 0
    for answer in answers:
        address = answer["address"]
        name, file, line = theirs[address]
        procedure, row = answer.get("procedure"), answer.get("row")
        ours = procedure["name"] if procedure and not procedure["name"].startswith("Line Info from") else "??"
        if name == "??":
            uncovered += 1
            continue
        compared["names"] += 1
        # The symbol decides where an assembler's procedure begins a byte late and addr2line takes the one before.
        if without_arguments(ours) not in (
            without_arguments(name),
            without_arguments(by_symbol.get(address, ("",))[0]),
            names[address],
        ):
            differences.append(f"{address:#x} {names[address]}: elfload {ours!r}, addr2line {name!r}")
        if not names_only and line not in ("?", "0"):
            compared["lines"] += 1
            mine = (row["fileName"].replace("\\", "/").rsplit("/", 1)[-1], str(row["line"])) if row else None
            if mine != (file, line):
                differences.append(f"{address:#x} {names[address]}: elfload {mine}, addr2line {(file, line)}")
    return differences, compared, uncovered


def self_test(names, theirs, by_symbol, answers):
    """What falsified answers are not noticed."""
    missed = []
    before = set(compare(names, theirs, by_symbol, answers, False)[0])
    for number, answer in enumerate(answers):
        for part, field in (("procedure", "name"), ("row", "line")):
            if (
                not answer.get(part)
                or theirs[answer["address"]][0] == "??"
                or theirs[answer["address"]][2] in ("?", "0")
            ):
                continue
            changed = [*answers]
            old = answer[part][field]
            changed[number] = {**answer, part: {**answer[part], field: old + (1 if field == "line" else "x")}}
            if set(compare(names, theirs, by_symbol, changed, False)[0]) <= before:
                missed.append(f"falsified {field} at {answer['address']:#x} not noticed")
    return missed


def check(path, options, folder):
    names, plain = symbols(path), without_symbols(path, folder)
    differences, compared, uncovered = [], collections.Counter(), 0
    for part in chunks(sorted(names)):
        theirs, by_symbol = addr2line(plain, part), addr2line(path, part) if plain != path else {}
        answers = where(options.elfload, path, part)
        found, counts, unknown = compare(names, theirs, by_symbol, answers, options.names_only)
        differences += found + (self_test(names, theirs, by_symbol, answers) if options.self_test else [])
        compared += counts
        uncovered += unknown
    print(
        f"{path.name}: {len(names)} code symbols, compared {compared['names']} names and {compared['lines']} lines, "
        f"{uncovered} without debug information, {len(differences)} differences"
    )
    for difference in differences[: options.limit]:
        print("  " + difference)
    if len(differences) > options.limit:
        print(f"  and {len(differences) - options.limit} more")
    return bool(differences), sum(compared.values())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", default="build/release/elfload")
    parser.add_argument("--limit", type=int, default=10)
    parser.add_argument("--names-only", action="store_true")
    parser.add_argument("--self-test", action="store_true")
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    if not shutil.which("addr2line") or not shutil.which("readelf"):
        print("addr2line and readelf are not there")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        results = [check(path, options, folder) for path in options.paths]
    return 1 if any(failed for failed, _ in results) or not sum(count for _, count in results) else 0


if __name__ == "__main__":
    sys.exit(main())
