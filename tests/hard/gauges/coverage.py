#!/usr/bin/env python3
"""coverage.py [--no-build] [--no-run]: the tests reach every line and both sides of every condition of the layers.

Builds the preset `coverage`, runs the test programs, and compares what they left out with
not-covered.txt beside this script: what is left out and not listed there fails, and so does what is
listed and is reached or gone. The counts live in a file that the processes share, so that processes
which are killed or end by _exit count too.
"""
import collections
import concurrent.futures
import json
import os
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
BUILD = ROOT / "build" / "coverage"
PROFILES = BUILD / "profiles"
LIST = HERE / "not-covered.txt"
LIBRARIES = ["foundation/libquendril-base.so", "libquendril.so"]
# One process each, with all its tests.
PROGRAMS = {
    "foundation-tests": "foundation",
    "recordstore-tests": "recordstore",
    "catalogue-tests": "catalogue",
    "catalogue-seams-tests": "catalogue/seams",
    "common-tests": "common",
    "golden-tests": "golden",
    "calls-tests": "hard/calls",
}
# What is left out, and why.
LEFT_OUT = {
    "WholeSystemWrites.AsksTheSystemForNothingElse":
        "it looks at what the libraries import, and what counts is linked into them",
}
LAYERS = ["foundation", "recordstore", "catalogue", "common"]
LONGEST_RUN = 900  # Seconds.


def build():
    for command in (["--preset", "coverage"],
                    ["--build", "--preset", "coverage", "-j", os.environ.get("JOBS", "1"),
                     "--target", *PROGRAMS]):
        done = subprocess.run(["cmake", *command], cwd=ROOT, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"{done.stdout}{done.stderr}FAILED: cmake {' '.join(command)}")


def program(name):
    return BUILD / "tests" / PROGRAMS[name] / name


def run(name):
    # %c: the counts are written as they arise; %m: a file for each library and program.
    environment = dict(os.environ, LLVM_PROFILE_FILE=f"{PROFILES}/%m%c.profraw")
    try:
        done = subprocess.run(
            [program(name), "--gtest_brief=1", "--gtest_filter=-" + ":".join(LEFT_OUT)], env=environment,
            timeout=LONGEST_RUN, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
    except subprocess.TimeoutExpired:
        return name, 1, f"still running after {LONGEST_RUN} seconds"
    return name, done.returncode, done.stdout


def run_all():
    shutil.rmtree(PROFILES, ignore_errors=True)
    PROFILES.mkdir()
    PROFILES.chmod(0o1777)
    failed = False
    for test, reason in LEFT_OUT.items():
        print(f"left out: {test}: {reason}")
    with concurrent.futures.ThreadPoolExecutor(int(os.environ.get("JOBS", "2"))) as pool:
        for name, code, output in pool.map(run, PROGRAMS):
            ran = [line for line in output.splitlines() if line.startswith("[==========]")]
            skipped = [line for line in output.splitlines() if "SKIPPED" in line or "Skipped" in line]
            print(name + ":", *ran[-1:], *skipped, sep="\n  ")
            if code != 0:
                failed = True
                print(f"{output}\nFAILED: {name}")
    if failed:
        sys.exit(1)


def export():
    merged = BUILD / "all.profdata"
    subprocess.run(["llvm-profdata-14", "merge", "-o", merged, *PROFILES.glob("*.profraw")], check=True)
    objects = [BUILD / library for library in LIBRARIES] + [program(name) for name in PROGRAMS]
    command = ["llvm-cov-14", "export", f"-instr-profile={merged}", str(objects[0])]
    for other in objects[1:]:
        command += ["-object", str(other)]
    command += [str(ROOT / layer) for layer in LAYERS]
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)["data"][0]


def counts_of_lines(segments):
    """{line: count}, the highest of the regions that touch the line. A segment is
    [line, column, count, has a count, begins a region, is a gap] and holds up to the next one."""
    by_line = collections.defaultdict(list)
    for segment in segments:
        by_line[segment[0]].append(segment)
    counts = {}
    before = None
    for line in range(min(by_line, default=1), max(by_line, default=0) + 1):
        here = by_line[line]
        begun = [each[2] for each in here if each[3] and each[4] and not each[5]]
        is_left_out = bool(here) and not here[0][3] and here[0][4]
        goes_on = before is not None and before[3]
        if not is_left_out and (goes_on or begun):
            counts[line] = max(begun + ([before[2]] if goes_on else []))
        if here:
            before = here[-1]
    return counts


