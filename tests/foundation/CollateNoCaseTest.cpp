// CTOOString::CollateNoCase: which paths name the same record.

#include <clocale>
#include <cstdlib>
#include <cwctype>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOString.h"
#include "tests/support/Bytes.h"
#include "tests/support/Peer.h"

namespace {

int Collate(std::string const& first, std::string const& second) {
  return CTOOString(first.c_str()).CollateNoCase(second.c_str());
}

int SignOf(int number) { return (number > 0 ? 1 : 0) - (number < 0 ? 1 : 0); }

std::string Utf8(unsigned int c) {
  auto const tail = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
  if (c < 0x80) {
    return {static_cast<char>(c)};
  }
  if (c < 0x800) {
    return {static_cast<char>(0xC0 | (c >> 6)), tail(0)};
  }
  if (c < 0x10000) {
    return {static_cast<char>(0xE0 | (c >> 12)), tail(6), tail(0)};
  }
  return {static_cast<char>(0xF0 | (c >> 18)), tail(12), tail(6), tail(0)};
}

struct Pair {
  std::string first;
  std::string second;
};

std::vector<Pair> const& EqualPairs() {
  static std::vector<Pair> const pairs = {
      {"", ""},
      {"/var/lib/KEYS/First.000", "/VAR/lib/keys/fIRST.000"},
      {Hex("c3a4"), Hex("c384")},                          // a with diaeresis
      {"x" + Hex("c3a9") + "Y", "X" + Hex("c389") + "y"},  // e with acute
      {Hex("d18fd0b1"), Hex("d0afd091")},                  // Cyrillic
      {Hex("cf89"), Hex("cea9")},                          // omega
      {Hex("f09090a8"), Hex("f0909080")},                  // Deseret, four bytes
      {"k", Hex("e284aa")},                                // the Kelvin sign folds to ASCII
      {"ab" + Hex("c384"), "AB" + Hex("c3a4")},
      {Hex("ff"), Hex("ff")},
      {"A" + Hex("c3"), "a" + Hex("c3")},
  };
  return pairs;
}

std::vector<Pair> const& DifferentPairs() {
  static std::vector<Pair> const pairs = {
      {"", "a"},
      {"file", "file2"},
      {"first", "fisrt"},
      {"[", "{"},
      {"@", "`"},
      {"a", Hex("c3a4")},
      {Hex("c3a4"), Hex("c3b6")},
      {Hex("c3a4"), "a" + Hex("cc88")},  // the same letter in two code points
      {Hex("c384"), Hex("c4") + Hex("a4")},
      {Hex("e4"), Hex("c4")},  // of another encoding: no UTF-8
      {Hex("fe"), Hex("ff")},
      {Hex("c3"), Hex("c3a4")},  // cut
      {Hex("c3") + "a", Hex("c3") + "b"},
      {Hex("e282"), Hex("e282ac")},
      {Hex("f09090"), Hex("f0909080")},
      {"A", Hex("c181")},  // overlong
      {"a", Hex("c1a1")},
      {Hex("c181"), Hex("c1a1")},
      {Hex("c384"), Hex("e08384")},
      {Hex("80"), Hex("c280")},  // a lone continuation
      {Hex("c3a4"), Hex("c3a4") + "x"},
      {Hex("c3a4"), ""},
  };
  return pairs;
}

void ExpectAllPairs() {
  for (Pair const& pair : EqualPairs()) {
    EXPECT_EQ(0, Collate(pair.first, pair.second))
        << ToHex(pair.first) << ", " << ToHex(pair.second);
    EXPECT_EQ(0, Collate(pair.second, pair.first))
        << ToHex(pair.first) << ", " << ToHex(pair.second);
  }
  for (Pair const& pair : DifferentPairs()) {
    int const order = Collate(pair.first, pair.second);
    EXPECT_NE(0, order) << ToHex(pair.first) << ", " << ToHex(pair.second);
    EXPECT_EQ(-SignOf(order), SignOf(Collate(pair.second, pair.first)))
        << ToHex(pair.first) << ", " << ToHex(pair.second);
  }
}

TEST(CollateNoCase, FoldsCaseOverUtf8AndNothingElse) { ExpectAllPairs(); }

TEST(CollateNoCase, AgreesWithCompareNoCaseOnAscii) {
  for (int first = 0; first < 128; ++first) {
    CTOOString const text((std::string("x") + static_cast<char>(first)).c_str());
    for (int second = 0; second < 128; ++second) {
      std::string const other = std::string("X") + static_cast<char>(second);
      ASSERT_EQ(SignOf(text.CompareNoCase(other.c_str())),
                SignOf(text.CollateNoCase(other.c_str())))
          << first << ' ' << second;
    }
  }
}

// The ASCII letters that stand behind others go the long way; the answer must be the same.
TEST(CollateNoCase, AsciiComparesTheSameBehindOtherLetters) {
  std::string const behind = Hex("c3a4");
  for (int first = 1; first < 128; ++first) {
    for (int second = 1; second < 128; ++second) {
      std::string const one(1, static_cast<char>(first));
      std::string const other(1, static_cast<char>(second));
      ASSERT_EQ(SignOf(Collate(one, other)), SignOf(Collate(behind + one, behind + other)))
          << first << ' ' << second;
      ASSERT_EQ(Collate(one, other) == 0, Collate(one + behind, other + behind) == 0)
          << first << ' ' << second;
    }
  }
}

// Eight bytes are compared at once as long as they are the same but for their case.
TEST(CollateNoCase, ComparesTheSameBehindAnyNumberOfEqualBytes) {
  std::string const capitals = "/AZ@[`{KEYS/Mz09_";
  std::string const small = "/az@[`{keys/mZ09_";
  for (std::size_t count = 1; count <= capitals.size(); ++count) {
    for (int first = 1; first < 128; ++first) {
      for (int second = 1; second < 128; ++second) {
        std::string const one(1, static_cast<char>(first));
        std::string const other(1, static_cast<char>(second));
        ASSERT_EQ(SignOf(Collate(one, other)),
                  SignOf(Collate(capitals.substr(0, count) + one, small.substr(0, count) + other)))
            << count << ' ' << first << ' ' << second;
        ASSERT_EQ(SignOf(Collate(one, other)),
                  SignOf(Collate(one + capitals.substr(0, count), other + small.substr(0, count))))
            << count << ' ' << first << ' ' << second;
      }
    }
    for (Pair const& pair : DifferentPairs()) {
      ASSERT_EQ(SignOf(Collate(pair.first, pair.second)),
                SignOf(Collate(capitals.substr(0, count) + pair.first,
                               small.substr(0, count) + pair.second)))
          << count << ' ' << ToHex(pair.first);
    }
  }
}

// Every character against its lower case, and against its neighbour.
TEST(CollateNoCase, FoldsEveryCharacterByTheTablesOfTheCLibrary) {
  locale_t const unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  ASSERT_NE(nullptr, unicode);
  auto const folded = [&](unsigned int c) { return ::towlower_l(c, unicode); };
  unsigned int changed = 0;
  for (unsigned int c = 0x80; c < 0x1F000; ++c) {
    if (c >= 0xD7FF && c < 0xE000) {
      continue;
    }
    changed += folded(c) == c ? 0 : 1;
    ASSERT_EQ(0, Collate(Utf8(c), Utf8(folded(c)))) << c;
    ASSERT_EQ(folded(c) == folded(c + 1), Collate(Utf8(c), Utf8(c + 1)) == 0) << c;
  }
  EXPECT_GT(changed, 1000U);
  ::freelocale(unicode);
}

TEST(CollateNoCase, BytesThatAreNoUtf8EqualThemselvesAlone) {
  for (int first = 0x80; first < 256; ++first) {
    for (int second = 0x80; second < 256; ++second) {
      std::string const one(1, static_cast<char>(first));
      std::string const other(1, static_cast<char>(second));
      ASSERT_EQ(first == second, Collate(one, other) == 0) << first << ' ' << second;
      ASSERT_EQ(first == second, Collate("A" + one + "b", "a" + other + "B") == 0)
          << first << ' ' << second;
    }
  }
}

// Words of bytes that begin, continue and end characters, valid and not.
std::vector<std::string> Words() {
  std::vector<std::string> const pieces = {
      "a",         "A",         "b",       "Z",       Hex("c3"), Hex("a4"),
      Hex("84"),   Hex("c1"),   Hex("81"), Hex("e2"), Hex("ff"), Hex("d0af"),
      Hex("d18f"), Hex("e284"), Hex("aa"), Hex("f0"), Hex("90"), Hex("eda080")};
  std::mt19937 random(20260102);
  std::vector<std::string> words = {""};
  while (words.size() < 160) {
    std::string word;
    for (unsigned int length = 1 + static_cast<unsigned int>(random() % 4); length != 0; --length) {
      word += pieces[random() % pieces.size()];
    }
    words.push_back(word);
  }
  return words;
}

TEST(CollateNoCase, OrdersAnyTextsWithoutContradiction) {
  std::vector<std::string> const words = Words();
  std::vector<std::vector<int>> order(words.size(), std::vector<int>(words.size()));
  for (std::size_t i = 0; i < words.size(); ++i) {
    for (std::size_t k = 0; k < words.size(); ++k) {
      order[i][k] = SignOf(Collate(words[i], words[k]));
    }
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    ASSERT_EQ(0, order[i][i]) << ToHex(words[i]);
    for (std::size_t k = 0; k < words.size(); ++k) {
      ASSERT_EQ(-order[i][k], order[k][i]) << ToHex(words[i]) << ", " << ToHex(words[k]);
      for (std::size_t m = 0; m < words.size(); ++m) {
        if (order[i][k] <= 0 && order[k][m] <= 0) {
          ASSERT_EQ(order[i][k] == 0 && order[k][m] == 0 ? 0 : -1, order[i][m])
              << ToHex(words[i]) << ", " << ToHex(words[k]) << ", " << ToHex(words[m]);
        }
      }
    }
  }
}

TEST(CollateNoCase, ReadsNoByteBehindTheTerminator) {
  for (std::string const& cut : {Hex("c3"), Hex("e2"), Hex("e282"), Hex("f0"), Hex("f09090")}) {
    std::vector<char> exact(cut.begin(), cut.end());
    exact.push_back(0);
    EXPECT_EQ(0, Collate(cut, exact.data()));
    EXPECT_NE(0, Collate(Hex("c3a4"), exact.data()));
    std::string const buffer = cut + '\0' + Hex("84909080");  // What would complete it.
    EXPECT_EQ(0, Collate(cut, buffer));
    EXPECT_EQ(0, CTOOString(cut.c_str()).CollateNoCase(buffer.data()));
  }
}

// Of these the machine has some.
std::vector<char const*> const kLocales = {
    "C",           "POSIX",       "C.UTF-8",     "en_US.UTF-8",      "tr_TR.UTF-8",
    "lt_LT.UTF-8", "az_AZ.UTF-8", "ja_JP.eucJP", "de_DE.ISO-8859-1", "ru_RU.KOI8-R"};

TEST(CollateNoCase, DoesNotDependOnTheLocaleOfTheProcess) {
  for (char const* const name : kLocales) {
    EXPECT_TRUE(InProcess([&] {
      if (std::setlocale(LC_ALL, name) != nullptr) {
        ExpectAllPairs();
      }
      return true;
    })) << name;
  }
}

TEST(CollateNoCase, DoesNotDependOnTheEnvironment) {
  for (char const* const name : kLocales) {
    EXPECT_TRUE(InProcess([&] {
      ::setenv("LC_ALL", name, 1);
      ::setenv("LANG", name, 1);
      ExpectAllPairs();
      std::setlocale(LC_ALL, "");
      ExpectAllPairs();
      return true;
    })) << name;
  }
}

TEST(CollateNoCase, NeitherDependsOnTheLocaleOfTheThreadNorChangesIt) {
  for (char const* const name : kLocales) {
    locale_t const own = ::newlocale(LC_ALL_MASK, name, nullptr);
    if (own == nullptr) {
      continue;
    }
    locale_t const before = ::uselocale(own);
    ExpectAllPairs();
    EXPECT_EQ(own, ::uselocale(before)) << name;
    ::freelocale(own);
  }
}

TEST(CollateNoCase, LeavesTheLocaleOfTheProcess) {
  std::string const before = std::setlocale(LC_ALL, nullptr);
  ExpectAllPairs();
  EXPECT_EQ(before, std::setlocale(LC_ALL, nullptr));
  EXPECT_EQ(LC_GLOBAL_LOCALE, ::uselocale(nullptr));
}

}  // namespace
