#!/usr/bin/env python3
"""valgrind.py [TOOL...]: memcheck and helgrind have nothing to say about the test programs.

Builds the programs with the preset `dev` and runs each whole, in one process with those that it forks,
once under each tool. Nothing is suppressed beyond what valgrind itself brings along; what cannot mean
anything there is left out, and why is printed. A process that a test kills gives no report.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
BUILD = ROOT / "build" / "dev"
LOGS = BUILD / "valgrind"
# What is preloaded; the sources say what for.
PRELOADED = {"memcheck": ["WaitingFcntl"], "helgrind": ["WaitingFcntl", "KeepingFree"]}
PROGRAMS = {
    "golden-tests": "golden",
    "catalogue-tests": "catalogue",
    "catalogue-seams-tests": "catalogue/seams",
    "common-tests": "common",
    "recordstore-tests": "recordstore",
    "foundation-tests": "foundation",
}
TOOLS = {
    "memcheck": ["--leak-check=full", "--errors-for-leak-kinds=definite,possible", "--track-fds=yes"],
    "helgrind": [],
}
# Programs that have an operator new of their own keep it; it takes what malloc gives.
OWN_NEW = "--soname-synonyms=somalloc=nouserintercepts"
LONGEST_RUN = 1800  # Seconds.
# What is left out of both, or of one, and why.
LEFT_OUT = {
    "memcheck": {
        "CatalogueEditLocks.AForkedChild*": "what a forked child cannot end it keeps for good, which is a leak",
    },
    "helgrind": {
        "ContainerInfoItrMgr.*PassLockErrorOut": "they lock what they hold, which is a report of its own",
    },
}


def build():
    LOGS.mkdir(parents=True, exist_ok=True)
    commands = [["cmake", "--preset", "dev"],
                ["cmake", "--build", "--preset", "dev", "-j", os.environ.get("JOBS", "1"),
                 "--target", *PROGRAMS]]
    commands += [["g++", "-std=c++17", "-Wall", "-Werror", "-fno-builtin", "-shared", "-fPIC",
                  "-o", LOGS / f"{name}.so", HERE / f"{name}.cpp"] for name in PRELOADED["helgrind"]]
    for command in commands:
        done = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"{done.stdout}{done.stderr}FAILED: {command}")


def open_descriptors(log):
    """How many descriptors the process left open that it was not given."""
    parts = re.split(r"Open (?:file descriptor|AF_\w+ socket) ", log)[1:]
    return sum("<inherited from parent>" not in part.split("Open ")[0] for part in parts)


def run(tool, name):
    """Returns what is wrong."""
    folder = LOGS / f"{tool}-{name}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    command = ["valgrind", f"--tool={tool}", "--error-exitcode=99", f"--log-file={folder}/%p", *TOOLS[tool],
               OWN_NEW, BUILD / "tests" / PROGRAMS[name] / name,
               "--gtest_brief=1", "--gtest_filter=-" + ":".join(LEFT_OUT[tool])]
    begin = time.monotonic()
    preloaded = ":".join(f"{LOGS}/{each}.so" for each in PRELOADED[tool])
    process = subprocess.Popen(["env", f"LD_PRELOAD={preloaded}", *command], text=True, errors="replace",
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    try:
        output, _ = process.communicate(timeout=LONGEST_RUN)
    except subprocess.TimeoutExpired:
        process.kill()  # It may sit where it hears nothing else.
        output, _ = process.communicate()
        output += f"\nstill running after {LONGEST_RUN} seconds"
    failures = []
    if process.returncode != 0:
        failures.append(f"{tool} {name}: result {process.returncode}:\n{output}")
    errors = reports = 0
    for path in sorted(folder.iterdir()):
        log = path.read_text(errors="replace")
        found = re.findall(r"ERROR SUMMARY: (\d+) errors", log)
        own = int(found[-1]) if found else 0
        if path.name == str(process.pid) and tool == "memcheck":
            own += open_descriptors(log)
        reports += bool(found)
        errors += own
        if own:
            failures.append(f"{tool} {name}: {own} errors:\n{log}")
    tests = re.search(r"\[=+\] (\d+) tests", output)
    if reports == 0 or not tests:
        failures.append(f"{tool} {name}: nothing was looked at")
    for line in output.splitlines():
        if "SKIPPED" in line or "Skipped" in line:
            print(line)
    print(f"FIGURE {tool} {name}: {tests[1] if tests else 0} tests, {reports} processes, {errors} errors, "
          f"{time.monotonic() - begin:.0f} s", flush=True)
    return failures


def main():
    build()
    failures = []
    for tool in sys.argv[1:] or TOOLS:
        for test, reason in LEFT_OUT[tool].items():
            print(f"left out of {tool}: {test}: {reason}")
        for name in PROGRAMS:
            failures += run(tool, name)
    for failure in failures:
        print("FAILED:", failure)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
