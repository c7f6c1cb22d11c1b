"""ELF: tables of segments, sections, section names and notes."""
from formats import ALL, SHT_NOTE, UNIT, Section, Segment, declaration
from kinds import STATS, TEXT, kind

INFO = ("info FILE", "info --json FILE")
LOAD = ("load FILE", "load --verify full FILE", "load --out OUT.srec FILE", "load --out OUT.hex FILE",
        "load --out OUT.bin FILE")


def segments(f, size, place):
    """Segments that share half of the file, at addresses of `place(number, bytes)`."""
    data = b"\x4E" * (size // 2)
    table = [Segment(place(i, len(data)), 0, len(data)) for i in range(min(size // 64, 65535))]
    return f.elf([Section("code", data)], table)


for what, place in (("at one address", lambda i, length: 0x1000),
                    ("a byte apart", lambda i, length: 0x1000 + i),
                    ("a byte apart, the last first", lambda i, length: 0x100000 - i),
                    ("a page apart", lambda i, length: 0x1000 * i),
                    ("far apart", lambda i, length: (i * 2 * length) & ALL),
                    ("at places that repeat", lambda i, length: 0x1000 + i % 16 * length)):
    kind(f"segments {what}, all of the same bytes", only=LOAD, place=place)(segments)


def small_segments(f, size, step, length):
    """Segments with bytes of their own; with a negative step each is before the one in front of it in the file."""
    count = min(size // (32 + length), 65535)
    first = 0x100 if step > 0 else 0x100 - step * count
    table = [Segment(first + step * i, length * i, length) for i in range(count)]
    return f.elf([Section("code", b"\x4E" * (length * count))], table)


for step in (1, -1, 2, 4096, -4096, 0x10000):
    kind(f"segments of a byte {step} apart", only=(*LOAD, *INFO), step=step, length=1)(small_segments)


@kind("segments whose sums of offset and size wrap around", only=(*LOAD, *INFO))
def wrapping_segments(f, size):
    table = [Segment(0, 0, 0xFFFFFF00)] + [Segment(i * 0x1000, 0, ALL - 0x10 * i) for i in range(20)]
    return f.elf([Section("code", b"\x4E" * (size - 1000))], table)


# Section headers

def many_sections(f, size, names, offset):
    """Headers in half of the file and units in the other; the debug sections come last."""
    sections = [Section("", name_offset=offset(i, len(names))) for i in range(min(size // 80, 65000))]
    units = f.small_units((size // 2 - len(names)) // 13)
    return f.elf([*sections, Section(".debug_info", units), Section(".debug_abbrev", UNIT + b"\0")], names=names)


for what, names, offset in (("of one name", b".debug_pubnames_\0", lambda i, length: 0),
                            ("of names that overlap", b".debug_line_" * 10 + b"\0", lambda i, length: i % length),
                            ("without a name", b"\0", lambda i, length: ALL)):
    kind(f"many sections {what}", *INFO, names=names, offset=offset)(many_sections)


@kind("section names that share half of the file", *INFO)
def long_section_names(f, size):
    return many_sections(f, size, b"n" * (size // 3) + b"\0", lambda i, length: i)


@kind("the program headers of a file full of them", "load FILE", *INFO)
def only_segments(f, size):
    return f.elf([Section("code", b"\x4E" * 64)], [Segment(0x100, 0, 64)] * min(size // 33, 65535))


@kind("the section headers of a file full of them", *INFO)
def only_sections(f, size):
    return f.elf([Section("x") for _ in range(min(size // 41, 65000))])


# Notes: name size, descriptor size, type, name, descriptor

NAME = b"TARNIX AG\0"


def note(f, note_type, descriptor, size=None, name=NAME):
    return f.u32(len(name), len(descriptor) if size is None else size, note_type) + name + descriptor


def notes(f, size, record, section_size=None):
    one = record(f)
    more = [Section(".debug_info", f.small_units(10)), Section(".debug_abbrev", UNIT + b"\0")]
    return f.elf([*more, Section(".note", one * max(size // len(one), 1), section_size, SHT_NOTE)])


for what, record, section_size in (
        ("of texts", lambda f: note(f, 11, b"x"), None),
        ("of long texts", lambda f: note(f, 11, b"x" * 60000), None),
        ("of texts longer than the file", lambda f: note(f, 11, b"x", 0x7FFFFFFF), None),
        ("of texts of 0xFFFFFFFF bytes", lambda f: note(f, 11, b"x", ALL), None),
        ("of other names", lambda f: note(f, 1, b"", name=b""), None),
        ("in a section of 0xFFFFFFFF bytes", lambda f: note(f, 11, b"x"), ALL),
        ("of other names in a section of 0xFFFFFFFF bytes", lambda f: note(f, 1, b"", name=b"x"), ALL),
        ("that lead back", lambda f: note(f, 1, b"", -22), ALL)):
    kind(f"notes {what}", only=(STATS, *INFO), record=record, section_size=section_size)(notes)


# Sections that claim all there is

@kind("every section of 0xFFFFFFFF bytes, DWARF 2", TEXT, "section FILE .debug_str", *INFO)
def endless_sections(f, size):
    names = ("abbrev", "line", "loc", "str", "frame", "pubnames", "aranges")
    table = {"abbrev": UNIT + declaration(2, "variable") + b"\0"}
    sections = [Section(".debug_info", f.unit(b"\1" + b"\2" * (size // 2)))]
    sections += [Section(f".debug_{name}", table.get(name, b""), ALL) for name in names]
    return f.elf([*sections, Section("rest", b"\xFF" * (size // 2 - 500))])


@kind("every section is the whole file, DWARF 2", TEXT)
def shared_sections(f, size):
    names = ("abbrev", "line", "loc", "str", "frame", "pubnames", "aranges", "info")
    entries = b"\1" + b"\2" * (size - 600)
    data = f.unit(entries + UNIT + declaration(2, "variable") + b"\0", abbrevs=11 + len(entries))
    return f.elf([Section(f".debug_{name}", b"" if name != "info" else data, len(data)) for name in names])


@kind("every section of 0xFFFFFFFF bytes, DWARF 1", TEXT)
def endless_sections1(f, size):
    entries = f.units1(1, entries=lambda at: f.entries(at, "variable", [b""] * (size // 24)))
    sections = [Section(name, entries if name == ".debug" else b"", ALL)
                for name in (".debug", ".line", ".debug_pubnames", ".debug_aranges")]
    return f.elf([*sections, Section("rest", b"\xFF" * (size // 2 - 500))])
