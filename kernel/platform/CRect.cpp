#include <kernel/CRect.h>

#include <algorithm>
#include <utility>

BOOL IsRectEmpty(const RECT* r) { return !r || r->right <= r->left || r->bottom <= r->top; }

BOOL SetRect(RECT* r, int left, int top, int right, int bottom) {
  if (!r) return FALSE;
  *r = RECT{left, top, right, bottom};
  return TRUE;
}

BOOL SetRectEmpty(RECT* r) { return SetRect(r, 0, 0, 0, 0); }

BOOL CopyRect(RECT* dst, const RECT* src) {
  if (!dst || !src) return FALSE;
  *dst = *src;
  return TRUE;
}

BOOL EqualRect(const RECT* a, const RECT* b) {
  if (!a || !b) return FALSE;
  return a->left == b->left && a->top == b->top && a->right == b->right && a->bottom == b->bottom;
}

BOOL OffsetRect(RECT* r, int dx, int dy) {
  if (!r) return FALSE;
  r->left += dx;
  r->right += dx;
  r->top += dy;
  r->bottom += dy;
  return TRUE;
}

BOOL InflateRect(RECT* r, int dx, int dy) {
  if (!r) return FALSE;
  r->left -= dx;
  r->right += dx;
  r->top -= dy;
  r->bottom += dy;
  return TRUE;
}

BOOL PtInRect(const RECT* r, POINT pt) {
  if (!r) return FALSE;
  return pt.x >= r->left && pt.x < r->right && pt.y >= r->top && pt.y < r->bottom;
}

BOOL IntersectRect(RECT* dst, const RECT* a, const RECT* b) {
  if (!dst || !a || !b) return FALSE;
  if (IsRectEmpty(a) || IsRectEmpty(b) || a->left >= b->right || b->left >= a->right || a->top >= b->bottom ||
      b->top >= a->bottom) {
    SetRectEmpty(dst);
    return FALSE;
  }
  // Computed into locals: dst may be one of the inputs.
  RECT r{std::max(a->left, b->left), std::max(a->top, b->top), std::min(a->right, b->right),
         std::min(a->bottom, b->bottom)};
  *dst = r;
  return TRUE;
}

BOOL UnionRect(RECT* dst, const RECT* a, const RECT* b) {
  if (!dst || !a || !b) return FALSE;
  bool ea = IsRectEmpty(a), eb = IsRectEmpty(b);
  if (ea && eb) {
    SetRectEmpty(dst);
    return FALSE;
  }
  if (ea) {
    *dst = *b;
  } else if (eb) {
    *dst = *a;
  } else {
    RECT r{std::min(a->left, b->left), std::min(a->top, b->top), std::max(a->right, b->right),
           std::max(a->bottom, b->bottom)};
    *dst = r;
  }
  return TRUE;
}

BOOL SubtractRect(RECT* dst, const RECT* a, const RECT* b) {
  if (!dst || !a || !b) return FALSE;
  if (IsRectEmpty(a)) {
    SetRectEmpty(dst);
    return FALSE;
  }
  RECT r = *a;
  RECT cut;
  if (IntersectRect(&cut, a, b)) {
    if (EqualRect(&cut, &r)) {
      SetRectEmpty(dst);
      return FALSE;
    }
    // Only a cut that spans the whole height (or width) and touches one side
    // leaves a single rectangle; anything else leaves the source as it was.
    if (cut.top == r.top && cut.bottom == r.bottom) {
      if (cut.left == r.left) {
        r.left = cut.right;
      } else if (cut.right == r.right) {
        r.right = cut.left;
      }
    } else if (cut.left == r.left && cut.right == r.right) {
      if (cut.top == r.top) {
        r.top = cut.bottom;
      } else if (cut.bottom == r.bottom) {
        r.bottom = cut.top;
      }
    }
  }
  *dst = r;
  return TRUE;
}
