"""Compares one module of the dump with its unit: procedures, variables, inlined calls, ranges, lines."""
import collections
import re

import expressions
import readelf
from published import AGGREGATES, KINDS, SCOPES
from published_types import TypeChecker

LANGUAGE_KINDS = {"DW_LANG_Mips_Assembler": 1, "DW_LANG_Modula2": 2}
CODE_KINDS = {"C": 3, "UPC": 3, "ObjC": 3, "C_plus_plus": 4}


class Checker:
    """Collects differences, and counts comparisons by kind."""

    def __init__(self):
        self.differences, self.compared = [], collections.Counter()

    def equal(self, kind, place, dumped, wanted):
        self.compared[kind] += 1
        if dumped != wanted:
            self.differences.append(f"{kind}: {place}: dump has {dumped!r}, expected {wanted!r}")

    def lists(self, kind, place, dumped, wanted):
        """Compares without order, and shows what only one side has."""
        self.compared[kind] += max(len(dumped), len(wanted))
        dumped, wanted = collections.Counter(dumped), collections.Counter(wanted)
        for text, left, right in (("only in the dump", dumped, wanted), ("missing", wanted, dumped)):
            for each, count in (left - right).items():
                self.differences.append(f"{kind}: {place}: {text}: {each!r}" + (f" {count} times" if count > 1 else ""))


def is_named(name, alternatives):
    """Whether a qualified name is one of those; a part without a name may be written in any way."""
    for parts in alternatives:
        if None not in parts:
            if name == "::".join(parts):
                return True
        elif name.endswith("::" + parts[-1]) or name == parts[-1]:
            return True
    return False


def wanted_name(names, alternatives):
    """A name of those that is right, else how the right one is written."""
    return next(
        (name for name in names if is_named(name, alternatives)),
        "::".join(part or "(no name)" for part in alternatives[0]),
    )


