"""Record files and container records, read without anything of the library.

The lines that this module gives are what bits-reader must write: for a file

  disk=STORE memory=STORE buffer=BYTES catalogue=COUNT:CONTAINER;... decoded=DECODED;...

for a container record "decoded=DECODED;". Bytes are hexadecimal digits. STORE is the status of the
opening, the header words, the header, the offsets, each record from number -1 to the count (code
and bytes), all records at once (status, then each record's bytes), and, if the status was not 0,
the last two once more after it was cleared. DECODED is the bytes consumed, the code and the text of
a failure, and a CONTAINER: path, both blobs, the number, the state, the sub-records.
"""
import struct

NO_FILE, SHORT_READ, NOT_SEARCHABLE, TOO_LARGE, NO_SUCH_RECORD, MALFORMED = 4, 5, 22, 134, 194, 37


def word(data, position):
    return struct.unpack_from("<I", data, position)[0]


class File:
    """What a scan from the start finds: as much as stands before the first damage."""

    def __init__(self, data):
        self.size = len(data)
        self.status = 0
        self.words = struct.unpack("<3I", data[:12].ljust(12, b"\0"))
        self.header = b""
        self.offsets = []
        self.records = []
        self.is_header_damaged = True
        self.bad_length = None  # Of the record at which the scan stopped, if that is what it has.
        length = self.words[2]
        if len(data) < 12:
            self.status = SHORT_READ
        elif length > len(data):
            self.status = TOO_LARGE
        else:
            # What there is of a header that is cut, and zeros.
            self.header = data[12:12 + length].ljust(length, b"\0")
            if 12 + length > len(data):
                self.status = SHORT_READ
            else:
                self.is_header_damaged = False
                self.scan(data, 12 + length)

    def scan(self, data, position):
        while position < len(data):
            if len(data) - position < 4:
                self.status = SHORT_READ
                return
            length = word(data, position)
            end = position + 4 + length
            if end > len(data):
                self.status = TOO_LARGE
                self.bad_length = length
                return
            self.offsets.append(position)
            self.records.append(data[position + 4:end])
            position = end


def fetched(codes_and_records):
    return "".join(f"{code}:{record.hex()}," for code, record in codes_and_records)


def all_fetched(status, records):
    return f"{status}:" + "".join(record.hex() + "," for record in records)


def each_of(file, status):
    """Get of every number: a status blocks them all."""
    outside = (status or NO_SUCH_RECORD, b"")
    inside = [(status, b"") if status else (0, record) for record in file.records]
    return [outside, *inside, outside]


def opening(file, status):
    words = ",".join(map(str, file.words))
    offsets = "".join(f"{offset}," for offset in file.offsets)
    return (f"{status} words={words} header={file.header.hex()} offsets={offsets}"
            f" each={fetched(each_of(file, status))}")


def nothing():
    file = File(b"\0" * 12)
    assert file.status == 0 and not file.records
    return file


def on_disk(data, file):
    if not data:
        return (opening(nothing(), NO_FILE) + f" all={all_fetched(NO_FILE, [])}"
                f" cleared={fetched(each_of(nothing(), 0))} again={all_fetched(NO_FILE, [])}")
    everything = file.status, file.records
    if file.status and not file.is_header_damaged:
        # The walk over all records gives an empty one in the place of one that is cut.
        everything = TOO_LARGE, [*file.records, b""]
    line = opening(file, file.status) + f" all={all_fetched(*everything)}"
    if file.status:
        line += f" cleared={fetched(each_of(file, 0))} again={all_fetched(*everything)}"
    return line


