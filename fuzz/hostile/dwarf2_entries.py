"""DWARF 2: the entries of a unit, their attributes, locations and types, and frames."""
from formats import (ALL, AT_BIT_SIZE, AT_HIGH_PC, AT_LOCATION, AT_LOW_PC, AT_NAME, AT_SPECIFICATION, AT_TYPE,
                     AT_UPPER_BOUND, AT_ANY, FORM_ADDR, FORM_BLOCK4, FORM_DATA1, FORM_DATA4, FORM_FLAG, FORM_INDIRECT,
                     FORM_REF1, FORM_REF_ADDR, FORM_STRING, FORM_STRP, UNIT, Section, declaration)
from kinds import FIND, ORDERS, STATS, TEXT, WHERE, kind, orders

FIRST = 12  # offset of a unit's first child
FIND_ADDRESSES = "find FILE 0x1 0x100 0x8000 0x10000 0x80000000 0x101"
TYPED = declaration(2, "variable", 0, (AT_TYPE, FORM_REF_ADDR))


# Entries of one byte, as the formats have them

def sound_entries(f, size, tag, counted, around):
    table = [declaration(2, tag), declaration(3, around or tag, 1)]
    before, after = (b"\3", b"\0") if around else (b"", b"")
    count = size - 400
    return f.one_unit(before + b"\2" * count + after, table), {counted: count}


for tag, counted, around in (("variable", "variables", None), ("subprogram", "procedures", None),
                             ("pointer", "types", None), ("parameter", "parameters", "subprogram"),
                             ("variable", "locals", "subprogram"), ("member", "members", "structure"),
                             ("subprogram", "memberFunctions", "structure"),
                             ("enumerator", "enumerators", "enumeration")):
    kind(f"sound {counted} of one byte", TEXT, sound=True, tag=tag, counted=counted, around=around)(sound_entries)


# Strings

