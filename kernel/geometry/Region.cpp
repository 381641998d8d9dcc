#include <kernel/Region.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

// A region in canonical banded form (see the header). Spans are half-open
// [x0, x1) pairs, sorted, neither overlapping nor touching.
struct HRGN__ {
  struct Span {
    int32_t x0, x1;
    bool operator==(const Span&) const = default;
  };
  struct Band {
    int32_t top, bottom;
    std::vector<Span> spans;
  };
  std::vector<Band> bands;
};

namespace {

using Span = HRGN__::Span;
using Band = HRGN__::Band;
using Bands = std::vector<Band>;

size_t RectCount(const Bands& bands) {
  size_t n = 0;
  for (const Band& b : bands) n += b.spans.size();
  return n;
}

int Kind(const Bands& bands) {
  const size_t n = RectCount(bands);
  return n == 0 ? NULLREGION : n == 1 ? SIMPLEREGION : COMPLEXREGION;
}

RECT Bound(const Bands& bands) {
  if (bands.empty()) return RECT{0, 0, 0, 0};
  RECT r{bands.front().spans.front().x0, bands.front().top, bands.front().spans.back().x1, bands.back().bottom};
  for (const Band& b : bands) {
    r.left = std::min(r.left, b.spans.front().x0);
    r.right = std::max(r.right, b.spans.back().x1);
  }
  return r;
}

// Appends a band, merging it into the previous one when they touch and
// carry the same spans, which keeps the form canonical.
void AppendBand(Bands& out, int32_t top, int32_t bottom, std::vector<Span>&& spans) {
  if (spans.empty()) return;
  if (!out.empty() && out.back().bottom == top && out.back().spans == spans) {
    out.back().bottom = bottom;
    return;
  }
  out.push_back(Band{top, bottom, std::move(spans)});
}

// Adds [x0, x1) to a sorted span list being built left to right, joining
// it to the last span when they touch or overlap.
void AppendSpan(std::vector<Span>& spans, int32_t x0, int32_t x1) {
  if (!spans.empty() && spans.back().x1 >= x0) {
    spans.back().x1 = std::max(spans.back().x1, x1);
    return;
  }
  spans.push_back(Span{x0, x1});
}

template <class Op>
std::vector<Span> CombineSpans(const std::vector<Span>* a, const std::vector<Span>* b, Op op) {
  static const std::vector<Span> none;
  const std::vector<Span>& sa = a ? *a : none;
  const std::vector<Span>& sb = b ? *b : none;
  std::vector<int32_t> xs;
  xs.reserve(2 * (sa.size() + sb.size()));
  for (const Span& s : sa) xs.insert(xs.end(), {s.x0, s.x1});
  for (const Span& s : sb) xs.insert(xs.end(), {s.x0, s.x1});
  std::sort(xs.begin(), xs.end());
  xs.erase(std::unique(xs.begin(), xs.end()), xs.end());
  std::vector<Span> out;
  size_t ia = 0, ib = 0;
  for (size_t k = 0; k + 1 < xs.size(); ++k) {
    const int32_t x0 = xs[k];
    while (ia < sa.size() && sa[ia].x1 <= x0) ++ia;
    while (ib < sb.size() && sb[ib].x1 <= x0) ++ib;
    const bool inA = ia < sa.size() && sa[ia].x0 <= x0;
    const bool inB = ib < sb.size() && sb[ib].x0 <= x0;
    if (op(inA, inB)) AppendSpan(out, x0, xs[k + 1]);
  }
  return out;
}

template <class Op>
Bands Combine(const Bands& a, const Bands& b, Op op) {
  std::vector<int32_t> ys;
  ys.reserve(2 * (a.size() + b.size()));
  for (const Band& band : a) ys.insert(ys.end(), {band.top, band.bottom});
  for (const Band& band : b) ys.insert(ys.end(), {band.top, band.bottom});
  std::sort(ys.begin(), ys.end());
  ys.erase(std::unique(ys.begin(), ys.end()), ys.end());
  Bands out;
  size_t ia = 0, ib = 0;
  for (size_t k = 0; k + 1 < ys.size(); ++k) {
    const int32_t y0 = ys[k];
    while (ia < a.size() && a[ia].bottom <= y0) ++ia;
    while (ib < b.size() && b[ib].bottom <= y0) ++ib;
    const std::vector<Span>* sa = ia < a.size() && a[ia].top <= y0 ? &a[ia].spans : nullptr;
    const std::vector<Span>* sb = ib < b.size() && b[ib].top <= y0 ? &b[ib].spans : nullptr;
    if (!sa && !sb) continue;
    AppendBand(out, y0, ys[k + 1], CombineSpans(sa, sb, op));
  }
  return out;
}

// The banded form of the union of arbitrary rectangles (empty ones are
// ignored): sweep the distinct y edges, keeping the rectangles that span
// the current slab.
Bands FromRects(const RECT* rects, size_t count) {
  std::vector<RECT> live;
  for (size_t k = 0; k < count; ++k)
    if (rects[k].left < rects[k].right && rects[k].top < rects[k].bottom) live.push_back(rects[k]);
  std::sort(live.begin(), live.end(), [](const RECT& p, const RECT& q) { return p.top < q.top; });
  std::vector<int32_t> ys;
  for (const RECT& r : live) ys.insert(ys.end(), {r.top, r.bottom});
  std::sort(ys.begin(), ys.end());
  ys.erase(std::unique(ys.begin(), ys.end()), ys.end());
  Bands out;
  std::vector<RECT> active;
  size_t next = 0;
  std::vector<std::pair<int32_t, int32_t>> xs;
  for (size_t k = 0; k + 1 < ys.size(); ++k) {
    const int32_t y0 = ys[k];
    active.erase(std::remove_if(active.begin(), active.end(), [y0](const RECT& r) { return r.bottom <= y0; }),
                 active.end());
    while (next < live.size() && live[next].top <= y0) active.push_back(live[next++]);
    if (active.empty()) continue;
    xs.clear();
    for (const RECT& r : active) xs.emplace_back(r.left, r.right);
    std::sort(xs.begin(), xs.end());
    std::vector<Span> spans;
    for (const auto& [x0, x1] : xs) AppendSpan(spans, x0, x1);
    AppendBand(out, y0, ys[k + 1], std::move(spans));
  }
  return out;
}

Bands RectBands(int left, int top, int right, int bottom) {
  if (left > right) std::swap(left, right);
  if (top > bottom) std::swap(top, bottom);
  Bands out;
  if (left < right && top < bottom) out.push_back(Band{top, bottom, {Span{left, right}}});
  return out;
}

int32_t Shift(int32_t v, int d) { return int32_t(uint32_t(v) + uint32_t(d)); }

}  // namespace

