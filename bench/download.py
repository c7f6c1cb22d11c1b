#!/usr/bin/env python3
"""Measures the download: over one QEMU stub against gdb's, in turns, and into the memory target.

    download.py [--elfload PATH] [--runs N] [--size BYTES]

gdb loads with packets of 512 bytes, as many stubs take them, and verifies with compare-sections. Both are timed from the
first check to the start address, without connecting. Every number is the median of the runs; in each run the programs
take their turn, so that a busy machine bothers all of them alike. Needs qemu-system-ppc and gdb-multiarch.
"""
import argparse
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "target"))
from elf_writer import EM_PPC, elf_file  # noqa: E402
from gdb_remote import Client, qemu  # noqa: E402

ADDRESS = 0x10000
QEMU = ["qemu-system-ppc", "-M", "none", "-cpu", "603e", "-m", "16M"]
GDB = """set confirm off
set architecture powerpc:603
set endian big
set remote memory-write-packet-size 512
set remote memory-write-packet-size fixed
target remote {target}
python import time; start = time.time()
load
python print("LOAD", time.time() - start)
compare-sections
python print("BOTH", time.time() - start)
disconnect
"""


def load(elfload, *arguments):
    done = subprocess.run([elfload, "load", "--json", *arguments], capture_output=True, check=True)
    return json.loads(done.stdout)["seconds"]


def gdb_load(target, file, folder):
    script = folder / "load.gdb"
    script.write_text(GDB.format(target=target.removeprefix("gdb:unix:")))
    text = subprocess.run(["gdb-multiarch", "-nx", "-batch", "-x", script, file], capture_output=True, check=True,
                          text=True).stdout
    if "matched" not in text or "MIS-MATCHED" in text:
        sys.exit("gdb did not load the file:\n" + text)
    return [float(re.search(word + r" ([\d.]+)", text)[1]) for word in ("LOAD", "BOTH")]


def compare_with_gdb(options, folder):
    data = os.urandom(options.size)
    file = folder / "firmware.elf"
    file.write_bytes(elf_file(EM_PPC, [(ADDRESS, ADDRESS, data, len(data), 5)], ADDRESS + 4))
    rows = {"elfload": [], "gdb load": [], "elfload --verify full": [], "gdb load, compare-sections": []}
    with qemu(*QEMU, path=folder / "stub") as (target, connect):
        for _ in range(options.runs):
            rows["elfload"].append(load(options.elfload, "--target", target, "--verify", "none", file))
            one, both = gdb_load(target, file, folder)
            rows["gdb load"].append(one)
            rows["gdb load, compare-sections"].append(both)
            rows["elfload --verify full"].append(load(options.elfload, "--target", target, file))
        with Client(connect()) as client:
            if client.memory(ADDRESS, len(data)) != data:
                sys.exit("the target does not hold the file")
    print(f"{options.size} bytes over one QEMU stub, median of {options.runs} runs:")
    for name, seconds in rows.items():
        middle = statistics.median(seconds)
        print(f"  {name:28} {middle * 1e3:8.1f} ms  {options.size / middle / 1e6:7.2f} MB/s")
    for ours, theirs in (("elfload", "gdb load"), ("elfload --verify full", "gdb load, compare-sections")):
        print(f"  {ours} : {theirs} = {statistics.median(rows[ours]) / statistics.median(rows[theirs]):.2f}")


def load_into_memory(options, folder):
    print(f"into mem, median of {options.runs} runs:")
    for size in (options.size, 16 * options.size, 128 * options.size):
        file = folder / "large.elf"
        file.write_bytes(elf_file(EM_PPC, [(ADDRESS, ADDRESS, os.urandom(size), size, 5)], ADDRESS))
        for verify in ("none", "full"):
            middle = statistics.median(load(options.elfload, "--verify", verify, file) for _ in range(options.runs))
            print(f"  {size:>10} bytes, --verify {verify}  {size / middle / 1e9:6.2f} GB/s")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", default="build/release/elfload")
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--size", type=int, default=1 << 20, help="bytes of the file; at most 15 MiB")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        compare_with_gdb(options, pathlib.Path(name))
        load_into_memory(options, pathlib.Path(name))


if __name__ == "__main__":
    main()
