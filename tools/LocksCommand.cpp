// quendril-inspect locks

#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/InputFile.h"
#include "tools/JsonWriter.h"
#include "tools/KernelLocks.h"
#include "tools/Printable.h"

namespace inspect {

namespace {

char const* ModeOf(KernelLock const& lock) {
  if (lock.isWaiting) {
    return "waits";  // Not told by the kernel for what.
  }
  return lock.isExclusive ? "exclusive" : "shared";
}

void ShowAsText(std::string const& path, KernelLocks const& found) {
  TextOut out(stdout);
  if (found.locks.empty() && found.unseen == 0) {
    out.Write(fmt::format("{}: nobody holds its lock\n", Printable(path)));
    return;
  }
  out.Write(fmt::format("{:>8}  {:<9}  {:<6}  {:<6}  {:>4}  {}\n", "process", "lock", "on", "kind",
                        "fd", "command"));
  for (KernelLock const& lock : found.locks) {
    out.Write(fmt::format("{:>8}  {:<9}  {:<6}  {:<6}  {:>4}  {}\n", lock.process, ModeOf(lock),
                          lock.isFolder ? "folder" : "file", lock.kind, lock.descriptor,
                          Printable(lock.command)));
  }
  if (found.unseen != 0) {
    out.Write(fmt::format("{} held by processes that this user may not look into; root may\n",
                          inspect::Count(found.unseen, "lock is", "locks are")));
  }
}

void ShowAsJson(std::string const& path, KernelLocks const& found) {
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", path);
  json.BeginArray("locks");
  for (KernelLock const& lock : found.locks) {
    json.BeginObject("", JsonWriter::Shape::Line);
    json.Number("process", static_cast<std::uint64_t>(lock.process));
    json.Text("lock", ModeOf(lock));
    json.Text("on", lock.isFolder ? "folder" : "file");
    json.Text("kind", lock.kind);
    json.Number("descriptor", static_cast<std::uint64_t>(lock.descriptor));
    json.Name("command", lock.command);
    json.End();
  }
  json.End();
  json.Number("unseen", found.unseen);
  json.End();
}

}  // namespace

ExitStatus ShowLocks(Options const& options) {
  std::string const path = PathOf(options);
  KernelLocks const found = FindLocks(path);
  if (options.isJson) {
    ShowAsJson(path, found);
  } else {
    ShowAsText(path, found);
  }
  return ExitStatus::Success;
}

}  // namespace inspect
