// Points, sizes and rectangles read from text, integer and double forms.
#include <kernel/Variant.h>

#include <cstring>

#include "FuzzText.h"

namespace {

template <class T>
bool SameBytes(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

bool Same(const DBLRECT& a, const DBLRECT& b) {
  return fuzz::SameDouble(a.left, b.left) && fuzz::SameDouble(a.top, b.top) && fuzz::SameDouble(a.right, b.right) &&
         fuzz::SameDouble(a.bottom, b.bottom);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::Text(data, size);
  const CVariant v{CString(input.c_str())};
  const CPoint p = v;
  fuzz::Check(SameBytes(static_cast<CPoint>(CVariant(p)), p), "point", input);
  const CSize s = v;
  fuzz::Check(SameBytes(static_cast<CSize>(CVariant(s)), s), "size", input);
  const CRect r = v;
  fuzz::Check(SameBytes(static_cast<CRect>(CVariant(r)), r), "rect", input);
  // Doubles are printed with fifteen digits: stable from the first printing.
  const DBLPOINT dp = v;
  const DBLPOINT dp1 = CVariant(dp);
  const DBLPOINT dp2 = CVariant(dp1);
  fuzz::Check(fuzz::SameDouble(dp1.x, dp2.x) && fuzz::SameDouble(dp1.y, dp2.y), "double point", input);
  const DBLRECT dr = v;
  const DBLRECT dr1 = CVariant(dr);
  const DBLRECT dr2 = CVariant(dr1);
  fuzz::Check(Same(dr1, dr2), "double rect", input);
  return 0;
}
