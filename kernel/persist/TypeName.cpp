#include <kernel/TypeName.h>

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Kernel {

std::string GetTypeName(const std::type_info& type) {
  const char* mangled = type.name();
  // GCC marks types with internal linkage by a leading '*'.
  if (*mangled == '*') ++mangled;
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> readable(abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
  if (status != 0 || !readable) return mangled;
  return readable.get();
}

}  // namespace Kernel