HRGN CreateRectRgn(int left, int top, int right, int bottom) {
  HRGN rgn = new (std::nothrow) HRGN__;
  if (!rgn) return nullptr;
  try {
    rgn->bands = RectBands(left, top, right, bottom);
  } catch (const std::bad_alloc&) {
    delete rgn;
    return nullptr;
  }
  return rgn;
}

HRGN CreateRectRgnIndirect(const RECT* r) {
  if (!r) return nullptr;
  return CreateRectRgn(r->left, r->top, r->right, r->bottom);
}

HRGN ExtCreateRegion(const void* xform, DWORD count, const RGNDATA* data) {
  if (xform || !data || count < sizeof(RGNDATAHEADER)) return nullptr;
  const RGNDATAHEADER& h = data->rdh;
  if (h.dwSize != sizeof(RGNDATAHEADER) || h.iType != RDH_RECTANGLES) return nullptr;
  if (uint64_t(h.nCount) * sizeof(RECT) > uint64_t(count) - sizeof(RGNDATAHEADER)) return nullptr;
  HRGN rgn = new (std::nothrow) HRGN__;
  if (!rgn) return nullptr;
  try {
    std::vector<RECT> rects(h.nCount);
    if (h.nCount)
      std::memcpy(rects.data(), reinterpret_cast<const char*>(data) + sizeof(RGNDATAHEADER), h.nCount * sizeof(RECT));
    rgn->bands = FromRects(rects.data(), rects.size());
  } catch (const std::bad_alloc&) {
    delete rgn;
    return nullptr;
  }
  return rgn;
}

BOOL SetRectRgn(HRGN rgn, int left, int top, int right, int bottom) {
  if (!rgn) return FALSE;
  rgn->bands = RectBands(left, top, right, bottom);
  return TRUE;
}

