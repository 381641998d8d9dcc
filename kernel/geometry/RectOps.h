#pragma once
// Inline rectangle primitives for the rectangle-list algorithms. They have
// exactly the meaning of the platform's IntersectRect, UnionRect,
// SubtractRect and EqualRect, but are inlined here: the list operations call
// them in their innermost loops, where an out-of-line exported call per
// rectangle pair would dominate the run time.
#include <kernel/CRect.h>

#include <algorithm>
#include <cstdint>

namespace Kernel {
namespace RectOps {

inline bool Empty(const RECT& r) { return r.right <= r.left || r.bottom <= r.top; }

inline bool Equal(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// True when the two rectangles share at least one pixel.
inline bool Meet(const RECT& a, const RECT& b) {
  return std::max(a.left, b.left) < std::min(a.right, b.right) && std::max(a.top, b.top) < std::min(a.bottom, b.bottom);
}

// The overlap, or all zeros when there is none.
inline CRect Intersect(const RECT& a, const RECT& b) {
  const CRect i(std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                std::min(a.bottom, b.bottom));
  return Empty(i) ? CRect() : i;
}

// Bounding box; an empty operand is ignored, two empties give all zeros.
inline CRect Union(const RECT& a, const RECT& b) {
  const bool ea = Empty(a);
  const bool eb = Empty(b);
  if (ea && eb) return CRect();
  if (ea) return CRect(b);
  if (eb) return CRect(a);
  return CRect(std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
               std::max(a.bottom, b.bottom));
}

// a minus b when the difference is a single rectangle (b spans a across one
// dimension at one of its edges); all zeros when b covers a; otherwise a.
inline CRect Subtract(const RECT& a, const RECT& b) {
  if (Empty(a)) return CRect();
  CRect d(a);
  if (!Meet(a, b)) return d;
  const CRect i = Intersect(a, b);
  if (Equal(i, a)) return CRect();
  if (i.top == a.top && i.bottom == a.bottom) {
    if (i.left == a.left)
      d.left = i.right;
    else if (i.right == a.right)
      d.right = i.left;
  } else if (i.left == a.left && i.right == a.right) {
    if (i.top == a.top)
      d.top = i.bottom;
    else if (i.bottom == a.bottom)
      d.bottom = i.top;
  }
  return d;
}

// Swaps inverted coordinates so left <= right and top <= bottom.
inline CRect Normalized(int32_t l, int32_t t, int32_t r, int32_t b) {
  if (l > r) std::swap(l, r);
  if (t > b) std::swap(t, b);
  return CRect(l, t, r, b);
}
inline CRect Normalized(const RECT& r) { return Normalized(r.left, r.top, r.right, r.bottom); }

// Width times height in 32-bit arithmetic with wrap-around, which is what
// the merge heuristics are tuned with; computed unsigned to keep the wrap
// well defined.
inline int32_t Area(const RECT& r) {
  const uint32_t w = uint32_t(r.right) - uint32_t(r.left);
  const uint32_t h = uint32_t(r.bottom) - uint32_t(r.top);
  return int32_t(w * h);
}

inline int32_t WrapAdd(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t WrapSub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }

}  // namespace RectOps
}  // namespace Kernel
