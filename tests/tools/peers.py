#!/usr/bin/env python3
"""peers.py PROGRAM: quendril-inspect beside other processes: locks that they hold, a lock that is
waited for, and changes that are watched.
"""
import fcntl
import json
import os
import pathlib
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from samples import container, record_file

program = sys.argv.pop(1)
F_OFD_SETLK = 37
LIMIT = 60


def lock(file, kind):
    fcntl.fcntl(file, F_OFD_SETLK, struct.pack("hhqqi4x", kind, os.SEEK_SET, 0, 0, 0))


class Peers(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "cont_info.dat"
        self.path.write_bytes(record_file([container(b"/a")]))

    def start(self, *arguments):
        process = subprocess.Popen([program, *map(str, arguments)], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.stop, process)
        return process

    def stop(self, process):
        if process.poll() is None:
            process.kill()
        process.wait(LIMIT)
        process.stdout.close()
        process.stderr.close()

    def locks(self):
        done = subprocess.run([program, "locks", "--json", self.path], capture_output=True, timeout=LIMIT,
                              check=True)
        return json.loads(done.stdout)["locks"]

    def await_call(self, process, number):
        """Until the process sits in the system call of that number."""
        end = time.monotonic() + LIMIT
        while time.monotonic() < end and process.poll() is None:
            if pathlib.Path(f"/proc/{process.pid}/syscall").read_text().split()[0] == number:
                return
        self.fail("the process does not wait as it should")

    def await_waiting(self, process):
        self.await_call(process, "72")  # fcntl

    def await_pause(self, process):
        self.await_call(process, "128")  # rt_sigtimedwait, between two looks

    def test_locks_tells_who_holds_the_file(self):
        self.assertEqual([], self.locks())
        with open(self.path, "r+b") as file:
            lock(file, fcntl.F_WRLCK)
            row, = self.locks()
            self.assertEqual((os.getpid(), "exclusive", "file", "OFDLCK", file.fileno()),
                             (row["process"], row["lock"], row["on"], row["kind"], row["descriptor"]))
            self.assertIn("peers.py", row["command"])
            text = subprocess.run([program, "locks", self.path], capture_output=True, timeout=LIMIT, check=True)
            self.assertIn(str(os.getpid()), text.stdout.decode())
            lock(file, fcntl.F_RDLCK)
            self.assertEqual("shared", self.locks()[0]["lock"])
        self.assertEqual([], self.locks())

    def test_locks_tells_who_holds_the_folder(self):
        folder = os.open(self.path.parent, os.O_RDONLY)
        self.addCleanup(os.close, folder)
        fcntl.flock(folder, fcntl.LOCK_EX)
        self.path.unlink()
        row, = self.locks()
        self.assertEqual(("folder", "FLOCK"), (row["on"], row["kind"]))

    def test_reading_waits_for_a_writer_unless_told_not_to(self):
        with open(self.path, "r+b") as file:
            lock(file, fcntl.F_WRLCK)
            subprocess.run([program, "list", "--no-lock", self.path], capture_output=True, timeout=LIMIT,
                           check=True)
            reader = self.start("list", self.path)
            self.await_waiting(reader)
            self.path.write_bytes(record_file([container(b"/written")]))
            said = reader.stderr.readline()
            self.assertIn("waiting for the lock of", said)
        out, _ = reader.communicate(timeout=LIMIT)
        self.assertIn("/written", out)
        self.assertEqual(0, reader.returncode)

    def test_reading_does_not_wait_for_a_reader(self):
        with open(self.path, "rb") as file:
            lock(file, fcntl.F_RDLCK)
            subprocess.run([program, "list", self.path], capture_output=True, timeout=LIMIT, check=True)

    def test_watch_prints_what_changes(self):
        watcher = self.start("watch", "--interval", "5", "--count", "2", self.path)
        self.await_pause(watcher)
        self.replace(record_file([container(b"/a"), container(b"/b")]))
        self.assertIn("2 records", watcher.stdout.readline())
        self.assertEqual("  + /b\n", watcher.stdout.readline())
        self.replace(record_file([container(b"/b", param=1)]))
        out, error = watcher.communicate(timeout=LIMIT)
        self.assertIn("  - /a\n  ~ /b: param 0 -> 1\n", out)
        self.assertEqual((0, ""), (watcher.returncode, error))

    def test_watch_as_json_is_a_line_for_each_change(self):
        watcher = self.start("watch", "--json", "--interval", "5", "--count", "1", self.path)
        self.await_pause(watcher)
        self.replace(record_file([container(b"/a")], mark=0))
        out, _ = watcher.communicate(timeout=LIMIT)
        line, = out.splitlines()
        self.assertEqual(0, json.loads(line)["headAfter"]["mark"])

    def test_watch_tells_of_damage_and_of_a_file_that_goes(self):
        watcher = self.start("watch", "--interval", "5", "--count", "2", self.path)
        self.await_pause(watcher)
        self.path.write_bytes(self.path.read_bytes() + b"x")
        self.assertIn("1 record", watcher.stdout.readline())
        self.assertIn("behind the last whole record", watcher.stdout.readline())
        self.assertIn("! damaged", watcher.stdout.readline())
        self.path.unlink()
        out, _ = watcher.communicate(timeout=LIMIT)
        self.assertIn("  - /a\n", out)
        self.assertEqual(0, watcher.returncode)

    def test_watch_ends_well_when_it_is_interrupted(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            watcher = self.start("watch", self.path)
            self.await_pause(watcher)
            watcher.send_signal(number)
            self.assertEqual(("", ""), watcher.communicate(timeout=LIMIT))
            self.assertEqual(0, watcher.returncode)

    def test_watch_that_waits_for_a_lock_can_be_interrupted(self):
        with open(self.path, "r+b") as file:
            lock(file, fcntl.F_WRLCK)
            watcher = self.start("watch", self.path)
            self.await_waiting(watcher)
            watcher.send_signal(signal.SIGINT)
            watcher.communicate(timeout=LIMIT)
            self.assertEqual(0, watcher.returncode)

    def replace(self, content):
        new = self.path.with_suffix(".new")
        new.write_bytes(content)
        new.rename(self.path)


unittest.main(verbosity=1)
