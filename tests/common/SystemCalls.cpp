#include "tests/common/SystemCalls.h"

#include <filesystem>
#include <map>
#include <memory>

#include "catalogue/ContainerInfoEdit.h"
#include "common/CommonContInfoFileCreater.h"
#include "recordstore/ASNCreateLockName.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"

namespace {

void Nothing(World&) {}

void RemoveFile(World& world) { std::filesystem::remove(world.File); }

void RemoveCommonFile(World& world) { std::filesystem::remove_all(world.Folder.VendorFolder()); }

void DamageFile(World& world) { WriteFile(world.File, CatalogueFile(1, {world.Key}) + "cut off"); }

void MakeFileStale(World& world) {
  WriteFile(world.File, CatalogueFile(0, {world.Gone, world.Key}));
}

void AddByHand(World& world) {
  world.List.GetSyncList()->Records.push_back(Record(world.Other, ContainerInfo::StateAdded));
  world.List.GetSyncList()->Records.push_back(Record(""));
}

void RemoveRecordFile(World& world) { std::filesystem::remove(world.RecordFile); }

void ForgetName(World& world) { world.List.Load(""); }

std::vector<SystemCall> CatalogueCalls() {
  return {
      {"catalogue", false, Nothing,
       [](World& world) { ContainerInfoList const list(world.File.c_str()); }},
      {"Load", false, Nothing, [](World& world) { world.List.Load(nullptr); }},
      {"Load of a stale file", false, MakeFileStale,
       [](World& world) { world.List.Load(nullptr); }},
      {"Load of a damaged file", false, DamageFile, [](World& world) { world.List.Load(nullptr); }},
      {"Load of a missing file", false, RemoveFile, [](World& world) { world.List.Load(nullptr); }},
      {"Save", false, AddByHand, [](World& world) { world.List.Save(true); }},
      {"Save to a damaged file", false, DamageFile, [](World& world) { world.List.Save(true); }},
      {"Save to a missing file", false, RemoveFile, [](World& world) { world.List.Save(true); }},
      {"Save without a name", false, ForgetName, [](World& world) { world.List.Save(true); }},
      {"Add", false, Nothing, [](World& world) { world.List.Add(world.Other.c_str()); }},
      {"Add of a known path", false, Nothing,
       [](World& world) { world.List.Add(world.Key.c_str()); }},
      {"Add without a name", false, ForgetName,
       [](World& world) { world.List.Add(world.Other.c_str()); }},
      {"Erase", false, Nothing, [](World& world) { world.List.Erase(world.Key.c_str()); }},
      {"Erase of an unknown path", false, Nothing,
       [](World& world) { world.List.Erase("/absent"); }},
      {"Erase of empty paths", false, AddByHand, [](World& world) { world.List.Erase(nullptr); }},
      {"Fix", false, AddByHand,
       [](World& world) { ContainerInfoList::Fix(world.List.GetSyncList()->Records, nullptr); }},
      {"assignment", false, Nothing,
       [](World& world) {
         ContainerInfoList const other(world.File.c_str());
         world.List = other;
       }},
      {"FindRecord", false, Nothing,
       [](World& world) { world.List.FindRecord(world.Key.c_str(), true); }},
      {"GetRecord", false, Nothing,
       [](World& world) { world.List.GetRecord(world.Gone.c_str(), true); }},
      {"GetFirst", false, Nothing, [](World& world) { world.List.GetFirst(); }},
      {"GetNext", false, Nothing, [](World& world) { world.List.GetNext(); }},
      {"GetPrevious", false, Nothing, [](World& world) { world.List.GetPrevious(); }},
      {"AddItrForThread", false, Nothing, [](World& world) { world.List.AddItrForThread(1); }},
      {"GetItrForThread", false, Nothing, [](World& world) { world.List.GetItrForThread(1); }},
      {"RemoveItrForThread", false, Nothing,
       [](World& world) { world.List.RemoveItrForThread(1); }}};
}

void AddAndCommit(ContainerInfoList& list, World& world) {
  ContainerInfoEdit edit(list);
  edit.Add(world.Other.c_str());
  edit.Commit();
}

std::vector<SystemCall> EditCalls() {
  auto const add = [](World& world) { AddAndCommit(world.List, world); };
  return {
      {"edit that adds", false, Nothing, add},
      {"edit that erases", false, Nothing,
       [](World& world) {
         ContainerInfoEdit edit(world.List);
         edit.Erase(world.Key.c_str());
         edit.Commit();
       }},
      {"edit that is given up", false, Nothing,
       [](World& world) {
         ContainerInfoEdit edit(world.List);
         edit.Add(world.Other.c_str());
         edit.Erase(world.Key.c_str());
       }},
      {"edit of a list with changes", false, AddByHand, add},
      {"edit of a damaged file", false, DamageFile, add},
      {"edit of a missing file", false, RemoveFile, add},
      {"edit without a name", false, ForgetName, add},
      {"facade's edit", true, Nothing, [](World& world) { AddAndCommit(*world.Facade, world); }}};
}

std::vector<SystemCall> CommonCalls() {
  return {
      {"CreateIfShould", false, RemoveCommonFile,
       [](World&) { CommonContInfoFileCreater().CreateIfShould(); }},
      {"facade", false, RemoveCommonFile, [](World&) { CommonContInfoList const facade; }},
      {"facade over a file", false, Nothing, [](World&) { CommonContInfoList const facade; }},
      {"facade without a folder", false, [](World& world) { world.Folder.Result = 1; },
       [](World&) { CommonContInfoList const facade; }},
      {"facade over a folder", false,
       [](World& world) {
         RemoveCommonFile(world);
         std::filesystem::create_directories(world.Folder.CommonFile());
       },
       [](World&) { CommonContInfoList const facade; }},
      {"facade's bIsChange", true, Nothing, [](World& world) { world.Facade->bIsChange(); }},
      {"facade's Load", true, Nothing, [](World& world) { world.Facade->Load(); }},
      {"facade's Add", true, Nothing, [](World& world) { world.Facade->Add(world.Other.c_str()); }},
      {"facade's Erase", true, Nothing,
       [](World& world) { world.Facade->Erase(world.Key.c_str()); }},
      {"facade's Save", true, Nothing, [](World& world) { world.Facade->Save(true); }},
      {"facade's FindRecord", true, Nothing,
       [](World& world) { world.Facade->FindRecord(world.Key.c_str(), true); }},
      {"facade's GetRecord", true, Nothing,
       [](World& world) { world.Facade->GetRecord(world.Gone.c_str(), true); }},
      {"facade's GetFirst", true, Nothing, [](World& world) { world.Facade->GetFirst(); }}};
}

std::vector<SystemCall> StoreObjects() {
  return {
      {"store of a file", false, Nothing,
       [](World& world) { CQuasiStructFile const store(world.RecordFile.c_str(), false, true); }},
      {"copy of a store", false, Nothing,
       [](World& world) { CQuasiStructFile const copy(world.Store); }},
      {"assignment to a store", false, Nothing,
       [](World& world) {
         CQuasiStructFile other(world.RecordFile.c_str(), true, false);
         other = world.Store;
       }},
      {"Init", false, Nothing, [](World& world) { world.Store.Init(); }},
      {"PreInit", false, Nothing, [](World& world) { world.Store.PreInit(); }},
      {"Unload", false, Nothing, [](World& world) { world.Store.Unload(); }},
      {"LockReadFile", false, Nothing,
       [](World& world) {
         std::unique_ptr<IPC::CReadLocker> const locker(world.Store.LockReadFile());
       }},
      {"LockReadWriteFile", false, Nothing,
       [](World& world) {
         std::unique_ptr<IPC::CWriteLocker> const locker(world.Store.LockReadWriteFile());
       }},
      {"Put to a missing file", false, RemoveRecordFile,
       [](World& world) { world.Store.Put(0, Blob("first")); }},
      {"Add of a record to a missing file", false, RemoveRecordFile,
       [](World& world) { world.Store.Add(Blob("first")); }},
      {"PutList to a missing file", false, RemoveRecordFile,
       [](World& world) { world.Store.PutList({Blob("first")}); }},
  };
}

std::vector<SystemCall> StoreCalls() {
  return {
      {"store without a file", false, Nothing,
       [](World& world) { CQuasiStructFile const store(world.Gone.c_str(), false, true); }},
      {"GetAll", false, Nothing,
       [](World& world) {
         std::list<IdentObj> records;
         world.Store.GetAll(records);
       }},
      {"Get", false, Nothing,
       [](World& world) {
         IdentObj record;
         world.Store.Get(1, record);
       }},
      {"IsItInFile", false, Nothing,
       [](World& world) { world.Store.IsItInFile(Blob("one"), nullptr); }},
      {"Put", false, Nothing,
       [](World& world) { world.Store.Put(0, Blob("one that is much longer")); }},
      {"Put of a shorter one", false, Nothing, [](World& world) { world.Store.Put(0, Blob("o")); }},
      {"Put at the end", false, Nothing, [](World& world) { world.Store.Put(-1, Blob("four")); }},
      {"Add of a record", false, Nothing, [](World& world) { world.Store.Add(Blob("four")); }},
      {"PutList", false, Nothing,
       [](World& world) {
         world.Store.PutList({Blob("four"), Blob("five")});
       }},
      {"Del", false, Nothing, [](World& world) { world.Store.Del(0); }},
      {"EmptyFile", false, Nothing, [](World& world) { world.Store.EmptyFile(); }},
      {"GetHeader", false, Nothing, [](World& world) { world.Store.GetHeader(); }},
      {"PutHeader", false, Nothing, [](World& world) { world.Store.PutHeader(Blob("longer")); }},
      {"PutHeader to a missing file", false, RemoveRecordFile,
       [](World& world) { world.Store.PutHeader(Blob("header")); }},
      {"CheckAndRestore", false, [](World& world) { ShiftWriteTime(world.RecordFile, 60); },
       [](World& world) { world.Store.CheckAndRestore(); }},
      {"Reload", false, Nothing, [](World& world) { world.Store.Reload(nullptr, true, false); }},
      {"ASNCreateLockName", false, Nothing, [](World& world) {
         CTOOString name;
         ASNCreateLockName(nullptr, world.Gone.c_str(), &name);
         ASNCreateLockName(nullptr, "/no/such/folder/file", &name);
       }}};
}

}  // namespace

