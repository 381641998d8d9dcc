#pragma once
// The skeleton every conversion pair follows, and the two dispatch levels
// that pick a pair: the destination level builds the destination iterator of
// its type, the source level (one table per destination type, built by the
// compiler) builds the source iterator and calls the pair's routine.
#include <array>
#include <utility>

#include <kernel/Bitmap.h>

#include "ConvertRows.h"

namespace Kernel::convert {

// The bitmap's own iterator getter for a type and view.
template <int T, bool W>
typename Fmt<T, W>::Iterator GetIter(const CBaseBitmap* b) {
  if constexpr (T == PIT_MONO8)
    return b->GetIteratorMONO8(false);
  else if constexpr (T == PIT_RGB1 || T == PIT_RGB2 || T == PIT_RGB4)
    return b->GetIteratorRGB1_2_4(false);
  else if constexpr (T == PIT_RGB8)
    return b->GetIteratorRGB8(false);
  else if constexpr (T == PIT_RGB16)
    return b->GetIteratorRGB16(false);
  else if constexpr (T == PIT_RGB24)
    return b->GetIteratorRGB24(false);
  else if constexpr (T == PIT_RGB32)
    return b->GetIteratorRGB32(false);
  else if constexpr (T == PIT_BGR16)
    return b->GetIteratorBGR16(false);
  else if constexpr (T == PIT_BGR24)
    return b->GetIteratorBGR24(false);
  else if constexpr (T == PIT_BGR32)
    return b->GetIteratorBGR32(false);
  else if constexpr (T == PIT_CMYK_32)
    return b->GetIteratorCMYK_32(false);
  else if constexpr (T == PIT_CMYKA_40)
    return b->GetIteratorCMYKA_40(false);
  else if constexpr (T == PIT_CMYKA_32_8)
    return b->GetIteratorCMYKA_32_8(false);
  else if constexpr (T == PIT_RGB48) {
    if constexpr (W)
      return b->GetIteratorRGB48W(false);
    else
      return b->GetIteratorRGB48(false);
  } else if constexpr (T == PIT_BGR48) {
    if constexpr (W)
      return b->GetIteratorBGR48W(false);
    else
      return b->GetIteratorBGR48(false);
  } else if constexpr (T == PIT_RGB64) {
    if constexpr (W)
      return b->GetIteratorRGB64W(false);
    else
      return b->GetIteratorRGB64(false);
  } else if constexpr (T == PIT_BGR64) {
    if constexpr (W)
      return b->GetIteratorBGR64W(false);
    else
      return b->GetIteratorBGR64(false);
  } else if constexpr (T == PIT_MONO16) {
    if constexpr (W)
      return b->GetIteratorMONO16W(false);
    else
      return b->GetIteratorMONO16(false);
  } else if constexpr (T == PIT_MONOA16)
    return b->GetIteratorMONOA16(false);
  else {
    if constexpr (W)
      return b->GetIteratorMONOA32W(false);
    else
      return b->GetIteratorMONOA32(false);
  }
}

// Types that have a 16-bit channel view.
constexpr bool HasWide(int t) {
  return t == PIT_RGB48 || t == PIT_BGR48 || t == PIT_RGB64 || t == PIT_BGR64 || t == PIT_MONO16 || t == PIT_MONOA32;
}

struct Rects {
  const CRect* src;
  const CRect* dst;
};

template <class It>
void FillSourcePalette(Ctx& c, const It& it) {
  const PALETTEENTRY* e = it.GetPaletteEntries();
  for (int i = 0; i < it.GetPaletteSize(); ++i)
    c.src.colours[i] = e[i].peRed | (uint32_t{e[i].peGreen} << 8) | (uint32_t{e[i].peBlue} << 16);
}

// One pair: the clip set-up, the identity shortcut, the size test, the row
// walk with zero fill of what the source does not cover.
template <int DT, bool DW, int ST, bool SW>
bool CopyPair(typename Fmt<DT, DW>::Iterator& d, typename Fmt<ST, SW>::Iterator& s, const Rects& rects) {
  using D = Fmt<DT, DW>;
  using S = Fmt<ST, SW>;
  s.SetClip(rects.src);
  d.SetClip(rects.dst);
  const CRect sc = s.GetClip();
  const CRect dc = d.GetClip();
  if (static_cast<void*>(s.GetCurrent()) == static_cast<void*>(d.GetCurrent()) && ::EqualRect(&sc, &dc)) return true;
  const int sw = std::max(0, sc.right - sc.left), sh = std::max(0, sc.bottom - sc.top);
  const int dw = std::max(0, dc.right - dc.left), dh = std::max(0, dc.bottom - dc.top);
  if (sw > dw || sh > dh) return false;
  if (dw == 0 || dh == 0 || d.GetBase() == nullptr) return true;
  if (sw > 0 && sh > 0 && s.GetBase() == nullptr) return false;

  Ctx ctx;
  if constexpr (S::indexed && !(DT == ST)) FillSourcePalette(ctx, s);
  if constexpr (D::indexed && !(DT == ST)) ctx.dst.Set(d.GetPaletteEntries(), d.GetPaletteSize());

  // A destination larger than the cache is written around it.
  const bool stream = int64_t{dw} * dh * std::max(1, D::bytes) >= (int64_t{4} << 20);
  for (int y = 0; y < dh; ++y) {
    uint8_t* drow = d.RowAddress(dc.top + y);
    uint8_t* darow = D::alphaPlane ? d.AlphaRowAddress(dc.top + y) : nullptr;
    int from = 0;
    if (y < sh) {
      const uint8_t* srow = s.RowAddress(sc.top + y);
      const uint8_t* sarow = S::alphaPlane ? s.AlphaRowAddress(sc.top + y) : nullptr;
      ConvertRow<DT, DW, ST, SW>(ctx, drow, darow, dc.left, srow, sarow, sc.left, sw, stream);
      from = sw;
    }
    for (int x = from; x < dw; ++x) D::Zero(drow, darow, dc.left + x);
  }
  if (stream) SimdFence();
  return true;
}

using SourceFn = bool (*)(void* dstIterator, const CBaseBitmap* src, const Rects& rects);

template <int DT, bool DW, int ST, bool SW>
bool SourceLevel(void* dstIterator, const CBaseBitmap* src, const Rects& rects) {
  auto s = GetIter<ST, SW>(src);
  return CopyPair<DT, DW, ST, SW>(*static_cast<typename Fmt<DT, DW>::Iterator*>(dstIterator), s, rects);
}

// The source table of one destination: index = source iterator type. A wide
// destination pairs only with wide sources.
template <int DT, bool DW, int ST>
constexpr SourceFn SourceEntry() {
  if constexpr (ST == 0) {
    return nullptr;
  } else if constexpr (DW) {
    if constexpr (HasWide(ST))
      return &SourceLevel<DT, true, ST, true>;
    else
      return nullptr;
  } else {
    return &SourceLevel<DT, false, ST, false>;
  }
}

template <int DT, bool DW, size_t... I>
constexpr std::array<SourceFn, 22> MakeSourceTable(std::index_sequence<I...>) {
  return {{SourceEntry<DT, DW, static_cast<int>(I)>()...}};
}

template <int DT, bool DW>
inline constexpr std::array<SourceFn, 22> c_sourceTable = MakeSourceTable<DT, DW>(std::make_index_sequence<22>{});

// Source level for a destination iterator already built: picks the source
// type and view and runs the pair. False for an unknown source type.
template <int DT, bool DW>
bool DispatchSource(typename Fmt<DT, DW>::Iterator& d, const CBaseBitmap* src, const Rects& rects, bool wide) {
  const int st = src->GetIteratorType();
  if (st < 1 || st > 21) return false;
  if constexpr (DW) {
    if (!wide || !HasWide(st)) return false;
  }
  const SourceFn fn = c_sourceTable<DT, DW>[static_cast<size_t>(st)];
  return fn != nullptr && fn(&d, src, rects);
}

// Destination level for a bitmap destination of type DT.
template <int DT>
bool DestLevel(CBaseBitmap* dst, const CBaseBitmap* src, const Rects& rects, bool wide) {
  if constexpr (HasWide(DT)) {
    if (wide) {
      auto d = GetIter<DT, true>(dst);
      return DispatchSource<DT, true>(d, src, rects, true);
    }
  }
  auto d = GetIter<DT, false>(dst);
  return DispatchSource<DT, false>(d, src, rects, false);
}

}  // namespace Kernel::convert

