#!/usr/bin/env python3
"""Compares the reader with its peers on the same files, in turns, by CPU time.

    compare.py [--build FOLDER] [--runs N] [--skip STAGE]... FILE...

Stages: fill and open against libdw and against the limit; cold look-ups, whole
process against whole process, against gdb-multiarch and addr2line; the JSON dump
against readelf; growth over generated files. Every number is the median of the
runs; in each run all programs take their turn, so that a busy machine bothers all
of them alike. FOLDER is a release build with ELFLOAD_BENCH (build/bench).
"""

import argparse
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile

SYMBOLS_TRIED = 500
STAGES = ("fill", "lookup", "dump", "growth")


class Failed(Exception):
    """A program did not do what it is measured for."""


class Run:
    """CPU seconds, peak memory in bytes and output of one child process."""

    def __init__(self, launcher, command, keep_output=True):
        output = subprocess.PIPE if keep_output else subprocess.DEVNULL
        with tempfile.NamedTemporaryFile("r") as usage_file:
            done = subprocess.run([launcher, usage_file.name, *command], stdout=output, stderr=subprocess.DEVNULL,
                                  check=False)
            if done.returncode != 0:
                raise Failed(f"{' '.join(command)}: exit status {done.returncode}")
            usage = json.load(usage_file)
        self.output = done.stdout or b""
        self.cpu = usage["cpuSeconds"]
        self.peak = usage["peakBytes"]

    def document(self):
        return json.loads(self.output)


def median(values):
    return statistics.median(list(values))


def ratio(numerator, denominator):
    return numerator / denominator if denominator > 0 else float("nan")


def milliseconds(seconds):
    return f"{seconds * 1e3:10.2f} ms"


def megabytes(count):
    return f"{count / 1e6:8.1f} MB"


class Table:
    """Lines of a report, aligned."""

    def __init__(self, title):
        print(f"\n{title}")

    def row(self, what, value, note=""):
        print(f"  {what:<44}{value:>16}  {note}".rstrip())

    def goal(self, what, value, met, goal):
        self.row(what, f"{value:.2f}", f"goal {goal}: {'met' if met else 'MISSED'}")


