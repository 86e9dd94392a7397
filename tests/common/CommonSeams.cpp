#include "tests/common/CommonSeams.h"

#include <cstdarg>
#include <new>
#include <type_traits>
#include <utility>

#include "foundation/debug.h"
#include "foundation/IdentObj.h"
#include "foundation/IPC.h"
#include "tests/support/NextSymbol.h"

namespace {

thread_local CommonSeams* installed = nullptr;
// Set while a hook or a real service runs.
thread_local bool isWithin = false;

class Within {
 public:
  Within() : m_before(std::exchange(isWithin, true)) {}
  Within(Within const&) = delete;
  Within& operator=(Within const&) = delete;
  ~Within() { isWithin = m_before; }

 private:
  bool m_before;
};

bool IsWatched() { return installed != nullptr && !isWithin; }

std::string OrEmpty(char const* text) { return text == nullptr ? "" : text; }

bool IsNoted(Seams::Call const& call) {
  return !IsAboutText(call) && (call.name[0] != '~' || installed->NoteDestructors);
}

// Runs `service` between the hooks, or alone when nobody watches.
template <typename Service>
auto PassThrough(char const* name, std::string const& text, void const* object, Service service) {
  if (!IsWatched()) {
    return service();
  }
  Within const within;
  Seams::Call const call{name, text, const_cast<void*>(object)};
  if (IsNoted(call)) {
    installed->Calls.push_back(call);
  }
  if (installed->Before) {
    installed->Before(call);
  }
  if constexpr (std::is_void_v<decltype(service())>) {
    service();
    if (installed->After) {
      installed->After(call);
    }
  } else {
    auto const result = service();
    if (installed->After) {
      installed->After(call);
    }
    return result;
  }
}

// The locks that the library makes, with an eye on their ends.

class WatchedSemaphoreLock : public IPC::CReadWriteLock_smph {
 public:
  explicit WatchedSemaphoreLock(int key) : CReadWriteLock_smph(key) {}
  ~WatchedSemaphoreLock() override {
    PassThrough("~SemaphoreLock", "", static_cast<IPC::CReadWriteLock*>(this), [] {});
  }
};
static_assert(sizeof(WatchedSemaphoreLock) == sizeof(IPC::CReadWriteLock_smph));

class WatchedFileLock : public IPC::CReadWriteLock_file {
 public:
  explicit WatchedFileLock(char const* path) : CReadWriteLock_file(path) {}
  ~WatchedFileLock() override {
    PassThrough("~FileLock", "", static_cast<IPC::CReadWriteLock*>(this), [] {});
  }
};
static_assert(sizeof(WatchedFileLock) == sizeof(IPC::CReadWriteLock_file));

}  // namespace

bool IsAboutText(Seams::Call const& call) { return call.name == "Text" || call.name == "TextFrom"; }

CommonSeams::CommonSeams() { installed = this; }

CommonSeams::~CommonSeams() { installed = nullptr; }

// The base services themselves.

bool CTOOFile::CopyFile(char const* from, char const* to, bool overwrite, XTOOFile const& status,
                        bool reserved) {
  static auto* const real = NextSymbol<bool(char const*, char const*, bool, XTOOFile const&, bool)>(
      "_ZN8CTOOFile8CopyFileEPKcS1_bRK8XTOOFileb");
  bool const isReplaced = IsWatched() && installed->CopyFile;
  return PassThrough("CopyFile", OrEmpty(from) + " " + OrEmpty(to), nullptr, [&] {
    return isReplaced ? installed->CopyFile(from, to, overwrite, status, reserved)
                      : real(from, to, overwrite, status, reserved);
  });
}

bool CTOOFolder::Create(char const* name, XTOOFile const& status) {
  static auto* const real =
      NextSymbol<bool(char const*, XTOOFile const&)>("_ZN10CTOOFolder6CreateEPKcRK8XTOOFile");
  bool const isReplaced = IsWatched() && installed->CreateFolder;
  return PassThrough("CreateFolder", OrEmpty(name), nullptr, [&] {
    return isReplaced ? installed->CreateFolder(name, status) : real(name, status);
  });
}

