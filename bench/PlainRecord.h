#ifndef QUENDRIL_BENCH_PLAINRECORD_H
#define QUENDRIL_BENCH_PLAINRECORD_H

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

// A record as a program without the library would hold it: what the contenders keep, and how the
// floor and the stores of keys and values encode it. The bytes are those of ContainerInfo.
struct PlainSubRecord {
  std::string ident;
  std::uint32_t param1 = 0;
  std::uint32_t param2 = 0xFFFFFFFF;
};

struct PlainRecord {
  std::string path;
  std::string ident1;
  std::string ident2;
  std::uint32_t param = 0;
  std::list<PlainSubRecord> subs;
};

// Appends a word: 4 bytes, little-endian.
void PutWord(std::string& to, std::uint32_t word);
// The word at `position`, which moves behind it. Throws std::runtime_error where the bytes end.
std::uint32_t TakeWord(std::string_view from, std::size_t& position);
// The item (a word N, N bytes) at `position`. Throws as TakeWord.
std::string_view TakeItem(std::string_view from, std::size_t& position);

void AppendSubRecords(std::string& to, PlainRecord const& record);
void TakeSubRecords(std::string_view from, std::size_t& position, PlainRecord& to);

std::size_t EncodedSize(PlainRecord const& record);
void AppendEncoded(std::string& to, PlainRecord const& record);
// Into a new record. Throws as TakeWord.
void Decode(std::string_view from, PlainRecord& to);

#endif
