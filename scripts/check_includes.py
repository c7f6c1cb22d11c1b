#!/usr/bin/env python3
"""Checks that includes go down the rooms of a tree only, and that no file includes itself round a circle.

    check_includes.py [ROOT]    the project's folder; prints each wrong include as FILE:LINE, exit status 1

First it checks itself on a small tree with every kind of mistake.
"""
import pathlib
import re
import sys
import tempfile

# Rooms of each tree from the top to the bottom. A file includes its own room and those below; rooms of one line do not
# know each other. Files beside the rooms, such as main.cpp, are above all of them.
ROOMS = {
    "cli": [["commands"], ["json", "text"], ["session"], ["target"], ["terminal"]],
    "plugin": [["loader"], ["dwarf1", "dwarf2"], ["dwarf"], ["elf"], ["records"]],
}
# What a tree includes of the others: prefixes, or a whole path with the only files that may include it.
OTHERS = {
    "cli": {
        "tarnixcore/": None,
        "records/debug_records.h": None,
        "loader/elf_loader.h": None,
        "loader/exports.h": ["session/loader_module.cpp"],
        "loader/loader_failure.h": ["session/loader_module.cpp"],
        "loader/loader_unit.h": ["session/loader_module.cpp"],
        "loader/code_download.h": ["target/load_code.h"],
        "elf/": ["session/loader_module.cpp"],
    },
    "plugin": {"tarnixcore/": None},
}
INCLUDE = re.compile(r'\s*#\s*include\s+"([^"]+)"')


def includes(path):
    """(line number, name) of each include in quotes."""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        found = INCLUDE.match(line)
        if found:
            yield number, found.group(1)


def level(tree, file):
    """Room of a file, from its path in the tree, and how far that is below the top."""
    room = file.split("/")[0] if "/" in file else ""
    for number, rooms in enumerate(ROOMS[tree], 1):
        if room in rooms:
            return room, number
    return room, None if room else 0


def why_not(tree, file, name, files):
    """What is wrong with `file` including `name`; empty when it may."""
    if name in files:
        (room, above), (target, below) = level(tree, file), level(tree, name)
        if above is None or below is None:
            return f"{room if above is None else target}/ is none of the rooms"
        if above > below:
            return f"{room or tree} includes {target or 'a file above all rooms'}, which is above it"
        return f"{room} and {target} are beside each other" if above == below and room != target else ""
    for prefix, only in OTHERS[tree].items():
        if name == prefix or (prefix.endswith("/") and name.startswith(prefix)):
            return "" if only is None or file in only else f"only {', '.join(only)} includes {prefix}"
    return "no such file in this tree, and nothing that it takes from others"


def circles(graph):
    """Each circle once, as the files along it."""
    found, done = [], set()

    def walk(file, path):
        if file in path:
            found.append(path[path.index(file):] + [file])
        elif file not in done:
            for target in graph[file]:
                walk(target, path + [file])
            done.add(file)

    for file in sorted(graph):
        walk(file, [])
    return found


def check(root):
    """All complaints about the trees below `root`."""
    complaints = []
    for tree in ROOMS:
        folder = root / tree
        files = {str(path.relative_to(folder).as_posix()): path for path in sorted(folder.rglob("*"))
                 if path.suffix in (".h", ".cpp")}
        graph = {file: [] for file in files}
        for file, path in files.items():
            for number, name in includes(path):
                wrong = why_not(tree, file, name, files)
                if wrong:
                    complaints.append(f"{tree}/{file}:{number}: {name}: {wrong}")
                if name in files:
                    graph[file].append(name)
        complaints += [f"{tree}: a circle: {' > '.join(circle)}" for circle in circles(graph)]
    return complaints


SAMPLE = {  # file: its includes; a word after the include is part of the complaint that it must cause
    "cli/main.cpp": [("commands/go.h", "")],
    "cli/commands/go.h": [("text/words.h", ""), ("tarnixcore/heap.h", ""), ("go.h", "no such file")],
    "cli/text/words.h": [("json/value.h", "beside"), ("session/open.h", ""), ("elf/elf_image.h", "only session")],
    "cli/json/value.h": [("terminal/bell.h", ""), ("main.cpp", "above")],
    "cli/session/open.h": [("commands/go.h", "above it")],  # and with that a circle
    "cli/terminal/bell.h": [],
    "cli/other/stray.h": [("terminal/bell.h", "none of the rooms")],
    "plugin/loader/top.h": [("dwarf1/one.h", ""), ("dwarf2/lines/two.h", "")],
    "plugin/dwarf1/one.h": [("dwarf2/lines/two.h", "beside"), ("records/base.h", "")],
    "plugin/dwarf2/lines/two.h": [("dwarf/shared.h", ""), ("dwarf2/three.h", "")],
    "plugin/dwarf2/three.h": [],
    "plugin/dwarf/shared.h": [("elf/image.h", "")],
    "plugin/elf/image.h": [("records/base.h", "")],
    "plugin/records/base.h": [("elf/image.h", "above it"), ("fmt/format.h", "no such file")],
}


def check_itself():
    """Ends the program when the check misses a mistake of the sample, or finds one where there is none."""
    with tempfile.TemporaryDirectory() as name:
        root = pathlib.Path(name)
        wanted = [("", "cli: a circle: commands/go.h > text/words.h > json/value.h > main.cpp > commands/go.h"),
                  ("", "cli: a circle: commands/go.h > text/words.h > session/open.h > commands/go.h"),
                  ("", "plugin: a circle: elf/image.h > records/base.h > elf/image.h")]
        for file, lines in SAMPLE.items():
            (root / file).parent.mkdir(parents=True, exist_ok=True)
            (root / file).write_text("".join(f'#include "{target}"\n' for target, _ in lines), encoding="utf-8")
            wanted += [(f"{file}:{number}: {target}: ", words) for number, (target, words) in enumerate(lines, 1) if words]
        complaints = check(root)
        missed = [(start, words) for start, words in wanted
                  if not any(text.startswith(start) and words in text for text in complaints)]
        if missed or len(complaints) != len(wanted):
            sys.exit("check_includes.py misjudges its sample:\n" + "\n".join(map(str, missed + complaints)))


def main():
    check_itself()
    root = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent
    complaints = check(root)
    print("\n".join(complaints) if complaints else "includes go down only")
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()