def in_memory(data, file):
    """As on disk, but: an empty buffer is no error when it is opened; a read past the end fails the
    stream for good, so that it seems to have no length; and a record is only refused unread when it
    alone is longer than the whole buffer."""
    if not data:
        return opening(nothing(), 0) + f" all={all_fetched(NO_FILE, [])} buffer="
    is_failed = file.status == SHORT_READ
    everything = file.status, file.records
    if is_failed:
        everything = NO_FILE, []
    elif file.bad_length is not None:
        everything = TOO_LARGE, [*file.records, b""]
        is_failed = file.bad_length <= file.size
    line = opening(file, file.status) + f" all={all_fetched(*everything)}"
    if file.status:
        each = each_of(file, 0)
        if is_failed:
            each[1:-1] = [(NOT_SEARCHABLE, b"")] * len(file.records)
            everything = NO_FILE, []
        line += f" cleared={fetched(each)} again={all_fetched(*everything)}"
    # A failed stream shows nothing.
    return line + " buffer=" + ("" if is_failed else data.hex())


class Cut(Exception):
    """The text of the failure."""


class Container:
    """A container record, as far as it can be decoded."""

    def __init__(self, data):
        self.path = self.first = self.second = b""
        self.param = 0
        self.subs = []
        self.fields = []  # Where its lengths and its count stand.
        self.data = data
        self.position = 0
        self.failure = ""
        try:
            self.decode()
        except Cut as cut:
            self.failure = str(cut)

    def item(self):
        start = self.position
        left = len(self.data) - start
        if left < 4 or word(self.data, start) > left - 4:
            raise Cut("ContainerInfo::ReadData")
        self.fields.append(start)
        self.position = start + 4 + word(self.data, start)
        return start + 4, self.data[start + 4:self.position]

    def decode(self):
        _, path = self.item()
        try:
            self.decode_behind_path()
        except Cut as cut:
            if str(cut) == "SubContInfo::ReadData":
                raise  # The path is set last, which a sub-record that is cut keeps from happening.
            self.path = path.split(b"\0")[0]
            raise
        self.path = path.split(b"\0")[0]

    def decode_behind_path(self):
        _, self.first = self.item()
        _, self.second = self.item()
        if len(self.data) - self.position < 8:
            raise Cut("ContainerInfo::ReadData")
        self.param = word(self.data, self.position)
        count = word(self.data, self.position + 4)
        self.fields.append(self.position + 4)
        self.position += 8
        for _ in range(count):
            start, blob = self.item()
            self.subs.append(self.sub_record(start, blob))

    def sub_record(self, start, blob):
        if not blob:
            return b"", 0, 0xFFFFFFFF
        if len(blob) < 12 or word(blob, 0) > len(blob) - 12:
            raise Cut("SubContInfo::ReadData")
        self.fields.append(start)
        behind = 4 + word(blob, 0)
        return blob[4:behind], word(blob, behind), word(blob, behind + 4)

    def __str__(self):
        subs = "".join(f"{ident.hex()}.{one}.{two}," for ident, one, two in self.subs)
        return f"{self.path.hex()}/{self.first.hex()}/{self.second.hex()}/{self.param}/0/{subs}"


def decoded(data):
    container = Container(data)
    if container.failure:
        return f"0/{MALFORMED}/{container.failure}/{container};"
    return f"{container.position}/0//{container};"


def in_catalogue(data, file):
    """All records or, when there is any damage, none. The cleaned mark is set, which concerns the
    header words alone."""
    containers = []
    if data and file.status == 0:
        containers = [Container(record) for record in file.records]
    if any(container.failure for container in containers):
        containers = []
    return f"{len(containers)}:" + "".join(f"{container};" for container in containers)


def line_of_file(data):
    file = File(data)
    records = file.records
    if file.status and not file.is_header_damaged:
        records = [*records, b""]
    return (f"disk={on_disk(data, file)} memory={in_memory(data, file)}"
            f" catalogue={in_catalogue(data, file)}"
            f" decoded={''.join(map(decoded, records))}")


def line_of_record(data):
    return f"decoded={decoded(data)}"


def length_fields(data, is_file):
    """Where the lengths and counts stand, of container records too where all records are such."""
    if not is_file:
        return Container(data).fields
    file = File(data)
    fields = [8, *file.offsets]
    containers = [Container(record) for record in file.records]
    if not any(container.failure for container in containers):
        for offset, container in zip(file.offsets, containers):
            fields += [offset + 4 + field for field in container.fields]
    return fields