CTOODateTime CTOOFile::LastWriteTime(char const* name, XTOOFile const& status) {
  static auto* const real = NextSymbol<CTOODateTime(char const*, XTOOFile const&)>(
      "_ZN8CTOOFile13LastWriteTimeEPKcRK8XTOOFile");
  return PassThrough("LastWriteTime", OrEmpty(name), nullptr, [&] { return real(name, status); });
}

unsigned int CTOOFile::Write(void const* buffer, unsigned int count) {
  static auto* const real =
      NextSymbol<unsigned int(CTOOFile*, void const*, unsigned int)>("_ZN8CTOOFile5WriteEPKvj");
  return PassThrough("Write", "", this, [&] { return real(this, buffer, count); });
}

void CTOOFile::Close() const {
  static auto* const real = NextSymbol<void(CTOOFile const*)>("_ZNK8CTOOFile5CloseEv");
  PassThrough("Close", "", this, [&] { real(this); });
}

unsigned int IdentObj::WriteData(CTOOFile& file, unsigned int position) const {
  static auto* const real = NextSymbol<unsigned int(IdentObj const*, CTOOFile&, unsigned int)>(
      "_ZNK8IdentObj9WriteDataER8CTOOFilej");
  return PassThrough("WriteBlob", "", &file, [&] { return real(this, file, position); });
}

unsigned int IdentObj::ReadData(CTOOFile const& file, unsigned int position) {
  static auto* const real = NextSymbol<unsigned int(IdentObj*, CTOOFile const&, unsigned int)>(
      "_ZN8IdentObj8ReadDataERK8CTOOFilej");
  return PassThrough("ReadBlob", "", &file, [&] { return real(this, file, position); });
}

CTOOString::operator char const*() const {
  static auto* const real = NextSymbol<char const*(CTOOString const*)>("_ZNK10CTOOStringcvPKcEv");
  return PassThrough("Text", "", this, [&] { return real(this); });
}

int dbg_can_log(int level) {
  static auto* const real = NextSymbol<int(int)>("_Z11dbg_can_logi");
  bool const isReplaced = IsWatched() && installed->CanLog;
  return PassThrough("dbg_can_log", std::to_string(level), nullptr,
                     [&] { return isReplaced ? installed->CanLog(level) : real(level); });
}

// Writes nothing: the arguments cannot be handed on.
void _debug(char const* function, int level, char const* /*format*/, ...) {
  PassThrough("_debug", OrEmpty(function) + " " + std::to_string(level), nullptr, [] {});
}

// Constructors by their mangled names, as in Seams.
extern "C" {

void _ZN3IPC19CReadWriteLock_smphC1Ei(void* object, int key) {
  PassThrough("SemaphoreLock", std::to_string(key), object,
              [&] { new (object) WatchedSemaphoreLock(key); });
}

void _ZN3IPC19CReadWriteLock_fileC1EPKc(void* object, char const* path) {
  PassThrough("FileLock", OrEmpty(path), object, [&] { new (object) WatchedFileLock(path); });
}

void _ZN10CTOOStringC1EPKc(void* object, char const* text) {
  static auto* const real = NextSymbol<void(void*, char const*)>("_ZN10CTOOStringC1EPKc");
  PassThrough("TextFrom", OrEmpty(text), object, [&] { real(object, text); });
}

void _ZN12CTOODateTimeC1Eb(void* object, bool now) {
  static auto* const real = NextSymbol<void(void*, bool)>("_ZN12CTOODateTimeC1Eb");
  if (now) {
    PassThrough("Now", "", object, [&] { real(object, now); });
  } else {
    real(object, now);
  }
}

}  // extern "C"