World::World() : Store() {
  WriteFile(Key, "");
  WriteFile(Other, "");
  WriteFile(File, CatalogueFile(1, {Key}));
  WriteFile(RecordFile, ::RecordFile(0, 0, "he", {"one", "two", "three"}));
  Folder.MakeCommonFile(CatalogueFile(1, {Key}));
  List.Load(File.c_str());
  List.GetFirst();
  Store.Reload(RecordFile.c_str(), true, false);
}

std::vector<SystemCall> const& SystemCalls() {
  static std::vector<SystemCall> const calls = [] {
    std::vector<SystemCall> all = CatalogueCalls();
    for (auto const& some : {EditCalls(), CommonCalls(), StoreObjects(), StoreCalls()}) {
      all.insert(all.end(), some.begin(), some.end());
    }
    return all;
  }();
  return calls;
}

std::unique_ptr<World> WorldFor(SystemCall const& call) {
  auto world = std::make_unique<World>();
  if (call.withFacade) {
    world->Facade = std::make_unique<CommonContInfoList>();
  }
  call.prepare(*world);
  return world;
}

boost::mutex& MutexOf(ContainerInfoItrMgr& manager) {
  using Map = std::map<unsigned int, ContainerInfoItrMgr::Cursor>;
  return *reinterpret_cast<boost::mutex*>(reinterpret_cast<char*>(&manager) + sizeof(Map));
}
