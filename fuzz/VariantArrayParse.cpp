// Array texts of every element letter: whatever reads as an array must be
// written back by SetArray to a text that reads to the same elements.
#include <kernel/Variant.h>

#include <cstring>
#include <memory>

#include "FuzzText.h"

namespace {

// A plain array (std::vector<bool> has no data()).
template <class T>
struct Elements {
  std::unique_ptr<T[]> data;
  int count = 0;
};

template <class T>
constexpr bool kPrintedWithFifteenDigits = std::is_floating_point_v<T> || std::is_same_v<T, DBLPOINT> ||
                                           std::is_same_v<T, DBLSIZE> || std::is_same_v<T, DBLRECT>;

template <class T>
Elements<T> Read(const CVariant& v) {
  Elements<T> out;
  out.count = v.GetArray(static_cast<T*>(nullptr), 0);
  if (out.count < 0) return out;
  out.data = std::make_unique<T[]>(static_cast<size_t>(out.count) + 1);
  if (v.GetArray(out.data.get(), out.count) != out.count) std::abort();
  return out;
}

template <class T>
void Try(const CVariant& v, const std::string& input) {
  const Elements<T> first = Read<T>(v);
  if (first.count < 0) return;
  CVariant again;
  again.SetArray(first.data.get(), first.count);
  const Elements<T> second = Read<T>(again);
  fuzz::Check(second.count == first.count, "array count", input);
  // Doubles are printed with fifteen digits: the second generation must
  // print as the first did; everything else must come back bit for bit.
  if constexpr (!kPrintedWithFifteenDigits<T>) {
    fuzz::Check(first.count == 0 ||
                    std::memcmp(first.data.get(), second.data.get(), static_cast<size_t>(first.count) * sizeof(T)) == 0,
                "array elements", input);
  }
  CVariant third;
  third.SetArray(second.data.get(), second.count);
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
