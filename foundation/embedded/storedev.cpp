#include "foundation/storedev.h"
#include "foundation/embedded/OrEmpty.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

// Appends the component with one slash between it and what stands before.
void AppendPart(std::string& path, std::string_view part) {
  if (!path.empty() && path.back() != '/') {
    path += '/';
  }
  path += part;
}

// Takes the next component off `rest`, slashes and all; empty when none is left.
std::string_view NextComponent(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  std::string_view const component = rest.substr(0, rest.find('/'));
  rest.remove_prefix(component.size());
  return component;
}

struct Split {
  std::string folder;
  std::string name;
};

// Whether nothing but the split at the last slash is to be done. False also for some such paths.
bool IsPlain(std::string_view path) {
  return !path.empty() && path.front() == '/' && path.back() != '/' &&
         path.find("//") == std::string_view::npos && path.find("/.") == std::string_view::npos;
}

Split SplitPath(std::string_view path) {
  Split split;
  if (IsPlain(path)) {
    std::size_t const slash = path.rfind('/');
    split.folder = path.substr(0, std::max(slash, std::size_t{1}));
    split.name = path.substr(slash + 1);
    return split;
  }
  split.folder.reserve(path.size());
  std::string_view rest = path;
  if (!path.empty() && path.front() == '/') {
    split.folder = "/";
  }
  for (std::string_view component = NextComponent(rest); !component.empty();
       component = NextComponent(rest)) {
    if (component == ".") {
      continue;
    }
    if (!split.name.empty()) {
      AppendPart(split.folder, split.name);
    }
    split.name = component;
  }
  // Only "." components: the folder that the path is relative to, which must not become no path.
  if (split.folder.empty() && split.name.empty() && !path.empty()) {
    split.name = ".";
  }
  return split;
}

// Appends a part that may begin with slashes to a path that may end with some.
void AppendTrimmed(std::string& path, char const* part) {
  std::string_view text(part);
  if (!path.empty()) {
    text.remove_prefix(std::min(text.find_first_not_of('/'), text.size()));
    while (path.size() > 1 && path.back() == '/') {
      path.pop_back();
    }
  }
  if (!text.empty()) {
    AppendPart(path, text);
  }
}

}  // namespace

void storedev::ParseFullPath(char const* path, bool* flag, CTOOString* folder, CTOOString* name,
                             CTOOString* last) {
  std::string_view const text = OrEmpty(path);
  bool const isEmpty = text.empty();
  Split const split = SplitPath(text);
  if (flag != nullptr) {
    *flag = isEmpty;
  }
  if (folder != nullptr) {
    *folder = split.folder.c_str();
  }
  if (name != nullptr) {
    *name = split.name.c_str();
  }
  if (last != nullptr) {
    *last = "";
  }
}

void storedev::MakeFullPath(CTOOString& path, CTOOString const& folder, CTOOString const& name,
                            CTOOString const& last) {
  std::string joined;
  joined.reserve(folder.Length() + name.Length() + last.Length() + 2UL);
  AppendTrimmed(joined, folder);
  AppendTrimmed(joined, name);
  AppendTrimmed(joined, last);
  path = joined.c_str();
}
