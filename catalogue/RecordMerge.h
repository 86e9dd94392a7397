#ifndef QUENDRIL_CATALOGUE_RECORDMERGE_H
#define QUENDRIL_CATALOGUE_RECORDMERGE_H

#include <list>

#include "catalogue/ContainerInfo.h"

// Merges what a file holds into a process's records, by State and by exact path: see the table at
// ContainerInfoList::Save. Of several file records with one path the last is matched first. What
// nothing matched is appended in file order; `fileRecords` is used up. Linear in the number of
// records.
void MergeRecords(std::list<ContainerInfo>& records, std::list<ContainerInfo>& fileRecords);

// The same for records that are not written yet: those that are StateAdded or StateRemoved stay as
// they are, whether the file holds them or not. Strong: lack of memory changes nothing.
void TakeOverRecords(std::list<ContainerInfo>& records, std::list<ContainerInfo>& fileRecords);

#endif
