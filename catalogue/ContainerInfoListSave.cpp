// Saving and editing a catalogue.

#include "catalogue/ContainerInfoList.h"
#include "catalogue/RecordMerge.h"
#include "catalogue/RunningEdit.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"

namespace {

constexpr int kNoFileName = 28;
constexpr unsigned int kCleaned = 1;

bool IsEmptyText(char const* text) { return text == nullptr || *text == 0; }

// The file's records. None when the file cannot be read: it is the authority for every record that
// this process did not add.
std::list<IdentObj> ReadRecords(CQuasiStructFile& file) {
  std::list<IdentObj> blobs;
  if (file.Status() != 0 || file.GetAll(blobs) != 0) {
    blobs.clear();
  }
  return blobs;
}

// Encodes the records. `blobs` are what the merge has left: nearly all of them, as a rule.
void Encode(std::list<ContainerInfo>& records, std::list<IdentObj>& blobs) {
  auto blob = blobs.begin();
  for (ContainerInfo& record : records) {
    if (blob == blobs.end()) {
      blobs.push_back(record.WriteData());
      continue;
    }
    if (blob->Length == 0) {
      *blob = record.WriteData();
    }
    ++blob;
  }
}

// Kept on purpose: between the two calls the file is empty and not locked.
void WriteRecords(CQuasiStructFile& file, std::list<IdentObj> const& blobs) {
  file.Words.CleanedMark = kCleaned;  // Reading the records read the file's own mark again.
  if (file.EmptyFile() == 0) {
    static_cast<void>(file.PutList(blobs));  // It may return what an earlier operation had set.
  }
}

// Removes the records with an empty path; true when there were any.
bool RemoveNameless(std::list<ContainerInfo>& records) {
  std::size_t const before = records.size();
  records.remove_if([](ContainerInfo const& record) { return record.Path.IsEmpty(); });
  return records.size() != before;
}

// Marks the first record for `path` as removed; false when there is none.
bool MarkRemoved(std::list<ContainerInfo>& records, char const* path) {
  for (ContainerInfo& record : records) {
    if (record.Path.CollateNoCase(path) == 0) {
      record.State = ContainerInfo::StateRemoved;
      return true;
    }
  }
  return false;
}

}  // namespace

void ContainerInfoList::Save(bool bWaitLock) {
  RunningEdit::Refuse("ContainerInfoList::Save");
  if (m_fileName.IsEmpty()) {
    throw XTOOStatus(kNoFileName, "ContainerInfoList", false);
  }
  try {
    MergeAndWrite(bWaitLock);
  } catch (XTOOStatus const&) {
    // Kept on purpose: nothing is reported; the list is left as far as the merge had got.
  }
}

void ContainerInfoList::MergeAndWrite(bool bWaitLock) {
  CQuasiStructFile file(m_fileName, true, false);
  file.Words.CleanedMark = kCleaned;
  if (bWaitLock) {
    // Kept on purpose: only waited for; the work below runs without it.
    IPC::CWriteLocker const locker(m_sync.Lock);
  }
  Fix(m_sync.Records, nullptr);
  std::list<IdentObj> blobs = ReadRecords(file);
  MergeRecords(m_sync.Records, blobs);
  Encode(m_sync.Records, blobs);
  WriteRecords(file, blobs);
}

void ContainerInfoList::Add(char const* path) {
  RunningEdit::Refuse("ContainerInfoList::Add");
  if (IsEmptyText(path) || FindRecord(path, true) != nullptr) {
    return;
  }
  std::list<ContainerInfo> added(1);
  added.front().Path = path;
  added.front().State = ContainerInfo::StateAdded;
  IPC::CWriteLocker const locker(m_sync.Lock);
  m_sync.Records.splice(m_sync.Records.end(), added);
  Save(false);
}

void ContainerInfoList::Erase(char const* path) {
  RunningEdit::Refuse("ContainerInfoList::Erase");
  IPC::CWriteLocker const locker(m_sync.Lock);
  bool const isChanged =
      IsEmptyText(path) ? RemoveNameless(m_sync.Records) : MarkRemoved(m_sync.Records, path);
  if (isChanged) {
    Save(false);
  }
}
