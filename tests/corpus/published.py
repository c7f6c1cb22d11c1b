"""What the published rules make of a unit, worked out from the entries that llvm-dwarfdump shows."""
import struct

AGGREGATES = {"DW_TAG_structure_type": 4, "DW_TAG_union_type": 5, "DW_TAG_class_type": 6, "DW_TAG_interface_type": 6}
POINTERS = ("DW_TAG_pointer_type", "DW_TAG_reference_type", "DW_TAG_rvalue_reference_type")
WORDS = {
    "DW_TAG_restrict_type": "restrict",
    "DW_TAG_atomic_type": "atomic",
    "DW_TAG_packed_type": "packed",
    "DW_TAG_shared_type": "shared",
    "DW_TAG_immutable_type": "immutable",
    "DW_TAG_subrange_type": "subrange",
}
KINDS = {
    "DW_TAG_base_type": 0,
    "DW_TAG_unspecified_type": 0,
    "DW_TAG_set_type": 0,
    "DW_TAG_file_type": 0,
    "DW_TAG_typedef": 1,
    "DW_TAG_template_alias": 1,
    "DW_TAG_pointer_type": 2,
    "DW_TAG_ptr_to_member_type": 2,
    "DW_TAG_enumeration_type": 3,
    "DW_TAG_array_type": 7,
    "DW_TAG_string_type": 7,
    "DW_TAG_subroutine_type": 8,
    "DW_TAG_reference_type": 9,
    "DW_TAG_rvalue_reference_type": 9,
    "DW_TAG_const_type": 10,
    "DW_TAG_volatile_type": 11,
    **AGGREGATES,
    **dict.fromkeys(WORDS, 1),
}
TRANSPARENT = {"DW_TAG_typedef", "DW_TAG_template_alias", "DW_TAG_const_type", "DW_TAG_volatile_type", *WORDS}
FROM_ONE = ("Fortran", "Ada", "Pascal", "Modula", "Cobol", "PLI", "Julia")  # languages whose arrays begin at 1
NAMING = ("DW_TAG_namespace", "DW_TAG_module", *AGGREGATES)
SCOPES = (
    "DW_TAG_lexical_block",
    "DW_TAG_try_block",
    "DW_TAG_catch_block",
    "DW_TAG_with_stmt",
    "DW_TAG_common_block",
    "DW_TAG_namespace",
    "DW_TAG_module",
)


class Image:
    """The loadable segments of a file."""

    def __init__(self, path):
        data = path.read_bytes()
        self.little = data[5] == 1
        order = "<" if self.little else ">"
        self.is_arm = struct.unpack_from(order + "H", data, 18)[0] == 40
        (table,) = struct.unpack_from(order + "I", data, 28)
        size, count = struct.unpack_from(order + "HH", data, 42)
        headers = [struct.unpack_from(order + "8I", data, table + i * size) for i in range(count)]
        self.segments = [(each[2], each[2] + each[5]) for each in headers if each[0] == 1]

    def is_dead(self, address):
        """Whether an address is a mark of the linker. What is counted from a mark is near it."""
        near = address < 0x100 or address >= 0xFFFFFFFE
        return near and not any(low <= address < high for low, high in self.segments)


