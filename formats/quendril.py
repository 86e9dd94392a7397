# This is a generated file! Please edit source .ksy file and use kaitai-struct-compiler to rebuild

import kaitaistruct
from kaitaistruct import KaitaiStruct, KaitaiStream, BytesIO


if getattr(kaitaistruct, 'API_VERSION', (0, 9)) < (0, 9):
    raise Exception("Incompatible Kaitai Struct Python API: 0.9 or later is required, but you have %s" % (kaitaistruct.__version__))

class Quendril(KaitaiStruct):
    """Three words, a header, and records back to back up to the end of the file. There is no count, end
    mark, flag, alignment or padding. A file of length 0 is no file.
    
    In a catalogue each record is a key container: see blob.container, which is decoded when it is asked
    for, since a record file may hold anything else.
    """
    def __init__(self, _io, _parent=None, _root=None):
        self._io = _io
        self._parent = _parent
        self._root = _root if _root else self
        self._read()

    def _read(self):
        self.reserved = self._io.read_u4le()
        self.cleaned_mark = self._io.read_u4le()
        self.len_header = self._io.read_u4le()
        self.header = self._io.read_bytes(self.len_header)
        self.records = []
        i = 0
        while not self._io.is_eof():
            self.records.append(Quendril.Record(self._io, self, self._root))
            i += 1


    class SubRecord(KaitaiStruct):
        def __init__(self, _io, _parent=None, _root=None):
            self._io = _io
            self._parent = _parent
            self._root = _root if _root else self
            self._read()

        def _read(self):
            self.len_data = self._io.read_u4le()
            if self.len_data != 0:
                self._raw_data = self._io.read_bytes(self.len_data)
                _io__raw_data = KaitaiStream(BytesIO(self._raw_data))
                self.data = Quendril.SubCont(_io__raw_data, self, self._root)



    class Container(KaitaiStruct):
        """What follows in the record is ignored."""
        def __init__(self, _io, _parent=None, _root=None):
            self._io = _io
            self._parent = _parent
            self._root = _root if _root else self
            self._read()

        def _read(self):
            self.path = Quendril.Item(self._io, self, self._root)
            self.ident1 = Quendril.Item(self._io, self, self._root)
            self.ident2 = Quendril.Item(self._io, self, self._root)
            self.param = self._io.read_u4le()
            self.num_sub_records = self._io.read_u4le()
            self.sub_records = []
            for i in range(self.num_sub_records):
                self.sub_records.append(Quendril.SubRecord(self._io, self, self._root))



    class SubCont(KaitaiStruct):
        """What follows in the sub-record is ignored."""
        def __init__(self, _io, _parent=None, _root=None):
            self._io = _io
            self._parent = _parent
            self._root = _root if _root else self
            self._read()

        def _read(self):
            self.ident = Quendril.Item(self._io, self, self._root)
            self.param1 = self._io.read_u4le()
            self.param2 = self._io.read_u4le()


    class Blob(KaitaiStruct):
        """A record's bytes, as they are or as a container."""
        def __init__(self, _io, _parent=None, _root=None):
            self._io = _io
            self._parent = _parent
            self._root = _root if _root else self
            self._read()

        def _read(self):
            pass

        @property
        def raw(self):
            if hasattr(self, '_m_raw'):
                return self._m_raw

            _pos = self._io.pos()
            self._io.seek(0)
            self._m_raw = self._io.read_bytes_full()
            self._io.seek(_pos)
            return getattr(self, '_m_raw', None)

        @property
        def container(self):
            if hasattr(self, '_m_container'):
                return self._m_container

            _pos = self._io.pos()
            self._io.seek(0)
            self._m_container = Quendril.Container(self._io, self, self._root)
            self._io.seek(_pos)
            return getattr(self, '_m_container', None)


    class Record(KaitaiStruct):
        def __init__(self, _io, _parent=None, _root=None):
            self._io = _io
            self._parent = _parent
            self._root = _root if _root else self
            self._read()

        def _read(self):
            self.len_data = self._io.read_u4le()
            self._raw_data = self._io.read_bytes(self.len_data)
            _io__raw_data = KaitaiStream(BytesIO(self._raw_data))
            self.data = Quendril.Blob(_io__raw_data, self, self._root)


    class Item(KaitaiStruct):
        """A length and so many bytes."""
        def __init__(self, _io, _parent=None, _root=None):
            self._io = _io
            self._parent = _parent
            self._root = _root if _root else self
            self._read()

        def _read(self):
            self.len_data = self._io.read_u4le()
            self.data = self._io.read_bytes(self.len_data)