int CombineRgn(HRGN dst, HRGN a, HRGN b, int mode) {
  if (!dst || !a) return RGN_ERROR;
  if (mode == RGN_COPY) {
    if (dst != a) dst->bands = a->bands;
    return Kind(dst->bands);
  }
  if (!b) return RGN_ERROR;
  try {
    Bands result;
    switch (mode) {
      case RGN_AND:
        result = Combine(a->bands, b->bands, [](bool x, bool y) { return x && y; });
        break;
      case RGN_OR:
        result = Combine(a->bands, b->bands, [](bool x, bool y) { return x || y; });
        break;
      case RGN_XOR:
        result = Combine(a->bands, b->bands, [](bool x, bool y) { return x != y; });
        break;
      case RGN_DIFF:
        result = Combine(a->bands, b->bands, [](bool x, bool y) { return x && !y; });
        break;
      default:
        return RGN_ERROR;
    }
    dst->bands.swap(result);
  } catch (const std::bad_alloc&) {
    return RGN_ERROR;
  }
  return Kind(dst->bands);
}

DWORD GetRegionData(HRGN rgn, DWORD count, RGNDATA* data) {
  if (!rgn) return 0;
  const size_t rects = RectCount(rgn->bands);
  const uint64_t needed = sizeof(RGNDATAHEADER) + uint64_t(rects) * sizeof(RECT);
  if (needed > 0xFFFFFFFFu) return 0;
  if (!data) return DWORD(needed);
  if (count < needed) return 0;
  data->rdh.dwSize = sizeof(RGNDATAHEADER);
  data->rdh.iType = RDH_RECTANGLES;
  data->rdh.nCount = DWORD(rects);
  data->rdh.nRgnSize = DWORD(rects * sizeof(RECT));
  data->rdh.rcBound = Bound(rgn->bands);
  char* out = reinterpret_cast<char*>(data) + sizeof(RGNDATAHEADER);
  for (const Band& b : rgn->bands) {
    for (const Span& s : b.spans) {
      const RECT r{s.x0, b.top, s.x1, b.bottom};
      std::memcpy(out, &r, sizeof r);
      out += sizeof r;
    }
  }
  return count;
}

int GetRgnBox(HRGN rgn, RECT* box) {
  if (!rgn || !box) return RGN_ERROR;
  *box = Bound(rgn->bands);
  return Kind(rgn->bands);
}

int OffsetRgn(HRGN rgn, int dx, int dy) {
  if (!rgn) return RGN_ERROR;
  for (Band& b : rgn->bands) {
    b.top = Shift(b.top, dy);
    b.bottom = Shift(b.bottom, dy);
    for (Span& s : b.spans) {
      s.x0 = Shift(s.x0, dx);
      s.x1 = Shift(s.x1, dx);
    }
  }
  return Kind(rgn->bands);
}

BOOL PtInRegion(HRGN rgn, int x, int y) {
  if (!rgn) return FALSE;
  for (const Band& b : rgn->bands) {
    if (y < b.top || y >= b.bottom) continue;
    for (const Span& s : b.spans)
      if (x >= s.x0 && x < s.x1) return TRUE;
    return FALSE;
  }
  return FALSE;
}

BOOL RectInRegion(HRGN rgn, const RECT* r) {
  if (!rgn || !r || r->left >= r->right || r->top >= r->bottom) return FALSE;
  for (const Band& b : rgn->bands) {
    if (b.bottom <= r->top || b.top >= r->bottom) continue;
    for (const Span& s : b.spans)
      if (s.x1 > r->left && s.x0 < r->right) return TRUE;
  }
  return FALSE;
}

BOOL EqualRgn(HRGN a, HRGN b) {
  if (!a || !b) return FALSE;
  if (a->bands.size() != b->bands.size()) return FALSE;
  for (size_t k = 0; k < a->bands.size(); ++k) {
    const Band& p = a->bands[k];
    const Band& q = b->bands[k];
    if (p.top != q.top || p.bottom != q.bottom || p.spans != q.spans) return FALSE;
  }
  return TRUE;
}

BOOL DeleteObject(HRGN rgn) {
  if (!rgn) return FALSE;
  delete rgn;
  return TRUE;
}
