// XTOOMsg, XTOOStatus and XTOOFile.

#include "foundation/XTOOStatus.h"

#include <cerrno>
#include <limits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualSlot.h"

namespace {

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

// A derived status, as a record store is one. Made from another status it shows that one's flag.
class Store : public XTOOStatus {
 public:
  using XTOOStatus::XTOOStatus;
  explicit Store(XTOOStatus const& other) : XTOOStatus(other) {}

  bool IsFlagged() const { return Flag; }
  void PutText(char const* text) { Text = text; }
};

bool IsFlagged(XTOOStatus const& status) { return Store(status).IsFlagged(); }

// Notes what it was when it was raised.
class RaisedStore : public Store {
 public:
  using Store::Store;
  void Raise() const override {
    ++Raised;
    CodeWhenRaised = Status();
  }

  mutable int Raised = 0;
  mutable int CodeWhenRaised = 0;
};

TEST(XTOOStatus, HoldsCodeAndFlagAndNoText) {
  for (int const code : {0, 1, 194, -1, kLargest, kSmallest}) {
    for (bool const flag : {true, false}) {
      XTOOStatus const status(code, flag);
      EXPECT_EQ(code, status.Status());
      EXPECT_STREQ("", status.ErrorMessage());
      EXPECT_EQ(flag, IsFlagged(status));
    }
  }
}

TEST(XTOOStatus, HoldsTheTextOfBothForms) {
  CTOOString const text("as a string");
  for (bool const flag : {true, false}) {
    XTOOStatus const literal(37, "as a literal", flag);
    EXPECT_EQ(37, literal.Status());
    EXPECT_STREQ("as a literal", literal.ErrorMessage());
    EXPECT_EQ(flag, IsFlagged(literal));
    XTOOStatus const string(28, text, flag);
    EXPECT_EQ(28, string.Status());
    EXPECT_STREQ("as a string", string.ErrorMessage());
    EXPECT_EQ(flag, IsFlagged(string));
  }
}

TEST(XTOOStatus, NullTextIsTheEmptyText) {
  char const* const none = nullptr;
  XTOOStatus const status(4, none, false);
  EXPECT_EQ(4, status.Status());
  EXPECT_STREQ("", status.ErrorMessage());
}

TEST(XTOOStatus, SetErrorStoresTheCodeAndReturnsIt) {
  XTOOStatus const status(1, "text", false);
  for (int const code : {5, 134, -1, kLargest, kSmallest, 0}) {
    EXPECT_EQ(code, status.SetError(code));
    EXPECT_EQ(code, status.Status());
    EXPECT_STREQ("text", status.ErrorMessage());
  }
}

TEST(XTOOStatus, IsErrorForEveryCodeButZero) {
  for (int const code : {1, 22, -1, kLargest, kSmallest}) {
    EXPECT_TRUE(XTOOStatus(code, false).IsError()) << code;
  }
  EXPECT_FALSE(XTOOStatus(0, "text", true).IsError());
}

TEST(XTOOStatus, ClearResetsTheCodeAlone) {
  XTOOStatus const status(5, "text", true);
  status.Clear();
  EXPECT_EQ(0, status.Status());
  EXPECT_FALSE(status.IsError());
  EXPECT_STREQ("text", status.ErrorMessage());
  EXPECT_TRUE(IsFlagged(status));
}

TEST(XTOOStatus, CopyHasCodeTextAndFlag) {
  for (bool const flag : {true, false}) {
    XTOOStatus const original(22, "text", flag);
    XTOOStatus const copy(original);
    EXPECT_EQ(22, copy.Status());
    EXPECT_STREQ("text", copy.ErrorMessage());
    EXPECT_NE(original.ErrorMessage(), copy.ErrorMessage());
    EXPECT_EQ(flag, IsFlagged(copy));
    XTOOStatus assigned(1, "another", !flag);
    assigned = original;
    EXPECT_EQ(22, assigned.Status());
    EXPECT_STREQ("text", assigned.ErrorMessage());
    EXPECT_EQ(flag, IsFlagged(assigned));
  }
}

TEST(XTOOStatus, CopyGoesItsOwnWay) {
  Store original(22, "text", false);
  XTOOStatus const copy(original);
  copy.SetError(4);
  EXPECT_EQ(22, original.Status());
  original.PutText("another");
  EXPECT_STREQ("text", copy.ErrorMessage());
}

TEST(XTOOStatus, DerivedClassMayPutTheText) {
  Store store(0, true);
  store.PutText("/var/lib/file");
  EXPECT_EQ(4, store.SetError(4));
  EXPECT_STREQ("/var/lib/file", store.ErrorMessage());
}

TEST(XTOOStatus, SetErrorRaisesWhatIsNotZeroAndFlagged) {
  RaisedStore const flagged(0, true);
  flagged.SetError(0);
  EXPECT_EQ(0, flagged.Raised);
  flagged.SetError(5);
  EXPECT_EQ(1, flagged.Raised);
  EXPECT_EQ(5, flagged.CodeWhenRaised);
  flagged.SetError(-1);
  EXPECT_EQ(2, flagged.Raised);
  flagged.Clear();
  EXPECT_EQ(2, flagged.Raised);
  RaisedStore const plain(0, false);
  plain.SetError(5);
  EXPECT_EQ(0, plain.Raised);
}

TEST(XTOOStatus, MakingOneRaisesNothing) {
  EXPECT_EQ(0, RaisedStore(5, true).Raised);
  EXPECT_EQ(0, RaisedStore(5, "text", true).Raised);
}

TEST(XTOOStatus, RaiseDoesNothing) {
  for (bool const flag : {true, false}) {
    XTOOStatus const status(5, "text", flag);
    EXPECT_NO_THROW(status.Raise());
    EXPECT_EQ(5, status.Status());
    EXPECT_STREQ("text", status.ErrorMessage());
    EXPECT_EQ(flag, IsFlagged(status));
  }
}

TEST(XTOOStatus, FlaggedStoreThrowsNothingFromSetError) {
  for (bool const flag : {true, false}) {
    Store const store(0, flag);
    EXPECT_NO_THROW(store.SetError(134));
    EXPECT_EQ(134, store.Status());
  }
}

// Programs that were built against these classes call by slot.
TEST(XTOOStatus, SlotsFollowTheDestructorInOrder) {
  EXPECT_EQ(2, VirtualSlot(&XTOOStatus::IsError));
  EXPECT_EQ(3, VirtualSlot(&XTOOStatus::ErrorMessage));
  EXPECT_EQ(4, VirtualSlot(&XTOOStatus::Clear));
  EXPECT_EQ(5, VirtualSlot(&XTOOStatus::Raise));
  EXPECT_EQ(2, VirtualSlot(&XTOOFile::IsError));
  EXPECT_EQ(5, VirtualSlot(&XTOOFile::Raise));
  EXPECT_TRUE(std::has_virtual_destructor<XTOOMsg>::value);
}

TEST(XTOOStatus, SetErrorAndStatusAreNotVirtual) {
  EXPECT_EQ(-1, VirtualSlot(&XTOOStatus::SetError));
  EXPECT_EQ(-1, VirtualSlot(&XTOOStatus::Status));
}

TEST(XTOOStatus, IsDeletedThroughEachBase) {
  struct Noting : XTOOFile {
    explicit Noting(int& count) : XTOOFile(false), m_count(count) {}
    Noting(Noting const&) = default;
    Noting& operator=(Noting const&) = delete;
    ~Noting() override { ++m_count; }
    int& m_count;
  };
  int deleted = 0;
  XTOOMsg* const message = new Noting(deleted);
  delete message;
  XTOOStatus* const status = new Noting(deleted);
  delete status;
  EXPECT_EQ(2, deleted);
}

TEST(XTOOFile, IsAStatusWhichIsAMessage) {
  EXPECT_TRUE((std::is_base_of<XTOOMsg, XTOOStatus>::value));
  EXPECT_TRUE((std::is_base_of<XTOOStatus, XTOOFile>::value));
  XTOOFile const file(false);
  XTOOStatus const* const status = &file;
  XTOOMsg const* const message = status;
  EXPECT_EQ(static_cast<void const*>(&file), static_cast<void const*>(status));
  EXPECT_EQ(static_cast<void const*>(&file), static_cast<void const*>(message));
}

TEST(XTOOFile, BeginsWithoutErrorAndText) {
  for (bool const flag : {true, false}) {
    XTOOFile const file(flag);
    EXPECT_EQ(0, file.Status());
    EXPECT_FALSE(file.IsError());
    EXPECT_STREQ("", file.ErrorMessage());
    EXPECT_EQ(flag, IsFlagged(file));
  }
}

TEST(XTOOFile, CopyHasCodeTextFlagAndValue) {
  XTOOFile original(false);
  original.Fail(EACCES, "/var/lib/file");
  original.Value = 0xFEDCBA98;
  XTOOFile const copy(original);
  XTOOFile assigned(true);
  assigned = original;
  for (XTOOFile const* const other : {&copy, static_cast<XTOOFile const*>(&assigned)}) {
    EXPECT_EQ(EACCES, other->Status());
    EXPECT_STREQ("/var/lib/file", other->ErrorMessage());
    EXPECT_EQ(0xFEDCBA98, other->Value);
    EXPECT_FALSE(IsFlagged(*other));
  }
  EXPECT_TRUE(IsFlagged(XTOOFile(XTOOFile(true))));
}

TEST(XTOOFile, RaiseThrowsACopyWithTheFlagFalse) {
  for (bool const flag : {true, false}) {
    Store const text(0, "/var/lib/file", false);
    XTOOFile file(flag);
    static_cast<XTOOStatus&>(file) = XTOOStatus(EACCES, "/var/lib/file", flag);
    file.Value = 7;
    try {
      file.Raise();
      FAIL() << "nothing was thrown";
    } catch (XTOOFile const& thrown) {
      EXPECT_EQ(EACCES, thrown.Status());
      EXPECT_STREQ("/var/lib/file", thrown.ErrorMessage());
      EXPECT_EQ(7U, thrown.Value);
      EXPECT_FALSE(IsFlagged(thrown));
      EXPECT_NE(&file, &thrown);
    }
    EXPECT_EQ(flag, IsFlagged(file));
    EXPECT_EQ(EACCES, file.Status());
  }
}

TEST(XTOOFile, SetErrorOfAFlaggedOneThrowsWhatIsNotZero) {
  XTOOFile const flagged(true);
  EXPECT_NO_THROW(flagged.SetError(0));
  try {
    flagged.SetError(ENOSPC);
    FAIL() << "nothing was thrown";
  } catch (XTOOStatus const& thrown) {  // As everybody catches them.
    EXPECT_EQ(ENOSPC, thrown.Status());
    EXPECT_NO_THROW(thrown.SetError(EIO));
  }
  EXPECT_EQ(ENOSPC, flagged.Status());
  XTOOFile const plain(false);
  EXPECT_NO_THROW(plain.SetError(ENOSPC));
}

TEST(XTOOFile, FailFillsTextAndCode) {
  XTOOFile const plain(false);
  plain.Fail(ENOENT, "/missing");
  EXPECT_EQ(ENOENT, plain.Status());
  EXPECT_STREQ("/missing", plain.ErrorMessage());
  plain.Fail(EIO, nullptr);
  EXPECT_EQ(EIO, plain.Status());
  EXPECT_STREQ("", plain.ErrorMessage());
  XTOOFile const flagged(true);
  try {
    flagged.Fail(ENOENT, "/missing");
    FAIL() << "nothing was thrown";
  } catch (XTOOFile const& thrown) {
    EXPECT_EQ(ENOENT, thrown.Status());
    EXPECT_STREQ("/missing", thrown.ErrorMessage());
  }
}

TEST(XTOOFile, IsErrorTellsOfAFailedUtility) {
  TempFolder const folder;
  XTOOFile const fine(false);
  static_cast<void>(CTOOFolder::Create((folder / "made").c_str(), fine));
  EXPECT_FALSE(fine.IsError());
  XTOOFile const failed(false);
  static_cast<void>(CTOOFile::Length((folder / "missing").c_str(), failed));
  EXPECT_TRUE(failed.IsError());
  EXPECT_EQ(ENOENT, failed.Status());
  failed.Clear();
  EXPECT_FALSE(failed.IsError());
}

}  // namespace
