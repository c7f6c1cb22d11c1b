"""DWARF 2: line programs, and the procedures that are made for what they cover."""
from formats import (AT_HIGH_PC, AT_LOW_PC, AT_STMT_LIST, FORM_ADDR, FORM_DATA4, UNIT, Section, declaration, uleb)
from kinds import STATS, TEXT, WHERE, kind

COPY, SPECIAL, CONST_ADD_PC, END = b"\1", b"\x0A", b"\x08", b"\0\1\1"
WITH_LINES = declaration(1, "unit", 1, (AT_STMT_LIST, FORM_DATA4))
PROCEDURE = declaration(2, "subprogram", 0, (AT_LOW_PC, FORM_ADDR), (AT_HIGH_PC, FORM_ADDR))


def lines(*programs):
    return Section(".debug_line", b"".join(programs))


def units_with_lines(f, offsets, *more):
    return f.dwarf2(b"".join(f.unit(b"\1" + f.u32(offset) + b"\0") for offset in offsets), [WITH_LINES], *more)


@kind("units share one line program", WHERE)
def shared_program(f, size):
    program = f.line_program(f.set_address(16) + SPECIAL * (size // 2) + END, [b"a.c"])
    return units_with_lines(f, [0] * (size // 34), lines(program))


@kind("units without DW_AT_stmt_list read the first line program")
def first_program(f, size):
    program = f.line_program(f.set_address(16) + SPECIAL * (size // 2) + END)
    return f.dwarf2(f.small_units(size // 26), [UNIT], lines(program))


@kind("units of 13 bytes with a line and a file each")
def small_program(f, size):
    program = f.line_program(f.set_address(16) + COPY + END, [b"a.c"])
    return f.dwarf2(f.small_units(size // 13), [UNIT], lines(program))


@kind("line programs overlap")
def overlapping_programs(f, size):
    # Each begins with an opcode without meaning that takes the next header; then come the rows that all share.
    header = f.line_program(b"")
    rows = f.set_address(16) + SPECIAL * (size // 3) + END
    skip = b"\0" + bytes([1 + len(header)]) + b"\x80"
    step = len(skip) + len(header)
    count = size // 3 // step
    left = [step * (count - 1 - i) + len(rows) for i in range(count)]
    programs = b"".join((skip if i else b"") + f.line_program(b"", length=len(header) - 4 + left[i])
                        for i in range(count))
    offsets = [i * step for i in range(count)]
    return units_with_lines(f, (offsets * 20)[:size // 3 // 17], lines(programs + rows))


def programs_of_ones(f, size, text, rows):
    """Bytes of 1 are a header, a directory's name and opcodes alike, from any offset on."""
    section = b"\1" * (size * text // 6) + b"\0\0\0" + b"\1" * (size * rows // 6)
    return units_with_lines(f, range(size // 34), lines(section))


for name, text, rows in (("directories", 3, 0), ("directories and rows", 1, 2)):
    kind(f"line programs overlap in their {name}", text=text, rows=rows)(programs_of_ones)


@kind("line programs without end in .debug_line of 0xFFFFFFFF bytes")
def endless_lines(f, size):
    program = f.line_program(f.set_address(16) + b"\xFF" * (size // 2), length=0xFFFFFFF0)
    sections = [Section(".debug_info", f.small_units(size // 26)), Section(".debug_abbrev", UNIT + b"\0")]
    return f.elf([*sections, Section(".debug_line", program, size=0xFFFFFFFF)])


def one_program(f, program, entries=b"", *declarations):
    unit = f.unit(b"\1" + f.u32(0) + entries + b"\0")  # published rules read no program that the unit does not name
    return f.dwarf2(unit, [WITH_LINES, *declarations], lines(program))


@kind("rows that change the file each", WHERE)
def changing_files(f, size):
    change = b"\4\1" + COPY + b"\4\2" + COPY
    return one_program(f, f.line_program(f.set_address(16) + change * (size // 6) + END, [b"a.c", b"b.c"]))


@kind("rows that change between files of long names")
def long_file_names(f, size):
    change = b"\4\1" + COPY + b"\4\2" + COPY
    names = [b"n" * (size // 4) + end for end in (b"1", b"2")]
    return one_program(f, f.line_program(f.set_address(16) + change * (size // 12) + END, names))


def many_files(f, size, name):
    count = size // 16
    files = [name % (i % 0x10000) if b"%" in name else name for i in range(count)]
    changes = b"".join(b"\4" + uleb(i + 1) + COPY for i in range(count))
    return one_program(f, f.line_program(f.set_address(16) + changes + END, files))


for what, name in (("names", b"%04x"), ("equal base names", b"%04x/a"), ("equal names", b"abcd")):
    kind(f"files of {what}", name=name)(many_files)


@kind("a range of code a byte", WHERE, TEXT)
def range_a_byte(f, size):
    return one_program(f, f.line_program(f.set_address(16) + b"\x0C" * (size - 500) + END, minimum=200))


@kind("sound rows of one byte", WHERE, sound=True)
def row_a_byte(f, size):
    step = b"\x0B"  # an address and a line further
    return one_program(f, f.line_program(f.set_address(16) + step * (size - 500) + END)), {"lineRows": size - 500}


@kind("sequences of no rows", only=(STATS,))
def empty_sequences(f, size):
    return one_program(f, f.line_program((f.set_address(0x100) + END) * (size // 10)))


@kind("reduced line program with two rows a byte", TEXT)
def two_rows_a_byte(f, size):
    header = bytes([1, 1, 1, 200, 9]) + bytes(9) + b"\0\0"
    body = f.u16(2) + f.u32(len(header)) + header + f.set_address(16) + CONST_ADD_PC * (size - 500) + END
    return one_program(f, f.u32(len(body)) + body)


# Ranges of lines against procedures

def covered(f, size, spans, program, **header):
    """Procedures of 9 bytes in half of the file, and a program in the other half."""
    entries = b"".join(b"\2" + f.u32(low, high) for low, high in spans(size // 18))
    return one_program(f, f.line_program(program(size // 2 - 500) + END, **header), entries, PROCEDURE)


FAR = 0xF0000000
SPANS = {
    "at both ends in turns": lambda count: [(1, 2) if i % 2 else (FAR, FAR + 1) for i in range(count)],
    "inside each other": lambda count: [(0x100 + i, FAR - i) for i in range(count)],
    "inside each other, the inner first": lambda count: [(0x100 + count - i, FAR - count + i) for i in range(count)],
    "one after the other": lambda count: [(0x100 + 2 * i, 0x101 + 2 * i) for i in range(count)],
    "one before the other": lambda count: [(0x100 + 2 * (count - i), 0x101 + 2 * (count - i)) for i in range(count)],
    "in steps": lambda count: [(0x100 + i, 0x100 + i + 0x1000) for i in range(count)],
    "of all lengths": lambda count: [(0x100 + i * 7919 % count, 0x100 + i * 104729 % (16 * count))
                                     for i in range(count)],
}


def scattered_ranges(f, size, spans):
    """A range a byte, each 400 bytes after the one before."""
    return covered(f, size, spans, lambda left: f.set_address(0x100) + b"\x0C" * left, minimum=200)


def repeated_ranges(f, size, spans):
    """Ranges that each cover all that is near: rows 200 bytes apart, over and over."""
    rows = max(size // 9 // 200, 1)
    return covered(f, size, spans, lambda left: (f.set_address(16) + b"\x0B" * rows) * (left // (7 + rows)), minimum=200)


for name, spans in SPANS.items():
    kind(f"ranges of lines and procedures {name}", WHERE, spans=spans)(scattered_ranges)
    kind(f"repeated ranges of lines and procedures {name}", spans=spans)(repeated_ranges)
