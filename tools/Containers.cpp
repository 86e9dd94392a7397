#include "tools/Containers.h"

#include <list>

#include "catalogue/ContainerInfoList.h"
#include "foundation/CTOOFile.h"
#include "foundation/storedev.h"

namespace inspect {

namespace {

// As a save knows them, which tells of them only where the container exists.
bool HasReservedWord(CTOOString const& path) {
  constexpr unsigned int kNotFound = 0xFFFFFFFF;
  return path.FindNocase("cur_pers") != kNotFound || path.FindNocase("usrguard") != kNotFound ||
         path.FindNocase(".lck") != kNotFound;
}

}  // namespace

CTOOString ToPath(std::string_view text) {
  CTOOString path;
  path.Load(reinterpret_cast<unsigned char const*>(text.data()),
            static_cast<unsigned int>(text.size()));
  return path;
}

bool DoesContainerExist(std::string_view text) { return CTOOFile::IsExists(ToPath(text)); }

CTOOString Normalised(std::string_view text) {
  CTOOString folder;
  CTOOString name;
  storedev::ParseFullPath(ToPath(text), nullptr, &folder, &name, nullptr);
  CTOOString normalised;
  storedev::MakeFullPath(normalised, folder, name, "");
  return normalised;
}

Fate Fates::Judge(std::string_view text) {
  if (text.empty()) {
    return Fate::EmptyPath;
  }
  if (!m_seen.insert(text).second) {
    return Fate::Duplicate;
  }
  if (!m_asksForContainers) {
    return HasReservedWord(ToPath(text)) ? Fate::ReservedWord : Fate::Kept;
  }
  std::list<ContainerInfo> record(1);
  record.front().Path = ToPath(text);
  bool isMarked = false;
  ContainerInfoList::Fix(record, &isMarked);
  if (!isMarked) {
    return Fate::Kept;
  }
  return DoesContainerExist(text) ? Fate::ReservedWord : Fate::Missing;
}

}  // namespace inspect
