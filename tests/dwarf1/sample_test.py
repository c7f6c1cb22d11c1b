#!/usr/bin/env python3
"""Checks the DWARF 1 sample: it is what its generator writes, and elfload's lines and procedures agree with GNU
addr2line, which reads DWARF 1 as far as lines and functions go.

    sample_test.py --elfload PATH --generator PATH SAMPLE
"""
import argparse
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

OPTIONS = None

def elfload(*arguments):
    result = subprocess.run([OPTIONS.elfload, *map(str, arguments)], capture_output=True, check=False)
    return json.loads(result.stdout)


class SampleTest(unittest.TestCase):
    def test_generator_writes_the_sample(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "sample.elf")
            subprocess.run([OPTIONS.generator, path], check=True)
            self.assertEqual(path.read_bytes(), pathlib.Path(OPTIONS.sample).read_bytes())

    @unittest.skipUnless(shutil.which("addr2line"), "no addr2line")
    def test_lines_agree_with_addr2line(self):
        modules = elfload("modules", "--json", OPTIONS.sample)["modules"]
        addresses = range(modules[0]["lowPc"], modules[-1]["highPc"], 2)
        theirs = subprocess.run(["addr2line", "-f", "-e", OPTIONS.sample], check=True, capture_output=True,
                                input="\n".join(map(hex, addresses)), encoding="ascii").stdout.splitlines()
        if set(theirs) <= {"??", "??:0", "??:?"}:
            self.skipTest("this addr2line does not read DWARF 1")
        ours = elfload("where", "--json", OPTIONS.sample, *map(hex, addresses))["results"]
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
