#include "core/registry/LV_ClassRef.h"

#include <memory>
#include <string_view>

#if defined(__GNUG__)
#include <cxxabi.h>

#include <cstdlib>
#endif

namespace lv {

namespace {

std::string Demangled(const std::type_info& type) {
#if defined(__GNUG__)
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  if (status == 0 && name) return name.get();
#endif
  return type.name();
}

}  // namespace

std::string LVClassName(const std::type_info& type) {
  std::string name = Demangled(type);
  // Other compilers spell the kind of type in front of its name.
  for (std::string_view kind : {"class ", "struct "}) {
    if (name.starts_with(kind)) name.erase(0, kind.size());
  }
  // Drop the qualification of the outermost name only: template arguments keep theirs.
  int depth = 0;
  size_t start = 0;
  for (size_t i = 0; i + 1 < name.size(); ++i) {
    char c = name[i];
    if (c == '<' || c == '(') ++depth;
    if (c == '>' || c == ')') --depth;
    if (depth == 0 && c == ':' && name[i + 1] == ':') {
      start = i + 2;
      ++i;
    }
  }
  return name.substr(start);
}

}  // namespace lv
