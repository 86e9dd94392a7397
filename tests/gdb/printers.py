#!/usr/bin/env python3
"""printers.py CMAKE BUILD PROGRAM: gdb loads the printers of an installed copy by itself, and each
prints what it should, whatever state the object is in.

PROGRAM stops in Look() several times, one call above it stand the objects. Ends with 77, and says why,
where gdb cannot run a program.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

CMAKE, BUILD, PROGRAM = sys.argv[1:4]

FULL_RECORD = (r'"/keys/M\xfcller", StateRemoved, 2 sub-records = {Param = 9, Ident1 = 3 bytes 01 02 03  '
               r'"\x01\x02\x03", Ident2 = 40 bytes ' + " ".join(["78"] * 32) + '...  "' + "x" * 32 + '"..., '
               'SubConts[0] = empty blob, 0, 4294967295, '
               'SubConts[1] = 3 bytes 73 75 62  "sub", 0, 4294967295}')
NO_RECORD = '"", StateSynced, 0 sub-records = {Param = 0, Ident1 = empty blob, Ident2 = empty blob}'
UNREADABLE = "<Cannot access memory at address 0x"
GARBAGE = 0xAAAAAAAA

# By stop: expressions, and either the whole of what is printed or, as a pattern, what stands in it.
STOPS = [
    {
        "empty": '""',
        "text": r'"a \"text\"\n"',
        "latin": r'"caf\xe9"',
        "longText": '"' + "y" * 400 + '"...',
        "noBlob": "empty blob",
        "blob": r'7 bytes 6f 6e 65 00 74 77 6f  "one\x00two"',
        "record": FULL_RECORD,
        "record.SubConts": re.compile("StateSynced|empty blob, 0, 4294967295.*3 bytes 73 75 62"),
        "sync": f'2 records = {{[0] = "/first"{NO_RECORD[2:]}, [1] = {NO_RECORD}}}',
        "list": 'catalogue "", 0 records',
        "common": 'common catalogue "FOLDER/quendril/cont_info.dat", 1 record, loaded at: no time = '
                  f"{{[0] = {FULL_RECORD}}}",
        "noTime": "no time",
        "leapDay": "2000-02-29 12:34:56.0000000 UTC",
        "(CTOODate)leapDay": "2000-02-29",
        "(CTOOTime)leapDay": "12:34:56.0000000",
        "fileTime": "2000-02-29 12:34:56.0000000 UTC",
        "(_FILETIME)fileTime": "2000-02-29 12:34:56.0000000 UTC",
        "noFileTime": "no time",
        "lastDay": "3200-12-31 00:00:00.0000000 UTC",
    },
    {
        "store": re.compile(
            r'^record store "FOLDER/records", 2 records, status 0 = \{Words = \{Reserved = 42, CleanedMark = 0, '
            r'HeaderLength = 4\}, m_create = true, m_header = 4 bytes 68 65 61 64  "head", '
            r"m_loadTime = \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{7} UTC, m_offsets\[0\] = 16, m_offsets\[1\] = 23\}$"),
        "base": re.compile('record store "FOLDER/records", 2 records, status 0'),
        "missing": re.compile(r'^record store "/no/such/file", 0 records, status 4 \(no file\) "/no/such/file" = '),
        "host": re.compile('^record store "", 0 records, status 0, raises = '),
        "host.m_own": "7",
        "memory": re.compile('^record store "", 0 records'),
        "status": 'status 134 (a length runs past the end of the file) "/a/file", raises',
        "fine": "status 0",
        "fileStatus": 'status 28 (No space left on device) "/full"',
        "file": 'status 2 (No such file or directory) "/no/such/file"',
    },
    {
        "noString": re.compile("0x0$"),
        "*noString": re.compile("Cannot access memory at address 0x0"),
        "*noBlob": re.compile("Cannot access memory at address 0x0"),
        "*noRecord": re.compile("Cannot access memory at address 0x0"),
        "*noSync": re.compile("Cannot access memory at address 0x0"),
        "*noStore": re.compile("Cannot access memory at address 0x0"),
        "*noStatus": re.compile("Cannot access memory at address 0x0"),
        "*noFileTime": re.compile("Cannot access memory at address 0x0"),
        "*(CTOOString*)&string": re.compile(UNREADABLE),
        "*(IdentObj*)&blob": f"<blob of {GARBAGE} bytes at 0xaaaaaaaaaaaaaaaa, which cannot be read>",
        "*(ContainerInfo*)&record": re.compile(f"{UNREADABLE}.*<state {GARBAGE}>.*SubConts<damaged> = .*{UNREADABLE}"),
        "*(ContainerInfo*)&zeros": re.compile('^"", StateSynced, 0 sub-records = .*SubConts<damaged> = '),
        "*(SyncList*)&sync": re.compile(f"^{0xAAAAAAAAAAAAAAAA} records = .*{UNREADABLE}"),
        "*(ContainerInfoList*)&list": re.compile(f"^catalogue {UNREADABLE}"),
        "*(CommonContInfoList*)&common": re.compile(UNREADABLE),
        "*(CQuasiStructFile*)&store": re.compile(f"^record store {UNREADABLE}.*m_offsets<damaged> = .*{UNREADABLE}"),
        "*(XTOOStatus*)&status": re.compile(f"^status -1431655766 {UNREADABLE}"),
        "*(CTOODateTime*)&time": re.compile(r"^\d+-\d\d-\d\d <no time of a day: 18446744073709551615 x 100 ns> UTC$"),
        "*(CTOOFileTime*)&fileTime": "60056-05-28 05:36:10.9551615 UTC",
    },
    {
        "huge": re.compile("^<blob of 4294967295 bytes at 0x[0-9a-f]+, which cannot be read>$"),
        "without": "<blob of 5 bytes without data>",
        "circle": f"3 records = {{[0] = {NO_RECORD}, [1] = {NO_RECORD}, [2] = <no list from here on: "
                  "element 2 at 0xADDRESS is not linked back>}",
        "broken": re.compile(f"{UNREADABLE}"),
        "early": f"2 records = {{[0] = {NO_RECORD}, [1] = {NO_RECORD}, "
                 "[2] = <the list goes on beyond its size of 2>}",
        "late": f"281474976710655 records = {{[0] = {NO_RECORD}, "
                "[1] = <the list ends here, but says that its size is 281474976710655>}",
        "state": '"", <state 2>, 0 sub-records = {Param = 0, Ident1 = empty blob, Ident2 = empty blob}',
    },
]

# gdb's own failures would end its script.
SHOW = """python
def show(expression):
    print(f"\\n@@{expression}@@", end="")
    try:
        gdb.execute(f"output {expression}")
    except gdb.error as error:
        print(f"gdb: {error}")
    print("@@")
