"""What llvm-dwarfdump says of a file: units with their entries as trees, and line tables."""
import os
import re
import shutil
import subprocess
from collections import namedtuple

PROGRAM = next((name for name in ("llvm-dwarfdump-14", "llvm-dwarfdump") if shutil.which(name)), None)

Unit = namedtuple("Unit", "section offset end version address_size signature type_offset is_64bit root")
Row = namedtuple("Row", "address line column file")


class Value:
    """An attribute's form, its text without the brackets around it, and what follows on lines of their own."""

    def __init__(self, form, text):
        self.form, self.text, self.lines = form, text, []


class Entry:
    def __init__(self, unit_section, offset, tag, parent):
        self.section, self.offset, self.tag, self.parent = unit_section, offset, tag, parent
        self.values, self.children, self.unit = {}, [], None

    def text(self, name):
        value = self.values.get(name)
        match = re.search(r'"(.*)"$', value.text) if value else None
        return match.group(1) if match else None

    def number(self, name):
        """A constant or an address; None for every other class, a reference or an expression for example."""
        value = self.values.get(name)
        if value is None or not re.match(
            r"DW_FORM_(data|sdata|udata|implicit_const|addr|GNU_addr|sec_offset)", value.form
        ):
            return None
        match = re.match(r"(?:indexed \(\w+\) address = )?(0x[0-9a-f]+|-?\d+)\b", value.text)
        return int(match.group(1), 0) if match else None

    def flag(self, name):
        return name in self.values and self.values[name].text in ("true", "0x01")

    def code(self, name):
        return self.values[name].text if name in self.values else None

    def ranges(self, name="DW_AT_ranges"):
        return [
            tuple(int(text, 16) for text in match.groups())
            for line in self.values[name].lines
            if (match := re.match(r"\[0x([0-9a-f]+), 0x([0-9a-f]+)\)", line))
        ]


def run(*arguments):
    result = subprocess.run([PROGRAM, *map(os.fspath, arguments)], capture_output=True, check=False)
    return result.stdout.decode("utf-8", "surrogateescape")


HEADER = re.compile(
    r"(0x[0-9a-f]+): (?:Compile|Type|Partial|Skeleton)? ?Unit: length = .*version = (0x[0-9a-f]+).*"
    r"addr_size = (0x[0-9a-f]+)(.*) \(next unit at (0x[0-9a-f]+)\)"
)
ENTRY = re.compile(r"(0x[0-9a-f]+):( +)(DW_TAG_\w+)")
ATTRIBUTE = re.compile(r" +(DW_AT_\w+) \[(DW_FORM_\w+)\]\s*\((.*)$")


def read_units(path):
    """The units in file order, and every entry by (section, offset)."""
    units, entries, stack, section, value, header = [], {}, [], "", None, None
    for line in run("-v", "--debug-info", "--debug-types", path).splitlines():
        if match := ENTRY.match(line):
            offset, level = int(match.group(1), 16), (len(match.group(2)) - 1) // 2
            entry = Entry(section, offset, match.group(3), stack[level - 1] if level else None)
            entries[section, offset] = entry
            if level:
                stack[level - 1].children.append(entry)
            else:
                units.append(header._replace(root=entry))
            entry.unit = units[-1]
            stack[level:] = [entry]
            value = None
        elif match := ATTRIBUTE.match(line):
            value = Value(match.group(2), match.group(3))
            stack[-1].values[match.group(1)] = value
            if value.text.endswith(")"):
                value.text = value.text[:-1]
        elif match := HEADER.match(line):
            numbers = [int(match.group(i), 16) for i in (1, 5, 2, 3)]
            signature = re.search(r"type_signature = 0x([0-9a-f]+)", match.group(4))
            type_offset = re.search(r"type_offset = 0x([0-9a-f]+)", match.group(4))
            header = Unit(
                section,
                *numbers,
                signature and int(signature.group(1), 16),
                type_offset and int(type_offset.group(1), 16),
                "format = DWARF64" in line,
                None,
            )
        elif line.startswith("."):
            section = line.split()[0]
        elif value is not None and line.strip():
            value.lines.append(line.strip())
    return units, entries


LINE_ROW = re.compile(r"0x([0-9a-f]+) +(\d+) +(\d+) +(\d+) +\d+ +\d+ ?(.*)$")


def read_line_tables(path):
    """By offset: sequences of rows, each with the address after its last row, files by their base names."""
    tables, files, sequence, table, prefix = {}, {}, [], [], None
    for line in run("--debug-line", path).splitlines():
        line = line.strip()
        if match := re.match(r"debug_line\[0x([0-9a-f]+)\]", line):
            files, sequence, table = {}, [], tables.setdefault(int(match.group(1), 16), [])
        elif match := re.match(r"file_names\[ *(\d+)\]:", line):
            prefix = int(match.group(1))
        elif prefix is not None and (match := re.match(r'name: .*"(.*)"$', line)):
            files[prefix] = match.group(1).replace("\\", "/").rsplit("/", 1)[-1]
        elif match := LINE_ROW.match(line):
            address = int(match.group(1), 16)
            if "end_sequence" in match.group(5):
                table.append((sequence, address))
                sequence = []
            else:
                sequence.append(
                    Row(address, int(match.group(2)), int(match.group(3)), files.get(int(match.group(4)), ""))
                )
    return tables
