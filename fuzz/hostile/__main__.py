"""Makes files that are meant to keep a debugger waiting or to fill its memory, and runs elfload on each.

    python3 fuzz/hostile --elfload build/release/elfload [--sizes 20000,250000] [--only KIND] [--markdown]

Fails when a run takes more than the bound, ends by a signal or does not end, and when a sound file is not read:

    seconds of the processor    2 us for each byte of the file, and 20 ns for each byte written
    memory                      32 MiB and 256 bytes for each byte of the file, beside what the process itself takes

A run that has written 1 GB is stopped, and has to be within the bound of what it had written by then. No file of less
than 50 KB asks for so much: there it is a run that does not end.
"""
import argparse
import json
import os
import shutil
import sys
import tempfile
from typing import NamedTuple

import dwarf2_units  # noqa: F401  the modules enter their kinds, in the order of the table
import dwarf2_entries  # noqa: F401
import dwarf2_lines  # noqa: F401
import dwarf5_entries  # noqa: F401
import dwarf5_sections  # noqa: F401
import dwarf1  # noqa: F401
import elf_files  # noqa: F401
from formats import Formats
from kinds import DUMP, STATS, kinds
from measure import Run, in_child, run

SECONDS_PER_BYTE, SECONDS_PER_BYTE_WRITTEN = 2e-6, 20e-9
MEMORY, MEMORY_PER_BYTE = 32 << 20, 256
SHORT = 50000  # bytes: with half of them as a name for each ten, and all of it escaped, 750 MB are written
ORDERS = {"little": "<", "big": ">"}


class Judge:
    """The bound, and what the process itself takes: the peak that it reports for a small sound file."""

    def __init__(self, options, folder):
        self.options = options
        self.path = os.path.join(folder, "hostile.elf")
        self.out = os.path.join(folder, "out")
        self.fixed_memory = 0
        sound = next(kind for kind in kinds if kind.sound)
        self.make(sound, "<", 1000)
        small = self.run(STATS)
        if small.status != 0:
            sys.exit(f"{options.elfload} does not read a sound file: status {small.status}, {small.output.decode()}")
        self.fixed_memory = json.loads(small.output)["peakBytes"]["fill"]

    def make(self, kind, order, size):
        """Writes the file, and beside it what `stats` has to count in it if it is sound."""
        def write():
            data = kind.make(Formats(order), size)
            data, counts = data if kind.sound else (data, None)
            counts = counts if self.options.rules in kind.sound else None
            with open(self.path, "wb") as file:
                file.write(data)
            with open(self.path + ".counts", "w", encoding="utf-8") as file:
                json.dump(counts, file)
        in_child(write)

    def run(self, command):
        words = [word.replace("FILE", self.path).replace("OUT", self.out) for word in command.split()]
        out = next((word for word in words if word.startswith(self.out)), None)
        return run([self.options.elfload, "--rules", self.options.rules, *words], self.options.timeout,
                   self.options.most_written, out, ceiling=not self.options.sanitized)

    def faults(self, command, result):
        """What is wrong with a run, and which part of its bound it took."""
        size, factor = os.path.getsize(self.path), self.options.factor
        seconds = factor * (SECONDS_PER_BYTE * size + SECONDS_PER_BYTE_WRITTEN * result.written)
        memory = factor * (MEMORY + MEMORY_PER_BYTE * size) + self.fixed_memory
        is_ended = result.hung or result.stopped  # by the maker
        rows = [("does not end", result.hung or (result.stopped and size < SHORT)),
                (f"crash, status {result.status}", not is_ended and result.status not in (0, 1)),
                ("time", result.seconds > seconds),
                ("memory", result.memory > memory and not self.options.sanitized),
                ("not read", command == STATS and not self.holds_all(result))]
        share = max(result.seconds / max(seconds, 1e-9), result.memory / memory if result.memory > result.least else 0)
        return [what for what, is_so in rows if is_so], share + 1000 * result.hung

    def holds_all(self, result):
        with open(self.path + ".counts", encoding="utf-8") as file:
            counts = json.load(file)
        if counts is None:
            return True
        try:
            stats = json.loads(result.output)
        except ValueError:
            return False
        found = {name: stats["counts"][name] for name in counts}
        return result.status == 0 and stats["build"] == 1 and stats["failedFills"] == 0 and found == counts


def text_of(kind, command, size, order, result, faults):
    return (f"{kind.name} | {command[:60]} | {size} {order} | {result.seconds:.3f} s | "
            f"{result.memory / 2**20:.1f} MiB | {result.written} written{', stopped' * result.stopped} | "
            f"{', '.join(faults) or 'ok'}")


class Judged(NamedTuple):
    """A run; of several the one that broke its bound or came nearest to it is the greatest."""
    is_faulty: bool
    share: float  # of its bound
    faults: tuple
    size: int  # of the file
    result: Run


def cell(wanted, run):
    """Time, memory and what makes a run unlike the others: much written, a file that cannot be as long as wanted."""
    is_seen = run.result.memory > run.result.least
    memory = f"{run.result.memory / 2**20:.0f}" if is_seen else f"under {run.result.least / 2**20:.0f}"
    text = f"{run.result.seconds:.2f} s, {memory} MiB"
    if run.result.written > 1e6:
        text += f", {run.result.written / 1e6:.0f} MB out"
    if run.result.stopped:
        text += ", stopped"
    return text if run.size > 0.8 * wanted else f"{text} (file of {run.size // 1000} KB)"


