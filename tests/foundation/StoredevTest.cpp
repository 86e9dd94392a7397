// storedev::ParseFullPath and storedev::MakeFullPath.

#include "foundation/storedev.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace {

struct Parts {
  bool flag;
  std::string folder;
  std::string name;
  std::string last;
};

Parts Split(char const* path) {
  bool flag = false;
  CTOOString folder("old folder");
  CTOOString name("old name");
  CTOOString last("old last");
  storedev::ParseFullPath(path, &flag, &folder, &name, &last);
  return Parts{flag, static_cast<char const*>(folder), static_cast<char const*>(name),
               static_cast<char const*>(last)};
}

std::string Join(std::string const& folder, std::string const& name, std::string const& last) {
  CTOOString path("old path");
  storedev::MakeFullPath(path, folder.c_str(), name.c_str(), last.c_str());
  return static_cast<char const*>(path);
}

std::string JoinedAgain(std::string const& path) {
  Parts const parts = Split(path.c_str());
  return Join(parts.folder, parts.name, parts.last);
}

void ExpectSplit(std::string const& path, std::string const& folder, std::string const& name) {
  Parts const parts = Split(path.c_str());
  EXPECT_EQ(folder, parts.folder) << path;
  EXPECT_EQ(name, parts.name) << path;
  EXPECT_EQ("", parts.last) << path;
  EXPECT_EQ(path.empty(), parts.flag) << path;
}

TEST(ParseFullPath, GivesTheLastComponentAsTheName) {
  ExpectSplit("/var/lib/keys/first.000", "/var/lib/keys", "first.000");
  ExpectSplit("/first", "/", "first");
  ExpectSplit("keys/first", "keys", "first");
  ExpectSplit("first", "", "first");
}

TEST(ParseFullPath, DropsRepeatedSlashesAndATrailingOne) {
  ExpectSplit("//var///lib//first", "/var/lib", "first");
  ExpectSplit("/var/lib/first/", "/var/lib", "first");
  ExpectSplit("/var/lib/first///", "/var/lib", "first");
  ExpectSplit("keys//first//", "keys", "first");
  ExpectSplit("//", "/", "");
}

TEST(ParseFullPath, DropsSingleDotComponents) {
  ExpectSplit("./keys/first", "keys", "first");
  ExpectSplit("/var/./lib/./first/.", "/var/lib", "first");
  ExpectSplit("/.", "/", "");
  ExpectSplit("/./first", "/", "first");
  ExpectSplit(".first", "", ".first");
  ExpectSplit("first./.second.", "first.", ".second.");
}

TEST(ParseFullPath, KeepsDoubleDotComponents) {
  ExpectSplit("/var/../lib/first", "/var/../lib", "first");
  ExpectSplit("../first", "..", "first");
  ExpectSplit("/var/..", "/var", "..");
  ExpectSplit("..", "", "..");
}

TEST(ParseFullPath, FlagIsTrueForTheEmptyPathAlone) {
  ExpectSplit("", "", "");
  EXPECT_FALSE(Split("/").flag);
  EXPECT_FALSE(Split(".").flag);
  EXPECT_FALSE(Split(" ").flag);
  EXPECT_FALSE(Split("/var/lib/first").flag);
}

TEST(ParseFullPath, NullPathIsTheEmptyPath) {
  Parts const parts = Split(nullptr);
  EXPECT_TRUE(parts.flag);
  EXPECT_EQ("", parts.folder);
  EXPECT_EQ("", parts.name);
  EXPECT_EQ("", parts.last);
}

// Each of the 16 choices of outputs.
TEST(ParseFullPath, SkipsEachNullOutput) {
  for (int wanted = 0; wanted < 16; ++wanted) {
    bool flag = true;
    CTOOString folder("old");
    CTOOString name("old");
    CTOOString last("old");
    storedev::ParseFullPath("/var/lib/first", (wanted & 1) != 0 ? &flag : nullptr,
                            (wanted & 2) != 0 ? &folder : nullptr,
                            (wanted & 4) != 0 ? &name : nullptr,
                            (wanted & 8) != 0 ? &last : nullptr);
    EXPECT_EQ((wanted & 1) == 0, flag) << wanted;
    EXPECT_STREQ((wanted & 2) != 0 ? "/var/lib" : "old", folder) << wanted;
    EXPECT_STREQ((wanted & 4) != 0 ? "first" : "old", name) << wanted;
    EXPECT_STREQ((wanted & 8) != 0 ? "" : "old", last) << wanted;
  }
}

