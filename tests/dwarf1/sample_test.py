#!/usr/bin/env python3
"""Checks the DWARF 1 sample: it is what its generator writes, elfload's dump agrees with a plain decoding of `.debug`,
and its lines agree with GNU addr2line, which reads DWARF 1 as far as lines and functions go.

    sample_test.py --elfload PATH --generator PATH SAMPLE
"""
import argparse
import json
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

OPTIONS = None

KINDS = {0x01: 7, 0x02: 6, 0x04: 3, 0x13: 4, 0x15: 8, 0x16: 1, 0x17: 5}  # DescType.kind of the tags that are types
WORDS = {1: "", 3: "enum", 4: "struct", 5: "union", 6: "class", 7: "array", 8: "function"}
PROCEDURES = (0x06, 0x14)
SIBLING, NAME, BYTE_SIZE, ELEMENTS, LOW, HIGH = 0x010, 0x030, 0x0B0, 0x0F0, 0x110, 0x120


def elfload(*arguments):
    result = subprocess.run([OPTIONS.elfload, *map(str, arguments)], capture_output=True, check=False)
    return json.loads(result.stdout)


def section(name):
    return subprocess.run([OPTIONS.elfload, "section", OPTIONS.sample, name], capture_output=True, check=True).stdout


class Entry:
    """An entry with its attributes by name; text as text, numbers as numbers, blocks as bytes."""

    def __init__(self, data, offset):
        self.offset, self.children, self.attributes = offset, [], {}
        self.length, self.tag = struct.unpack_from(">IH", data, offset)
        at = offset + 6
        while self.length >= 8 and self.tag != 0 and at < offset + self.length:
            code, = struct.unpack_from(">H", data, at)
            at, form = at + 2, code & 0xF
            if form in (3, 4):
                start = at + (2 if form == 3 else 4)
                end = start + int.from_bytes(data[at:start], "big")
                value = data[start:end]
            elif form == 8:
                end = data.index(b"\0", at) + 1
                value = data[at:end - 1].decode()
            else:
                end = at + {1: 4, 2: 4, 5: 2, 6: 4, 7: 8}[form]
                value = int.from_bytes(data[at:min(end, at + 4)], "big")
            self.attributes[code & 0xFFF0], at = value, end

    def get(self, name, default=0):
        return self.attributes.get(name, default)


def chain(data, offset, end):
    """The entries from `offset` on, with their children."""
    entries = []
    while offset < end:
        entry = Entry(data, offset)
        offset += entry.length
        if entry.length < 8:
            break
        behind = entry.get(SIBLING, offset)
        entry.children, offset = chain(data, offset, behind), behind
        entries.append(entry)
    return entries


def everything(entries):
    for entry in entries:
        yield entry
        yield from everything(entry.children)


class SampleTest(unittest.TestCase):
    def test_generator_writes_the_sample(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "sample.elf")
            subprocess.run([OPTIONS.generator, path], check=True)
            self.assertEqual(path.read_bytes(), pathlib.Path(OPTIONS.sample).read_bytes())

    def test_dump_agrees_with_the_entries(self):
        dump = elfload("dump", "--json", OPTIONS.sample)
        self.assertEqual((dump["build"], dump["messages"]), (1, []))
        data = section(".debug")
        units = chain(data, 0, len(data))
        modules = [part for module in dump["modules"] for part in [module] + module["ext"]["mergedModules"]]
        self.assertEqual(sorted(module["ext"]["unitOffset"] for module in modules), [unit.offset for unit in units])
        types = {record["key"]: record for module in modules for record in module["types"]}
        seen = set()
        for entry in everything(units):
            if entry.tag not in KINDS:
                continue
            seen.add(entry.tag)
            record, kind = types[entry.offset], KINDS[entry.tag]
            self.assertEqual(record["kind"], kind)
            self.assertEqual(record["name"], "array" if kind == 7 else entry.get(NAME, "") or WORDS[kind])
            if kind != 7:  # an array's size is settled
                self.assertEqual(record["byteSize"], entry.get(BYTE_SIZE))
            if kind in (4, 5, 6):
                for tag, word in ((0x0D, "items"), (0x06, "target")):
                    names = [child.get(NAME) for child in entry.children if child.tag == tag]
                    self.assertEqual([member["name"] for member in record[word]], names)
            if kind == 3:
                items = b"".join(struct.pack(">i", item["value"]) + item["name"].encode() + b"\0"
                                 for item in reversed(record["items"]))
                self.assertEqual(items, entry.get(ELEMENTS))
        self.assertEqual(seen, set(KINDS), "the sample has types of all tags")

        procs = {(proc["name"], proc["lowPc"], proc["highPc"]) for module in dump["modules"] for proc in module["procs"]}
        self.assertLessEqual({(entry.get(NAME), entry.get(LOW), entry.get(HIGH)) for unit in units
                              for entry in unit.children if entry.tag in PROCEDURES}, procs)
        variables = sum(entry.tag in (0x07, 0x0C) for unit in units for entry in unit.children)
        self.assertEqual(sum(len(module["vars"]) for module in dump["modules"]), variables)
        blocks = [block["count"] for module in dump["modules"] for block in module["lineBlocks"]]
        self.assertIn(1024, blocks)
        # A table has 8 bytes of header, 10 a row, and a closing row that is not stored.
        self.assertEqual(sum(blocks), (len(section(".line")) - 18 * len(units)) // 10)

    @unittest.skipUnless(shutil.which("addr2line"), "no addr2line")
    def test_lines_agree_with_addr2line(self):
        data = section(".debug")
        units = chain(data, 0, len(data))
        addresses = range(units[0].get(LOW), units[-1].get(HIGH), 2)
        theirs = subprocess.run(["addr2line", "-f", "-e", OPTIONS.sample], check=True, capture_output=True,
                                input="\n".join(map(hex, addresses)), encoding="ascii").stdout.splitlines()
        if set(theirs) <= {"??", "??:0", "??:?"}:
            self.skipTest("this addr2line does not read DWARF 1")
        ours = elfload("where", "--json", OPTIONS.sample, *addresses)["results"]
        functions = 0
        for address, function, place, result in zip(addresses, theirs[::2], theirs[1::2], ours, strict=True):
            file, line = place.rsplit(":", 1)
            self.assertTrue(result["row"]["fileName"].endswith("/" + file), (hex(address), place, result))
            self.assertEqual(int(line), result["row"]["line"], hex(address))
            if function != "??":  # it stops at the first entry without a sibling, and knows no labels
                self.assertEqual(function, result["procedure"]["name"], hex(address))
                functions += 1
        self.assertGreater(functions, len(addresses) // 2)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--elfload", required=True)
    parser.add_argument("--generator", required=True)
    parser.add_argument("sample")
    OPTIONS = parser.parse_args()
    unittest.main(argv=sys.argv[:1])
