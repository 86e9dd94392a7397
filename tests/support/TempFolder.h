#ifndef QUENDRIL_TESTS_SUPPORT_TEMPFOLDER_H
#define QUENDRIL_TESTS_SUPPORT_TEMPFOLDER_H

#include <string>
#include <vector>

// A new folder for one test, removed with everything in it at the end.
class TempFolder {
 public:
  TempFolder();
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;
  ~TempFolder();

  std::string const& Path() const { return m_path; }
  // The path of `name` in it.
  std::string operator/(std::string const& name) const { return m_path + "/" + name; }
  // The names of what is in it, sorted.
  std::vector<std::string> Names() const;

 private:
  std::string m_path;
};

#endif
