"""Location expressions as lists of operations with their numbers: from bytes, and from llvm-dwarfdump's text."""
import re

NO_OPERANDS = {
    0x06: "deref",
    0x12: "dup",
    0x13: "drop",
    0x14: "over",
    0x16: "swap",
    0x17: "rot",
    0x18: "xderef",
    0x19: "abs",
    0x1A: "and",
    0x1B: "div",
    0x1C: "minus",
    0x1D: "mod",
    0x1E: "mul",
    0x1F: "neg",
    0x20: "not",
    0x21: "or",
    0x22: "plus",
    0x24: "shl",
    0x25: "shr",
    0x26: "shra",
    0x27: "xor",
    0x29: "eq",
    0x2A: "ge",
    0x2B: "gt",
    0x2C: "le",
    0x2D: "lt",
    0x2E: "ne",
    0x96: "nop",
    0x97: "push_object_address",
    0x9B: "form_tls_address",
    0x9C: "call_frame_cfa",
    0x9F: "stack_value",
    0xE0: "GNU_push_tls_address",
}
# u, s: LEB128 numbers; 1, 2, 4, 8: unsigned of so many bytes, negative ones signed; a: an address.
OPERANDS = {
    0x03: ("addr", "a"),
    0x08: ("const1u", 1),
    0x09: ("const1s", -1),
    0x0A: ("const2u", 2),
    0x0B: ("const2s", -2),
    0x0C: ("const4u", 4),
    0x0D: ("const4s", -4),
    0x0E: ("const8u", 8),
    0x0F: ("const8s", -8),
    0x10: ("constu", "u"),
    0x11: ("consts", "s"),
    0x15: ("pick", 1),
    0x23: ("plus_uconst", "u"),
    0x28: ("bra", -2),
    0x2F: ("skip", -2),
    0x90: ("regx", "u"),
    0x91: ("fbreg", "s"),
    0x92: ("bregx", "us"),
    0x93: ("piece", "u"),
    0x94: ("deref_size", 1),
    0x95: ("xderef_size", 1),
    0x98: ("call2", 2),
    0x99: ("call4", 4),
    0x9D: ("bit_piece", "uu"),
}


class Undecodable(Exception):
    """An expression with operations that one of the two does not know."""


def decode(data, little, address_size):
    """(name, numbers) of each operation."""
    found, position, order = [], 0, "little" if little else "big"

    def fixed(size):
        nonlocal position
        position += abs(size)
        return int.from_bytes(data[position - abs(size) : position], order, signed=size < 0)

    def leb(is_signed):
        nonlocal position
        value = shift = 0
        while True:
            if position >= len(data):
                raise Undecodable
            byte = data[position]
            position += 1
            value |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                return value - (1 << shift) if is_signed and byte & 0x40 else value

    while position < len(data):
        code = fixed(1)
        if code in NO_OPERANDS:
            found.append((NO_OPERANDS[code], []))
        elif 0x30 <= code < 0x50:
            found.append((f"lit{code - 0x30}", []))
        elif 0x50 <= code < 0x70:
            found.append((f"reg{code - 0x50}", []))
        elif 0x70 <= code < 0x90:
            found.append((f"breg{code - 0x70}", [leb(True)]))
        elif code in OPERANDS:
            name, kinds = OPERANDS[code]
            if isinstance(kinds, int):
                numbers = [fixed(kinds)]
            else:
                numbers = [fixed(address_size) if kind == "a" else leb(kind == "s") for kind in kinds]
            found.append((name, numbers))
        elif code == 0x9E:
            length = leb(False)
            found.append(("implicit_value", [length, *data[position : position + length]]))
            position += length
        elif code in (0xA3, 0xF3):
            length = leb(False)
            found.append(("entry_value", []))
            found += decode(data[position : position + length], little, address_size)
            position += length
        else:
            raise Undecodable
    return found


def parse(text, address):
    """The same from text. `address(index)` is an entry of .debug_addr."""
    if "decoding error" in text or '"' in text or "implicit_pointer" in text:
        raise Undecodable
    found = []
    for part in re.findall(r"DW_OP_[^,()]*", text):
        words = part.split()
        name, numbers = words[0][6:], []
        for word in words[1:]:
            match = re.search(r"([+-]?(?:0x[0-9a-f]+|\d+))$", word)
            if not match or re.fullmatch(r"[A-Z]+\d*", word):
                continue  # a register's name
            numbers.append(int(match.group(1), 0))
        if re.fullmatch(r"reg\d+|lit\d+|regx", name):
            numbers = numbers if name == "regx" and numbers else []
        if name in ("addrx", "GNU_addr_index"):
            name, numbers = "addr", [address(numbers[0])]
        elif name in ("constx", "GNU_const_index"):
            name, numbers = "const4u", [address(numbers[0])]
        elif name == "GNU_entry_value":
            name = "entry_value"
        found.append((name, numbers))
    return found


def same(dumped, parsed):
    """Whether both have the same operations; numbers of registers that have names are only in one."""
    return len(dumped) == len(parsed) and all(
        left[0] == right[0]
        and (left[1] == right[1] or left[0] == "regx" or left[0] == "bregx" and left[1][-1:] == right[1][-1:])
        for left, right in zip(dumped, parsed)
    )
