#ifndef QUENDRIL_TESTS_HARD_KILLS_LINKEDRECORD_H
#define QUENDRIL_TESTS_HARD_KILLS_LINKEDRECORD_H

#include <string>

#include "catalogue/ContainerInfo.h"

// Container records whose parts follow from each other, so that one that is put together from
// pieces of two shows: the blobs and the sub-records follow from the path and Param.
//
// A path whose last part begins with "plain" is that of a record as ContainerInfoList::Add makes
// it: Param 0 and nothing else in it.

// In memory, with the state StateAdded.
ContainerInfo LinkedRecord(std::string const& path, unsigned int param);
// Its blob, by none of the code under test.
std::string LinkedBytes(std::string const& path, unsigned int param);
// Whether everything in the record follows from its path and Param.
bool IsLinked(ContainerInfo const& record);

#endif
