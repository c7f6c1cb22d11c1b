"""What readelf says of a file: its sections' bytes, the entries of .debug_info as trees, the rows of .debug_line."""
import re
import struct
import subprocess
import zlib
from collections import namedtuple

Unit = namedtuple("Unit", "offset address_size root")


class Bytes:
    """A cursor over a section."""

    def __init__(self, data, little, position=0):
        self.data, self.order, self.position = data, "<" if little else ">", position

    def fixed(self, size):
        data = self.data[self.position:self.position + size]
        self.position += size
        return int.from_bytes(data, "little" if self.order == "<" else "big")

    def text(self):
        end = self.data.index(b"\0", self.position)
        text = self.data[self.position:end]
        self.position = end + 1
        return decode_text(text)


def decode_text(data):
    try:
        return data.decode("utf-8")
    except UnicodeDecodeError:
        return data.decode("latin-1")


def base_name(path):
    return path.replace("\\", "/").rsplit("/", 1)[-1]


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


def read_frames(path):
    """The instructions of the frame descriptions by (first address, address after the last), those of their common entry first.
    Of .debug_frame; what pads an entry is left out, and the names of registers and next addresses that readelf adds."""
    common, frames, instructions, is_wanted = {}, {}, [], False
    for line in run("-W", "--debug-dump=frames", path).splitlines():
        if line.startswith("Contents of the "):
            is_wanted = ".debug_frame " in line
        elif not is_wanted:
            continue
        elif match := re.match(r"([0-9a-f]+) \S+ \S+ CIE", line):
            instructions = common.setdefault(int(match.group(1), 16), [])
        elif match := re.match(r"[0-9a-f]+ \S+ \S+ FDE cie=([0-9a-f]+) pc=([0-9a-f]+)\.\.([0-9a-f]+)", line):
            entry, low, high = (int(text, 16) for text in match.groups())
            instructions = [("entry", entry)]
            frames.setdefault((low, high), []).append(instructions)
        elif match := re.match(r"  (DW_CFA_\S.*)", line):
            text = re.sub(r" to [0-9a-f]+$", "", match.group(1))
            text = re.sub(r"(?<=set_loc: )[0-9a-f]+", lambda address: "0x" + address.group().upper(), text)
            instructions.append(re.sub(r"(r\d+) \([^)]*\)", r"\1", text))

    def whole(entry, *own):
        return [text for part in (common[entry[1]], own) for text in without_padding(part)]

    def without_padding(part):
        part = list(part)
        while part and part[-1] == "DW_CFA_nop":
            part.pop()
        return part

    return {address: [whole(*each) for each in lists] for address, lists in frames.items()}


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
        if header[2] & 0x800:  # compressed; 12 bytes say how
            sections[name] = zlib.decompress(sections[name][12:])
    return sections, little
