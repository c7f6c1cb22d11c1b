"""DWARF 2: units, their first entries, names and abbreviations, and the indexes of names and addresses."""
from formats import (ALL, AT_ANY, AT_LOCATION, AT_LOW_PC, AT_NAME, FORM_ADDR, FORM_BLOCK1, FORM_BLOCK4, FORM_DATA1,
                     FORM_DATA2, FORM_FLAG, FORM_INDIRECT, FORM_STRING, FORM_STRP, UNIT, Section, declaration, uleb)
from kinds import FIND, ORDERS, STATS, WHERE, kind, orders


@kind("sound units of 13 bytes", sound=True)
def sound_units(f, size):
    return f.dwarf2(f.small_units(size // 13), [UNIT]), {"units": size // 13}


def units_that_share(f, size, attributes, shared, tag="variable", *of_entries):
    """Units of hardly more than a header; a block in the first entry leads to bytes that all of them read."""
    attributes = [(AT_ANY, FORM_BLOCK4), *attributes]
    count = max((size - len(shared)) // 16, 1)
    units = [f.unit(b"\1" + f.u32(16 * (count - 1 - i)), length=12) for i in range(count - 1)]
    last = f.unit(b"\1" + f.u32(0) + shared)
    table = [declaration(1, "unit", 1, *attributes), declaration(2, tag, 0, *of_entries)]
    return f.dwarf2(b"".join(units) + last, table)


@kind("first entries share a chain of DW_FORM_indirect")
def first_indirect(f, size):
    return units_that_share(f, size, [(AT_ANY, FORM_INDIRECT)], b"\x16" * (size // 2) + bytes([FORM_FLAG, 1, 0]))


@kind("first entries share a long name", FIND)
def first_name(f, size):
    return units_that_share(f, size, [(AT_NAME, FORM_STRING)], b"n" * (size // 2) + b"\0\0")


@kind("first entries of 499 attributes share their values")
def first_attributes(f, size):
    return units_that_share(f, size, [(AT_NAME, FORM_STRING)] * 498, b"ab\0" * 498 + b"\0")


def shared_entries(f, size, tag):
    return units_that_share(f, size, [], b"\2" * (size // 2) + b"\0", tag)


def past_the_end(f, size, tag):
    unit = f.unit(b"\1" + b"\2" * 8 + b"\3\x0C")  # the block takes the next header and the code after it
    table = [UNIT, declaration(2, tag), declaration(3, tag, 0, (AT_ANY, FORM_BLOCK1))]
    return f.dwarf2(unit * (size // len(unit)) + f.small_units(1), table)


for tag in ("variable", "subprogram", "structure", "label"):
    kind(f"units share their entries: {tag}", tag=tag)(shared_entries)
    kind(f"entries run past their unit into the next: {tag}", tag=tag)(past_the_end)


@kind("units share a long expression")
def shared_expression(f, size):
    shared = b"\2" + f.u32(size // 2) + b"\x96" * (size // 2) + b"\0"
    return units_that_share(f, size, [], shared, "variable", (AT_LOCATION, FORM_BLOCK4))


@kind("units overlap by unit_length")
def overlapping_units(f, size):
    # Little-endian, the next unit's header is an entry of code 8; big-endian it closes the unit.
    unit = f.unit(b"\1", length=8)
    table = [UNIT, declaration(8, "variable", 0, (AT_ANY, FORM_DATA1), *[(AT_ANY, FORM_DATA2)] * 5)]
    return f.dwarf2(unit * (size // len(unit)) + b"\0", table)


@kind("unit_length leads back", only=(STATS,))
def units_backward(f, size):
    units = [f.unit(b"\1\0") for _ in range(size // 13)]
    units[-1] = f.unit(b"\1\0", length=-13 * (len(units) - 1) - 4)
    return f.dwarf2(b"".join(units), [UNIT])


@kind("unit_length leads to the unit itself", only=(STATS,))
def units_in_place(f, size):
    return f.dwarf2(f.unit(b"\1\0", length=-4) + f.small_units(size // 13), [UNIT])


# Names

NAMED_UNIT = declaration(1, "unit", 1, (AT_NAME, FORM_STRING))


def named_units(f, names):
    return f.dwarf2(b"".join(f.unit(b"\1" + name + b"\0\0") for name in names), [NAMED_UNIT])


def unit_names(f, size, order):
    return named_units(f, [b"%016x" % number for number in orders(size // 30)[order]()])


for name in ORDERS:
    kind(f"unit names in order: {name}", only=(STATS, "modules --json FILE"), order=name)(unit_names)


@kind("unit names against a skip list of fixed seed", only=(STATS,))
def unit_names_skip_list(f, size):
    # Of such a list's heights, drawn by xorshift: the tall nodes go to the front, the low ones into one long run.
    state, names = 0x9E3779B9, []
    for number in range(size // 31):
        state ^= state << 13 & ALL
        state ^= state >> 17
        state ^= state << 5 & ALL
        names.append(b"%s%016x" % (b"a" if state & 3 == 0 else b"m", number))
    return named_units(f, [b"z", *names[1:]])


@kind("unit names in pairs", only=(STATS,))
def unit_names_in_pairs(f, size):
    return named_units(f, [b"ab"[i % 2:i % 2 + 1] for i in range(size // 15)])


def long_unit_names(f, size, text):
    """Names of a thousand bytes that cost a unit four."""
    table = declaration(1, "unit", 1, (AT_NAME, FORM_STRP))
    text = text * (4096 // len(text))
    units = [f.unit(b"\1" + f.u32(i % 3000) + b"\0") for i in range((size - len(text)) // 17)]
    return f.dwarf2(b"".join(units), [table], Section(".debug_str", text + b"\0"))


for name, text in (("of one letter", b"x"), ("of directories", b"d/"), ("of parent directories", b"../"),
                   ("of extensions", b".e"), ("of drives", b"a:\\")):
    kind(f"long unit names {name}", only=(STATS, "modules --json FILE"), text=text)(long_unit_names)


@kind("unit names share half of the file", FIND)
def unit_names_share(f, size):
    table = declaration(1, "unit", 1, (AT_NAME, FORM_STRP))
    units = [f.unit(b"\1" + f.u32(i) + b"\0") for i in range(size // 34)]
    return f.dwarf2(b"".join(units), [table], Section(".debug_str", b"n" * (size // 2) + b"\0"))


# Abbreviations

@kind("units share one table of abbreviations")
def shared_abbrevs(f, size):
    table = b"".join(declaration(3 + i % 100, "variable") for i in range(size // 10))
    return f.dwarf2(f.small_units(size // 26), [UNIT, table])


@kind("tables of abbreviations overlap")
def overlapping_abbrevs(f, size):
    step = declaration(3, "variable")
    table = step * (size // 2 // len(step))
    units = [f.unit(b"\1\0", abbrevs=len(step) * i) for i in range(min(size // 26, len(table) // len(step)))]
    return f.dwarf2(b"".join(units), [table, UNIT])


@kind("tables of abbreviations overlap within a declaration")
def overlapping_declarations(f, size):
    # From each second byte on there is a declaration of some attributes, which ends with the table.
    units = [f.unit(b"\1\0", abbrevs=2 * i) for i in range(size // 26)]
    table = b"\1\x11\1" + b"\1\x0B" * 450 + b"\0\0" + UNIT
    return f.dwarf2(b"".join(units), [table * (size // 2 // len(table)), UNIT])


def colliding_codes(f, size, step):
    count = size // 20
    table = b"".join(declaration(2 + step * i, "variable") for i in range(count))
    last = uleb(2)  # what was declared first is at the end of a chain of a bucket
    return f.one_unit(last * (size // 2 // len(last)), [table])


for step in (71, 1 << 12):
    kind(f"codes of abbreviations {step} apart", step=step)(colliding_codes)


@kind("first entries of 499 attributes of no bytes")
def first_of_no_bytes(f, size):
    table = declaration(1, "unit", 1, *[(AT_LOW_PC, FORM_ADDR)] * 499)
    return f.dwarf2(f.unit(b"\1\0", address_size=0) * (size // 13), [table])


# Indexes

def index_of_units(f, size, section, make_set, step):
    """An index with a set for each unit, against the order of the units."""
    count = size // step
    sets = [make_set(13 * (count - 1 - i)) for i in range(count)]
    return f.dwarf2(f.small_units(count), [UNIT], Section(section, b"".join(sets)))


@kind("sets of .debug_pubnames for all units", FIND)
def name_sets(f, size):
    return index_of_units(f, size, ".debug_pubnames", lambda unit: f.name_set(unit, [b"a"]), 37)


@kind("sets of .debug_aranges for all units", WHERE)
def range_sets(f, size):
    return index_of_units(f, size, ".debug_aranges", lambda unit: f.range_set(unit, (unit, 13, 0, 0)), 45)


@kind("sets of .debug_aranges with addresses of 255 bytes", WHERE)
def wide_ranges(f, size):
    one = f.range_set(0, (), 255)[:12] + bytes(498) + b"\1" * 1020 + bytes(510)
    sets = one * (size // len(one))
    return f.dwarf2(f.small_units(1), [UNIT], Section(".debug_aranges", sets))


def endless_names(f, size, count):
    names = f.name_set(0, [b"a"] * (size // 12 * count), length=0xFFFFFFFC) + bytes(size // 2 * (1 - count))
    return f.dwarf2(f.small_units(size // 26), [UNIT], Section(".debug_pubnames", names))


for what, count in (("names", 1), ("no names", 0)):
    kind(f"a set of .debug_pubnames of {what} and length 0xFFFFFFFC", FIND, count=count)(endless_names)


@kind("sets of .debug_pubnames of all lengths around the end", FIND)
def long_names(f, size):
    names = [f.name_set(0, [b"a"], length=ALL - i % 40 if i % 2 else i) for i in range(size // 24)]
    return f.dwarf2(f.small_units(1), [UNIT], Section(".debug_pubnames", b"".join(names)))


@kind("tuples of 0xFF in .debug_aranges of 0xFFFFFFFF bytes", WHERE)
def endless_ranges(f, size):
    ranges = f.range_set(0, ()) + b"\xFF" * (size // 2)
    return f.dwarf2(f.small_units(size // 26), [UNIT], Section(".debug_aranges", ranges, size=ALL))


@kind("names of an index that are equal", FIND)
def equal_names(f, size):
    names = f.name_set(0, [b"n0"] * (size // 16))
    return f.dwarf2(f.small_units(size // 26), [UNIT], Section(".debug_pubnames", names))
