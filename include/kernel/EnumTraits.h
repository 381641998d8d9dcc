#pragma once
// Name tables of enumerations. Each enumeration that has a text form
// specialises EnumTraits with a static array c_names, indexed by the value and
// ended by an empty string; the helpers below look names up in both
// directions without knowing the table's length.
#include <cwchar>

namespace Kernel {

template <class E>
struct EnumTraits;  // specialised for every enumeration with a name table

// Number of names in E's table (the entries before the terminating "").
template <class E>
int EnumNameCount() {
  int n = 0;
  while (EnumTraits<E>::c_names[n][0] != L'\0') ++n;
  return n;
}

// The text of a value, or null when the value lies outside the table.
template <class E>
const wchar_t* EnumName(E value) {
  const long long v = static_cast<long long>(value);
  if (v < 0 || v >= EnumNameCount<E>()) return nullptr;
  return EnumTraits<E>::c_names[v];
}

// Finds a value by its exact (case-sensitive) text; false when no entry has it.
template <class E>
bool EnumFromName(const wchar_t* name, E& value) {
  if (name == nullptr) return false;
  for (int i = 0; EnumTraits<E>::c_names[i][0] != L'\0'; ++i) {
    if (std::wcscmp(EnumTraits<E>::c_names[i], name) == 0) {
      value = static_cast<E>(i);
      return true;
    }
  }
  return false;
}

}  // namespace Kernel
