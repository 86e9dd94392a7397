#include "examples/Demonstration.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "catalogue/ContainerInfoEdit.h"
#include "common/CommonContInfoList.h"
#include "examples/AnnotatedDump.h"
#include "examples/HostFolder.h"
#include "examples/Listing.h"
#include "foundation/storedev.h"

namespace {

namespace fs = std::filesystem;

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (fs::temp_directory_path() / "quendril-demo-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a folder in " + fs::temp_directory_path().string());
    }
    m_path = fs::canonical(name).string();
  }
  ScratchFolder(ScratchFolder const&) = delete;
  ScratchFolder& operator=(ScratchFolder const&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  std::string const& Path() const { return m_path; }

 private:
  std::string m_path;
};

void Step(int number, char const* text) { std::printf("\n%d. %s\n", number, text); }

void Require(bool asExpected, char const* what) {
  if (!asExpected) {
    throw std::runtime_error(std::string("not as expected: ") + what);
  }
}

// A container as a provider keeps it: a folder with files.
std::string MakeContainer(std::string const& folder, std::string const& name) {
  std::string path = folder + "/" + name;
  fs::create_directories(path);
  std::ofstream(path + "/key.bin") << "the key would stand here";
  std::ofstream(path + "/certificate.bin") << "the certificate would stand here";
  return path;
}

// What a provider keeps of a container.
ContainerInfo MakeRecord(std::string const& path, unsigned int param) {
  ContainerInfo record;
  record.Path = path.c_str();
  record.Param = param;
  record.Ident1 = IdentObj("issuer and number", 17);
  record.Ident2 = IdentObj("key id", 6);
  SubContInfo key;
  key.Ident = IdentObj("signature", 9);
  key.Param1 = 2;
  key.Param2 = 512;
  record.SubConts.push_back(key);
  return record;
}

void PrintAll(CommonContInfoList& catalogue) {
  for (char const* path = catalogue.GetFirst(); path != nullptr; path = catalogue.GetNext()) {
    PrintContainer(catalogue.GetRecord(path, true));
  }
}

std::string UpperCase(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return text;
}

// A record keeps the path that it was added with; only one in this form is found again.
CTOOString Normalised(std::string const& path) {
  CTOOString folder;
  CTOOString name;
  storedev::ParseFullPath(path.c_str(), nullptr, &folder, &name, nullptr);
  CTOOString normalised;
  storedev::MakeFullPath(normalised, folder, name, "");
  return normalised;
}

// Runs this program again, as another host process would run.
void AddFromAnotherProcess(std::string const& folder, std::string const& path) {
  std::string program = fs::read_symlink("/proc/self/exe").string();
  std::string option = "--add";
  std::string folderArgument = folder;
  std::string pathArgument = path;
  char* const arguments[] = {program.data(), option.data(), folderArgument.data(),
                             pathArgument.data(), nullptr};
  std::fflush(stdout);
  pid_t process = 0;
  int status = 0;
  Require(::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ) == 0 &&
              ::waitpid(process, &status, 0) == process && status == 0,
          "the second process");
}

void ShowEdits(CommonContInfoList& catalogue, std::string const& containers) {
  Step(2, "Containers, folders with files, are added with blobs and sub-records, in one edit");
  ContainerInfoEdit edit(catalogue);
  for (char const* const name : {"Alice", "Bob", "Carol"}) {
    std::string const path = MakeContainer(containers, name);
    Require(edit.Add(MakeRecord(path, static_cast<unsigned int>(name[0]))), "a new container");
  }
  edit.Commit();
  PrintAll(catalogue);

  Step(3, "One is found under its name in other letter case");
  std::string const asked = UpperCase(containers + "/Bob");
  ContainerInfo* const found = catalogue.FindRecord(asked.c_str(), true);
  Require(found != nullptr, "the container in other letter case");
  std::printf("  asked for  %s\n  found      %s\n", asked.c_str(),
              static_cast<char const*>(found->Path));

  Step(4, "One is erased");
  catalogue.Erase((containers + "/Bob").c_str());
  Require(catalogue.FindRecord(asked.c_str(), true) == nullptr, "the container that was erased");
  PrintAll(catalogue);
}

void ShowOtherProcess(CommonContInfoList& catalogue, std::string const& folder,
                      std::string const& containers) {
  catalogue.Load();
  Require(!catalogue.bIsChange(), "a catalogue that was just loaded");

  Step(5, "Another process adds a container; this one sees the change and loads");
  std::string const path = MakeContainer(containers, "Dave");
  AddFromAnotherProcess(folder, path);
  Require(catalogue.FindRecord(path.c_str(), true) == nullptr, "the list before it is loaded");
  Require(catalogue.bIsChange(), "the change by the other process");
  std::printf("  process %d: bIsChange() is true\n", ::getpid());
  catalogue.Load();
  Require(catalogue.FindRecord(path.c_str(), true) != nullptr, "the other process's container");
  PrintAll(catalogue);
}

}  // namespace

int Demonstrate() {
  ScratchFolder const scratch;
  std::string const& folder = scratch.Path();
  std::string const file = folder + "/quendril/cont_info.dat";
  SetHostFolder(folder);
  std::printf("The machine-wide catalogue of key containers, in the scratch folder %s\n",
              folder.c_str());

  Step(1, "The catalogue is made on first use");
  CommonContInfoList catalogue;
  std::printf("  %s: %ju bytes\n", file.c_str(), fs::file_size(file));
  ShowEdits(catalogue, folder + "/containers");
  ShowOtherProcess(catalogue, folder, folder + "/containers");

  Step(6, "The record file, byte by byte");
  Require(DumpFile(file) == 0, "the record file");
  std::printf("\nAll as expected.\n");
  return 0;
}

int AddContainer(std::string const& folder, std::string const& path) {
  SetHostFolder(folder);
  CommonContInfoList catalogue;
  CTOOString const normalised = Normalised(path);
  catalogue.Add(normalised);
  catalogue.Load();  // Add reports nothing; the file tells.
  if (catalogue.FindRecord(normalised, true) == nullptr) {
    std::fprintf(stderr,
                 "%s: not added: there is no such container, its name is one of those that are "
                 "left out, or the catalogue file cannot be written\n",
                 path.c_str());
    return 1;
  }
  std::printf("  process %d: added %s\n", ::getpid(), static_cast<char const*>(normalised));
  return 0;
}
