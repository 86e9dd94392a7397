#ifndef QUENDRIL_TESTS_COMMON_FOLDEROFTEST_H
#define QUENDRIL_TESTS_COMMON_FOLDEROFTEST_H

#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

// This program has an SHGetFolderPath of its own. While one of these lives, the function answers
// with its folder, a fresh one, in this process and in those forked meanwhile, and notes what it
// was asked. Without one it answers with a folder that the whole run shares. One at a time.
class FolderOfTest {
 public:
  struct Query {
    void* window;
    int folder;
    void* token;
    unsigned int flags;
    bool isZeroed;  // The 4096 bytes of the buffer.
  };

  FolderOfTest();
  FolderOfTest(FolderOfTest const&) = delete;
  FolderOfTest& operator=(FolderOfTest const&) = delete;
  ~FolderOfTest();

  std::string const& Path() const { return m_folder.Path(); }
  std::string VendorFolder() const { return Path() + "/quendril"; }
  std::string CommonFile() const { return VendorFolder() + "/cont_info.dat"; }
  std::vector<std::string> Names() const { return m_folder.Names(); }
  // Makes the vendor folder with a common file of that content.
  void MakeCommonFile(std::string const& content) const;

  // What is answered.
  std::string Answer;
  int Result = 0;
  // What was asked, in order.
  std::vector<Query> Queries;

 private:
  TempFolder m_folder;
};

#endif
