// Every operation of the record store on disk under every fault.

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "recordstore/CQuasiStructFile.h"
#include "tests/hard/errors/Faults.h"
#include "tests/hard/errors/Outcomes.h"
#include "tests/support/Bytes.h"

namespace {

// One page is enough for the file, and none for what is written to it.
std::string const kHeader = "head";
std::list<std::string> const kRecords{Pattern(100, 1), Pattern(200, 2), Pattern(300, 3)};
std::string const kFile = RecordFile(1, 2, kHeader, kRecords);
constexpr unsigned int kLarge = 20000;

class StoreSubject {
 public:
  StoreSubject(Place const& place, bool create)
      : Store(place.Path.c_str(), create, false), MayMake(create) {}

  // Its own file is healthy again.
  void ExpectUsable(Place const& place) {
    Store.Clear();
    EXPECT_EQ(0U, Store.Reload(place.File.c_str(), false, false));
    EXPECT_EQ(0U, Store.Add(Blob("added")));
    std::list<IdentObj> records;
    EXPECT_EQ(0U, Store.GetAll(records));
    std::list<std::string> expected = kRecords;
    expected.push_back("added");
    EXPECT_EQ(expected, DataOf(records));
  }

  CQuasiStructFile Store;
  bool const MayMake;
};

using StoreOperation = OperationOn<StoreSubject>;

StoreOperation Coded(std::string const& name,
                     std::function<unsigned int(CQuasiStructFile&)> const& run) {
  return {name, [run](StoreSubject& subject, Place const&) {
            unsigned int const code = run(subject.Store);
            return NameOfCodes(code, static_cast<unsigned int>(subject.Store.Status()));
          }};
}

StoreOperation Constructed(std::string const& name, bool create, bool statusFlag) {
  return {name, [=](StoreSubject&, Place const& place) {
            CQuasiStructFile const made(place.Path.c_str(), create, statusFlag);
            return NameOfCode(static_cast<unsigned int>(made.Status()));
          }};
}

// A record that is given must be the right one.
unsigned int GetSecond(CQuasiStructFile& store) {
  IdentObj record;
  unsigned int const code = store.Get(1, record);
  EXPECT_EQ(store.Status() == 0 && code == 0 ? *std::next(kRecords.begin()) : "", DataOf(record));
  return code;
}

unsigned int GetAll(CQuasiStructFile& store) {
  std::list<IdentObj> records;
  unsigned int const code = store.GetAll(records);
  EXPECT_EQ(code == 0 ? kRecords : std::list<std::string>(), DataOf(records));
  return code;
}

std::vector<StoreOperation> StoreOperations() {
  IdentObj const large = Blob(Pattern(kLarge, 4));
  IdentObj const header = Blob(Pattern(kLarge, 5));
  return {
      Constructed("new", true, false),
      Constructed("newExisting", false, false),
      Constructed("newThrowing", false, true),
      Coded("Init", [](auto& store) { return store.Init(); }),
      {"Reload",
       [](StoreSubject& subject, Place const&) {
         unsigned int const code = subject.Store.Reload(nullptr, subject.MayMake, false);
         return NameOfCodes(code, static_cast<unsigned int>(subject.Store.Status()));
       }},
      Coded("Get", GetSecond),
      Coded("GetAll", GetAll),
      {"IsItInFile",
       [large](StoreSubject& subject, Place const&) {
         bool const isThere = subject.Store.IsItInFile(large, nullptr);
         return std::string(isThere ? "yes/" : "no/") +
                NameOfCode(static_cast<unsigned int>(subject.Store.Status()));
       }},
      Coded("Add", [large](auto& store) { return store.Add(large); }),
      Coded("Put", [large](auto& store) { return store.Put(0, large); }),
      Coded("PutAtEnd", [large](auto& store) { return store.Put(-1, large); }),
      Coded("PutList",
            [large](auto& store) {
              return store.PutList({large, large});
            }),
      Coded("Del", [](auto& store) { return store.Del(0); }),
      Coded("EmptyFile", [](auto& store) { return store.EmptyFile(); }),
      Coded("PutHeader", [header](auto& store) { return store.PutHeader(header); }),
      Coded("PutEqualHeader", [](auto& store) { return store.PutHeader(Blob("HEAD")); }),
  };
}

using Lines = std::vector<std::string>;

// What stores do that may make a file, and those that may not.
struct Expected {
  Lines making;
  Lines existing;
};

Expected Both(Lines const& lines) { return {lines, lines}; }

// Nothing is refused and what is written is cut off where the room ends: results of single writes
// are not looked at.
Expected WithoutRoom() {
  return Both({"ok=: new newExisting newThrowing Init Reload Get GetAll", "no/22=: IsItInFile",
               "ok<: Add Put PutAtEnd PutList PutHeader", "ok+: Del EmptyFile PutEqualHeader"});
}

Expected NotWritable(std::string const& error) {
  return Both({"ok=: new newExisting newThrowing Init Reload Get GetAll", "no/22=: IsItInFile",
               error + "=: Add Put PutAtEnd PutList Del EmptyFile PutHeader PutEqualHeader"});
}

Expected NotReadable() {
  return Both(
      {"EACCES=: new newExisting newThrowing Init Reload GetAll Add Put PutAtEnd PutList "
       "Del EmptyFile PutHeader PutEqualHeader",
       "ok/EACCES=: Get", "no/EACCES=: IsItInFile"});
}

Expected NotInTheWay() {
  return Both({"ok=: new newExisting newThrowing Init Reload Get GetAll", "no/22=: IsItInFile",
               "ok+: Add Put PutAtEnd PutList Del EmptyFile PutHeader PutEqualHeader"});
}

// The lock that cannot be had is thrown; what takes none meets the limit itself, if at all.
Expected WithoutLock(std::string const& isItInFile, std::string const& putList) {
  return Both(
      {"!EMFILE=: new newExisting newThrowing Init Reload Get GetAll Add Put PutAtEnd Del "
       "EmptyFile PutHeader PutEqualHeader",
       isItInFile + ": IsItInFile", putList + ": PutList"});
}

Lines ExistingWithoutFile(std::string const& error) {
  return {"ok=: new EmptyFile",
          "4=: newExisting Init Reload GetAll Add Put PutAtEnd PutList PutHeader PutEqualHeader",
          "!4=: newThrowing",
          "ok/" + error + "=: Get",
          "no/ok=: IsItInFile",
          error + "=: Del"};
}

// The path leads nowhere, and no file can be made there.
Expected Nowhere(std::string const& error) {
  return {{"ok=: new Init Reload EmptyFile", "4=: newExisting GetAll", "!4=: newThrowing",
           "ok/" + error + "=: Get", "no/ok=: IsItInFile",
           error + "=: Add Put PutAtEnd PutList Del PutHeader PutEqualHeader"},
          ExistingWithoutFile(error)};
}

// There is no file, and one can be made.
Expected Missing() {
  return {{"ok=: new Init Reload EmptyFile", "4=: newExisting GetAll", "!4=: newThrowing",
           "ok/ENOENT=: Get", "no/ok=: IsItInFile",
           "ok*: Add Put PutAtEnd PutList PutHeader PutEqualHeader", "ENOENT=: Del"},
          ExistingWithoutFile("ENOENT")};
}

// Stores that never met the file.
Expected NamedWrongly() {
  return {{"ok=: new Init Reload EmptyFile", "4=: newExisting GetAll", "!4=: newThrowing",
           "194/ok=: Get", "no/ok=: IsItInFile",
           "ENAMETOOLONG=: Add Put PutAtEnd PutList PutHeader PutEqualHeader", "28/ok=: Del"},
          {"ok=: new",
           "4=: newExisting Init Reload Get GetAll Add Put PutAtEnd PutList Del PutHeader "
           "PutEqualHeader",
           "!4=: newThrowing", "no/4=: IsItInFile", "ok/4=: EmptyFile"}};
}

// A length of 0 is no file; who may make one is refused by the thing itself.
Expected NoFile(std::string const& search, std::string const& emptyFile) {
  return {{"ok=: new Init Reload", "4=: newExisting GetAll", "!4=: newThrowing", "194/ok=: Get",
           "no/" + search + "=: IsItInFile",
           "ENXIO=: Add Put PutAtEnd PutList" +
               std::string(emptyFile == "ENXIO" ? " EmptyFile" : "") + " PutHeader PutEqualHeader",
           "28/ok=: Del"},
          {"ok=: new",
           "4=: newExisting Init Reload Get GetAll Add Put PutAtEnd PutList Del PutHeader "
           "PutEqualHeader",
           "!4=: newThrowing", "no/4=: IsItInFile", emptyFile + "=: EmptyFile"}};
}

// A device takes everything, or says that it did not when nobody looks.
Expected Device() {
  return {{"ok=: new Init Reload Add Put PutAtEnd PutList Del EmptyFile PutHeader PutEqualHeader",
           "4=: newExisting GetAll", "!4=: newThrowing", "22/ok=: Get", "no/22=: IsItInFile"},
          {"ok=: new Del EmptyFile",
           "4=: newExisting Init Reload GetAll Add Put PutAtEnd PutList PutHeader PutEqualHeader",
           "!4=: newThrowing", "22/ok=: Get", "no/22=: IsItInFile"}};
}

Expected Folder() {
  return Both(
      {"!EISDIR=: new newExisting newThrowing Init Reload Get GetAll IsItInFile Add Put "
       "PutAtEnd PutList Del PutHeader PutEqualHeader",
       "EISDIR=: EmptyFile"});
}

std::map<std::string, Expected> const& ExpectedOutcomes() {
  static std::map<std::string, Expected> const expected = [] {
    std::map<std::string, Expected> all{
        {"full disk", WithoutRoom()},
        {"read-only mount", NotWritable("EROFS")},
        {"file size limit", WithoutRoom()},
        {"no descriptor left", WithoutLock("no/EMFILE=", "EMFILE=")},
        {"one descriptor left", WithoutLock("no/22=", "ok+")},
        {"two descriptors left", NotInTheWay()},
        {"file that may not be read", NotReadable()},
        {"file that may not be written", NotWritable("EACCES")},
        {"file that may not be used", NotReadable()},
        {"folder that may not be searched", Nowhere("EACCES")},
        {"folder that may not be written", NotInTheWay()},
        {"folder that may not be used", Nowhere("EACCES")},
        {"file removed", Missing()},
        {"folder in the file's place", Folder()},
        {"socket in the file's place", NoFile("ENXIO", "ENXIO")},
        {"link to dev full", Device()},
        {"link to dev null", Device()},
        {"link to dev zero", Device()},
        {"link to itself", Nowhere("ELOOP")},
        {"link to nothing", Missing()},
        {"link into no folder", Nowhere("ENOENT")},
        {"folder removed", Nowhere("ENOENT")},
        {"file in the folder's place", Nowhere("ENOTDIR")},
        {"folder linked to itself", Nowhere("ELOOP")},
        {"name of 300 bytes", NamedWrongly()},
        {"path of more than 4096 bytes", NamedWrongly()}};
    // EmptyFile opens a FIFO both ways, which needs nobody at the other end.
    Expected fifo = NoFile("ESPIPE", "ESPIPE");
    fifo.making.emplace_back("ESPIPE=: EmptyFile");
    all["FIFO in the file's place"] = fifo;
    return all;
  }();
  return expected;
}

class RecordStoreErrors : public testing::TestWithParam<Fault> {};

void ExpectOutcomes(Fault const& fault, bool mayMake, Lines const& expected) {
  auto make = [mayMake](Place const& place) {
    return std::make_unique<StoreSubject>(place, mayMake);
  };
  bool const endedWell = RunUnder(fault, [&] {
    EXPECT_EQ(expected, OutcomesOf<StoreSubject>(fault, kFile, make, StoreOperations()));
  });
  EXPECT_TRUE(endedWell);
}

TEST_P(RecordStoreErrors, AreStatedAndLeaveNothing) {
  Fault const& fault = GetParam();
  if (!ObstacleOf(fault).empty()) {
    GTEST_SKIP() << ObstacleOf(fault);
  }
  ExpectOutcomes(fault, true, ExpectedOutcomes().at(fault.name).making);
  ExpectOutcomes(fault, false, ExpectedOutcomes().at(fault.name).existing);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, RecordStoreErrors, testing::ValuesIn(Faults()),
                         [](auto const& fault) { return TestNameOf(fault.param); });

}  // namespace