namespace Kernel::convert {

// The packed-bitmap iterator of a destination type (1 to 11).
template <int T>
typename Fmt<T, false>::Iterator GetDibIter(HGLOBAL dib) {
  if constexpr (T == PIT_MONO8)
    return DIBGetIteratorMONO8(dib);
  else if constexpr (T == PIT_RGB1 || T == PIT_RGB2 || T == PIT_RGB4)
    return DIBGetIteratorRGB1_2_4(dib);
  else if constexpr (T == PIT_RGB8)
    return DIBGetIteratorRGB8(dib);
  else if constexpr (T == PIT_RGB16)
    return DIBGetIteratorRGB16(dib);
  else if constexpr (T == PIT_RGB24)
    return DIBGetIteratorRGB24(dib);
  else if constexpr (T == PIT_RGB32)
    return DIBGetIteratorRGB32(dib);
  else if constexpr (T == PIT_BGR16)
    return DIBGetIteratorBGR16(dib);
  else if constexpr (T == PIT_BGR24)
    return DIBGetIteratorBGR24(dib);
  else
    return DIBGetIteratorBGR32(dib);
}

template <int DT>
bool DibDestLevel(HGLOBAL dib, const CBaseBitmap* src, const Rects& rects) {
  static_assert(DT >= 1 && DT <= 11);
  auto d = GetDibIter<DT>(dib);
  return DispatchSource<DT, false>(d, src, rects, false);
}

}  // namespace Kernel::convert