class Comparison:
    def __init__(self, build, runs, rules):
        self.build = build
        self.runs = runs
        self.rules = rules

    def tool(self, name):
        path = os.path.join(self.build, name)
        if not os.path.exists(path):
            raise Failed(f"{path} is not built")
        return path

    def elfload(self, *arguments):
        return [self.tool("elfload"), "--rules", self.rules, *arguments]

    def in_turns(self, *commands, keep_output=True):
        """One list of runs for each command."""
        results = [[] for _ in commands]
        for _ in range(self.runs):
            for command, runs in zip(commands, results):
                runs.append(Run(self.tool("measured_run"), command, keep_output))
        return results

    # Each phase's median; the sum of phases is taken per run, then its median.
    @staticmethod
    def phases(runs, seconds):
        documents = [seconds(run.document()) for run in runs]
        result = {name: median(d[name] for d in documents) for name in documents[0]}
        result["sum"] = median(sum(d.values()) for d in documents)
        return result

    def fill(self, path):
        """Open, Build and fill against libdw and the limit. libdw keeps nothing of what it has visited: what it is compared
        with is the fill of one unit after the other, each released when the next one comes. It is measured with
        dwarf_getlocations, which decodes the operations of location lists, and without."""
        ours_runs, kept_runs, peer_runs, peer_raw_runs, peer_open_runs, limit_runs = self.in_turns(
            self.elfload("stats", "--json", "--jobs", "1", "--release", path),
            self.elfload("stats", "--json", "--jobs", "1", path),
            [self.tool("libdw_peer"), "fill", path],
            [self.tool("libdw_peer"), "fill-raw", path],
            [self.tool("libdw_peer"), "open", path],
            [self.tool("elfload_limit"), path],
        )
        ours = self.phases(ours_runs, lambda d: {k: v["cpu"] for k, v in d["seconds"].items()})
        kept = self.phases(kept_runs, lambda d: {k: v["cpu"] for k, v in d["seconds"].items()})
        peer = self.phases(peer_runs, lambda d: d["cpuSeconds"])
        peer_raw = self.phases(peer_raw_runs, lambda d: d["cpuSeconds"])
        peer_open = self.phases(peer_open_runs, lambda d: d["cpuSeconds"])
        limit = self.phases(limit_runs, lambda d: d["cpuSeconds"])
        counts = ours_runs[0].document()["counts"]
        walked = peer_runs[0].document()["counts"]
        skipped = limit_runs[0].document()["counts"]
        if skipped["entries"] != walked["entries"]:
            raise Failed(f"{path}: the limit has {skipped['entries']} entries, libdw {walked['entries']}")
        raw_locations = peer_raw_runs[0].document()["counts"]["locations"]
        # dwarf_getlocations leaves out what is empty, and the rest of a list in which it finds a fault.
        if not walked["locations"] <= raw_locations <= 1.01 * walked["locations"]:
            raise Failed(f"{path}: {walked['locations']} locations by dwarf_getlocations, {raw_locations} by their bytes")
        bare = limit["entries"] + limit["lines"]
        peer_fill = peer["entries"] + peer["lines"]
        peer_raw_fill = peer_raw["entries"] + peer_raw["lines"]
        ours_open = ours["open"] + ours["build"]

        table = Table(f"{path}: {os.path.getsize(path) / 1e6:.1f} MB, {walked['units']} units, "
                      f"{walked['entries']} entries, {walked['locations']} locations, {walked['rows']} rows")
        table.row("open, Build", milliseconds(ours_open))
        table.row("open, Build: libdw", milliseconds(peer_open["sum"]))
        table.row("fill, units released", milliseconds(ours["fill"]))
        table.row("fill, units kept", milliseconds(kept["fill"]))
        table.row("fill: libdw, entries", milliseconds(peer["entries"]))
        table.row("fill: libdw, entries, no dwarf_getlocations", milliseconds(peer_raw["entries"]))
        table.row("fill: libdw, lines", milliseconds(peer["lines"]))
        table.row("fill: limit, entries", milliseconds(limit["entries"]))
        table.row("fill: limit, lines", milliseconds(limit["lines"]))
        table.goal("fill: libdw / ours", ratio(peer_fill, ours["fill"]), peer_fill >= 5 * ours["fill"], "5 at least")
        table.row("the same, no dwarf_getlocations", f"{ratio(peer_raw_fill, ours['fill']):.2f}")
        table.goal("open + Build + fill: libdw / ours", ratio(peer["sum"], ours["sum"]),
                   peer["sum"] >= 5 * ours["sum"], "5 at least")
        table.goal("fill, units kept: libdw / ours", ratio(peer_fill, kept["fill"]), peer_fill >= 5 * kept["fill"],
                   "5 at least")
        table.goal("fill: ours / limit", ratio(ours["fill"], bare), ours["fill"] <= 5 * bare, "5 at most")
        table.goal("open + Build: ours / libdw", ratio(ours_open, peer_open["sum"]),
                   ours_open <= peer_open["sum"], "1 at most")
        nanoseconds = ours["fill"] * 1e9
        table.row("ns of fill an entry", f"{ratio(nanoseconds, walked['entries']):.1f}",
                  f"libdw {ratio(peer_fill * 1e9, walked['entries']):.1f}, "
                  f"limit {ratio(bare * 1e9, walked['entries']):.1f}")
        table.row("ns of fill a location", f"{ratio(nanoseconds, counts['locations']):.1f}")
        table.row("ns of fill a row", f"{ratio(nanoseconds, counts['lineRows']):.1f}")
        peak = median(run.peak for run in ours_runs)
        peer_peak = median(run.peak for run in peer_runs)
        open_peak = median(run.document()["peakBytes"]["build"] for run in ours_runs)
        kept_peak = median(run.peak for run in kept_runs)
        table.row("peak memory of fill", megabytes(peak), f"libdw {megabytes(peer_peak).strip()}")
        table.row("the same, units kept", megabytes(kept_peak))
        table.goal("peak memory of fill: ours / libdw", ratio(peak, peer_peak), peak <= peer_peak, "1 at most")
        table.goal("the same, units kept", ratio(kept_peak, peer_peak), kept_peak <= peer_peak, "1 at most")
        table.row("peak memory of open + Build", megabytes(open_peak))
        table.goal("the same / size of the file", ratio(open_peak, os.path.getsize(path)),
                   open_peak <= os.path.getsize(path) / 10, "0.1 at most")

    def subject(self, path):
        """A function in the last unit that has an indexed name, and its address, as readelf lists them."""
        listing = subprocess.run(["readelf", "-sW", path], stdout=subprocess.PIPE, check=True).stdout.decode()
        symbols = {}
        for line in listing.splitlines():
            fields = line.split()
            if len(fields) == 8 and fields[3] == "FUNC" and fields[4] == "GLOBAL" and int(fields[1], 16) != 0:
                symbols[fields[7]] = int(fields[1], 16)
        plain = subprocess.run(["c++filt", "-p"], input="\n".join(symbols).encode(), stdout=subprocess.PIPE, check=True)
        symbols = dict(zip(plain.stdout.decode().splitlines(), symbols.values()))
        names = [name for name in symbols if re.fullmatch(r"[A-Za-z]\w*(::\w+)*", name)]
        for name in names[:-SYMBOLS_TRIED:-1]:
            found = subprocess.run(self.elfload("find", "--json", path, name),
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
            if found.returncode == 0:
                return name, symbols[name]
        raise Failed(f"{path}: no function that elfload finds by name")

    def lookup(self, path):
        """Cold look-ups: the whole process."""
        name, address = self.subject(path)
        ours, gdb, ours_address, addr2line = self.in_turns(
            self.elfload("find", path, name),
            ["gdb-multiarch", "-nx", "-batch", "-ex", f"info address {name}", path],
            self.elfload("where", path, hex(address)),
            ["addr2line", "-e", path, hex(address)],
        )
        if name.encode() not in gdb[0].output:
            raise Failed(f"gdb does not know {name}")
        table = Table(f"{path}: cold look-ups of {name} and 0x{address:x}, whole process")
        cpu = [median(run.cpu for run in runs) for runs in (ours, gdb, ours_address, addr2line)]
        table.row("elfload find", milliseconds(cpu[0]))
        table.row("gdb-multiarch, info address", milliseconds(cpu[1]))
        table.goal("by name: gdb / ours", ratio(cpu[1], cpu[0]), cpu[1] >= 10 * cpu[0], "10 at least")
        table.row("elfload where", milliseconds(cpu[2]), ours_address[0].output.decode().strip())
        table.row("addr2line", milliseconds(cpu[3]), addr2line[0].output.decode().strip())
        table.goal("by address: addr2line / ours", ratio(cpu[3], cpu[2]), cpu[3] > cpu[2], "above 1")

    def dump(self, path):
        """The whole file as text, to nowhere."""
        ours, peer = self.in_turns(
            self.elfload("dump", "--json", "--jobs", "1", path),
            ["readelf", "--debug-dump=info,decodedline", path],
            keep_output=False,
        )
        table = Table(f"{path}: the whole file as text")
        cpu = [median(run.cpu for run in runs) for runs in (ours, peer)]
        table.row("elfload dump --json", milliseconds(cpu[0]), megabytes(median(run.peak for run in ours)))
        table.row("readelf --debug-dump=info,decodedline", milliseconds(cpu[1]),
                  megabytes(median(run.peak for run in peer)))
        table.goal("readelf / ours", ratio(cpu[1], cpu[0]), cpu[1] >= 2 * cpu[0], "2 at least")

    def growth(self):
        """Time against size, over generated files."""
        with tempfile.TemporaryDirectory() as folder:
            self.grow(folder, "units", 2000, 16000, 9.0, False)
            self.grow(folder, "structures", 1000, 64000, 1.5, True)

    def grow(self, folder, shape, small, large, limit, per_one):
        paths = [os.path.join(folder, f"{shape}-{count}.elf") for count in (small, large)]
        for count, path in zip((small, large), paths):
            subprocess.run([self.tool("elfload_generate"), shape, str(count), path], check=True)
        runs = self.in_turns(*(self.elfload("stats", "--json", "--jobs", "1", path) for path in paths))
        table = Table(f"growth: {small} and {large} {shape}")
        for phases in (("open", "build"), ("fill",)):
            small_time, large_time = (
                median(sum(run.document()["seconds"][p]["cpu"] for p in phases) for run in each) for each in runs)
            grown = ratio(large_time, small_time)
            if per_one:
                grown /= large / small
            if shape == "structures" and phases != ("fill",):
                continue
            table.row(" + ".join(phases), milliseconds(small_time), milliseconds(large_time).strip())
            table.goal("time per one, large / small" if per_one else "time, large / small", grown, grown <= limit,
                       f"{limit} at most")


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=os.path.join(root, "build", "bench"), metavar="FOLDER")
    parser.add_argument("--runs", type=int, default=5, metavar="N")
    parser.add_argument("--rules", default="loader", choices=("loader", "published"))
    parser.add_argument("--skip", action="append", default=[], choices=STAGES)
    parser.add_argument("files", nargs="*", metavar="FILE")
    options = parser.parse_args()
    comparison = Comparison(options.build, max(1, options.runs), options.rules)
    status = 0
    stages = [(getattr(comparison, stage), (path,)) for path in options.files
              for stage in STAGES[:3] if stage not in options.skip]
    if "growth" not in options.skip:
        stages.append((comparison.growth, ()))
    for stage, arguments in stages:
        try:
            stage(*arguments)
        except (Failed, FileNotFoundError) as error:
            print(f"compare.py: {error}", file=sys.stderr)
            status = 1
        sys.stdout.flush()
    return status


if __name__ == "__main__":
    sys.exit(main())
