"""The formats as the makers write them, right or wrong: ELF, DWARF 2 and DWARF 1 in either byte order."""
import struct
from typing import NamedTuple, Optional

ALL = 0xFFFFFFFF

# DWARF 2
DW_TAG = dict(array=0x01, enumeration=0x04, parameter=0x05, label=0x0A, block=0x0B, member=0x0D, pointer=0x0F,
              unit=0x11, structure=0x13, function=0x15, typedef=0x16, subrange=0x21, const=0x26, enumerator=0x28,
              subprogram=0x2E, variable=0x34, inlined=0x1D, namespace=0x39, partial=0x3C, imported=0x3D)
AT_LOCATION, AT_NAME, AT_BIT_SIZE, AT_STMT_LIST, AT_LOW_PC, AT_HIGH_PC = 0x02, 0x03, 0x0D, 0x10, 0x11, 0x12
AT_UPPER_BOUND, AT_SPECIFICATION, AT_TYPE = 0x2F, 0x47, 0x49
AT_ANY = 0x2100  # one that is only skipped
(FORM_ADDR, FORM_BLOCK4, FORM_DATA2, FORM_DATA4, FORM_STRING, FORM_BLOCK1, FORM_DATA1, FORM_FLAG, FORM_STRP,
 FORM_REF_ADDR, FORM_REF1, FORM_INDIRECT) = 0x01, 0x04, 0x05, 0x06, 0x08, 0x0A, 0x0B, 0x0C, 0x0E, 0x10, 0x11, 0x16

# DWARF 3 to 5
AT_CONST_VALUE, AT_LANGUAGE, AT_RANGES, AT_SIGNATURE, AT_DECLARATION, AT_IMPORT = 0x1C, 0x13, 0x55, 0x69, 0x3C, 0x18
AT_ORIGIN, AT_COUNT, AT_ADDR_BASE, AT_STR_OFFSETS_BASE, AT_LOCLISTS_BASE, AT_RNGLISTS_BASE = (
    0x31, 0x37, 0x73, 0x72, 0x8C, 0x74)
(FORM_BLOCK, FORM_UDATA, FORM_REF4, FORM_REF_UDATA, FORM_SEC_OFFSET, FORM_EXPRLOC, FORM_FLAG_PRESENT, FORM_DATA16,
 FORM_LINE_STRP, FORM_REF_SIG8, FORM_IMPLICIT_CONST, FORM_STRX2, FORM_ADDRX2, FORM_LOCLISTX, FORM_RNGLISTX) = (
     0x09, 0x0F, 0x13, 0x15, 0x17, 0x18, 0x19, 0x1E, 0x1F, 0x20, 0x21, 0x26, 0x2A, 0x22, 0x23)
UT_COMPILE, UT_TYPE, UT_PARTIAL = 1, 2, 3
LANGUAGE_CXX = 4

# DWARF 1: tags, and attributes with their form
TAG1 = dict(array=0x01, enumeration=0x04, variable=0x07, label=0x0A, member=0x0D, structure=0x13, typedef=0x16)
AT1_SIBLING, AT1_LOCATION, AT1_NAME, AT1_MOD_FUND_TYPE, AT1_USER_DEF_TYPE = 0x12, 0x23, 0x38, 0x63, 0x72
AT1_SUBSCR_DATA, AT1_ELEMENT_LIST, AT1_STMT_LIST, AT1_LOW_PC, AT1_ANY_BLOCK4 = 0xA3, 0xF4, 0x106, 0x111, 0x8004

SHT_NOTE = 7


def uleb(value):
    out = bytearray()
    while value > 0x7F:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes(out + bytes([value]))


def declaration(code, tag, children=0, *attributes):
    """An abbreviation; attributes are (attribute, form), or with the byte of an implicit constant after them."""
    pairs = b"".join(uleb(attribute) + uleb(form) + bytes(value) for attribute, form, *value in attributes)
    return uleb(code) + uleb(DW_TAG[tag]) + bytes([children]) + pairs + b"\0\0"


FIRST_OF_UNIT = {2: 11, 3: 11, 4: 11, 5: 12}  # by version
UNIT = declaration(1, "unit", 1)  # the first declaration of nearly every table


class Section(NamedTuple):
    name: str
    data: bytes = b""
    size: Optional[int] = None  # of the bytes, unless given
    type: int = 1
    name_offset: Optional[int] = None  # in the section names, unless the name is added there


class Segment(NamedTuple):
    address: int
    offset: int  # from the first byte of the last section
    size: int


