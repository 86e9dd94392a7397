#include <cstdlib>
#include <cstring>
#include <new>

#include "Contract.h"
#include "foundation/CTOOFile.h"
#include "foundation/IdentObj.h"

namespace {

constexpr unsigned int kPrefix = 4;
constexpr unsigned int kHere = 0xFFFFFFFF;
constexpr unsigned int kFewest = 16;
constexpr int kRubbish = 0xA5;

unsigned char* NewBytes(unsigned int n) {
  void* const bytes = std::malloc(n);
  if (bytes == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<unsigned char*>(std::memset(bytes, kRubbish, n));
}

}  // namespace

IdentObj::IdentObj() : m_room(kFewest), Data(NewBytes(kFewest)), Length(0) {}

IdentObj::IdentObj(void const* data, unsigned int n) : IdentObj() { Assign(data, n); }

IdentObj::IdentObj(IdentObj const& other) : IdentObj() { Assign(other.Data, other.Length); }

IdentObj::~IdentObj() { std::free(Data); }

IdentObj& IdentObj::operator=(IdentObj const& other) {
  if (this != &other) {
    Assign(other.Data, other.Length);
  }
  return *this;
}

void IdentObj::Empty() { Length = 0; }

bool IdentObj::operator==(IdentObj const& other) const {
  return Length == other.Length && std::memcmp(Data, other.Data, Length) == 0;
}

unsigned int IdentObj::GetObjectSize() const { return kPrefix + Length; }

unsigned int IdentObj::WriteData(void* buf, unsigned int room) const {
  Require(room >= GetObjectSize(), "a blob written where it does not fit");
  std::memcpy(buf, &Length, kPrefix);
  std::memcpy(static_cast<char*>(buf) + kPrefix, Data, Length);
  return GetObjectSize();
}

unsigned int IdentObj::ReadData(void const* buf, unsigned int len) {
  unsigned int n = 0;
  Require(len >= kPrefix, "a blob parsed from less than its length");
  std::memcpy(&n, buf, kPrefix);
  Require(n <= len - kPrefix, "a blob parsed from fewer bytes than it has");
  Assign(static_cast<char const*>(buf) + kPrefix, n);
  return GetObjectSize();
}

unsigned int IdentObj::WriteData(CTOOFile& file, unsigned int position) const {
  if (position != kHere) {
    file.Seek(position, SEEK_SET);
  }
  bool const isWhole =
      file.Write(&Length, kPrefix) == kPrefix && file.Write(Data, Length) == Length;
  return isWhole ? GetObjectSize() : 0;
}

unsigned int IdentObj::ReadData(CTOOFile const& file, unsigned int position) {
  if (position != kHere) {
    file.Seek(position, SEEK_SET);
  }
  unsigned int n = 0;
  if (file.Read(&n, kPrefix) == kPrefix && n <= file.Length() - file.CurPos()) {
    Assign(nullptr, n);
    if (file.Read(Data, n) == n) {
      return GetObjectSize();
    }
  }
  Assign("rubbish", sizeof "rubbish");
  return 0;
}

void IdentObj::Assign(void const* data, unsigned int n) {
  if (n > m_room) {
    unsigned char* const bytes = NewBytes(n);
    std::free(Data);
    Data = bytes;
    m_room = n;
  }
  if (data != nullptr) {
    std::memcpy(Data, data, n);
  } else {
    std::memset(Data, kRubbish, n);
  }
  Length = n;
}