class Reading:
    """Answers about entries of a whole file: what they refer to, and what that makes of them."""

    def __init__(self, units, entries, image):
        self.units, self.entries, self.image = units, entries, image
        self.by_signature = {unit.signature: unit for unit in units if unit.signature is not None}

    def reference(self, entry, name):
        """The entry that an attribute refers to; None where there is none, or where it is in another file."""
        value = entry.values.get(name)
        if value is None or not value.form.startswith("DW_FORM_ref"):
            return None
        if value.form == "DW_FORM_ref_sig8":
            unit = self.by_signature.get(int(value.text.split()[0], 16))
            return unit and self.entries.get((unit.section, unit.offset + unit.type_offset))
        if "{0x" in value.text:
            return self.entries.get((entry.section, int(value.text.split("{")[1][:10], 16)))
        return self.entries.get((".debug_info", int(value.text.split()[0], 16)))

    def origins(self, entry):
        """The entry, then what completes it, nearest first."""
        while entry is not None:
            yield entry
            entry = next(
                (
                    found
                    for name in ("DW_AT_abstract_origin", "DW_AT_specification", "DW_AT_signature", "DW_AT_extension")
                    if (found := self.reference(entry, name))
                ),
                None,
            )

    def with_value(self, entry, name):
        return next((each for each in self.origins(entry) if name in each.values), None)

    def name(self, entry):
        names = ["DW_AT_name"]
        if entry.tag == "DW_TAG_subprogram":  # what the compiler made for itself has no other
            names += ["DW_AT_linkage_name", "DW_AT_MIPS_linkage_name"]
        for name in names:
            holder = self.with_value(entry, name)
            if holder:
                return holder.text(name)
        return None

    def type(self, entry):
        holder = self.with_value(entry, "DW_AT_type")
        return self.complete(self.reference(holder, "DW_AT_type")) if holder else None

    def complete(self, entry):
        """A declaration that has its definition in a type unit is that definition."""
        found = entry and self.reference(entry, "DW_AT_signature")
        return found or entry

    def qualified(self, entry):
        """The names that an entry may have: those of what encloses it in front, procedures among that named or not.
        What has no name is left open by None."""
        last = list(self.origins(entry))[-1]
        names, alternatives, parent = [self.name(entry) or ""], None, last.parent
        while parent is not None and parent.parent is not None:
            if parent.tag in NAMING:
                whole = self.name(parent)
                names.insert(0, whole or ("(anonymous namespace)" if parent.tag == "DW_TAG_namespace" else None))
            elif parent.tag == "DW_TAG_subprogram" and alternatives is None:
                alternatives = list(names)
                parent = list(self.origins(parent))[-1]
            parent = parent.parent
        return [names] + ([alternatives] if alternatives else [])

    def size(self, entry):
        """The size of a type in bytes, through what is transparent; None where nothing says it."""
        for _ in range(100):
            if entry is None:
                return None
            size = entry.number("DW_AT_byte_size")
            if size is not None:
                return size
            if entry.tag in POINTERS:
                return entry.unit.address_size
            if entry.tag not in TRANSPARENT and entry.tag != "DW_TAG_enumeration_type":
                return None
            entry = self.type(entry)
        return None

    def children(self, entry, seen=None):
        """The children, those of imported units in their places, each once."""
        seen = set() if seen is None else seen
        for child in entry.children:
            found = self.reference(child, "DW_AT_import") if child.tag == "DW_TAG_imported_unit" else None
            if found is None:
                yield child
            elif found not in seen:
                seen.add(found)
                yield from self.children(found, seen)

    def ranges(self, entry):
        """Where the entry has code; without what is empty and what the linker threw away."""
        if "DW_AT_ranges" in entry.values:
            found = entry.ranges()
        else:
            low, high = entry.number("DW_AT_low_pc"), entry.number("DW_AT_high_pc")
            if low is None or high is None:
                return []
            found = [(low, high if "addr" in entry.values["DW_AT_high_pc"].form else low + high)]
        return [(low, high) for low, high in found if low < high and not self.image.is_dead(low)]

    def procedure_ranges(self, entry):
        """That of the entry point first. An assembler sets bit 0 of addresses of Thumb code: it is none of them."""
        ranges, point = self.ranges(entry), entry.number("DW_AT_entry_pc")
        if self.image.is_arm:
            ranges = [(low - (low & 1), high - (low & 1)) for low, high in ranges]
        first = next((each for each in ranges if point is not None and each[0] <= point < each[1]), None)
        return [first] + [each for each in ranges if each != first] if first else ranges

    def bit_field(self, member):
        """(offset, size, bit offset from the most significant bit, bits) of the storage unit."""
        bits, declared = member.number("DW_AT_bit_size"), self.size(self.type(member)) or 0
        start = self.member_offset(member) or 0
        if "DW_AT_data_bit_offset" in member.values:
            first = member.number("DW_AT_data_bit_offset") + 8 * start
        else:
            size = member.number("DW_AT_byte_size") or declared
            offset = member.number("DW_AT_bit_offset") or 0
            if offset >= 1 << 31:  # negative, of 4 or 8 bytes
                offset -= 1 << 32 if offset < 1 << 32 else 1 << 64
            first = 8 * start + (8 * size - offset - bits if self.image.little else offset)
        size, begin = declared, first // 8 // declared * declared if declared else first // 8
        if first + bits > 8 * (begin + size):
            begin = first // 8
        if first + bits > 8 * (begin + size):
            size = (first + bits + 7) // 8 - begin
        inside = first - 8 * begin
        return begin, size, 8 * size - inside - bits if self.image.little else inside, bits

    @staticmethod
    def member_offset(member):
        offset = member.number("DW_AT_data_member_location")
        if (
            offset is None
            and (text := member.code("DW_AT_data_member_location"))
            and text.startswith("DW_OP_plus_uconst")
        ):
            offset = int(text.split()[1], 16) if " " in text and "," not in text else None
        return offset

    def members(self, entry):
        """Base classes and members that are in every object, those of variants too."""
        for child in entry.children:
            if child.tag in ("DW_TAG_variant_part", "DW_TAG_variant"):
                yield from self.members(child)
            elif (
                child.tag == "DW_TAG_inheritance"
                or child.tag == "DW_TAG_member"
                and not (
                    child.flag("DW_AT_external")
                    or child.flag("DW_AT_declaration")
                    or child.number("DW_AT_const_value") is not None
                )
            ):
                yield child

    def dimensions(self, entry):
        """Bounds of an array; equal modulo 2^32."""
        language = list_first(entry.unit.root.code("DW_AT_language")) or ""
        default = int(any(word in language for word in FROM_ONE))
        if entry.tag == "DW_TAG_string_type":
            size = entry.number("DW_AT_byte_size")
            if "DW_AT_string_length" in entry.values and size is None:
                size = 0
            return [(1, size or 0)]
        return [
            self.bounds(child, default)
            for child in entry.children
            if child.tag in ("DW_TAG_subrange_type", "DW_TAG_enumeration_type", "DW_TAG_generic_subrange")
        ]

    @staticmethod
    def bounds(child, default):
        if child.tag == "DW_TAG_enumeration_type":
            return 0, sum(each.tag == "DW_TAG_enumerator" for each in child.children) - 1
        low = child.number("DW_AT_lower_bound")
        low = default if low is None else low
        upper, count = child.number("DW_AT_upper_bound"), child.number("DW_AT_count")
        if upper is not None:
            return low, upper
        return low, low + (count or 0) - 1


def list_first(text):
    return text.split()[0] if text else text
