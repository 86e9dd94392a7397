#include "tests/catalogue/seams/Seams.h"

#include <map>
#include <type_traits>
#include <utility>

#include "foundation/IdentObj.h"
#include "foundation/IPC.h"
#include "foundation/storedev.h"
#include "tests/support/NextSymbol.h"

namespace {

thread_local Seams* installed = nullptr;
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

// What holds which lock; holders end on the thread that made them.
std::map<void*, void*>& LocksOfHolders() {
  thread_local std::map<void*, void*> locks;
  return locks;
}

std::string OrEmpty(char const* text) { return text == nullptr ? "" : text; }

// Runs `service` between the hooks.
template <typename Service>
auto PassThrough(char const* name, std::string const& text, void* object, Service service) {
  Within const within;
  Seams::Call const call{name, text, object};
  if (name[0] != '~' || installed->NoteDestructors) {
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

bool IsWatched() { return installed != nullptr && !isWithin; }

void Construct(void (*real)(void*, IPC::CReadWriteLock&), char const* name, void* holder,
               IPC::CReadWriteLock& lock) {
  if (!IsWatched()) {
    real(holder, lock);
    return;
  }
  PassThrough(name, "", &lock, [&] {
    real(holder, lock);
    LocksOfHolders()[holder] = &lock;
  });
}

void Destroy(void (*real)(void*), char const* name, std::string const& text, void* object) {
  PassThrough(name, text, object, [&] { real(object); });
}

void EndHold(void (*real)(void*), char const* name, void* holder) {
  if (!IsWatched()) {
    real(holder);
    return;
  }
  auto const known = LocksOfHolders().find(holder);
  void* lock = nullptr;
  if (known != LocksOfHolders().end()) {
    lock = known->second;
    LocksOfHolders().erase(known);
  }
  PassThrough(name, "", lock, [&] { real(holder); });
}

}  // namespace

Seams::Seams() {
  installed = this;
  LocksOfHolders().clear();
}

Seams::~Seams() { installed = nullptr; }

std::vector<std::string> Seams::Names() const {
  std::vector<std::string> names;
  for (Call const& call : Calls) {
    names.push_back(call.name);
  }
  return names;
}

std::vector<std::string> Seams::Lines() const {
  std::vector<std::string> lines;
  for (Call const& call : Calls) {
    lines.push_back(call.name + " " + call.text);
  }
  return lines;
}

// The base services themselves.

void storedev::ParseFullPath(char const* path, bool* flag, CTOOString* folder, CTOOString* name,
                             CTOOString* last) {
  static auto* const real =
      NextSymbol<void(char const*, bool*, CTOOString*, CTOOString*, CTOOString*)>(
          "_ZN8storedev13ParseFullPathEPKcPbP10CTOOStringS4_S4_");
  if (!IsWatched()) {
    real(path, flag, folder, name, last);
    return;
  }
  PassThrough("ParseFullPath", OrEmpty(path), nullptr, [&] {
    if (installed->ParseFullPath) {
      installed->ParseFullPath(path, flag, folder, name, last);
    } else {
      real(path, flag, folder, name, last);
    }
  });
}

void storedev::MakeFullPath(CTOOString& path, CTOOString const& folder, CTOOString const& name,
                            CTOOString const& last) {
  static auto* const real =
      NextSymbol<void(CTOOString&, CTOOString const&, CTOOString const&, CTOOString const&)>(
          "_ZN8storedev12MakeFullPathER10CTOOStringRKS0_S3_S3_");
  if (!IsWatched()) {
    real(path, folder, name, last);
    return;
  }
  PassThrough("MakeFullPath", OrEmpty(folder), nullptr, [&] {
    if (installed->MakeFullPath) {
      installed->MakeFullPath(path, folder, name, last);
    } else {
      real(path, folder, name, last);
    }
  });
}

bool CTOOFile::IsExists(char const* name) {
  static auto* const real = NextSymbol<bool(char const*)>("_ZN8CTOOFile8IsExistsEPKc");
  if (!IsWatched()) {
    return real(name);
  }
  return PassThrough("IsExists", OrEmpty(name), nullptr,
                     [&] { return installed->IsExists ? installed->IsExists(name) : real(name); });
}

bool CTOOFile::IsExists(CTOOString const& name) {
  static auto* const real =
      NextSymbol<bool(CTOOString const&)>("_ZN8CTOOFile8IsExistsERK10CTOOString");
  if (!IsWatched()) {
    return real(name);
  }
  return PassThrough("IsExists", OrEmpty(name), nullptr,
                     [&] { return installed->IsExists ? installed->IsExists(name) : real(name); });
}

unsigned long CTOOFile::Length(char const* name, XTOOFile const& status) {
  static auto* const real =
      NextSymbol<unsigned long(char const*, XTOOFile const&)>("_ZN8CTOOFile6LengthEPKcRK8XTOOFile");
  if (!IsWatched()) {
    return real(name, status);
  }
  return PassThrough("Length", OrEmpty(name), nullptr, [&] {
    return installed->Length ? installed->Length(name, status) : real(name, status);
  });
}

bool CTOOFile::Remove(char const* name, XTOOFile const& status) {
  static auto* const real =
      NextSymbol<bool(char const*, XTOOFile const&)>("_ZN8CTOOFile6RemoveEPKcRK8XTOOFile");
  if (!IsWatched()) {
    return real(name, status);
  }
  return PassThrough("Remove", OrEmpty(name), nullptr, [&] {
    return installed->Remove ? installed->Remove(name, status) : real(name, status);
  });
}

void CTOOFile::Truncate() {
  static auto* const real = NextSymbol<void(CTOOFile*)>("_ZN8CTOOFile8TruncateEv");
  if (!IsWatched()) {
    real(this);
    return;
  }
  PassThrough("Truncate", "", this, [&] { real(this); });
}

int CTOOString::CollateNoCase(char const* text) const {
  static auto* const real =
      NextSymbol<int(CTOOString const*, char const*)>("_ZNK10CTOOString13CollateNoCaseEPKc");
  if (!IsWatched()) {
    return real(this, text);
  }
  return PassThrough("CollateNoCase", OrEmpty(*this), const_cast<CTOOString*>(this), [&] {
    return installed->CollateNoCase ? installed->CollateNoCase(*this, text) : real(this, text);
  });
}

// Constructors and destructors by their mangled names: defining them as members would make this
// program the home of their classes' tables.
extern "C" {

void _ZN8CTOOFileC1EPKcS1_b(void* object, char const* name, char const* mode, bool flag) {
  static auto* const real =
      NextSymbol<void(void*, char const*, char const*, bool)>("_ZN8CTOOFileC1EPKcS1_b");
  if (!IsWatched()) {
    real(object, name, mode, flag);
    return;
  }
  PassThrough("Open", OrEmpty(mode) + " " + OrEmpty(name), object,
              [&] { real(object, name, mode, flag); });
}

void _ZN3IPC11CReadLockerC1ERNS_14CReadWriteLockE(void* holder, IPC::CReadWriteLock& lock) {
  static auto* const real =
      NextSymbol<void(void*, IPC::CReadWriteLock&)>("_ZN3IPC11CReadLockerC1ERNS_14CReadWriteLockE");
  Construct(real, "ReadLock", holder, lock);
}

void _ZN3IPC12CWriteLockerC1ERNS_14CReadWriteLockE(void* holder, IPC::CReadWriteLock& lock) {
  static auto* const real = NextSymbol<void(void*, IPC::CReadWriteLock&)>(
      "_ZN3IPC12CWriteLockerC1ERNS_14CReadWriteLockE");
  Construct(real, "WriteLock", holder, lock);
}

void _ZN3IPC11CReadLockerD1Ev(void* holder) {
  static auto* const real = NextSymbol<void(void*)>("_ZN3IPC11CReadLockerD1Ev");
  EndHold(real, "ReadUnlock", holder);
}

void _ZN3IPC12CWriteLockerD1Ev(void* holder) {
  static auto* const real = NextSymbol<void(void*)>("_ZN3IPC12CWriteLockerD1Ev");
  EndHold(real, "WriteUnlock", holder);
}

void _ZN3IPC18CReadWriteLock_pthD1Ev(void* object) {
  static auto* const real = NextSymbol<void(void*)>("_ZN3IPC18CReadWriteLock_pthD1Ev");
  if (IsWatched()) {
    Destroy(real, "~CReadWriteLock_pth", "", object);
  } else {
    real(object);
  }
}

void _ZN8IdentObjD1Ev(void* object) {
  static auto* const real = NextSymbol<void(void*)>("_ZN8IdentObjD1Ev");
  if (IsWatched()) {
    Destroy(real, "~IdentObj", "", object);
  } else {
    real(object);
  }
}

void _ZN10CTOOStringD1Ev(void* object) {
  static auto* const real = NextSymbol<void(void*)>("_ZN10CTOOStringD1Ev");
  if (IsWatched()) {
    Destroy(real, "~CTOOString", OrEmpty(*static_cast<CTOOString*>(object)), object);
  } else {
    real(object);
  }
}

}  // extern "C"
