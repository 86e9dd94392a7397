#include "catalogue/ContainerInfoEdit.h"

#include <cerrno>
#include <utility>

#include "catalogue/EditedRecords.h"
#include "catalogue/LockedRecordFile.h"
#include "catalogue/RunningEdit.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr int kNoFileName = 28;

}  // namespace

// Members in the order in which locks are taken; they end in the opposite one.
class ContainerInfoEdit::Work {
 public:
  explicit Work(ContainerInfoList& list)
      : m_listLock(list.m_sync.Lock), m_name(list.m_fileName), m_records(list.m_sync.Records) {
    if (m_name.IsEmpty()) {
      throw XTOOStatus(kNoFileName, "ContainerInfoEdit", false);
    }
    TakeOverFile();
  }
  Work(Work const&) = delete;
  Work& operator=(Work const&) = delete;
  ~Work() { m_records.TakeBack(); }

  EditedRecords& Records() { return m_records; }
  bool IsInherited() const { return m_running.IsInherited(); }

  void Commit() {
    if (IsInherited()) {
      throw XTOOStatus(EPERM, "ContainerInfoEdit: committed in a forked child", false);
    }
    if (!m_file) {
      TakeOverFile();
    }
    try {
      m_file->Replace(m_records.Choose());
    } catch (XTOOStatus const& status) {
      if (status.Status() == ESTALE) {
        m_file.reset();  // The lock may be that of another file.
      }
      throw;
    }
    m_records.Settle();
  }

 private:
  void TakeOverFile() {
    auto file = std::make_unique<LockedRecordFile>(m_name);
    std::list<IdentObj> blobs = file->Read();
    try {
      m_records.TakeOver(std::move(blobs));
    } catch (XTOOStatus const& status) {
      throw XTOOStatus(status.Status(), CTOOString("ContainerInfoEdit: reading ") + m_name, false);
    }
    m_file = std::move(file);
  }

  RunningEdit m_running;
  IPC::CWriteLocker m_listLock;
  CTOOString m_name;
  EditedRecords m_records;
  std::unique_ptr<LockedRecordFile> m_file;  // None after it was found changed.
};

ContainerInfoEdit::ContainerInfoEdit(ContainerInfoList& list)
    : m_work(std::make_unique<Work>(list)) {}

ContainerInfoEdit::~ContainerInfoEdit() {
  // A forked child holds neither lock, and the list's cannot be ended there.
  if (m_work && m_work->IsInherited()) {
    static_cast<void>(m_work.release());
  }
}

bool ContainerInfoEdit::Add(char const* path) {
  ContainerInfo record;
  if (path != nullptr) {
    record.Path = path;
  }
  return Add(record);
}

bool ContainerInfoEdit::Add(ContainerInfo const& record) { return Running().Records().Add(record); }

bool ContainerInfoEdit::Erase(char const* path) { return Running().Records().Erase(path); }

void ContainerInfoEdit::Commit() {
  Running().Commit();
  m_work.reset();
}

ContainerInfoEdit::Work& ContainerInfoEdit::Running() {
  if (!m_work) {
    throw XTOOStatus(EINVAL, "ContainerInfoEdit: it was committed already", false);
  }
  return *m_work;
}
