#include "tests/support/PrivateRoot.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "tests/support/Peer.h"

namespace {

void Require(bool done, std::string const& what) {
  if (!done) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
  }
}

void WriteText(std::string const& path, std::string const& text) {
  std::ofstream file(path);
  file << text << std::flush;
  Require(file.good(), path);
}

void EnterNamespaces() {
  std::string const user = std::to_string(::geteuid());
  std::string const group = std::to_string(::getegid());
  if (::geteuid() == 0 && ::unshare(CLONE_NEWNS | CLONE_NEWIPC) == 0) {
    return;
  }
  Require(::unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWIPC) == 0, "unshare");
  WriteText("/proc/self/setgroups", "deny");
  WriteText("/proc/self/uid_map", "0 " + user + " 1");
  WriteText("/proc/self/gid_map", "0 " + group + " 1");
}

void MountEmptyFolders() {
  Require(::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
  for (char const* const folder : {"/usr/lib", "/var/lib"}) {
    Require(::mount("tmpfs", folder, "tmpfs", 0, "mode=755") == 0, folder);
  }
}

}  // namespace

std::string const& PrivateRoot::Obstacle() {
  static std::string const obstacle =
      Run([] {}) ? "" : "neither root's rights nor user namespaces for private mounts here";
  return obstacle;
}

bool PrivateRoot::Run(std::function<void()> const& body) {
  return InProcess([&] {
    EnterNamespaces();
    MountEmptyFolders();
    body();
    return true;
  });
}
