#pragma once
// Row conversion for one pair of policies: the plain scalar rule, kept as the
// reference for every pair, and the row entry the skeleton calls, which takes
// a vector path for the pairs that have one.
#include <cstring>

#include "PixelFormats.h"

namespace Kernel::convert {

// Converts n pixels: source columns sx.., destination columns dx.., each row
// given by its column-0 address (and alpha-plane row where the layout has one).
template <int DT, bool DW, int ST, bool SW>
inline void ConvertRowScalar(const Ctx& c, uint8_t* drow, uint8_t* darow, int dx, const uint8_t* srow,
                             const uint8_t* sarow, int sx, int n) {
  using D = Fmt<DT, DW>;
  using S = Fmt<ST, SW>;
  if constexpr (DT == ST && DW == SW) {
    // The same layout: the pixel moves as it is (bytes, or palette index).
    if constexpr (D::packed) {
      for (int i = 0; i < n; ++i) D::SetIndex(drow, dx + i, S::Index(srow, sx + i));
    } else {
      std::memmove(drow + static_cast<ptrdiff_t>(D::bytes) * dx, srow + static_cast<ptrdiff_t>(S::bytes) * sx,
                   static_cast<size_t>(n) * D::bytes);
      if constexpr (D::alphaPlane) {
        if (darow != nullptr) {
          if (sarow != nullptr)
            std::memmove(darow + dx, sarow + sx, static_cast<size_t>(n));
          else
            std::memset(darow + dx, 255, static_cast<size_t>(n));
        }
      }
    }
  } else {
    constexpr uint32_t none = AlphaIfNone<DT, ST>(D::bits);
    for (int i = 0; i < n; ++i) D::Store(c, drow, darow, dx + i, Convert<D, S>(S::Load(c, srow, sarow, sx + i), none));
  }
}

// Vector rows for the hot pairs (ConvertSimd.cpp). Each returns the number of
// leading pixels it converted; the scalar rule finishes the rest.
// With stream set they write around the cache (into 16-byte aligned rows),
// for destinations larger than the cache; SimdFence then orders those
// stores before the pixels are used.
int SimdRgb24ToRgb32(uint8_t* d, const uint8_t* s, int n, uint8_t alpha, bool stream);
int SimdSwap24To32(uint8_t* d, const uint8_t* s, int n, uint8_t alpha, bool stream);
int SimdRgb32ToRgb24(uint8_t* d, const uint8_t* s, int n, bool stream);
int SimdRgb32ToMono8(uint8_t* d, const uint8_t* s, int n, int r, int g, int b, bool stream);
int SimdHigh64To32(uint8_t* d, const uint8_t* s, int n, bool swap, bool stream);
int SimdRgb16ToRgb32(uint8_t* d, const uint8_t* s, int n, bool stream);
int SimdCmykToRgb32(uint8_t* d, const uint8_t* s, int n, bool stream);
void SimdFence();

template <int DT, bool DW, int ST, bool SW>
inline int ConvertRowSimd(uint8_t* d, const uint8_t* s, int n, bool stream) {
  if constexpr (DW || SW) {
    return 0;
  } else if constexpr (ST == PIT_RGB24 && DT == PIT_RGB32) {
    return SimdRgb24ToRgb32(d, s, n, 0, stream);
  } else if constexpr (ST == PIT_BGR24 && DT == PIT_BGR32) {
    return SimdRgb24ToRgb32(d, s, n, 0, stream);
  } else if constexpr ((ST == PIT_BGR24 && DT == PIT_RGB32) || (ST == PIT_RGB24 && DT == PIT_BGR32)) {
    return SimdSwap24To32(d, s, n, 255, stream);
  } else if constexpr ((ST == PIT_RGB32 && DT == PIT_RGB24) || (ST == PIT_BGR32 && DT == PIT_BGR24)) {
    return SimdRgb32ToRgb24(d, s, n, stream);
  } else if constexpr (ST == PIT_RGB32 && DT == PIT_MONO8) {
    return SimdRgb32ToMono8(d, s, n, 2, 1, 0, stream);
  } else if constexpr (ST == PIT_BGR32 && DT == PIT_MONO8) {
    return SimdRgb32ToMono8(d, s, n, 0, 1, 2, stream);
  } else if constexpr ((ST == PIT_RGB64 && DT == PIT_RGB32) || (ST == PIT_BGR64 && DT == PIT_BGR32)) {
    return SimdHigh64To32(d, s, n, false, stream);
  } else if constexpr ((ST == PIT_RGB64 && DT == PIT_BGR32) || (ST == PIT_BGR64 && DT == PIT_RGB32)) {
    return SimdHigh64To32(d, s, n, true, stream);
  } else if constexpr (ST == PIT_RGB16 && DT == PIT_RGB32) {
    return SimdRgb16ToRgb32(d, s, n, stream);
  } else if constexpr (ST == PIT_CMYK_32 && DT == PIT_RGB32) {
    return SimdCmykToRgb32(d, s, n, stream);
  } else {
    (void)d, (void)s, (void)n, (void)stream;
    return 0;
  }
}

template <int DT, bool DW, int ST, bool SW>
inline void ConvertRow(const Ctx& c, uint8_t* drow, uint8_t* darow, int dx, const uint8_t* srow, const uint8_t* sarow,
                       int sx, int n, bool stream = false) {
  using D = Fmt<DT, DW>;
  using S = Fmt<ST, SW>;
  if constexpr (D::bytes > 0 && S::bytes > 0 && !D::alphaPlane && !S::alphaPlane) {
    const int done = ConvertRowSimd<DT, DW, ST, SW>(drow + static_cast<ptrdiff_t>(D::bytes) * dx,
                                                    srow + static_cast<ptrdiff_t>(S::bytes) * sx, n, stream);
    dx += done;
    sx += done;
    n -= done;
  } else {
    (void)stream;
  }
  ConvertRowScalar<DT, DW, ST, SW>(c, drow, darow, dx, srow, sarow, sx, n);
}

}  // namespace Kernel::convert
