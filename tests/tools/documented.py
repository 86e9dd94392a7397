#!/usr/bin/env python3
"""documented.py PROGRAM PAGE [--write]: what the page shows of quendril-inspect is what it prints.

Each block that begins with ```console holds commands behind "$ ", each followed by its output. --write
puts the real output into the page.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

from samples import container, record_file

program, page = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])


def make_files(folder):
    alice = container(b"/keys/Alice", b"issuer", b"\x17\x2a", 1, [(b"signature", 2, 512)])
    bob = container(b"/keys/Bob", b"issuer", b"\x17\x2b", 2)
    carol = container(b"/keys/Carol", b"", b"", 3)
    (folder / "cont_info.dat").write_bytes(record_file([alice, bob]))
    (folder / "yesterday.dat").write_bytes(record_file([alice, carol]))
    whole = bytearray(record_file([alice, bob, carol]))
    whole[12 + 4 + len(alice)] = 0xFF  # The length of the second record.
    (folder / "damaged.dat").write_bytes(whole)


def output_of(command, folder):
    done = subprocess.run(["bash", "-c", 'quendril-inspect() { "$PROGRAM" "$@"; }; ' + command], cwd=folder,
                          env={"PROGRAM": str(program), "PATH": "/usr/bin:/bin"}, timeout=60, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.stdout


def fill(block, folder):
    commands = re.findall(r"^\$ (.*)$", block, re.MULTILINE)
    return "".join(f"$ {command}\n{output_of(command, folder)}" for command in commands)


text = page.read_text()
with tempfile.TemporaryDirectory() as name:
    make_files(pathlib.Path(name))
    real = re.sub(r"(?<=```console\n)(.*?)(?=```)", lambda block: fill(block.group(1), pathlib.Path(name)),
                  text, flags=re.DOTALL)
# A time is another one each time.
anonymous = [re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "TIME", version) for version in (text, real)]
if "--write" in sys.argv:
    page.write_text(real)
elif anonymous[0] != anonymous[1]:
    sys.exit(f"FAILED: {page} shows what the program does not print; --write mends it")
