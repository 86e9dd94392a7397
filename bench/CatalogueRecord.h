#ifndef QUENDRIL_BENCH_CATALOGUERECORD_H
#define QUENDRIL_BENCH_CATALOGUERECORD_H

#include <string>

#include "bench/PlainRecord.h"
#include "catalogue/ContainerInfo.h"

// The same record as the catalogue holds it.
inline ContainerInfo ToContainerInfo(PlainRecord const& record) {
  std::string bytes;
  AppendEncoded(bytes, record);
  ContainerInfo result;
  result.ReadData(reinterpret_cast<unsigned char const*>(bytes.data()),
                  static_cast<unsigned int>(bytes.size()));
  return result;
}

#endif
