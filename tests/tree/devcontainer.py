#!/usr/bin/env python3
"""devcontainer.py SOURCES: the development container is described well enough to be made.

The description is read, and its one RUN is run here with stand-ins for dpkg-query and apt-get, which
note what would be installed: what cmake/setup.sh lists, and nothing that the Dockerfile names itself.
Nothing is installed, and no container is made.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

root = pathlib.Path(sys.argv[1])
folder = root / ".devcontainer"
failures = []

description = json.loads((folder / "devcontainer.json").read_text())
dockerfile = folder / description["build"]["dockerfile"]
context = folder / description["build"]["context"]
presets = json.loads((root / "CMakePresets.json").read_text())
for kind, option in (("configurePresets", "--preset"), ("buildPresets", "--build --preset")):
    named = re.findall(rf"cmake {option} (\S+)", description["postCreateCommand"])
    known = [preset["name"] for preset in presets[kind]]
    if not named or any(name not in known for name in named):
        failures.append(f"postCreateCommand names {named} of {kind}")

image, copied, run = None, [], None
for line in dockerfile.read_text().splitlines():
    word, _, rest = line.partition(" ")
    if word == "FROM":
        image = rest
    elif word == "COPY":
        copied.append(rest.split())
    elif word == "RUN":
        run = json.loads(rest)
if image != "debian:12" or run is None:
    failures.append(f"an image from {image}, made by {run}")

with tempfile.TemporaryDirectory() as scratch:
    stand_ins = pathlib.Path(scratch)
    for name, body in (("dpkg-query", "exit 1"), ("sudo", 'exec "$@"'),
                       ("apt-get", f'printf "%s\\n" "$@" >> {scratch}/asked')):
        (stand_ins / name).write_text(f"#!/bin/sh\n{body}\n")
        (stand_ins / name).chmod(0o755)
    for source, target in copied:
        # The file stands where the container would have it.
        run = [argument.replace(target, str((context / source).resolve(strict=True))) for argument in run]
    environment = {**os.environ, "PATH": f"{scratch}:{os.environ['PATH']}"}
    subprocess.run(run, check=True, env=environment, stdout=subprocess.DEVNULL)
    asked = set((stand_ins / "asked").read_text().split())

listed = subprocess.run(["bash", "-euc", f'source {root}/cmake/setup.sh; printf "%s\\n" "${{shell_packages[@]}}"'],
                        check=True, capture_output=True, text=True).stdout.split()
if not set(listed) <= asked:
    failures.append(f"not installed: {set(listed) - asked}")
doubled = [name for name in listed if re.search(rf"(?<![\w-]){re.escape(name)}(?![\w-])", dockerfile.read_text())
           and name != "cmake"]  # That is a folder too.
if doubled:
    failures.append(f"the Dockerfile names {doubled} itself")

print(f"{len(set(listed))} packages from cmake/setup.sh")
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
