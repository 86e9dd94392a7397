// Loading a catalogue, and cleaning its file once.

#include "catalogue/ContainerInfoList.h"
#include "catalogue/RunningEdit.h"
#include "foundation/CTOOFile.h"
#include "foundation/storedev.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"

namespace {

constexpr unsigned int kNeverCleaned = 0;
constexpr unsigned int kCleaned = 1;
constexpr unsigned int kNotFound = 0xFFFFFFFF;

void ThrowUnlessZero(unsigned int code, CTOOString const& fileName) {
  if (code != 0) {
    throw XTOOStatus(static_cast<int>(code), fileName, false);
  }
}

// Whether a load drops the record. What a save marks (ContainerInfoList::Fix) follows a rule of its
// own: there the whole path is looked at, and one more word counts.
bool IsStale(ContainerInfo const& record) {
  bool flag = false;
  CTOOString folder;
  CTOOString name;
  storedev::ParseFullPath(record.Path, &flag, &folder, &name, nullptr);
  if (flag) {
    return true;
  }
  CTOOString full;
  storedev::MakeFullPath(full, folder, name, "");
  return !CTOOFile::IsExists(full) || name.CompareNoCase("cur_pers") == 0 ||
         name.FindNocase(".lck") != kNotFound;
}

// The record that the blob holds, alone.
std::list<ContainerInfo> Decode(IdentObj const& blob) {
  std::list<ContainerInfo> record(1);
  record.front().ReadData(blob.Data, blob.Length);
  return record;
}

// Decodes the blobs into `records`. Stale ones are dropped, from `blobs` too; true when there were
// any.
bool DecodeLiving(std::list<IdentObj>& blobs, std::list<ContainerInfo>& records) {
  bool dropped = false;
  for (auto blob = blobs.begin(); blob != blobs.end();) {
    std::list<ContainerInfo> record = Decode(*blob);
    if (IsStale(record.front())) {
      blob = blobs.erase(blob);
      dropped = true;
    } else {
      records.splice(records.end(), record);
      ++blob;
    }
  }
  return dropped;
}

// Kept on purpose: no lock keeps other processes away between the removal and the writing.
void RewriteFile(CTOOString const& fileName, std::list<IdentObj> const& blobs) {
  XTOOFile const status(true);
  CTOOFile::Remove(fileName, status);
  // A base library may raise nothing; writing on top would leave the old records in place.
  ThrowUnlessZero(static_cast<unsigned int>(status.Status()), fileName);
  CQuasiStructFile file(fileName, true, true);
  ThrowUnlessZero(static_cast<unsigned int>(file.Status()), fileName);
  file.Words.CleanedMark = kCleaned;
  ThrowUnlessZero(file.PutList(blobs), fileName);
}

}  // namespace

void ContainerInfoList::Load(char const* fileName) {
  RunningEdit::Refuse("ContainerInfoList::Load");
  if (fileName != nullptr) {
    m_fileName = fileName;
  }
  try {
    LoadRecords();
  } catch (XTOOStatus const&) {
    // Kept on purpose: nothing is reported, and the list is emptied after its lock was released.
    m_sync.Records.clear();
  }
}

void ContainerInfoList::LoadRecords() {
  IPC::CWriteLocker const locker(m_sync.Lock);
  if (m_fileName.IsEmpty() || !CTOOFile::IsExists(m_fileName) ||
      CTOOFile::Length(m_fileName, XTOOFile(true)) == 0) {
    m_sync.Records.clear();
    return;
  }
  CQuasiStructFile file(m_fileName, false, true);
  ThrowUnlessZero(static_cast<unsigned int>(file.Status()), m_fileName);
  m_sync.Records.clear();
  std::list<ContainerInfo>& records = m_sync.Records;
  if (file.Words.CleanedMark != kNeverCleaned) {
    ThrowUnlessZero(
        file.GetEach([&](IdentObj const& blob) { records.splice(records.end(), Decode(blob)); }),
        m_fileName);
    return;
  }
  std::list<IdentObj> blobs;
  ThrowUnlessZero(file.GetAll(blobs), m_fileName);
  if (DecodeLiving(blobs, records)) {
    RewriteFile(m_fileName, blobs);
  }
}
