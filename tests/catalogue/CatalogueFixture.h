#ifndef QUENDRIL_TESTS_CATALOGUE_CATALOGUEFIXTURE_H
#define QUENDRIL_TESTS_CATALOGUE_CATALOGUEFIXTURE_H

#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

// A folder with a catalogue file and containers in it.
class CatalogueFixture : public testing::Test {
 protected:
  using Paths = std::list<std::string>;

  // A container that is there; gives its path.
  std::string Container(std::string const& name) const {
    WriteFile(m_folder / name, "");
    return m_folder / name;
  }
  // The path of one that is not.
  std::string Missing(std::string const& name) const { return m_folder / name; }

  char const* File() const { return m_file.c_str(); }
  std::string FileBytes() const { return ReadFile(m_file); }
  // Writes the catalogue file and dates it back; ExpectUntouched then tells any later write.
  // It is a new file each time: file systems take longer over one that is cut and written again.
  void Write(std::string const& bytes) {
    std::filesystem::remove(m_file);
    WriteFile(m_file, bytes);
    m_bytes = bytes;
    m_written = AgeFile(m_file);
    m_inode = StatOf(m_file).st_ino;
  }
  void ExpectUntouched() const {
    EXPECT_EQ(m_bytes, FileBytes());
    EXPECT_TRUE(m_written == StatOf(m_file).st_mtim);
    EXPECT_EQ(m_inode, StatOf(m_file).st_ino);
  }

  TempFolder m_folder;
  std::string const m_file = m_folder / "catalogue";

 private:
  std::string m_bytes;
  timespec m_written{};
  ino_t m_inode = 0;
};

inline std::list<ContainerInfo>& RecordsOf(ContainerInfoList& list) {
  return list.GetSyncList()->Records;
}

// The stored name, which lies between the cursors' manager and the records.
inline char const* NameOf(ContainerInfoList const& list) {
  return *reinterpret_cast<CTOOString const*>(reinterpret_cast<char const*>(&list) +
                                              sizeof(ContainerInfoItrMgr));
}

inline std::vector<unsigned int> StatesIn(ContainerInfoList& list) {
  std::vector<unsigned int> states;
  for (ContainerInfo const& record : RecordsOf(list)) {
    states.push_back(record.State);
  }
  return states;
}

inline std::vector<unsigned int> ParamsIn(ContainerInfoList& list) {
  std::vector<unsigned int> params;
  for (ContainerInfo const& record : RecordsOf(list)) {
    params.push_back(record.Param);
  }
  return params;
}

// Whether nobody holds the list's lock. Asked in a forked process, whose time is limited. No other
// thread may exist by then.
inline bool IsLockFree(ContainerInfoList& list) {
  return InProcess([&] {
    IPC::CWriteLocker const locker(list.GetSyncList()->Lock);
    return true;
  });
}

#endif