TEST(ParseFullPath, OutputMayBeTheInput) {
  CTOOString path("/var/lib/first");
  CTOOString name;
  storedev::ParseFullPath(path, nullptr, &path, &name, nullptr);
  EXPECT_STREQ("/var/lib", path);
  EXPECT_STREQ("first", name);
  storedev::ParseFullPath(path, nullptr, nullptr, &path, &name);
  EXPECT_STREQ("lib", path);
}

TEST(ParseFullPath, LooksAtNothingOnDisk) {
  TempFolder const folder;
  ExpectSplit(folder.Path() + "/missing/../first", folder.Path() + "/missing/..", "first");
  ExpectSplit(folder.Path() + "/", folder.Path().substr(0, folder.Path().rfind('/')),
              folder.Path().substr(folder.Path().rfind('/') + 1));
}

TEST(ParseFullPath, KeepsEveryOtherByte) {
  for (int byte = 1; byte < 256; ++byte) {
    std::string const name = std::string("x") + static_cast<char>(byte) + "y";
    if (byte != '/') {
      ExpectSplit("/folder/" + name, "/folder", name);
    }
  }
  std::string const deep(3000, 'd');
  ExpectSplit("/" + deep + "/" + deep, "/" + deep, deep);
}

TEST(MakeFullPath, JoinsPartsWithOneSlashEach) {
  EXPECT_EQ("/var/lib/first", Join("/var/lib", "first", ""));
  EXPECT_EQ("/var/lib/first/key", Join("/var/lib", "first", "key"));
  EXPECT_EQ("/var/lib/first", Join("/var/lib/", "first", ""));
  EXPECT_EQ("/var/lib/first", Join("/var/lib", "/first", ""));
  EXPECT_EQ("/var/lib/first/key", Join("/var/lib//", "//first/", "/key"));
  EXPECT_EQ("/first", Join("/", "first", ""));
}

TEST(MakeFullPath, LeavesOutEmptyParts) {
  EXPECT_EQ("", Join("", "", ""));
  EXPECT_EQ("folder", Join("folder", "", ""));
  EXPECT_EQ("name", Join("", "name", ""));
  EXPECT_EQ("last", Join("", "", "last"));
  EXPECT_EQ("folder/last", Join("folder", "", "last"));
  EXPECT_EQ("name/last", Join("", "name", "last"));
  EXPECT_EQ("/", Join("/", "", ""));
}

TEST(MakeFullPath, OutputMayBeAPart) {
  CTOOString text("folder");
  CTOOString const other("other");
  storedev::MakeFullPath(text, text, other, "");
  EXPECT_STREQ("folder/other", text);
  storedev::MakeFullPath(text, other, text, "");
  EXPECT_STREQ("other/folder/other", text);
  storedev::MakeFullPath(text, "", other, text);
  EXPECT_STREQ("other/other/folder/other", text);
}

TEST(MakeFullPath, GivesASplitPathBack) {
  for (char const* const path :
       {"/var/lib/keys/first.000", "/first", "/", "keys/first", "first", "..", "../first", ".",
        "/var/../lib", "/..", "", "/a b/c\xC3\xA4", "..."}) {
    EXPECT_EQ(path, JoinedAgain(path));
  }
}

// The components by another way, and the path that they make.
std::string Plain(std::string const& path, std::vector<std::string>& components) {
  std::string component;
  for (char const c : path + "/") {
    if (c != '/') {
      component += c;
      continue;
    }
    if (!component.empty() && component != ".") {
      components.push_back(component);
    }
    component.clear();
  }
  bool const isAbsolute = !path.empty() && path[0] == '/';
  std::string plain = isAbsolute ? "/" : "";
  for (std::string const& each : components) {
    plain += (plain.empty() || plain == "/" ? "" : "/") + each;
  }
  return plain.empty() && !path.empty() ? "." : plain;
}

TEST(MakeFullPath, GivesTheShortestSpellingOfAnyPathBack) {
  std::mt19937 random(20260101);
  for (int round = 0; round < 20000; ++round) {
    std::string path;
    for (unsigned int length = static_cast<unsigned int>(random() % 12); length != 0; --length) {
      path += "//..ab"[random() % 6];
    }
    std::vector<std::string> components;
    std::string const plain = Plain(path, components);
    ASSERT_EQ(plain, JoinedAgain(path)) << path;
    ASSERT_EQ(plain, JoinedAgain(plain)) << path;
    if (!components.empty()) {
      ASSERT_EQ(components.back(), Split(path.c_str()).name) << path;
    }
  }
}

}  // namespace
