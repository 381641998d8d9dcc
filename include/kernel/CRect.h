#pragma once
// Points, sizes and rectangles as the framework has them. Rectangles are
// half-open: right and bottom are outside, and a rectangle is empty when
// right <= left or bottom <= top.
#include <cstdint>
#include <utility>

#include <kernel/Export.h>
#include <kernel/WinTypes.h>

struct POINT {
  int32_t x;
  int32_t y;
};

struct SIZE {
  int32_t cx;
  int32_t cy;
};

struct RECT {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

using LPRECT = RECT*;
using LPCRECT = const RECT*;
using LPPOINT = POINT*;

// --- Free primitives with the Windows signatures and results --------------
// Intersection; an empty result is stored as all zeros and returns FALSE.
NK_API BOOL IntersectRect(RECT* dst, const RECT* a, const RECT* b);
// Smallest rectangle holding both; empty inputs are ignored. FALSE (and all
// zeros) when both are empty.
NK_API BOOL UnionRect(RECT* dst, const RECT* a, const RECT* b);
// a minus b, but only when b covers a completely across one dimension so the
// difference is a single rectangle; otherwise dst is a. Returns FALSE and
// stores all zeros when the result is empty.
NK_API BOOL SubtractRect(RECT* dst, const RECT* a, const RECT* b);
NK_API BOOL EqualRect(const RECT* a, const RECT* b);
NK_API BOOL IsRectEmpty(const RECT* r);
NK_API BOOL OffsetRect(RECT* r, int dx, int dy);
NK_API BOOL InflateRect(RECT* r, int dx, int dy);
NK_API BOOL SetRect(RECT* r, int left, int top, int right, int bottom);
NK_API BOOL SetRectEmpty(RECT* r);
NK_API BOOL CopyRect(RECT* dst, const RECT* src);
NK_API BOOL PtInRect(const RECT* r, POINT pt);

class CPoint;
class CRect;

class CSize : public SIZE {
 public:
  constexpr CSize() noexcept : SIZE{0, 0} {}
  constexpr CSize(int32_t x, int32_t y) noexcept : SIZE{x, y} {}
  constexpr CSize(SIZE s) noexcept : SIZE(s) {}
  constexpr explicit CSize(POINT p) noexcept : SIZE{p.x, p.y} {}

  constexpr bool operator==(SIZE s) const noexcept { return cx == s.cx && cy == s.cy; }
  constexpr bool operator!=(SIZE s) const noexcept { return !(*this == s); }
  constexpr void operator+=(SIZE s) noexcept { cx += s.cx, cy += s.cy; }
  constexpr void operator-=(SIZE s) noexcept { cx -= s.cx, cy -= s.cy; }
  constexpr void SetSize(int32_t x, int32_t y) noexcept { cx = x, cy = y; }
  constexpr CSize operator+(SIZE s) const noexcept { return CSize(cx + s.cx, cy + s.cy); }
  constexpr CSize operator-(SIZE s) const noexcept { return CSize(cx - s.cx, cy - s.cy); }
  constexpr CSize operator-() const noexcept { return CSize(-cx, -cy); }
  inline CPoint operator+(POINT p) const noexcept;
  inline CPoint operator-(POINT p) const noexcept;
};

class CPoint : public POINT {
 public:
  constexpr CPoint() noexcept : POINT{0, 0} {}
  constexpr CPoint(int32_t x0, int32_t y0) noexcept : POINT{x0, y0} {}
  constexpr CPoint(POINT p) noexcept : POINT(p) {}
  constexpr explicit CPoint(SIZE s) noexcept : POINT{s.cx, s.cy} {}

  constexpr void Offset(int32_t dx, int32_t dy) noexcept { x += dx, y += dy; }
  constexpr void Offset(POINT p) noexcept { Offset(p.x, p.y); }
  constexpr void Offset(SIZE s) noexcept { Offset(s.cx, s.cy); }
  constexpr void SetPoint(int32_t x0, int32_t y0) noexcept { x = x0, y = y0; }

