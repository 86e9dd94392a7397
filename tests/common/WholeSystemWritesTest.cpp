// What holds for the system as a whole: where it writes, and what decides that.

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/ASNCreateLockName.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/common/SystemCalls.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TempFolder.h"

namespace {

using Names = std::vector<std::string>;

// Everything below the folder.
std::set<std::string> Tree(std::string const& folder) {
  std::set<std::string> entries;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(folder)) {
    entries.insert(entry.path().string());
  }
  return entries;
}

void UseEverything(FolderOfTest const& folder, std::string const& file) {
  std::string const key = folder.Path() + "/key";
  WriteFile(key, "");
  CommonContInfoList facade;
  facade.Add(key.c_str());
  facade.Load();
  facade.bIsChange();
  facade.Erase(key.c_str());
  facade.Save(true);
  ContainerInfoList list(file.c_str());
  list.Add(key.c_str());
  WriteFile(file, CatalogueFile(0, {key, folder.Path() + "/gone"}));
  list.Load(nullptr);
  list.Save(true);
  CQuasiStructFile store((folder.Path() + "/records").c_str(), true, false);
  store.Add(Blob("record"));
  store.Put(0, Blob("longer record"));
  store.PutHeader(Blob("header"));
  store.Del(0);
  std::filesystem::remove(folder.Path() + "/records");
  std::filesystem::remove(key);
}

TEST(WholeSystemWrites, WritesItsOwnFilesOnly) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([] {
    FolderOfTest folder;
    TempFolder const own;
    TempFolder const elsewhere;  // Where programs like to leave things.
    std::filesystem::current_path(elsewhere.Path());
    for (char const* const variable : {"HOME", "TMPDIR", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"}) {
      ::setenv(variable, elsewhere.Path().c_str(), 1);
    }
    folder.Answer = "/var/lib";
    MakeKeyFolder();
    MakeProviderFile("");
    UseEverything(folder, own / "catalogue");
    CTOOString name;
    ASNCreateLockName(nullptr, (own / "missing").c_str(), &name);
    EXPECT_EQ((std::set<std::string>{kKeyFolder, kKeyFile, "/var/lib/quendril",
                                     "/var/lib/quendril/cont_info.dat"}),
              Tree("/var/lib"));
    EXPECT_EQ((std::set<std::string>{"/usr/lib/velmar", kProviderFile}), Tree("/usr/lib"));
    EXPECT_EQ((std::set<std::string>{own / "catalogue", static_cast<char const*>(name)}),
              Tree(own.Path()));
    EXPECT_EQ(std::set<std::string>{}, Tree(folder.Path()));
    EXPECT_EQ(std::set<std::string>{}, Tree(elsewhere.Path()));
  }));
}

// The names that the library asks the dynamic linker for, and its own.
std::set<std::string> DynamicNames() {
  Dl_info info{};
  ::dladdr(reinterpret_cast<void*>(&ASNCreateLockName), &info);
  std::unique_ptr<void, int (*)(void*)> const library(
      ::dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD), &::dlclose);
  link_map* map = nullptr;
  ::dlinfo(library.get(), RTLD_DI_LINKMAP, &map);
  char const* text = nullptr;
  std::size_t size = 0;
  for (ElfW(Dyn) const* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_STRTAB) {
      text = reinterpret_cast<char const*>(entry->d_un.d_ptr);
    } else if (entry->d_tag == DT_STRSZ) {
      size = entry->d_un.d_val;
    }
  }
  std::set<std::string> names;
  for (char const* name = text; name < text + size; name += names.insert(name).first->size() + 1) {
  }
  return names;
}

