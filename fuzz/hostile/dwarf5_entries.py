"""DWARF 3 to 5, as published: entries that refer to entries, scopes and their names, ranges, values by index."""
from formats import (ALL, AT_ADDR_BASE, AT_ANY, AT_BIT_SIZE, AT_CONST_VALUE, AT_COUNT, AT_DECLARATION, AT_IMPORT,
                     AT_LANGUAGE, AT_LOCATION, AT_LOCLISTS_BASE, AT_LOW_PC, AT_NAME, AT_ORIGIN, AT_RANGES,
                     AT_RNGLISTS_BASE, AT_SIGNATURE, AT_SPECIFICATION, AT_STR_OFFSETS_BASE, AT_TYPE, FIRST_OF_UNIT,
                     FORM_ADDRX2, FORM_BLOCK, FORM_DATA1, FORM_DATA4, FORM_EXPRLOC, FORM_FLAG_PRESENT,
                     FORM_IMPLICIT_CONST, FORM_LOCLISTX, FORM_REF1, FORM_REF4, FORM_REF_ADDR, FORM_REF_SIG8,
                     FORM_REF_UDATA, FORM_RNGLISTX, FORM_SEC_OFFSET, FORM_STRING, FORM_STRP, FORM_STRX2, FORM_UDATA,
                     LANGUAGE_CXX, UNIT, UT_PARTIAL, UT_TYPE, Section, declaration, uleb)
from kinds import FIND, STATS, TEXT, WHERE, kind

FIRST = FIRST_OF_UNIT[4] + 2  # offset of the first child in a file of one unit of version 4
CXX_UNIT = declaration(1, "unit", 1, (AT_LANGUAGE, FORM_DATA1))
CXX = bytes([1, LANGUAGE_CXX])


# References

def chain_over_units(f, size, attribute, tag, back):
    """A unit for each entry, which refers to the entry of the next unit; the last one back, or to nothing."""
    step = 18
    count = size // step
    target = [step * ((i + 1) if i + 1 < count else count - back) + 12 for i in range(count)]
    units = [f.unit_by(4, b"\1\2" + f.u32(target[i]) + b"\0", length=step - 4) for i in range(count)]
    return f.dwarf2(b"".join(units), [UNIT, declaration(2, tag, 0, (attribute, FORM_REF_ADDR))])


for what, attribute, tag in (("origins", AT_ORIGIN, "variable"), ("specifications", AT_SPECIFICATION, "subprogram"),
                             ("types", AT_TYPE, "pointer"), ("imports", AT_IMPORT, "imported")):
    for name, back in (("a chain", 0), ("a circle", 60)):
        kind(f"{what} in {name} over units", attribute=attribute, tag=tag, back=back)(chain_over_units)


