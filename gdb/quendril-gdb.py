"""Shows quendril's objects in gdb as what they are. gdb loads this file by itself with the library.

The printers know the layouts of the library and of the embedded base; objects of a host's own base are
left as they are. Whatever an object holds, a printer gives a text: what cannot be read, or cannot be
right, stands in it between < and >. Nothing of the program is called or changed.
"""
import functools
import os

import gdb
import gdb.printing

MOST_TEXT = 400  # Bytes of a text that are shown,
MOST_BYTES = 32  # and of a blob.

TICKS_PER_SECOND = 10000000
TICKS_PER_DAY = 86400 * TICKS_PER_SECOND

# What the record store and the catalogue mean by their own codes; every other code is an errno.
MEANINGS = {
    4: "no file",
    5: "the file ends inside the header or a length",
    22: "a store that cannot be searched, or a record beyond the file",
    28: "no such index, or no file name",
    37: "no container record",
    134: "a length runs past the end of the file",
    194: "no such record",
}
STATES = {0: "StateSynced", 1: "StateAdded", 3: "StateRemoved"}


def guarded(function):
    """The function, with a text in the place of any failure."""

    @functools.wraps(function)
    def call(*arguments):
        try:
            return function(*arguments)
        except Exception as error:  # Whatever it is, gdb's user wants to read on.
            return f"<{error}>"

    return call


def bytes_at(address, count):
    return gdb.selected_inferior().read_memory(address, count).tobytes()


def is_readable(address):
    try:
        bytes_at(address, 1)
        return True
    except gdb.error:
        return False


def printable(data):
    """Bytes as a text on one line: UTF-8 where it is such and gdb can show it, escapes otherwise."""
    text = data.decode("utf-8", "backslashreplace")
    shown = "".join(c if c.isprintable() else c.encode("unicode_escape").decode() for c in text.replace('"', '\\"'))
    if gdb.host_charset().upper().replace("-", "") == "UTF8":
        return f'"{shown}"'
    return '"' + shown.encode("ascii", "backslashreplace").decode() + '"'


@guarded
def text_at(pointer):
    """The zero-terminated text at a pointer, or as much of it as is shown or can be read."""
    start = int(pointer)
    if start == 0:
        return '""'
    data = b""
    while len(data) < MOST_TEXT and b"\0" not in data:
        # Not over the end of a page, behind which there may be nothing.
        position = start + len(data)
        try:
            data += bytes_at(position, min(MOST_TEXT - len(data), 4096 - position % 4096))
        except gdb.error as error:
            return f"{printable(data)}<{error}>" if data else f"<{error}>"
    end = data.find(b"\0")
    return printable(data[:end]) if end >= 0 else printable(data) + "..."


def has_member(kind, name):
    return any(field.name == name or (field.is_base_class and has_member(field.type, name))
               for field in kind.fields())


def text_of(string):
    if has_member(string.type.strip_typedefs(), "m_none"):
        return text_at(string["m_text"])
    return string.format_string(max_elements=MOST_TEXT)  # Of a host's own base.


def blob_of(blob):
    length, start = int(blob["Length"]), int(blob["Data"])
    if length == 0:
        return "empty blob"
    size = f"{length} byte" + ("s" if length != 1 else "")
    if start == 0:
        return f"<blob of {size} without data>"
    if not is_readable(start) or not is_readable(start + length - 1):
        return f"<blob of {size} at {start:#x}, which cannot be read>"
    data = bytes_at(start, min(length, MOST_BYTES))
    more = "..." if length > MOST_BYTES else ""
    return f"{size} {data.hex(' ')}{more}  {printable(data)}{more}"


