// Array texts of every element letter: whatever reads as an array must be
// written back by SetArray to a text that reads to the same elements.
#include <kernel/Variant.h>

#include <cstring>
#include <vector>

#include "FuzzText.h"

namespace {

template <class T>
bool SameElements(const std::vector<T>& a, const std::vector<T>& b) {
  if constexpr (std::is_floating_point_v<T> || std::is_same_v<T, DBLPOINT> || std::is_same_v<T, DBLSIZE> ||
                std::is_same_v<T, DBLRECT>) {
    // Fifteen-digit printing: compare the second generation with the first.
    (void)a;
    (void)b;
    return true;
  } else {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
  }
}

template <class T>
std::vector<T> Read(const CVariant& v) {
  const int n = v.GetArray(static_cast<T*>(nullptr), 0);
  if (n < 0) return {};
  std::vector<T> out(static_cast<size_t>(n));
  if (v.GetArray(out.data(), n) != n) std::abort();
  return out;
}

template <class T>
void Try(const CVariant& v, const std::string& input) {
  const int n = v.GetArray(static_cast<T*>(nullptr), 0);
  if (n < 0) return;
  const std::vector<T> first = Read<T>(v);
  CVariant again;
  again.SetArray(first.data(), static_cast<int>(first.size()));
  const std::vector<T> second = Read<T>(again);
  fuzz::Check(second.size() == first.size(), "array count", input);
  fuzz::Check(SameElements(first, second), "array elements", input);
  CVariant third;
  third.SetArray(second.data(), static_cast<int>(second.size()));
  fuzz::Check(third.GetString() == again.GetString(), "array text", input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::Text(data, size);
  const CVariant v{CString(input.c_str())};
  Try<bool>(v, input);
  Try<char>(v, input);
  Try<short>(v, input);
  Try<int>(v, input);
  Try<unsigned char>(v, input);
  Try<unsigned short>(v, input);
  Try<unsigned int>(v, input);
  Try<float>(v, input);
  Try<double>(v, input);
  Try<POINT>(v, input);
  Try<SIZE>(v, input);
  Try<RECT>(v, input);
  Try<DBLPOINT>(v, input);
  Try<DBLSIZE>(v, input);
  Try<DBLRECT>(v, input);
  return 0;
}
