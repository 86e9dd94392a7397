#include "catalogue/ContainerInfo.h"

#include <cstring>
#include <stdexcept>

#include "catalogue/BlobReader.h"
#include "catalogue/RecordEncoding.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr int kMalformed = 37;

[[noreturn]] void ThrowMalformed(char const* where) { throw XTOOStatus(kMalformed, where, false); }

// The size as a blob's length.
unsigned int CheckedSize(unsigned long size) {
  if (size > 0xFFFFFFFF) {
    throw std::length_error("a container record does not fit into a blob");
  }
  return static_cast<unsigned int>(size);
}

// Fills a blob from its start. REQUIRES: what is put fits.
class BlobWriter {
 public:
  explicit BlobWriter(IdentObj& blob) : m_next(blob.Data) {}

  void Put(void const* data, unsigned int count) {
    if (count != 0) {
      std::memcpy(m_next, data, count);
      m_next += count;
    }
  }

 private:
  unsigned char* m_next;
};

// Decodes the item ahead. False, with the target untouched, when it does not fit.
bool TakeItem(BlobReader& reader, IdentObj& target) {
  if (!reader.HasItem()) {
    return false;
  }
  reader.Skip(target.ReadData(reader.Position(), reader.Remaining()));
  return true;
}

// False when the record is cut. Throws for a cut sub-record.
bool TakeFieldsAfterPath(BlobReader& reader, ContainerInfo& record) {
  if (!TakeItem(reader, record.Ident1) || !TakeItem(reader, record.Ident2) || !reader.HasWords(2)) {
    return false;
  }
  record.Param = reader.TakeWord();
  for (unsigned int remaining = reader.TakeWord(); remaining != 0; --remaining) {
    if (!reader.HasItem()) {
      return false;
    }
    BlobReader const blob = reader.TakeItem();
    std::list<SubContInfo> sub(1);
    sub.front().ReadData(blob.Position(), blob.Remaining());
    record.SubConts.splice(record.SubConts.end(), sub);
  }
  return true;
}

}  // namespace

SubContInfo::SubContInfo() = default;

SubContInfo::SubContInfo(SubContInfo const& other) : SubContInfo() { *this = other; }

SubContInfo::~SubContInfo() = default;

SubContInfo& SubContInfo::operator=(SubContInfo const& other) {
  if (this != &other) {
    Ident = other.Ident;
    Param1 = other.Param1;
    Param2 = other.Param2;
  }
  return *this;
}

IdentObj SubContInfo::WriteData() {
  IdentObj blob(nullptr, CheckedSize(BlobSize(*this)));
  BlobWriter writer(blob);
  PutSubRecord(writer, *this);
  return blob;
}

unsigned int SubContInfo::ReadData(unsigned char const* data, unsigned int len) {
  if (data == nullptr || len == 0) {
    return 0;
  }
  BlobReader reader(data, len);
  if (!TakeItem(reader, Ident)) {
    Ident.Empty();
    ThrowMalformed("SubContInfo::ReadData");
  }
  if (!reader.HasWords(2)) {
    ThrowMalformed("SubContInfo::ReadData");
  }
  Param1 = reader.TakeWord();
  Param2 = reader.TakeWord();
  return len - reader.Remaining();
}

ContainerInfo::ContainerInfo() = default;

ContainerInfo::ContainerInfo(ContainerInfo const& other) : ContainerInfo() { *this = other; }

ContainerInfo::~ContainerInfo() = default;

ContainerInfo& ContainerInfo::operator=(ContainerInfo const& other) {
  if (this != &other) {
    Path = other.Path;
    Param = other.Param;
    Ident1 = other.Ident1;
    Ident2 = other.Ident2;
    SubConts = other.SubConts;
    State = other.State;
  }
  return *this;
}

IdentObj ContainerInfo::WriteData() {
  unsigned int const pathLength = Path.Length();
  unsigned long size =
      ItemSize(pathLength) + ItemSize(Ident1.Length) + ItemSize(Ident2.Length) + kTwoRecordWords;
  for (SubContInfo const& sub : SubConts) {
    size += ItemSize(CheckedSize(BlobSize(sub)));
  }
  IdentObj blob(nullptr, CheckedSize(size));
  BlobWriter writer(blob);
  PutRecord(writer, *this, pathLength);
  return blob;
}

unsigned int ContainerInfo::ReadData(unsigned char const* data, unsigned int len) {
  BlobReader reader(data, len);
  if (!reader.HasItem()) {
    ThrowMalformed("ContainerInfo::ReadData");
  }
  BlobReader const path = reader.TakeItem();
  bool const isWhole = TakeFieldsAfterPath(reader, *this);
  Path.Load(path.Position(), path.Remaining());
  if (!isWhole) {
    ThrowMalformed("ContainerInfo::ReadData");
  }
  return len - reader.Remaining();
}