class UnitChecker:
    """Compares one module of the dump with its unit."""

    def __init__(self, checker, module, unit, reading, context):
        self.checker, self.module, self.unit, self.reading, self.context = checker, module, unit, reading, context
        self.place = f"unit {unit.offset:#x} {module['name']}"
        self.procedures, self.variables, self.inlined, self.labels, self.optional = [], [], [], set(), set()
        self.types = {}
        self.walk(unit.root, None, 0)
        self.type_checker = TypeChecker(checker, module, self.types, reading, self.place)

    def walk(self, entry, procedure, depth):
        """Sorts what is in an entry: procedures wherever they are, variables in the one around them or in none."""
        for child in self.reading.children(entry):
            tag = child.tag
            if tag == "DW_TAG_subprogram":
                # A procedure without code may still hold types.
                record = {"entry": child, "params": [], "locals": []}
                if self.reading.procedure_ranges(child):
                    self.procedures.append(record)
                elif not child.flag("DW_AT_declaration"):
                    self.optional.add(self.reading.name(child))
                self.walk(child, record, 0)
            elif tag == "DW_TAG_inlined_subroutine":
                for low, high in self.reading.ranges(child):
                    self.inlined.append((low, high, depth + 1, child))
                self.walk(child, procedure, depth + 1)
            elif (
                tag in SCOPES
                or tag in AGGREGATES
                or tag
                in (
                    "DW_TAG_variant_part",
                    "DW_TAG_variant",
                    "DW_TAG_enumeration_type",
                    "DW_TAG_array_type",
                    "DW_TAG_subroutine_type",
                )
            ):
                if tag in KINDS:
                    self.types[child.section, child.offset] = child
                self.walk(child, None if tag in AGGREGATES else procedure, depth)
            elif tag in KINDS:
                self.types[child.section, child.offset] = child
                self.walk(child, procedure, depth)
            elif tag == "DW_TAG_GNU_formal_parameter_pack":
                self.walk(child, procedure, depth)
            elif tag == "DW_TAG_formal_parameter" and procedure and entry.tag != "DW_TAG_subroutine_type":
                procedure["params" if depth == 0 else "locals"].append(child)
            elif tag in ("DW_TAG_variable", "DW_TAG_constant") and entry.tag not in AGGREGATES:
                if procedure:
                    procedure["locals"].append(child)
                else:
                    self.variables.append(child)
            elif tag == "DW_TAG_label":
                self.labels.add((self.reading.name(child), child.number("DW_AT_low_pc") or 0))

    def run(self):
        self.check_unit()
        self.check_procedures()
        self.check_variables()
        self.check_inlined()
        self.check_lines()
        self.type_checker.run()

    def check_unit(self):
        module, root = self.module, self.unit.root
        self.checker.equal(
            "unit",
            f"{self.place}: name",
            module["name"].split(":", 1)[-1],
            readelf.base_name(
                root.text("DW_AT_name") or root.text("DW_AT_dwo_name") or root.text("DW_AT_GNU_dwo_name") or ""
            ),
        )
        self.checker.equal("unit", f"{self.place}: addressSize", module["ext"]["addressSize"], self.unit.address_size)
        language = root.code("DW_AT_language") or ""
        kinds = [
            kind for word, kind in CODE_KINDS.items() if language.removeprefix("DW_LANG_").rstrip("0123456789") == word
        ]
        if kinds or language in LANGUAGE_KINDS:
            self.checker.equal(
                "unit", f"{self.place}: language", module["language"], (kinds or [LANGUAGE_KINDS.get(language)])[0]
            )
        low, high = root.number("DW_AT_low_pc") or 0, root.number("DW_AT_high_pc") or 0
        if high and "addr" not in root.values["DW_AT_high_pc"].form:
            high += low
        if high and self.reading.image.is_dead(low):
            low = high = 0
        self.checker.equal("unit", f"{self.place}: range", (module["lowPc"], module["highPc"]), (low, high))
        wanted = self.context["aranges"].get(self.unit.offset)
        if wanted is not None:
            wanted = [tuple(each) for each in wanted if not self.reading.image.is_dead(each[0])]
        elif "DW_AT_ranges" in root.values:
            wanted = [(low, high - 1) for low, high in self.reading.ranges(root)]
        if wanted is not None:
            self.checker.lists(
                "ranges of units", self.place, [tuple(each) for each in module["ext"]["addrRanges"]], wanted
            )

    def check_procedures(self):
        dumped = collections.defaultdict(list)
        for record in self.module["procs"]:
            if record["name"].startswith("Line Info from 0x") or (record["name"], record["lowPc"]) in self.labels:
                continue
            if record["lowPc"] == record["highPc"] == 0:
                continue
            dumped[record["lowPc"], record["highPc"]].append(record)
        wanted = {}
        for record in self.procedures:
            for number, each in enumerate(self.reading.procedure_ranges(record["entry"])):
                wanted.setdefault(each, []).append((number, record))
        self.checker.lists(
            "procedures",
            self.place,
            [(*key, len(each)) for key, each in dumped.items()],
            [(*key, len(each)) for key, each in wanted.items()],
        )
        for key, records in wanted.items():
            for number, record in records:
                alternatives = self.reading.qualified(record["entry"])
                found = [each for each in dumped.get(key, []) if is_named(each["name"], alternatives)]
                place = f"{self.place}: procedure {key[0]:#x} {'::'.join(str(part) for part in alternatives[0])}"
                if dumped.get(key):
                    names = [each["name"] for each in dumped[key]]
                    wanted_one = wanted_name(names, alternatives)
                    self.checker.equal("names of procedures", place, wanted_one if found else names, wanted_one)
                if found and number == 0:
                    self.check_procedure(place, found[0], record)

    def check_procedure(self, place, record, wanted):
        for kind in ("params", "locals"):
            kept = [each for each in wanted[kind] if not each.flag("DW_AT_declaration")]
            self.checker.equal(
                kind, place, [each["name"] for each in record[kind]], [self.reading.name(each) or "" for each in kept]
            )
            if len(record[kind]) != len(kept):
                continue
            for each, entry in zip(record[kind], kept):
                self.type_checker.check_reference(
                    "types of " + kind, f"{place}: {each['name']}", each["type"], self.reading.type(entry)
                )
                self.check_ranges(kind, f"{place}: {each['name']}", each, entry)
        self.type_checker.check_reference(
            "types of procedures", place, record["returnType"], self.reading.type(wanted["entry"])
        )

    def check_ranges(self, kind, place, record, entry):
        """Where the location holds: as its list says, or as the ranges of the block around it."""
        value = entry.values.get("DW_AT_location")
        if value is None:
            if not self.reading.with_value(entry, "DW_AT_const_value"):
                self.checker.equal("locations of " + kind, place, record["location"], None)
            return
        if value.form in ("DW_FORM_exprloc", "DW_FORM_block", "DW_FORM_block1", "DW_FORM_block2", "DW_FORM_block4"):
            around = entry.parent
            while around.tag not in ("DW_TAG_lexical_block", "DW_TAG_inlined_subroutine", "DW_TAG_subprogram") or (
                "DW_AT_ranges" not in around.values
                and "DW_AT_low_pc" not in around.values
                and around.tag != "DW_TAG_subprogram"
            ):
                around = around.parent
            wanted = [(0, 0xFFFFFFFF)] if around.tag == "DW_TAG_subprogram" else self.reading.ranges(around)
            texts = [value.text] * len(wanted)
        else:
            listed = [
                (each, line.partition("): ")[2].removesuffix(")"))
                for each, line in zip(entry.ranges("DW_AT_location"), value.lines)
                if each[0] < each[1] and not self.reading.image.is_dead(each[0])
            ]
            wanted, texts = [each for each, _ in listed], [text for _, text in listed]
        records = record["location"] or []
        self.checker.equal("locations of " + kind, place, [(each["lowPc"], each["highPc"]) for each in records], wanted)
        if len(records) == len(wanted):
            for each, text in zip(records, texts):
                self.check_expression(place, each["expression"], text)

    def check_expression(self, place, dumped, text):
        image = self.reading.image
        if match := re.search(r"<decoding error>((?: [0-9a-f]{2})+)$", text):
            rest = match.group(1).replace(" ", "")
            if self.unit.is_64bit:  # offsets into sections are made 4 bytes
                self.checker.compared["expressions not decoded"] += 1
                return
            self.checker.equal("ends of expressions", place, dumped[-len(rest) :], rest)
            return
        try:
            parsed = expressions.parse(text, self.debug_addr)
        except expressions.Undecodable:
            self.checker.compared["expressions not decoded"] += 1
            return
        try:
            decoded = expressions.decode(bytes.fromhex(dumped), image.little, self.unit.address_size)
        except (expressions.Undecodable, IndexError):
            decoded = dumped
        is_same = decoded != dumped and expressions.same(decoded, parsed)
        self.checker.equal("expressions", place, parsed if is_same else decoded, parsed)

    def debug_addr(self, index):
        base = self.unit.root.number("DW_AT_addr_base") or self.unit.root.number("DW_AT_GNU_addr_base") or 0
        size, data = self.unit.address_size, self.context["sections"].get(".debug_addr", b"")
        return readelf.Bytes(data, self.reading.image.little, base + size * index).fixed(size)

    def address(self, entry):
        value = entry.values.get("DW_AT_location")
        if value is None or not value.form.startswith(("DW_FORM_exprloc", "DW_FORM_block")):
            return None
        words = value.text.split()
        if len(words) == 2 and words[0] == "DW_OP_addr":
            return int(words[1], 16)
        if len(words) == 2 and words[0] in ("DW_OP_addrx", "DW_OP_GNU_addr_index"):
            return self.debug_addr(int(words[1], 16))
        return None

    def check_variables(self):
        dumped, order = collections.defaultdict(list), "little" if self.reading.image.little else "big"
        size = self.unit.address_size
        for record in self.module["vars"]:
            location = record["location"]
            expression = bytes.fromhex(location[0]["expression"]) if location else b""
            at = (
                int.from_bytes(expression[1 : 1 + size], order)
                if expression[:1] == b"\x03" and len(expression) == 1 + size
                else None
            )
            dumped[at].append(record)
        wanted = collections.defaultdict(list)
        for entry in self.variables:
            if not entry.flag("DW_AT_declaration"):
                wanted[self.address(entry)].append(entry)
        addresses = lambda table: [(at, len(each)) for at, each in table.items() if at is not None]
        self.checker.lists("addresses of variables", self.place, addresses(dumped), addresses(wanted))
        for at, entries in wanted.items():
            for entry in entries:
                alternatives = self.reading.qualified(entry)
                if not alternatives[0][-1]:
                    continue  # its name is in another file
                place = f"{self.place}: variable {at and hex(at)} {'::'.join(str(part) for part in alternatives[0])}"
                found = next((each for each in dumped.get(at, []) if is_named(each["name"], alternatives)), None)
                if found is None and at is None and "DW_AT_location" not in entry.values:
                    continue
                self.checker.equal(
                    "names of variables",
                    place,
                    [] if found else [each["name"] for each in dumped.get(at, [])],
                    [] if found else wanted_name([], alternatives),
                )
                if found and at is not None:
                    self.checker.equal(
                        "addresses of variables",
                        place,
                        [(each["lowPc"], each["highPc"]) for each in found["location"]],
                        [(0, 0xFFFFFFFF)],
                    )
                if found and at is not None:
                    self.type_checker.check_reference(
                        "types of variables", place, found["type"], self.reading.type(entry)
                    )

    def check_inlined(self):
        calls = self.module.get("inlinedCalls") or self.module["ext"].get("inlinedCalls") or []
        wanted = []
        for low, high, depth, entry in self.inlined:
            wanted.append(
                (
                    low,
                    high,
                    depth,
                    readelf.base_name(entry.text("DW_AT_call_file") or ""),
                    entry.number("DW_AT_call_line") or 0,
                    entry.number("DW_AT_call_column") or 0,
                )
            )
        self.checker.lists(
            "inlined calls",
            self.place,
            [
                (
                    each["lowPc"],
                    each["highPc"],
                    each["depth"],
                    readelf.base_name(each["fileName"] or ""),
                    each["line"],
                    each["column"],
                )
                for each in calls
            ],
            wanted,
        )
        order = [(each["lowPc"], each["depth"]) for each in calls]
        self.checker.equal(
            "order of inlined calls", self.place, [low for low, _ in order], sorted(low for low, _ in order)
        )
        names = collections.defaultdict(list)
        for each in calls:
            names[each["lowPc"], each["highPc"], each["depth"]].append(each["name"])
        for low, high, depth, entry in self.inlined:
            found = names.get((low, high, depth), [])
            if found:
                alternatives = self.reading.qualified(entry)
                wanted_one = wanted_name(found, alternatives)
                self.checker.equal(
                    "names of inlined calls",
                    f"{self.place}: {low:#x}",
                    wanted_one if wanted_one in found else found,
                    wanted_one,
                )
        for i, outer in enumerate(calls):  # an outer call is in front of those in it
            inside = [
                each
                for each in calls[:i]
                if each["depth"] > outer["depth"] and outer["lowPc"] <= each["lowPc"] < outer["highPc"]
            ]
            self.checker.equal("order of inlined calls", f"{self.place}: {outer['name']}", len(inside), 0)

    def check_lines(self):
        offset = self.unit.root.number("DW_AT_stmt_list")
        if offset is None:
            return
        wanted = []
        for rows, end in self.context["lines"].get(offset, []):
            if rows and not self.reading.image.is_dead(rows[0].address):
                wanted += [(row.address, row.line, row.column, row.file) for row in rows]
        dumped = []
        for block in self.module["lineBlocks"]:
            columns = block["columns"] or [0] * len(block["lines"])
            dumped += [
                (address, line, column, readelf.base_name(block["fileName"]))
                for address, line, column in zip(block["addresses"], block["lines"], columns)
                if address != 0xFFFFFFFF
            ]
        if not any(row[2] for row in dumped):
            wanted = [(address, line, 0, file) for address, line, _, file in wanted]
        self.checker.lists("line rows", self.place, dumped, wanted)
