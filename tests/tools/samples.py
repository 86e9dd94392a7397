"""Catalogue files for the tests of the program, written without anything of the library."""
import struct


def word(value):
    return struct.pack("<I", value)


def item(data):
    return word(len(data)) + data


def container(path, first=b"", second=b"", param=0, subs=()):
    blob = item(path) + item(first) + item(second) + word(param) + word(len(subs))
    for ident, one, two in subs:
        blob += item(item(ident) + word(one) + word(two))
    return blob


def record_file(records, mark=1, reserved=0, header=b""):
    return word(reserved) + word(mark) + item(header) + b"".join(map(item, records))
