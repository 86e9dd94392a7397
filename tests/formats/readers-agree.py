#!/usr/bin/env python3
"""readers-agree.py FORMATS GOLDEN: the reader generated from the format description sees the same as the
independent reader in every golden file, in each of them cut at every length and with bytes changed at
random, and in the inputs of the fuzzers: the same fields, or damage where the other sees damage.
"""
import pathlib
import random
import re
import sys

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path += [sys.argv[1], str(ROOT / "tests/hard/bits")]
try:
    import kaitaistruct
except ImportError:
    print("SKIPPED: there is no python3-kaitaistruct")
    sys.exit(77)
import independent_reader as independent
import quendril

CHANGES = 1500  # Of each golden file.


def golden_files():
    """The files that the header tells byte by byte, by name."""
    text = pathlib.Path(sys.argv[2]).read_text()
    for name, body in re.findall(r'constexpr char (\w+)\[\] = R"\((.*?)\)";', text, re.S):
        yield name, bytes.fromhex("".join(line.split("#")[0] for line in body.splitlines()))


def variants(data, rng):
    for size in range(len(data)):
        yield data[:size]
    for _ in range(CHANGES):
        changed = bytearray(data)
        for _ in range(rng.randint(1, 3)):
            changed[rng.randrange(len(data))] = rng.choice((0, 1, 2, 4, 12, 255, rng.randrange(256)))
        yield bytes(changed)


def text(path):
    return path.data.split(b"\0")[0]


def sub_records(container):
    for sub in container.sub_records:
        data = sub.data if sub.len_data != 0 else None
        yield (data.ident.data, data.param1, data.param2) if data else (b"", 0, 0xFFFFFFFF)


def generated_container(blob):
    """The fields of a container record, None when it is damaged."""
    try:
        container = quendril.Quendril.Container(kaitaistruct.KaitaiStream(kaitaistruct.BytesIO(blob)))
    except EOFError:
        return None
    return (text(container.path), container.ident1.data, container.ident2.data, container.param,
            list(sub_records(container)))


def independent_container(blob):
    container = independent.Container(blob)
    if container.failure:
        return None
    return container.path, container.first, container.second, container.param, container.subs


def generated_file(data):
    """The fields of a record file, None when it is damaged."""
    try:
        file = quendril.Quendril.from_bytes(data)
    except EOFError:
        return None
    words = file.reserved, file.cleaned_mark, file.len_header
    return words, file.header, [record.data.raw for record in file.records]


def independent_file(data):
    file = independent.File(data)
    return None if file.status else (file.words, file.header, file.records)


differences = []
counts = {"whole": 0, "damaged": 0}


def compare(name, one, other, data):
    seen, expected = one(data), other(data)
    counts["damaged" if expected is None else "whole"] += 1
    if seen != expected and len(differences) < 10:
        differences.append(f"{name}, {data.hex()}:\n  {seen}\nnot\n  {expected}")


def compare_file(name, data):
    compare(name, generated_file, independent_file, data)
    for record in independent.File(data).records:
        compare(f"a record of {name}", generated_container, independent_container, record)


rng = random.Random(1)
goldens = dict(golden_files())
for name, data in goldens.items():
    if independent_file(data) is None:
        differences.append(f"{name} is damaged")
    compare_file(name, data)
    for variant in variants(data, rng):
        compare_file(f"a variant of {name}", variant)
for file in sorted((ROOT / "fuzz/corpus").glob("RecordFile*/*")):
    compare_file(str(file), file.read_bytes())
for file in sorted((ROOT / "fuzz/corpus").glob("ContainerRecord/*")):
    compare(str(file), generated_container, independent_container, file.read_bytes())

print(f"{len(goldens)} golden files; {counts['whole']} whole files and records, {counts['damaged']} damaged ones")
for difference in differences:
    print("FAILED:", difference)
sys.exit(1 if differences or len(goldens) < 3 else 0)
