#include "catalogue/RecordRepair.h"

#include <functional>
#include <string_view>

#include "catalogue/CContainerPathCompare.h"
#include "foundation/CTOOFile.h"

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFF;
constexpr std::size_t kFewestPlaces = 16;

bool IsSame(CTOOString const& path, CTOOString const& other) {
  CContainerPathCompare const isBefore;
  return !isBefore(path, other) && !isBefore(other, path);
}

// Whether a save drops the record. What a load drops (IsStale there) follows a rule of its own.
bool IsToBeRemoved(CTOOString const& path) {
  return !CTOOFile::IsExists(path) || path.FindNocase("cur_pers") != kNotFound ||
         path.FindNocase("usrguard") != kNotFound || path.FindNocase(".lck") != kNotFound;
}

}  // namespace

RecordRepair::RecordRepair(std::size_t count) {
  std::size_t size = kFewestPlaces;
  while (size < 2 * count) {
    size *= 2;
  }
  m_paths.resize(size);
}

bool RecordRepair::Note(CTOOString const& path) {
  CTOOString const*& place = PlaceFor(path);
  if (place != nullptr) {
    return false;
  }
  place = &path;
  if (2 * ++m_count > m_paths.size()) {
    Grow();
  }
  return true;
}

// Where the path is, or where it would be.
CTOOString const*& RecordRepair::PlaceFor(CTOOString const& path) {
  for (std::size_t number = std::hash<std::string_view>()(static_cast<char const*>(path));;
       ++number) {
    CTOOString const*& place = m_paths[number & (m_paths.size() - 1)];
    if (place == nullptr || IsSame(*place, path)) {
      return place;
    }
  }
}

// A list may get longer while it is judged: a Save that waits for the list's lock works without it.
void RecordRepair::Grow() {
  std::vector<CTOOString const*> paths(2 * m_paths.size());
  m_paths.swap(paths);
  for (CTOOString const* const path : paths) {
    if (path != nullptr) {
      PlaceFor(*path) = path;
    }
  }
}

RecordRepair::Verdict RecordRepair::Judge(ContainerInfo const& record) {
  if (record.Path.IsEmpty() || !Note(record.Path)) {
    return Verdict::Remove;
  }
  return IsToBeRemoved(record.Path) ? Verdict::Mark : Verdict::Keep;
}
