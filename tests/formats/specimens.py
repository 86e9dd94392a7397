"""Record files and container records, with what the independent reader sees in them: the golden files,
each cut at every length and with bytes changed at random, and the fuzzers' inputs."""
import pathlib
import random
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tests/hard/bits"))
import independent_reader as independent

CHANGES = 1500  # Of each golden file.
FEWEST_GOLDEN_FILES = 3


def golden_files(header):
    """The files that the header tells byte by byte, by name."""
    for name, body in re.findall(r'constexpr char (\w+)\[\] = R"\((.*?)\)";', header.read_text(), re.S):
        yield name, bytes.fromhex("".join(line.split("#")[0] for line in body.splitlines()))


def variants(data, rng):
    for size in range(len(data)):
        yield data[:size]
    for _ in range(CHANGES):
        changed = bytearray(data)
        for _ in range(rng.randint(1, 3)):
            changed[rng.randrange(len(data))] = rng.choice((0, 1, 2, 4, 12, 255, rng.randrange(256)))
        yield bytes(changed)


def all_files(header):
    """Names and bytes."""
    rng = random.Random(1)
    goldens = dict(golden_files(header))
    if len(goldens) < FEWEST_GOLDEN_FILES or not all(map(file_fields, goldens.values())):
        sys.exit(f"FAILED: the golden files are {sorted(goldens)}, or damaged")
    for name, data in goldens.items():
        yield name, data
        for variant in variants(data, rng):
            yield f"a variant of {name}", variant
    for file in sorted((ROOT / "fuzz/corpus").glob("RecordFile*/*")):
        yield str(file), file.read_bytes()


def all_records(header):
    """Names and bytes: the records of all these files, as far as they can be read, and the fuzzers'."""
    for name, data in all_files(header):
        for record in independent.File(data).records:
            yield f"a record of {name}", record
    for file in sorted((ROOT / "fuzz/corpus").glob("ContainerRecord/*")):
        yield str(file), file.read_bytes()


def file_fields(data):
    """The words, the header and the records of a file; None when it is damaged."""
    file = independent.File(data)
    return None if file.status else (file.words, file.header, file.records)


def container_fields(blob):
    """The path, both blobs, the number and the sub-records; None when it is damaged."""
    container = independent.Container(blob)
    if container.failure:
        return None
    return container.path, container.first, container.second, container.param, container.subs


class Comparison:
    """Of what two readers see; the first few differences are printed."""

    def __init__(self):
        self.whole = self.damaged = self.different = 0

    def add(self, name, data, seen, expected):
        if expected is None:
            self.damaged += 1
        else:
            self.whole += 1
        if seen != expected:
            self.different += 1
            if self.different <= 5:
                print(f"FAILED: {name}, {data.hex()}:\n  {seen}\nnot\n  {expected}")

    def end(self):
        print(f"{self.whole} whole files and records, {self.damaged} damaged ones, {self.different} seen differently")
        sys.exit(1 if self.different or not self.whole or not self.damaged else 0)
