// A file as JSON, and back.

#include "tools/CatalogueJson.h"

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"
#include "tools/Failure.h"

namespace {

std::string ToJson(std::string const& file) {
  TempFolder const folder;
  std::FILE* const out = std::fopen((folder / "json").c_str(), "wb");
  inspect::WriteCatalogueJson(inspect::ParseFile(file), out);
  static_cast<void>(std::fclose(out));
  return ReadFile(folder / "json");
}

std::string FromJson(std::string const& json) { return inspect::ReadCatalogueJson(json, "source"); }

std::string FailureOf(std::string const& json) {
  try {
    FromJson(json);
  } catch (inspect::Failure const& failure) {
    return failure.what();
  }
  return "";
}

std::string Document(std::string const& members) {
  return R"({"format": "quendril-catalogue", "version": 1, )" + members + "}";
}

constexpr char kHead[] = R"("reserved": 0, "mark": 1, "header": "", )";

TEST(CatalogueJson, WholeFilesComeBackToTheByte) {
  for (std::string const& file : WholeFiles()) {
    EXPECT_EQ(ToHex(file), ToHex(FromJson(ToJson(file))));
  }
}

TEST(CatalogueJson, CutFilesComeBackToTheByte) {
  for (std::string const& file : WholeFiles()) {
    for (std::size_t size = 0; size < file.size(); ++size) {
      std::string const cut = file.substr(0, size);
      EXPECT_EQ(ToHex(cut), ToHex(FromJson(ToJson(cut))));
    }
  }
}

TEST(CatalogueJson, FilesWithAWrongBitComeBackToTheByte) {
  std::string const file = SampleCatalogue();
  for (std::size_t bit = 0; bit < 8 * file.size(); bit += 3) {
    std::string wrong = file;
    wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ (1 << bit % 8));
    EXPECT_EQ(ToHex(wrong), ToHex(FromJson(ToJson(wrong)))) << bit;
  }
}

TEST(CatalogueJson, PathsOfAnyBytesComeBackToTheByte) {
  for (int byte = 0; byte < 256; ++byte) {
    std::string const path = "/a" + std::string(1, static_cast<char>(byte)) + "b";
    std::string const file = RecordFile({ContainerBytes(path)});
    EXPECT_EQ(file, FromJson(ToJson(file))) << byte;
  }
}

TEST(CatalogueJson, TailsAndEmptySubRecordsComeBackToTheByte) {
  std::string blob = ContainerBytes("/a", "", "", 0, {{"x", 1, 2}});
  blob.replace(blob.size() - 21, 4, Word(2));
  std::string const file = RecordFile({blob + Word(0) + "tail"});
  EXPECT_NE(std::string::npos, ToJson(file).find("{}"));
  EXPECT_NE(std::string::npos, ToJson(file).find("\"tail\": \"7461696c\""));
  EXPECT_EQ(ToHex(file), ToHex(FromJson(ToJson(file))));
}

TEST(CatalogueJson, NameThatIsNotUtf8IsReadableAndExact) {
  std::string const json = ToJson(RecordFile({ContainerBytes("/\xFF")}));
  EXPECT_NE(std::string::npos, json.find("\"path\": \"/\xEF\xBF\xBD\""));
  EXPECT_NE(std::string::npos, json.find("\"pathHex\": \"2fff\""));
}

TEST(CatalogueJson, OrderOfMembersDoesNotMatter) {
  std::string const json = Document(
      R"("records": [{"subRecords": [], "param": 1, "ident2": "", "ident1": "", "path": "/a"}],
         "header": "6869", "mark": 2, "reserved": 3)");
  EXPECT_EQ(RecordFile(3, 2, "hi", {ContainerBytes("/a", "", "", 1)}), FromJson(json));
}

TEST(CatalogueJson, WhatIsNotUnderstoodIsToldWithItsPlace) {
  EXPECT_NE(std::string::npos, FailureOf("{").find("source: is not JSON"));
  EXPECT_EQ("source: is not an object", FailureOf("[]"));
  EXPECT_EQ("source: has no member format", FailureOf("{}"));
  EXPECT_EQ("source: has no member records", FailureOf(Document("\"mark\": 1")));
  EXPECT_EQ("source: is not of the format quendril-catalogue, version 1",
            FailureOf(R"({"format": "other", "version": 1, "records": []})"));
  EXPECT_EQ("source: has an unknown member colour",
            FailureOf(Document(R"("records": [], "colour": 1)")));
  EXPECT_EQ("source: records: must be an array of objects",
            FailureOf(Document(std::string(kHead) + R"("records": [7])")));
  EXPECT_EQ("source: has records, but no reserved, mark and header",
            FailureOf(Document(R"("records": [{"raw": ""}])")));
  EXPECT_EQ("source: header: must be hexadecimal digits, two for each byte",
            FailureOf(Document(R"("records": [], "reserved": 0, "mark": 0, "header": "abc")")));
}

TEST(CatalogueJson, WrongRecordsAreToldByTheirNumbers) {
  auto const failureOf = [](std::string const& record) {
    return FailureOf(Document(std::string(kHead) + R"("records": [{"raw": ""}, )" + record + "]"));
  };
  EXPECT_EQ("source: record 1: has no member ident1", failureOf(R"({"path": "/a"})"));
  EXPECT_EQ("source: record 1: has an unknown member name", failureOf(R"({"name": "/a"})"));
  EXPECT_EQ("source: record 1: has an unknown member path",
            failureOf(R"({"raw": "", "path": ""})"));
  std::string const start = R"({"path": "/a", "ident1": "", "ident2": "", )";
  for (char const* const number : {"-1", "1.5", "4294967296", "\"1\"", "null", "1e3"}) {
    EXPECT_EQ("source: record 1: param: must be a whole number from 0 to 4294967295",
              failureOf(start + "\"param\": " + number + ", \"subRecords\": []}"));
  }
  EXPECT_EQ("source: record 1: sub-record 0: has no member ident",
            failureOf(start + R"("param": 1, "subRecords": [{"param1": 1}]})"));
  EXPECT_EQ("source: record 1: sub-record 0: is not an object",
            failureOf(start + R"("param": 1, "subRecords": [1]})"));
}

TEST(CatalogueJson, TwoMembersOfOneNameAreRefused) {
  std::string const head = R"({"format": "quendril-catalogue", "version": 1, )";
  for (std::string const& text :
       {head + R"("records": [], "records": []})", head + R"("mark": 1, "mark": 0, "records": []})",
        head + R"("records": [{"path": "/a", "path": "/b"}]})"}) {
    try {
      inspect::ReadCatalogueJson(text, "source", nullptr);
      ADD_FAILURE() << text;
    } catch (inspect::Failure const& failure) {
      EXPECT_NE(std::string::npos, std::string(failure.what()).find("has two members ")) << text;
    }
  }
}

}  // namespace
