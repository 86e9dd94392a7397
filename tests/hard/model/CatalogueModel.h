#ifndef QUENDRIL_TESTS_HARD_MODEL_CATALOGUEMODEL_H
#define QUENDRIL_TESTS_HARD_MODEL_CATALOGUEMODEL_H

#include <list>
#include <string>
#include <vector>

#include "catalogue/ContainerInfo.h"
#include "tests/support/Containers.h"

// What a catalogue file and the lists over it must hold, as plain vectors.

struct ModelRecord {
  std::string path;
  unsigned int param = 0;
  std::string ident1;
  std::list<SubRecord> subRecords;
  unsigned int state = ContainerInfo::StateSynced;

  // Encoded as in the file.
  std::string Blob() const;
};

// The file that several lists share.
struct ModelFile {
  bool isThere = false;
  std::vector<ModelRecord> records;

  std::string Bytes() const;
};

// One list. Which containers exist is looked up in the file system.
class CatalogueModel {
 public:
  explicit CatalogueModel(ModelFile& file) : m_file(file) {}

  std::vector<ModelRecord> Records;

  void Load();
  void Save();
  void Add(std::string const& path);
  void Erase(std::string const& path);
  // The index of the first record for `path`, as a lookup finds it; -1 for none.
  long Find(std::string const& path) const;

 private:
  void Fix();
  void Merge();

  ModelFile& m_file;
};

#endif
