"""Compares the types of a module with the entries that they are made from."""
from published import AGGREGATES, KINDS, WORDS

DEFAULT_NAMES = {
    2: "pointer",
    4: "struct",
    5: "union",
    6: "class",
    7: "array",
    8: "function",
    9: "reference",
    10: "const",
    11: "volatile",
}
ENCODINGS = {
    "boolean": 1,
    "unsigned_char": 2,
    "signed_char": 3,
    "unsigned": 4,
    "signed": 5,
    "float": 6,
    "complex_float": 7,
    "address": 8,
}


class TypeChecker:
    """`wanted`: entries of types by (section, offset), those of the unit itself and of units that it imports."""

    def __init__(self, checker, module, wanted, reading, place):
        self.checker, self.module, self.wanted, self.reading, self.place = checker, module, wanted, reading, place
        self.by_offset = {offset: entry for (section, offset), entry in wanted.items() if section == ".debug_info"}

    def run(self):
        keys = [record["key"] for record in self.module["types"]]
        own = [key for key in keys if key in self.by_offset]
        missing = [
            f"{key:#x} {entry.tag} {self.reading.name(entry)}"
            for key, entry in self.by_offset.items()
            if key not in keys and not self.is_replaced(entry)
        ]
        self.checker.lists("types of units", self.place, [], missing)
        self.checker.equal("types of units", f"{self.place}: each once", sorted(own), sorted(set(own)))
        self.checker.equal("types of units", f"{self.place}: typeCount", self.module["typeCount"], len(keys))
        self.checker.compared["types of units"] += len(own)
        for record in self.module["types"]:
            entry = self.by_offset.get(record["key"]) or self.foreign(record)
            if entry is not None:
                self.check(record, entry)

    def is_replaced(self, entry):
        """Whether another record may stand for the entry: a dimension, a declaration that something completes, void."""
        return (
            entry.flag("DW_AT_declaration")
            or "DW_AT_signature" in entry.values
            or entry.tag == "DW_TAG_unspecified_type"
            or entry.parent.tag == "DW_TAG_array_type"
        )

    def foreign(self, record):
        """The entry of another unit that a record is made from, when its key or its name tells."""
        found = [
            entry
            for (section, offset), entry in self.reading.entries.items()
            if offset == record["key"] and KINDS.get(entry.tag) == record["kind"] and entry.tag in KINDS
        ]
        found = [entry for entry in found if not self.reading.name(entry) or self.is_named(record["name"], entry)]
        return found[0] if len(found) == 1 else None

    def is_named(self, name, entry):
        return any(None in parts or name == "::".join(parts) for parts in self.reading.qualified(entry))

    def check(self, record, entry):
        entry = self.reading.complete(entry)
        kind, reading = KINDS[entry.tag], self.reading
        name = reading.name(entry)
        place = f"{self.place}: type {entry.offset:#x} {entry.tag[7:]} {name or ''}"
        self.equal("kinds of types", place, record["kind"], kind)
        if record["kind"] != kind:
            return
        if name and entry.tag != "DW_TAG_string_type":
            wanted = (
                record["name"]
                if self.is_named(record["name"], entry)
                else "::".join(part or "(no name)" for part in reading.qualified(entry)[0])
            )
            self.equal("names of types", place, record["name"], wanted)
        elif entry.tag == "DW_TAG_unspecified_type":
            self.equal("names of types", place, record["name"], "unspecified")
        elif entry.tag != "DW_TAG_string_type" and (kind in DEFAULT_NAMES or entry.tag in WORDS):
            self.equal("names of types", place, record["name"], WORDS.get(entry.tag) or DEFAULT_NAMES[kind])
        if kind in (0, 3, 4, 5, 6) or kind in (2, 9) and entry.tag != "DW_TAG_ptr_to_member_type":
            self.equal("sizes of types", place, record["byteSize"], reading.size(entry) or 0)
        elif kind == 8 or kind in (1, 10, 11) and entry.tag not in WORDS:
            self.equal("sizes of types", place, record["byteSize"], entry.number("DW_AT_byte_size") or 0)
        if kind == 0:
            encoding = (entry.code("DW_AT_encoding") or "").removeprefix("DW_ATE_")
            if encoding in ENCODINGS:
                self.equal("encodings", place, record["items"], ENCODINGS[encoding])
        elif kind == 3:
            self.check_enumerators(place, record, entry)
        elif kind == 7:
            self.check_array(place, record, entry)
        elif kind in (4, 5, 6):
            self.check_members(place, record, entry)
        elif kind == 8:
            wanted = [child for child in entry.children if child.tag == "DW_TAG_formal_parameter"]
            self.equal("parameters of function types", place, len(record["items"]), len(wanted))
            for item, child in zip(record["items"], wanted):
                self.check_reference("references of types", place, item["type"], reading.type(child))
                self.check_no_bits(place, item)
            self.check_reference("references of types", place, record["target"], reading.type(entry))
        else:
            self.check_reference("references of types", place, record["target"], reading.type(entry))

    def equal(self, kind, place, dumped, wanted):
        self.checker.equal(kind, place, dumped, wanted)

    def check_reference(self, kind, place, reference, entry):
        """That a record refers to the one of that entry."""
        if entry is None or entry.tag == "DW_TAG_unspecified_type" and reference and reference.startswith("shared:"):
            is_void = reference in (None, "shared:void", "shared:undefined")
            self.equal(kind, place, reference, reference if is_void else "shared:void")
            return
        number = reference[1:] if reference and reference[0] == "T" else ""
        record = (
            self.module["types"][int(number)] if number.isdigit() and int(number) < len(self.module["types"]) else None
        )
        if record is None:
            self.equal(kind, place, reference, f"{entry.offset:#x} {entry.tag}")
        elif entry.offset in self.by_offset and self.by_offset[entry.offset] is entry and not self.is_replaced(entry):
            self.equal(kind, place, record["key"], entry.offset)
        else:
            same = record["kind"] == KINDS[entry.tag] and (
                not self.reading.name(entry) or self.is_named(record["name"], entry)
            )
            dumped = (record["kind"], record["name"])
            self.equal(kind, place, dumped, dumped if same else (KINDS[entry.tag], self.reading.name(entry)))

    def check_enumerators(self, place, record, entry):
        wanted = [
            (self.reading.name(child) or "enum", (child.number("DW_AT_const_value") or 0))
            for child in entry.children
            if child.tag == "DW_TAG_enumerator"
        ]
        size = 8 * (self.reading.size(entry) or 4)
        dumped = [(item["name"], item["value"]) for item in record["items"]]
        # A constant of a fixed form does not say its sign: equal in the bits that it has.
        mask = (1 << min(size, 32)) - 1
        self.equal(
            "enumerators",
            place,
            [(each, value & mask) for each, value in dumped],
            [(each, value & mask) for each, value in wanted],
        )

    def check_array(self, place, record, entry):
        wanted = [(low & 0xFFFFFFFF, high & 0xFFFFFFFF) for low, high in self.reading.dimensions(entry)]
        self.equal("bounds", place, [(low & 0xFFFFFFFF, high & 0xFFFFFFFF) for low, high in record["items"]], wanted)
        parts = [entry, *(child for child in entry.children if child.tag == "DW_TAG_subrange_type")]
        stride = next((each.number("DW_AT_byte_stride") for each in parts if each.number("DW_AT_byte_stride")), None)
        bits = entry.number("DW_AT_bit_stride") or entry.number("DW_AT_stride_size")
        elements = 1
        for low, high in self.reading.dimensions(entry):
            elements *= max(0, high - low + 1)
        if stride:
            self.equal("strides", place, record["byteSize"], -stride)
        elif bits:
            self.equal("strides", place, record["byteSize"], (elements * bits + 7) // 8)
        elif entry.tag != "DW_TAG_string_type":
            self.equal("sizes of types", place, record["byteSize"], entry.number("DW_AT_byte_size") or 0)
        if entry.tag == "DW_TAG_string_type":
            self.equal("references of types", place, record["element"], "shared:character")
        else:
            self.check_reference("references of types", place, record["element"], self.reading.type(entry))

    def check_members(self, place, record, entry):
        wanted = list(self.reading.members(entry))
        names = [
            self.reading.name(each) or ("baseclass" if each.tag == "DW_TAG_inheritance" else "") for each in wanted
        ]
        self.equal("members", place, [item["name"] for item in record["items"]], names)
        if len(record["items"]) != len(wanted):
            return
        for item, member in zip(record["items"], wanted):
            self.check_member(f"{place}: {item['name']}", item, member)
        functions = [self.reading.name(child) or "" for child in entry.children if child.tag == "DW_TAG_subprogram"]
        self.equal("member functions", place, [each["name"] for each in record["target"]], functions)

    def check_no_bits(self, place, item):
        self.equal("bit fields", place, (item["byteSize"], item["bitOffset"], item["bitSize"]), (0, 0, 0))

    def check_member(self, place, item, member):
        reading = self.reading
        self.check_reference("references of types", place, item["type"], reading.type(member))
        if member.number("DW_AT_bit_size"):
            offset, size, first, bits = reading.bit_field(member)
            self.equal("bit fields", f"{place} bitSize", item["bitSize"], bits & 0xFF)
            self.equal("bit fields", f"{place} byteSize", item["byteSize"], size)
            if self.module["ext"]["bitNumbering"] == 2:
                first = 8 * size - bits - first
            self.equal("bit fields", f"{place} bitOffset", item["bitOffset"], first & 0xFF)
        else:
            self.check_no_bits(place, item)
            offset = reading.member_offset(member)
            if offset is None and "DW_AT_data_member_location" in member.values:
                return  # a computed one, of a virtual base class
        location = item["location"]
        if location:
            bounds = [(each["lowPc"], each["highPc"]) for each in location]
            self.equal("offsets of members", f"{place}: range", bounds, [(0, 0xFFFFFFFF)])
        if offset is not None and (offset or location):
            expression = bytes.fromhex(location[0]["expression"]) if location else b""
            self.equal("offsets of members", place, leb_offset(expression), offset)


def leb_offset(expression):
    """The operand of DW_OP_plus_uconst that is all of an expression."""
    if expression[:1] != b"\x23":
        return None
    value = shift = 0
    for position, byte in enumerate(expression[1:], 2):
        value |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            return value if position == len(expression) else None
    return None
