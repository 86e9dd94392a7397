#!/usr/bin/env python3
"""damaged-files.py PROGRAM: quendril-inspect over a file that is cut at every length, with a reader
that shares no code with it: check and list agree with that one, and salvage takes every record that
is whole.
"""
import json
import pathlib
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "hard" / "bits"))
from independent_reader import Container, File  # noqa: E402
from samples import container, record_file  # noqa: E402

program = sys.argv[1]
failures = []
original = record_file([container(b"/a", b"first", b"second", 5, [(b"sub", 1, 2)]), container(b"/b"),
                        container(b"/c", b"x")], header=b"head")


def run(*arguments):
    done = subprocess.run([program, *map(str, arguments)], capture_output=True, timeout=60, check=False)
    return done.returncode, done.stdout


def check(name, content, folder):
    path, out = folder / "file", folder / "out"
    path.write_bytes(content)
    expected = File(content)
    containers = [Container(record) for record in expected.records]
    is_damaged = bool(content) and (expected.status != 0 or any(found.failure for found in containers))
    status, said = run("check", "--json", "--no-lock", path)
    if (status == 4) != is_damaged:
        failures.append(f"{name}: check ended with {status}")
    if json.loads(said)["records"] != len(expected.records):
        failures.append(f"{name}: check counts other records")
    status, said = run("list", "--json", "--no-lock", path)
    # JSON has all of a path, the catalogue what stands before a zero byte.
    listed = [row["path"].split("\0")[0] if "path" in row else None for row in json.loads(said)["records"]]
    wanted = [None if found.failure else found.path.decode() for found in containers]
    if (status == 4) != is_damaged or listed != wanted:
        failures.append(f"{name}: list ended with {status} and shows {listed}")
    if wanted and None not in wanted:
        run("salvage", "--no-lock", path, out)
        salvaged = [Container(record).path.decode() for record in File(out.read_bytes()).records]
        if salvaged[:len(wanted)] != wanted:
            failures.append(f"{name}: salvage took {salvaged}")
        out.unlink()


with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    for size in range(len(original) + 1):
        check(f"cut to {size} bytes", original[:size], folder)
    for offset in range(0, len(original) - 3, 2):
        value = 3 if offset % 4 == 0 else 0xFFFFFFFF
        changed = original[:offset] + struct.pack("<I", value) + original[offset + 4:]
        try:
            check(f"{value:#x} at {offset}", changed, folder)
        except UnicodeDecodeError:
            pass  # A path that JSON shows otherwise.

for failure in failures[:20]:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
