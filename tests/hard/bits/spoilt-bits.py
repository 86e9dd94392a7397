#!/usr/bin/env python3
"""spoilt-bits.py READER ORIGINAL MEMORY SHARE: every small change of a file, read twice.

READER is the program bits-reader; ORIGINAL the name of one of its originals. The original is
changed in each bit, cut at each length, given wrong values in each length field, and changed in two
bytes at random; READER says what the library sees in each variant, independent_reader.py what there
is to see. READER must neither crash nor hang nor take more memory than a file of that size gives
reason for: MEMORY is a limit to its address space in MiB, 0 for none. Of the random changes only
one of SHARE is made; with QUENDRIL_HARD=full in the environment there are a million in all.
"""
import collections
import os
import queue
import random
import resource
import struct
import subprocess
import sys
import tempfile
import threading

sys.dont_write_bytecode = True
import independent_reader as independent

READER, ORIGINAL = sys.argv[1:3]
MEMORY, SHARE = map(int, sys.argv[3:5])
IS_FULL = os.environ.get("QUENDRIL_HARD") == "full"
ORIGINALS = ("plain", "catalogue", "short", "record")
RANDOM_CHANGES = (1_000_000 if IS_FULL else 20_000) // len(ORIGINALS) // SHARE
# How many records the original has, and how many of them are containers.
COUNTS = {"plain": (8, 0), "catalogue": (5, 5), "short": (10, 0), "record": (0, 1)}
IS_FILE = ORIGINAL != "record"
MOST_MESSAGES = 10

# What may be asked for in one block, in bytes beyond the size of the file or the record: a window
# of a file (64 KiB), the growth of the buffer in memory, a node of a list.
ROOM = {"disk": 0x11000, "memory": 1024, "catalogue": 0x11000, "decoding": 64}


def variants(original):
    """Pairs of a description and bytes."""
    yield "the original", original
    for size in range(len(original)):
        yield f"cut to {size} bytes", original[:size]
    for offset in range(len(original)):
        for bit in range(8):
            changed = bytearray(original)
            changed[offset] ^= 1 << bit
            yield f"bit {bit} of byte {offset} flipped", bytes(changed)
    fields = independent.length_fields(original, IS_FILE)
    for field in fields:
        right = independent.word(original, field)
        for wrong in (0, right - 1, right + 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF,
                      *around_the_end(field, len(original))):
            changed = bytearray(original)
            struct.pack_into("<I", changed, field, wrong & 0xFFFFFFFF)
            yield f"length {wrong:#x} at byte {field}", bytes(changed)
    yield from random_changes(original, fields)


def around_the_end(field, size):
    """Lengths of about all bytes, of those behind the field, and with which a sum of 32 bits wraps
    to about 0 or to the field itself."""
    for near in (size, size - field - 4, -field - 4, -4):
        yield from (near - 1, near, near + 1)


def random_changes(original, fields):
    """Any two bytes; every other time one that belongs to a length, where more comes of it."""
    source = random.Random(f"spoilt bits of {ORIGINAL}")
    for number in range(RANDOM_CHANGES):
        changed = bytearray(original)
        for _ in range(2):
            offset = source.randrange(len(original))
            if source.random() < 0.5:
                offset = source.choice(fields) + source.randrange(4)
            value = source.choice((source.randrange(256), source.randrange(16), 0, 255))
            changed[offset] = value
        yield f"random change {number}", bytes(changed)


def limit_memory():
    if MEMORY:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY << 20, MEMORY << 20))


class Check:
    def __init__(self):
        self.failures = 0
        self.count = 0
        self.damaged = 0
        self.loaded = 0  # Files of which the catalogue has at least one record.
        self.largest = collections.Counter()

    def fail(self, message):
        self.failures += 1
        if self.failures <= MOST_MESSAGES:
            print("FAILED:", message)

    def take(self, description, data, line):
        self.count += 1
        said, _, largest = line.rpartition(" largest=")
        expected = (independent.line_of_file if IS_FILE else independent.line_of_record)(data)
        if said != expected:
            self.fail(f"{description}: {data.hex()}\n  expected {expected}\n  the library {said}")
        if IS_FILE:
            self.damaged += independent.File(data).status != 0
            self.loaded += " catalogue=0:" not in said
            self.compare_backends(description, data, said)
        else:
            self.damaged += independent.Container(data).failure != ""
        for name, figure in zip(ROOM, largest.split(",")):
            self.largest[name] = max(self.largest[name], int(figure))
            if int(figure) > len(data) + ROOM[name]:
                self.fail(f"{description}: {data.hex()}\n  {name} asks for {figure} bytes at once")
        if IS_FULL and self.count % 10_000 == 0:
            print(f"{ORIGINAL}: {self.count} variants", flush=True)

    def compare_backends(self, description, data, said):
        """Opened alike, but for a file of length 0: status, words, header, offsets, each record."""
        on_disk, found, in_memory = said.partition(" memory=")
        on_disk, in_memory = (text.partition(" all=")[0] for text in (on_disk, in_memory))
        if data and (not found or on_disk != "disk=" + in_memory):
            self.fail(f"{description}: {data.hex()}\n  the backends differ")


def feed(original, pipe, waiting):
    """Writes all variants, and a None to `waiting` behind the last."""
    kind = b"F" if IS_FILE else b"R"
    try:
        for description, data in variants(original):
            waiting.put((description, data))
            pipe.write(kind + struct.pack("<I", len(data)) + data)
            pipe.flush()
        pipe.close()
    except BrokenPipeError:
        pass  # It has ended; the next variant without a line says where.
    waiting.put(None)


def run(original, check, folder):
    """READER makes its files in `folder`, so that nothing is left of one that crashed."""
    reader = subprocess.Popen([READER, "read"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              env={**os.environ, "TMPDIR": folder}, preexec_fn=limit_memory)
    waiting = queue.Queue()
    feeder = threading.Thread(target=feed, args=(original, reader.stdin, waiting), daemon=True)
    feeder.start()
    is_ended = False
    for description, data in iter(waiting.get, None):
        line = b"" if is_ended else reader.stdout.readline()
        if not line.endswith(b"\n") and not is_ended:
            check.fail(f"{description}: {data.hex()}\n  the reader ended with {reader.wait()}")
            is_ended = True
        if not is_ended:
            check.take(description, data, line.decode("ascii").rstrip("\n"))
    feeder.join()
    if reader.wait() != 0 and not is_ended:
        check.fail(f"the reader ended with {reader.returncode}")


def check_original(original, check):
    if IS_FILE:
        file = independent.File(original)
        containers = [independent.Container(record) for record in file.records]
        found = len(file.records), sum(not container.failure for container in containers)
    else:
        found = 0, int(not independent.Container(original).failure)
    if found != COUNTS[ORIGINAL]:
        check.fail(f"the original has {found} records and containers")


check = Check()
original = subprocess.run([READER, "original", ORIGINAL], capture_output=True, check=True).stdout
check_original(original, check)
with tempfile.TemporaryDirectory() as folder:
    run(original, check, folder)
largest = ", ".join(f"{name} {figure}" for name, figure in check.largest.items())
print(f"FIGURE bits {ORIGINAL}: {len(original)} bytes, {check.count} variants,"
      f" {check.damaged} damaged, {check.loaded} loaded, {check.failures} differences")
print(f"FIGURE bits {ORIGINAL}: largest blocks in bytes: {largest}")
sys.exit(1 if check.failures or check.damaged in (0, check.count) else 0)
