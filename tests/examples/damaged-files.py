#!/usr/bin/env python3
"""damaged-files.py HOST: the example host's listing and dump of a catalogue that is cut at every
length, and with every length field wrong in turn. Both must end by themselves, agree whether the
file is damaged, say so, and leave it alone.
"""
import pathlib
import re
import struct
import subprocess
import sys
import tempfile

host = sys.argv[1]
lengths = []  # Offsets of all length fields of the file.
failures = []


def item(start, data):
    lengths.append(start)
    return struct.pack("<I", len(data)) + data


def sub_record(start):
    content = item(start + 4, b"ident") + struct.pack("<II", 1, 2)
    return item(start, content)


def record(start, path):
    content = item(start + 4, path)
    content += item(start + 4 + len(content), b"first")
    content += item(start + 4 + len(content), b"second")
    content += struct.pack("<II", 7, 2)
    for _ in range(2):
        content += sub_record(start + 4 + len(content))
    return item(start, content)


def run(*arguments):
    done = subprocess.run([host, *arguments], capture_output=True, timeout=60)
    return done.returncode, (done.stdout + done.stderr).decode("ascii")


def check(name, content, path):
    path.write_bytes(content)
    listing, said = run(str(path))
    dump, shown = run("--dump", str(path))
    if listing not in (0, 1) or dump not in (0, 1):
        failures.append(f"{name}: ended with {listing} and {dump}")
    if listing != dump:
        failures.append(f"{name}: the listing ended with {listing}, the dump with {dump}")
    if (listing == 1) != ("status" in said) or (dump == 1) != ("DAMAGED" in shown):
        failures.append(f"{name}: the output does not fit the exit status")
    # Every byte is shown, once: "00000010  2f 61 ...", the meaning behind two blanks.
    rows = re.findall(r"^[0-9a-f]{8}  ((?:[0-9a-f]{2} ?)+)(?:  |$)", shown, re.MULTILINE)
    if bytes.fromhex("".join(rows)) != content:
        failures.append(f"{name}: the dump does not show the file's bytes")
    if path.read_bytes() != content:
        failures.append(f"{name}: the file was changed")
    return listing


content = b"\0" * 4 + b"\1\0\0\0" + item(8, b"header")
content += record(len(content), b"/a/container")
content += record(len(content), b"/another")

damaged = 0
checked = 0
with tempfile.TemporaryDirectory() as folder:
    path = pathlib.Path(folder) / "cont_info.dat"
    if check("the whole file", content, path) != 0:
        failures.append("the whole file is called damaged")
    for cut in range(len(content)):
        damaged += check(f"cut to {cut} bytes", content[:cut], path)
        checked += 1
    for offset in lengths:
        (right,) = struct.unpack_from("<I", content, offset)
        for wrong in {0, right - 1, right + 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF}:
            changed = content[:offset] + struct.pack("<I", wrong) + content[offset + 4:]
            damaged += check(f"length {wrong:#x} at {offset}", changed, path)
            checked += 1

print(f"{checked} damaged files, of which {damaged} are no catalogue files any more")
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures or damaged == 0 else 0)
