// Bytes as people and programs are given them.

#include "tools/Printable.h"

#include <gtest/gtest.h>

namespace {

using inspect::FromHex;
using inspect::IsUtf8;
using inspect::Printable;
using inspect::Readable;

TEST(Printable, WhatATerminalMightActOnIsEscaped) {
  EXPECT_EQ(R"(/\x1b\x9b\"\\)", Printable("/\x1b\x9b\"\\"));
  EXPECT_EQ("/Ok\xCE\xB1", Printable("/Ok\xCE\xB1"));
  EXPECT_EQ(R"(\xe2\x80\xae)", Printable("\xE2\x80\xAE"));
}

TEST(Utf8, IsToldFromOtherBytes) {
  for (char const* const text : {"", "abc", "\xC2\x80", "\xE0\xA0\x80", "\xED\x9F\xBF",
                                 "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(IsUtf8(text)) << text;
  }
  for (char const* const text :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xC2", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE1\x80",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC2\xC2"}) {
    EXPECT_FALSE(IsUtf8(text)) << text;
  }
}

TEST(Utf8, ReadableFormIsUtf8) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      std::string const text{static_cast<char>(first), static_cast<char>(second), '\x80'};
      EXPECT_TRUE(IsUtf8(Readable(text)));
      EXPECT_EQ(IsUtf8(text), Readable(text) == text);
    }
  }
}

TEST(HexDigits, StandForTheirBytes) {
  std::string bytes;
  EXPECT_TRUE(FromHex("00fFA1", bytes));
  EXPECT_EQ(std::string("\0\xFF\xA1", 3), bytes);
  EXPECT_EQ("00ffa1", inspect::ToHex(bytes));
  EXPECT_FALSE(FromHex("0", bytes));
  EXPECT_FALSE(FromHex("0g", bytes));
  EXPECT_FALSE(FromHex("-1", bytes));
}

}  // namespace
