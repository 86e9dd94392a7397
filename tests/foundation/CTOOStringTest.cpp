// CTOOString, but for CollateNoCase, which has a file of its own.

#include "foundation/CTOOString.h"

#include <cctype>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFF;

char* Buffer(CTOOString const& text) { return const_cast<char*>(static_cast<char const*>(text)); }

// Bytes without a terminator behind them, so that a read too far is one into nowhere.
void LoadExactly(CTOOString& text, std::string const& bytes) {
  std::vector<unsigned char> const exact(bytes.begin(), bytes.end());
  text.Load(exact.data(), static_cast<unsigned int>(exact.size()));
}

TEST(CTOOString, DefaultIsEmpty) {
  CTOOString const text;
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(0U, text.Length());
  EXPECT_STREQ("", text);
}

TEST(CTOOString, HoldsTheTextItIsMadeOf) {
  for (std::string const& source : {std::string(), std::string("a"), std::string("/var/lib"),
                                    std::string("\xFF\x01 \xC3\xA4"), std::string(100000, 'x')}) {
    CTOOString const text(source.c_str());
    EXPECT_EQ(source, static_cast<char const*>(text));
    EXPECT_EQ(source.size(), text.Length());
    EXPECT_EQ(source.empty(), text.IsEmpty());
    CTOOString const copy(text);
    EXPECT_EQ(source, static_cast<char const*>(copy));
    EXPECT_TRUE(copy == text);
  }
}

TEST(CTOOString, OwnsItsBuffer) {
  std::string source = "text";
  CTOOString const text(source.c_str());
  EXPECT_NE(source.c_str(), static_cast<char const*>(text));
  source[0] = 'n';
  EXPECT_STREQ("text", text);
  EXPECT_EQ(static_cast<char const*>(text), static_cast<char const*>(text));
}

TEST(CTOOString, AssignmentReplacesTheText) {
  CTOOString const other("a longer text");
  for (char const* const before : {"", "old", "an even longer old text"}) {
    CTOOString text(before);
    EXPECT_EQ(&text, &(text = "new"));
    EXPECT_STREQ("new", text);
    EXPECT_EQ(&text, &(text = other));
    EXPECT_STREQ("a longer text", text);
    text = CTOOString();
    EXPECT_TRUE(text.IsEmpty());
    text = "";
    EXPECT_TRUE(text.IsEmpty());
  }
  EXPECT_STREQ("a longer text", other);
}

TEST(CTOOString, AssignmentToItselfKeepsTheText) {
  CTOOString text("text");
  CTOOString const& same = text;
  text = same;
  EXPECT_STREQ("text", text);
}

TEST(CTOOString, AssignmentFromAnyPlaceInItsOwnBufferWorks) {
  std::string const source = "/var/lib/file";
  for (std::size_t from = 0; from <= source.size(); ++from) {
    CTOOString text(source.c_str());
    text = static_cast<char const*>(text) + from;
    EXPECT_EQ(source.substr(from), static_cast<char const*>(text));
  }
  CTOOString none;
  none = static_cast<char const*>(none);
  EXPECT_TRUE(none.IsEmpty());
}

TEST(CTOOString, AppendsBothForms) {
  CTOOString text("/var");
  EXPECT_EQ(&text, &(text += "/lib"));
  EXPECT_EQ(&text, &(text += CTOOString("/file")));
  EXPECT_STREQ("/var/lib/file", text);
  text += "";
  text += CTOOString();
  EXPECT_STREQ("/var/lib/file", text);
  CTOOString none;
  none += "first";
  EXPECT_STREQ("first", none);
}

TEST(CTOOString, AppendingItselfDoublesTheText) {
  CTOOString text("ab");
  text += text;
  EXPECT_STREQ("abab", text);
  text += static_cast<char const*>(text);
  EXPECT_STREQ("abababab", text);
  text += static_cast<char const*>(text) + 5;
  EXPECT_STREQ("ababababbab", text);
}

TEST(CTOOString, PlusGivesANewString) {
  CTOOString const text("/var");
  CTOOString const sum = text + "/lib";
  EXPECT_STREQ("/var/lib", sum);
  EXPECT_STREQ("/var", text);
  EXPECT_STREQ("/var", text + "");
  EXPECT_STREQ("/var/var", text + static_cast<char const*>(text));
  EXPECT_STREQ("/lib", CTOOString() + "/lib");
}

