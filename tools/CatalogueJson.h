#ifndef QUENDRIL_TOOLS_CATALOGUEJSON_H
#define QUENDRIL_TOOLS_CATALOGUEJSON_H

#include <cstdio>
#include <string>

#include "tools/RecordFile.h"

namespace inspect {

// A whole record file as JSON, from which the same bytes can be made again, damaged or not:
//
//   {
//     "format": "quendril-catalogue", "version": 1,
//     "reserved": 0, "mark": 1, "header": "",      absent where they are not whole in the file
//     "records": [ {"path": ..., ...}, ... ],      RecordJson.h has their members
//     "rest": "0500"                               what stands behind the last whole record
//   }
// `step` hears the number of each record.
void WriteCatalogueJson(RecordFile const& file, std::FILE* out, Step const& step = nullptr);

// The bytes that such JSON stands for. Throws a Failure that names the place in `source` when it is
// not such JSON: a member that is missing or unknown, a number that does not fit 32 bits.
std::string ReadCatalogueJson(std::string const& json, std::string const& source,
                              Step const& step = nullptr);

}  // namespace inspect

#endif
