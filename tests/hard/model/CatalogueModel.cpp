#include "tests/hard/model/CatalogueModel.h"

#include <algorithm>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"

namespace {

void ReplaceAll(std::string& text, std::string const& what, std::string const& with) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    text.replace(at, what.size(), with);
  }
}

// Enough for the paths of these tests: ASCII, and the one other letter in them.
std::string Folded(std::string text) {
  ReplaceAll(text, Hex("c384"), Hex("c3a4"));
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

std::string Normalised(std::string path) {
  ReplaceAll(path, "//", "/");
  return path;
}

bool IsToBeRemoved(std::string const& path) {
  std::string const folded = Folded(path);
  auto const holds = [&](char const* word) { return folded.find(word) != std::string::npos; };
  return !IsThere(path) || holds("cur_pers") || holds("usrguard") || holds(".lck");
}

std::vector<ModelRecord>::iterator FindPath(std::vector<ModelRecord>& records,
                                            std::string const& path) {
  return std::find_if(records.begin(), records.end(),
                      [&](ModelRecord const& record) { return record.path == path; });
}

}  // namespace

std::string ModelRecord::Blob() const {
  return ContainerBytes(path, ident1, "", param, subRecords);
}

std::string ModelFile::Bytes() const {
  if (!isThere) {
    return "";
  }
  std::list<std::string> blobs;
  for (ModelRecord const& record : records) {
    blobs.push_back(record.Blob());
  }
  return RecordFile(0, 1, "", blobs);
}

void CatalogueModel::Load() {
  Records = m_file.records;
  for (ModelRecord& record : Records) {
    record.state = ContainerInfo::StateSynced;
  }
}

void CatalogueModel::Save() {
  Fix();
  Merge();
  m_file.isThere = true;
  m_file.records = Records;
}

void CatalogueModel::Add(std::string const& path) {
  if (Find(path) == -1) {
    Records.push_back(ModelRecord{path, 0, "", {}, ContainerInfo::StateAdded});
    Save();
  }
}

void CatalogueModel::Erase(std::string const& path) {
  for (ModelRecord& record : Records) {
    if (Folded(record.path) == Folded(path)) {
      record.state = ContainerInfo::StateRemoved;
      Save();
      return;
    }
  }
}

long CatalogueModel::Find(std::string const& path) const {
  std::string const wanted = Folded(Normalised(path));
  for (std::size_t i = 0; i < Records.size(); ++i) {
    if (Folded(Records[i].path) == wanted) {
      return static_cast<long>(i);
    }
  }
  return -1;
}

// The first of several with one path stays; what must not be in a catalogue is marked.
void CatalogueModel::Fix() {
  std::vector<ModelRecord> kept;
  for (ModelRecord& record : Records) {
    if (FindPath(kept, record.path) != kept.end()) {
      continue;
    }
    if (IsToBeRemoved(record.path)) {
      record.state = ContainerInfo::StateRemoved;
    }
    kept.push_back(record);
  }
  Records = kept;
}

//   state in memory   the file holds the path      the file does not
//   synced            the file's version           dropped
//   added             kept as it is, added         kept, synced
//   removed           dropped                      dropped
//
// No path is in the file twice. What only the file holds follows at the end.
void CatalogueModel::Merge() {
  std::vector<ModelRecord> inFile = m_file.records;
  std::vector<ModelRecord> merged;
  for (ModelRecord record : Records) {
    auto const found = FindPath(inFile, record.path);
    bool isKept = record.state == ContainerInfo::StateAdded;
    if (found == inFile.end()) {
      record.state = ContainerInfo::StateSynced;
    } else {
      if (record.state == ContainerInfo::StateSynced) {
        record = *found;
        record.state = ContainerInfo::StateSynced;
        isKept = true;
      }
      inFile.erase(found);
    }
    if (isKept) {
      merged.push_back(record);
    }
  }
  for (ModelRecord& record : inFile) {
    record.state = ContainerInfo::StateSynced;
    merged.push_back(record);
  }
  Records = merged;
}
