// ContainerInfoEdit: what goes wrong is told, nothing is lost, and the edit can be tried again.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <list>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class CatalogueEditFails : public CatalogueFixture {
 protected:
  CatalogueEditFails() { Write(CatalogueFile(1, {m_path})); }

  // Commits and expects a failure with that code, the words and the file in its text, an untouched
  // file and an edit that is still in the list.
  void ExpectCommitFails(ContainerInfoList& list, ContainerInfoEdit& edit, int code,
                         std::string const& doing, std::string const& file) {
    Paths const before = PathsIn(list);
    std::vector<unsigned int> const states = StatesIn(list);
    try {
      edit.Commit();
      ADD_FAILURE() << "committed";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(code, status.Status());
      EXPECT_THAT(status.ErrorMessage(),
                  AllOf(HasSubstr("ContainerInfoEdit"), HasSubstr(doing), HasSubstr(file)));
    }
    EXPECT_EQ(before, PathsIn(list));
    EXPECT_EQ(states, StatesIn(list));
    EXPECT_FALSE(IsThere(m_file + ".quendril-edit"));
  }

  // Moves the file's time of writing by nanoseconds.
  void DateLater(long nanoseconds) const {
    timespec times[2] = {{0, UTIME_OMIT}, StatOf(m_file).st_mtim};
    times[1].tv_nsec += nanoseconds;
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, File(), times, 0));
  }
  // Until it shows: the kernel's clock may have ticks.
  void ChangeRights() const {
    timespec const before = StatOf(m_file).st_ctim;
    while (before == StatOf(m_file).st_ctim) {
      ASSERT_EQ(0, ::chmod(File(), 0600));
    }
  }

  std::string const m_path = Container("key");
  std::string const m_new = Container("new");
};

TEST_F(CatalogueEditFails, AFileThatGrowsTooLargeIsToldAndTriedAgain) {
  EXPECT_TRUE(InProcess([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    ContainerInfoList list(File());
    ContainerInfoEdit edit(list);
    edit.Add(m_new.c_str());
    edit.Erase(m_path.c_str());
    struct rlimit limit {};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 30;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ExpectCommitFails(list, edit, EFBIG, "writing", m_file + ".quendril-edit");
    ExpectUntouched();
    EXPECT_EQ(Lock::Exclusive, FileLockOf(m_file));
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    edit.Commit();
    EXPECT_EQ(CatalogueFile(1, {m_new}), FileBytes());
    EXPECT_EQ(Paths{m_new}, PathsIn(list));
    return true;
  }));
}

TEST_F(CatalogueEditFails, AfterAFailureTheEditCanBeGivenUp) {
  ContainerInfoList list(File());
  {
    std::filesystem::create_directory(m_file + ".quendril-edit");
    ContainerInfoEdit edit(list);
    edit.Add(m_new.c_str());
    edit.Erase(m_path.c_str());
    EXPECT_THROW(edit.Commit(), XTOOStatus);
  }
  EXPECT_EQ(Paths{m_path}, PathsIn(list));
  EXPECT_THAT(StatesIn(list), ElementsAre(0));
  ExpectUntouched();
}

TEST_F(CatalogueEditFails, AFolderThatMayNotBeWrittenIsTold) {
  ASSERT_EQ(0, ::chmod(File(), 0666));
  ASSERT_EQ(0, ::chmod(m_folder.Path().c_str(), 0555));
  EXPECT_TRUE(AsOrdinaryUser([&] {
    ContainerInfoList list(File());
    ContainerInfoEdit edit(list);
    edit.Add(m_new.c_str());
    ExpectCommitFails(list, edit, EACCES, "making", m_file + ".quendril-edit");
  }));
  ExpectUntouched();
  ASSERT_EQ(0, ::chmod(m_folder.Path().c_str(), 0755));
}

TEST_F(CatalogueEditFails, AFileThatMayNotBeWrittenCannotBeEdited) {
  ASSERT_EQ(0, ::chmod(m_folder.Path().c_str(), 0777));
  ASSERT_EQ(0, ::chmod(File(), 0444));
  EXPECT_TRUE(AsOrdinaryUser([&] {
    ContainerInfoList list(File());
    try {
      ContainerInfoEdit const edit(list);
      ADD_FAILURE() << "begun";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(EACCES, status.Status());
      EXPECT_THAT(status.ErrorMessage(), AllOf(HasSubstr("opening"), HasSubstr(m_file)));
    }
    list.Load(nullptr);
    EXPECT_EQ(Paths{m_path}, PathsIn(list));
  }));
  ExpectUntouched();
}

