#ifndef QUENDRIL_CATALOGUE_RECORDMERGE_H
#define QUENDRIL_CATALOGUE_RECORDMERGE_H

#include <list>

#include "catalogue/ContainerInfo.h"

// Merges what a file holds, as records' blobs, into a process's records, by State and by exact
// path: see the table at ContainerInfoList::Save. Of several file records with one path the last is
// matched first. What nothing matched is appended in file order. Throws 37 for a blob that is no
// record, with nothing changed; so does lack of memory. Linear in the number of records.
//
// Afterwards each of `blobs` is what the record at its place encodes to, or empty where that is not
// known; there may be fewer of them than records.
void MergeRecords(std::list<ContainerInfo>& records, std::list<IdentObj>& blobs);

// The same for records that are not written yet: those that are StateAdded or StateRemoved stay as
// they are, whether the file holds them or not.
void TakeOverRecords(std::list<ContainerInfo>& records, std::list<IdentObj>& blobs);

#endif
