// A host that knows only what is installed: it uses every exported class and the function, derives
// a backend of its own, and catches what the library throws.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "catalogue/ContainerInfoList.h"
#include "common/CommonContInfoFileCreater.h"
#include "common/CommonContInfoList.h"
#include "foundation/SHGetFolderPath.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/ASNCreateLockName.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"

namespace {

std::string g_folder;

void Require(bool holds, char const* what) {
  if (!holds) {
    std::fprintf(stderr, "FAILED: %s\n", what);
    std::exit(1);
  }
}

// A backend that keeps the record file in a string and knows nothing of files.
class StringStore : public QuasiStructFileBase {
 public:
  explicit StringStore(std::string bytes) : m_bytes(std::move(bytes)) { Init(); }

  unsigned int stor_Read(CTOOFile*, void* buffer, unsigned int count) override {
    std::size_t const there = m_bytes.size() - m_position;
    std::size_t const moved = count < there ? count : there;
    std::memcpy(buffer, m_bytes.data() + m_position, moved);
    m_position += moved;
    return static_cast<unsigned int>(moved);
  }
  unsigned int stor_Write(CTOOFile*, void const* buffer, unsigned int count) override {
    if (m_bytes.size() < m_position + count) {
      m_bytes.resize(m_position + count);
    }
    std::memcpy(m_bytes.data() + m_position, buffer, count);
    m_position += count;
    return count;
  }
  unsigned int stor_Seek(CTOOFile*, long offset, int origin) override {
    long const bases[] = {0, static_cast<long>(m_position), static_cast<long>(m_bytes.size())};
    m_position = static_cast<std::size_t>(bases[origin] + offset);
    return 0;
  }
  CTOOFile* stor_Open(char const*, char const*, bool) override {
    m_position = 0;
    return nullptr;
  }
  bool stor_IsExists(char const*) override { return true; }
  unsigned int stor_Length(CTOOFile*) override { return static_cast<unsigned int>(m_bytes.size()); }
  unsigned int stor_Length(char const*) override {
    return static_cast<unsigned int>(m_bytes.size());
  }
  CTOOFileTime stor_GetLastWriteTime(char const*) override { return CTOOFileTime(); }
  unsigned int stor_ReadIdentObject(CTOOFile*, IdentObj& target, unsigned int) override {
    std::size_t const there = m_bytes.size() - m_position;
    unsigned int const moved =
        target.ReadData(m_bytes.data() + m_position, static_cast<unsigned int>(there));
    m_position += moved > there ? 0 : moved;
    return moved > there ? 0 : moved;
  }
  unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                     unsigned int) override {
    std::string item(source.GetObjectSize(), 0);
    source.WriteData(item.data(), source.GetObjectSize());
    return stor_Write(file, item.data(), static_cast<unsigned int>(item.size()));
  }
  unsigned int stor_CurPos(CTOOFile*) override { return static_cast<unsigned int>(m_position); }
  void stor_Truncate(CTOOFile*) override { m_bytes.resize(m_position); }
  void stor_Close(CTOOFile*) override {}

  std::string const& Bytes() const { return m_bytes; }

 private:
  std::string m_bytes;
  std::size_t m_position = 0;
};

void UseStores() {
  std::string const name = g_folder + "/records";
  CQuasiStructFile file(name.c_str(), true, false);
  Require(file.Add(IdentObj("one", 3)) == 0 && file.Add(IdentObj("two", 3)) == 0,
          "records on disk");
  std::list<IdentObj> records;
  Require(file.GetAll(records) == 0 && records.size() == 2, "all records");
  {
    std::unique_ptr<IPC::CWriteLocker> const hold(file.LockWriteFile());
    Require(hold != nullptr && file.Del(0) == 0, "a change under a hold");
  }

  StringStore own("");
  Require(own.PutList(records) == 0, "records in a backend of the host's own");
  QuasiStructBuffer buffer(own.Bytes().data(), own.Bytes().size());
  IdentObj second;
  Require(buffer.Get(1, second) == 0 && second == IdentObj("two", 3), "records in memory");
  Require(buffer.GetBuffer() == own.Bytes(), "the same bytes from both backends");

  QuasiStructFileBase& base = own;
  bool const isStatus = dynamic_cast<XTOOStatus*>(&base) != nullptr;
  Require(isStatus && dynamic_cast<StringStore*>(&base) != nullptr, "type information");

  try {
    CQuasiStructFile missing((g_folder + "/missing").c_str(), false, true);
    Require(false, "a missing file is thrown");
  } catch (XTOOStatus const& status) {
    Require(status.Status() == 4, "the status of a missing file");
  }

  CTOOString lockName;
  Require(ASNCreateLockName(nullptr, name.c_str(), &lockName) && lockName == name.c_str(),
          "a lock name");
}

void UseCatalogues() {
  std::string const container = g_folder + "/container";
  std::ofstream(container) << "a key";
  SubContInfo sub;
  sub.Ident = IdentObj("sub", 3);
  ContainerInfo info;
  info.SubConts.push_back(sub);
  IdentObj const blob = info.WriteData();
  Require(ContainerInfo().ReadData(blob.Data, blob.Length) == blob.Length,
          "a record there and back");

  ContainerInfoList list((g_folder + "/catalogue").c_str());
  list.Add(container.c_str());
  Require(std::string(list.GetFirst()) == container, "a catalogue");
  ContainerInfoItrMgr* const cursors = list.GetListItrMgr();
  cursors->RemoveItrForThread(0);
  try {
    list.GetRecord("/nowhere", true);
    Require(false, "a missing record is thrown");
  } catch (XTOOStatus const& status) {
    Require(status.Status() == 194 && std::strcmp(status.ErrorMessage(), "/nowhere") == 0,
            "the status of a missing record");
  }

  CommonContInfoFileCreater const creater;
  Require(!creater.DoesCommonContInfoFileExist(), "no common file yet");
  CommonContInfoList common;
  common.Add(container.c_str());
  Require(creater.DoesCommonContInfoFileExist() && common.bIsChange(), "the common catalogue");
}

}  // namespace

int SHGetFolderPath(void*, int, void*, unsigned int, char* path) {
  std::strcpy(path, g_folder.c_str());
  return 0;
}

int main(int, char** arguments) {
  g_folder = arguments[1];
  std::filesystem::create_directory(g_folder);
  UseStores();
  UseCatalogues();
  std::puts("The consumer uses all of it.");
  return 0;
}
