"""Where mutants are made and tried: a build folder, and in it a place for each worker."""
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import tempfile
import time

LAYERS = ("recordstore", "catalogue", "common")
LIBRARY = "libquendril.so.1.0.0"
# Programs, with those of their tests that take seconds: those run only when all others have passed.
PROGRAMS = {
    "recordstore-tests": ("tests/recordstore", "RecordShift/*:EveryHeaderLength.*:"
                                               "StoreObject.NothingStaysOnTheHeapOrOpen"),
    "catalogue-tests": ("tests/catalogue",
                        "ContainerInfoListShared.*:ContainerInfoListMerge.IsThatOfTheWalkFromTheEnd"),
    "catalogue-seams-tests": ("tests/catalogue/seams", "DamagedFile.*:DamagedRecord.*"),
    "golden-tests": ("tests/golden", ""),
    "common-tests": ("tests/common", "OutOfMemory.*:CommonProcesses.*:Leaks.*:"
                                     "Locks.EveryCallReleasesWhatItTookWhateverFails"),
    "model-tests": ("tests/hard/model", "*"),
    "calls-tests": ("tests/hard/calls", "*"),
}
# The likeliest to notice first.
ORDER = {
    "recordstore": ("recordstore-tests", "golden-tests", "catalogue-tests", "catalogue-seams-tests",
                    "common-tests", "model-tests", "calls-tests"),
    "catalogue": ("catalogue-tests", "catalogue-seams-tests", "golden-tests", "common-tests",
                  "recordstore-tests", "model-tests", "calls-tests"),
}
LEAST_TIME, TIMES_AS_LONG = 20, 5  # Seconds; and of what a stage takes without a mutant.
MOST_MEMORY, MOST_WRITTEN = 4 << 30, 2 << 30  # Bytes.


class Stage:
    """A program, or the part of it that is quick or slow."""

    def __init__(self, program, is_slow):
        folder, slow = PROGRAMS[program]
        self.program, self.is_slow = program, is_slow
        self.path = f"{folder}/{program}"
        self.filter = slow if is_slow else "*-" + slow if slow else "*"
        self.name = program + (" (slow)" if is_slow else "")
        self.limit = 600.0
        self.digest = ""

    @staticmethod
    def exists(program, is_slow):
        slow = PROGRAMS[program][1]
        return bool(slow) if is_slow else slow != "*"


def stages_of(layer):
    return [Stage(program, is_slow) for is_slow in (False, True) for program in ORDER[layer]
            if Stage.exists(program, is_slow)]


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", check=False, **options)


def must(command, **options):
    done = run(command, **options)
    if done.returncode != 0:
        raise SystemExit(f"{shlex.join(map(str, command))}\n{done.stdout}")
    return done.stdout


class Build:
    """The unmutated library, compiled without optimisation, and the test programs. These carry no
    path to the library, so they read only the one that they are given."""

    def __init__(self, root, folder, jobs):
        self.root, self.folder = root, folder
        must(["cmake", "-S", root, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=",
              "-DCMAKE_SKIP_BUILD_RPATH=ON", "-DQUENDRIL_PRECOMPILE_TESTS=ON",
              "-DQUENDRIL_BUILD_EXAMPLES=OFF"])
        built = subprocess.run(["ninja", "-C", folder, f"-j{jobs}", "quendril", "quendril-base",
                                *PROGRAMS], check=False)
        if built.returncode != 0:
            raise SystemExit("the unmutated sources do not build")
        self.compile = {}  # Of each object file the source and the command, without its output.
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            name = str(pathlib.Path(entry["file"]).relative_to(root))
            if name.split("/")[0] in LAYERS:
                words = [word for word in shlex.split(entry["command"]) if word != "-Werror"]
                made = words.index("-o")
                self.compile[words[made + 1]] = name, words[:made] + words[made + 2:] + ["-w"]
        # What is linked of such objects: the library, and programs that compile some themselves.
        self.link = {}
        for target in (LIBRARY, *(f"{place}/{name}" for name, (place, _) in PROGRAMS.items())):
            last = must(["ninja", "-C", folder, "-t", "commands", target]).splitlines()[-1]
            words = shlex.split(last.replace(": && ", "").replace(" && :", ""))
            if any(word in self.compile for word in words):
                self.link[target] = words
        self.header = self._precompile()

    def _precompile(self):
        """The standard headers of all sources: most of what compiling a mutant takes."""
        names = set()
        for layer in LAYERS:
            for path in (self.root / layer).glob("*.*"):
                names.update(re.findall(r"^#include (<[^>]+>)$", path.read_text(), re.MULTILINE))
        header = self.folder / "mutants" / "standard.h"
        header.parent.mkdir(exist_ok=True)
        text = "".join(f"#include {name}\n" for name in sorted(names))
        if not header.exists() or header.read_text() != text or \
                not header.with_suffix(".h.gch").exists():
            header.write_text(text)
            words = next(words for made, (_, words) in self.compile.items()
                         if made in self.link[LIBRARY])
            words = words[:words.index("-c")] + ["-w", "-x", "c++-header", str(header)]
            must(words + ["-o", str(header) + ".gch"], cwd=self.folder)
        return header

    def readers_of(self, name):
        """The files that read the file: itself, and those that include the header."""
        if name.endswith(".cpp"):
            return {name}
        readers, found = {name}, True
        texts = {str(path.relative_to(self.root)): path.read_text()
                 for layer in LAYERS for path in (self.root / layer).glob("*.*")}
        while found:
            found = {path for path, text in texts.items() if path not in readers
                     and any(f'#include "{header}"' in text for header in readers)}
            readers |= found
        return readers