def counts_of_branches(branches):
    """{(place, side): count}, over all instantiations. A condition of constants has no sides."""
    counts = collections.Counter()
    for branch in branches:
        place = tuple(branch[:4])
        counts[place, "true"] += branch[4]
        counts[place, "false"] += branch[5]
    return counts


class Source:
    def __init__(self, data):
        path = pathlib.Path(data["filename"])
        self.name = str(path.relative_to(ROOT))
        self.text = path.read_text().splitlines()
        self.lines = counts_of_lines(data["segments"])
        self.branches = counts_of_branches(data["branches"])

    def condition(self, place):
        first, from_column, last, to_column = place
        if first == last:
            return self.text[first - 1][from_column - 1:to_column - 1]
        parts = [self.text[first - 1][from_column - 1:], *self.text[first:last - 1],
                 self.text[last - 1][:to_column - 1]]
        return " ".join(part.strip() for part in parts)

    def missed(self):
        """(line's number, what) of all that was not reached, where what is as in the list."""
        found = [(line, "line") for line, count in sorted(self.lines.items()) if count == 0]
        found += [(place[0], f"{side}: {self.condition(place)}")
                  for (place, side), count in sorted(self.branches.items()) if count == 0]
        return found

    def numbers_of(self, text):
        """The numbers of the lines that end these consecutive ones, joined by " / "."""
        wanted = text.split(" / ")
        lines = [line.strip() for line in self.text]
        return [end for end in range(len(wanted), len(lines) + 1)
                if lines[end - len(wanted):end] == wanted]


def read_list():
    """The paragraphs of the list, each a dictionary of its fields."""
    for paragraph in LIST.read_text().split("\n\n"):
        lines = [line for line in paragraph.splitlines() if line and not line.startswith("#")]
        if lines:
            entry = dict(line.split(": ", 1) for line in lines)
            if set(entry) != {"file", "text", "what", "why"}:
                sys.exit(f"FAILED: {LIST.name}: a paragraph with other fields: {entry}")
            yield entry


def take_listed(missed, sources):
    """Takes what is listed out of `missed` and returns (how much of it by file, what is wrong)."""
    excluded = collections.Counter()
    wrong = []
    for entry in read_list():
        name = f"{entry['file']}: {entry['what']}: {entry['text']}"
        source = sources.get(entry["file"])
        places = source.numbers_of(entry["text"]) if source else []
        if not places:
            wrong.append(f"listed, and not there (no longer needed): {name}")
        elif len(places) > 1:
            wrong.append(f"listed, and there {len(places)} times: {name}")
        elif (source.name, places[0], entry["what"]) not in missed:
            wrong.append(f"listed, and reached (no longer needed): {name}")
        else:
            missed.remove((source.name, places[0], entry["what"]))
            excluded[source.name, entry["what"] == "line"] += 1
    return excluded, wrong


def print_figures(sources, excluded):
    for layer in LAYERS:
        own = [source for name, source in sources.items() if name.startswith(layer + "/")]
        lines = [count for source in own for count in source.lines.values()]
        sides = [count for source in own for count in source.branches.values()]
        for what, counts in (("lines", lines), ("branches", sides)):
            left_out = sum(number for (name, is_line), number in excluded.items()
                           if name.startswith(layer + "/") and is_line == (what == "lines"))
            reached = sum(1 for count in counts if count > 0)
            print(f"FIGURE coverage {layer}: {what} {len(counts)}, covered {reached}, excluded {left_out}")


def main():
    if "--no-build" not in sys.argv[1:]:
        build()
    if "--no-run" not in sys.argv[1:]:
        run_all()
    sources = {source.name: source for source in map(Source, export()["files"])}
    failures = [f"{path.relative_to(ROOT)}: not in the build" for layer in LAYERS
                for path in sorted((ROOT / layer).rglob("*.cpp"))
                if str(path.relative_to(ROOT)) not in sources]
    missed = [(source.name, line, what) for source in sources.values() for line, what in source.missed()]
    excluded, wrong = take_listed(missed, sources)
    failures += wrong
    for name, line, what in missed:
        failures.append(f"not reached: {name}:{line}: {what}: {sources[name].text[line - 1].strip()}")
    print_figures(sources, excluded)
    for failure in failures:
        print("FAILED:", failure)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
