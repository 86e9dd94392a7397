#!/usr/bin/env python3
"""tree-rules.py SOURCES: the rules of the source tree that a program can check.

Includes run downward and from the root; system headers stand where system calls are allowed; files
stay short; the table of behaviours names tests that there are (see behaviours.py).
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
failures = []

# Each layer and those below it.
LAYERS = {
    "foundation": ["foundation"],
    "recordstore": ["recordstore", "foundation"],
    "catalogue": ["catalogue", "recordstore", "foundation"],
    "common": ["common", "catalogue", "recordstore", "foundation"],
    # A host: it stands on the library's public headers, and asks the system what it needs.
    "tools": ["tools", "common", "catalogue", "recordstore", "foundation"],
}
HOSTS = {"tools"}
# Headers of the library that are not installed, so no host may know them.
PRIVATE = set(re.findall(r"PATTERN (\w+\.h) EXCLUDE", (root / "cmake/Install.cmake").read_text()))
# Outside foundation/embedded system headers are used for the few direct calls alone: access, open,
# close, mkstemp, ftok and pthread_self, and where a file is put in another's place.
SYSTEM_HEADERS = {
    "catalogue/ContainerInfoListWalk.cpp": {"pthread.h"},
    "common/CommonContInfoFileCreater.cpp": {"fcntl.h", "sys/ipc.h", "unistd.h"},
    "recordstore/ASNCreateLockName.cpp": {"unistd.h"},
    "recordstore/QuasiStructFileScan.cpp": {"unistd.h"},
    "catalogue/RunningEdit.cpp": {"unistd.h"},
    "catalogue/FileReplacement.cpp": {"fcntl.h", "sys/file.h", "unistd.h"},
    "catalogue/FileReplacement.h": {"sys/stat.h"},
}
MOST_LINES = {".h": 150, ".cpp": 400}


def includes(path):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        found = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
        if found:
            yield number, found.group(1) == "<", found.group(2)


for layer, allowed in LAYERS.items():
    for path in sorted((root / layer).rglob("*")):
        if path.suffix not in MOST_LINES:
            continue
        name = str(path.relative_to(root))
        lines = len(path.read_text().splitlines())
        if lines > MOST_LINES[path.suffix]:
            failures.append(f"{name}: {lines} lines")
        for number, is_system, target in includes(path):
            where = f"{name}:{number}: includes {target}"
            if is_system:
                is_call = target.endswith(".h")
                if is_call and layer not in {"foundation", *HOSTS} and target not in SYSTEM_HEADERS.get(name, ()):
                    failures.append(where + ", a system header")
            elif target.split("/")[0] not in allowed:
                failures.append(where + ", which is not below it")
            elif not (root / target).exists():
                failures.append(where + ", which is not named from the root")
            elif layer in HOSTS and not target.startswith("tools/") and pathlib.Path(target).name in PRIVATE:
                failures.append(where + ", which is not installed")
            elif target.startswith("foundation/embedded/") and not name.startswith("foundation/embedded/"):
                failures.append(where + ", which only the embedded base may know")
    for path in sorted((root / "foundation").glob("*.cpp")):
        failures.append(f"{path.relative_to(root)}: this folder holds headers only")

for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
