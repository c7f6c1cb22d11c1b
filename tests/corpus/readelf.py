"""What readelf says of a file: its sections' bytes, the entries of .debug_info as trees, the rows of .debug_line."""
import re
import struct
import subprocess
from collections import namedtuple

Unit = namedtuple("Unit", "offset address_size root")


class Entry:
    def __init__(self, offset, tag):
        self.offset, self.tag, self.attributes, self.children = offset, tag, {}, []

    def text(self, name):
        value = self.attributes.get(name)
        return None if value is None else re.sub(r"^\(indirect string, offset: (?:0x)?[0-9a-f]+\): ", "", value)

    def number(self, name):
        match = re.match(r"(0x[0-9a-f]+|-?\d+)(?! byte block)\b", self.attributes.get(name, ""))
        return int(match.group(1), 0) if match else None

    def reference(self, name):
        match = re.match(r"<0x([0-9a-f]+)>", self.attributes.get(name, ""))
        return int(match.group(1), 16) if match else None

    def block(self, name):
        match = re.match(r"\d+ byte block: ((?:[0-9a-f]{1,2} )*)", self.attributes.get(name, ""))
        return bytes(int(byte, 16) for byte in match.group(1).split()) if match else None


def run(*arguments):
    result = subprocess.run(["readelf", *arguments], capture_output=True, check=False)
    return result.stdout.decode("utf-8", "surrogateescape")


def read_entries(path):
    """The units of the file, and all entries by offset."""
    units, by_offset, stack = [], {}, []
    address_size = offset = 0
    for line in run("--debug-dump=info", path).splitlines():
        if match := re.match(r"\s+Compilation Unit @ offset (0x)?([0-9a-f]+):", line):
            offset = int(match.group(2), 16)
        elif match := re.match(r"\s+Pointer Size:\s+(\d+)", line):
            address_size = int(match.group(1))
        elif match := re.match(r" <(\d+)><([0-9a-f]+)>: Abbrev Number: \d+ \((.+)\)", line):
            level, entry = int(match.group(1)), Entry(int(match.group(2), 16), match.group(3))
            by_offset[entry.offset] = entry
            if level == 0:
                units.append(Unit(offset, address_size, entry))
            else:
                stack[level - 1].children.append(entry)
            stack[level:] = [entry]
        elif match := re.match(r"    <[0-9a-f]+>   (\S+?)\s*: ?(.*)", line):
            if stack:
                stack[-1].attributes[match.group(1)] = match.group(2)
    return units, by_offset


def read_rows(path):
    """(line, address) of every row but those that end a sequence, table by table as the section has them."""
    rows = []
    for line in run("-W", "--debug-dump=decodedline", path).splitlines():
        match = re.match(r"\S.*?\s+(\d+)\s+(0x[0-9a-f]+|0)(?:\s+\d+)?(?:\s+x)?(?:\s+END)?\s*$", line)
        if match:
            rows.append((int(match.group(1)), int(match.group(2), 0)))
    return rows


def read_sections(path):
    """Bytes of each section by name, straight from the file, and whether it is little-endian."""
    with open(path, "rb") as file:
        data = file.read()
    little = data[5] == 1
    order = "<" if little else ">"
    table, = struct.unpack_from(order + "I", data, 32)
    entry_size, count, names_index = struct.unpack_from(order + "HHH", data, 46)
    headers = [struct.unpack_from(order + "10I", data, table + i * entry_size) for i in range(count)]
    names = headers[names_index][4]
    sections = {}
    for header in headers:
        start = names + header[0]
        name = data[start:data.index(b"\0", start)].decode("latin-1")
        sections[name] = data[header[4]:header[4] + header[5]] if header[1] != 8 else b""
    return sections, little
