#!/usr/bin/env python3
"""samples.py SOURCES BUILD COMPILER CMAKE [PAGE...]: compiles and runs what the pages show.

In README.md and docs/*.md an HTML comment over a block says what is done with it:

  <!-- sample -->            the block, C++, is the body of a function; it is run
  <!-- sample                the same, with these lines before it
  lines
  -->
  <!-- sample: file NAME --> the block is written to the file NAME
  <!-- sample: run -->       the block, shell commands, is run
  <!-- output -->            the block is what the sample before it prints, exactly

The samples of a page are run one after the other in one scratch folder, each C++ one in a process of
its own. There the machine-wide catalogue is in the folder "common", the library is installed in
$HOME/quendril, and the built programs are on the PATH. Other blocks of C++ are failures. Other blocks
of commands, and texts that say `./PROGRAM`, must name programs that there are, and blocks of CMake
lines that a sample's file has too.

What the manual pages show as C++, in a literal display of lines that end with ";", is compiled.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

sources, build = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
compiler, cmake = sys.argv[3:5]
failures = []

BLOCK = re.compile(
    r"(?:^<!-- (?P<mark>(?:sample|output)\b.*?)-->\n)?^```(?P<language>\w*)\n(?P<text>.*?)^```$",
    re.MULTILINE | re.DOTALL)
MARK = re.compile(r"^<!-- (sample|output)\b", re.MULTILINE)
TIME_LIMIT = 120


# Of manual pages; it has the groups of BLOCK.
DISPLAY = re.compile(
    r"^\.Bd -literal[^\n]*\n(?P<text>(?P<language>(?P<mark>))[^\n]*;\n.*?)^\.Ed$", re.MULTILINE | re.DOTALL)


class Block:
    def __init__(self, page, content, match, is_display=False):
        self.mark = "sample" if is_display else (match["mark"] or "").rstrip()
        self.language = "cpp" if is_display else match["language"]
        self.text = match["text"]
        self.line = content.count("\n", 0, match.start("text")) + 1
        self.where = f"{page}:{self.line}"
        self.output = None
        self.number = None

    def is_function(self):
        return self.language == "cpp" and re.match(r"sample(\n|$)", self.mark)


def blocks_of(page):
    content = (sources / page).read_text()
    blocks = [Block(page, content, match) for match in BLOCK.finditer(content)]
    failures.extend(f"{page}: there is no {command}"
                    for command in re.findall(r"`(\./[\w./-]+)", content) if not is_there(command))
    marks = sum(1 for block in blocks if block.mark)
    if marks != len(MARK.findall(content)):
        failures.append(f"{page}: a sample's mark has no block under it")
    kept = []
    for block in blocks:
        if block.mark == "output":
            if not kept or not kept[-1].mark:
                failures.append(f"{block.where}: the output of no sample")
            else:
                kept[-1].output = block.text
        else:
            kept.append(block)
    return kept


def displays():
    """The blocks of C++ in the manual pages."""
    pages = sorted(str(page.relative_to(sources)) for page in (sources / "docs/man").glob("*.[1-9]"))
    found = []
    for page in pages:
        content = (sources / page).read_text()
        found += [Block(page, content, match, True) for match in DISPLAY.finditer(content)]
    if not found:
        failures.append("no manual page shows any C++")
    return found


def commands(text):
    """The words of a shell block that name what is run."""
    text = re.sub(r"'[^']*'", "''", text)
    for line in re.sub(r"\\\n", " ", text).splitlines():
        words = re.sub(r"^(\w+=(\$\(.*?\)|\S+)\s*)+", "", line.split("#")[0]).split()
        if words:
            yield words[0]


def is_there(command):
    if "$" in command or '"' in command:
        return True
    if "/" not in command:
        return subprocess.run(["bash", "-c", f"type {command}"], capture_output=True).returncode == 0
    built = re.sub(r"^build/\w+/", "", command)
    return (sources / command).exists() or (built != command and (build / built).exists())


def check_unmarked(block, file_lines):
    if block.language == "cpp":
        failures.append(f"{block.where}: is neither compiled nor run")
    elif block.language == "sh":
        failures.extend(f"{block.where}: there is no {command}"
                        for command in commands(block.text) if not is_there(command))
    elif block.language == "cmake":
        failures.extend(f"{block.where}: stands in no sample: {line}"
                        for line in block.text.splitlines() if line not in file_lines)


def function(block):
    """The block as a function, its includes before it."""
    before = block.mark.partition("\n")[2]
    lines = block.text.splitlines()
    includes = [line for line in lines if line.startswith("#include")]
    body = ["" if line.startswith("#include") else line for line in lines]
    return "\n".join([*includes, f"static void Sample{block.number}() {{", before,
                      f'#line {block.line} "{block.where.split(":")[0]}"', *body, "}", ""])


def compile_samples(functions, program):
    for number, block in enumerate(functions):
        block.number = number
    table = ", ".join(f"Sample{block.number}" for block in functions)
    code = (f'#include "tests/docs/SampleFrame.h"\n{"".join(map(function, functions))}\n'
            f"void (*const kSamples[])() = {{{table}}};\n")
    source = program.with_suffix(".cpp")
    source.write_text(code)
    here = sources / "tests/docs/SampleFrame.cpp"
    libraries = [build, build / "foundation"]
    done = subprocess.run(
        [compiler, "-std=c++17", "-O0", "-Wall", "-Wextra", "-Werror", "-Wno-unused-variable", "-I", sources,
         "-o", program, source, here, *(f"-L{folder}" for folder in libraries),
         *(f"-Wl,-rpath,{folder}" for folder in libraries), "-lquendril", "-lquendril-base",
         "-lboost_thread", "-pthread"],
        capture_output=True, text=True)
    if done.returncode != 0:
        failures.append(f"the samples do not compile:\n{done.stderr}")
    return done.returncode == 0


def run(block, program, folder, environment):
    if block.mark.startswith("sample: file "):
        target = folder / block.mark.split()[2]
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(block.text)
        return
    arguments = ([str(program), str(block.number)] if block.is_function()
                 else ["bash", "-euo", "pipefail", "-c", block.text])
    done = subprocess.run(arguments, cwd=folder, env=environment, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=TIME_LIMIT)
    if done.returncode != 0:
        failures.append(f"{block.where}: ended with {done.returncode} and said\n{done.stdout}")
    elif block.output is not None and done.stdout != block.output:
        failures.append(f"{block.where}: is to print\n{block.output}and prints\n{done.stdout}")


def main(scratch):
    pages = sys.argv[5:] or ["README.md", *sorted(str(page.relative_to(sources))
                                                  for page in (sources / "docs").glob("*.md"))]
    blocks = {page: blocks_of(page) for page in pages}
    everything = [block for page in pages for block in blocks[page]]
    file_lines = {line for block in everything if block.mark.startswith("sample: file")
                  for line in block.text.splitlines()}
    for block in everything:
        if not block.mark:
            check_unmarked(block, file_lines)
        elif not block.is_function() and not re.match(r"sample: (run$|file \S+$)", block.mark):
            failures.append(f"{block.where}: what is to be done with it? {block.mark}")
    program = scratch / "samples"
    functions = [block for block in everything if block.is_function()]
    if not compile_samples([*functions, *displays()], program):
        return
    home = scratch / "home"
    subprocess.run([cmake, "--install", build, "--prefix", home / "quendril"], check=True,
                   stdout=subprocess.DEVNULL)
    path = f"{build / 'examples'}:{build / 'tools'}:{os.environ['PATH']}"
    environment = {**os.environ, "HOME": str(home), "PATH": path, "CXX": compiler,
                   "CMAKE_GENERATOR": "Ninja"}
    count = 0
    for page in pages:
        folder = scratch / "pages" / page
        (folder / "common").mkdir(parents=True)
        for block in blocks[page]:
            if block.mark:
                run(block, program, folder, environment)
                count += 1
    print(f"{count} samples of {len(pages)} pages.")


scratch_folder = pathlib.Path(tempfile.mkdtemp())
try:
    main(scratch_folder)
finally:
    shutil.rmtree(scratch_folder)
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
