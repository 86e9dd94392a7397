#ifndef QUENDRIL_TESTS_COMMON_SYSTEMCALLS_H
#define QUENDRIL_TESTS_COMMON_SYSTEMCALLS_H

#include <memory>
#include <string>
#include <vector>

#include <boost/thread/mutex.hpp>

#include "catalogue/ContainerInfoList.h"
#include "common/CommonContInfoList.h"
#include "recordstore/CQuasiStructFile.h"
#include "tests/common/FolderOfTest.h"

// What holds for every call into the system is tested over all of them: here they are, each to be
// made on files and objects of its own.

struct World {
  World();

  FolderOfTest Folder;
  std::string const Key = Folder.Path() + "/key";      // A container that the catalogues hold.
  std::string const Other = Folder.Path() + "/other";  // One that they do not hold.
  std::string const Gone = Folder.Path() + "/gone";    // None.
  std::string const File = Folder.Path() + "/catalogue";
  std::string const RecordFile = Folder.Path() + "/records";  // Header of 2 bytes, three records.

  ContainerInfoList List;  // Over File, with a cursor of this thread's on its record.
  CQuasiStructFile Store;  // Over RecordFile.
  std::unique_ptr<CommonContInfoList> Facade;  // Only where `withFacade`.
};

struct SystemCall {
  std::string name;
  bool withFacade;  // Needs World::Facade, over a common file that holds Key.
  void (*prepare)(World&);
  void (*run)(World&);  // May throw an XTOOStatus.
};

std::vector<SystemCall> const& SystemCalls();

// A world that is ready for the call.
std::unique_ptr<World> WorldFor(SystemCall const& call);

// The private mutex of a cursor manager, which follows its map.
boost::mutex& MutexOf(ContainerInfoItrMgr& manager);

#endif
