#ifndef QUENDRIL_TOOLS_RECORDJSON_H
#define QUENDRIL_TOOLS_RECORDJSON_H

#include <string_view>

#include "tools/JsonWriter.h"
#include "tools/RecordFile.h"

namespace inspect {

// The members that stand for a record, written into an object that was begun. All bytes of the
// record can be made of them again:
//
//   path, ident1, ident2, param, subRecords   of a container record; blobs in hexadecimal digits
//   tail                                      what stands behind its last field, if anything does
//   raw                                       all the bytes of a record that is no container record
//
// A sub-record has ident, param1, param2 and maybe tail; one of length 0 has nothing.
void WriteRecord(JsonWriter& json, ContainerView const& view, std::string_view blob);

// "damage": {...}.
void WriteDamage(JsonWriter& json, Damage const& damage);

}  // namespace inspect

#endif
