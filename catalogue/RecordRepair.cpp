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
  m_places.resize(size);
}

bool RecordRepair::Note(CTOOString const& path) {
  std::size_t const hash = std::hash<std::string_view>()(static_cast<char const*>(path));
  Place& place = PlaceFor(hash, path);
  if (place.path != nullptr) {
    return false;
  }
  place = Place{hash, &path};
  if (2 * ++m_count > m_places.size()) {
    Grow();
  }
  return true;
}

// A list may get longer while it is judged: a Save that waits for the list's lock works without it.
void RecordRepair::Grow() {
  std::vector<Place> places(2 * m_places.size());
  m_places.swap(places);
  for (Place const& place : places) {
    if (place.path != nullptr) {
      PlaceFor(place.hash, *place.path) = place;
    }
  }
}

// Where the path is, or where it would be.
RecordRepair::Place& RecordRepair::PlaceFor(std::size_t hash, CTOOString const& path) {
  for (std::size_t number = hash;; ++number) {
    Place& place = m_places[number & (m_places.size() - 1)];
    if (place.path == nullptr || (place.hash == hash && IsSame(*place.path, path))) {
      return place;
    }
  }
}

RecordRepair::Verdict RecordRepair::Judge(ContainerInfo const& record) {
  if (record.Path.IsEmpty() || !Note(record.Path)) {
    return Verdict::Remove;
  }
  return IsToBeRemoved(record.Path) ? Verdict::Mark : Verdict::Keep;
}
