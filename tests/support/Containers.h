#ifndef QUENDRIL_TESTS_SUPPORT_CONTAINERS_H
#define QUENDRIL_TESTS_SUPPORT_CONTAINERS_H

#include <list>
#include <string>

#include "catalogue/ContainerInfoList.h"

// Container records and catalogue files, encoded by none of the code under test.

struct SubRecord {
  std::string ident;
  unsigned int param1 = 0;
  unsigned int param2 = 0xFFFFFFFF;
};

// A container record's blob.
std::string ContainerBytes(std::string const& path, std::string const& ident1 = "",
                           std::string const& ident2 = "", unsigned int param = 0,
                           std::list<SubRecord> const& subRecords = {});
// A whole catalogue file: these paths and nothing else in each record.
std::string CatalogueFile(unsigned int mark, std::list<std::string> const& paths);
// The paths of the records in a catalogue file, in file order; throws when it is damaged.
std::list<std::string> PathsInFile(std::string const& fileName);

// What is in memory.
std::list<std::string> PathsIn(std::list<ContainerInfo> const& records);
std::list<std::string> PathsIn(ContainerInfoList& list);
// A record with that path and state.
ContainerInfo Record(std::string const& path, unsigned int state = ContainerInfo::StateSynced,
                     unsigned int param = 0);

#endif
