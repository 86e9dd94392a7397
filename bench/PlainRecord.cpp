#include "bench/PlainRecord.h"

#include <cstring>
#include <stdexcept>

namespace {

constexpr std::size_t kWordSize = 4;

void PutItem(std::string& to, std::string_view item) {
  PutWord(to, static_cast<std::uint32_t>(item.size()));
  to.append(item);
}

}  // namespace

void PutWord(std::string& to, std::uint32_t word) {
  to.append(reinterpret_cast<char const*>(&word), kWordSize);
}

std::uint32_t TakeWord(std::string_view from, std::size_t& position) {
  if (from.size() - position < kWordSize) {
    throw std::runtime_error("a record ends too early");
  }
  std::uint32_t word = 0;
  std::memcpy(&word, from.data() + position, kWordSize);
  position += kWordSize;
  return word;
}

std::string_view TakeItem(std::string_view from, std::size_t& position) {
  std::uint32_t const size = TakeWord(from, position);
  if (size > from.size() - position) {
    throw std::runtime_error("an item ends too early");
  }
  std::string_view const item(from.data() + position, size);
  position += size;
  return item;
}

void AppendSubRecords(std::string& to, PlainRecord const& record) {
  PutWord(to, static_cast<std::uint32_t>(record.subs.size()));
  for (PlainSubRecord const& sub : record.subs) {
    PutWord(to, static_cast<std::uint32_t>(sub.ident.size() + 3 * kWordSize));
    PutItem(to, sub.ident);
    PutWord(to, sub.param1);
    PutWord(to, sub.param2);
  }
}

void TakeSubRecords(std::string_view from, std::size_t& position, PlainRecord& to) {
  for (std::uint32_t left = TakeWord(from, position); left != 0; --left) {
    std::string_view const blob = TakeItem(from, position);
    std::size_t inside = 0;
    PlainSubRecord& sub = to.subs.emplace_back();
    sub.ident = TakeItem(blob, inside);
    sub.param1 = TakeWord(blob, inside);
    sub.param2 = TakeWord(blob, inside);
  }
}

std::size_t EncodedSize(PlainRecord const& record) {
  std::size_t size =
      5 * kWordSize + record.path.size() + record.ident1.size() + record.ident2.size();
  for (PlainSubRecord const& sub : record.subs) {
    size += 4 * kWordSize + sub.ident.size();
  }
  return size;
}

void AppendEncoded(std::string& to, PlainRecord const& record) {
  PutItem(to, record.path);
  PutItem(to, record.ident1);
  PutItem(to, record.ident2);
  PutWord(to, record.param);
  AppendSubRecords(to, record);
}

void Decode(std::string_view from, PlainRecord& to) {
  std::size_t position = 0;
  to.path = TakeItem(from, position);
  to.ident1 = TakeItem(from, position);
  to.ident2 = TakeItem(from, position);
  to.param = TakeWord(from, position);
  TakeSubRecords(from, position, to);
}
