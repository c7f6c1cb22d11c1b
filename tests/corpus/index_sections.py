"""The index sections and the frame descriptions, decoded from their bytes: .debug_pubnames, .debug_aranges,
.debug_frame. Lists of names and ranges run against the order of the file, frames ascend by address."""
from line_rows import Bytes


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
        cursor.fixed(4)  # unit_length
        cursor.fixed(2)  # version
        unit = cursor.fixed(4)
        size = cursor.fixed(1)
        cursor.fixed(1)  # segment_size
        cursor.position += -(cursor.position - start) % (2 * size)
        while True:
            low, length = cursor.fixed(size), cursor.fixed(size)
            if not low and not length:
                break
            ranges.setdefault(unit, []).insert(0, [low, (low + length - 1) & 0xFFFFFFFF])
    return ranges


def read_frames(section, little, address_size):
    """The frame descriptions as the dump has them."""
    cies, frames, cursor = {}, [], Bytes(section, little)
    while cursor.position < len(section):
        start = cursor.position
        end = start + 4 + cursor.fixed(4)
        pointer = cursor.fixed(4)
        if pointer == 0xFFFFFFFF:
            cursor.fixed(1)  # version
            cursor.text()    # augmentation
            cie = cies.setdefault(start, {})
            cie.update(offset=start, codeAlignment=cursor.leb(), dataAlignment=cursor.leb(signed=True),
                       returnRegister=cursor.fixed(1), instructions=section[cursor.position:end].hex())
        else:
            low, size = cursor.fixed(address_size), cursor.fixed(address_size)
            insert(frames, {"lowPc": low, "highPc": low + size, "instructions": section[cursor.position:end].hex(),
                            "cie": cies.setdefault(pointer, {})})
        cursor.position = end
    return frames


def insert(frames, frame):
    """In front of those at the same address, but never in front of the head unless it lies below it."""
    if not frames or frame["lowPc"] < frames[0]["lowPc"]:
        frames.insert(0, frame)
    elif frame["lowPc"] > frames[-1]["lowPc"]:
        frames.append(frame)
    else:
        at = 1
        while at < len(frames) and frames[at]["lowPc"] < frame["lowPc"]:
            at += 1
        frames.insert(at, frame)