TEST(CTOOString, EqualityIsExact) {
  CTOOString const text("File");
  EXPECT_TRUE(text == CTOOString("File"));
  EXPECT_TRUE(text == "File");
  EXPECT_TRUE(text == text);
  for (char const* const other : {"file", "FILE", "Fil", "File ", "Filf", ""}) {
    EXPECT_FALSE(text == CTOOString(other)) << other;
    EXPECT_FALSE(text == other) << other;
    EXPECT_FALSE(CTOOString(other) == text) << other;
  }
  EXPECT_TRUE(CTOOString() == CTOOString(""));
  EXPECT_TRUE(CTOOString("") == "");
}

TEST(CTOOString, NullIsTheEmptyText) {
  char const* const none = nullptr;
  EXPECT_TRUE(CTOOString(none).IsEmpty());
  CTOOString text("text");
  text += none;
  EXPECT_STREQ("text", text);
  EXPECT_STREQ("text", text + none);
  EXPECT_FALSE(text == none);
  EXPECT_TRUE(CTOOString() == none);
  EXPECT_GT(text.CompareNoCase(none), 0);
  EXPECT_GT(text.CollateNoCase(none), 0);
  EXPECT_EQ(0, CTOOString().CompareNoCase(none));
  EXPECT_EQ(0, CTOOString().CollateNoCase(none));
  EXPECT_EQ(text.FindNocase(""), text.FindNocase(none));
  text.RemoveSubstring(none, true);
  text.RemoveSubstring(none, false);
  EXPECT_STREQ("text", text);
  CTOOString::StrCutSlash(nullptr);
  text.Load(nullptr, 3);
  EXPECT_TRUE(text.IsEmpty());
  text = "text";
  text = none;
  EXPECT_TRUE(text.IsEmpty());
}

TEST(CTOOString, MovedFromIsEmptyAndUsable) {
  CTOOString first("first");
  CTOOString second(std::move(first));
  EXPECT_STREQ("first", second);
  EXPECT_TRUE(first.IsEmpty());  // NOLINT(bugprone-use-after-move)
  EXPECT_STREQ("", first);
  first = "again";
  EXPECT_STREQ("again", first);
  second = std::move(first);
  EXPECT_STREQ("again", second);
}

// Shortening in place.

void CutSlash(CTOOString const& text) { CTOOString::StrCutSlash(Buffer(text)); }

TEST(CTOOString, ShortenedTextIsSeenByEveryOperation) {
  auto const shortened = [] {
    CTOOString text("/var/lib/");
    CutSlash(text);
    return text;
  };
  CTOOString text("/var/lib/");
  CutSlash(text);
  EXPECT_STREQ("/var/lib", text);
  EXPECT_EQ(8U, text.Length());
  EXPECT_FALSE(text.IsEmpty());
  EXPECT_TRUE(text == CTOOString("/var/lib"));
  EXPECT_TRUE(CTOOString("/var/lib") == text);
  EXPECT_TRUE(text == "/var/lib");
  EXPECT_FALSE(text == "/var/lib/");
  EXPECT_EQ(0, text.CompareNoCase("/VAR/LIB"));
  EXPECT_EQ(0, text.CollateNoCase("/VAR/LIB"));
  EXPECT_EQ(kNotFound, text.FindNocase("lib/"));
  EXPECT_STREQ("/var/lib", CTOOString(text));
  EXPECT_STREQ("/var/lib/file", text + "/file");
  CTOOString other;
  other = text;
  EXPECT_STREQ("/var/lib", other);
  other += text;
  EXPECT_STREQ("/var/lib/var/lib", other);
  text += "+";
  EXPECT_STREQ("/var/lib+", text);
  CTOOString withSlash = shortened();
  withSlash.StrAddSlash();
  EXPECT_STREQ("/var/lib/", withSlash);
  CTOOString removed = shortened();
  removed.RemoveSubstring("/var", true);
  EXPECT_STREQ("/lib", removed);
}

TEST(CTOOString, TextMayBeShortenedAnywhere) {
  std::string const source = "/var/lib";
  for (std::size_t length = 0; length <= source.size(); ++length) {
    CTOOString text(source.c_str());
    Buffer(text)[length] = 0;
    EXPECT_EQ(length, text.Length());
    EXPECT_EQ(length == 0, text.IsEmpty());
    text += "x";
    EXPECT_EQ(source.substr(0, length) + "x", static_cast<char const*>(text));
  }
}

