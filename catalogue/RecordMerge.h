#ifndef QUENDRIL_CATALOGUE_RECORDMERGE_H
#define QUENDRIL_CATALOGUE_RECORDMERGE_H

#include <list>

#include "catalogue/ContainerInfo.h"

// Merges what a file holds into a process's records, by State and by exact path: see the table at
// ContainerInfoList::Save. Of several file records with one path the last is matched first. What
// nothing matched is appended in file order; `fileRecords` is used up. Linear in the number of
// records.
void MergeRecords(std::list<ContainerInfo>& records, std::list<ContainerInfo>& fileRecords);

#endif
