#!/usr/bin/env python3
"""behaviours.py TABLE PROGRAM...: the table of behaviours names tests that there are.

Each row of the table is | number | behaviour | tests |. The tests are those of the test programs
given, by their names there, or scripts that ctest runs. A row without a test says why: none: reason.
"""
import pathlib
import re
import subprocess
import sys

SCRIPTS = {"ExampleHost", "ExampleHostDamagedFiles", "ExportsAndImports", "InstalledCopy", "TreeRules"}


def tests_of(program):
    listing = subprocess.run([program, "--gtest_list_tests"], capture_output=True, text=True, check=True)
    suite = ""
    for line in listing.stdout.splitlines():
        name = line.split("#")[0].rstrip()
        if not line.startswith(" "):
            suite = name
        else:
            yield suite + name.strip()


known = set(SCRIPTS)
for program in sys.argv[2:]:
    known.update(tests_of(program))

failures = []
proven = unproven = 0
expected = 1
for number, line in enumerate(pathlib.Path(sys.argv[1]).read_text().splitlines(), 1):
    if line.startswith("#"):
        expected = 1
    row = re.match(r"\| (\d+) \| (.+) \| (.+) \|$", line)
    if not row:
        if re.match(r"\|\s*\d", line):
            failures.append(f"line {number} is no row: {line}")
        continue
    if int(row.group(1)) != expected:
        failures.append(f"line {number}: row {row.group(1)} where {expected} should stand")
    expected = int(row.group(1)) + 1
    names = row.group(3)
    if names.startswith("none: "):
        unproven += 1
        continue
    proven += 1
    for name in names.split(", "):
        if name.strip("`") not in known:
            failures.append(f"line {number}: there is no test {name}")

print(f"{proven + unproven} behaviours: {proven} proven by tests, {unproven} with a reason why not")
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures or proven == 0 else 0)
