#!/usr/bin/env python3
"""header-comments.py HEADER: prints the header with its plain comments as documentation comments.

The headers have one kind of comment. One directly over a declaration belongs to that, and to its
overloads right behind it; one behind a declaration belongs to that; one with a blank line behind it,
before all declarations, to the file. Indented lines in it are a table or code. Any other comment stays
what it is.
"""
import re
import sys

# Comments that are of everything down to the next blank line or comment.
OF_ALL = (
    "Both return the bytes transferred.",
    "Modes of stor_Open.",
    "Move the calling thread's cursor",
    "A new hold of the file's lock",
    "Origins of stor_Seek.",
    "The same members of the catalogue.",
    "The same without all in memory",
    "The storage. Handles belong to the caller",
)

TRAILING = re.compile(r"(\s*[^\s/].*?[;,{])\s+// (?!NOLINT|cppcheck)(.*)")
FUNCTION = re.compile(r".*?([\w~]+|operator\W+)\(")


def comment(line):
    """The text of a line that is nothing but a comment, or None."""
    found = re.fullmatch(r"\s*// ?(.*)", line)
    if not found or re.match(r"NOLINT|cppcheck-suppress", found[1]):
        return None
    return found[1]


def indent(line):
    return len(line) - len(line.lstrip())


def documentation(texts):
    """The lines of a documentation comment, its indented stretches as they are."""
    out = []
    is_verbatim = False
    for number, text in enumerate(texts):
        following = next((other for other in texts[number:] if other), "")
        if not is_verbatim and text.startswith("  "):
            out.append(r"\verbatim")
            is_verbatim = True
        elif is_verbatim and not following.startswith("  "):
            out.append(r"\endverbatim")
            is_verbatim = False
        out.append(text)
    if is_verbatim:
        out.append(r"\endverbatim")
    # No second comment begins inside it.
    return ["/**", *(text.replace("/*", r"/\*") for text in out), "*/"]


def name_of(line):
    found = FUNCTION.match(line)
    return found[1] if found else None


def same_comment(lines, first, is_of_all):
    """The numbers of the declarations, from the first on, that the comment over that is of."""
    margin = indent(lines[first])
    name = name_of(lines[first])
    # What is said of one constructor is not said of another.
    is_constructor = re.match(r"\s*(explicit )?\w+\(", lines[first])
    numbers = [first]
    for number in range(first + 1, len(lines)):
        line = lines[number]
        if not line or comment(line) is not None or indent(line) < margin:
            break
        if indent(line) > margin or line.lstrip().startswith("}"):
            continue
        if not is_of_all and (is_constructor or name is None or name_of(line) != name):
            break
        if not TRAILING.match(line):
            numbers.append(number)
    return numbers


def main(lines):
    over = {}  # What is to stand over a line.
    kept = list(lines)
    is_head = True
    position = 0
    while position < len(lines):
        end = position
        while end < len(lines) and comment(lines[end]) is not None:
            end += 1
        if end == position:
            is_head = is_head and (not lines[position] or lines[position].startswith("#"))
            kept[position] = TRAILING.sub(r"\1  ///< \2", lines[position])
            position += 1
            continue
        texts = [comment(line) for line in lines[position:end]]
        if end < len(lines) and lines[end]:
            for number in same_comment(lines, end, texts[0].startswith(OF_ALL)):
                over[number] = documentation(texts)
            kept[position:end] = [None] * (end - position)
        elif is_head:
            over[end] = documentation(["\\file", *texts])
            kept[position:end] = [None] * (end - position)
        is_head = is_head and not (end < len(lines) and lines[end])
        position = end
    for number, line in enumerate(kept):
        if number in over:
            print("\n".join(over[number]))
        if line is not None:
            print(line)


if __name__ == "__main__":
    main(open(sys.argv[1]).read().splitlines())