TEST(WholeSystemWrites, AsksTheSystemForNothingElse) {
  std::set<std::string> const names = DynamicNames();
  for (char const* const name :
       {"access", "open", "close", "ftok", "mkstemp", "pthread_self",
        // An edit puts a file in another's place.
        "fstat", "lstat", "flock", "realpath", "fchown", "fchmod", "rename", "unlink", "getpid"}) {
    EXPECT_EQ(1U, names.count(name)) << name;
  }
  for (char const* const name : {"getenv",
                                 "secure_getenv",
                                 "__secure_getenv",
                                 "environ",
                                 "__environ",
                                 "getauxval",
                                 "program_invocation_name",
                                 "__libc_argv",
                                 "getcwd",
                                 "fopen",
                                 "fopen64",
                                 "freopen",
                                 "open64",
                                 "openat",
                                 "creat",
                                 "read",
                                 "write",
                                 "link",
                                 "symlink",
                                 "remove",
                                 "mkdir",
                                 "rmdir",
                                 "opendir",
                                 "tmpfile",
                                 "tmpnam",
                                 "mkdtemp",
                                 "syslog",
                                 "openlog",
                                 "socket",
                                 "pthread_create",
                                 "timer_create",
                                 "setitimer",
                                 "alarm",
                                 "mq_open",
                                 "msgget",
                                 "fork",
                                 "posix_spawn",
                                 "execve",
                                 "system",
                                 "printf",
                                 "puts",
                                 "fprintf",
                                 "vfprintf"}) {
    EXPECT_EQ(0U, names.count(name)) << name;
  }
}

TEST(WholeSystemWrites, NoVariableChangesAPath) {
  FolderOfTest folder;
  auto const paths = [] {
    CommonSeams seams;
    { CommonContInfoFileCreater().CreateIfShould(); }
    CommonContInfoFileCreater const creater;
    Names lines = seams.Lines();
    for (CTOOString const& path :
         {creater.GetPathToCommonContInfoFile(), creater.GetCommonContInfoFileName(),
          creater.GetPathToProvDllFromReg(), creater.GetPathToContInfoFileOfRegisteredProv(),
          creater.GetRegisteredProvContInfoFileName()}) {
      lines.emplace_back(path);
    }
    return lines;
  };
  { CommonContInfoFileCreater().CreateIfShould(); }
  Names const before = paths();
  EXPECT_TRUE(InProcess([&] {
    for (char const* const variable :
         {"HOME", "PWD", "PATH", "TMPDIR", "LD_LIBRARY_PATH", "XDG_CONFIG_HOME", "XDG_DATA_HOME",
          "XDG_CONFIG_DIRS", "ALLUSERSPROFILE", "ProgramData", "QUENDRIL", "QUENDRIL_PATH",
          "QUENDRIL_HOME", "QUENDRIL_CONFIG", "VELMAR", "VELMAR_HOME", "CONT_INFO", "USER"}) {
      ::setenv(variable, "/elsewhere", 1);
    }
    std::filesystem::current_path("/");
    EXPECT_EQ(before, paths());
    return true;
  }));
}

// Debug output.

Names DebugLines(CommonSeams const& seams) {
  Names lines;
  for (std::string const& line : seams.Lines()) {
    if (line.find("dbg_can_log") == 0 || line.find("_debug") == 0) {
      lines.push_back(line);
    }
  }
  return lines;
}

TEST(WholeSystemWrites, OnlyASNCreateLockNameHasDebugOutput) {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    CommonSeams seams;
    seams.CanLog = [](int) { return 1; };
    try {
      call.run(*world);
    } catch (XTOOStatus const&) {
      // What a call throws by itself is of no interest here.
    }
    bool const isExpected = call.name == "ASNCreateLockName";
    EXPECT_EQ(isExpected ? (Names{"dbg_can_log 1", "_debug ASNCreateLockName 1"}) : Names{},
              DebugLines(seams))
        << call.name;
  }
}

TEST(WholeSystemWrites, DebugOutputIsAskedForFirst) {
  CommonSeams seams;
  seams.CanLog = [](int) { return 0; };
  CTOOString name;
  EXPECT_FALSE(ASNCreateLockName(nullptr, "/no/such/folder/file", &name));
  EXPECT_EQ(Names{"dbg_can_log 1"}, DebugLines(seams));
}

}  // namespace
