#!/usr/bin/env python3
"""pattern-translated.py FORMATS GOLDEN: quendril.hexpat, translated line by line into Python, sees the
same as the independent reader in the golden files, in their variants and in the inputs of the fuzzers.

The translation knows the few constructs that the pattern uses, as this test understands them; the
editor that the pattern is for is not run. What is not understood fails.
"""
import pathlib
import re
import sys

sys.dont_write_bytecode = True
import specimens

NAME = r"[A-Za-z]\w*"
# A line of the pattern, and what becomes of it. In a struct each field is a local variable.
LINES = [
    (rf"struct ({NAME}) \{{", r"def \1():"),
    (rf"fn ({NAME})\(u64 ({NAME}), u64 ({NAME})\) \{{", r"def \1(\2, \3):"),
    (r"if \((.*)\) \{", r"if \1:"),
    (r"\} else \{", "else:"),
    (r"while \((.*)\) \{", r"while \1:"),
    (r"return (.*);", r"return \1"),
    (r"\$ = (.*);", r"go(\1)"),
    (rf"u64 ({NAME}) = (.*);", r"\1 = \2"),
    (rf"u8 ({NAME})\[(.*)\];", r"\1 = take(\2)"),
    (rf"({NAME}) ({NAME})\[while\(!std::mem::eof\(\)\)\];", r"\2 = [\1() for _ in iter(is_eof, True)]"),
    (rf"({NAME}) ({NAME})\[(.*)\];", r"\2 = [\1() for _ in range(\3)]"),
    (rf"({NAME}) ({NAME}) @ 0x00;", r"\2 = \1"),
    (rf"({NAME}) ({NAME});", r"\2 = \1()"),
    (rf"({NAME}) = (.*);", r"\1 = \2"),
]
WORDS = {"$": "here()", "std::mem::": "", "&&": "and", "false": "False", "true": "True"}


def translated_line(line):
    for form, python in LINES:
        if re.fullmatch(form, line):
            text = re.sub(form, python, line)
            for word, meaning in WORDS.items():
                text = text.replace(word, meaning)
            return text
    sys.exit(f"FAILED: the translation does not know: {line}")


def translate(pattern):
    """Python with a function for each function and for each struct; a struct's returns its fields."""
    python, depth, is_struct = [], 0, False
    for line in re.sub(r"//.*", "", pattern).splitlines():
        line = line.strip()
        if not line or line.startswith(("#pragma", "import ")):
            continue
        if line in ("}", "};"):
            if depth == 1 and is_struct:
                python.append("    return dict(locals())")
            depth -= 1
            continue
        if depth == 0:
            is_struct = line.startswith("struct ")
        depth -= line.startswith("}")
        python.append("    " * depth + translated_line(line))
        depth += line.endswith("{")
    return "\n".join(python)


class Memory:
    """What a pattern is laid over: bytes and a position."""

    def __init__(self, data):
        self.data, self.position = data, 0

    def take(self, count):
        if count > len(self.data) - self.position:
            raise EOFError
        self.position += count
        return self.data[self.position - count:self.position]

    def names(self):
        return {"take": self.take, "here": lambda: self.position, "go": lambda to: setattr(self, "position", to),
                "size": lambda: len(self.data), "is_eof": lambda: self.position >= len(self.data),
                "u32": lambda: int.from_bytes(self.take(4), "little"),
                "read_unsigned": lambda at, size: int.from_bytes(self.data[at:at + size], "little")}


CODE = compile(translate(pathlib.Path(sys.argv[1], "quendril.hexpat").read_text()), "quendril.hexpat", "exec")


def laid_over(data):
    names = Memory(data).names()
    exec(CODE, names)
    try:
        return names["file"]()
    except EOFError:
        return None


def sub_fields(sub):
    if sub["len_data"] == 0:
        return b"", 0, 0xFFFFFFFF
    return sub["data"]["ident"]["data"], sub["data"]["param1"], sub["data"]["param2"]


def container_fields(data):
    """None for what the pattern shows as mere bytes."""
    if isinstance(data, bytes):
        return None
    path = data["path"]["data"].split(b"\0")[0]
    return (path, data["ident1"]["data"], data["ident2"]["data"], data["param"],
            [sub_fields(sub) for sub in data["sub_records"]])


golden = pathlib.Path(sys.argv[2])
comparison = specimens.Comparison()
for name, data in specimens.all_files(golden):
    file, expected = laid_over(data), specimens.file_fields(data)
    seen = file and ((file["reserved"], file["cleaned_mark"], file["len_header"]), file["header"])
    comparison.add(name, data, seen, expected and expected[:2])
for name, blob in specimens.all_records(golden):
    file = laid_over(bytes(12) + len(blob).to_bytes(4, "little") + blob)
    comparison.add(name, blob, container_fields(file["records"][0]["data"]), specimens.container_fields(blob))
comparison.end()
