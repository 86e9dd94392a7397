#!/usr/bin/env python3
"""readme-example.py SOURCES GOLDEN: the README's command prints the paths in a catalogue."""
import importlib.util
import os
import pathlib
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
import specimens

if importlib.util.find_spec("kaitaistruct") is None:
    print("SKIPPED: there is no python3-kaitaistruct")
    sys.exit(77)
sources, golden = map(pathlib.Path, sys.argv[1:3])
command = re.search(r"```sh\n(PYTHONPATH=formats .*?)```", (sources / "README.md").read_text(), re.S).group(1)
name = "/var/lib/quendril/cont_info.dat"
if name not in command:
    sys.exit("FAILED: the command reads another file")
with tempfile.NamedTemporaryFile() as file:
    file.write(dict(specimens.golden_files(golden))["kGoldenCatalogue"])
    file.flush()
    environment = {**os.environ, "PYTHONUTF8": "1", "PYTHONDONTWRITEBYTECODE": "1"}
    done = subprocess.run(command.replace(name, file.name), shell=True, cwd=sources, capture_output=True, env=environment)
if done.stdout.decode() != "/keys/Müller/k1\n/keys/k2\n":
    sys.exit(f"FAILED: it printed {done.stdout} {done.stderr.decode()}")
print("The README's command prints the paths.")