TEST_F(CatalogueEditFails, AMissingFileThatCannotBeMadeIsTold) {
  ContainerInfoList list((m_folder / "no-such-folder/catalogue").c_str());
  try {
    ContainerInfoEdit const edit(list);
    ADD_FAILURE() << "begun";
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(ENOENT, status.Status());
    EXPECT_THAT(status.ErrorMessage(), AllOf(HasSubstr("making"), HasSubstr("no-such-folder")));
  }
}

TEST_F(CatalogueEditFails, ADamagedFileIsToldAndLeftAsItIs) {
  std::string const whole = CatalogueFile(1, {m_path, m_new});
  struct Damage {
    std::string bytes;
    int code;
  };
  std::list<Damage> const damages = {
      {"damaged", 5},
      {whole.substr(0, whole.size() - 1), 134},
      {RecordFile(0, 1, "", {"no record of a container"}), 37},
  };
  for (Damage const& damage : damages) {
    Write(damage.bytes);
    ContainerInfoList list(File());
    RecordsOf(list).push_back(Record(m_new, ContainerInfo::StateAdded));
    try {
      ContainerInfoEdit const edit(list);
      ADD_FAILURE() << "begun";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(damage.code, status.Status());
      EXPECT_THAT(status.ErrorMessage(), AllOf(HasSubstr("reading"), HasSubstr(m_file)));
    }
    ExpectUntouched();
    EXPECT_EQ(Paths{m_new}, PathsIn(list));
  }
}

// Somebody keeps to no lock: writes into the file, puts another in its place, removes it.
TEST_F(CatalogueEditFails, AFileThatChangedUnderItsLockIsToldAndTakenInWhenItIsTriedAgain) {
  std::string const other = Container("other");
  std::string const theirs = CatalogueFile(1, {m_path, other});
  struct Change {
    char const* name;
    std::function<void()> make;
    Paths after;
  };
  std::list<Change> const changes = {
      {"written", [&] { WriteFile(m_file, theirs); }, {m_new, other}},
      {"replaced",
       [&] {
         WriteFile(m_file + "-theirs", theirs);
         std::filesystem::rename(m_file + "-theirs", m_file);
       },
       {m_new, other}},
      {"appended to",
       [&] {
         CQuasiStructFile store(File(), false, false);
         EXPECT_EQ(0U, store.PutList({Blob(ContainerBytes(other))}));
       },
       {m_new, other}},
      {"emptied", [&] { WriteFile(m_file, ""); }, {m_new}},
      {"written with as many bytes", [&] { WriteFile(m_file, FileBytes()); }, {m_new}},
      {"dated another second", [&] { ShiftWriteTime(m_file, 10); }, {m_new}},
      {"dated another part of a second", [&] { DateLater(1); }, {m_new}},
      {"given other rights", [&] { ChangeRights(); }, {m_new}},
      {"removed", [&] { std::filesystem::remove(m_file); }, {m_new}},
      {"replaced by the same",
       [&] {
         WriteFile(m_file + "-theirs", FileBytes());
         std::filesystem::rename(m_file + "-theirs", m_file);
       },
       {m_new}},
  };
  for (Change const& change : changes) {
    SCOPED_TRACE(change.name);
    Write(CatalogueFile(1, {m_path}));
    ContainerInfoList list(File());
    ContainerInfoEdit edit(list);
    edit.Add(m_new.c_str());
    edit.Erase(m_path.c_str());
    change.make();
    bool const isThere = IsThere(m_file);
    std::string const found = isThere ? FileBytes() : "";
    ExpectCommitFails(list, edit, ESTALE, "wrote without its lock", m_file);
    EXPECT_EQ(isThere, IsThere(m_file));
    if (isThere) {
      EXPECT_EQ(found, FileBytes());
    }
    edit.Commit();
    EXPECT_EQ(CatalogueFile(1, change.after), FileBytes());
    EXPECT_EQ(change.after, PathsIn(list));
    EXPECT_EQ(Lock::None, FileLockOf(m_file));
  }
}