def names_in_strings(f, size, tail):
    """Variables that have one string of half the file's size as their name, or tails of it."""
    table = declaration(2, "variable", 0, (AT_NAME, FORM_STRP))
    entries = b"".join(b"\2" + f.u32(tail * i) for i in range(size // 10))
    return f.one_unit(entries, [table], Section(".debug_str", b"n" * (size // 2) + b"\0"))


for name, tail in (("one long string", 0), ("tails of one string", 1)):
    kind(f"names in {name}", FIND, TEXT, tail=tail)(names_in_strings)


@kind("names without end in .debug_str of 0xFFFFFFFF bytes", FIND)
def endless_names(f, size):
    table = declaration(2, "variable", 0, (AT_NAME, FORM_STRP))
    entries = b"".join(b"\2" + f.u32(ALL - i if i % 2 else i) for i in range(size // 10))
    return f.one_unit(entries, [table], Section(".debug_str", b"n" * (size // 2), size=ALL))


def long_name(f, size, text):
    variable = declaration(2, "variable", 0, (AT_NAME, FORM_STRING))
    return f.one_unit(b"\2" + text * (size // len(text)) + b"\0", [variable])


for what, text in (("closing brackets", b" )"), ("control characters", b"\1"), ("bytes that are no text", b"\xFF"),
                   ("characters that are cut", b"\xE2\x82"), ("slashes", b"/")):
    kind(f"a long name of {what}", FIND, TEXT, text=text)(long_name)


@kind("a type of a long name", TEXT)
def long_type_name(f, size):
    structure = declaration(3, "structure", 0, (AT_NAME, FORM_STRING))
    return f.one_unit(b"\3" + b"n" * (size // 2) + b"\0" + (b"\2" + f.u32(FIRST)) * (size // 10), [TYPED, structure])


# DW_AT_specification

SPECIFIED = declaration(2, "variable", 0, (AT_SPECIFICATION, FORM_REF_ADDR))


def jumps_to_one(f, size, attributes, values, *more, tag="variable"):
    """Entries of five bytes that jump to the unit's first one."""
    jump = declaration(2, tag, 0, (AT_SPECIFICATION, FORM_REF_ADDR))
    target = declaration(3, tag, 0, *attributes)
    left = size - len(values) - sum(len(section.data) for section in more)
    return f.one_unit(b"\3" + values + (b"\2" + f.u32(FIRST)) * (left // 5), [jump, target], *more)


@kind("specifications lead to a chain of DW_FORM_indirect")
def specified_indirect(f, size):
    return jumps_to_one(f, size, [(AT_ANY, FORM_INDIRECT)], b"\x16" * (size // 2) + bytes([FORM_FLAG, 1]))


for tag, attribute in (("variable", AT_BIT_SIZE), ("variable", AT_ANY), ("subprogram", 0x46)):
    kind(f"specifications lead to 499 attributes 0x{attribute:X}", tag=tag, attribute=attribute)(
        lambda f, size, tag, attribute: jumps_to_one(f, size, [(attribute, FORM_DATA1)] * 499, b"\1" * 499, tag=tag))


@kind("specifications lead to 499 names")
def specified_names(f, size):
    text = Section(".debug_str", b"n" * 1000 + b"\0")
    values = b"".join(f.u32(i) for i in range(499))
    return jumps_to_one(f, size, [(AT_NAME, FORM_STRP)] * 499, values, text)


@kind("specifications lead to a long block")
def specified_block(f, size):
    return jumps_to_one(f, size, [(AT_LOCATION, FORM_BLOCK4)], f.u32(size // 2) + bytes(size // 2))


@kind("specifications lead to a long name", FIND)
def specified_name(f, size):
    return jumps_to_one(f, size, [(AT_NAME, FORM_STRING)], b"n" * (size // 2) + b"\0")


@kind("specifications lead into a name at different places", FIND)
def specified_tails(f, size):
    # Each byte of the name is the code of the entry whose name it begins.
    name = declaration(3, "variable", 0, (AT_NAME, FORM_STRING))
    jumps = b"".join(b"\2" + f.u32(FIRST + i) for i in range(size // 10))
    return f.one_unit(b"\3" * (size // 2) + b"\0" + jumps, [SPECIFIED, name])


def chain_of_jumps(f, size, back):
    """Each entry's specification is the entry after it, the last one's the one `back` before it or nothing."""
    count = size // 5
    entries = [b"\2" + f.u32(FIRST + 5 * i + 5) for i in range(count - 1)]
    return f.one_unit(b"".join(entries) + b"\2" + f.u32(FIRST + 5 * (count - back) if back else 0), [SPECIFIED])


for name, back in (("a chain", 0), ("a circle of one", 1), ("a circle of a hundred", 100)):
    kind(f"specifications in {name}", back=back)(chain_of_jumps)


@kind("specifications in chains of costly entries")
def costly_chain(f, size):
    table = declaration(3, "variable", 0, *[(AT_BIT_SIZE, FORM_DATA1)] * 498, (AT_SPECIFICATION, FORM_REF_ADDR))
    step = 1 + 498 + 4
    count = min(size // 2 // step, 60)
    chain = b"".join(b"\3" + b"\1" * 498 + f.u32(FIRST + step * (i + 1) if i + 1 < count else 0) for i in range(count))
    return f.one_unit(chain + (b"\2" + f.u32(FIRST)) * ((size - len(chain)) // 5), [SPECIFIED, table])


# Attributes of no bytes: addresses in a unit whose addresses have none

for what, tag, attribute, form in (("addresses", "subprogram", AT_LOW_PC, FORM_ADDR),
                                   ("types", "variable", AT_TYPE, FORM_REF_ADDR),
                                   ("locations", "variable", AT_LOCATION, FORM_REF_ADDR),
                                   ("values", "structure", AT_ANY, FORM_ADDR)):
    kind(f"499 {what} of no bytes", tag=tag, pair=(attribute, form))(
        lambda f, size, tag, pair: f.one_unit(b"\2" * (size - 1500), [declaration(2, tag, 0, *[pair] * 499)],
                                              Section(".debug_loc", bytes(10)), address_size=0))


# Locations

LISTED = declaration(2, "variable", 0, (AT_LOCATION, FORM_DATA4))


def location_lists(f, size, step, expression):
    entry = f.u32(16, 17) + f.u16(len(expression)) + expression
    count = size // 2 // len(entry)
    entries = b"".join(b"\2" + f.u32(step * len(entry) * (i % count)) for i in range(size // 10))
    return f.one_unit(entries, [LISTED], Section(".debug_loc", entry * count + bytes(8)))


for name, step in (("one list", 0), ("lists that overlap", 1)):
    kind(f"locations in {name}", TEXT, step=step, expression=b"")(location_lists)
    kind(f"locations in {name} of long expressions", TEXT, step=step, expression=b"\x96" * 1000)(location_lists)


@kind("locations without end in .debug_loc of 0xFFFFFFFF bytes")
def endless_locations(f, size):
    entries = b"".join(b"\2" + f.u32(i * 2 if i % 2 else ALL - i) for i in range(size // 10))
    lists = Section(".debug_loc", b"\1\0\0\0\0\0" * (size // 12), size=ALL)
    return f.one_unit(entries, [LISTED], lists, address_size=2)


# Types. References are offsets in the section, so that no line program decides over them.

def typed_chain(f, size, tag, step):
    """A chain of types, each of the one `step` after it, and variables of the first."""
    count = size // 10
    chain = b"".join(b"\3" + f.u32(FIRST + 5 * ((i + step) % count)) for i in range(count))
    return f.one_unit(chain + (b"\2" + f.u32(FIRST)) * count, [TYPED, declaration(3, tag, 0, (AT_TYPE, FORM_REF_ADDR))])


for tag in ("typedef", "const", "pointer", "array", "function"):
    kind(f"a chain of types: {tag}", TEXT, tag=tag, step=1)(typed_chain)
for tag in ("typedef", "array", "function"):
    kind(f"types of themselves: {tag}", TEXT, tag=tag, step=0)(typed_chain)


@kind("arrays of arrays of one dimension", TEXT)
def nested_arrays(f, size):
    count = size // 20
    array = declaration(3, "array", 1, (AT_TYPE, FORM_REF_ADDR))
    chain = b"".join(b"\3" + f.u32(FIRST + 7 * (i + 1)) + b"\4\0" for i in range(count))
    return f.one_unit(chain + (b"\2" + f.u32(FIRST)) * (size // 10), [TYPED, array, declaration(4, "subrange")])


@kind("an array of many dimensions", TEXT)
def many_dimensions(f, size):
    table = [TYPED, declaration(3, "array", 1), declaration(4, "subrange", 0, (AT_UPPER_BOUND, FORM_DATA1))]
    return f.one_unit(b"\3" + b"\4\1" * (size // 4) + b"\0" + (b"\2" + f.u32(FIRST)) * (size // 10), table)


@kind("functions of two functions each", TEXT)
def function_tree(f, size):
    # As a declaration in C its text doubles from type to type. The variables have two bytes.
    function, parameter = declaration(3, "function", 1), declaration(4, "parameter", 0, (AT_TYPE, FORM_REF_ADDR))
    types = b"".join(b"\3" + 2 * (b"\4" + f.u32(FIRST + 12 * (i + 1))) + b"\0" for i in range(100))
    variables = bytes([2, FIRST]) * ((size - len(types)) // 2)
    return f.one_unit(types + variables, [declaration(2, "variable", 0, (AT_TYPE, FORM_REF1)), function, parameter])


def colliding_types(f, size, step):
    return f.one_unit(b"".join(b"\2" + f.u32(step * i + 1) for i in range(size // 5)), [TYPED])


# The last two undo the multiplication by which keys are often spread.
for step in (71, 256, 1 << 12, 1 << 16, 1 << 20, pow(0x9E3779B1, -1, 1 << 32), pow(0x9E3779B9, -1, 1 << 32)):
    kind(f"keys of types 0x{step:X} apart", only=(STATS,), step=step)(colliding_types)


# Nesting and order

def nested(f, size, tag):
    return f.one_unit(b"\2" * (size // 2) + b"\0" * (size // 2), [declaration(2, tag, 1)])


for tag in ("structure", "block", "function", "subprogram", "array", "enumeration"):
    kind(f"nested entries: {tag}", TEXT, tag=tag)(nested)


def ordered_labels(f, size, order):
    entries = b"".join(b"\2" + f.u32(0x100 + number) for number in orders(size // 5)[order]())
    return f.one_unit(entries, [declaration(2, "label", 0, (AT_LOW_PC, FORM_ADDR))])


def ordered_frames(f, size, order):
    frames = b"".join(f.u32(12, 0, number, 1) for number in orders(size // 16)[order]())
    return f.one_unit(b"", [], Section(".debug_frame", frames))


for name in ORDERS:
    kind(f"labels in order: {name}", WHERE, order=name)(ordered_labels)
    kind(f"frames in order: {name}", TEXT, order=name)(ordered_frames)


def frames_of_many(f, size, address_size, step):
    """Each frame names another common information entry; with addresses of no bytes it takes 8 bytes."""
    place = bytes(2 * address_size)
    frames = b"".join(f.u32(4 + len(place), step * i) + place for i in range(size // (8 + len(place))))
    return f.one_unit(b"", [], Section(".debug_frame", frames), address_size=address_size)


for address_size in (0, 4):
    for step in (1, 1 << 14):
        kind(f"frames of as many CIEs 0x{step:X} apart, addresses of {address_size}", TEXT, address_size=address_size,
             step=step)(frames_of_many)


@kind("frames share long instructions", TEXT)
def shared_instructions(f, size):
    shared = b"\1\0\1\1\1" + b"\x41" * (size // 2)
    frames = f.u32(4 + len(shared), ALL) + shared + f.u32(12, 0, 1, 1) * (size // 32)
    return f.one_unit(b"", [], Section(".debug_frame", frames))


@kind("frames in .debug_frame of 0xFFFFFFFF bytes")
def endless_frames(f, size):
    frames = f.u32(12, 0, 1, 1) * (size // 16)
    return f.one_unit(b"", [], Section(".debug_frame", frames, size=ALL))


def frames_of_all_lengths(f, size, length):
    frames = f.u32(length, 0, 1, 1) * (size // 16)
    return f.one_unit(b"", [], Section(".debug_frame", frames))


for length in (0, 4, 0x40C, 0x7FFFFFFF, ALL):
    kind(f"frames of length 0x{length:X}", length=length)(frames_of_all_lengths)


@kind("entries without end in .debug_info of 0xFFFFFFFF bytes")
def endless_entries(f, size):
    info = f.unit(b"\1" + b"\2" * (size - 500), length=ALL - 4)
    return f.elf([Section(".debug_abbrev", UNIT + declaration(2, "variable") + b"\0"),
                  Section(".debug_info", info, size=ALL)])


@kind("procedures that all cover the address asked for", WHERE, FIND_ADDRESSES)
def stacked_procedures(f, size):
    table = declaration(2, "subprogram", 0, (AT_LOW_PC, FORM_ADDR), (AT_HIGH_PC, FORM_ADDR))
    return f.one_unit(b"".join(b"\2" + f.u32(i, ALL - i) for i in range(size // 9)), [table])
