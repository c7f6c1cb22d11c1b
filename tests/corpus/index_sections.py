"""The index sections, .debug_pubnames and .debug_aranges, decoded from their bytes. Lists of names and ranges run
against the order of the file."""
from readelf import Bytes


def read_names(section, little):
    """Names by unit offset."""
    names, cursor = {}, Bytes(section, little)
    while cursor.position < len(section):
        length = cursor.fixed(4)
        end = cursor.position + length
        cursor.fixed(2)  # version
        unit = cursor.fixed(4)
        cursor.fixed(4)  # debug_info_length
        while cursor.fixed(4) != 0:
            names.setdefault(unit, []).insert(0, cursor.text())
        cursor.position = end
    return names


def read_ranges(section, little):
    """[low, last address] by unit offset."""
    ranges, cursor = {}, Bytes(section, little)
    while cursor.position < len(section):
        start = cursor.position
        offset_size = 8 if cursor.fixed(4) == 0xFFFFFFFF else 4  # unit_length, or what says that it has 8 bytes
        cursor.fixed(8 if offset_size == 8 else 0)
        cursor.fixed(2)  # version
        unit = cursor.fixed(offset_size)
        size = cursor.fixed(1)
        cursor.fixed(1)  # segment_size
        cursor.position += -(cursor.position - start) % (2 * size)
        while True:
            low, length = cursor.fixed(size), cursor.fixed(size)
            if not low and not length:
                break
            ranges.setdefault(unit, []).insert(0, [low, (low + length - 1) & 0xFFFFFFFF])
    return ranges
