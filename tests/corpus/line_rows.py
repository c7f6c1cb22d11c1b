"""Rows of .debug_line, decoded from the section's bytes, by two sets of rules: those that DWARF 2 publishes, which
readelf follows too, and those of the loader. The loader differs in this:

  - DW_LNS_const_add_pc acts as special opcode 255 in full: it moves the line as well and makes a row.
  - The operand of DW_LNS_fixed_advance_pc is scaled by minimum_instruction_length.
  - A DW_LNE_set_address of 0 drops the rows up to the next address or the end of the sequence.
  - DW_LNE_end_sequence makes no row.
  - DW_LNE_set_address takes an address of the unit's size, whatever the length of the opcode says.
"""
import struct
from collections import namedtuple

Row = namedtuple("Row", "file address line column end")


class Bytes:
    """A cursor over a section."""

    def __init__(self, data, little, position=0):
        self.data, self.order, self.position = data, "<" if little else ">", position

    def fixed(self, size):
        data = self.data[self.position:self.position + size]
        self.position += size
        return int.from_bytes(data, "little" if self.order == "<" else "big")

    def signed_byte(self):
        return struct.unpack("b", bytes([self.fixed(1)]))[0]

    def leb(self, signed=False):
        value = shift = 0
        while True:
            byte = self.fixed(1)
            value |= (byte & 0x7F) << shift
            shift += 7
            if not byte & 0x80:
                break
        return value - (1 << shift) if signed and byte & 0x40 else value

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


class LineProgram:
    """One program of the section: `rows`, `end` (its offset behind it), `files` (entry 1 first)."""

    def __init__(self, section, offset, little, address_size, loader_rules):
        self.cursor = Bytes(section, little, offset)
        self.address_size, self.loader_rules = address_size, loader_rules
        self.rows, self.files = [], []
        self.read_header()
        self.reset()
        while self.cursor.position < self.end:
            self.run_opcode()

    def read_header(self):
        cursor = self.cursor
        length = cursor.fixed(4)
        self.end = cursor.position + length
        self.version = cursor.fixed(2)
        cursor.fixed(4)  # prologue_length
        self.minimum_length = cursor.fixed(1)
        cursor.fixed(1)  # default_is_stmt
        self.line_base = cursor.signed_byte()
        self.line_range = cursor.fixed(1)
        self.opcode_base = cursor.fixed(1)
        if self.opcode_base < 10:
            raise NotImplementedError("reduced line programs")
        self.lengths = [0] + [cursor.fixed(1) for _ in range(1, self.opcode_base)]
        while cursor.text():
            pass
        while True:
            name = cursor.text()
            if not name:
                break
            self.files.append(name)
            for _ in range(3):
                cursor.leb()

    def reset(self):
        self.address, self.file, self.line, self.column, self.dropped = 0, 1, 1, 0, False

    def append(self, end=False):
        if not self.dropped:
            self.rows.append(Row(self.file, self.address, self.line & 0xFFFFFFFF, self.column, end))

    def special(self, adjusted, moves_line=True):
        self.address = (self.address + adjusted // self.line_range * self.minimum_length) & 0xFFFFFFFF
        if moves_line:
            self.line += self.line_base + adjusted % self.line_range
            self.append()

    def run_opcode(self):
        opcode = self.cursor.fixed(1)
        if opcode >= self.opcode_base:
            self.special(opcode - self.opcode_base)
        elif opcode == 0:
            self.run_extended()
        elif opcode > 9:
            for _ in range(self.lengths[opcode]):
                self.cursor.leb()
        else:
            self.run_standard(opcode)

    def run_standard(self, opcode):
        cursor = self.cursor
        if opcode == 1:  # DW_LNS_copy
            self.append()
        elif opcode == 2:  # DW_LNS_advance_pc
            self.address = (self.address + cursor.leb() * self.minimum_length) & 0xFFFFFFFF
        elif opcode == 3:  # DW_LNS_advance_line
            self.line += cursor.leb(signed=True)
        elif opcode == 4:  # DW_LNS_set_file
            self.file = cursor.leb()
        elif opcode == 5:  # DW_LNS_set_column
            self.column = cursor.leb()
        elif opcode == 8:  # DW_LNS_const_add_pc
            self.special(255 - self.opcode_base, moves_line=self.loader_rules)
        elif opcode == 9:  # DW_LNS_fixed_advance_pc
            scale = self.minimum_length if self.loader_rules else 1
            self.address = (self.address + cursor.fixed(2) * scale) & 0xFFFFFFFF

    def run_extended(self):
        cursor = self.cursor
        length = cursor.leb()
        end = cursor.position + length
        opcode = cursor.fixed(1)
        if opcode == 1:  # DW_LNE_end_sequence
            if not self.loader_rules:
                self.append(end=True)
            self.reset()
        elif opcode == 2:  # DW_LNE_set_address
            self.address = cursor.fixed(self.address_size if self.loader_rules else length - 1)
            self.dropped = self.loader_rules and self.address == 0
        elif opcode == 3:  # DW_LNE_define_file
            self.files.append(cursor.text())
            for _ in range(3):
                cursor.leb()
        else:
            cursor.position = end
        if not self.loader_rules:
            cursor.position = end

    def file_name(self, number):
        return self.files[number - 1] if 1 <= number <= len(self.files) else ""


def blocks_of(program):
    """The loader's blocks: (file name, [(address, line, column)]), cut where the file changes and at 256 rows."""
    blocks, file = [], None
    for row in program.rows:
        if not blocks or row.file != file or len(blocks[-1][1]) == 256:
            file = row.file
            blocks.append((program.file_name(file), []))
        blocks[-1][1].append((row.address, row.line, row.column))
    return blocks


def base_name(path):
    return path.replace("\\", "/").rsplit("/", 1)[-1]


def files_of(blocks):
    """The loader's files: those with rows, once per base name."""
    files = {}
    for name, _ in blocks:
        if base_name(name):
            files.setdefault(base_name(name), name)
    return list(files.values())
