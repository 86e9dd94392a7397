meta:
  id: quendril
  title: Record file, and the catalogue of key containers that is kept in one
  file-extension: dat
  license: Apache-2.0
  endian: le
doc: |
  Three words, a header, and records back to back up to the end of the file. There is no count, end
  mark, flag, alignment or padding. A file of length 0 is no file.

  In a catalogue each record is a key container: see blob.container, which is decoded when it is asked
  for, since a record file may hold anything else.
seq:
  - id: reserved
    type: u4
    doc: Set by nothing; written back as it was read.
  - id: cleaned_mark
    type: u4
    doc: The catalogue's. With 0 the records are tested at the next load, stale ones dropped.
  - id: len_header
    type: u4
  - id: header
    size: len_header
  - id: records
    type: record
    repeat: eos
types:
  record:
    seq:
      - id: len_data
        type: u4
      - id: data
        size: len_data
        type: blob
  blob:
    doc: A record's bytes, as they are or as a container.
    instances:
      raw:
        pos: 0
        size-eos: true
      container:
        pos: 0
        type: container
  item:
    doc: A length and so many bytes.
    seq:
      - id: len_data
        type: u4
      - id: data
        size: len_data
  container:
    doc: What follows in the record is ignored.
    seq:
      - id: path
        type: item
        doc: 8-bit text without a terminator; it ends early at a zero byte.
      - id: ident1
        type: item
      - id: ident2
        type: item
      - id: param
        type: u4
      - id: num_sub_records
        type: u4
      - id: sub_records
        type: sub_record
        repeat: expr
        repeat-expr: num_sub_records
  sub_record:
    seq:
      - id: len_data
        type: u4
      - id: data
        size: len_data
        type: sub_cont
        if: len_data != 0
        doc: Without any bytes, a sub-record with an empty ident, 0 and 0xFFFFFFFF.
  sub_cont:
    doc: What follows in the sub-record is ignored.
    seq:
      - id: ident
        type: item
      - id: param1
        type: u4
      - id: param2
        type: u4
