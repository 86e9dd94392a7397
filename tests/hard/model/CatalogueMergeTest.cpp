// Random edits of two catalogues over one file, against a model of loading, merging and saving.

#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/hard/model/CatalogueModel.h"
#include "tests/hard/model/Sequences.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

// Paths behind that of a folder: some the same but for case, some another way of writing one, some
// that must not be in a catalogue, and ordinary ones.
std::vector<std::string> const& PathEnds() {
  static std::vector<std::string> const ends = {"/a",
                                                "/A",
                                                "//a",
                                                "/" + Hex("c3a4"),
                                                "/" + Hex("c384"),
                                                "//B",
                                                "/b.LCK",
                                                "/Cur_Pers",
                                                "/usrguard.1",
                                                "/a.lc",
                                                "/first",
                                                "/First",
                                                "/c",
                                                "/d",
                                                "/e",
                                                "/a longer name.000"};
  return ends;
}

void CheckRecord(ModelRecord const& expected, ContainerInfo& record) {
  Same("the blob of " + expected.path, expected.Blob(), DataOf(record.WriteData()));
  Same("the state of " + expected.path, expected.state, record.State);
}

class ListAndModel {
 public:
  ListAndModel(std::string const& fileName, ModelFile& file)
      : m_list(fileName.c_str()), m_model(file) {}

  ContainerInfoList& List() { return m_list; }
  CatalogueModel& Model() { return m_model; }

  // Changes what the record's owners keep about it, with or without saying so in its state.
  void Change(unsigned int number, unsigned int content, bool isSaid) {
    if (m_model.Records.empty()) {
      return;
    }
    std::size_t const index = number % m_model.Records.size();
    ModelRecord& expected = m_model.Records[index];
    ContainerInfo& record = *std::next(Records().begin(), static_cast<long>(index));
    expected.param = record.Param = content;
    expected.ident1 = Pattern(content % 20, content);
    record.Ident1 = Blob(expected.ident1);
    expected.subRecords.clear();
    record.SubConts.clear();
    for (unsigned int i = 0; i < content % 3; ++i) {
      expected.subRecords.push_back({Pattern(i, content), content, i});
      record.SubConts.emplace_back();
      record.SubConts.back().Ident = Blob(Pattern(i, content));
      record.SubConts.back().Param1 = content;
      record.SubConts.back().Param2 = i;
    }
    if (isSaid) {
      expected.state = record.State = ContainerInfo::StateAdded;
    }
  }

  void CheckFind(std::string const& path) {
    long const index = m_model.Find(path);
    ContainerInfo* const expected = index == -1 ? nullptr : &*std::next(Records().begin(), index);
    if (m_list.FindRecord(path.c_str(), true) != expected) {
      throw std::runtime_error("another record is found for " + path);
    }
  }

  void CheckState() {
    Same("the number of records", static_cast<long>(m_model.Records.size()),
         static_cast<long>(Records().size()));
    char const* walked = m_list.GetFirst();
    auto record = Records().begin();
    for (ModelRecord const& expected : m_model.Records) {
      CheckRecord(expected, *record++);
      Same("the path walked over", expected.path, walked == nullptr ? "null" : walked);
      walked = m_list.GetNext();
    }
    Same("the walk's end", 1, walked == nullptr ? 1 : 0);
  }

 private:
  std::list<ContainerInfo>& Records() { return m_list.GetSyncList()->Records; }

  ContainerInfoList m_list;
  CatalogueModel m_model;
};

// Two lists over one file, as in two processes; every step is done to a list and to its model.
class TwoCatalogues {
 public:
  static constexpr unsigned int kOperations = 16;

  TwoCatalogues() {
    for (std::string const& end : PathEnds()) {
      WriteFile(m_folder.Path() + end, "");
    }
  }

  void Do(Step const& step) {
    auto const [operation, which, number, content] = step;
    if (operation == 0) {
      return;
    }
    ListAndModel& both = which % 2 == 0 ? m_first : m_second;
    std::string const path = m_folder.Path() + PathEnds()[number % PathEnds().size()];
    if (operation <= 5) {
      both.List().Add(path.c_str());
      both.Model().Add(path);
    } else if (operation <= 7) {
      both.List().Erase(path.c_str());
      both.Model().Erase(path);
    } else if (operation <= 9) {
      both.List().Load(nullptr);
      both.Model().Load();
    } else if (operation <= 11) {
      both.List().Save(true);
      both.Model().Save();
    } else if (operation <= 13) {
      both.Change(number, content, operation == 12);
    } else if (operation == 14) {
      both.CheckFind(path);
    } else {
      MakeOrRemove(path);
    }
  }

  void CheckState() {
    Same("the file", m_modelFile.Bytes(), IsThere(m_path) ? ReadFile(m_path) : std::string());
    m_first.CheckState();
    m_second.CheckState();
  }

 private:
  static void MakeOrRemove(std::string const& path) {
    if (!std::filesystem::remove(path)) {
      WriteFile(path, "");
    }
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "catalogue";
  ModelFile m_modelFile;
  ListAndModel m_first{m_path, m_modelFile};
  ListAndModel m_second{m_path, m_modelFile};
};

TEST(CatalogueModel, TwoListsOverOneFileMergeAsTheTableSays) {
  CheckSequences(TwoCatalogues::kOperations, [&](Steps const& steps) {
    TwoCatalogues catalogues;
    catalogues.CheckState();
    for (Step const& step : steps) {
      catalogues.Do(step);
      catalogues.CheckState();
    }
  });
}

}  // namespace
