"""A DWARF 1 file, big-endian: two units of one name, which the loader merges, and a third one."""
import struct


def attribute(code, value):
    """The low 4 bits of the code are the form."""
    form = code & 0xF
    if form == 8:
        data = value.encode() + b"\0"
    elif form == 3:
        data = struct.pack(">H", len(value)) + value
    else:
        data = struct.pack({1: ">I", 2: ">I", 5: ">H", 6: ">I"}[form], value)
    return struct.pack(">H", code) + data


def entry(offset, tag, attributes, children=()):
    """An entry whose AT_sibling leads behind its children; a child is (tag, attributes)."""
    body = b"".join(attribute(code, value) for code, value in attributes)
    length = 6 + 6 + len(body)
    below = b""
    for child in children:
        below += entry(offset + length + len(below), *child)
    if children:
        below += struct.pack(">I", 4)  # ends the chain
    return struct.pack(">IH", length, tag) + attribute(0x012, offset + length + len(below)) + body + below


def unit(offset, name, low, children):
    head = [(0x038, name), (0x1B8, "/project"), (0x136, 1), (0x111, low), (0x121, low + 0x100)]
    return entry(offset, 0x11, head, children)


def elf(sections):
    """An ELF file of processor M68K."""
    names = b"\0" + b"".join(name + b"\0" for name, _ in sections) + b".shstrtab\0"
    sections = sections + [(b".shstrtab", names)]
    data, headers = b"", struct.pack(">10I", *[0] * 10)
    for name, bytes_ in sections:
        kind = 3 if name == b".shstrtab" else 1
        headers += struct.pack(">10I", names.index(name + b"\0"), kind, 0, 0, 52 + 32 + len(data), len(bytes_), 0, 0, 1, 0)
        data += bytes_
    header = b"\x7fELF\x01\x02\x01" + bytes(9) + struct.pack(
        ">HHIIIIIHHHHHH", 2, 4, 1, 0x400, 52, 84 + len(data), 0, 52, 32, 1, 40, len(sections) + 1, len(sections))
    return header + struct.pack(">8I", 1, 84, 0x400, 0x400, 0, 0x100, 5, 1) + data + headers


def contents(unit_offset, name, variable):
    structure = unit_offset + 47  # the first entry behind the unit's own
    return [
        (0x13, [(0x038, name), (0x0B6, 8)], [(0x0D, [(0x038, "first"), (0x055, 7), (0x023, b"\4\0\0\0\4\7")])]),
        (0x07, [(0x038, variable), (0x072, structure), (0x023, b"\3\x12\x34")]),  # an address that is cut short
    ]


def dwarf1_file():
    debug = b""
    for name, low, structure, variable in (("a.c", 0x1000, "one", "x"), ("a.c", 0x2000, "two", "y"),
                                           ("b.c", 0x3000, "three", "z")):
        debug += unit(len(debug), name, low, contents(len(debug), structure, variable))
    return elf([(b".debug", debug)])