TEST(CTOOString, ShorteningACopyLeavesTheOriginal) {
  CTOOString const original("/var/lib/");
  CTOOString const copy(original);
  CTOOString assigned;
  assigned = original;
  CTOOString const sum = original + "";
  for (CTOOString const* const other : {&copy, static_cast<CTOOString const*>(&assigned), &sum}) {
    EXPECT_NE(static_cast<char const*>(original), static_cast<char const*>(*other));
    CutSlash(*other);
    EXPECT_STREQ("/var/lib", *other);
    EXPECT_STREQ("/var/lib/", original);
  }
}

TEST(CTOOString, ShorteningTheOriginalLeavesItsCopies) {
  CTOOString const original("/var/lib/");
  CTOOString const copy(original);
  CTOOString assigned("old");
  assigned = original;
  CutSlash(original);
  EXPECT_STREQ("/var/lib/", copy);
  EXPECT_STREQ("/var/lib/", assigned);
}

TEST(CTOOString, TwoEmptyStringsShareNoBuffer) {
  CTOOString const first;
  CTOOString const second;
  CTOOString const copy(first);
  EXPECT_NE(static_cast<char const*>(first), static_cast<char const*>(second));
  EXPECT_NE(static_cast<char const*>(first), static_cast<char const*>(copy));
}

// Loading.

TEST(CTOOString, LoadsBytesThatHaveNoTerminator) {
  std::string const source = "name.000\xC3\xA4";
  for (std::size_t length = 0; length <= source.size(); ++length) {
    CTOOString text("old text");
    LoadExactly(text, source.substr(0, length));
    EXPECT_EQ(source.substr(0, length), static_cast<char const*>(text));
    EXPECT_EQ(length, text.Length());
  }
}

TEST(CTOOString, LoadOfNoBytesGivesTheEmptyText) {
  CTOOString text("old");
  unsigned char const byte = 'x';
  text.Load(&byte, 0);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_STREQ("", text);
}

TEST(CTOOString, LoadEndsAtAZeroByte) {
  CTOOString text;
  LoadExactly(text, std::string("ab\0cd", 5));
  EXPECT_STREQ("ab", text);
  EXPECT_EQ(2U, text.Length());
  text += "!";
  EXPECT_STREQ("ab!", text);
  LoadExactly(text, std::string("\0cd", 3));
  EXPECT_TRUE(text.IsEmpty());
}

TEST(CTOOString, LoadsFromItsOwnBuffer) {
  CTOOString text("/var/lib");
  text.Load(reinterpret_cast<unsigned char const*>(Buffer(text)) + 1, 3);
  EXPECT_STREQ("var", text);
}

// Comparing and searching without regard to case.

unsigned char Folded(int byte) {
  return static_cast<unsigned char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
}

int SignOf(int number) { return (number > 0 ? 1 : 0) - (number < 0 ? 1 : 0); }

TEST(CTOOString, CompareNoCaseFoldsAsciiLettersAlone) {
  for (int first = 1; first < 256; ++first) {
    CTOOString const text((std::string("x") + static_cast<char>(first)).c_str());
    for (int second = 1; second < 256; ++second) {
      std::string const other = std::string("X") + static_cast<char>(second);
      int const order = text.CompareNoCase(other.c_str());
      ASSERT_EQ(SignOf(Folded(first) - Folded(second)), SignOf(order)) << first << ' ' << second;
    }
  }
}

TEST(CTOOString, CompareNoCaseDoesNotTakeAPrefixForEqual) {
  CTOOString const text("Container.000");
  EXPECT_EQ(0, text.CompareNoCase("cONTAINER.000"));
  EXPECT_NE(0, text.CompareNoCase("container.00"));
  EXPECT_NE(0, text.CompareNoCase("container.0000"));
  EXPECT_NE(0, text.CompareNoCase(""));
  EXPECT_NE(0, CTOOString().CompareNoCase("c"));
  EXPECT_EQ(0, CTOOString().CompareNoCase(""));
}

TEST(CTOOString, FindNocaseGivesTheFirstIndex) {
  CTOOString const text("abcABCabc");
  EXPECT_EQ(0U, text.FindNocase("ABC"));
  EXPECT_EQ(1U, text.FindNocase("bCa"));
  EXPECT_EQ(2U, text.FindNocase("C"));
  EXPECT_EQ(0U, text.FindNocase("abcabcabc"));
  EXPECT_EQ(0U, text.FindNocase(""));
  EXPECT_EQ(1U, CTOOString("aaab").FindNocase("AAB"));  // After a start that leads nowhere.
  EXPECT_EQ(3U, CTOOString("\xC4\xE4_\xE4z").FindNocase("\xE4Z"));
}