end"""


def skip(reason):
    print("SKIPPED:", reason)
    sys.exit(77)


def commands(folder):
    """What gdb is told: stop by stop, each expression behind a mark."""
    yield from ("set pagination off", "set width 0", "break Look")
    yield from SHOW.splitlines()
    for number, stop in enumerate(STOPS):
        yield "continue" if number else f"run {folder}"
        yield "up-silently"
        for expression in stop:
            yield f"python show({expression!r})"
    yield "kill"


def gdb(installed, script):
    arguments = ["gdb", "-batch", "-nx", "-iex", "set auto-load python-scripts on",
                 "-iex", f"add-auto-load-scripts-directory {installed}/share/gdb/auto-load",
                 "-iex", f"add-auto-load-safe-path {installed}",
                 "-iex", f"set environment LD_LIBRARY_PATH {installed}/lib",
                 "-x", script, PROGRAM]
    environment = {"LC_ALL": "C", "PATH": "/usr/local/bin:/usr/bin:/bin"}
    done = subprocess.run(arguments, capture_output=True, text=True, timeout=100, env=environment)
    return done.stdout, done.stderr


def is_as_expected(expected, printed):
    if isinstance(expected, re.Pattern):
        return expected.search(printed) is not None
    return printed == expected


if shutil.which("gdb") is None:
    skip("there is no gdb")
with tempfile.TemporaryDirectory() as scratch:
    installed, script = pathlib.Path(scratch, "installed"), pathlib.Path(scratch, "commands")
    subprocess.run([CMAKE, "--install", BUILD, "--prefix", installed], check=True, stdout=subprocess.DEVNULL)
    pathlib.Path(scratch, "data").mkdir()
    script.write_text("\n".join(commands(f"{scratch}/data")) + "\n")
    output, errors = gdb(installed, script)
    if "Breakpoint 1, Look" not in output:
        if re.search("ptrace|Operation not permitted", output + errors):
            skip("no process may be traced here")
        sys.exit(f"FAILED: the program did not stop:\n{output}{errors}")

printed = dict(re.findall("\n@@(.*?)@@(.*?)@@\n", output, re.S))
failures = []
for expression, expected in (pair for stop in STOPS for pair in stop.items()):
    text = printed.get(expression, "nothing").replace(f"{scratch}/data", "FOLDER").strip()
    if not isinstance(expected, re.Pattern):
        text = re.sub("0x55[0-9a-f]+", "0xADDRESS", text)
    if not is_as_expected(expected, text):
        failures.append(f"{expression} gave\n  {text}\nnot\n  {getattr(expected, 'pattern', expected)}")
if re.search("Traceback|Python Exception", output + errors):
    failures.append(f"an exception:\n{output}{errors}")
print(f"{sum(map(len, STOPS))} expressions printed by printers that loaded by themselves")
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