def markdown(kinds_run, sizes):
    """A row a kind: the command that came nearest to its bound at any size, and how near; of both orders the worse."""
    heads = [f"{size / 1e6:g} MB" if size >= 1e6 else f"{size / 1e3:g} KB" for size in sizes]
    print(" | ".join(["| Kind of file", "Command", *heads, "Of the bound |"]))
    print("|---" * (len(sizes) + 3) + "|")
    for name, commands in kinds_run.items():
        command, runs = max(commands.items(), key=lambda item: max(item[1].values()))
        nearest = max(runs.values())
        words = command.replace("OUT", "out").replace("FILE", "file").split()
        command = " ".join(words if len(words) < 10 else [*words[:3], f"... ({len(words) - 2} names)"])
        cells = [cell(size, runs[size]) if size in runs else "not run" for size in sizes]
        verdict = ", ".join([f"{nearest.share:.0%}", *nearest.faults])
        print(" | ".join([f"| {name}", f"`{command}`", *cells, f"{verdict} |"]))


def run_kind(judge, kind, options):
    """Yields every run of a kind, up to one that does not end: the others would not either."""
    for size in options.sizes:
        for place, order in enumerate(options.orders):
            judge.make(kind, ORDERS[order], size)
            for number, command in enumerate(kind.commands):
                if options.quick and number % len(options.orders) != place:
                    continue
                result = judge.run(command)
                if judge.faults(command, result)[0] == ["time"]:  # the machine may have been at other work
                    result = min(result, judge.run(command), key=lambda run: run.seconds)
                yield size, order, command, result
                if result.hung:
                    return


def run_all(options, folder):
    """The greatest run of each kind, command and size, and how many broke the bound."""
    judge = Judge(options, folder)
    print(f"The process itself takes {judge.fixed_memory / 2**20:.1f} MiB.", file=sys.stderr, flush=True)
    kinds_run, broken = {}, 0
    for kind in kinds:
        if options.only and options.only not in kind.name:
            continue
        commands = kinds_run.setdefault(kind.name, {})
        for size, order, command, result in run_kind(judge, kind, options):
            faults, share = judge.faults(command, result)
            broken += bool(faults)
            if faults or options.verbose:
                print(text_of(kind, command, size, order, result, faults), file=sys.stderr, flush=True)
            run = Judged(bool(faults), share, tuple(faults), os.path.getsize(judge.path), result._replace(output=b""))
            runs = commands.setdefault(command, {})
            runs[size] = max(run, runs.get(size, run))
    return kinds_run, broken


def self_test(options, folder):
    """Whether each failure is reported, and a run without one is not."""
    options.sizes, options.orders, options.only = [20000], ["little"], "sound units of 13"
    options.factor = 0
    _, broken = run_all(options, folder)
    options.factor = 10
    judge = Judge(options, folder)
    judge.make(kinds[0], "<", 20000)
    result = judge.run(STATS)
    changes = {"time": {"seconds": 1e6}, "memory": {"memory": 1 << 40}, "does not end": {"hung": True},
               "crash, status -11": {"status": -11}, "not read": {"status": 1}}
    checks = {fault: fault in judge.faults(STATS, result._replace(**change))[0] for fault, change in changes.items()}
    checks["runs against a bound of nothing"] = broken != 0
    options.most_written = 1000
    checks["does not end, of one that only writes"] = judge.faults(DUMP, judge.run(DUMP))[0] == ["does not end"]
    judge.make(kinds[0], "<", 2 * SHORT)
    stopped = judge.run(DUMP)
    checks["time of a run that was stopped"] = judge.faults(DUMP, stopped._replace(seconds=1e6))[0] == ["time"]
    checks["nothing of a good run that was stopped"] = judge.faults(DUMP, stopped)[0] == []
    judge.make(kinds[0], "<", 20000)
    checks["nothing of a good run"] = judge.faults(STATS, result)[0] == []
    for what, is_right in checks.items():
        print(f"{what}: {'reported' if is_right else 'NOT REPORTED'}")
    return all(checks.values())


def parse():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--elfload", required=True, type=os.path.abspath)
    parser.add_argument("--sizes", default="20000,250000,500000,1000000", help="of the files in bytes, roughly")
    parser.add_argument("--rules", default="loader", choices=("loader", "published"))
    parser.add_argument("--orders", default="little,big")
    parser.add_argument("--only", metavar="KIND", help="kinds whose name has this part")
    parser.add_argument("--factor", type=float, default=1, help="of the bound")
    parser.add_argument("--timeout", type=int, default=60, help="seconds of the processor for a run")
    parser.add_argument("--most-written", type=int, default=10**9, help="bytes after which a run is stopped")
    parser.add_argument("--sanitized", action="store_true", help="do not judge memory: sanitizers take their own")
    parser.add_argument("--quick", action="store_true", help="run each command on one byte order, by turns")
    parser.add_argument("--markdown", action="store_true", help="print the table of docs/robustness.md")
    parser.add_argument("--verbose", action="store_true", help="print every run")
    parser.add_argument("--list", action="store_true", help="print the kinds and their commands")
    parser.add_argument("--self-test", action="store_true", help="show that what breaks the bound is reported")
    options = parser.parse_args()
    options.sizes = [int(size) for size in options.sizes.split(",")]
    options.orders = options.orders.split(",")
    return options


def main():
    options = parse()
    if options.list:
        for kind in kinds:
            print(f"{kind.name}: {', '.join(kind.commands)}")
        return 0
    folder = tempfile.mkdtemp(dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
    try:
        if options.self_test:
            return 0 if self_test(options, folder) else 1
        kinds_run, broken = run_all(options, folder)
    finally:
        shutil.rmtree(folder)
    if options.markdown:
        markdown(kinds_run, options.sizes)
    print(f"{len(kinds_run)} kinds, {broken} runs broke the bound", file=sys.stderr)
    return 1 if broken or not kinds_run else 0


if __name__ == "__main__":
    sys.exit(main())