class Formats:
    """Numbers, tables and records in one byte order, "<" or ">"."""

    def __init__(self, order):
        self.order = order

    def u16(self, *values):
        return struct.pack(f"{self.order}{len(values)}H", *values)

    def u32(self, *values):
        return struct.pack(f"{self.order}{len(values)}I", *(value & ALL for value in values))

    def elf(self, sections, segments=(), names=b""):
        """A file: header, both tables, then the sections' bytes in order, so that the last section ends the file."""
        sections = [Section("", type=0), Section(".shstrtab", type=3), *sections]
        table, name_offsets = bytearray(names), {}
        for section in sections:
            if section.name_offset is None and section.name not in name_offsets:
                name_offsets[section.name] = len(table)
                table += section.name.encode() + b"\0"
        sections[1] = sections[1]._replace(data=bytes(table))
        programs_end = 52 + 32 * len(segments)
        offset = programs_end + 40 * len(sections)
        headers = []
        for section in sections:
            name = name_offsets[section.name] if section.name_offset is None else section.name_offset
            size = len(section.data) if section.size is None else section.size
            headers.append(self.u32(name, section.type, 0, 0, offset, size, 0, 0, 1, 0))
            last, offset = offset, offset + len(section.data)
        programs = b"".join(self.u32(1, last + s.offset, s.address, s.address, s.size, s.size, 7, 1) for s in segments)
        ident = b"\x7fELF\x01" + (b"\x01" if self.order == "<" else b"\x02") + b"\x01" + bytes(9)
        header = ident + self.u16(2, 20) + self.u32(1, 0, 52, programs_end, 0)
        header += self.u16(52, 32, len(segments), 40, len(sections), 1)
        return b"".join([header, programs, *headers, *(section.data for section in sections)])

    # DWARF 2

    def unit(self, entries, abbrevs=0, address_size=4, length=None):
        length = 7 + len(entries) if length is None else length
        return self.u32(length) + self.u16(2) + self.u32(abbrevs) + bytes([address_size]) + entries

    def dwarf2(self, info, declarations, *more):
        return self.elf([Section(".debug_info", info), Section(".debug_abbrev", b"".join(declarations) + b"\0"), *more])

    def one_unit(self, entries, declarations, *more, address_size=4):
        """A file of one unit, whose entries begin at offset 12 of its section."""
        return self.dwarf2(self.unit(b"\1" + entries + b"\0", 0, address_size), [UNIT, *declarations], *more)

    # DWARF 3 to 5

    def unit_by(self, version, entries, abbrevs=0, kind=UT_COMPILE, signature=None, type_offset=0, length=None):
        """A unit of any version; with a signature one of a type. Its first entry is at FIRST_OF_UNIT[version]."""
        start = self.u32(abbrevs) + b"\4" if version < 5 else bytes([kind, 4]) + self.u32(abbrevs)
        if signature is not None:
            start += self.u32(signature, signature, type_offset)
        body = self.u16(version) + start + entries
        return self.u32(len(body) if length is None else length) + body

    def one_unit_by(self, version, entries, declarations, *more):
        """A file of one unit in C++, whose first entry's children begin at FIRST_OF_UNIT[version] + 2."""
        unit = declaration(1, "unit", 1, (AT_LANGUAGE, FORM_DATA1))
        info = self.unit_by(version, bytes([1, LANGUAGE_CXX]) + entries + b"\0")
        return self.dwarf2(info, [unit, *declarations], *more)

    def small_units(self, count):
        return self.unit(b"\1\0") * count

    def line_program(self, opcodes, files=(), minimum=1, line_base=1, line_range=1, length=None):
        """A program with opcode_base 10; each special opcode moves the address by (opcode - 10) / line_range."""
        header = bytes([minimum, 1, line_base, line_range, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0])
        header += b"".join(file + b"\0\0\0\0" for file in files) + b"\0"
        body = self.u16(2) + self.u32(len(header)) + header + opcodes
        return self.u32(len(body) if length is None else length) + body

    def set_address(self, address):
        return b"\0\5\2" + self.u32(address)

    def name_set(self, unit, names=(), length=None):
        body = self.u16(2) + self.u32(unit, 13) + b"".join(self.u32(1) + name + b"\0" for name in names) + self.u32(0)
        return self.u32(len(body) if length is None else length) + body

    def range_set(self, unit, tuples=(0, 0), address_size=4):
        return self.u32(0) + self.u16(2) + self.u32(unit) + bytes([address_size, 0, 0, 0, 0, 0]) + self.u32(*tuples)

    # DWARF 1

    def attribute(self, code, value):
        return self.u16(code) + value

    def entry(self, at, tag, attributes=b"", sibling=None, length=None):
        """An entry at an offset; its AT_sibling is the offset after it unless given. 12 bytes and the attributes."""
        size = 12 + len(attributes)
        sibling = at + size if sibling is None else sibling
        code = 0x11 if tag == "unit" else TAG1.get(tag, tag)
        length = size if length is None else length
        return self.u32(length) + self.u16(code, AT1_SIBLING) + self.u32(sibling) + attributes

    def entries(self, at, tag, attributes):
        """An entry for each of the attributes, one after the other."""
        out = []
        for each in attributes:
            out.append(self.entry(at, tag, each))
            at += len(out[-1])
        return b"".join(out)

    def dwarf1(self, debug, *more):
        return self.elf([Section(".debug", debug), *more])

    def one_unit1(self, make_entries, *more):
        """A file of one unit; `make_entries` gets the offset of its first entry."""
        entries = make_entries(12)
        return self.dwarf1(self.entry(0, "unit", sibling=16 + len(entries)) + entries + self.u32(0), *more)

    def units1(self, count, attributes=b"", entries=lambda at: b""):
        """Units of one shape, each with its closing null entry."""
        out, at = [], 0
        for _ in range(count):
            inside = entries(at + 12 + len(attributes))
            end = at + 16 + len(attributes) + len(inside)
            out.append(self.entry(at, "unit", attributes, sibling=end) + inside + self.u32(0))
            at = end
        return b"".join(out)
