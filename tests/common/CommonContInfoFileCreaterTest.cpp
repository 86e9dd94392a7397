// CommonContInfoFileCreater: where the common file lives, and the single steps of its creation.

#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/support/Allocations.h"
#include "tests/support/Files.h"

namespace {

using Creater = CommonContInfoFileCreater;

std::string Text(CTOOString const& text) { return static_cast<char const*>(text); }

// The protected flag of a status.
struct FlagReader : XTOOStatus {
  static bool FlagOf(XTOOStatus const& status) { return status.*&FlagReader::Flag; }
};

class CommonFilePlace : public testing::Test {
 protected:
  FolderOfTest m_folder;
};

// Where it is.

TEST_F(CommonFilePlace, PathIsTheVendorFolderUnderTheCommonOne) {
  for (std::string const answer : {"/data", "/data/", "/", "data", "/with blank/x"}) {
    m_folder.Answer = answer;
    std::string const slash = answer.back() == '/' ? "" : "/";
    Creater const creater;
    EXPECT_EQ(answer + slash + "quendril", Text(creater.GetPathToCommonContInfoFile()));
    EXPECT_EQ(answer + slash + "quendril/cont_info.dat", Text(creater.GetCommonContInfoFileName()));
  }
}

TEST_F(CommonFilePlace, AsksForTheCommonFolderWithAZeroedBuffer) {
  Creater const creater;
  static_cast<void>(creater.GetCommonAppDataDir());
  ASSERT_EQ(2U, m_folder.Queries.size());
  for (FolderOfTest::Query const& query : m_folder.Queries) {
    EXPECT_EQ(nullptr, query.window);
    EXPECT_EQ(35, query.folder);
    EXPECT_EQ(nullptr, query.token);
    EXPECT_EQ(0U, query.flags);
    EXPECT_TRUE(query.isZeroed);
  }
}

TEST_F(CommonFilePlace, GetCommonAppDataDirGivesWhatIsAnswered) {
  Creater const creater;
  for (std::string const& answer :
       {std::string("/elsewhere/"), std::string(), "/" + std::string(4094, 'x')}) {
    m_folder.Answer = answer;
    EXPECT_EQ(answer, Text(creater.GetCommonAppDataDir()));
  }
}

TEST_F(CommonFilePlace, PathIsSettledAtConstruction) {
  Creater creater;
  std::string const before = Text(creater.GetPathToCommonContInfoFile());
  m_folder.Answer = "/elsewhere";
  EXPECT_EQ(before, Text(creater.GetPathToCommonContInfoFile()));
  EXPECT_EQ(m_folder.CommonFile(), Text(creater.GetCommonContInfoFileName()));
  creater.InitPath();
  EXPECT_EQ("/elsewhere/quendril", Text(creater.GetPathToCommonContInfoFile()));
  EXPECT_EQ("/elsewhere/quendril/cont_info.dat", Text(creater.GetCommonContInfoFileName()));
}

void ExpectNoFolder(std::function<void()> const& call) {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (XTOOStatus const& status) {
    EXPECT_TRUE(typeid(status) == typeid(XTOOStatus));
    EXPECT_EQ(194, status.Status());
    EXPECT_STREQ("CommonContInfoFileCreater::GetCommonAppDataDir(): SHGetFolderPath fails.",
                 status.ErrorMessage());
    EXPECT_FALSE(FlagReader::FlagOf(status));
  }
}

TEST_F(CommonFilePlace, NoCommonFolderIsStatus194) {
  Creater creater;
  for (int const result : {1, -1, 2, 0x7FFFFFFF, static_cast<int>(0x80004005)}) {
    m_folder.Result = result;
    ExpectNoFolder([&] { static_cast<void>(creater.GetCommonAppDataDir()); });
    ExpectNoFolder([&] { creater.InitPath(); });
  }
}

TEST_F(CommonFilePlace, NoCommonFolderLeavesThePathSettledBefore) {
  Creater creater;
  m_folder.Result = 1;
  EXPECT_THROW(creater.InitPath(), XTOOStatus);
  EXPECT_EQ(m_folder.VendorFolder(), Text(creater.GetPathToCommonContInfoFile()));
}

TEST_F(CommonFilePlace, ConstructionWithoutACommonFolderMakesNoLock) {
  m_folder.Result = 1;
  m_folder.Queries.reserve(2);
  ExpectNoFolder([] { Creater const creater; });  // What is loaded once is loaded now.
  long const blocks = LiveBlocks();
  int const descriptors = CountDescriptors();
  {
    CommonSeams seams;
    ExpectNoFolder([] { Creater const creater; });
    EXPECT_EQ(std::vector<std::string>{}, seams.Names());
  }
  EXPECT_EQ(descriptors, CountDescriptors());
  EXPECT_EQ(blocks, LiveBlocks());
}

TEST_F(CommonFilePlace, PathIsGivenAsACopy) {
  Creater const creater;
  CTOOString copy = creater.GetPathToCommonContInfoFile();
  CTOOString const other = creater.GetPathToCommonContInfoFile();
  EXPECT_NE(static_cast<char const*>(copy), static_cast<char const*>(other));
  copy += "changed";
  *const_cast<char*>(static_cast<char const*>(other)) = 0;
  EXPECT_EQ(m_folder.VendorFolder(), Text(creater.GetPathToCommonContInfoFile()));
}

TEST_F(CommonFilePlace, FileNameHasExactlyOneSlash) {
  Creater const creater;
  for (auto const& [dir, name] :
       std::list<std::pair<std::string, std::string>>{{"/a/b", "/a/b/cont_info.dat"},
                                                      {"/a/b/", "/a/b/cont_info.dat"},
                                                      {"/", "/cont_info.dat"},
                                                      {"rel", "rel/cont_info.dat"},
                                                      {"", "/cont_info.dat"}}) {
    CTOOString const argument(dir.c_str());
    EXPECT_EQ(name, Text(creater.GetContInfoFileName(argument))) << dir;
    EXPECT_EQ(dir, Text(argument));
  }
}

// What is there.

TEST_F(CommonFilePlace, IsDirExistIsForFolders) {
  Creater const creater;
  std::string const folder = m_folder.Path() + "/folder";
  std::string const file = m_folder.Path() + "/file";
  std::filesystem::create_directory(folder);
  std::filesystem::create_directory_symlink(folder, m_folder.Path() + "/link");
  WriteFile(file, "");
  auto const isDir = [&](std::string const& path) { return creater.IsDirExist(path.c_str()); };
  EXPECT_TRUE(isDir(folder));
  EXPECT_TRUE(isDir(folder + "/"));
  EXPECT_TRUE(isDir(m_folder.Path() + "/link"));
  EXPECT_FALSE(isDir(file));
  EXPECT_FALSE(isDir(file + "/"));
  EXPECT_FALSE(isDir(m_folder.Path() + "/missing"));
  EXPECT_FALSE(isDir(m_folder.Path() + "/missing/"));
  EXPECT_FALSE(isDir(""));
  EXPECT_TRUE(isDir(folder + "//"));  // One slash is cut, no more.
  EXPECT_FALSE(isDir("/"));           // Nothing is left then.
}

TEST_F(CommonFilePlace, IsDirExistLeavesItsArgument) {
  Creater const creater;
  for (char const* const path : {"/", "/tmp/", "/tmp", "/no/such/folder/"}) {
    CTOOString const argument(path);
    creater.IsDirExist(argument);
    EXPECT_STREQ(path, argument);
  }
}

TEST_F(CommonFilePlace, FolderShouldBeCreatedUnlessItIsThere) {
  Creater const creater;
  EXPECT_TRUE(creater.ShouldFolderForCommonContInfoFileBeCreated());
  WriteFile(m_folder.VendorFolder(), "");
  EXPECT_TRUE(creater.ShouldFolderForCommonContInfoFileBeCreated());
  std::filesystem::remove(m_folder.VendorFolder());
  std::filesystem::create_directory(m_folder.VendorFolder());
  EXPECT_FALSE(creater.ShouldFolderForCommonContInfoFileBeCreated());
}

TEST_F(CommonFilePlace, FileShouldBeCreatedUnlessItIsThere) {
  Creater const creater;
  EXPECT_TRUE(creater.ShouldCommonContInfoFileBeCreated());
  EXPECT_FALSE(creater.DoesCommonContInfoFileExist());
  m_folder.MakeCommonFile("");
  EXPECT_FALSE(creater.ShouldCommonContInfoFileBeCreated());
  EXPECT_TRUE(creater.DoesCommonContInfoFileExist());
  std::filesystem::remove(m_folder.CommonFile());
  EXPECT_TRUE(creater.ShouldCommonContInfoFileBeCreated());
  std::filesystem::create_directory(m_folder.CommonFile());
  EXPECT_FALSE(creater.ShouldCommonContInfoFileBeCreated());
  EXPECT_TRUE(creater.DoesCommonContInfoFileExist());
}

// The provider.

TEST_F(CommonFilePlace, ProviderIsAlwaysRegistered) {
  Creater const creater;
  EXPECT_STREQ("/usr/lib/velmar/libvelmarcsp.so", creater.GetPathToProvDllFromReg());
  EXPECT_TRUE(creater.IsProvRegisteredInRegistry());
  EXPECT_STREQ("/usr/lib/velmar/", creater.GetPathToContInfoFileOfRegisteredProv());
  EXPECT_STREQ("/usr/lib/velmar/cont_info.dat", creater.GetRegisteredProvContInfoFileName());
}

// Only the code that says so means that no provider is known.
TEST_F(CommonFilePlace, UnknownProviderIsStatus194) {
  Creater const creater;
  int code = 194;
  CommonSeams seams;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "TextFrom" && call.text == "/usr/lib/velmar/libvelmarcsp.so") {
      throw XTOOStatus(code, "from within", false);
    }
  };
  EXPECT_FALSE(creater.IsProvRegisteredInRegistry());
  EXPECT_FALSE(creater.DoesRegisteredProvContInfoFileExist());
  for (int const other : {0, 4, 193, 195}) {
    code = other;
    try {
      static_cast<void>(creater.IsProvRegisteredInRegistry());
      ADD_FAILURE() << other;
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(other, status.Status());
      EXPECT_STREQ("from within", status.ErrorMessage());
    }
  }
}

