#include "catalogue/RecordEncoding.h"

namespace {

// Compares what is put with a blob.
class BlobComparison {
 public:
  explicit BlobComparison(IdentObj const& blob) : m_next(blob.Data), m_room(blob.Length) {}

  void Put(void const* data, unsigned int count) {
    if (!m_isSame || count > m_room || (count != 0 && std::memcmp(m_next, data, count) != 0)) {
      m_isSame = false;
      return;
    }
    m_next += count;
    m_room -= count;
  }

  bool IsSameSoFar() const { return m_isSame; }
  bool IsSame() const { return m_isSame && m_room == 0; }

 private:
  unsigned char const* m_next;
  unsigned int m_room;
  bool m_isSame = true;
};

}  // namespace

bool IsEncodingOf(IdentObj const& blob, ContainerInfo const& record) {
  BlobComparison comparison(blob);
  PutRecord(comparison, record, record.Path.Length());
  return comparison.IsSame();
}

bool BeginsWithPath(IdentObj const& blob, CTOOString const& path) {
  BlobComparison comparison(blob);
  PutItem(comparison, static_cast<char const*>(path), path.Length());
  return comparison.IsSameSoFar();
}