TEST(CTOOString, FindNocaseFindsEveryPlace) {
  for (unsigned int place = 0; place < 70; ++place) {
    std::string source(70, '-');
    source.replace(place, 1, "n");
    EXPECT_EQ(place, CTOOString(source.c_str()).FindNocase("N"));
  }
}

TEST(CTOOString, FindNocaseTellsOfWhatIsAbsent) {
  CTOOString const text("abcABC");
  for (char const* const other : {"abd", "abcabca", "x", "CABCA"}) {
    EXPECT_EQ(kNotFound, text.FindNocase(other)) << other;
  }
  EXPECT_EQ(kNotFound, CTOOString().FindNocase("a"));
  EXPECT_EQ(kNotFound, CTOOString("\xC4").FindNocase("\xE4"));
  EXPECT_EQ(kNotFound, CTOOString("[@").FindNocase("{"));
}

TEST(CTOOString, FindNocaseFindsASuffixInCapitals) {
  EXPECT_EQ(8U, CTOOString("cont_inf.LCK").FindNocase(".lck"));
  EXPECT_EQ(8U, CTOOString("CONT_INF.lck").FindNocase(".LCK"));
  EXPECT_EQ(kNotFound, CTOOString("cont_inf.LC").FindNocase(".lck"));
}

// Changing.

TEST(CTOOString, RemoveSubstringTakesTheFileNameOffAPath) {
  CTOOString text("/usr/lib/velmar/libvelmarcsp.so");
  text.RemoveSubstring("libvelmarcsp.so", true);
  EXPECT_STREQ("/usr/lib/velmar/", text);
}

TEST(CTOOString, RemoveSubstringTakesTheFirstOccurrenceOut) {
  CTOOString text("one two one two");
  text.RemoveSubstring("two", true);
  EXPECT_STREQ("one  one two", text);
  text.RemoveSubstring("one", false);
  EXPECT_STREQ("  one two", text);
  text.RemoveSubstring("three", true);
  text.RemoveSubstring("", true);
  text.RemoveSubstring("", false);
  EXPECT_STREQ("  one two", text);
  text.RemoveSubstring("  one two", true);
  EXPECT_TRUE(text.IsEmpty());
}

TEST(CTOOString, RemoveSubstringIgnoresCaseWhenAskedTo) {
  CTOOString text("abcABC");
  text.RemoveSubstring("ABC", false);
  EXPECT_STREQ("abc", text);
  text.RemoveSubstring("B", false);
  EXPECT_STREQ("abc", text);
  text.RemoveSubstring("B", true);
  EXPECT_STREQ("ac", text);
}

TEST(CTOOString, RemoveSubstringTakesAnArgumentFromItsOwnBuffer) {
  CTOOString text("one two");
  text.RemoveSubstring(static_cast<char const*>(text) + 3, true);
  EXPECT_STREQ("one", text);
}

TEST(CTOOString, StrAddSlashAppendsOneUnlessThere) {
  for (auto const& [before, after] :
       {std::pair("/var/lib", "/var/lib/"), std::pair("", "/"), std::pair("/var/lib/", "/var/lib/"),
        std::pair("/", "/"), std::pair("a//", "a//"), std::pair("/a", "/a/")}) {
    CTOOString text(before);
    text.StrAddSlash();
    EXPECT_STREQ(after, text);
  }
  CTOOString none;
  none.StrAddSlash();
  EXPECT_STREQ("/", none);
}

TEST(CTOOString, StrCutSlashTakesOneTrailingSlashOff) {
  for (auto const& [before, after] :
       {std::pair("/var/lib/", "/var/lib"), std::pair("/var/lib", "/var/lib"), std::pair("", ""),
        std::pair("a//", "a/"), std::pair("/", ""), std::pair("/a", "/a"), std::pair("a", "a")}) {
    std::string buffer = before;
    buffer.push_back(0);
    buffer += "behind";
    std::string const expected = buffer;
    CTOOString::StrCutSlash(buffer.data());
    EXPECT_STREQ(after, buffer.c_str());
    EXPECT_EQ(expected.substr(std::string(before).size()),
              buffer.substr(std::string(before).size()));
  }
}

}  // namespace