// The folder.

TEST_F(CommonFilePlace, CreatesTheFolder) {
  Creater const creater;
  creater.CreateFolderForCommonContInfoFile();
  EXPECT_TRUE(std::filesystem::is_directory(m_folder.VendorFolder()));
  EXPECT_EQ(std::vector<std::string>{"quendril"}, m_folder.Names());
  creater.CreateFolderForCommonContInfoFile();
  EXPECT_TRUE(std::filesystem::is_directory(m_folder.VendorFolder()));
}

TEST_F(CommonFilePlace, FolderThatCannotBeMadeThrowsWhatTheServiceFilled) {
  WriteFile(m_folder.VendorFolder(), "a file");
  XTOOFile const filled(false);
  ASSERT_FALSE(CTOOFolder::Create(m_folder.VendorFolder().c_str(), filled));
  Creater const creater;
  try {
    creater.CreateFolderForCommonContInfoFile();
    ADD_FAILURE() << "no exception";
  } catch (XTOOFile const& status) {
    EXPECT_EQ(filled.Status(), status.Status());
    EXPECT_STREQ(filled.ErrorMessage(), status.ErrorMessage());
    EXPECT_FALSE(FlagReader::FlagOf(status));
  }
  EXPECT_EQ("a file", ReadFile(m_folder.VendorFolder()));
}

