#pragma once
// Shared by the variant fuzz targets: the input as text (up to its first NUL
// byte, as a C string would end), and a check that aborts loudly.
#include <kernel/CString.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace fuzz {

inline std::string Text(const uint8_t* data, size_t size) {
  const char* p = reinterpret_cast<const char*>(data);
  return std::string(p, strnlen(p, size));
}

inline void Check(bool ok, const char* what, const std::string& input) {
  if (!ok) {
    std::fprintf(stderr, "round trip failed (%s) for input [%s]\n", what, input.c_str());
    std::abort();
  }
}

// Same double, NaNs of either sign counting as equal.
inline bool SameDouble(double a, double b) { return a == b || (a != a && b != b); }

}  // namespace fuzz
