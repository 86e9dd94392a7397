// A program that is built over both bases: "write FOLDER NAME" makes a catalogue and a record file,
// "read FOLDER NAME" prints what they hold. FOLDER has the containers one to four.

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "catalogue/ContainerInfoEdit.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"

namespace {

IdentObj Blob(std::string const& bytes) {
  return IdentObj(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string Hex(IdentObj const& blob) {
  std::string text;
  for (unsigned int i = 0; i < blob.Length; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", blob.Data[i]);
    text += digits;
  }
  return text;
}

ContainerInfo FullRecord(std::string const& path) {
  ContainerInfo record;
  record.Path = path.c_str();
  record.Param = 0x12345678;
  record.Ident1 = Blob(std::string("\0\1\2", 3));
  record.Ident2 = Blob(std::string(300, 'x'));
  for (unsigned int number = 0; number < 3; ++number) {
    SubContInfo sub;
    sub.Ident = Blob(std::string(number, 's'));
    sub.Param1 = number;
    record.SubConts.push_back(sub);
  }
  return record;
}

void WriteCatalogue(std::string const& folder, std::string const& name) {
  ContainerInfoList list((name + ".catalogue").c_str());
  for (char const* const container : {"/one", "/two", "/three"}) {
    list.Add((folder + container).c_str());
  }
  list.Erase((folder + "/two").c_str());
  ContainerInfoEdit edit(list);
  edit.Add(FullRecord(folder + "/four"));
  edit.Commit();
}

void WriteRecords(std::string const& name) {
  CQuasiStructFile file((name + ".records").c_str(), true, false);
  file.Words.Reserved = 7;
  file.PutHeader(Blob("head"));
  for (unsigned int size : {30U, 0U, 100U, 6000U, 50U}) {
    file.Add(Blob(std::string(size, 'r')));
  }
  file.Put(1, Blob(std::string(70, 'p')));
  file.Put(2, Blob(std::string(10, 'q')));
  file.Del(3);
  file.PutHeader(Blob("a longer head"));
}

void PrintCatalogue(std::string const& name) {
  ContainerInfoList list((name + ".catalogue").c_str());
  for (ContainerInfo const& record : list.GetSyncList()->Records) {
    std::printf("%s %u %s %s\n", static_cast<char const*>(record.Path), record.Param,
                Hex(record.Ident1).c_str(), Hex(record.Ident2).c_str());
    for (SubContInfo const& sub : record.SubConts) {
      std::printf("  %s %u %u\n", Hex(sub.Ident).c_str(), sub.Param1, sub.Param2);
    }
  }
}

void PrintRecords(std::string const& name) {
  CQuasiStructFile file((name + ".records").c_str(), false, false);
  std::printf("status %d, words %u %u %u, header %s\n", file.Status(), file.Words.Reserved,
              file.Words.CleanedMark, file.Words.HeaderLength, Hex(file.GetHeader()).c_str());
  std::list<IdentObj> records;
  file.GetAll(records);
  for (IdentObj const& record : records) {
    std::printf("record %s\n", Hex(record).c_str());
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    return 2;
  }
  std::string const folder = arguments[2];
  std::string const name = folder + "/" + arguments[3];
  try {
    if (std::strcmp(arguments[1], "write") == 0) {
      WriteCatalogue(folder, name);
      WriteRecords(name);
    } else {
      PrintCatalogue(name);
      PrintRecords(name);
    }
  } catch (XTOOStatus const& status) {
    std::fprintf(stderr, "%d: %s\n", status.Status(), status.ErrorMessage());
    return 1;
  }
  return 0;
}
