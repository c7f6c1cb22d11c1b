"""What the loader should hand over for a unit, worked out from the entries that readelf shows. Rules of the loader:

  - Labels, subprograms and variables count at the top of a unit only, parameters and variables directly below their
    subprogram, members, base classes and member functions directly below their class. Types count wherever the walk
    comes; below any other entry (a lexical block, an inlined subroutine, a namespace) it does not go.
  - Attributes of the entry that DW_AT_specification names overwrite the entry's own.
"""

UNIT_TYPES = {
    "DW_TAG_typedef": (1, "typedef"),
    "DW_TAG_pointer_type": (2, "pointer"),
    "DW_TAG_enumeration_type": (3, None),
    "DW_TAG_structure_type": (4, "struct"),
    "DW_TAG_union_type": (5, "union"),
    "DW_TAG_class_type": (6, "class"),
    "DW_TAG_array_type": (7, "array"),
    "DW_TAG_subroutine_type": (8, "function"),
    "DW_TAG_reference_type": (9, "reference"),
    "DW_TAG_const_type": (10, "const"),
    "DW_TAG_volatile_type": (11, "volatile"),
    "DW_TAG_base_type": (0, None),
}
AGGREGATES = ("DW_TAG_structure_type", "DW_TAG_union_type", "DW_TAG_class_type")
ENCODINGS = {1: 8, 2: 1, 3: 7, 4: 6, 5: 5, 6: 3, 7: 4, 8: 2}
ENCODING_WORDS = ("unknown", "bool", "uchar", "schar", "unsigned", "signed", "float", "complex", "addr")
LANGUAGES = {0x8001: 0, 10: 2, 1: 3, 2: 3, 4: 4, 0x41: 1}


class Expected:
    """procs, vars: in file order. types: by entry offset. All are plain dictionaries of what is to be compared."""

    def __init__(self, unit, entries):
        self.entries = entries
        self.labels, self.procs, self.vars, self.types = [], [], [], {}
        for child in unit.root.children:
            if child.tag == "DW_TAG_label":
                self.labels.append({"name": child.text("DW_AT_name") or "", "lowPc": child.number("DW_AT_low_pc") or 0})
            elif child.tag == "DW_TAG_subprogram":
                self.procs.append(self.read_proc(child))
            elif child.tag == "DW_TAG_variable":
                self.vars.append(self.read_var(child))
            else:
                self.read_entry(child)
        # Labels are in order of address, of those at one address the later one first.
        self.labels = sorted(reversed(self.labels), key=lambda label: label["lowPc"])

    def merged(self, entry):
        """The entry with the attributes of its specifications laid over its own."""
        result = type(entry)(entry.offset, entry.tag)
        while entry is not None:
            reference = entry.reference("DW_AT_specification")
            result.attributes.update(entry.attributes)
            entry = self.entries.get(reference)
        return result

    def read_entry(self, entry):
        if entry.tag in UNIT_TYPES:
            self.read_type(entry)

    def read_proc(self, entry):
        merged = self.merged(entry)
        proc = {
            "name": merged.text("DW_AT_name") or "",
            "lowPc": merged.number("DW_AT_low_pc") or 0,
            "highPc": merged.number("DW_AT_high_pc") or 0,
            "returnType": merged.reference("DW_AT_type"),
            "frameBase": self.read_location(merged, "DW_AT_frame_base"),
            "params": [], "locals": [],
        }
        for child in entry.children:
            if child.tag == "DW_TAG_formal_parameter":
                proc["params"].append(self.read_var(child))
            elif child.tag == "DW_TAG_variable":
                proc["locals"].append(self.read_var(child))
            else:
                self.read_entry(child)
        return proc

    def read_var(self, entry):
        merged = self.merged(entry)
        name = merged.text("DW_AT_name")
        if name is None:
            name = "baseclass" if entry.tag == "DW_TAG_inheritance" else ""
        attribute = "DW_AT_location" if "DW_AT_location" in merged.attributes else "DW_AT_data_member_location"
        return {
            "name": name,
            "type": merged.reference("DW_AT_type"),
            "location": self.read_location(merged, attribute),
            "bitSize": merged.number("DW_AT_bit_size") or 0,
            "bitOffset": merged.number("DW_AT_bit_offset"),
        }

    @staticmethod
    def read_location(entry, attribute):
        """None, the bytes of a block, or the offset of a location list."""
        if attribute not in entry.attributes:
            return None
        block = entry.block(attribute)
        return block if block is not None else entry.number(attribute)

    def read_type(self, entry):
        kind, word = UNIT_TYPES[entry.tag]
        record = {
            "kind": kind,
            "name": entry.text("DW_AT_name") or word,
            "byteSize": entry.number("DW_AT_byte_size") or 0,
            "reference": entry.reference("DW_AT_type"),
            "items": [], "functions": [],
        }
        if record["name"] is None:
            code = ENCODINGS.get(entry.number("DW_AT_encoding"), 0)
            record["name"] = ENCODING_WORDS[code] + (f"({record['byteSize']})" if record["byteSize"] else "")
        if kind == 0:
            record["encoding"] = ENCODINGS.get(entry.number("DW_AT_encoding"), 0)
        self.types[entry.offset] = record
        if kind in (3, 4, 5, 6, 7, 8):
            for child in entry.children:
                self.read_child(record, entry.tag, child)

    def read_child(self, record, parent, child):
        if parent == "DW_TAG_enumeration_type":
            if child.tag == "DW_TAG_enumerator":
                record["items"].append((child.text("DW_AT_name") or "enum", child.number("DW_AT_const_value") or 0))
        elif parent == "DW_TAG_array_type":
            if child.tag == "DW_TAG_subrange_type":
                bounds = (child.number("DW_AT_lower_bound") or 0, child.number("DW_AT_upper_bound") or 0)
                record["items"].append(bounds)
        elif parent == "DW_TAG_subroutine_type" and child.tag == "DW_TAG_formal_parameter":
            record["items"].append(self.read_var(child))
        elif parent in AGGREGATES and child.tag in ("DW_TAG_member", "DW_TAG_inheritance"):
            record["items"].append(self.read_var(child))
        elif parent in AGGREGATES and child.tag == "DW_TAG_subprogram":
            record["functions"].append(self.read_proc(child))
        else:
            self.read_entry(child)