class Worker:
    """Sources of its own with at most one mutant in them, the library of these, and a folder for
    what the tests write: in memory where that is possible, since some wait for the disk otherwise."""

    def __init__(self, build, number):
        self.build = build
        self.folder = build.folder / "mutants" / f"worker-{number}"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.sources, self.library = self.folder / "source", self.folder / "library"
        self.programs = self.folder / "programs"  # Those that hold what is mutated.
        self.sources.mkdir(parents=True)
        self.library.mkdir()
        for layer in LAYERS:
            shutil.copytree(build.root / layer, self.sources / layer)
        (self.sources / "foundation").symlink_to(build.root / "foundation")
        place = "/dev/shm" if os.access("/dev/shm", os.W_OK | os.X_OK) else str(self.folder)
        self.temporary = pathlib.Path(tempfile.mkdtemp(prefix="quendril-mutants-", dir=place))
        self.temporary.chmod(0o1777)  # Some tests are no longer root when they write there.

    def close(self):
        shutil.rmtree(self.temporary, ignore_errors=True)

    def make(self, name="", text=""):
        """Makes the library, and the programs that hold some of it, with the file's other text;
        False when that is no program."""
        objects, source = {}, self.sources / name
        original = source.read_text() if name else ""
        readers = self.build.readers_of(name) if name else ()
        if name:
            source.write_text(text)
        try:
            for made, (unit, words) in self.build.compile.items():
                if unit in readers:
                    objects[made] = str(self.folder / made.replace("/", "-"))
                    if not self._compile(unit, words, objects[made]):
                        return False
        finally:
            if name:
                source.write_text(original)
        shutil.rmtree(self.programs, ignore_errors=True)
        return all(self._link(target, words, objects) for target, words in self.build.link.items()
                   if target == LIBRARY or any(word in objects for word in words))

    def _compile(self, unit, words, made):
        words = [str(self.sources / unit) if word == str(self.build.root / unit) else
                 f"-I{self.sources}" if word == f"-I{self.build.root}" else word for word in words]
        words += ["-include", str(self.build.header), "-o", made]
        return run(words, cwd=self.build.folder).returncode == 0

    def _link(self, target, words, objects):
        made = self.library / "libquendril.so.1" if target == LIBRARY else self.programs / target
        made.parent.mkdir(parents=True, exist_ok=True)
        words = [objects.get(word, word) for word in words]
        words[words.index("-o") + 1] = str(made)
        return run(words, cwd=self.build.folder).returncode == 0

    def test(self, stage, library=None):
        """How the stage ends: "" when it passes, otherwise what failed; and the seconds it took."""
        base = self.build.folder / "foundation"
        environment = {**os.environ, "TMPDIR": str(self.temporary), "QUENDRIL_HARD": "few",
                       "LD_LIBRARY_PATH": f"{library or self.library}:{base}"}
        program = self.programs / stage.path
        if not program.exists():
            program = self.build.folder / stage.path
        command = ["prlimit", f"--as={MOST_MEMORY}", "--core=0", "--",
                   str(program), f"--gtest_filter={stage.filter}",
                   "--gtest_fail_fast=1", "--gtest_brief=1"]
        start = time.monotonic()
        log = self.folder / "log.txt"
        with log.open("wb") as output:
            process = subprocess.Popen(command, stdout=output, stderr=output,
                                       stdin=subprocess.DEVNULL, env=environment,
                                       cwd=self.temporary, start_new_session=True)
            try:
                code = self._wait(process, start + stage.limit)
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
        seconds = time.monotonic() - start
        for path in self.temporary.iterdir():
            shutil.rmtree(path, ignore_errors=True)
            path.unlink(missing_ok=True)
        return self._verdict(code, log), seconds

    def _wait(self, process, end):
        """The exit status, or why it was not waited for any longer. How much is written is looked at
        here: a limit to the size of files would end tests that make big ones with holes."""
        before = shutil.disk_usage(self.temporary).used
        while time.monotonic() < end:
            try:
                return process.wait(0.2)
            except subprocess.TimeoutExpired:
                if shutil.disk_usage(self.temporary).used - before > MOST_WRITTEN:
                    return "too much written"
        return "time-out"

    @staticmethod
    def _verdict(code, log):
        if code == 0:
            return ""
        if isinstance(code, str):
            return code
        failed = re.findall(r"\[  FAILED  \] (\S+?),? ", log.read_text(errors="replace"))
        if failed:
            return failed[0]
        return f"signal {-code}" if code < 0 else f"exit status {code}"
