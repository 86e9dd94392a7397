// Any text as a container's path: what is split and joined again is the normal form.

#include <algorithm>
#include <string>

#include "foundation/storedev.h"
#include "fuzz/Support.h"

namespace {

std::string Normal(std::string const& path) {
  bool flag = false;
  CTOOString folder;
  CTOOString name;
  CTOOString last("is overwritten");
  storedev::ParseFullPath(path.c_str(), &flag, &folder, &name, &last);
  Require(flag == path.empty(), "the flag is that of the empty path");
  Require(last.IsEmpty(), "the last part is empty");
  Require(std::string(name).find('/') == std::string::npos, "the name is one component");
  CTOOString joined;
  storedev::MakeFullPath(joined, folder, name, last);
  return static_cast<char const*>(joined);
}

// The normal form, by a way of its own: component by component.
std::string Expected(std::string const& path) {
  bool const isAbsolute = !path.empty() && path.front() == '/';
  std::string normal;
  for (std::size_t at = 0; at < path.size();) {
    std::size_t const end = std::min(path.find('/', at), path.size());
    std::string const component = path.substr(at, end - at);
    if (!component.empty() && component != ".") {
      normal += (normal.empty() && !isAbsolute ? "" : "/") + component;
    }
    at = end + 1;
  }
  return !normal.empty() || path.empty() ? normal : (isAbsolute ? "/" : ".");
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  std::string const path = Input(data, size).Rest().c_str();  // Up to the first zero.
  std::string const normal = Normal(path);
  Require(normal == Expected(path), "joining what was split gives the normal form");
  Require(Normal(normal) == normal, "the normal form is its own");
  return 0;
}
