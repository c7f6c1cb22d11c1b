"""DWARF 3 to 5, as published: units that the scan reads, and the sections beside them: lines, indexes, frames."""
from dwarf2_lines import COPY, END, SPECIAL
from formats import (ALL, AT_ANY, AT_LANGUAGE, AT_LOW_PC, AT_NAME, AT_STMT_LIST, FIRST_OF_UNIT, FORM_ADDR, FORM_BLOCK,
                     FORM_DATA1, FORM_DATA16, FORM_FLAG_PRESENT, FORM_IMPLICIT_CONST, FORM_INDIRECT, FORM_LINE_STRP,
                     FORM_REF_UDATA, FORM_SEC_OFFSET, FORM_STRING, FORM_STRP, FORM_UDATA, LANGUAGE_CXX, UNIT, Section,
                     declaration, uleb)
from kinds import FIND, STATS, TEXT, WHERE, kind

# Units


def small_units_by(f, size, version, attributes, values):
    unit = f.unit_by(version, b"\1" + values + b"\0")
    return f.dwarf2(unit * (size // len(unit)), [declaration(1, "unit", 1, *attributes)])


for what, pair in (("flags", (AT_ANY, FORM_FLAG_PRESENT)), ("constants", (AT_LANGUAGE, FORM_IMPLICIT_CONST, 1)),
                   ("bases", (0x73, FORM_IMPLICIT_CONST, 1))):
    kind(f"first entries of 499 {what} of no bytes, version 5", version=5, attributes=[pair] * 499, values=b"")(
        small_units_by)


@kind("first entries share a chain of DW_FORM_indirect, version 5")
def first_indirect(f, size):
    shared = bytes([FORM_INDIRECT]) * (size // 2) + bytes([FORM_IMPLICIT_CONST, 1]) + b"\0"
    count = (size - len(shared)) // 20
    table = declaration(1, "unit", 1, (AT_ANY, FORM_BLOCK), (AT_ANY, FORM_INDIRECT))
    units = [f.unit_by(4, b"\1" + uleb(0x200000 + 20 * (count - i - 1))[:4], length=16) for i in range(count)]
    return f.dwarf2(b"".join(units) + shared, [table])


def listed(f, size, spacing, start):
    """A unit whose length leads outside, and an index that lists a place for the next one every few bytes."""
    unit = f.unit_by(4, b"\1\0", length=0x7FFFFFFF)
    info = unit * (size // 3 // len(unit))
    places = [start + spacing * i for i in range(size // 2 // 4)]
    header = f.u16(5, 0) + f.u32(len(places), 0, 0, 0, 0, 0, 0)
    names = f.u32(len(header) + 4 * len(places)) + header + f.u32(*places)
    return f.dwarf2(info, [UNIT], Section(".debug_names", names))


for name, spacing, start in (("everywhere", 1, 0), ("at each unit", 13, 0), ("backward", -1, 0x10000)):
    kind(f"units without end, the next listed {name}", spacing=spacing, start=start)(listed)


@kind("sections that are compressed")
def compressed(f, size):
    data = bytearray(f.dwarf2(f.unit_by(4, b"\1\0") * (size // 13), [UNIT], Section(".debug_line", b"")))
    for header in range(5):
        data[52 + 40 * header + 8:52 + 40 * header + 12] = f.u32(0x800)
    return bytes(data)


# Line programs

def tables(f, size, pairs, entry, text, shared=False):
    """A program of version 5 whose table of files is most of the file."""
    count = max((size // (20 if shared else 1) - 600 - len(text)) // max(len(entry), 1), 1)
    machine = bytes([1, 1, 1, 1, 1, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1])
    table = bytes([len(pairs)]) + b"".join(uleb(content) + uleb(form) for content, form in pairs)
    body = machine + table + uleb(count) + entry * count + table + uleb(count) + entry * count
    rows = b"".join(b"\4" + uleb(i % count) + COPY for i in range(300))
    program = f.u16(5) + b"\4\0" + f.u32(len(body)) + body + f.set_address(0x100) + rows + END
    info = f.unit_by(5, b"\1" + f.u32(0) + b"\0")
    lines = Section(".debug_line", f.u32(len(program)) + program)
    table = declaration(1, "unit", 1, (AT_STMT_LIST, FORM_SEC_OFFSET))
    units = (size - len(program)) // 2 // len(info) if shared else 1
    return f.dwarf2(info * units, [table], lines, Section(".debug_line_str", text + b"\0"))


PATH, INDEX, CHECKSUM = 1, 2, 5
kind("files of 255 values of no bytes and one of one", pairs=[(CHECKSUM, FORM_FLAG_PRESENT)] * 254 +
     [(INDEX, FORM_DATA1)], entry=b"\0", text=b"")(tables)
kind("files of no bytes", pairs=[(PATH, FORM_FLAG_PRESENT)], entry=b"")(
    lambda f, size, pairs, entry: tables(f, size, pairs, entry, bytes(size // 2)))
kind("files of one byte", pairs=[(INDEX, FORM_DATA1)], entry=b"\0", text=b"")(tables)
kind("files of checksums", pairs=[(PATH, FORM_STRING), (CHECKSUM, FORM_DATA16)], entry=b"a\0" + bytes(16), text=b"")(
    tables)
for what, pairs in (("", 1), (" 100 times", 100)):
    kind(f"files that share a long name{what}", pairs=[(PATH, FORM_LINE_STRP)] * pairs, entry=bytes(4 * pairs),
         text=b"d/" * 20000)(lambda f, size, pairs, entry, text: tables(f, size, pairs, entry, text[:size // 4 & ~1]))
kind("units share one table of files", pairs=[(INDEX, FORM_DATA1)], entry=b"\0", text=b"", shared=True)(tables)


@kind("a table of files of a count of 0xFFFFFFFF")
def many_files(f, size):
    body = bytes([1, 1, 1, 1, 1, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1]) + b"\1\2\x0B" + b"\xFF\xFF\xFF\xFF\x0F" + bytes(size - 300)
    program = f.u16(5) + b"\4\0" + f.u32(len(body)) + body
    info = f.unit_by(5, b"\1" + f.u32(0) + b"\0")
    table = declaration(1, "unit", 1, (AT_STMT_LIST, FORM_SEC_OFFSET))
    return f.dwarf2(info, [table], Section(".debug_line", f.u32(len(program)) + program))


def vliw(f, size, operations, opcode):
    """Rows whose addresses count operations, and sequences that begin at marks of dead code."""
    header = bytes([200, operations, 1, 1, 1, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0])
    body = f.u16(4) + f.u32(len(header)) + header + f.set_address(0x100) + opcode * (size // len(opcode) - 100) + END
    table = declaration(1, "unit", 1, (AT_STMT_LIST, FORM_SEC_OFFSET))
    return f.dwarf2(f.unit_by(4, b"\1" + f.u32(0) + b"\0"), [table],
                    Section(".debug_line", f.u32(len(body)) + body))


for what, operations, opcode in (("of an operation each", 255, b"\x0B"), ("of the same", 1, SPECIAL),
                                 ("of steps", 1, b"\x0C"), ("in sequences of one", 1, END + SPECIAL)):
    kind(f"a range of code a byte as published, rows {what}", WHERE, operations=operations, opcode=opcode)(vliw)


# .debug_names

def name_table(f, units, texts, series, abbrevs, pool, counts=None):
    unit_count, name_count = counts or (len(units), len(texts))
    header = f.u16(5, 0) + f.u32(unit_count, 0, 0, 0, name_count, len(abbrevs), 0)
    body = header + f.u32(*units) + f.u32(*texts) + f.u32(*series) + abbrevs + pool
    return Section(".debug_names", f.u32(len(body)) + body)


def index_abbreviation(code, tag, *pairs):
    return uleb(code) + uleb(tag) + b"".join(uleb(index) + uleb(form) for index, form in pairs) + b"\0\0"


UNIT_NUMBER, ENTRY = 1, 3
VARIABLE = 0x34


def names_file(f, size, abbrevs, series, pool, *, units=1, counts=None, cxx=False, declared=False):
    """An index of a quarter of the file's bytes of names, whose entries all lie in a unit of one variable and more."""
    count = size // 4 // 8
    attributes = [(AT_LANGUAGE, FORM_DATA1)] if cxx else []
    values = bytes([LANGUAGE_CXX]) if cxx else b""
    table = [declaration(1, "unit", 1, *attributes), declaration(2, "namespace", 1, (AT_NAME, FORM_STRING)),
             declaration(3, "variable", 0, (AT_NAME, FORM_STRING), *[(0x3C, FORM_FLAG_PRESENT)] * declared)]
    inside = b"\3v\0" + (b"\2n\0\3v\0\0" * (size // 8 // 7 // units))
    unit = f.unit_by(5, b"\1" + values + inside + b"\0")
    index = name_table(f, [len(unit) * i for i in range(units)], [0] * count, series(count), abbrevs + b"\0",
                       pool, counts)
    return f.dwarf2(unit * units, table, Section(".debug_str", b"name\0"), index)


PLAIN = index_abbreviation(1, VARIABLE, (ENTRY, FORM_DATA1))
kind("names of an index share all entries", FIND)(
    lambda f, size: names_file(f, size, PLAIN, lambda count: [0] * count, bytes([1, 13]) * (size // 4) + b"\0"))
kind("names of an index share all entries, which are declarations", FIND)(
    lambda f, size: names_file(f, size, PLAIN, lambda count: [0] * count, bytes([1, 13]) * (size // 4) + b"\0",
                               declared=True))
kind("names of an index share entries at different places", FIND)(
    lambda f, size: names_file(f, size, PLAIN, lambda count: [2 * i % (size // 4) for i in range(count)],
                               bytes([1, 13]) * (size // 4) + b"\0"))
kind("entries of an index of many values of no bytes", FIND)(
    lambda f, size: names_file(f, size, index_abbreviation(1, VARIABLE, *[(9, FORM_FLAG_PRESENT)] * (size // 8)),
                               lambda count: [0] * count, b"\1" * (size // 4) + b"\0"))
kind("entries of an index of many values of a byte", FIND)(
    lambda f, size: names_file(f, size, index_abbreviation(1, VARIABLE, *[(9, FORM_DATA1)] * (size // 8)),
                               lambda count: [0] * count, b"\1" * (size // 4) + b"\0"))
kind("an index of 0xFFFFFFFF names and units")(
    lambda f, size: names_file(f, size, PLAIN, lambda count: [0] * count, b"\1\x0C\0", counts=(ALL, ALL)))


def names_by_turns(f, size):
    """Entries of two C++ units by turns."""
    abbrevs = index_abbreviation(1, VARIABLE, (UNIT_NUMBER, FORM_DATA1), (ENTRY, FORM_DATA1))
    pool = b"".join(bytes([1, i % 2, 14, 0]) for i in range(size // 4 // 4))
    return names_file(f, size, abbrevs, lambda count: [4 * (i % (len(pool) // 4)) for i in range(count)], pool,
                      units=2, cxx=True)


kind("names of an index in two C++ units by turns", FIND)(names_by_turns)


@kind("sound names of an index in C++ units by turns", sound=True, published=True)
def sound_names(f, size):
    """Each name is a variable's in a namespace; the units come by turns, as they do where hashes give the order."""
    units, each = 8, size // 8 // 50
    inside = b"\2n\0" + b"\3v\0" * each + b"\0"
    table = [declaration(1, "unit", 1, (AT_LANGUAGE, FORM_DATA1)), declaration(2, "namespace", 1, (AT_NAME, FORM_STRING)),
             declaration(3, "variable", 0, (AT_NAME, FORM_STRING))]
    unit = f.unit_by(5, bytes([1, LANGUAGE_CXX]) + inside + b"\0")
    first = FIRST_OF_UNIT[5] + 5
    abbrevs = index_abbreviation(1, VARIABLE, (UNIT_NUMBER, FORM_UDATA), (ENTRY, FORM_REF_UDATA)) + b"\0"
    pool, series = bytearray(), []
    for i in range(each):
        for number in range(units):
            series.append(len(pool))
            pool += bytes([1, number]) + uleb(first + 3 * i) + b"\0"
    index = name_table(f, [len(unit) * i for i in range(units)], [0] * len(series), series, abbrevs, bytes(pool))
    return (f.dwarf2(unit * units, table, Section(".debug_str", b"name\0"), index),
            {"units": units, "variables": units * each, "globalNames": units * each})


@kind("sets of names of no bytes")
def empty_name_sets(f, size):
    one = name_table(f, [0], [], [], b"", b"").data
    return f.dwarf2(f.unit_by(5, b"\1\0"), [UNIT], Section(".debug_names", one * (size // len(one))))


@kind("a set of .debug_gnu_pubnames for all units", FIND)
def gnu_names(f, size):
    sets = []
    for i in range(size // 38):
        body = f.u16(2) + f.u32(12 * 0 + 13 * i, 13) + f.u32(1) + b"\x20a\0" + f.u32(0)
        sets.append(f.u32(len(body)) + body)
    return f.dwarf2(f.unit_by(4, b"\1\0") * (size // 38), [UNIT], Section(".debug_gnu_pubnames", b"".join(sets)))


# .eh_frame

def eh_frames(f, size, augmentation, data, of_each):
    def record(identity, body):
        return f.u32(4 + len(body), identity) + body

    cie = record(0, b"\1" + augmentation + b"\0\1\1\1" + data)
    out = bytearray(cie)
    while len(out) < size - 300:
        if of_each == "cie":
            out += cie
        else:
            out += record(len(out) + 4, f.u32(len(out), 4) + b"\0")
    segment = Section(".eh_frame", bytes(out))
    return f.dwarf2(f.unit_by(4, b"\1\0"), [UNIT], segment)


for what, augmentation, data in (("no data", b"", b""), ("a pointer", b"zR", b"\1\0"),
                                 ("signals", b"z" + b"S" * 1000, b"\0"), ("personalities", b"z" + b"P" * 40,
                                                                          b"\x50" + b"\1\0" * 40)):
    for of_each in ("cie", "fde"):
        kind(f"frames of .eh_frame with {what}, a {of_each} each", TEXT, augmentation=augmentation, data=data,
             of_each=of_each)(eh_frames)
