#ifndef QUENDRIL_TESTS_RECORDSTORE_BOTHBACKENDS_H
#define QUENDRIL_TESTS_RECORDSTORE_BOTHBACKENDS_H

#include <filesystem>
#include <iterator>
#include <list>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

// A record store over given bytes, on disk and in memory, for what must hold on both:
//
//   TYPED_TEST_SUITE(Something, Backends, BackendName);
//   TYPED_TEST(Something, Holds) { TypeParam backend(bytes); backend.Store().Add(...); }
//
// No bytes give no file. A store may create what is not there.

// Shows the protected members.
template <typename Base>
class OpenStore : public Base {
 public:
  using Base::Base;
  std::list<unsigned int>& Offsets() { return this->m_offsets; }
  IdentObj& Header() { return this->m_header; }
};

class DiskBackend {
 public:
  static constexpr char const* kName = "Disk";
  static constexpr bool kIsOnDisk = true;

  explicit DiskBackend(std::string const& bytes) { Start(bytes); }

  // Begins again with a new store over these bytes.
  void Start(std::string const& bytes) {
    std::filesystem::remove(m_path);  // Emptying a file may wait for the disk, removing it not.
    if (!bytes.empty()) {
      WriteFile(m_path, bytes);
      AgeFile(m_path);  // Only what the store itself writes makes it scan again.
    }
    m_store = std::make_unique<OpenStore<CQuasiStructFile>>(m_path.c_str(), true, false);
  }
  OpenStore<CQuasiStructFile>& Store() { return *m_store; }
  std::string Bytes() const { return IsThere(m_path) ? ReadFile(m_path) : std::string(); }
  // What is there after a change that leaves `content` of `before`.
  static std::string Cut(std::string const& content, std::string const& /*before*/) {
    return content;
  }

 private:
  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::unique_ptr<OpenStore<CQuasiStructFile>> m_store;
};

class MemoryBackend {
 public:
  static constexpr char const* kName = "Memory";
  static constexpr bool kIsOnDisk = false;

  explicit MemoryBackend(std::string const& bytes) { Start(bytes); }

  void Start(std::string const& bytes) {
    m_store = std::make_unique<OpenStore<QuasiStructBuffer>>(bytes.data(), bytes.size());
  }
  OpenStore<QuasiStructBuffer>& Store() { return *m_store; }
  std::string Bytes() const { return m_store->GetBuffer(); }
  // Cutting keeps one byte more, which is still the old one.
  static std::string Cut(std::string const& content, std::string const& before) {
    return content.size() < before.size() ? content + before[content.size()] : content;
  }

 private:
  std::unique_ptr<OpenStore<QuasiStructBuffer>> m_store;
};

using Backends = testing::Types<DiskBackend, MemoryBackend>;

struct BackendName {
  template <typename Backend>
  static std::string GetName(int /*index*/) {
    return Backend::kName;
  }
};

// Where the records of such a file lie.
inline std::list<unsigned int> OffsetsIn(std::string const& header,
                                         std::list<std::string> const& records) {
  std::list<unsigned int> offsets;
  auto position = static_cast<unsigned int>(12 + header.size());
  for (std::string const& record : records) {
    offsets.push_back(position);
    position += static_cast<unsigned int>(4 + record.size());
  }
  return offsets;
}

// Record `index` as Get gives it.
inline std::string RecordAt(QuasiStructFileBase& store, long index) {
  IdentObj record;
  EXPECT_EQ(0U, store.Get(index, record)) << "record " << index;
  return DataOf(record);
}

// The store over `before` must have become one over these records, in memory and in the storage.
template <typename Backend>
void ExpectBecame(Backend& backend, std::string const& before, std::string const& header,
                  std::list<std::string> const& records) {
  EXPECT_EQ(OffsetsIn(header, records), backend.Store().Offsets());
  std::string const content =
      (before.empty() ? RecordFile({}) : before).substr(0, 8) + Item(header);
  std::string bytes = content;
  for (std::string const& record : records) {
    bytes += Item(record);
  }
  EXPECT_EQ(ToHex(Backend::Cut(bytes, before)), ToHex(backend.Bytes()));
  long index = 0;
  for (std::string const& record : records) {
    EXPECT_EQ(record, RecordAt(backend.Store(), index++));
  }
  IdentObj none;
  EXPECT_EQ(194U, backend.Store().Get(index, none));
  EXPECT_EQ(0, backend.Store().Status());
}

// `records` with that at `index` replaced, or removed where there is no replacement.
inline std::list<std::string> With(std::list<std::string> records, long index,
                                   std::string const& replacement) {
  *std::next(records.begin(), index) = replacement;
  return records;
}

inline std::list<std::string> Without(std::list<std::string> records, long index) {
  records.erase(std::next(records.begin(), index));
  return records;
}

#endif
