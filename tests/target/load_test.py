#!/usr/bin/env python3
"""Runs `elfload load`: files that it writes against objcopy, exit status and messages, QEMU, stubs that fail.

    load_test.py --elfload PATH [--only OutTest,QemuTest] [FOLDER...]   the ELF files of the folders go through --out
"""
import argparse
import json
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from elf_writer import EM_68K, EM_PPC, elf_file
from gdb_remote import Client, frame, qemu, stub

ELFLOAD = None
FILES = []
PATTERN = bytes((i * 7 + i // 256) % 256 for i in range(5000))
PF_X, PF_W, PF_R = 1, 2, 4


def run(*arguments):
    return subprocess.run([ELFLOAD, "load", *map(str, arguments)], capture_output=True, check=False, text=True,
                          stdin=subprocess.DEVNULL, timeout=120)


def parse_srec(path):
    """Address to byte, and the start address."""
    memory, start = {}, None
    for line in path.read_text().split():
        record = bytes.fromhex(line[2:])
        assert sum(record) % 256 == 255 and record[0] == len(record) - 1, line
        size = {"1": 2, "2": 3, "3": 4, "7": 4, "8": 3, "9": 2}.get(line[1])
        if line[1] in "123":
            address = int.from_bytes(record[1:1 + size], "big")
            memory.update((address + i, byte) for i, byte in enumerate(record[1 + size:-1]))
        elif line[1] in "789":
            start = int.from_bytes(record[1:1 + size], "big")
    return memory, start


def segments_of(data):
    """(virtual, physical, file bytes) of each segment with bytes, and the entry."""
    order = "<" if data[5] == 1 else ">"
    entry, offset = struct.unpack_from(order + "II", data, 24)
    for i in range(*struct.unpack_from(order + "H", data, 44)):
        kind, start, virtual, physical, size, _, _, _ = struct.unpack_from(order + "8I", data, offset + 32 * i)
        if kind == 1 and size:
            yield virtual or physical, physical, data[start:start + size], entry


class LoadTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, data, name="test.elf"):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def document(self, *arguments, status=0):
        result = run("--json", *arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        return json.loads(result.stdout)

    def fails(self, outcome, message, *arguments):
        document = self.document(*arguments, status=1)
        self.assertEqual(document["outcome"], outcome, document)
        self.assertIn(message, document["failure"]["message"])
        result = run(*arguments)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("elfload: ", result.stderr)
        return document


class OutTest(LoadTest):
    """Every file goes out in each format, virtual and physical, and comes back through objcopy."""

    def objcopy(self, source_format, source, target_format, target, *flags):
        subprocess.run(["objcopy", *flags, "-I", source_format, "-O", target_format, source, target], check=True)

    @unittest.skipUnless(shutil.which("objcopy"), "objcopy is not installed")
    def test_objcopy_reads_every_format_back(self):
        self.assertTrue(FILES)
        for file, which in ((file, which) for file in FILES for which in ("virtual", "physical")):
            with self.subTest(file=file.name, which=which):
                wanted, entry = {}, None
                for virtual, physical, data, entry in segments_of(file.read_bytes()):
                    start = physical if which == "physical" else virtual
                    wanted.update((start + i, byte) for i, byte in enumerate(data))
                paths = {ending: self.folder / f"out.{ending}" for ending in ("hex", "srec", "bin")}
                for ending in ("hex", "srec"):
                    run("--addresses", which, "--out", paths[ending], file)
                    back = self.folder / "back.srec"
                    self.objcopy("ihex" if ending == "hex" else "srec", paths[ending], "srec", back)
                    self.assertEqual(parse_srec(back), (wanted, entry))
                span = max(wanted) - min(wanted) + 1
                result = run("--addresses", which, "--out", paths["bin"], file)
                if span > 64 * 1024 * 1024:
                    self.assertEqual(result.returncode, 1)
                    self.assertIn(f"a raw file of {span} bytes", result.stderr)
                else:
                    self.objcopy("srec", paths["srec"], "binary", self.folder / "back.bin")
                    self.assertEqual(paths["bin"].read_bytes(), (self.folder / "back.bin").read_bytes())
                if which == "physical":  # what objcopy takes of the file by itself: the sections at their load addresses
                    own = self.folder / "own.srec"
                    self.objcopy("elf32-little" if file.read_bytes()[5] == 1 else "elf32-big", file, "srec", own)
                    sections, start = parse_srec(own)
                    self.assertEqual({a: wanted.get(a) for a in sections}, sections)
                    self.assertEqual(start, entry)


class MemTest(LoadTest):
    def test_each_outcome_has_its_name_and_status(self):
        two = self.write(elf_file(EM_PPC, [(0x8000, 0x8000, PATTERN[:600], 600, PF_R | PF_X),
                                           (0x100, 0x9000, PATTERN[:10], 64, PF_R | PF_W)], 0x8004))
        document = self.document("--verify", "full", two)
        self.assertEqual([document[key] for key in ("outcome", "blocks", "bytes", "verifiedBytes", "startAddress")],
                         ["done", 3, 610, 610, 0x8004])
        self.assertEqual(self.document("--verify", "quick", two)["verifiedBytes"], 12)
        flash = ("--region", "0x8000-0x9FFF:rx")
        self.fails("refused", "segment 1, 0x00000100-0x0000013F: there is no memory at 0x00000100", *flash, two)
        self.fails("refused", "the segment is writable, the memory 0x00000100-0x00000200:rx is not", *flash, "--region",
                   "0x100-0x200:rx", two)
        self.assertEqual(self.document(*flash, "--addresses", "physical", two)["outcome"], "done")
        self.fails("refused", "there is no memory", *flash, "--dry-run", two)
        dry = self.document("--dry-run", "--out", self.folder / "no.hex", two)
        self.assertEqual((dry["outcome"], dry["bytes"], dry["startAddress"]), ("done", 0, None))
        self.assertFalse((self.folder / "no.hex").exists())
        self.fails("verify-differs", "nothing was written to all of 0x00008000-0x000081FF", "--verify", "only", two)
        self.fails("output-error", "cannot write", "--out", self.folder / "none" / "a.hex", two)
        self.fails("file-error", "No such file or directory", self.folder / "none.elf")
        self.fails("link-lost", "cannot connect to gdb:127.0.0.1:1: ", "--target", "gdb:127.0.0.1:1", two)
        no_table = bytearray(two.read_bytes())
        no_table[28:32] = bytes(4)
        self.fails("file-error", "no program header table", self.write(no_table, "no_table.elf"))
        self.assertEqual(run("--quiet", two).stdout, "")

    def test_wrong_lines(self):
        file = self.write(elf_file(EM_PPC, [], 0))
        for line in (["--target", "gdb:x"], ["--target", "tape"], ["--region", "5"], ["--region", "0-9", "--region", "9-10"],
                     ["--out", "x.elf"], ["--format", "hex"], ["--out", "x.hex", "--target", "gdb::1"],
                     ["--verify", "only", "--out", "x.hex"], ["--timeout", "0"], ["--verify", "some"]):
            result = run(*line, file)
            self.assertEqual((result.returncode, result.stdout), (2, ""), line)
            self.assertTrue(result.stderr, line)

    def test_progress_as_json_lines(self):
        file = self.write(elf_file(EM_PPC, [(0, 0, PATTERN, len(PATTERN), PF_R)], 0))
        lines = [json.loads(line) for line in run("--progress", "json", file).stderr.splitlines()]
        self.assertEqual((lines[-1]["done"], lines[-1]["total"]), (5000, 5000))
        self.assertEqual(run("--progress", "json", "--quiet", file).stderr, "")


class StubTest(LoadTest):
    ANSWERS = {b"?": b"S05", b"M": b"OK", b"p": b"00000000", b"P": b"OK"}

    def setUp(self):
        super().setUp()
        self.file = self.write(elf_file(EM_PPC, [(0x1000, 0x1000, PATTERN, len(PATTERN), PF_R)], 0x1000))

    def answer(self, _, request):
        return b"+" + frame(self.ANSWERS.get(request[:1], b""))

    def test_a_stub_that_falls_silent_or_dies(self):
        for reply, message in ((b"junk" * 9999, 'no answer within 1.5 s, but "junkjunk'),
                               (None, "the stub closed the connection")):
            with stub(lambda n, r, reply=reply: reply if n == 7 else self.answer(n, r)) as target:
                start = time.monotonic()
                result = run("--target", target, "--timeout", "1.5", "--verify", "none", self.file)
                self.assertLess(time.monotonic() - start, 20)
            self.assertEqual(result.returncode, 1)
            self.assertIn("elfload: link lost: segment 0, writing 0x00001200-0x000012BD: " + message, result.stderr)

    def test_ctrl_c_ends_after_a_block_and_says_how_far_it_came(self):
        def slow(number, request):
            time.sleep(0.05 if request.startswith(b"M") else 0)
            return self.answer(number, request)

        with stub(slow) as target:
            process = subprocess.Popen([ELFLOAD, "load", "--json", "--progress", "json", "--verify", "none", "--target",
                                        target, self.file], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            process.stderr.readline()
            process.send_signal(signal.SIGINT)
            out, error = process.communicate(timeout=60)
        document = json.loads(out)
        self.assertEqual((process.returncode, document["outcome"]), (1, "cancelled"))
        self.assertIn(f"cancelled after {document['bytes']} of 5000 bytes", error)
        self.assertTrue(0 < document["bytes"] < 5000 and document["bytes"] % 512 == 0, document)
        self.assertIsNone(document["startAddress"])


class QemuTest(LoadTest):
    # Program, arguments, e_machine, number of the program counter.
    MACHINES = [("qemu-system-ppc", ["-M", "none", "-cpu", "603e", "-m", "16M"], EM_PPC, 64),
                ("qemu-system-m68k", ["-M", "none", "-cpu", "m68040", "-m", "16M"], EM_68K, 17)]

    def machine(self, index):
        program, arguments, machine, counter = self.MACHINES[index]
        if not shutil.which(program):
            self.skipTest(f"{program} is not installed")
        return [program, *arguments], machine, counter

    def check_load(self, index):
        command, machine, counter = self.machine(index)
        file = self.write(elf_file(machine, [(0x2000, 0x2000, PATTERN, len(PATTERN), PF_R | PF_X),
                                             (0xFFFFF1, 0xFFFFF1, PATTERN[:15], 15, PF_R | PF_W)], 0x2010))
        nowhere = self.write(elf_file(machine, [(0x2000, 0x2000, PATTERN, 5000, PF_R),
                                                (0xFFFF00, 0xFFFF00, PATTERN[:300], 300, PF_R)], 0), "nowhere.elf")
        with qemu(*command, path=self.folder / "stub") as (target, connect):
            document = self.document("--target", target, file)
            self.assertEqual((document["outcome"], document["verifiedBytes"]), ("done", 5015))
            with Client(connect()) as client:
                self.assertEqual((client.memory(0x2000, 5000), client.memory(0xFFFFF1, 15)), (PATTERN, PATTERN[:15]))
                self.assertEqual(client.register(counter), 0x2010)
                client.ask(b"M2400,1:5a")
            self.fails("verify-differs", "0x00002400 the target holds 0x5A", "--target", target, "--verify", "only", file)
            self.document("--target", target, "--verify", "full", file)
            # QEMU answers OK to a write where there is no memory; only the read-back finds it.
            self.assertEqual(self.document("--target", target, "--verify", "none", nowhere)["outcome"], "done")
            self.fails("verify-differs", "0x00FFFF00", "--target", target, nowhere)

    def test_powerpc(self):
        self.check_load(0)

    def test_m68k(self):
        self.check_load(1)

    def test_leaves_the_target_halted_or_running(self):
        command, machine, _ = self.machine(1)
        # addq.l #1,0x3000.l; bra.s -8
        file = self.write(elf_file(machine, [(0x1000, 0x1000, bytes.fromhex("52B90000300060F8"), 8, PF_R | PF_X)], 0x1000))
        with qemu(*command, path=self.folder / "stub") as (target, connect):
            counts = []
            for leave in ("halted", "running"):
                self.assertEqual(run("--target", target, "--leave", leave, file).returncode, 0)
                time.sleep(0.3)
                with Client(connect()) as client:
                    counts.append(int.from_bytes(client.memory(0x3000, 4), "big"))
            self.assertEqual(run("--target", target, file).returncode, 0)  # a target that runs stops to be loaded
        self.assertEqual(counts[0], 0)
        self.assertGreater(counts[1], 0)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", required=True)
    parser.add_argument("--only", default="")
    parser.add_argument("folders", nargs="*", type=pathlib.Path)
    options = parser.parse_args()
    ELFLOAD = options.elfload
    FILES = sorted(path for folder in options.folders for path in folder.rglob("*.elf"))
    unittest.main(argv=[sys.argv[0], *filter(None, options.only.split(","))], verbosity=2)