TEST_F(CommonFilePlace, FolderFailureIsThrownAsItIs) {
  Creater const creater;
  CommonSeams seams;
  for (int const code : {0, 28, 4711}) {
    seams.CreateFolder = [&](char const* path, XTOOFile const& status) {
      EXPECT_EQ(m_folder.VendorFolder(), path);
      EXPECT_FALSE(FlagReader::FlagOf(status));
      EXPECT_EQ(0, status.Status());
      status.Fail(code, "as it was filled");
      const_cast<XTOOFile&>(status).Value = 7;
      return false;
    };
    try {
      creater.CreateFolderForCommonContInfoFile();
      ADD_FAILURE() << "no exception";
    } catch (XTOOStatus const& status) {
      ASSERT_TRUE(typeid(status) == typeid(XTOOFile));
      EXPECT_EQ(code, status.Status());
      EXPECT_STREQ("as it was filled", status.ErrorMessage());
      EXPECT_EQ(7U, static_cast<XTOOFile const&>(status).Value);
      EXPECT_FALSE(FlagReader::FlagOf(status));
    }
  }
}

// Only the service's answer counts, not what it left in the status.
TEST_F(CommonFilePlace, FolderSuccessIsWhatTheServiceSays) {
  Creater const creater;
  CommonSeams seams;
  seams.CreateFolder = [](char const*, XTOOFile const& status) {
    status.Fail(4711, "left over");
    return true;
  };
  EXPECT_NO_THROW(creater.CreateFolderForCommonContInfoFile());
}

