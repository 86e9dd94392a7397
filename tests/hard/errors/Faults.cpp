#include "tests/hard/errors/Faults.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <stdexcept>

#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/Sanitizers.h"

namespace {

constexpr unsigned long kPage = 4096;
constexpr unsigned long kSizeLimit = 2000;

using Step = std::function<void(Place&)>;
using Part = decltype(&Place::File);  // Its path.

void Require(bool done, std::string const& what) {
  if (!done) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
  }
}

void Nothing(Place& /*place*/) {}

std::string NameOf(std::string const& path) {
  return std::filesystem::path(path).filename().string();
}

// A disk of 16 pages. The file has one of them; the others are taken.
void MountSmallDisk(Place& place) {
  Require(::mount("tmpfs", place.Folder.c_str(), "tmpfs", 0, "size=64k") == 0, "mount");
}

std::string FillerIn(Place const& place) { return place.Folder + "/filler"; }

void FillDisk(Place& place) {
  int const file = ::open(FillerIn(place).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  Require(file >= 0, "open");
  std::string const block(kPage, 'x');
  while (::write(file, block.data(), block.size()) > 0) {
  }
  bool const isFull = errno == ENOSPC;
  ::close(file);
  Require(isFull, "a full disk");
}

void EmptyDisk(Place& place) { std::filesystem::remove(FillerIn(place)); }

void RemountAs(Place& place, unsigned long flags) {
  Require(::mount(nullptr, place.Folder.c_str(), nullptr, MS_REMOUNT | flags, nullptr) == 0,
          "remount");
}

// Limits. The hard one stays, so that the fault can end.
void SetLimit(__rlimit_resource resource, rlim_t soft) {
  struct rlimit limit {};
  Require(::getrlimit(resource, &limit) == 0, "getrlimit");
  limit.rlim_cur = soft;
  Require(::setrlimit(resource, &limit) == 0, "setrlimit");
}

void LimitFileSize(Place& /*place*/) {
  ::signal(SIGXFSZ, SIG_IGN);
  SetLimit(RLIMIT_FSIZE, kSizeLimit);
}

void LiftFileSize(Place& /*place*/) { SetLimit(RLIMIT_FSIZE, RLIM_INFINITY); }

// Leaves `count` descriptors that can be opened.
Step LimitDescriptors(unsigned int count) {
  return [count](Place& /*place*/) {
    unsigned int left = count;
    rlim_t number = 0;
    for (;; ++number) {
      bool const isFree = ::fcntl(static_cast<int>(number), F_GETFD) == -1;
      if (isFree && left-- == 0) {
        break;
      }
    }
    SetLimit(RLIMIT_NOFILE, number);
  };
}

void LiftDescriptors(Place& /*place*/) {
  struct rlimit limit {};
  Require(::getrlimit(RLIMIT_NOFILE, &limit) == 0, "getrlimit");
  SetLimit(RLIMIT_NOFILE, std::min<rlim_t>(limit.rlim_max, 1024));
}

Step ChangeMode(Part what, mode_t mode) {
  return [=](Place& place) { Require(::chmod((place.*what).c_str(), mode) == 0, "chmod"); };
}

// Things in the place of the file, or of its folder. What has a time of its own is newer than
// anything that was read before, by more than clocks differ.
Step Replace(Part what, Step const& put) {
  return [=](Place& place) {
    std::filesystem::rename(place.*what, place.Aside);
    put(place);
    if (what == &Place::File && IsThere(place.File) && !std::filesystem::is_symlink(place.File)) {
      ShiftWriteTime(place.File, 2);
    }
  };
}

// What was put there goes, unless a file was made of it.
Step PutBack(Part what) {
  return [=](Place& place) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(place.File, ignored)) {
      std::filesystem::rename(std::filesystem::canonical(place.File), place.File);
      std::filesystem::remove_all(place.Aside);
      return;
    }
    std::filesystem::remove_all(place.*what);
    std::filesystem::rename(place.Aside, place.*what);
  };
}

Fault InPlaceOf(Part what, std::string const& name, Step const& put) {
  return {name, Needs::Nothing, Nothing, Replace(what, put), PutBack(what), 0, false};
}

Step LinkTo(std::string const& target) {
  return [=](Place& place) { std::filesystem::create_symlink(target, place.File); };
}

// Root would change the times of the machine's own devices.
Fault LinkToDevice(std::string const& name) {
  Fault fault = InPlaceOf(&Place::File, "link to dev " + name, LinkTo("/dev/" + name));
  fault.needs = Needs::OrdinaryUser;
  return fault;
}