  constexpr bool operator==(POINT p) const noexcept { return x == p.x && y == p.y; }
  constexpr bool operator!=(POINT p) const noexcept { return !(*this == p); }
  constexpr void operator+=(SIZE s) noexcept { Offset(s); }
  constexpr void operator-=(SIZE s) noexcept { Offset(-s.cx, -s.cy); }
  constexpr void operator+=(POINT p) noexcept { Offset(p); }
  constexpr void operator-=(POINT p) noexcept { Offset(-p.x, -p.y); }
  constexpr CPoint operator+(SIZE s) const noexcept { return CPoint(x + s.cx, y + s.cy); }
  constexpr CPoint operator-(SIZE s) const noexcept { return CPoint(x - s.cx, y - s.cy); }
  constexpr CPoint operator-() const noexcept { return CPoint(-x, -y); }
  constexpr CPoint operator+(POINT p) const noexcept { return CPoint(x + p.x, y + p.y); }
  // The difference of two points is a size.
  constexpr CSize operator-(POINT p) const noexcept { return CSize(x - p.x, y - p.y); }
  inline CRect operator+(const RECT* r) const noexcept;
  inline CRect operator-(const RECT* r) const noexcept;
};

inline CPoint CSize::operator+(POINT p) const noexcept { return CPoint(cx + p.x, cy + p.y); }
inline CPoint CSize::operator-(POINT p) const noexcept { return CPoint(cx - p.x, cy - p.y); }

class CRect : public RECT {
 public:
  constexpr CRect() noexcept : RECT{0, 0, 0, 0} {}
  constexpr CRect(int32_t l, int32_t t, int32_t r, int32_t b) noexcept : RECT{l, t, r, b} {}
  constexpr CRect(const RECT& r) noexcept : RECT(r) {}
  CRect(const RECT* r) noexcept : RECT(r ? *r : RECT{0, 0, 0, 0}) {}
  constexpr CRect(POINT p, SIZE s) noexcept : RECT{p.x, p.y, p.x + s.cx, p.y + s.cy} {}
  constexpr CRect(POINT topLeft, POINT bottomRight) noexcept
      : RECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y} {}

  constexpr int32_t Width() const noexcept { return right - left; }
  constexpr int32_t Height() const noexcept { return bottom - top; }
  constexpr CSize Size() const noexcept { return CSize(Width(), Height()); }
  // References into the rectangle itself, as the framework hands them out.
  CPoint& TopLeft() noexcept { return *reinterpret_cast<CPoint*>(&left); }
  CPoint& BottomRight() noexcept { return *reinterpret_cast<CPoint*>(&right); }
  const CPoint& TopLeft() const noexcept { return *reinterpret_cast<const CPoint*>(&left); }
  const CPoint& BottomRight() const noexcept { return *reinterpret_cast<const CPoint*>(&right); }
  // Rounds toward zero on odd sizes, as integer division does.
  constexpr CPoint CenterPoint() const noexcept { return CPoint((left + right) / 2, (top + bottom) / 2); }

  operator RECT*() noexcept { return this; }
  operator const RECT*() const noexcept { return this; }

  BOOL IsRectEmpty() const noexcept { return ::IsRectEmpty(this); }
  constexpr BOOL IsRectNull() const noexcept { return left == 0 && top == 0 && right == 0 && bottom == 0; }
  BOOL PtInRect(POINT p) const noexcept { return ::PtInRect(this, p); }
  BOOL EqualRect(const RECT* r) const noexcept { return ::EqualRect(this, r); }

  void SetRect(int32_t l, int32_t t, int32_t r, int32_t b) noexcept { left = l, top = t, right = r, bottom = b; }
  void SetRect(POINT topLeft, POINT bottomRight) noexcept {
    SetRect(topLeft.x, topLeft.y, bottomRight.x, bottomRight.y);
  }
  void SetRectEmpty() noexcept { SetRect(0, 0, 0, 0); }
  void CopyRect(const RECT* r) noexcept { ::CopyRect(this, r); }

