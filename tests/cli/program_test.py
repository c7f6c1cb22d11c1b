#!/usr/bin/env python3
"""Runs elfload on the sample and on damaged copies of it: documents, texts, exit status, messages.

    program_test.py --elfload PATH SAMPLES
"""
import json
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

ELFLOAD = SAMPLE = DWARF1 = KILN = None


def run(*arguments, rules="loader", **environment):
    """`rules` None leaves the option out."""
    clean = {key: value for key, value in os.environ.items() if key not in ("NO_COLOR", "AUTOTEST", "DWARFRULES")}
    chosen = ["--rules", rules] if rules else []
    return subprocess.run([ELFLOAD, *chosen, *map(str, arguments)], capture_output=True, check=False, stdin=subprocess.DEVNULL,
                          env={**clean, **environment})


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def document(self, *arguments, status=0, **environment):
        result = run(*arguments, **environment)
        self.assertEqual(result.returncode, status, result.stderr)
        return json.loads(result.stdout.decode("utf-8"))

    def damaged(self, name, change):
        """A copy of the sample with `change(bytes)` applied."""
        path = self.folder / name
        data = bytearray(SAMPLE.read_bytes())
        path.write_bytes(change(data) or data)
        return path

    def test_references_lead_to_types_of_the_module_or_to_shared_ones(self):
        for path in (SAMPLE, DWARF1):
            dump = self.document("dump", "--json", path)
            references = set(re.findall(r'"(?:type|returnType|element)": "([^"]*)"', json.dumps(dump)))
            shared = {reference[7:] for reference in references if reference.startswith("shared:")}
            for reference in references:
                self.assertRegex(reference, r"^((M\d+\.)?T\d+|shared:.+)$")
            self.assertLessEqual(shared, {record["name"] for record in dump["sharedTypes"]})

    def test_dump_of_some_modules_fills_and_writes_only_those(self):
        whole = self.document("dump", "--json", SAMPLE)
        some = self.document("dump", "--json", "--module", "3", "--module", "main.c", SAMPLE)
        self.assertEqual([module["name"] for module in some["modules"]], ["main.c", "log.c"])
        self.assertEqual(some["modules"], [whole["modules"][1], whole["modules"][3]])
        missing = self.document("dump", "--json", "--module", "9", "--module", "led.c", SAMPLE, status=1)
        self.assertEqual([module["name"] for module in missing["modules"]], ["led.c"])
        self.assertIn(b"no unit 9", run("dump", "--module", "9", SAMPLE).stderr)

    def test_a_dwarf_1_file_with_merged_units(self):
        modules = self.document("dump", "--json", DWARF1)["modules"]
        self.assertEqual([module["name"] for module in modules[1]["ext"]["mergedModules"]], ["main.c", "main.c"])
        # A unit's variables move to the one that it is merged into, its types stay with it.
        variables = {variable["name"]: variable for variable in modules[1]["vars"]}
        self.assertEqual([variables[name]["type"] for name in ("pump_status", "seen")], ["T4", "M0.T1"])
        self.assertEqual(variables["ticks"]["location"][0]["expression"], "0300020006")
        self.assertIn("merged unit: main.c", run("dump", DWARF1).stdout.decode())
        found = self.document("find", "--json", DWARF1, "pump_status", "0x1290", "jobs")
        self.assertEqual([result["module"] for result in found["results"]], [1, 1, 3])

    def test_text_is_written_as_a_c_programmer_would(self):
        text = run("dump", SAMPLE).stdout.decode()
        for wanted in ("void log_add(enum log_level level, const char *text, long number)", "+0  struct log_event *next",
                       "int (*put)(int)", "DW_OP_reg3", "unit 1: main.c", "0x00000470..0x000004A8"):
            self.assertIn(wanted, text)
        self.assertNotIn("\x1b", text)
        colored = run("dump", "--color", "always", SAMPLE, NO_COLOR="1").stdout.decode()
        self.assertIn("\x1b[", colored)
        self.assertEqual(re.sub("\x1b\\[[0-9;]*m", "", colored), text)

    def test_find_lists_which_modules_it_filled(self):
        found = self.document("find", "--json", SAMPLE, "main", "0x3a0", "nobody", "928", "log_add", status=1)
        self.assertEqual(list(found), ["file", "build", "results", "messages"])
        self.assertEqual([tuple(result.values()) for result in found["results"]],
                         [("main", 1, 1, [1]), ("0x3a0", 1, 2, [2]), ("nobody", 0, None, []), ("928", 1, 2, []),
                          ("log_add", 1, 3, [3])])
        text = run("find", "--verbose", SAMPLE, "main")
        self.assertEqual((text.returncode, text.stdout.split()), (0, [b"main", b"unit", b"1", b"main.c"]))
        self.assertIn(b"filled unit 1 main.c: its index of names has it", text.stderr)

    def test_find_without_an_index_fills_up_to_the_match(self):
        path = self.damaged("noindex.elf", lambda data: data.replace(b".debug_pubnames\0", b".debug_bupnames\0"))
        found = self.document("find", "--json", "--kind", "code", path, "led_step", "main")
        self.assertEqual([result["filled"] for result in found["results"]], [[0, 1, 2], []])
        data = self.document("find", "--json", "--kind", "data", path, "led_step", status=1)
        self.assertEqual(data["results"][0]["filled"], [0, 1, 2, 3])

    def test_where(self):
        answer = self.document("where", "--json", SAMPLE, "0x3a0", "0x100", "0x5a8", status=1)
        keys = ["address", "found", "module", "decidedBy", "procedure", "row", "filled"]
        self.assertEqual([list(result) for result in answer["results"]], [keys] * 3)
        led, start, nothing = answer["results"]
        self.assertEqual((led["module"], led["decidedBy"], led["filled"]), (2, "finder", [2]))
        self.assertEqual((led["procedure"]["name"], led["procedure"]["offset"]), ("led_step", 0x14))
        self.assertEqual((led["row"]["fileName"], led["row"]["line"]), ("led.c", 27))
        self.assertEqual((start["module"], start["procedure"]["name"]), (0, "reset"))
        self.assertEqual((nothing["found"], nothing["module"], nothing["filled"]), (0, None, []))
        text = run("where", "--verbose", SAMPLE, "0x3a0")
        self.assertEqual(text.stdout.split(), [b"0x000003A0", b"led_step+0x14", b"led.c:27"])
        self.assertIn(b"filled unit 2 led.c: its range holds the address", text.stderr)
        self.assertIn(b"decided by the finder", text.stderr)

    def test_rules(self):
        # A DW_LNS_set_prologue_end becomes DW_LNS_const_add_pc, which makes a row by the loader's rules alone.
        path = self.damaged("lines.elf", lambda data: data.replace(b"\x0a\x03\x78\x3c", b"\x08\x03\x78\x3c"))

        def rows(*arguments, **environment):
            dump = self.document("dump", "--json", path, *arguments, rules=None, **environment)
            return sum(block["count"] for module in dump["modules"] for block in module["lineBlocks"])

        loader, published = rows("--rules", "loader"), rows("--rules", "published")
        self.assertEqual(loader, published + 1)
        self.assertEqual([rows(), rows(DWARFRULES="LOADER"), rows("--rules", "published", DWARFRULES="loader")],
                         [published, loader, published])

    def test_several_threads_write_what_one_writes(self):
        def corrupt(data):
            info = run("section", SAMPLE, ".debug_info").stdout
            at = bytes(data).index(info)
            dump = self.document("dump", "--json", SAMPLE)["modules"]
            for unit in (1, 3):
                data[at + dump[unit]["types"][0]["key"]] = 0x7F  # no such abbreviation

        for path in (SAMPLE, DWARF1, self.damaged("corrupt.elf", corrupt)):
            for form in ([], ["--json"]):
                one, *several = (run("dump", *form, "--jobs", jobs, path, rules="published") for jobs in "1239")
                for other in several:
                    self.assertEqual((other.returncode, other.stdout, other.stderr),
                                     (one.returncode, one.stdout, one.stderr))
            one, several = ([document[key] for key in ("counts", "failedFills", "messages")] for document in (
                json.loads(run("stats", "--json", "--jobs", jobs, path, rules="published").stdout) for jobs in "13"))
            self.assertEqual(several, one)
        self.assertEqual((several[1:]), [2, ["!Warning: Error in object file (debug information)"]])

    def test_units_that_cannot_be_read_cost_themselves(self):
        info = run("section", SAMPLE, ".debug_info").stdout
        offset = SAMPLE.read_bytes().index(info)
        path = self.damaged("version.elf", lambda data: data.__setitem__(offset + 5, 9))  # of the first unit
        text = run("modules", path, rules="published")
        self.assertEqual(text.returncode, 1)
        self.assertEqual(text.stderr.decode().count(".debug_info+"), 1, text.stderr)
        for command in (["info"], ["modules"], ["dump"], ["stats"], ["find", "main"], ["where", "0x3a0"]):
            result = run(command[0], "--json", path, *command[1:], rules="published")
            document = json.loads(result.stdout)
            self.assertEqual(result.returncode, 1, command)
            self.assertEqual(document["failure"]["section"], ".debug_info", command)
            self.assertEqual(len(document["messages"]), 1, command)
            self.assertEqual(document.get("build", 1), 1)
        modules = self.document("modules", "--json", path, status=1, rules="published")["modules"]
        self.assertEqual([module["name"] for module in modules], ["main.c", "led.c", "log.c"])

    def test_info_names_rules_versions_producers_and_indexes(self):
        published, loader = (self.document("info", "--json", SAMPLE, rules=rules) for rules in ("published", "loader"))
        self.assertEqual([(info["rules"], info["indexes"][:2]) for info in (published, loader)],
                         [(rules, [".debug_aranges", ".debug_pubnames"]) for rules in ("published", "loader")])
        self.assertEqual((published["versions"], loader["versions"], loader["producers"]),
                         ([{"version": 2, "units": 4, "partialUnits": 0, "typeUnits": 0}], [], []))
        self.assertEqual([row["units"] for row in published["producers"]], [4])
        text = run("info", SAMPLE, rules="published").stdout.decode()
        self.assertIn("debug format  DWARF 2 (4 units)\nrules         published\nproducers     " +
                      published["producers"][0]["producer"] + " (4 units)\n", text)

    def test_where_goes_on_when_the_unit_range_leaves_code_out(self):
        def shrink(data):
            at = data.index(bytes.fromhex("000002c8000003f8"))  # low and high address of led.c's unit
            data[at:at + 8] = bytes.fromhex("000002c8000002d0")

        path = self.damaged("range.elf", shrink)
        result = self.document("where", "--json", path, "0x3a0")["results"][0]
        self.assertEqual((result["decidedBy"], result["procedure"]["name"]), ("addrRanges", "led_step"))
        data = bytearray(path.read_bytes())
        path.write_bytes(data.replace(b".debug_aranges\0", b".debug_ranagas\0"))
        result = self.document("where", "--json", path, "0x3a0")["results"][0]
        self.assertEqual((result["decidedBy"], result["procedure"]["name"]), ("procedures", "led_step"))

    def test_info_and_modules(self):
        info = self.document("info", "--json", SAMPLE)
        self.assertEqual(info["entry"], 0x100)
        self.assertEqual((info["noteValue"], info["noteText"]), (16, None))
        self.assertIn(".debug_info", [section["name"] for section in info["sections"]])
        self.assertEqual((info["segments"][0]["vaddr"], "damage" in info), (0x100, False))
        self.assertIn(b"big-endian", run("info", SAMPLE).stdout)
        modules = self.document("modules", "--json", SAMPLE)
        self.assertEqual([module["name"] for module in modules["modules"]], ["start.c", "main.c", "led.c", "log.c"])
        self.assertEqual(modules["modules"][2]["addrRanges"], [[0x2C8, 0x3F7], [0x5B5, 0x5CC]])
        self.assertEqual(modules["modules"][2]["globalNames"], 12)
        self.assertEqual(run("modules", SAMPLE).stdout.splitlines()[3].split(),
                         [b"2", b"led.c", b"0x000002C8..0x000003F8", b"C", b"12", b"2", b"/blinky"])

    def test_info_shows_what_is_sound_of_damaged_tables(self):
        sound = self.document("info", "--json", SAMPLE)
        table = int.from_bytes(SAMPLE.read_bytes()[32:36], "big")
        count = len(sound["sections"]) + 1
        last = table + 40 * (count - 1)  # the names' own header

        def damage(data):
            data[49] += 2  # e_shnum
            data[table + 80:table + 84] = b"\x7f\xff\xff\xff"  # the second section's name
            data[last + 20:last + 24] = (int.from_bytes(data[last + 20:last + 24], "big") - 1).to_bytes(4, "big")

        path = self.damaged("tables.elf", damage)
        self.assertEqual(len(path.read_bytes()), last + 40)
        info = self.document("info", "--json", path, status=1)
        self.assertEqual(info["sections"][:1] + info["sections"][2:-1], sound["sections"][:1] + sound["sections"][2:-1])
        self.assertEqual(info["sections"][1]["name"], "")
        reasons = [f"the table of sections runs past the end of the file: {count} of its {count + 2} entries are shown",
                   f"names outside the section of names, left out: 1 of {count - 1}"]
        self.assertEqual(info["damage"][:2], reasons)
        text = run("info", path)
        self.assertEqual(text.returncode, 1)
        self.assertIn(f"damaged: {reasons[0]}\n", text.stdout.decode())

    def test_info_is_bounded_where_names_overlap(self):
        names, count = b"\0" + b"x" * 100000 + b"\0", 2000
        header = b"\x7fELF\x01\x01\x01" + bytes(9) + struct.pack("<HHIIIIIHHHHHH", 2, 20, 1, 0, 52, 84, 0, 52, 32, 1, 40,
                                                                 count, 1)
        sections = bytes(40) + struct.pack("<10I", 1, 3, 0, 0, 84 + 40 * count, len(names), 0, 0, 1, 0)
        sections += b"".join(struct.pack("<10I", i, 1, 0, 0, 0, 0, 0, 0, 1, 0) for i in range(2, count))
        path = self.folder / "names.elf"
        path.write_bytes(header + bytes(32) + sections + names)
        info = self.document("info", "--json", path, status=1)
        lengths = [len(section["name"]) for section in info["sections"]]
        self.assertEqual((lengths[0], lengths[-1], len(lengths)), (100000, 100, count - 1))
        self.assertIn("names cut, since all together are longer than the file: 1998 of 1999", info["damage"])
        self.assertLess(len(run("info", path).stdout), 4 * path.stat().st_size)
        self.assertIn(b"x" * 100 + b"...\n", run("info", path).stdout)

    def test_stats_count_what_the_dump_holds(self):
        modules = self.document("dump", "--json", SAMPLE)["modules"]
        stats = self.document("stats", "--json", SAMPLE)
        wanted = {"units": len(modules), "lineRows": sum(b["count"] for m in modules for b in m["lineBlocks"])}
        for name, field in (("procedures", "procs"), ("variables", "vars"), ("types", "types"), ("files", "files")):
            wanted[name] = sum(len(module[field]) for module in modules)
        self.assertEqual({name: stats["counts"][name] for name in wanted}, wanted)
        self.assertEqual(stats["failedFills"], 0)
        released = self.document("stats", "--json", "--release", SAMPLE)
        self.assertEqual([released[key] for key in ("counts", "heapBytes")], [stats["counts"], stats["heapBytes"]])
        self.assertIn(b"line rows", run("stats", SAMPLE).stdout)

    def test_section(self):
        to_output = run("section", SAMPLE, ".debug_str")
        self.assertEqual(to_output.returncode, 0)
        self.assertIn(to_output.stdout, SAMPLE.read_bytes())
        self.assertIn(b"led_step\0", to_output.stdout)
        self.assertEqual(run("section", SAMPLE, ".debug_str", "-o", self.folder / "out").returncode, 0)
        self.assertEqual((self.folder / "out").read_bytes(), to_output.stdout)
        for arguments in ([".debug_nothing"], [".debug_str", "-o", self.folder]):
            result = run("section", SAMPLE, *arguments)
            self.assertEqual((result.returncode, result.stdout), (1, b""))
            self.assertTrue(result.stderr)

    def test_files_that_cannot_be_opened(self):
        def of_type(number, change=lambda data: data):
            def write(data):
                struct.pack_into(">H", data, 16, number)
                return change(data)
            return write

        def without_sections(data):
            data[32:36] = bytes(4)

        wide = b"\x7fELF\x02\x01\x01" + bytes(9) + struct.pack("<HHIQQQ", 3, 62, 1, 0, 64, 0) + bytes(24)
        # Name of the file, what it holds (bytes, or a change of the sample), what elfload says of it.
        contents = [
            ("empty", b"", "the file is empty"),
            ("script", b"#!/bin/sh\n", "a script; give the ELF file"),
            ("text", "Größe\n".encode(), "a text file; give an ELF file"),
            ("hex", b":00000001FF\n", "Intel HEX"),
            ("srec", b"S9030000FC\n", "S-records"),
            ("archive", b"!<arch>\n", "an archive; link its members"),
            ("magic", lambda data: data.__setitem__(0, 0), "not an ELF file; give"),
            ("short", lambda data: data[:40], "the ELF header is cut short"),
            ("wide", wide, "a 64-bit ELF file (shared library or movable program); only 32-bit files are read"),
            ("core", of_type(4, without_sections), "a core dump; give the program that left it"),
            ("bare", without_sections, "file+0x0: the file has no section headers"),
        ]
        rows = [(self.folder / "missing.elf", "cannot read {}: No such file or directory"),
                (self.folder, "cannot read {}: a folder; give a file in it")]
        for name, content, text in contents:
            path = self.folder / name
            path.write_bytes(content) if isinstance(content, bytes) else self.damaged(name, content)
            rows.append((path, "{}: " + text))
        if hasattr(os, "mkfifo"):
            os.mkfifo(self.folder / "pipe")
            listener = socket.socket(socket.AF_UNIX)
            self.addCleanup(listener.close)
            listener.bind(str(self.folder / "socket"))
            rows += [(self.folder / "pipe", "cannot read {}: a pipe; copy it to a file first"),
                     (self.folder / "socket", "cannot read {}: a socket; copy"),
                     ("/dev/tty", "cannot read {}: a device; copy"), ("/dev/null", "cannot read {}: a device; copy")]
        commands = (["info"], ["modules"], ["dump"], ["stats"], ["find", "1"], ["where", "1"], ["load"])
        for path, text in rows:
            for command in commands if text.endswith("first") else commands[::3]:
                for rules in ("loader", "published"):
                    result = run(command[0], "--json", path, *command[1:], rules=rules)
                    line = result.stderr.decode()
                    self.assertEqual((result.returncode, line.count("\n")), (1, 1), (command, line))
                    self.assertTrue(line.startswith("elfload: " + text.format(path)), line)
                    document = json.loads(result.stdout)
                    self.assertFalse(document.get("open") or document.get("build"))
                    failure = document.get("failure", {"text": None})
                    reason = failure.get("text") or failure.get("message")
                    self.assertEqual(bool(reason), rules == "published" or command[0] in ("dump", "load"), command)
                    self.assertIn(reason or "", line)
            self.assertEqual(run("section", path, ".text").returncode, 1)
        self.assertIn(b"ERROR: not ELF or illegal ELF header values\n",
                      run("dump", "--verbose", self.folder / "magic").stderr)

        # The file opens, but is not read or has no units to read.
        def named(name, content=b""):
            def write(data):
                info = bytes(data).index(run("section", SAMPLE, ".debug_info").stdout)
                at = data.index(b".debug_info\0")
                data[at:at + len(name)] = name
                data[info:info + len(content)] = content
            return write

        rows = [(named(b".zdebug_inf\0"), "{}: .zdebug_inf: the section is compressed; decompress it: objcopy"),
                (named(b".bedug_info\0"), "{}: there is no debug information; compile with -g"),
                (named(b".gnu_debuglink\0", b"fw.debug\0"), "{}: .gnu_debuglink: the debug information is in file fw.debug;"),
                (of_type(1), "{}: an object file; relocations are not applied: link it")]
        for change, text in rows:
            path = self.damaged("opened.elf", change)
            result = run("modules", "--json", path, rules="published")
            self.assertEqual((result.returncode, result.stderr.count(b"\n")), (1, 1), result.stderr)
            self.assertTrue(result.stderr.decode().startswith("elfload: " + text.format(path)), result.stderr)
            self.assertIn(json.loads(result.stdout)["failure"]["text"], result.stderr.decode())
        forced = run("dump", "--force", path, rules="published")
        self.assertEqual((forced.returncode, forced.stderr, forced.stdout), (0, b"", run("dump", SAMPLE, rules="published").stdout))
        loader = run("dump", path)
        self.assertEqual((loader.returncode, loader.stdout), (0, run("dump", SAMPLE).stdout))
        self.assertIn(b"an object file", loader.stderr)

    def test_a_file_without_debug_information(self):
        path = self.damaged("plain.elf", lambda data: data.replace(b".debug_info\0", b".bedug_info\0"))
        dump = self.document("dump", "--json", path, status=1)
        self.assertEqual([dump[key] for key in ("build", "modules", "sharedTypes", "messages")],
                         [0, [], [], ["!Warning: No debug information"]])
        self.assertEqual(run("dump", path).stderr.count(b"\n"), 1)
        self.assertIn(b"!Warning: No debug information\n", run("dump", "--verbose", path).stderr)
        found = self.document("find", "--json", path, "main", status=1)
        self.assertEqual((found["build"], found["results"][0]["found"]), (0, 0))
        self.assertEqual(run("section", path, ".text").returncode, 0)

    def test_a_corrupt_unit_keeps_what_was_read(self):
        led = self.document("dump", "--json", SAMPLE)["modules"][2]
        offset = SAMPLE.read_bytes().index(run("section", SAMPLE, ".debug_info").stdout) + led["types"][0]["key"]
        path = self.damaged("corrupt.elf", lambda data: data.__setitem__(offset, 0x7F))  # no such abbreviation
        dump = self.document("dump", "--json", path, status=1)
        self.assertEqual([module["extend"] for module in dump["modules"]], [1, 1, 0, 1])
        self.assertEqual(dump["messages"], ["!Warning: Error in object file (debug information)"])
        self.assertEqual([module.get("failure") for module in dump["modules"]],
                         [None, None, {"text": "there is no abbreviation 127", "unit": "led.c", "section": ".debug_info",
                                       "offset": led["types"][0]["key"]}, None])
        self.assertIn(f"unit led.c, .debug_info+{led['types'][0]['key']:#x}: there is no abbreviation 127",
                      run("dump", path).stderr.decode())
        self.assertTrue(dump["modules"][2]["lineBlocks"][0]["count"])
        self.assertEqual(run("find", path, "led_step").returncode, 1)
        self.assertIn(b"not read completely", run("dump", path).stdout)

    def test_message_boxes_are_answered(self):
        shutil.copy(SAMPLE, self.folder / "firmware.elf")
        os.utime(self.folder / "firmware.elf", (1000000000, 1000000000))
        for name in ("main.c", "led.c"):
            (self.folder / name).write_text("younger")
        counts = []
        for answer in (["--jobs", "1"], ["--answer", "cancel", "--jobs", "1"], ["--jobs", "3"],
                       ["--answer", "cancel", "--jobs", "3"]):
            result = subprocess.run([ELFLOAD, "dump", "--json", *answer, "firmware.elf"], cwd=self.folder, check=False,
                                    capture_output=True, stdin=subprocess.DEVNULL)
            boxes = json.loads(result.stdout)["messages"]
            self.assertTrue(boxes[0].startswith("Elf-Loader: WARNING: The file <main.c> is more recent"), boxes)
            self.assertIn(b"WARNING: The file <main.c>", result.stderr)
            counts.append(len(boxes))
        self.assertEqual(counts, [2, 1, 2, 1])  # Cancel ends the warnings
        self.assertEqual(self.document("dump", "--json", "firmware.elf", AUTOTEST="ON", ELFLOAD_PATH=str(self.folder),
                                       ELFLOAD_SOURCES=str(self.folder))["messages"], [])

    def test_command_lines(self):
        for arguments in ([], ["nothing"], ["dump"], ["find", SAMPLE], ["where", SAMPLE, "main"],
                          ["find", SAMPLE, "0xg"], ["where", SAMPLE, "0x100000000"], ["find", "--kind", "x", SAMPLE, "a"],
                          ["section", SAMPLE], ["dump", "--json=maybe", SAMPLE], ["--answer", "no", "info", SAMPLE],
                          ["--rules", "mine", "info", SAMPLE], ["dump", "--jobs", "0", SAMPLE]):
            result = run(*arguments, rules=None)
            self.assertEqual((result.returncode, result.stdout), (2, b""), arguments)
            self.assertTrue(result.stderr.startswith(b"elfload: "), arguments)
        for command in ("info", "modules", "dump", "find", "where", "section", "stats", "version"):
            text = run(command, "--help")
            self.assertEqual(text.returncode, 0)
            self.assertIn(b"Example:\n  elfload " + command.encode(), text.stdout)
            self.assertIn(b"elfload " + command.encode(), run("--help").stdout)

    def test_mistyped_words_are_answered(self):
        for arguments, status, message in (
                (["wher"], 2, "no command 'wher'; did you mean 'where'?"), (["help", "dmup"], 2, "did you mean 'dump'?"),
                (["nothing"], 2, "no command 'nothing'; `elfload --help` lists the commands"),
                (["--jsno", "info", SAMPLE], 2, "no option '--jsno'; did you mean '--json'?"),
                (["where", SAMPLE, "1", "--jobs", "2"], 2, "'--jobs' is no option of where"),
                (["--json"], 2, "a command is missing"), (["a\x1b[31m\u202eb"], 2, r"'a\x1B[31m\u202Eb'"),
                (["--kind", "\x9b", "find", SAMPLE, "a"], 2, r"'\u009B' is not one of"),
                (["dump", "--module", "lde.c", SAMPLE], 1, "no unit lde.c; did you mean 'led.c'?"),
                (["dump", "--module", "kernel.c", SAMPLE], 1, "no unit kernel.c; `elfload modules`"),
                (["section", SAMPLE, ".debug_lnie"], 1, "no section .debug_lnie; did you mean '.debug_line'?")):
            result = run(*arguments, rules=None)
            self.assertEqual(result.returncode, status, arguments)
            self.assertIn(message, result.stderr.decode())

    def test_options_before_and_after_the_command(self):
        after = run("dump", SAMPLE, "--module", "find", "-m", "led.c", "--json", "-j2")
        before = run("--json", "-m", "find", "-j2", "--module=led.c", "dump", SAMPLE)
        self.assertEqual((before.returncode, before.stdout, before.stderr), (1, after.stdout, after.stderr))
        self.assertEqual(json.loads(before.stdout)["modules"][0]["name"], "led.c")
        self.assertEqual(run("help", "where").stdout, run("where", "--help").stdout)
        self.assertEqual(run("help").stdout, run("--help").stdout)
        for arguments in (["--version"], ["-V"], ["where", "-V"]):
            self.assertEqual(run(*arguments).stdout, run("version").stdout)

    def test_addresses_as_people_write_them(self):
        text = run("where", SAMPLE, "0x3a0", "3A0", "3a0h", "$3a0")
        self.assertEqual((text.returncode, set(text.stdout.splitlines())),
                         (0, {b"0x000003A0  led_step+0x14                     led.c:27"}))
        unknown = run("where", SAMPLE, "8000", "5a8")
        self.assertEqual((unknown.returncode, unknown.stdout.decode()),
                         (1, "0x00008000  not in any section\n0x000005A8  .rodata+0x0, in no unit\n"))
        even = self.document("where", "--json", KILN, "8000040", rules="published")["results"][0]
        odd = self.document("where", "--json", KILN, "8000041", rules="published")["results"][0]
        self.assertEqual({**odd, "address": 0x8000040}, even)
        self.assertEqual(odd["address"], 0x8000041)

    def test_words_of_standard_input_are_answered_as_they_come(self):
        for command, lines in (("where", ["3a0 $3a0", "zz", "8000"]), ("find", ["led_step", "operator new", "0xg"])):
            with subprocess.Popen([ELFLOAD, command, "-v", SAMPLE, "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE) as program:
                answers = []
                for line in lines:
                    program.stdin.write(line.encode() + b"\r\n")
                    program.stdin.flush()
                    count = len(line.split()) if command == "where" else 1
                    answers += [program.stdout.readline().decode().split("  ")[0] for _ in range(count)]
                rest, errors = program.communicate(timeout=60)
            self.assertEqual((program.returncode, rest, errors.count(b": filled unit 2 ")), (1, b"", 1))
            wanted = ["0x000003A0"] * 2 + ["zz", "0x00008000"] if command == "where" else lines
            self.assertEqual(answers, wanted)
        document = subprocess.run([ELFLOAD, "where", "--json", SAMPLE, "-"], input=b"3a0\nzz", capture_output=True, check=False)
        self.assertEqual([result["found"] for result in json.loads(document.stdout)["results"]], [1, 0])

    def test_version_and_module(self):
        text = run("version").stdout.decode()
        self.assertRegex(text, r"^elfload \d+\.\d+\.\d+\nElfLoader 6\.1\.29 Build 3249\n$")
        result = run("info", "--json", "--plugin", self.folder / "none.so", SAMPLE)
        self.assertEqual((result.returncode, json.loads(result.stdout)["open"]), (1, 0))
        self.assertIn(b"none.so", result.stderr)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no /dev/full")
    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([ELFLOAD, "dump", "--json", SAMPLE], stdout=full, stderr=subprocess.PIPE, check=False)
            self.assertEqual(result.returncode, 1)
            self.assertIn(b"cannot be written", result.stderr)
            # Messages that nobody can read end nothing, and stay out of the document.
            self.assertEqual(subprocess.run([ELFLOAD, "info", "none.elf"], stderr=full, check=False).returncode, 1)
        closed = subprocess.run(["sh", "-c", '"$0" info --json none.elf 2>&-', ELFLOAD], capture_output=True, check=False)
        self.assertEqual((closed.returncode, json.loads(closed.stdout)["open"]), (1, 0))


if __name__ == "__main__":
    _, option, ELFLOAD, samples = sys.argv
    assert option == "--elfload"
    ELFLOAD = os.path.abspath(ELFLOAD)
    SAMPLE, DWARF1, KILN = (pathlib.Path(samples, name, name + ".elf") for name in ("blinky", "pump", "kiln"))
    unittest.main(argv=sys.argv[:1])
