#include "tools/Containers.h"

#include <list>

#include "catalogue/ContainerInfoList.h"
#include "foundation/CTOOFile.h"
#include "foundation/storedev.h"

namespace inspect {

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