  void InflateRect(int32_t dx, int32_t dy) noexcept { ::InflateRect(this, dx, dy); }
  void InflateRect(SIZE s) noexcept { InflateRect(s.cx, s.cy); }
  void InflateRect(const RECT* r) noexcept { left -= r->left, top -= r->top, right += r->right, bottom += r->bottom; }
  void InflateRect(int32_t l, int32_t t, int32_t r, int32_t b) noexcept {
    left -= l, top -= t, right += r, bottom += b;
  }
  void DeflateRect(int32_t dx, int32_t dy) noexcept { ::InflateRect(this, -dx, -dy); }
  void DeflateRect(SIZE s) noexcept { DeflateRect(s.cx, s.cy); }
  void DeflateRect(const RECT* r) noexcept { left += r->left, top += r->top, right -= r->right, bottom -= r->bottom; }
  void DeflateRect(int32_t l, int32_t t, int32_t r, int32_t b) noexcept {
    left += l, top += t, right -= r, bottom -= b;
  }
  // Swaps sides so that left <= right and top <= bottom.
  void NormalizeRect() noexcept {
    if (left > right) std::swap(left, right);
    if (top > bottom) std::swap(top, bottom);
  }

  void OffsetRect(int32_t dx, int32_t dy) noexcept { ::OffsetRect(this, dx, dy); }
  void OffsetRect(POINT p) noexcept { OffsetRect(p.x, p.y); }
  void OffsetRect(SIZE s) noexcept { OffsetRect(s.cx, s.cy); }
  void MoveToX(int32_t x) noexcept { right = Width() + x, left = x; }
  void MoveToY(int32_t y) noexcept { bottom = Height() + y, top = y; }
  void MoveToXY(int32_t x, int32_t y) noexcept { MoveToX(x), MoveToY(y); }
  void MoveToXY(POINT p) noexcept { MoveToXY(p.x, p.y); }

  BOOL IntersectRect(const RECT* a, const RECT* b) noexcept { return ::IntersectRect(this, a, b); }
  BOOL UnionRect(const RECT* a, const RECT* b) noexcept { return ::UnionRect(this, a, b); }
  BOOL SubtractRect(const RECT* a, const RECT* b) noexcept { return ::SubtractRect(this, a, b); }

  CRect& operator=(const RECT& r) noexcept {
    RECT::operator=(r);
    return *this;
  }
  bool operator==(const RECT& r) const noexcept { return ::EqualRect(this, &r) != 0; }
  bool operator!=(const RECT& r) const noexcept { return !(*this == r); }
  void operator+=(POINT p) noexcept { OffsetRect(p); }
  void operator+=(SIZE s) noexcept { OffsetRect(s); }
  void operator+=(const RECT* r) noexcept { InflateRect(r); }
  void operator-=(POINT p) noexcept { OffsetRect(-p.x, -p.y); }
  void operator-=(SIZE s) noexcept { OffsetRect(-s.cx, -s.cy); }
  void operator-=(const RECT* r) noexcept { DeflateRect(r); }
  void operator&=(const RECT& r) noexcept { ::IntersectRect(this, this, &r); }
  void operator|=(const RECT& r) noexcept { ::UnionRect(this, this, &r); }
  CRect operator+(POINT p) const noexcept {
    CRect r(*this);
    r.OffsetRect(p);
    return r;
  }
  CRect operator+(SIZE s) const noexcept {
    CRect r(*this);
    r.OffsetRect(s);
    return r;
  }
  CRect operator+(const RECT* i) const noexcept {
    CRect r(*this);
    r.InflateRect(i);
    return r;
  }
  CRect operator-(POINT p) const noexcept {
    CRect r(*this);
    r.OffsetRect(-p.x, -p.y);
    return r;
  }
  CRect operator-(SIZE s) const noexcept {
    CRect r(*this);
    r.OffsetRect(-s.cx, -s.cy);
    return r;
  }
  CRect operator-(const RECT* i) const noexcept {
    CRect r(*this);
    r.DeflateRect(i);
    return r;
  }
  CRect operator&(const RECT& o) const noexcept {
    CRect r;
    ::IntersectRect(&r, this, &o);
    return r;
  }
  CRect operator|(const RECT& o) const noexcept {
    CRect r;
    ::UnionRect(&r, this, &o);
    return r;
  }
};

inline CRect CPoint::operator+(const RECT* r) const noexcept { return CRect(r) + *this; }
inline CRect CPoint::operator-(const RECT* r) const noexcept { return CRect(r) - *this; }

static_assert(sizeof(CRect) == 16 && sizeof(CPoint) == 8 && sizeof(CSize) == 8, "framework layouts");