def many_chains(f, size, tag, attributes, values):
    """Entries of two bytes whose origin is the first of a chain of 60."""
    pair = (AT_ORIGIN, FORM_REF1)
    links = [b"\2" + bytes([FIRST + (2 + len(values)) * (i + 1)]) + values for i in range(59)]
    chain = b"".join(links) + b"\3" + values
    table = [declaration(2, tag, 0, pair, *attributes), declaration(3, tag, 0, *attributes),
             declaration(4, tag, 0, pair)]
    return f.one_unit_by(4, chain + bytes([4, FIRST]) * ((size - len(chain)) // 2), table)


for tag in ("variable", "subprogram", "structure"):
    kind(f"origins of chains of 60: {tag}", tag=tag, attributes=(), values=b"")(many_chains)
for what, pair in (("flags", (AT_DECLARATION, FORM_FLAG_PRESENT)), ("constants", (AT_BIT_SIZE, FORM_IMPLICIT_CONST, 1)),
                   ("values", (AT_CONST_VALUE, FORM_IMPLICIT_CONST, 1)), ("others", (AT_ANY, FORM_IMPLICIT_CONST, 1))):
    kind(f"origins of chains of 60 entries of 498 {what} of no bytes", tag="variable", attributes=[pair] * 498,
         values=b"")(many_chains)
    kind(f"entries of one byte and 499 {what} of no bytes", pair=pair)(
        lambda f, size, pair: f.one_unit_by(5, b"\2" * (size - 2500), [declaration(2, "variable", 0, *[pair] * 499)]))


def unit_for_all(f, size, entries, table, refer, version, kind_of_unit):
    """A unit of half of the file, and small ones that each refer to an entry of it."""
    head = FIRST_OF_UNIT[version]
    big = f.unit_by(version, (b"\7" if kind_of_unit == UT_PARTIAL else b"\1") + entries + b"\0", kind=kind_of_unit)
    small = f.unit_by(version, b"\1" + refer + b"\0")
    table = [UNIT, *table, declaration(7, "partial", 1)]
    return f.dwarf2(big + small * ((size - len(big)) // len(small)), table), head + 1


def shared_types(f, size, how):
    """The big unit's types are a chain, each of the type after it; each unit has a variable of the first."""
    wide = how == "four bytes"
    count = size // 2 // (5 if wide else 2)
    first = FIRST_OF_UNIT[4] + 1
    if wide:
        chain = b"".join(b"\3" + f.u32(first + 5 * (i + 1)) for i in range(count))
    else:  # the references count from the unit; 0x7F bytes on the codes begin again
        chain = b"".join(bytes([3, min(first + 2 * (i + 1), 0xFE)]) for i in range(count))
    table = [declaration(2, "variable", 0, (AT_TYPE, FORM_REF_ADDR)),
             declaration(3, "pointer", 0, (AT_TYPE, FORM_REF_ADDR if wide else FORM_REF1))]
    return unit_for_all(f, size, chain, table, b"\2" + f.u32(first), 4, 1)[0]


for how in ("four bytes", "a byte"):
    kind(f"units refer to a chain of another's types by references of {how}", how=how)(shared_types)


def shared_parent(f, size, tag, child, attributes, values):
    first = FIRST_OF_UNIT[4] + 1
    entries = b"\3" + (b"\4" + values) * (size // 2 // (1 + len(values))) + b"\0"
    table = [declaration(2, "variable", 0, (AT_TYPE, FORM_REF_ADDR)), declaration(3, tag, 1),
             declaration(4, child, 0, *attributes)]
    return unit_for_all(f, size, entries, table, b"\2" + f.u32(first), 4, 1)[0]


for tag, child in (("structure", "member"), ("structure", "label"), ("structure", "pointer"), ("function", "parameter"),
                   ("enumeration", "enumerator"), ("structure", "subprogram"), ("structure", "variable")):
    kind(f"units refer to a {tag} of many in another: {child}", tag=tag, child=child, attributes=(), values=b"")(
        shared_parent)
kind("units refer to a structure of many texts in another", tag="structure", child="label",
     attributes=[(AT_ANY, FORM_STRING)] * 3, values=b"\0\0\0")(shared_parent)


def scattered_types(f, size):
    """A chain of types that begins anew for each unit and leads to and fro between the ends of a large unit."""
    count = size // 10 & ~1
    first = FIRST_OF_UNIT[4] + 1
    follows = [count - 1 - i if i < count // 2 else count - i for i in range(count)]
    chain = b"".join(b"\3" + f.u32(first + 5 * other) for other in follows)
    table = [declaration(2, "variable", 0, (AT_TYPE, FORM_REF_ADDR)),
             declaration(3, "pointer", 0, (AT_TYPE, FORM_REF_ADDR))]
    return unit_for_all(f, size, chain, table, b"\2" + f.u32(first), 4, 1)[0]


kind("units refer to types at both ends of another in turns")(scattered_types)


def importing(f, size, entries, table):
    place = 0
    return unit_for_all(f, size, entries, table, b"\2" + f.u32(place), 5, UT_PARTIAL)[0]


IMPORT = declaration(2, "imported", 0, (AT_IMPORT, FORM_REF_ADDR))
for tag in ("variable", "subprogram", "label", "pointer", "namespace", "member"):
    kind(f"units import a partial unit of many: {tag}", tag=tag)(
        lambda f, size, tag: importing(f, size, b"\3" * (size // 2), [IMPORT, declaration(3, tag)]))


@kind("units import a partial unit that imports many")
def star_of_imports(f, size):
    count = size // 60
    leaf = f.unit_by(5, b"\3", kind=UT_PARTIAL)
    star = f.unit_by(5, b"\4" + b"".join(b"\2" + f.u32(len(leaf) * i) for i in range(count)) + b"\0", kind=UT_PARTIAL)
    user = f.unit_by(5, b"\1\2" + f.u32(len(leaf) * count) + b"\0")
    left = size - len(leaf) * count - len(star)
    table = [UNIT, IMPORT, declaration(3, "partial"), declaration(4, "partial", 1)]
    return f.dwarf2(leaf * count + star + user * (left // len(user)), table)


def type_units(f, size, version, alias, of_one):
    """Type units in a chain and a circle of signatures; units that have a variable of one of them."""
    info_size = 36
    count = size // 2 // info_size
    attribute = AT_SIGNATURE if alias else AT_TYPE
    head = FIRST_OF_UNIT[version] + 12
    types = b"".join(f.unit_by(version, b"\4\3" + f.u32((i + 1) % count, (i + 1) % count) + b"\0", kind=UT_TYPE,
                               signature=i, type_offset=head + 1) for i in range(count))
    units = b"".join(f.unit_by(version, b"\1\2" + f.u32(*[0 if of_one else i % count] * 2) + b"\0")
                     for i in range(size // 2 // 22))
    table = [UNIT, declaration(2, "variable", 0, (AT_TYPE, FORM_REF_SIG8)),
             declaration(3, "structure" if alias else "pointer", 0, (attribute, FORM_REF_SIG8)),
             b"\4\x41\1\0\0"]
    if version == 5:
        return f.dwarf2(types + units, table)
    return f.dwarf2(units, table, Section(".debug_types", types))


for version in (4, 5):
    for what, alias in (("types", False), ("aliases", True)):
        kind(f"signatures of {what} in a circle, version {version}", TEXT, version=version, alias=alias, of_one=True)(
            type_units)
kind("signatures of types in a circle that is begun anywhere", version=5, alias=False, of_one=False)(type_units)


# Abbreviations and plans

def many_tables(f, size, step, table):
    """A unit that refers to a type in each of the others, whose tables of abbreviations begin `step` bytes apart."""
    count = size // 2 // 19
    units = [f.unit_by(4, b"\1\3\0", abbrevs=step * i % len(table)) for i in range(count)]
    first = len(units[0]) * count
    references = b"".join(b"\2" + f.u32(len(units[0]) * i + 12) for i in range(count))
    table = UNIT + declaration(2, "variable", 0, (AT_TYPE, FORM_REF_ADDR)) + declaration(3, "pointer") + b"\0" + table
    units = [f.unit_by(4, b"\1\3\0", abbrevs=min(16 + step * i, len(table) - 20)) for i in range(count)]
    assert first == sum(map(len, units))
    return f.dwarf2(b"".join(units) + f.unit_by(4, b"\1" + references + b"\0"), [table])


SMALL = UNIT + declaration(3, "pointer")
kind("a unit refers to units of small tables of abbreviations", step=len(SMALL) + 1, table=(SMALL + b"\0") * 40000)(
    lambda f, size, step, table: many_tables(f, size, step, table[:size // 4 // step * step]))
kind("a unit refers to units of tables of abbreviations that overlap", step=len(SMALL), table=SMALL * 40000)(
    lambda f, size, step, table: many_tables(f, size, step, table[:size // 4 // step * step]))


@kind("plans of all kinds for units of all versions")
def many_plans(f, size):
    # Each entry refers to one of 499 attributes, by way of each tag that takes others of them.
    table = b"".join(declaration(8 + i, "label", 0, *[(AT_NAME, FORM_UDATA)] * 499) for i in range(size // 4 // 1003))
    count = size // 4 // 1003
    tags = ("variable", "subprogram", "structure", "namespace")
    jumps = [declaration(2 + i, tag, 0, (AT_ORIGIN, FORM_REF_UDATA)) for i, tag in enumerate(tags)]
    units = []
    while sum(map(len, units)) < size * 3 // 4:
        unit_at = len(units)
        version, address_size = 2 + unit_at % 4, 1 + unit_at // 4 % 8
        head = FIRST_OF_UNIT[version]
        targets = b"".join(uleb(8 + i) + bytes(499) for i in range(min(count, 8)))
        places = [head + 1 + i * (499 + len(uleb(8 + i))) for i in range(min(count, 8))]
        entries = b"".join(bytes([2 + i]) + uleb(place) for place in places for i in range(4))
        unit = bytearray(f.unit_by(version, b"\1" + targets + entries + b"\0"))
        unit[7 if version == 5 else 10] = address_size
        units.append(bytes(unit))
    return f.dwarf2(b"".join(units), [UNIT, *jumps, table])


# Scopes and names

NAMESPACE = declaration(2, "namespace", 1, (AT_NAME, FORM_STRP))
LEAF = declaration(3, "variable", 0, (AT_NAME, FORM_STRP))


def nested_names(f, size, tag, depth, length):
    text = Section(".debug_str", b"n" * length + b"\0")
    depth = min(depth, size // 30)
    opened = declaration(2, tag, 1, (AT_NAME, FORM_STRP))
    inside = (b"\3" + f.u32(0)) * ((size - 6 * depth - length) // 5)
    return f.one_unit_by(4, (b"\2" + f.u32(0)) * depth + inside + b"\0" * depth, [opened, LEAF], text)


for tag in ("namespace", "structure"):
    for depth, length in ((900, 1), (900, 1000), (100, 10000)):
        kind(f"{tag}s nested {depth} deep of names of {length}", FIND, TEXT, tag=tag, depth=depth, length=length)(
            nested_names)


@kind("namespaces nested 900 deep that each hold a variable", FIND)
def names_at_all_depths(f, size):
    text = Section(".debug_str", b"n" * 10000 + b"\0")
    step = (b"\2" + f.u32(0) + b"\3" + f.u32(9999)) * 900 + b"\0" * 900
    return f.one_unit_by(4, step * max(size // len(step), 1), [NAMESPACE, LEAF], text)


def deep_scopes(f, size, closed):
    """Scopes nested as deep as the file is long, in a unit that another one refers to."""
    depth = size // 5
    inside = b"\3" + f.u32(0)
    head = FIRST_OF_UNIT[4] + 2
    big = CXX + b"\2" * depth + (b"\0" * depth + inside if closed else inside + b"\0" * depth) + b"\0"
    place = head + depth * (2 if closed else 1)
    user = f.unit_by(4, CXX + (b"\4" + f.u32(place)) * (size // 2 // 5) + b"\0")
    table = [CXX_UNIT, declaration(2, "namespace", 1), LEAF, declaration(4, "variable", 0, (AT_ORIGIN, FORM_REF_ADDR))]
    return f.dwarf2(user[:0] + f.unit_by(4, big) + user, table, Section(".debug_str", b"n\0"))


for name, closed in (("in", False), ("after", True)):
    kind(f"origins {name} scopes nested deeply in another unit", FIND, closed=closed)(deep_scopes)


@kind("units refer to a unit of many scopes", FIND)
def scanned_scopes(f, size):
    head = FIRST_OF_UNIT[4] + 2
    big = f.unit_by(4, CXX + b"\3" + f.u32(0) + b"\2\0" * (size // 4) + b"\0")
    user = f.unit_by(4, CXX + b"\4" + f.u32(head) + b"\0")
    table = [CXX_UNIT, declaration(2, "namespace", 1), LEAF, declaration(4, "variable", 0, (AT_ORIGIN, FORM_REF_ADDR))]
    return f.dwarf2(big + user * ((size - len(big)) // len(user)), table, Section(".debug_str", b"n\0"))


@kind("origins that come later in a C++ unit", FIND)
def forward_origins(f, size):
    count = size // 11
    late = FIRST + 5 * count
    jumps = b"".join(b"\4" + f.u32(late + 6 * i + 5) for i in range(count))
    later = (b"\2" + f.u32(0) + b"\0") * count
    table = [NAMESPACE, LEAF, declaration(4, "variable", 0, (AT_ORIGIN, FORM_REF4))]
    return f.one_unit_by(4, jumps + later, table, Section(".debug_str", b"n\0"))


# Ranges

def range_list(f, version, count):
    if version < 5:
        return Section(".debug_ranges", b"".join(f.u32(2 * i + 1, 2 * i + 2) for i in range(count)) + bytes(8))
    pairs = b"".join(b"\4" + uleb(2 * i % 100 + 1) + b"\x7F" for i in range(count))
    return Section(".debug_rnglists", pairs + b"\0")


def shared_ranges(f, size, version, tag, nested, inside):
    """Blocks, calls or procedures of one long list of ranges, nested or one after the other, with a variable each."""
    form = FORM_DATA4 if version < 4 else FORM_SEC_OFFSET
    table = [declaration(2, "subprogram", 1), declaration(3, tag, 1, (AT_RANGES, form)),
             declaration(4, "variable", 0, (AT_LOCATION, FORM_BLOCK))]
    one, variable = b"\3" + f.u32(0), b"\4\1\x96" * inside
    if nested:
        depth = min(900, size // 40)
        entries = one * depth + variable * (size // 8 // 3) + b"\0" * depth
    else:
        entries = (one + variable + b"\0") * (size // 2 // (6 + 3 * inside))
    count = size // 2 // (8 if version < 5 else 3)
    return f.one_unit_by(version, b"\2" + entries + b"\0", table, range_list(f, version, count))


for version in (3, 5):
    for tag in ("block", "inlined", "subprogram"):
        for name, nested in (("after each other", False), ("nested", True)):
            kind(f"{tag} entries {name} share a long list of ranges, version {version}", WHERE, version=version,
                 tag=tag, nested=nested, inside=1)(shared_ranges)


@kind("units share a long list of ranges", WHERE)
def ranges_of_units(f, size):
    table = declaration(1, "unit", 1, (AT_RANGES, FORM_SEC_OFFSET))
    unit = f.unit_by(5, b"\1" + f.u32(0) + b"\0")
    return f.dwarf2(unit * (size // 2 // len(unit)), [table], range_list(f, 5, size // 6))


# Values by index

def indexed(f, size, table, entries, *more):
    bases = declaration(1, "unit", 1, *[(base, FORM_SEC_OFFSET) for base in
                                        (AT_ADDR_BASE, AT_STR_OFFSETS_BASE, AT_LOCLISTS_BASE, AT_RNGLISTS_BASE)])
    unit = f.unit_by(5, b"\1" + f.u32(8, 8, 12, 12) + entries + b"\0")
    return f.dwarf2(unit, [bases, *table], *more)


def far_apart(count, spread):
    return [i * 40503 % spread for i in range(count)]


def by_index(f, size, tag, pair, section, expression=False):
    """Indexes that never are near the one before them."""
    spread = min(size // 2 // 4, 0xFFFF)
    entries = b"".join(b"\2" + f.u16(index) for index in far_apart(size // 2 // 3, spread))
    data = Section(section, bytes(8) + f.u32(*range(spread)))
    return indexed(f, size, [declaration(2, tag, 0, pair)], entries, data, Section(".debug_str", b"n" * 65536 + b"\0"))


kind("addresses by indexes that are far apart", tag="subprogram", pair=(AT_LOW_PC, FORM_ADDRX2), section=".debug_addr")(
    by_index)
kind("names by indexes that are far apart", tag="variable", pair=(AT_ANY, FORM_STRX2), section=".debug_str_offsets")(
    by_index)
kind("names by indexes of tails of one string", tag="variable", pair=(AT_NAME, FORM_STRX2),
     section=".debug_str_offsets")(by_index)


def list_expressions(f, size, expression, section_of_addresses):
    """Location lists by index; the lists overlap, and the table of offsets is among them."""
    entry = b"\x05" + uleb(len(expression)) + expression
    count = size // 4 // len(entry) + 1
    lists = min(size // 16, 20000)
    offsets = [4 * lists + len(entry) * (i % count) for i in range(lists)]
    data = f.u32(ALL) + f.u16(5) + b"\4\0" + f.u32(lists) + f.u32(*offsets) + entry * count + b"\0"
    entries = b"".join(b"\2" + uleb(i % lists) for i in range(size // 4 // 3))
    table = [declaration(2, "variable", 0, (AT_LOCATION, FORM_LOCLISTX))]
    addresses = Section(".debug_addr", bytes(8 + 4 * section_of_addresses))
    return indexed(f, size, table, entries, addresses, Section(".debug_loclists", data))


def address_operations(size, spread):
    return b"".join(b"\xA1" + uleb(index) for index in far_apart(size // 4, spread))


def nested_values(depth, inside):
    for _ in range(depth):
        inside = b"\xA3" + uleb(len(inside)) + inside
    return inside


for what, expression in (("nothing", b""), ("an address by index", b"\xA1\0"),
                         ("addresses far apart", address_operations(4000, 5000)),
                         ("nested values", nested_values(8, b"\xA1\0" + b"\x96" * 1000)),
                         ("branches", b"\xA1\0" + b"\x2F\0\0" * 500),
                         ("long numbers", b"\xA1\0" + b"\x10" + b"\x80" * 1000 + b"\0")):
    kind(f"location lists by index overlap, of {what}", expression=expression)(
        lambda f, size, expression: list_expressions(f, size, expression, min(size // 16, 5000)))


def long_expression(f, size, operations):
    count = (size - 300) // len(operations)
    body = operations * count
    variable = declaration(2, "variable", 0, (AT_LOCATION, FORM_EXPRLOC))
    return indexed(f, size, [variable], b"\2" + uleb(len(body)) + body, Section(".debug_addr", bytes(100)))


for what, operations in (("addresses by index", b"\xA1\0"), ("branches", b"\xA1\0\x2F\xFD\xFF"),
                         ("values of nothing", b"\xA1\0\xA3\0"), ("nested values", nested_values(8, b"\xA1\0"))):
    kind(f"a long expression of {what}", TEXT, operations=operations)(long_expression)


# Values

@kind("sound constants of one byte", sound=True, published=True)
def sound_constants(f, size):
    table = [declaration(2, "variable", 0, (AT_CONST_VALUE, FORM_IMPLICIT_CONST, 1))]
    count = size - 400
    return f.one_unit_by(5, b"\2" * count, table), {"variables": count}


@kind("sound bit fields of one byte", sound=True, published=True)
def sound_fields(f, size):
    table = [declaration(2, "structure", 1), declaration(3, "member", 0, (AT_BIT_SIZE, FORM_IMPLICIT_CONST, 1),
                                                         (0x6B, FORM_IMPLICIT_CONST, 1))]
    count = size - 400
    return f.one_unit_by(5, b"\2" + b"\3" * count + b"\0", table), {"members": count}


@kind("sound types of one byte in another unit", sound=True, published=True)
def sound_types_elsewhere(f, size):
    count = (size - 400) // 2 // 6
    types = f.unit_by(5, b"\3" + b"\4" * count + b"\0", kind=UT_PARTIAL)
    head = FIRST_OF_UNIT[5] + 1
    entries = b"".join(b"\2" + f.u32(head + i) for i in range(count))
    table = [UNIT, declaration(2, "variable", 0, (AT_TYPE, FORM_REF_ADDR)), declaration(3, "partial", 1),
             declaration(4, "pointer")]
    return f.dwarf2(types + f.unit_by(5, b"\1" + entries + b"\0"), table), {"variables": count, "types": count}


def constants_of_arrays(f, size, count):
    """Constants of an array's type take as many bytes as it has."""
    table = [declaration(2, "array", 1, (AT_TYPE, FORM_REF4)), declaration(3, "subrange", 0, (AT_COUNT, FORM_DATA4)),
             b"\4\x24\0\x0B\x0B\0\0",
             declaration(5, "variable", 0, (AT_TYPE, FORM_REF1), (AT_CONST_VALUE, FORM_IMPLICIT_CONST, 1))]
    array = b"\2" + f.u32(FIRST_OF_UNIT[5] + 2 + 11) + b"\3" + f.u32(count) + b"\0\4\1"
    return f.one_unit_by(5, array + bytes([5, FIRST_OF_UNIT[5] + 2]) * ((size - 300) // 2), table)


for count in (100, 0x10000, 0x7FFFFFFF, ALL):
    kind(f"constants of an array of {count}", TEXT, count=count)(constants_of_arrays)


@kind("constants of a long block")
def constant_block(f, size):
    table = [declaration(2, "variable", 0, (AT_CONST_VALUE, FORM_BLOCK)),
             declaration(3, "variable", 0, (AT_ORIGIN, FORM_REF1))]
    return f.one_unit_by(5, b"\2" + uleb(size // 2) + bytes(size // 2) + bytes([3, FIRST_OF_UNIT[5] + 2]) * (size // 4),
                         table)


@kind("subranges of subranges", TEXT)
def subranges(f, size):
    chain = b"".join(b"\2" + f.u32(FIRST + 5 * (i + 1)) for i in range(size // 5))
    return f.one_unit_by(4, chain, [declaration(2, "subrange", 0, (AT_TYPE, FORM_REF4))])
