#include "catalogue/RecordRepair.h"

#include <string_view>

#include "foundation/CTOOFile.h"

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFF;

// Whether a save drops the record. What a load drops (IsStale there) follows a rule of its own.
bool IsToBeRemoved(CTOOString const& path) {
  return !CTOOFile::IsExists(path) || path.FindNocase("cur_pers") != kNotFound ||
         path.FindNocase("usrguard") != kNotFound || path.FindNocase(".lck") != kNotFound;
}

}  // namespace

std::size_t RecordRepair::Hash::operator()(CTOOString const& path) const {
  return std::hash<std::string_view>()(static_cast<char const*>(path));
}

RecordRepair::Verdict RecordRepair::Judge(ContainerInfo const& record) {
  if (record.Path.IsEmpty() || !m_paths.insert(record.Path).second) {
    return Verdict::Remove;
  }
  return IsToBeRemoved(record.Path) ? Verdict::Mark : Verdict::Keep;
}