void BindSocket(Place& place) {
  int const socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un address {};
  address.sun_family = AF_UNIX;
  Require(place.File.size() < sizeof address.sun_path, "a short path");
  std::strcpy(address.sun_path, place.File.c_str());
  bool const isBound =
      ::bind(socket, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0;
  ::close(socket);
  Require(isBound, "bind");
}

std::vector<Fault> ThingsInThePlace() {
  auto const file = &Place::File;
  auto const folder = &Place::Folder;
  return {
      InPlaceOf(file, "file removed", Nothing),
      InPlaceOf(file, "folder in the file's place",
                [](Place& place) { std::filesystem::create_directory(place.File); }),
      InPlaceOf(file, "FIFO in the file's place",
                [](Place& place) { Require(::mkfifo(place.File.c_str(), 0666) == 0, "mkfifo"); }),
      InPlaceOf(file, "socket in the file's place", BindSocket),
      LinkToDevice("full"),
      LinkToDevice("null"),
      LinkToDevice("zero"),
      InPlaceOf(
          file, "link to itself",
          [](Place& place) { std::filesystem::create_symlink(NameOf(place.File), place.File); }),
      InPlaceOf(file, "link to nothing", LinkTo("target")),
      InPlaceOf(file, "link into no folder", LinkTo("no/such/folder/file")),
      InPlaceOf(folder, "folder removed", Nothing),
      InPlaceOf(folder, "file in the folder's place",
                [](Place& place) { WriteFile(place.Folder, "a file"); }),
      InPlaceOf(folder, "folder linked to itself",
                [](Place& place) {
                  std::filesystem::create_symlink(NameOf(place.Folder), place.Folder);
                }),
  };
}

std::vector<Fault> Rights() {
  auto const file = &Place::File;
  auto const folder = &Place::Folder;
  auto fault = [](std::string const& name, Part what, mode_t during, mode_t after) {
    return Fault{
        name, Needs::OrdinaryUser, Nothing, ChangeMode(what, during), ChangeMode(what, after), 0,
        false};
  };
  return {fault("file that may not be read", file, 0200, 0600),
          fault("file that may not be written", file, 0400, 0600),
          fault("file that may not be used", file, 0, 0600),
          fault("folder that may not be searched", folder, 0600, 0700),
          fault("folder that may not be written", folder, 0500, 0700),
          fault("folder that may not be used", folder, 0, 0700)};
}

std::vector<Fault> Names() {
  auto fault = [](std::string const& name, Step const& begin) {
    return Fault{name,
                 Needs::Nothing,
                 Nothing,
                 begin,
                 [](Place& place) {
                   place.Path = place.File;
                   place.Answer = place.Root();
                 },
                 0,
                 true};
  };
  return {fault("name of 300 bytes",
                [](Place& place) {
                  place.Path = place.Folder + "/" + std::string(300, 'x');
                  place.Answer = place.Root() + "/" + std::string(300, 'x');
                }),
          fault("path of more than 4096 bytes", [](Place& place) {
            // The answer itself must fit where it is written to.
            place.Path = place.Folder + std::string(kPage, '/') + NameOf(place.File);
            place.Answer = place.Root() + std::string(kPage - 1 - place.Root().size(), '/');
          })};
}

}  // namespace

Place::Place(std::string const& content) : m_content(content) {
  std::filesystem::create_directory(Folder);
}

Place::~Place() { static_cast<void>(::umount2(Folder.c_str(), MNT_DETACH)); }

void Place::Restore() const {
  std::filesystem::remove(File);
  WriteFile(File, m_content);
  AgeFile(File);
}

std::vector<Fault> const& Faults() {
  static std::vector<Fault> const faults = [] {
    std::vector<Fault> all{
        {"full disk", Needs::PrivateRoot, MountSmallDisk, FillDisk, EmptyDisk, kPage, false},
        {"read-only mount", Needs::PrivateRoot, MountSmallDisk,
         [](Place& place) { RemountAs(place, MS_RDONLY); },
         [](Place& place) { RemountAs(place, 0); }, 0, false},
        {"file size limit", Needs::Nothing, Nothing, LimitFileSize, LiftFileSize, kSizeLimit,
         false},
        {"no descriptor left", Needs::FreeDescriptors, Nothing, LimitDescriptors(0),
         LiftDescriptors, 0, false},
        {"one descriptor left", Needs::FreeDescriptors, Nothing, LimitDescriptors(1),
         LiftDescriptors, 0, false},
        {"two descriptors left", Needs::FreeDescriptors, Nothing, LimitDescriptors(2),
         LiftDescriptors, 0, false}};
    for (auto const& some : {Rights(), ThingsInThePlace(), Names()}) {
      all.insert(all.end(), some.begin(), some.end());
    }
    return all;
  }();
  return faults;
}

void PrintTo(Fault const& fault, std::ostream* out) { *out << fault.name; }

std::string TestNameOf(Fault const& fault) {
  std::string name;
  for (char const c : fault.name) {
    name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  }
  return name;
}

std::string ObstacleOf(Fault const& fault) {
  if (fault.needs == Needs::FreeDescriptors && QUENDRIL_ADDRESS_SANITIZER) {
    return "the sanitizer itself needs descriptors to look at an object";
  }
  return fault.needs == Needs::PrivateRoot ? PrivateRoot::Obstacle() : "";
}

bool RunUnder(Fault const& fault, std::function<void()> const& body) {
  switch (fault.needs) {
    case Needs::PrivateRoot:
      return PrivateRoot::Run(body);
    case Needs::OrdinaryUser:
      return AsOrdinaryUser(body);
    default:
      return InProcess([&] {
        body();
        return true;
      });
  }
}
