"""Small big-endian ELF files for tests and benchmarks of the download."""
import struct

EM_68K, EM_PPC = 4, 20


def elf_file(machine, segments, entry):
    """Bytes of a file; `segments` are (virtual address, physical address, contents, memory size, flags).

    Each segment has a section over its bytes: gdb loads and compares sections.
    """
    names = b"\0.shstrtab\0.load\0"
    start = 52 + 32 * len(segments)
    names_at = start + sum(len(segment[2]) for segment in segments)
    header = b"\x7fELF\x01\x02\x01" + bytes(9) + struct.pack(
        ">HHIIIIIHHHHHH", 2, machine, 1, entry, 52, names_at + len(names), 0, 52, 32, len(segments), 40,
        2 + len(segments), 1)
    programs, sections = b"", bytes(40) + struct.pack(">10I", 1, 3, 0, 0, names_at, len(names), 0, 0, 1, 0)
    offset = start
    for virtual, physical, data, size, flags in segments:
        programs += struct.pack(">8I", 1, offset, virtual, physical, len(data), size, flags, 1)
        sections += struct.pack(">10I", 11, 1, 6, virtual, offset, len(data), 0, 0, 1, 0)
        offset += len(data)
    return header + programs + b"".join(segment[2] for segment in segments) + names + sections
