#include <stdexcept>

#include "bench/CatalogueRecord.h"
#include "bench/Contender.h"
#include "bench/Keep.h"
#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"

namespace {

class Quendril : public Contender {
 public:
  explicit Quendril(std::string file) : m_file(std::move(file)) {}

  void AddAll(std::vector<PlainRecord> const& records) override {
    ContainerInfoEdit edit(List());
    for (PlainRecord const& record : records) {
      edit.Add(ToContainerInfo(record));
    }
    edit.Commit();
  }

  // Reads the whole file each time: its protocol lets any process write it meanwhile.
  void AddOne(std::string const& path) override { List().Add(path.c_str()); }

  std::size_t Load() override {
    m_list.Load(m_file.c_str());
    m_isLoaded = true;
    return m_list.GetSyncList()->Records.size();
  }

  bool Find(std::string const& path) override {
    return List().FindRecord(path.c_str(), true) != nullptr;
  }

  std::size_t Walk() override {
    std::size_t count = 0;
    for (char const* path = m_list.GetFirst(); path != nullptr; path = m_list.GetNext()) {
      Keep(path);
      ++count;
    }
    return count;
  }

 protected:
  // Loaded, as a list is that was made with the name of its file.
  ContainerInfoList& List() {
    if (!m_isLoaded) {
      Load();
    }
    return m_list;
  }

 private:
  std::string const m_file;
  ContainerInfoList m_list;
  bool m_isLoaded = false;
};

// Each add in an edit of its own, which loses nothing whoever else adds at the same moment.
class QuendrilEdit : public Quendril {
 public:
  using Quendril::Quendril;

  void AddOne(std::string const& path) override {
    ContainerInfoEdit edit(List());
    edit.Add(path.c_str());
    edit.Commit();
  }
};

}  // namespace

std::unique_ptr<Contender> MakeQuendril(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Quendril>(file);
}

std::unique_ptr<Contender> MakeQuendrilEdit(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<QuendrilEdit>(file);
}
