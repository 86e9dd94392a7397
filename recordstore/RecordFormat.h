#ifndef QUENDRIL_RECORDSTORE_RECORDFORMAT_H
#define QUENDRIL_RECORDSTORE_RECORDFORMAT_H

// The record file, all integers unsigned 32-bit little-endian:
//
//   offset  width            field
//   0       4                first reserved word
//   4       4                cleaned mark (the catalogue's)
//   8       4                H, the header's length in bytes
//   12      H                header data
//   12 + H  to the file's end records, back to back, each a serialized IdentObj: 4 bytes N, N bytes
//
// There is no count, end mark, flag, alignment or padding. A file of length 0 is no file.

constexpr unsigned int kHeaderWordsSize = 12;
constexpr unsigned int kLengthPrefixSize = 4;

// Position argument of stor_ReadIdentObject and stor_WriteIdentObject: where the handle stands.
constexpr unsigned int kCurrentPosition = 0xFFFFFFFF;

// Origins of stor_Seek.
constexpr int kFromStart = 0;
constexpr int kFromCurrent = 1;
constexpr int kFromEnd = 2;

// Modes of stor_Open.
constexpr char const* kModeRead = "rbc";
constexpr char const* kModeUpdate = "r+bc";
constexpr char const* kModeCreate = "wbc";

#endif
