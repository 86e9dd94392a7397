#!/usr/bin/env python3
"""make-corpus.py: writes the inputs in corpus/ that are made by design. Those that once were a finding
are kept beside them, named found-*.
"""
import pathlib
import struct

corpus = pathlib.Path(__file__).resolve().parent / "corpus"


def word(value):
    return struct.pack("<I", value)


def item(data):
    return word(len(data)) + data


def record_file(header, records, reserved=0, mark=0):
    return word(reserved) + word(mark) + item(header) + b"".join(map(item, records))


def container(path, ident1=b"", ident2=b"", param=0, subs=()):
    blobs = b"".join(item(item(ident) + word(1) + word(0xFFFFFFFF)) for ident in subs)
    return item(path) + item(ident1) + item(ident2) + word(param) + word(len(subs)) + blobs


def operations(file, *steps, memory=False):
    """Each step is (operation, index, length); the names are in RecordOperations.cpp."""
    tail = b"".join(struct.pack("<BBH", operation, index + 1, length) for operation, index, length in steps)
    return bytes([memory]) + struct.pack("<H", len(file)) + file + tail


def texts(first, second):
    return bytes([len(first)]) + first + second


CLEAR, GET, PUT, ADD, PUT_LIST, DEL, EMPTY, PUT_HEADER, GET_ALL, RELOAD = range(10)
three = record_file(b"the header", [b"first", b"", b"the third"], 1, 2)
FILES = {
    "empty": b"",
    "words": record_file(b"", []),
    "header": record_file(b"the header", []),
    "three-records": three,
    "cut-words": three[:7],
    "cut-header": three[:15],
    "cut-prefix": three[:-11],
    "cut-record": three[:-1],
    "length-of-4-gib": three + word(0xFFFFFFFF),
    "header-of-4-gib": word(0) + word(0) + word(0xFFFFFFFF) + b"x",
}
CONTAINERS = {
    "full": container(b"/keys/alice", b"one", b"two", 7, [b"", b"sub"]),
    "path": container(b"/keys/bob"),
    "zero-in-path": container(b"/keys\0/bob"),
    "many-subs": container(b"/a")[:-4] + word(0xFFFFFFFF),
    "cut-sub": container(b"/a", subs=[b"sub"])[:-1],
    "short-sub": container(b"/a")[:-4] + word(2) + item(b"") + item(word(9)),
}
INPUTS = {
    "RecordFileOnDisk": {**FILES, "catalogue": record_file(b"", list(CONTAINERS.values()), 0, 1),
                         "stale": record_file(b"", [container(b"/no/such"), container(b"/")])},
    "RecordFileInMemory": FILES,
    "ContainerRecord": CONTAINERS,
    "RecordOperations": {
        **{f"grow-{name}": operations(three, (PUT, 0, 300), (PUT_HEADER, 0, 40), (GET_ALL, 0, 0), memory=where)
           for name, where in (("disk", False), ("memory", True))},
        **{f"shrink-{name}": operations(three, (PUT, 2, 0), (DEL, 0, 0), (PUT_HEADER, 0, 0), (GET_ALL, 0, 0),
                                        memory=where)
           for name, where in (("disk", False), ("memory", True))},
        "over-short-records": operations(record_file(b"", [b"aaaaa"] * 3), (PUT, 0, 15), (GET, 2, 0)),
        "anew": operations(three, (EMPTY, 0, 0), (PUT_LIST, 0, 5), (RELOAD, 0, 0), (ADD, 0, 9)),
        "on-a-cut-file": operations(three[:-1], (CLEAR, 0, 0), (PUT, 0, 50), (PUT_LIST, 0, 3), (GET_ALL, 0, 0)),
        "from-nothing": operations(b"", (PUT_HEADER, 0, 12), (ADD, 0, 8), (PUT, -1, 8), (DEL, 0, 0)),
    },
    "ContainerPath": {
        "absolute": b"/var/keys/alice", "relative": b"keys/./alice/", "root": b"//", "dot": b"././",
        "up": b"/a/../b", "empty": b"", "slashes": b"//a///.//b//",
    },
    "FoldedText": {
        "ascii": texts(b"/Keys/ALICE", b"/keys/alice"),
        "umlaut": texts("Ä".encode(), "ä".encode()),
        "kelvin": texts("\u212a".encode(), b"k"),
        "dotted": texts("\u0130".encode(), b"i"),
        "cut": texts(b"a\xc3", b"A\xc3\xa4"),
        "overlong": texts(b"\xc1\x81", b"A"),
        "four-bytes": texts("\U00010428".encode(), "\U00010400".encode()),
    },
}
for target, inputs in INPUTS.items():
    folder = corpus / target
    folder.mkdir(parents=True, exist_ok=True)
    for name, content in inputs.items():
        (folder / name).write_bytes(content)
