#!/usr/bin/env python3
"""generated-reader.py FORMATS SCRATCH [--write]: FORMATS/quendril.py is what the compiler makes of
FORMATS/quendril.ksy; with --write it becomes so.

The compiler is fetched once into SCRATCH, in the version that package-lock.json pins. Where there is no
npm, or no way to the registry, this ends with 77 and says so.
"""
import json
import pathlib
import shutil
import subprocess
import sys

import yaml

here = pathlib.Path(__file__).resolve().parent
formats, scratch = map(pathlib.Path, sys.argv[1:3])
compiler = scratch / "node_modules" / "kaitai-struct-compiler"


def skip(reason):
    print("SKIPPED:", reason)
    sys.exit(77)


def fetch_compiler():
    if shutil.which("npm") is None or shutil.which("node") is None:
        skip("there is no npm")
    for name in ("package.json", "package-lock.json"):
        shutil.copy(here / name, scratch)
    command = ["npm", "ci", "--no-audit", "--no-fund", "--ignore-scripts"]
    try:
        done = subprocess.run(command, cwd=scratch, capture_output=True, text=True, timeout=60)
    except subprocess.TimeoutExpired:
        skip("npm gave no answer within a minute")
    if done.returncode != 0:
        skip(f"npm cannot fetch the compiler: {done.stderr.strip()}")


lock = json.loads((here / "package-lock.json").read_text())
wanted = lock["packages"]["node_modules/kaitai-struct-compiler"]["version"]
if not compiler.exists() or json.loads((compiler / "package.json").read_text())["version"] != wanted:
    fetch_compiler()
if shutil.which("node") is None:
    skip("there is no node")

description = json.dumps(yaml.safe_load((formats / "quendril.ksy").read_text()))
# The script's requires are looked up beside it, so it is run from where the compiler is.
shutil.copy(here / "compile.js", scratch)
done = subprocess.run(["node", scratch / "compile.js"], input=description, capture_output=True, text=True, timeout=60)
if done.returncode != 0:
    sys.exit(f"FAILED: the description cannot be compiled: {done.stderr}")
reader = formats / "quendril.py"
if "--write" in sys.argv:
    reader.write_text(done.stdout)
if reader.read_text() != done.stdout:
    sys.exit(f"FAILED: {reader} is not what compiler {wanted} makes of quendril.ksy; to write it anew:\n"
             f"  {sys.executable} {' '.join(sys.argv)} --write")
print(f"{reader.name} is what compiler {wanted} makes of quendril.ksy")
