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


def read_ranges(section, little, by_length=False):
    """[low, last address] by unit offset. A set ends with its length if asked so, else with the first (0, 0)."""
    ranges, cursor = {}, Bytes(section, little)
    while cursor.position < len(section):
        start = cursor.position
        offset_size, length = 4, cursor.fixed(4)
        if length == 0xFFFFFFFF:
            offset_size, length = 8, cursor.fixed(8)
        end = cursor.position + length
        cursor.fixed(2)  # version
        unit = cursor.fixed(offset_size)
        size = cursor.fixed(1)
        cursor.fixed(1)  # segment_size
        cursor.position += -(cursor.position - start) % (2 * size)
        ranges.setdefault(unit, [])
        while cursor.position < end:
            low, length = cursor.fixed(size), cursor.fixed(size)
            if not low and not length and not by_length:
                break
            if by_length and not length:
                continue
            ranges[unit].insert(0, [low, (low + length - 1) & 0xFFFFFFFF])
        cursor.position = end
    return ranges
