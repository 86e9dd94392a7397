#!/usr/bin/env python3
"""pattern-fields.py FORMATS: the structs of quendril.hexpat have the fields of the types in quendril.ksy:
the same names, types, lengths and conditions in the same order.

The pattern is only read here; pattern-translated.py is about what it does.
"""
import pathlib
import re
import sys

import yaml

formats = pathlib.Path(sys.argv[1])
description = yaml.safe_load((formats / "quendril.ksy").read_text())
pattern = re.sub(r"//.*", "", (formats / "quendril.hexpat").read_text())
failures = []

UNTIL_THE_END = "while(!std::mem::eof())"
# What a blob of the description is in the pattern, which chooses by itself.
BLOB = [("if", "is_container($, end)"), ("Container", "data", ""), ("else", ""), ("u8", "data", "[len_data]")]


def camel(name):
    return "".join(part.capitalize() for part in name.split("_"))


def fields_of_type(attributes):
    """What a struct for these attributes must consist of."""
    for attribute in attributes:
        name, kind = attribute["id"], attribute.get("type")
        if "if" in attribute:
            yield "if", attribute["if"]
        if kind == "blob":
            yield from BLOB
        elif kind is None:
            yield "u8", name, f"[{attribute['size']}]"
        else:
            count = {None: "", "eos": f"[{UNTIL_THE_END}]"}.get(attribute.get("repeat"))
            yield "u32" if kind == "u4" else camel(kind), name, \
                f"[{attribute['repeat-expr']}]" if count is None else count


def fields_of_struct(body):
    """What the struct does consist of; where it ends, if it says so, is left out."""
    ends = re.findall(r"u64 end = \$ \+ len_data;|\$ = end;", body)
    statements = re.finditer(r"if \((?P<condition>.*)\) \{|^\s*\} (?P<else>else) \{|^\s*(?P<type>\w+) (?P<name>\w+)"
                             r"(?P<array>\[.*\])?;|^\s*(?P<end>u64 end = .*|\$ = end);|^\s*\}|(?P<rest>\S.*)", body, re.M)
    fields = []
    for statement in statements:
        if statement["condition"]:
            fields.append(("if", statement["condition"]))
        elif statement["else"]:
            fields.append(("else", ""))
        elif statement["type"]:
            fields.append((statement["type"], statement["name"], statement["array"] or ""))
        elif statement["rest"]:
            failures.append(f"not understood: {statement['rest']}")
    return fields, ends


types = {"quendril": description["seq"]}
types.update({name: kind["seq"] for name, kind in description["types"].items() if name != "blob"})
structs = dict(re.findall(r"^struct (\w+) \{\n(.*?)^\};", pattern, re.M | re.S))
if sorted(structs) != sorted(map(camel, types)):
    failures.append(f"the structs {sorted(structs)} for the types {sorted(types)}")
for name, attributes in types.items():
    fields, ends = fields_of_struct(structs.get(camel(name), ""))
    expected = list(fields_of_type(attributes))
    if fields != expected:
        failures.append(f"{camel(name)}:\n  {fields}\nnot\n  {expected}")
    # Who has a length and decodes less of it goes on behind it.
    has_end = any("size" in attribute and "type" in attribute for attribute in attributes)
    if len(ends) != (2 if has_end else 0):
        failures.append(f"{camel(name)} ends {ends}")
if not re.search(r"^Quendril file @ 0x00;$", pattern, re.M) or "#pragma endian little" not in pattern:
    failures.append("the pattern is not laid over the file, little-endian")

print(f"{len(types)} structs, {sum(map(len, types.values()))} fields")
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
