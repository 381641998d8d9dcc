#include <kernel/RectList.h>

#include <kernel/Exceptions.h>

#include <algorithm>
#include <new>
#include <utility>

#include "RectOps.h"

namespace Kernel {

using namespace RectOps;

namespace {

// Containers of this library report allocation failure with the
// framework's memory exception, not std::bad_alloc.
template <class F>
decltype(auto) Allocating(F&& f) {
  try {
    return std::forward<F>(f)();
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

// Exactly three of the four coordinates equal.
inline bool ThreeEqual(const RECT& a, const RECT& b) {
  const int n = (a.left == b.left) + (a.top == b.top) + (a.right == b.right) + (a.bottom == b.bottom);
  return n == 3;
}

}  // namespace

CRectList::CRectList(const CRectList& other) : m_rects(Allocating([&] { return other.m_rects; })) {}

CRectList::CRectList(const CRect& r) { push_back(r); }

CRectList& CRectList::operator=(const CRectList& other) {
  if (this != &other) Allocating([&] { m_rects = other.m_rects; });
  return *this;
}

CRectList& CRectList::operator=(const CRect& r) {
  if (m_rects.size() == 1) {
    m_rects.front() = r;
  } else {
    m_rects.clear();
    push_back(r);
  }
  return *this;
}

CRectList::iterator CRectList::insert(const_iterator pos, const CRect& r) {
  return Allocating([&] { return m_rects.insert(pos, r); });
}

void CRectList::push_back(const CRect& r) {
  Allocating([&] { m_rects.push_back(r); });
}

// ---------------------------------------------------------------------------

int CRectList::GetArea(const CRect& r) { return Area(r); }

int CRectList::GetTotalArea() const {
  int32_t total = 0;
  for (const CRect& q : m_rects) total = WrapAdd(total, Area(q));
  return total;
}

void CRectList::SplitRect(CRect& first, CRect& second, const CRect& r, const CRect& cut) {
  first = r;
  second = r;
  // Horizontal cuts first: they keep full-width strips, which is what the
  // banded regions and the redraw code deal with best.
  if (cut.top > r.top) {
    first.bottom = second.top = cut.top;
  } else if (cut.bottom < r.bottom) {
    first.bottom = second.top = cut.bottom;
  } else {
    const int32_t x = cut.left > r.left ? cut.left : cut.right;
    first.right = second.left = x;
  }
}

void CRectList::AddUnion(const CRect& r) { AddUnion(r, 0); }

void CRectList::AddUnion(const CRectList& other) {
  if (&other == this) return;  // a list already covers itself
  for (const CRect& r : other.m_rects) AddUnion(r, 0);
}

void CRectList::AddUnion(CRect r, size_type start) {
  if (Empty(r)) return;
  size_type k = start;
  while (k < m_rects.size()) {
    CRect& q = m_rects[k];
    if (!Meet(q, r)) {
      // Three equal coordinates and no overlap can only happen when q is
      // itself empty (r is not): such a degenerate entry is absorbed.
      if (Empty(q) && ThreeEqual(q, r)) {
        r = Union(q, r);
        m_rects.erase(m_rects.begin() + std::ptrdiff_t(k));
      } else {
        ++k;
      }
      continue;
    }
    const CRect i = Intersect(q, r);
    if (Equal(i, r)) return;  // already covered
    if (Equal(i, q)) {        // q lies inside r
      m_rects.erase(m_rects.begin() + std::ptrdiff_t(k));
      continue;
    }
    const CRect rTrim = Subtract(r, q);
    if (!Equal(rTrim, r)) {
      r = rTrim;
      ++k;
      continue;
    }
    const CRect qTrim = Subtract(q, r);
    if (!Equal(qTrim, q)) {
      q = qTrim;
      ++k;
      continue;
    }
    // Neither difference is a single rectangle: split r at the first edge of
    // the overlap and add both halves from here on.
    CRect first, second;
    SplitRect(first, second, r, i);
    AddUnion(first, k);
    AddUnion(second, k);
    return;
  }
  push_back(r);
}

void CRectList::AddUnionMerge(const CRect& rIn, int slack, double factor) {
  if (Empty(rIn)) return;
  if (m_rects.empty()) {
    push_back(rIn);
    return;
  }
  CRect r = rIn;
  int32_t bestGrowth = 0x7FFFFFFF;
  size_type best = m_rects.size();
  for (size_type k = 0; k < m_rects.size(); ++k) {
    const CRect& q = m_rects[k];
    const int32_t growth = WrapSub(Area(Union(q, r)), Area(q));
    if (growth < bestGrowth) {
      bestGrowth = growth;
      best = k;
    }
  }
  if (best < m_rects.size()) {
    const int32_t total = GetTotalArea();
    const int32_t exact = WrapAdd(total, Area(r));
    const double limit = std::max(double(WrapAdd(exact, slack)), double(exact) * factor);
    if (double(WrapAdd(total, bestGrowth)) <= limit) r = Union(m_rects[best], r);
  }
  AddUnion(r, 0);
}

void CRectList::AddUnionMerge(const CRectList& other, const CRect* clip, int slack, double factor) {
  if (&other == this) {
    const CRectList copy(other);
    AddUnionMerge(copy, clip, slack, factor);
    return;
  }
  for (const CRect& q : other.m_rects) AddUnionMerge(clip ? Intersect(q, *clip) : q, slack, factor);
}

void CRectList::AddUnionHoles(const CRect& aIn, const CRect& bIn) {
  const CRect a = Normalized(aIn);
  const CRect b = Normalized(bIn);
  const CRect m = Normalized(std::min(a.left, b.left), std::max(a.top, b.top), std::max(a.right, b.right),
                             std::min(a.bottom, b.bottom));
  const CRect h1 = Subtract(Subtract(m, a), b);
  const CRect h2 = Subtract(Subtract(Normalized(m.left, a.top, m.right, a.bottom), m), a);
  const CRect h3 = Subtract(Subtract(Normalized(m.left, b.top, m.right, b.bottom), m), b);
  AddUnion(h2, 0);
  AddUnion(h1, 0);
  AddUnion(h3, 0);
}

void CRectList::SubtractUnion(const CRect& r) {
  if (Empty(r) || m_rects.empty()) return;
  // Replacing each rectangle by its pieces in place and walking on after
  // them is the same as emitting all pieces into a fresh list in order,
  // which avoids moving the tail of the vector for every insertion. The
  // fresh list is a per-thread buffer that keeps its capacity, so repeated
  // subtractions from a long list do not allocate and fault in new pages.
  thread_local container_type scratch;
  container_type& out = scratch;
  out.clear();
  Allocating([&] {
    out.reserve(m_rects.size() + 8);
    auto emit = [&out](const CRect& q, int32_t l, int32_t t, int32_t rr, int32_t b) {
      if (rr <= l || b <= t) return;
      const CRect piece = Intersect(CRect(l, t, rr, b), q);
      if (!Empty(piece)) out.push_back(piece);
    };
    for (const CRect& q : m_rects) {
      // Most rectangles lie wholly inside one of the four pieces and come
      // back unchanged (when not empty).
      const bool whole = q.bottom <= r.top ||                                            // above
                         (q.top >= r.top && q.right <= r.left) ||                        // left
                         (q.top >= r.bottom && q.left >= r.left) ||                      // below
                         (q.top >= r.top && q.bottom <= r.bottom && q.left >= r.right);  // right
      if (whole) {
        if (!Empty(q)) out.push_back(q);
        continue;
      }
      emit(q, q.left, q.top, q.right, r.top);        // above
      emit(q, q.left, r.top, r.left, q.bottom);      // left
      emit(q, r.left, r.bottom, q.right, q.bottom);  // below
      emit(q, r.right, r.top, q.right, r.bottom);    // right
    }
  });
  m_rects.swap(out);
  // Do not let the buffer pin far more memory than the lists in use need.
  if (out.capacity() > 2 * m_rects.size() + 4096) container_type().swap(out);
}

void CRectList::SubtractUnion(const CRectList& other) {
  if (&other == this) {
    m_rects.clear();
    return;
  }
  for (const CRect& r : other.m_rects) SubtractUnion(r);
}

void CRectList::ClipTo(const CRect& r) {
  size_type out = 0;
  for (size_type k = 0; k < m_rects.size(); ++k) {
    const CRect i = Intersect(m_rects[k], r);
    if (!Empty(i)) m_rects[out++] = i;
  }
  m_rects.resize(out);
}

// ---------------------------------------------------------------------------

CRect CRectList::GetBBox() const {
  CRect box;
  for (const CRect& q : m_rects) box = Union(box, q);
  return box;
}

CRect CRectList::Clip(const CRect& r) const {
  CRect box;
  for (const CRect& q : m_rects) box = Union(box, Intersect(q, r));
  return box;
}

bool CRectList::Overlaps(const CRect& r) const {
  return std::any_of(m_rects.begin(), m_rects.end(), [&r](const CRect& q) {
    return q.right > r.left && q.left < r.right && q.bottom > r.top && q.top < r.bottom;
  });
}

bool CRectList::Covers(const CRect& r) const { return Covers(r, m_rects.begin()); }

bool CRectList::Covers(const CRect& r, const_iterator from) const {
  const_iterator it = std::find_if(from, m_rects.end(), [&r](const CRect& q) { return Meet(q, r); });
  if (it == m_rects.end()) return false;
  const CRect overlap = Intersect(*it, r);
  if (Equal(overlap, r)) return true;
  CRect first, second;
  SplitRect(first, second, r, overlap);
  return Covers(first, it) && Covers(second, it);
}

CRect CRectList::SubtractFrom(const CRect& r) const {
  CRect w = r;
  for (const CRect& q : m_rects) {
    const CRect i = Intersect(q, w);
    if (Empty(i)) continue;
    if (Equal(i, w)) return CRect();
    int32_t best = 0;
    // Each candidate is built from w as it stands, so once one piece has
    // replaced w the later ones are pieces of that piece.
    auto consider = [&w, &best](int32_t l, int32_t t, int32_t rr, int32_t b) {
      const CRect c(l, t, rr, b);
      if (c.right - c.left <= 0 || c.bottom - c.top <= 0) return;
      const int32_t area = Area(c);
      if (area > best) {
        best = area;
        w = c;
      }
    };
    consider(w.left, w.top, w.right, i.top);
    consider(w.left, i.bottom, w.right, w.bottom);
    consider(w.left, w.top, i.left, w.bottom);
    consider(i.right, w.top, w.right, w.bottom);
  }
  return w;
}

CSize CRectList::GetMaxSize() const {
  CSize size;
  for (const CRect& q : m_rects) {
    size.cx = std::max(size.cx, WrapSub(q.right, q.left));
    size.cy = std::max(size.cy, WrapSub(q.bottom, q.top));
  }
  return size;
}

void CRectList::OffsetRects(CSize d) {
  for (CRect& q : m_rects) {
    q.left = WrapAdd(q.left, d.cx);
    q.right = WrapAdd(q.right, d.cx);
    q.top = WrapAdd(q.top, d.cy);
    q.bottom = WrapAdd(q.bottom, d.cy);
  }
}

bool CRectList::FromRegion(HRGN rgn) {
  const DWORD bytes = GetRegionData(rgn, 0, nullptr);
  if (bytes == 0) return false;
  return Allocating([&] {
    std::vector<unsigned char> buffer(bytes);
    auto* data = reinterpret_cast<RGNDATA*>(buffer.data());
    if (GetRegionData(rgn, bytes, data) == 0) return false;
    const auto* rects = reinterpret_cast<const RECT*>(buffer.data() + sizeof(RGNDATAHEADER));
    container_type list;
    list.reserve(data->rdh.nCount);
    for (DWORD k = 0; k < data->rdh.nCount; ++k) list.emplace_back(rects[k]);
    m_rects.swap(list);
    return true;
  });
}

}  // namespace Kernel
