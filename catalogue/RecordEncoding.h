#ifndef QUENDRIL_CATALOGUE_RECORDENCODING_H
#define QUENDRIL_CATALOGUE_RECORDENCODING_H

#include <cstring>

#include "catalogue/ContainerInfo.h"

// The bytes of a record, told to a sink piece by piece:
//
//   item Path, item Ident1, item Ident2, word Param, word K, K x item sub-record
//   sub-record: item Ident, word Param1, word Param2
//
// A word is 32 bits little-endian; an item is a word N and N bytes.

constexpr unsigned int kRecordWordSize = 4;
constexpr unsigned long kTwoRecordWords = 8;

inline unsigned long ItemSize(unsigned int length) {
  return kRecordWordSize + static_cast<unsigned long>(length);
}

// The length of the sub-record's blob.
inline unsigned long BlobSize(SubContInfo const& sub) {
  return ItemSize(sub.Ident.Length) + kTwoRecordWords;
}

// A sink has Put(data, count).
template <typename Sink>
void PutWord(Sink& sink, unsigned int word) {
  sink.Put(&word, kRecordWordSize);
}

template <typename Sink>
void PutItem(Sink& sink, void const* data, unsigned int length) {
  PutWord(sink, length);
  sink.Put(data, length);
}

template <typename Sink>
void PutSubRecord(Sink& sink, SubContInfo const& sub) {
  PutItem(sink, sub.Ident.Data, sub.Ident.Length);
  PutWord(sink, sub.Param1);
  PutWord(sink, sub.Param2);
}

// `pathLength` is that of the record's path.
template <typename Sink>
void PutRecord(Sink& sink, ContainerInfo const& record, unsigned int pathLength) {
  PutItem(sink, static_cast<char const*>(record.Path), pathLength);
  PutItem(sink, record.Ident1.Data, record.Ident1.Length);
  PutItem(sink, record.Ident2.Data, record.Ident2.Length);
  PutWord(sink, record.Param);
  PutWord(sink, static_cast<unsigned int>(record.SubConts.size()));
  for (SubContInfo const& sub : record.SubConts) {
    PutWord(sink, static_cast<unsigned int>(BlobSize(sub)));
    PutSubRecord(sink, sub);
  }
}

// Whether the blob is what the record encodes to.
bool IsEncodingOf(IdentObj const& blob, ContainerInfo const& record);
// Whether the blob begins with an item that is the path.
bool BeginsWithPath(IdentObj const& blob, CTOOString const& path);

#endif