def date_text(days):
    """A date of the Gregorian calendar, from the days since 1 January 1601."""
    centuries, rest = divmod(days, 146097)
    year = 1601 + 400 * centuries
    # In each 400 years: centuries of 36524 days but the last, four years of 1461 but the last.
    steps = min(rest // 36524, 3)
    year, rest = year + 100 * steps, rest - 36524 * steps
    year, rest = year + 4 * (rest // 1461), rest % 1461
    steps = min(rest // 365, 3)
    year, rest = year + steps, rest - 365 * steps
    is_leap = year % 4 == 0 and (year % 100 != 0 or year % 400 == 0)
    for month, length in enumerate((31, 29 if is_leap else 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31), 1):
        if rest < length:
            return f"{year:04}-{month:02}-{rest + 1:02}"
        rest -= length
    raise ValueError(f"no date: day {days}")


def time_text(ticks):
    if ticks >= TICKS_PER_DAY:
        return f"<no time of a day: {ticks} x 100 ns>"
    seconds, fraction = divmod(ticks, TICKS_PER_SECOND)
    return f"{seconds // 3600:02}:{seconds // 60 % 60:02}:{seconds % 60:02}.{fraction:07}"


def moment_text(days, ticks):
    if days == 0 and ticks == 0:
        return "no time"
    return f"{date_text(days)} {time_text(ticks)} UTC"


def file_time_text(time):
    ticks = (int(time["dwHighDateTime"]) << 32) + int(time["dwLowDateTime"])
    return moment_text(*divmod(ticks, TICKS_PER_DAY))


def meaning_of(code, is_errno):
    if not is_errno and code in MEANINGS:
        return f" ({MEANINGS[code]})"
    return f" ({os.strerror(code)})" if 0 < code < 134 else ""


def status_text(status, is_errno=False):
    code = int(status["Code"])
    text = text_of(status["Text"])
    raises = ", raises" if status["Flag"] else ""
    return f"status {code}{meaning_of(code, is_errno)}" + (f" {text}" if text != '""' else "") + raises


class ListWalk:
    """A std::list that may be anything: its size as it says, and its elements as far as they are linked
    there and back."""

    def __init__(self, value):
        self.header = value["_M_impl"]["_M_node"]
        self.size = int(self.header["_M_size"])
        self.element = value.type.strip_typedefs().template_argument(0)

    def size_text(self, what):
        return f"{self.size} {what}" + ("s" if self.size != 1 else "")

    def elements(self):
        """Each element, and at the end a text when the list is not as it should be."""
        node = gdb.lookup_type("std::__detail::_List_node_base").pointer()
        # The element follows the two links, at its own alignment.
        offset = (2 * node.sizeof + self.element.alignof - 1) // self.element.alignof * self.element.alignof
        head = self.header.address.cast(node)
        before, here = head, head["_M_next"]
        count = 0
        while here != head:
            if here["_M_prev"] != before:
                yield f"<no list from here on: element {count} at {int(here):#x} is not linked back>"
                return
            if count >= self.size:
                yield f"<the list goes on beyond its size of {self.size}>"
                return
            yield (here.cast(gdb.lookup_type("char").pointer()) + offset).cast(self.element.pointer()).dereference()
            count += 1
            before, here = here, here["_M_next"]
        if count != self.size:
            yield f"<the list ends here, but says that its size is {self.size}>"


def list_children(value, name=""):
    """The children of a list, with names such as [3]; a failure is the last of them."""
    try:
        for number, element in enumerate(ListWalk(value).elements()):
            yield f"{name}[{number}]", element
    except Exception as error:
        yield f"{name}<damaged>", f"<{error}>"


def fields(value, names):
    for name in names:
        try:
            yield name, value[name]
        except Exception as error:
            yield name, f"<{error}>"


class Printer:
    """One object; the subclasses say how. What a gdb.Value names is read only when it is shown."""

    def __init__(self, value):
        self.value = value

    @guarded
    def to_string(self):
        return self.text()

    def text(self):
        raise NotImplementedError


class StringPrinter(Printer):
    def text(self):
        return text_of(self.value)


class BlobPrinter(Printer):
    def text(self):
        return blob_of(self.value)


class SubRecordPrinter(Printer):
    def text(self):
        return f"{blob_of(self.value['Ident'])}, {int(self.value['Param1'])}, {int(self.value['Param2'])}"


class ContainerPrinter(Printer):
    def text(self):
        state = int(self.value["State"])
        subs = ListWalk(self.value["SubConts"]).size_text("sub-record")
        return f"{text_of(self.value['Path'])}, {STATES.get(state, f'<state {state}>')}, {subs}"

    def children(self):
        yield from fields(self.value, ("Param", "Ident1", "Ident2"))
        yield from list_children(self.value["SubConts"], "SubConts")


class SyncListPrinter(Printer):
    def text(self):
        return ListWalk(self.value["Records"]).size_text("record")

    def children(self):
        yield from list_children(self.value["Records"])


class CataloguePrinter(Printer):
    def catalogue(self):
        raise NotImplementedError

    def text(self):
        catalogue = self.catalogue()
        records = ListWalk(catalogue["m_sync"]["Records"]).size_text("record")
        return f"catalogue {text_of(catalogue['m_fileName'])}, {records}"

    def children(self):
        try:
            records = self.catalogue()["m_sync"]["Records"]
        except Exception as error:
            yield "<damaged>", f"<{error}>"
            return
        yield from list_children(records)


class ContainerListPrinter(CataloguePrinter):
    def catalogue(self):
        return self.value


class CommonListPrinter(CataloguePrinter):
    """Its first member is the pointer to its catalogue."""

    def catalogue(self):
        pointer = gdb.lookup_type("ContainerInfoList").pointer().pointer()
        return self.value.address.cast(pointer).dereference().dereference()

    def text(self):
        stamp = self.value["m_loadStamp"]
        return f"common {super().text()}, loaded at: {moment_text(int(stamp['m_days']), int(stamp['m_ticks']))}"


class StorePrinter(Printer):
    """A QuasiStructFileBase, of any backend."""

    def text(self):
        name = text_of(self.value["m_fileName"])
        count = ListWalk(self.value["m_offsets"]).size_text("record")
        return f"record store {name}, {count}, {status_text(self.value)}"

    def children(self):
        yield from fields(self.value, ("Words", "m_create", "m_header", "m_loadTime"))
        yield from list_children(self.value["m_offsets"], "m_offsets")


class StatusPrinter(Printer):
    def text(self):
        return status_text(self.value)


class ErrnoPrinter(Printer):
    """An XTOOFile or a CTOOFile, whose codes come from the system."""

    def text(self):
        return status_text(self.value, is_errno=True)


class DatePrinter(Printer):
    def text(self):
        return date_text(int(self.value["m_days"]))


class TimePrinter(Printer):
    def text(self):
        return time_text(int(self.value["m_ticks"]))


class DateTimePrinter(Printer):
    def text(self):
        return moment_text(int(self.value["m_days"]), int(self.value["m_ticks"]))


class FileTimePrinter(Printer):
    def text(self):
        return file_time_text(self.value)


# Each class, its printer, and a member by which its layout is known.
PRINTERS = {
    "CTOOString": (StringPrinter, "m_none"),
    "IdentObj": (BlobPrinter, "Data"),
    "SubContInfo": (SubRecordPrinter, "Ident"),
    "ContainerInfo": (ContainerPrinter, "SubConts"),
    "SyncList": (SyncListPrinter, "Records"),
    "ContainerInfoList": (ContainerListPrinter, "m_sync"),
    "CommonContInfoList": (CommonListPrinter, "m_loadStamp"),
    "QuasiStructFileBase": (StorePrinter, "m_offsets"),
    "XTOOFile": (ErrnoPrinter, "Code"),
    "CTOOFile": (ErrnoPrinter, "Code"),
    "XTOOStatus": (StatusPrinter, "Code"),
    "CTOODate": (DatePrinter, "m_days"),
    "CTOOTime": (TimePrinter, "m_ticks"),
    "CTOODateTime": (DateTimePrinter, "m_days"),
    "CTOOFileTime": (FileTimePrinter, "dwHighDateTime"),
    "_FILETIME": (FileTimePrinter, "dwHighDateTime"),
}


class Printers(gdb.printing.PrettyPrinter):
    """Finds the printer of an object: that of its class or, for what is derived, of the nearest base."""

    def __call__(self, value):
        try:
            kind = value.type.strip_typedefs().unqualified()
            if kind.code != gdb.TYPE_CODE_STRUCT:
                return None
            while kind is not None:
                printer, member = PRINTERS.get(kind.name, (None, None))
                if printer is not None:
                    return printer(value) if has_member(kind, member) else None
                bases = [field.type for field in kind.fields() if field.is_base_class]
                kind = bases[0] if bases else None
        except gdb.error:
            pass
        return None


gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers("quendril"), replace=True)
