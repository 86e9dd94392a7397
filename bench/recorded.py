#!/usr/bin/env python3
"""recorded.py compare|record PROGRAM: instructions and system calls of the library's main operations.

Time differs from run to run and from machine to machine; these do not, so that an operation which takes
more of them than before shows anywhere. `compare` fails when a figure is 5 % away from that of
recorded.txt, in either direction: what is gained is to be kept too. `record` writes that file anew.

PROGRAM is bench-recorded, optimised; ./bench.sh and ./test.sh bench build it.
"""
import os
import pathlib
import platform
import re
import subprocess
import sys
import tempfile

import calls

RECORDED = pathlib.Path(__file__).resolve().parent / "recorded.txt"
WORKLOADS = ["load", "add", "edit", "find", "walk"]
MARGIN = 0.05
# Symbols are looked up before, and the C library's text functions are those that any processor runs.
ENVIRONMENT = {"LD_BIND_NOW": "1", "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512F,-AVX2,-BMI2,-ERMS,-FSRM",
               "PATH": os.environ["PATH"], "LC_ALL": "C"}


def at_fixed_addresses():
    """Without randomised addresses, where that is allowed."""
    prefix = ["setarch", platform.machine(), "-R"]
    allowed = subprocess.run([*prefix, "true"], capture_output=True).returncode == 0
    return prefix if allowed else []


def instructions(command, folder):
    done = calls.run([*at_fixed_addresses(), "valgrind", "--tool=callgrind", "--collect-atstart=no",
                      "--toggle-collect=CountedWork", "--callgrind-out-file=callgrind", *command],
                     env=ENVIRONMENT, cwd=folder)
    return int(re.search(r"Collected : (\d+)", done.stderr).group(1))


def system_calls(command, folder):
    return sum(calls.count([*at_fixed_addresses(), *command], cwd=folder).values())


def measure(program):
    program = os.path.abspath(program)
    figures = {}
    for workload in WORKLOADS:
        for kind, count in ("instructions", instructions), ("system calls", system_calls):
            with tempfile.TemporaryDirectory(dir=calls.folder()) as folder:
                calls.run([program, "prepare"], cwd=folder)
                figures[workload, kind] = count([program, workload], folder)
    return figures


def read():
    figures = {}
    for line in RECORDED.read_text().splitlines():
        if line and not line.startswith("#"):
            workload, kind, figure = line.split("\t")
            figures[workload, kind] = int(figure)
    return figures


def write(figures):
    with RECORDED.open("w") as out:
        out.write("# Instructions and system calls, each of one operation on a catalogue of 1,000 records.\n"
                  "# Written by ./bench.sh --record; compared by ./test.sh bench.\n")
        for (workload, kind), figure in figures.items():
            out.write(f"{workload}\t{kind}\t{figure}\n")


def compare(figures):
    recorded = read()
    failed = False
    for key, figure in figures.items():
        before = recorded.get(key)
        differs = before is None or abs(figure - before) > MARGIN * before
        failed = failed or differs
        change = "" if not before else f" ({(figure - before) / before:+.1%})"
        print(f"{'FAILED: ' if differs else ''}{' '.join(key)}: {figure}, recorded {before}{change}")
    if failed:
        print("If the new figures are meant, and the reason stands in the commit's message, record them:\n"
              "  ./bench.sh --record")
    return 1 if failed else 0


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("compare", "record"):
        sys.exit(__doc__)
    figures = measure(sys.argv[2])
    if sys.argv[1] == "record":
        write(figures)
        return 0
    return compare(figures)


if __name__ == "__main__":
    sys.exit(main())
