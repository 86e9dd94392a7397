#ifndef QUENDRIL_CATALOGUE_EDITEDRECORDS_H
#define QUENDRIL_CATALOGUE_EDITEDRECORDS_H

#include <list>
#include <optional>
#include <vector>

#include "catalogue/ContainerInfo.h"
#include "catalogue/PathIndex.h"

// A catalogue's records with changes that can be taken back. What is removed is only marked until
// Settle. The caller holds the list's lock.
class EditedRecords {
 public:
  explicit EditedRecords(std::list<ContainerInfo>& records) : m_records(records) {}

  // Takes in what the file holds; the changes stay. Throws for a blob that is no record.
  void TakeOver(std::list<IdentObj> blobs);

  // False when the path is empty or there already, in its normalised form. Strong: a failure
  // changes nothing.
  bool Add(ContainerInfo const& record);
  // False when there is no such record. Strong.
  bool Erase(char const* path);

  // What is to be written, repaired as Fix does it. Theirs until the next change.
  std::vector<ContainerInfo*> const& Choose();
  // The changes are in the file: what Choose has chosen is in step, the others leave the list.
  // Nothing but the destructor may follow; so it is with TakeBack.
  void Settle();
  void TakeBack();

 private:
  struct Change {
    PathIndex::Record record;
    bool isNew = false;
    unsigned int state = ContainerInfo::StateSynced;  // Before.
  };

  PathIndex& Index();
  void MakeRoomFor(std::size_t changes);
  bool EraseNameless();
  void Mark(PathIndex::Record record);

  std::list<ContainerInfo>& m_records;
  std::vector<Change> m_changes;
  std::optional<PathIndex> m_index;  // Of those that are not marked; made when it is first needed.
  std::vector<ContainerInfo*> m_chosen;
};

#endif
