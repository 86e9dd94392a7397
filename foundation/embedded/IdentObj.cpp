#include "foundation/IdentObj.h"

#include <cstring>
#include <utility>

#include "foundation/CTOOFile.h"
#include "foundation/embedded/LittleEndian.h"

namespace {

constexpr unsigned int kPrefixSize = 4;
constexpr unsigned int kCurrentPosition = 0xFFFFFFFF;
constexpr int kFromStart = 0;

// The bytes that a serialized blob of `length` data bytes takes, saturated: a caller that compares
// it with what there was must never see a sum that wrapped.
unsigned int SaturatedSize(unsigned int length) {
  return length > 0xFFFFFFFF - kPrefixSize ? 0xFFFFFFFF : length + kPrefixSize;
}

// Leaves the bytes unset: for callers that fill them at once.
unsigned char* Allocate(unsigned int n) { return n == 0 ? nullptr : new unsigned char[n]; }

void MoveTo(CTOOFile const& file, unsigned int position) {
  if (position != kCurrentPosition) {
    static_cast<void>(file.Seek(position, kFromStart));  // Only before the start it would fail.
  }
}

// Reads the rest of a blob whose prefix said `length`; false when the file does not hold it.
bool ReadBytes(CTOOFile const& file, unsigned int length, IdentObj& target) {
  unsigned long const size = file.Length();
  unsigned long const position = file.CurPos();
  // With the prefix it must fit a count of 32 bits too.
  if (position > size || length > size - position || length > 0xFFFFFFFF - kPrefixSize) {
    return false;
  }
  target.Data = Allocate(length);
  target.Length = length;
  return file.Read(target.Data, length) == length;
}

}  // namespace

IdentObj::IdentObj() : Length(0), Data(nullptr) {}

IdentObj::IdentObj(void const* data, unsigned int n) : Length(n), Data(Allocate(n)) {
  if (n == 0) {
    return;
  }
  if (data == nullptr) {
    std::memset(Data, 0, n);
  } else {
    std::memcpy(Data, data, n);
  }
}

IdentObj::IdentObj(IdentObj const& other) : Length(other.Length), Data(Allocate(other.Length)) {
  if (Length != 0) {
    std::memcpy(Data, other.Data, Length);
  }
}

IdentObj::~IdentObj() { delete[] Data; }

IdentObj& IdentObj::operator=(IdentObj const& other) {
  if (this != &other) {
    IdentObj copy(other);
    *this = std::move(copy);
  }
  return *this;
}

void IdentObj::Empty() {
  delete[] Data;
  Data = nullptr;
  Length = 0;
}

bool IdentObj::operator==(IdentObj const& other) const {
  return Length == other.Length && (Length == 0 || std::memcmp(Data, other.Data, Length) == 0);
}

unsigned int IdentObj::GetObjectSize() const { return kPrefixSize + Length; }

unsigned int IdentObj::WriteData(void* buf, unsigned int room) const {
  if (buf == nullptr || room < kPrefixSize || room - kPrefixSize < Length) {
    return 0;
  }
  auto* const bytes = static_cast<unsigned char*>(buf);
  StoreWord(bytes, Length);
  if (Length != 0) {
    std::memcpy(bytes + kPrefixSize, Data, Length);
  }
  return kPrefixSize + Length;
}

unsigned int IdentObj::ReadData(void const* buf, unsigned int len) {
  if (buf == nullptr || len < kPrefixSize) {
    Empty();
    return SaturatedSize(len);
  }
  auto const* const bytes = static_cast<unsigned char const*>(buf);
  unsigned int const length = LoadWord(bytes);
  if (length > len - kPrefixSize) {
    Empty();
    return SaturatedSize(length);
  }
  *this = length == 0 ? IdentObj() : IdentObj(bytes + kPrefixSize, length);
  return kPrefixSize + length;
}

unsigned int IdentObj::WriteData(CTOOFile& file, unsigned int position) const {
  MoveTo(file, position);
  unsigned char prefix[kPrefixSize];
  StoreWord(prefix, Length);
  if (file.Write(prefix, kPrefixSize) != kPrefixSize || file.Write(Data, Length) != Length) {
    return 0;
  }
  return kPrefixSize + Length;
}

unsigned int IdentObj::ReadData(CTOOFile const& file, unsigned int position) {
  unsigned long const start = file.CurPos();
  Empty();
  MoveTo(file, position);
  unsigned char prefix[kPrefixSize];
  if (file.Read(prefix, kPrefixSize) == kPrefixSize && ReadBytes(file, LoadWord(prefix), *this)) {
    return kPrefixSize + Length;
  }
  Empty();
  static_cast<void>(file.Seek(static_cast<long>(start), kFromStart));  // It was there before.
  return 0;
}
