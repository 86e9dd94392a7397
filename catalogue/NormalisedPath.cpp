#include "catalogue/NormalisedPath.h"

#include "foundation/storedev.h"

CTOOString NormalisedPath(char const* path) {
  CTOOString folder;
  CTOOString name;
  storedev::ParseFullPath(path, nullptr, &folder, &name, nullptr);
  CTOOString normalised;
  storedev::MakeFullPath(normalised, folder, name, "");
  return normalised;
}
