#!/usr/bin/env python3
"""readers-agree.py FORMATS GOLDEN: the reader generated from the format description sees the same as the
independent reader in every golden file, in their variants and in the inputs of the fuzzers: the same
fields, or damage where the other sees damage.
"""
import pathlib
import sys

sys.dont_write_bytecode = True
sys.path.append(sys.argv[1])
try:
    from kaitaistruct import BytesIO, KaitaiStream
except ImportError:
    print("SKIPPED: there is no python3-kaitaistruct")
    sys.exit(77)
import specimens
from quendril import Quendril


def sub_fields(sub):
    if sub.len_data == 0:
        return b"", 0, 0xFFFFFFFF
    return sub.data.ident.data, sub.data.param1, sub.data.param2


def container_fields(blob):
    try:
        container = Quendril.Container(KaitaiStream(BytesIO(blob)))
    except EOFError:
        return None
    path = container.path.data.split(b"\0")[0]
    return (path, container.ident1.data, container.ident2.data, container.param,
            [sub_fields(sub) for sub in container.sub_records])


def file_fields(data):
    try:
        file = Quendril.from_bytes(data)
    except EOFError:
        return None
    words = file.reserved, file.cleaned_mark, file.len_header
    return words, file.header, [record.data.raw for record in file.records]


golden = pathlib.Path(sys.argv[2])
comparison = specimens.Comparison()
for name, data in specimens.all_files(golden):
    comparison.add(name, data, file_fields(data), specimens.file_fields(data))
for name, blob in specimens.all_records(golden):
    comparison.add(name, blob, container_fields(blob), specimens.container_fields(blob))
comparison.end()