TEST_F(CatalogueEditFails, WhatTheFileHoldsMeanwhileIsKnownToTheEdit) {
  std::string const theirs = Container("theirs");
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Add(m_new.c_str());
  WriteFile(m_file, CatalogueFile(1, {theirs}));
  ExpectCommitFails(list, edit, ESTALE, "wrote", m_file);
  // The second try takes in what is there, and fails for another reason.
  std::filesystem::create_directory(m_file + ".quendril-edit");
  EXPECT_THROW(edit.Commit(), XTOOStatus);
  std::filesystem::remove(m_file + ".quendril-edit");
  EXPECT_EQ((Paths{m_new, theirs}), PathsIn(list));
  EXPECT_FALSE(edit.Add(theirs.c_str()));
  EXPECT_FALSE(edit.Erase(m_path.c_str()));
  EXPECT_TRUE(edit.Add(m_path.c_str()));
  EXPECT_TRUE(edit.Erase(theirs.c_str()));
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {m_new, m_path}), FileBytes());
}

TEST_F(CatalogueEditFails, TheSecondCommitTakesTheLockOfTheFileThatIsThereNow) {
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Add(m_new.c_str());
  WriteFile(m_file + "-theirs", "damaged");
  std::filesystem::rename(m_file + "-theirs", m_file);
  ExpectCommitFails(list, edit, ESTALE, "wrote", m_file);
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
  // What is there now cannot be read; when it can, the edit goes on.
  ExpectCommitFails(list, edit, 5, "reading", m_file);
  WriteFile(m_file, CatalogueFile(1, {m_path}));
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {m_path, m_new}), FileBytes());
}

TEST_F(CatalogueEditFails, ALinkThatLeadsToAnotherFileSystemMeanwhileIsTold) {
  std::string const theirs =
      "/dev/shm/" + std::filesystem::path(m_folder.Path()).filename().string();
  WriteFile(theirs, CatalogueFile(1, {}));
  std::filesystem::rename(m_file, m_file + "-ours");
  std::filesystem::create_symlink(m_file + "-ours", m_file);
  if (StatOf(theirs).st_dev == StatOf(m_file + "-ours").st_dev) {
    std::filesystem::remove(theirs);
    GTEST_SKIP() << "the temporary folder is on /dev/shm's file system";
  }
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Add(m_new.c_str());
  std::filesystem::remove(m_file);
  std::filesystem::create_symlink(theirs, m_file);
  ExpectCommitFails(list, edit, ESTALE, "wrote", m_file);
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {m_new}), ReadFile(theirs));
  EXPECT_EQ(CatalogueFile(1, {m_path}), ReadFile(m_file + "-ours"));
  std::filesystem::remove(theirs);
}

// The place of the file must be known by its whole name, which can be too long for that.
TEST_F(CatalogueEditFails, AFileInAFolderWithoutAWholeNameIsTold) {
  EXPECT_TRUE(InProcess([&] {
    std::filesystem::current_path(m_folder.Path());
    std::string const name(250, 'd');
    for (int depth = 0; depth < 20; ++depth) {
      std::filesystem::create_directory(name);
      std::filesystem::current_path(name);
    }
    ContainerInfoList list("catalogue");
    ContainerInfoEdit edit(list);
    edit.Add(m_new.c_str());
    try {
      edit.Commit();
      ADD_FAILURE() << "committed";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(ENAMETOOLONG, status.Status());
      EXPECT_THAT(status.ErrorMessage(), HasSubstr("looking for catalogue"));
    }
    EXPECT_EQ(0U, std::filesystem::file_size("catalogue"));
    return true;
  }));
}

// Two who hold the lock of different files of that name: the first one's has been removed.
TEST_F(CatalogueEditFails, WhatAnotherEditIsWritingIsLeftAlone) {
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Add(m_new.c_str());
  std::string const theirs = m_file + ".quendril-edit";
  WriteFile(theirs, "theirs");
  int const file = ::open(theirs.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(file, LOCK_EX));
  try {
    edit.Commit();
    ADD_FAILURE() << "committed";
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(ESTALE, status.Status());
    EXPECT_THAT(status.ErrorMessage(), HasSubstr("somebody else is writing " + theirs));
  }
  EXPECT_EQ("theirs", ReadFile(theirs));
  ExpectUntouched();
  ::close(file);
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {m_path, m_new}), FileBytes());
  EXPECT_FALSE(IsThere(theirs));
}

}  // namespace
