#pragma once
// Readable names of C++ types, as the compiler would write them in source
// ("Kernel::CRefCount"), for keys and class-name checks that must not depend
// on the compiler's mangling.

#include <kernel/Export.h>

#include <string>
#include <typeinfo>

namespace Kernel {

NK_API std::string GetTypeName(const std::type_info& type);

template <class T>
std::string GetTypeName() {
  return GetTypeName(typeid(T));
}

}  // namespace Kernel