// The shape of the class.

template <typename Result, typename... Arguments>
using Const = Result (Creater::*)(Arguments...) const;

TEST(CommonContInfoFileCreater, AllButTwoMembersAreConst) {
  static_assert(std::is_same_v<decltype(&Creater::InitPath), void (Creater::*)()>);
  static_assert(std::is_same_v<decltype(&Creater::CreateIfShould), void (Creater::*)()>);
  static_assert(std::is_same_v<decltype(&Creater::GetCommonAppDataDir), Const<CTOOString>>);
  static_assert(std::is_same_v<decltype(&Creater::GetPathToCommonContInfoFile), Const<CTOOString>>);
  static_assert(std::is_same_v<decltype(&Creater::GetContInfoFileName),
                               Const<CTOOString, CTOOString const&>>);
  static_assert(std::is_same_v<decltype(&Creater::GetCommonContInfoFileName), Const<CTOOString>>);
  static_assert(std::is_same_v<decltype(&Creater::IsDirExist), Const<bool, CTOOString const&>>);
  static_assert(
      std::is_same_v<decltype(&Creater::ShouldFolderForCommonContInfoFileBeCreated), Const<bool>>);
  static_assert(std::is_same_v<decltype(&Creater::CreateFolderForCommonContInfoFile), Const<void>>);
  static_assert(std::is_same_v<decltype(&Creater::DoesCommonContInfoFileExist), Const<bool>>);
  static_assert(std::is_same_v<decltype(&Creater::ShouldCommonContInfoFileBeCreated), Const<bool>>);
  static_assert(std::is_same_v<decltype(&Creater::GetPathToProvDllFromReg), Const<CTOOString>>);
  static_assert(std::is_same_v<decltype(&Creater::IsProvRegisteredInRegistry), Const<bool>>);
  static_assert(
      std::is_same_v<decltype(&Creater::GetPathToContInfoFileOfRegisteredProv), Const<CTOOString>>);
  static_assert(
      std::is_same_v<decltype(&Creater::GetRegisteredProvContInfoFileName), Const<CTOOString>>);
  static_assert(
      std::is_same_v<decltype(&Creater::DoesRegisteredProvContInfoFileExist), Const<bool>>);
  static_assert(std::is_same_v<decltype(&Creater::CreateCommonContInfoFile), Const<void>>);
}

TEST_F(CommonFilePlace, ConsistsOfItsPathAndItsLock) {
  static_assert(sizeof(Creater) == sizeof(CTOOString) + sizeof(IPC::CReadWriteLock*));
  static_assert(!std::is_polymorphic_v<Creater>);
  CommonSeams seams;
  Creater const creater;
  auto const* const bytes = reinterpret_cast<char const*>(&creater);
  EXPECT_EQ(m_folder.VendorFolder(), Text(*reinterpret_cast<CTOOString const*>(bytes)));
  ASSERT_EQ("SemaphoreLock", seams.Calls.front().name);
  EXPECT_EQ(seams.Calls.front().object,
            *reinterpret_cast<void* const*>(bytes + sizeof(CTOOString)));
}

TEST_F(CommonFilePlace, EndsWithItsLockThenItsPath) {
  CommonSeams seams;
  {
    Creater const creater;
    seams.NoteDestructors = true;
  }
  seams.NoteDestructors = false;
  std::vector<std::string> const lines = seams.Lines();
  ASSERT_LE(2U, lines.size());
  EXPECT_EQ("~SemaphoreLock ", lines[lines.size() - 2]);
  EXPECT_EQ("~CTOOString " + m_folder.VendorFolder(), lines.back());
}

}  // namespace
