"""DWARF 1."""
from formats import (ALL, AT1_ANY_BLOCK4, AT1_ELEMENT_LIST, AT1_LOCATION, AT1_LOW_PC, AT1_MOD_FUND_TYPE, AT1_NAME,
                     AT1_STMT_LIST, AT1_SUBSCR_DATA, AT1_USER_DEF_TYPE, Section)
from kinds import FIND, ORDERS, STATS, TEXT, WHERE, kind, orders


@kind("DWARF 1: sound units of 16 bytes", sound=True)
def sound_units(f, size):
    return f.dwarf1(f.units1(size // 16)), {"units": size // 16}


@kind("DWARF 1: units share their entries")
def shared_entries(f, size):
    count = size // 2 // 18
    end = 18 * count
    units = [f.entry(at, "unit", f.u16(AT1_ANY_BLOCK4) + f.u32(end - at - 18), length=end - at,
                     sibling=at + 18 if at + 18 < end else ALL >> 1) for at in range(0, end, 18)]
    shared = f.entries(end, "variable", [b""] * (size // 24))
    return f.dwarf1(b"".join(units) + shared + f.u32(0))


@kind("DWARF 1: entries run past their unit into the next")
def past_the_end(f, size):
    # The last variable of a unit leads to the first of the next one.
    step, out = 12 * 5, []
    for at in range(0, size // step * step, step):
        out.append(f.entry(at, "unit", sibling=at + step))
        out += [f.entry(at + 12 * i, "variable") for i in range(1, 4)]
        out.append(f.entry(at + 48, "variable", sibling=at + step + 12))
    return f.dwarf1(b"".join(out) + f.u32(0) * 4)


@kind("DWARF 1: unit after unit among their entries")
def units_as_entries(f, size):
    return f.dwarf1(b"".join(f.entry(at, "unit") for at in range(0, size // 12 * 12, 12)) + f.u32(0))


# Line tables

def rows(f, count):
    return (f.u32(7) + f.u16(3) + f.u32(9)) * count


@kind("DWARF 1: units share one line table", WHERE)
def shared_lines(f, size):
    count = size // 20
    table = f.u32(8 + 10 * count) + f.u32(0x100) + rows(f, count)
    return f.dwarf1(f.units1(size // 32), Section(".line", table))


@kind("DWARF 1: line tables overlap")
def overlapping_lines(f, size):
    length = size // 2
    units = [f.entry(22 * i, "unit", f.attribute(AT1_STMT_LIST, f.u32(4 * (i % (length // 8)))), sibling=22 * i + 22)
             + f.u32(0) for i in range(size // 44)]
    return f.dwarf1(b"".join(units), Section(".line", f.u32(length // 2) * (length // 4)))


@kind("DWARF 1: line tables without end in .line of 0x7FFFFFFF bytes")
def endless_lines(f, size):
    table = f.u32(0x7FFFFFF0, 0x100) + b"\xFF" * (size // 2)
    return f.dwarf1(f.units1(size // 32), Section(".line", table, size=0x7FFFFFFF))


# Attributes and entries that overlap

@kind("DWARF 1: expressions overlap")
def overlapping_blocks(f, size):
    blocks = [f.attribute(AT1_LOCATION, f.u16(min(0xFFFF, 16 * i))) for i in range(size // 16)]
    return f.one_unit1(lambda at: f.entries(at, "variable", blocks[::-1]))


@kind("DWARF 1: elements of enumerations overlap", TEXT)
def overlapping_elements(f, size):
    end = size // 18 * 18
    return f.one_unit1(lambda at: b"".join(f.entry(at + i, "enumeration", f.attribute(AT1_ELEMENT_LIST, f.u32(end - i)))
                                           for i in range(0, end, 18)))


@kind("DWARF 1: subscripts of arrays overlap", TEXT)
def overlapping_subscripts(f, size):
    arrays = [f.attribute(AT1_SUBSCR_DATA, f.u16(0xFFFF))] * (size // 32)
    return f.one_unit1(lambda at: f.entries(at, "array", arrays) + bytes(size // 2))


@kind("DWARF 1: modifiers of types overlap", TEXT)
def overlapping_modifiers(f, size):
    types = [f.attribute(AT1_MOD_FUND_TYPE, f.u16(1000) + b"\1\1")] * (size // 18)
    return f.one_unit1(lambda at: f.entries(at, "variable", types))


@kind("DWARF 1: attributes of entries overlap")
def overlapping_attributes(f, size):
    # A block takes the next entry up to its own attribute, so that each entry has those of all after it.
    end = size // 16 * 16
    block = f.attribute(AT1_LOCATION, f.u16(12))
    return f.one_unit1(lambda at: b"".join(f.entry(at + i, "variable", block, length=end - i)
                                           for i in range(0, end, 16)))


@kind("DWARF 1: parents share their children")
def shared_children(f, size):
    # Of each structure the second child leads to the members at the end, which belong to the first child.
    count, members = size // 72, size // 24

    def entries(at):
        shared = at + 36 * count
        end = shared + 12 * members
        out = []
        for parent in range(at, shared, 36):
            out += [f.entry(parent, "structure", sibling=parent + 36), f.entry(parent + 12, "structure", sibling=end),
                    f.entry(parent + 24, "member", sibling=shared)]
        return b"".join(out) + f.entries(shared, "member", [b""] * members)
    return f.one_unit1(entries)


@kind("DWARF 1: children belong to all parents before them", TEXT)
def doubling_children(f, size):
    count = size // 24

    def entries(at):
        end = at + 24 * count
        return b"".join(f.entry(parent, "structure", sibling=parent + 24) +
                        f.entry(parent + 12, "structure", sibling=end) for parent in range(at, end, 24))
    return f.one_unit1(entries)


@kind("DWARF 1: nested structures", TEXT)
def nested(f, size):
    count = size // 12
    return f.one_unit1(lambda at: b"".join(f.entry(at + 12 * i, "structure", sibling=at + 12 * count)
                                           for i in range(count)))


def siblings(f, size, order, tag):
    """A walk that visits the entries in an order of its own."""
    count = size // 12

    def entries(at):
        visited = list(dict.fromkeys([0, *orders(count)[order]()]))
        following = dict(zip(visited, visited[1:]))
        return b"".join(f.entry(at + 12 * i, tag, sibling=at + 12 * following[i] if i in following else 0)
                        for i in range(count))
    return f.one_unit1(entries)


for order in ("descending", "outside-in", "scattered"):
    kind(f"DWARF 1: siblings in order: {order}", order=order, tag="variable")(siblings)


def circle(f, size, parent, length):
    """Siblings that lead back, at the top or below a structure."""
    count = size // 12

    def entries(at):
        out = [f.entry(at, "structure", sibling=at + 12 * count if parent else at + 12)]
        for i in range(1, count):
            back = at + 12 * (i - length) if i % (2 * length) == 0 else None
            out.append(f.entry(at + 12 * i, "member", sibling=back))
        return b"".join(out)
    return f.one_unit1(entries)


for length in (1, 1000):
    kind(f"DWARF 1: siblings in a circle of {length}", parent=False, length=length)(circle)
    kind(f"DWARF 1: children in a circle of {length}", parent=True, length=length)(circle)


# Merged units: neighbours of one name

def merged(f, size, entries, *more):
    name = f.attribute(AT1_NAME, b"a.c\0")
    inside = entries(0)
    return f.dwarf1(f.units1(size // (22 + len(inside)), name, entries), *more)


@kind("DWARF 1: merged units", FIND)
def merged_units(f, size):
    return merged(f, size, lambda at: f.entry(at, "variable"))


@kind("DWARF 1: merged units share one line table", WHERE)
def merged_lines(f, size):
    count = size // 20
    return merged(f, size // 2, lambda at: b"", Section(".line", f.u32(8 + 10 * count, 0x100) + rows(f, count)))


@kind("DWARF 1: merged units share the types of the first")
def merged_types(f, size):
    name = f.attribute(AT1_NAME, b"a.c\0")
    types = f.entries(18, "typedef", [b""] * (size // 24))
    first = f.entry(0, "unit", name, sibling=22 + len(types)) + types + f.u32(0)
    out = []
    for at in range(len(first), size, 40):
        reference = f.attribute(AT1_USER_DEF_TYPE, f.u32(18 + at % len(types) // 12 * 12))
        out.append(f.entry(at, "unit", name, sibling=at + 40) + f.entry(at + 18, "variable", reference) + f.u32(0))
    return f.dwarf1(first + b"".join(out))


# Types

def typed_chain(f, size, tag, make, step):
    """A chain of types, each of the one `step` after it, and variables of the first."""
    count = size // 2 // (12 + len(make(0)))

    def entries(at):
        length = 12 + len(make(0))
        chain = f.entries(at, tag, [make(at + length * ((i + step) % count)) for i in range(count)])
        variables = f.entries(at + len(chain), "variable", [f.attribute(AT1_USER_DEF_TYPE, f.u32(at))] * (size // 36))
        return chain + variables
    return f.one_unit1(entries)


for step, what in ((1, "a chain of types"), (0, "types of themselves")):
    @kind(f"DWARF 1: {what}: typedef", TEXT, step=step)
    def typedefs(f, size, step):
        return typed_chain(f, size, "typedef", lambda key: f.attribute(AT1_USER_DEF_TYPE, f.u32(key)), step)

    @kind(f"DWARF 1: {what}: array", TEXT, step=step)
    def arrays(f, size, step):
        def subscripts(key):
            return f.attribute(AT1_SUBSCR_DATA, f.u16(7) + b"\x08" + f.attribute(AT1_USER_DEF_TYPE, f.u32(key)))
        return typed_chain(f, size, "array", subscripts, step)


def colliding_types(f, size, step):
    types = [f.attribute(AT1_USER_DEF_TYPE, f.u32(step * i + 1)) for i in range(size // 18)]
    return f.one_unit1(lambda at: f.entries(at, "variable", types))


for step in (1 << 12, 1 << 16, pow(0x9E3779B1, -1, 1 << 32)):
    kind(f"DWARF 1: keys of types 0x{step:X} apart", only=(STATS,), step=step)(colliding_types)


def ordered_labels(f, size, order):
    labels = [f.attribute(AT1_LOW_PC, f.u32(0x100 + number)) for number in orders(size // 18)[order]()]
    return f.one_unit1(lambda at: f.entries(at, "label", labels))


for order in ORDERS:
    kind(f"DWARF 1: labels in order: {order}", WHERE, order=order)(ordered_labels)


# Indexes

def name_set(f, unit, names=(), length=None):
    body = b"\1" + f.u32(unit, 16) + b"".join(f.u32(1) + name + b"\0" for name in names) + f.u32(0)
    return f.u32(len(body) if length is None else length) + body


def range_set(f, unit, tuples):
    return f.u32(0) + b"\1" + f.u32(unit, *tuples)


def index_of_units(f, size, section, make_set, step, name=b""):
    name = f.attribute(AT1_NAME, name + b"\0") if name else b""
    count, unit = size // (step + len(name)), 16 + len(name)
    sets = b"".join(make_set(f, unit * (count - 1 - i)) for i in range(count))
    return f.dwarf1(f.units1(count, name), Section(section, sets))


for what, name in (("all units", b""), ("units that are merged", b"a.c")):
    @kind(f"DWARF 1: sets of .debug_pubnames for {what}", FIND, name=name)
    def name_sets(f, size, name):
        return index_of_units(f, size, ".debug_pubnames", lambda f, unit: name_set(f, unit, [b"a"]), 39, name)

    @kind(f"DWARF 1: sets of .debug_aranges for {what}", WHERE, name=name)
    def range_sets(f, size, name):
        return index_of_units(f, size, ".debug_aranges", lambda f, unit: range_set(f, unit, (unit, 16, 0, 0)), 41, name)


for length in (0xFFFFFFFC, ALL, 0x7FFFFFFF):
    @kind(f"DWARF 1: a set of .debug_pubnames of length 0x{length:X}", FIND, length=length)
    def endless_names(f, size, length):
        names = name_set(f, 0, [b"a"] * (size // 12), length)
        return f.dwarf1(f.units1(size // 32), Section(".debug_pubnames", names))


@kind("DWARF 1: tuples of 0xFF in .debug_aranges of 0xFFFFFFFF bytes", WHERE)
def endless_ranges(f, size):
    ranges = range_set(f, 0, ()) + b"\xFF" * (size // 2)
    return f.dwarf1(f.units1(size // 32), Section(".debug_aranges", ranges, size=ALL))


@kind("DWARF 1: entries without end in .debug of 0xFFFFFFFF bytes")
def endless_entries(f, size):
    entries = f.entries(12, "variable", [b""] * (size // 12))
    return f.elf([Section(".debug", f.entry(0, "unit", sibling=ALL) + entries, size=ALL)])
