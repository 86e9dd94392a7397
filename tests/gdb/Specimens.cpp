// Objects for gdb to look at: good ones, and ones that are as wrong as memory can be.

#include <cerrno>
#include <cstring>
#include <list>
#include <string>

#include "catalogue/ContainerInfoList.h"
#include "common/CommonContInfoList.h"
#include "foundation/CTOODateTime.h"
#include "foundation/CTOOFile.h"
#include "foundation/SHGetFolderPath.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"

std::string g_folder;

int SHGetFolderPath(void* /*window*/, int /*folder*/, void* /*token*/, unsigned int /*flags*/,
                    char* path) {
  std::strcpy(path, g_folder.c_str());
  return 0;
}

// A backend that the library knows nothing of.
class HostStore : public QuasiStructBuffer {
 public:
  HostStore() : QuasiStructBuffer(nullptr, 0) {}
  int m_own = 7;
};

// Memory that never was an object of the type; every byte is `byte`.
template <typename Type>
class Garbage {
 public:
  explicit Garbage(int byte) { std::memset(m_bytes, byte, sizeof m_bytes); }
  Type& Object() { return *reinterpret_cast<Type*>(m_bytes); }

 private:
  alignas(Type) unsigned char m_bytes[sizeof(Type)];
};

// gdb stops here.
extern "C" void Look() { asm volatile(""); }

namespace {

ContainerInfo FullRecord() {
  ContainerInfo record;
  record.Path = "/keys/M\xc3\xbcller";
  record.Param = 9;
  record.Ident1 = IdentObj("\1\2\3", 3);
  record.Ident2 = IdentObj(std::string(40, 'x').data(), 40);
  record.SubConts.resize(2);
  record.SubConts.back().Ident = IdentObj("sub", 3);
  record.State = ContainerInfo::StateRemoved;
  return record;
}

void ShowGood() {
  CTOOString empty;
  CTOOString const text("a \"text\"\n");
  CTOOString const latin("caf\xe9");
  CTOOString const longText(std::string(1000, 'y').c_str());
  IdentObj const noBlob;
  IdentObj const blob("one\0two", 7);
  ContainerInfo const record = FullRecord();
  SyncList sync;
  sync.Records.resize(2);
  sync.Records.front().Path = "/first";
  ContainerInfoList list;
  CommonContInfoList common;
  common.GetSyncList()->Records.push_back(record);
  std::list<IdentObj> const blobs{blob, noBlob};
  CTOODateTime const noTime(0L);
  CTOODateTime const leapDay(951827696L);
  CTOOFileTime const fileTime(leapDay);
  CTOOFileTime const noFileTime;
  CTOODateTime const lastDay(38846563200L);
  Look();
}

void ShowStores() {
  std::string const name = g_folder + "/records";
  CQuasiStructFile store(name.c_str(), true, false);
  store.Words.Reserved = 42;
  store.PutHeader(IdentObj("head", 4));
  store.Add(IdentObj("one", 3));
  store.Add(IdentObj("two", 3));
  QuasiStructFileBase& base = store;
  CQuasiStructFile missing("/no/such/file", false, false);
  HostStore host;
  QuasiStructBuffer memory(nullptr, 0);
  XTOOStatus const status(134, "/a/file", true);
  XTOOStatus const fine(0, false);
  XTOOFile const fileStatus(false);
  fileStatus.Fail(ENOSPC, "/full");
  CTOOFile const file("/no/such/file", "rb", false);
  Look();
}

void ShowBad() {
  CTOOString* noString = nullptr;
  IdentObj* noBlob = nullptr;
  ContainerInfo* noRecord = nullptr;
  SyncList* noSync = nullptr;
  QuasiStructFileBase* noStore = nullptr;
  XTOOStatus* noStatus = nullptr;
  CTOOFileTime* noFileTime = nullptr;
  Garbage<CTOOString> string(0xAA);
  Garbage<IdentObj> blob(0xAA);
  Garbage<ContainerInfo> record(0xAA);
  Garbage<ContainerInfo> zeros(0);
  Garbage<SyncList> sync(0xAA);
  Garbage<ContainerInfoList> list(0xAA);
  Garbage<CommonContInfoList> common(0xAA);
  Garbage<CQuasiStructFile> store(0xAA);
  Garbage<XTOOStatus> status(0xAA);
  Garbage<CTOODateTime> time(0xFF);
  Garbage<CTOOFileTime> fileTime(0xFF);
  Look();
}

// REQUIRES: nothing in here is destroyed: the process ends inside.
void ShowTwisted() {
  IdentObj huge("12345678", 8);
  huge.Length = 0xFFFFFFFF;
  IdentObj without;
  without.Length = 5;
  SyncList circle;
  circle.Records.resize(3);
  auto* const links = reinterpret_cast<std::__detail::_List_node_base*>(&circle.Records);
  links->_M_next->_M_next->_M_next = links->_M_next;
  SyncList broken;
  broken.Records.resize(2);
  reinterpret_cast<std::__detail::_List_node_base*>(&broken.Records)->_M_next->_M_next =
      reinterpret_cast<std::__detail::_List_node_base*>(8);
  SyncList early;
  early.Records.resize(3);
  reinterpret_cast<std::size_t*>(&early.Records)[2] = 2;
  SyncList late;
  late.Records.resize(1);
  reinterpret_cast<std::size_t*>(&late.Records)[2] = 0xFFFFFFFFFFFF;
  ContainerInfo state;
  state.State = 2;
  Look();
  std::_Exit(0);
}

}  // namespace

int main(int /*count*/, char** arguments) {
  g_folder = arguments[1];
  ShowGood();
  ShowStores();
  ShowBad();
  ShowTwisted();
}
