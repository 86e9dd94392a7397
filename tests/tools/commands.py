#!/usr/bin/env python3
"""commands.py PROGRAM: each command of quendril-inspect as its users run it: what it prints, how it
ends, and what it says when it cannot do it.
"""
import json
import os
import pathlib
import stat
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from samples import container, record_file

program = sys.argv.pop(1)


class Result:
    def __init__(self, done):
        self.status = done.returncode
        self.out = done.stdout.decode("utf-8")
        self.error = done.stderr.decode("utf-8")


class Commands(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.there = self.folder / "there"
        self.there.mkdir()
        self.path = bytes(self.there)
        self.sound = self.write("sound", record_file([
            container(self.path, b"\1\2", b"\3", 7, [(b"sub", 8, 9)]), container(b"/")]))
        self.stale = self.write("stale", record_file([container(b"/no/such"), container(b"/\xff")]))
        self.damaged = self.write("damaged", record_file([container(self.path)]) + b"\xff\xff\xff\xffabc")

    def write(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def run_program(self, *arguments, **options):
        return Result(subprocess.run([program, *map(os.fspath, arguments)], capture_output=True,
                                     timeout=60, check=False, **options))

    def expect(self, status, *arguments, **options):
        result = self.run_program(*arguments, **options)
        self.assertEqual(status, result.status, result.out + result.error)
        return result

    def json_of(self, status, *arguments):
        return json.loads(self.expect(status, *arguments, "--json").out)

    def test_list_shows_a_row_for_each_record(self):
        rows = self.expect(0, "list", self.sound).out.splitlines()
        self.assertEqual(3, len(rows))
        self.assertEqual(["0", str(self.there), "7", "2", "1", "1", "exists"], rows[1].split())
        self.assertIn("gone", self.expect(0, "list", self.stale).out)

    def test_list_as_json_carries_names_exactly(self):
        records = self.json_of(0, "list", self.stale)["records"]
        self.assertEqual("/no/such", records[0]["path"])
        self.assertNotIn("pathHex", records[0])
        self.assertEqual("/\N{REPLACEMENT CHARACTER}", records[1]["path"])
        self.assertEqual("2fff", records[1]["pathHex"])
        self.assertIs(False, records[1]["exists"])

    def test_list_shows_what_stands_before_the_damage(self):
        result = self.expect(4, "list", self.damaged)
        self.assertIn(str(self.there), result.out)
        self.assertIn("damaged at byte", result.error)
        self.assertIn("what to do: ", result.error)

    def test_show_finds_a_record_as_the_catalogue_does(self):
        self.assertIn("sub-records 1", self.expect(0, "show", self.there, self.sound).out)
        other = str(self.there).upper() + "//"
        self.assertIn(f"path        {self.there}", self.expect(0, "show", other, self.sound).out)
        record = self.json_of(0, "show", self.there, self.sound)["records"][0]
        self.assertEqual([{"ident": "737562", "param1": 8, "param2": 9}], record["subRecords"])

    def test_show_of_an_unknown_path_is_status_1(self):
        self.assertIn("there is no record of /other", self.expect(1, "show", "/other", self.sound).error)

    def test_dump_shows_every_byte_with_its_meaning(self):
        out = self.expect(0, "dump", self.sound).out
        self.assertIn('path "/"', out)
        self.assertIn("param 1: 8", out)
        self.assertNotIn("\x1b", out)
        self.assertIn("\x1b[32m", self.expect(0, "dump", "--color", "always", self.sound).out)
        self.assertIn("DAMAGED: record 1", self.expect(4, "dump", self.damaged).out)
        fields = self.json_of(0, "dump", self.sound)["fields"]
        self.assertEqual(self.sound.read_bytes().hex(), "".join(field["bytes"] for field in fields))

    def test_dump_of_one_record_shows_that_one_alone(self):
        out = self.expect(0, "dump", "--record", "1", self.sound).out
        self.assertIn("record 1 length", out)
        self.assertNotIn("record 0 length", out)
        self.assertIn("there is no record 2", self.expect(3, "dump", "--record", "2", self.sound).error)

    def test_colours_are_for_terminals_that_want_them(self):
        def on_terminal(**variables):
            ours, theirs = os.openpty()
            environment = {**os.environ, "TERM": "xterm", **variables}
            subprocess.run([program, "dump", self.stale], stdout=theirs, env=environment, timeout=60,
                           check=True)
            os.close(theirs)
            try:
                return os.read(ours, 65536)
            finally:
                os.close(ours)

        os.environ.pop("NO_COLOR", None)
        self.assertIn(b"\x1b[", on_terminal())
        self.assertIn(b"\x1b[", on_terminal(NO_COLOR=""))
        self.assertNotIn(b"\x1b[", on_terminal(NO_COLOR="1"))
        self.assertNotIn(b"\x1b[", on_terminal(TERM="dumb"))

    def test_check_tells_by_its_status(self):
        self.assertIn("0 damages", self.expect(0, "check", self.sound).out)
        self.assertIn("loss: record 0", self.expect(1, "check", self.stale).out)
        self.assertIn("damage: record 1", self.expect(4, "check", self.damaged).out)
        kinds = [finding["kind"] for finding in self.json_of(4, "check", self.damaged)["findings"]]
        self.assertEqual(["record-past-end"], kinds)

    def test_check_counts_what_would_be_too_much(self):
        many = self.write("many", record_file([b"abc"] * 1500))
        self.assertIn("... and 500 more", self.expect(4, "check", many).out)
        self.assertEqual(500, self.json_of(4, "check", many)["omitted"])
        self.assertEqual(1500, len(self.json_of(4, "check", "--all", many)["findings"]))

    def test_stat_counts(self):
        self.assertIn("every byte belongs to a field", self.expect(0, "stat", self.sound).out)
        statistics = self.json_of(4, "stat", self.damaged)
        self.assertEqual(1, statistics["records"])
        self.assertEqual(self.damaged.stat().st_size, statistics["size"])
        self.assertEqual(statistics["size"], sum(statistics["bytes"].values()))

    def test_diff_tells_by_its_status(self):
        self.assertEqual("", self.expect(0, "diff", self.sound, self.sound).out)
        out = self.expect(1, "diff", self.sound, self.stale).out
        self.assertIn(f"- {self.there}\n", out)
        self.assertIn("+ /no/such\n", out)
        self.expect(4, "diff", self.sound, self.damaged)
        changes = [record["change"] for record in self.json_of(1, "diff", self.sound, self.stale)["records"]]
        self.assertEqual(["removed", "removed", "added", "added"], changes)

    def test_export_and_import_give_the_same_bytes(self):
        empty = self.write("empty", b"")
        for path, status in [(self.sound, 0), (self.stale, 0), (self.damaged, 4), (empty, 0)]:
            exported, imported = self.folder / "json", self.folder / "imported"
            self.expect(status, "export", path, "-o", exported)
            self.expect(status, "import", exported, imported)
            self.assertEqual(path.read_bytes(), imported.read_bytes())
            text = self.expect(status, "export", path).out
            self.assertEqual(exported.read_text(), text)
            self.expect(status, "import", "-", imported, "--overwrite", input=text.encode())
            self.assertEqual(path.read_bytes(), imported.read_bytes())
            exported.unlink()
            imported.unlink()

    def test_import_never_overwrites_unless_told(self):
        exported = self.folder / "json"
        self.expect(0, "export", self.sound, "-o", exported)
        before = self.stale.read_bytes()
        self.assertIn("is there already", self.expect(3, "import", exported, self.stale).error)
        self.assertEqual(before, self.stale.read_bytes())
        self.stale.chmod(0o600)
        self.expect(0, "import", "--overwrite", exported, self.stale)
        self.assertEqual(self.sound.read_bytes(), self.stale.read_bytes())
        self.assertEqual(0o600, stat.S_IMODE(self.stale.stat().st_mode))

    def test_import_tells_what_it_does_not_understand(self):
        for text, said in [("{", "is not JSON"), ("[]", "is not an object"),
                           ('{"format": "quendril-catalogue", "version": 1, "records": [1]}',
                            "must be an array of objects")]:
            result = self.expect(3, "import", self.write("json", text.encode()), self.folder / "new")
            self.assertIn(said, result.error)
            self.assertFalse((self.folder / "new").exists())

    def test_salvage_takes_what_can_be_read_and_leaves_the_old_file(self):
        new = self.folder / "new"
        before = self.damaged.read_bytes()
        self.assertIn("1 record taken", self.expect(4, "salvage", self.damaged, new).out)
        self.assertEqual(record_file([container(self.path)]), new.read_bytes())
        self.assertEqual(before, self.damaged.read_bytes())
        self.assertIn("is there already", self.expect(3, "salvage", self.damaged, new).error)
        self.assertIn("is the file that is read", self.expect(3, "salvage", self.damaged, self.damaged).error)
        self.expect(0, "salvage", self.sound, self.folder / "other")
        self.assertEqual(self.sound.read_bytes(), (self.folder / "other").read_bytes())

    def test_salvage_of_nothing_writes_nothing(self):
        for content in [b"", b"abc", b"x" * 1000]:
            self.expect(3, "salvage", self.write("hopeless", content), self.folder / "new")
            self.assertFalse((self.folder / "new").exists())

    def test_map_is_a_picture(self):
        for path, status in [(self.sound, 0), (self.stale, 0), (self.damaged, 4), (self.write("empty", b""), 0)]:
            picture = self.folder / "map.svg"
            self.expect(status, "map", path, "-o", picture)
            root = xml.etree.ElementTree.parse(picture).getroot()
            self.assertEqual("{http://www.w3.org/2000/svg}svg", root.tag)
            text = picture.read_text()
            self.assertEqual(status == 4, '<g fill="#e02020"' in text)
            self.assertIn("header words", text)
            self.assertEqual(text, self.expect(status, "map", path).out)
            picture.unlink()

    def test_output_is_never_the_input(self):
        before = self.sound.read_bytes()
        for command in ["map", "export"]:
            self.expect(3, command, self.sound, "-o", self.sound, "--overwrite")
            self.assertEqual(before, self.sound.read_bytes())

    def test_what_is_no_file_is_told_at_once(self):
        os.mkfifo(self.folder / "fifo")
        commands = [["list"], ["show", "/"], ["dump"], ["check"], ["stat"], ["export"], ["map"], ["watch"]]
        for command in commands:
            for name, said in [(self.folder / "fifo", "it is a FIFO"), (self.folder, "it is a folder"),
                               ("/dev/null", "it is a device"),
                               (self.folder / "missing", "No such file")]:
                result = self.expect(3, *command, name)
                self.assertIn(f"{name}: ", result.error)
                self.assertIn(said, result.error)
                self.assertEqual("", result.out)
        self.expect(3, "diff", self.sound, self.folder / "fifo")
        self.expect(3, "salvage", self.folder / "fifo", self.folder / "new")
        self.expect(3, "import", self.folder / "fifo", self.folder / "new")

    def test_empty_file_is_no_damage(self):
        empty = self.write("empty", b"")
        for command in [["list"], ["dump"], ["check"], ["stat"], ["export"], ["map"]]:
            self.expect(0, *command, empty)

    def test_machine_wide_catalogue_is_the_one_without_a_name(self):
        result = self.run_program("list")
        if result.status == 3:
            self.assertIn("/var/lib/quendril/cont_info.dat: cannot be read", result.error)

    def test_command_lines_that_are_not_understood_are_status_2(self):
        for arguments in [[], ["other"], ["list", "--other"], ["list", "a", "b"], ["show"], ["diff"],
                          ["salvage", "a"], ["watch", "--interval", "0"], ["dump", "--color", "red"]]:
            self.assertNotEqual("", self.expect(2, *arguments).error)
        self.assertIn("salvage", self.expect(0, "--help").out)
        self.assertIn("--json", self.expect(0, "list", "--help").out)
        self.assertRegex(self.expect(0, "--version").out, r"^\d+\.\d+\.\d+\n$")

    def test_output_that_is_lost_is_no_success(self):
        with open("/dev/full", "wb") as full:
            for command in [["list"], ["dump"], ["list", "--json"], ["export"], ["map"]]:
                done = subprocess.run([program, *command, self.sound], stdout=full, timeout=60,
                                      stderr=subprocess.PIPE, check=False)
                self.assertEqual(3, done.returncode)
                self.assertIn(b"the standard output", done.stderr)

    def test_names_never_reach_a_terminal_raw(self):
        nasty = self.write("nasty", record_file([container(b"/\x1b[2J\x9b")]))
        for command in [["list"], ["dump"], ["check"], ["diff", self.sound]]:
            self.assertNotIn("\x1b", self.run_program(*command, nasty).out)


unittest.main(verbosity=1)
