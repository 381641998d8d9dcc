// Vector rows for the conversion pairs that dominate real work. Each gives
// exactly the bytes of the scalar rule in PixelFormats.h (the tests compare
// them over every row length up to 64) and converts only whole vectors whose
// loads and stores stay inside the row; the scalar rule finishes the tail.
// SSE2 is the x86-64 baseline; byte shuffles use SSSE3 when the processor
// has it, chosen at run time.
#include <emmintrin.h>
#include <tmmintrin.h>

#include <kernel/CPU.h>

#include "ConvertRows.h"

namespace Kernel::convert {

namespace {

const bool c_ssse3 = IsSSSE3Available();

// Stores that bypass the cache when the caller writes more than the cache
// holds: the destination lines are then not read before being written.
template <bool NT>
inline void Put(uint8_t* d, __m128i v) {
  if constexpr (NT)
    _mm_stream_si128(reinterpret_cast<__m128i*>(d), v);
  else
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
}

// Streams only into 16-byte aligned rows; every vector step below advances
// the destination by a multiple of 16 bytes, so the start decides.
inline bool Streamable(const uint8_t* d, bool stream) { return stream && (reinterpret_cast<uintptr_t>(d) & 15) == 0; }

// 16 pixels of 3 bytes (48 bytes in three loads) to 16 pixels of 4 bytes,
// through a shuffle that places each triple and sets the fourth byte.
template <bool NT>
__attribute__((target("ssse3"))) int Widen24Ssse3(uint8_t* d, const uint8_t* s, int n, bool swap, uint8_t alpha) {
  const __m128i shuf = swap ? _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1)
                            : _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m128i fill = _mm_set1_epi32(static_cast<int>(uint32_t{alpha} << 24));
  int i = 0;
  for (; i + 16 <= n; i += 16, s += 48, d += 64) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32));
    const __m128i p0 = a;
    const __m128i p1 = _mm_alignr_epi8(b, a, 12);
    const __m128i p2 = _mm_alignr_epi8(c, b, 8);
    const __m128i p3 = _mm_srli_si128(c, 4);
    Put<NT>(d, _mm_or_si128(_mm_shuffle_epi8(p0, shuf), fill));
    Put<NT>(d + 16, _mm_or_si128(_mm_shuffle_epi8(p1, shuf), fill));
    Put<NT>(d + 32, _mm_or_si128(_mm_shuffle_epi8(p2, shuf), fill));
    Put<NT>(d + 48, _mm_or_si128(_mm_shuffle_epi8(p3, shuf), fill));
  }
  return i;
}

// Without SSSE3: four bytes loaded per pixel (the fourth belongs to the next
// pixel, so the last pixel of the row is left to the scalar rule).
int Widen24Words(uint8_t* d, const uint8_t* s, int n, bool swap, uint8_t alpha) {
  const uint32_t fill = uint32_t{alpha} << 24;
  int i = 0;
  for (; i + 1 < n; ++i, s += 3, d += 4) {
    uint32_t v = Ld32(s) & 0xFFFFFF;
    if (swap) v = ((v & 0xFF) << 16) | (v & 0xFF00) | (v >> 16);
    St32(d, v | fill);
  }
  return i;
}

template <bool NT>
__attribute__((target("ssse3"))) int Narrow32Ssse3(uint8_t* d, const uint8_t* s, int n) {
  const __m128i shuf = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  int i = 0;
  for (; i + 16 <= n; i += 16, s += 64, d += 48) {
    const __m128i a = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)), shuf);
    const __m128i b = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16)), shuf);
    const __m128i c = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32)), shuf);
    const __m128i e = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 48)), shuf);
    Put<NT>(d, _mm_or_si128(a, _mm_slli_si128(b, 12)));
    Put<NT>(d + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
    Put<NT>(d + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(e, 4)));
  }
  return i;
}

// Without SSSE3: a four-byte store per pixel overlapping the next pixel's
// first byte, which the next store rewrites; the last pixel goes scalar.
int Narrow32Words(uint8_t* d, const uint8_t* s, int n) {
  int i = 0;
  for (; i + 1 < n; ++i, s += 4, d += 3) St32(d, Ld32(s));
  return i;
}

}  // namespace

int SimdRgb24ToRgb32(uint8_t* d, const uint8_t* s, int n, uint8_t alpha, bool stream) {
  if (!c_ssse3) return Widen24Words(d, s, n, false, alpha);
  return Streamable(d, stream) ? Widen24Ssse3<true>(d, s, n, false, alpha) : Widen24Ssse3<false>(d, s, n, false, alpha);
}

int SimdSwap24To32(uint8_t* d, const uint8_t* s, int n, uint8_t alpha, bool stream) {
  if (!c_ssse3) return Widen24Words(d, s, n, true, alpha);
  return Streamable(d, stream) ? Widen24Ssse3<true>(d, s, n, true, alpha) : Widen24Ssse3<false>(d, s, n, true, alpha);
}

int SimdRgb32ToRgb24(uint8_t* d, const uint8_t* s, int n, bool stream) {
  if (!c_ssse3) return Narrow32Words(d, s, n);
  return Streamable(d, stream) ? Narrow32Ssse3<true>(d, s, n) : Narrow32Ssse3<false>(d, s, n);
}

void SimdFence() { _mm_sfence(); }

namespace {

// (r + g + b) / 3: the three channel bytes summed in 32-bit lanes, packed to
// 16 bits and divided by 3 as (x * 0xAAAB) >> 17, exact for x <= 765. The
// sum does not depend on the channel order, only on the alpha byte being
// the fourth.
template <bool NT>
int SimdRgb32ToMono8Impl(uint8_t* d, const uint8_t* s, int n, int, int, int) {
  const __m128i lo = _mm_set1_epi32(0xFF);
  const __m128i third = _mm_set1_epi16(static_cast<short>(0xAAAB));
  auto sum4 = [&](const uint8_t* p) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return _mm_add_epi32(_mm_add_epi32(_mm_and_si128(v, lo), _mm_and_si128(_mm_srli_epi32(v, 8), lo)),
                         _mm_and_si128(_mm_srli_epi32(v, 16), lo));
  };
  int i = 0;
  for (; i + 16 <= n; i += 16, s += 64, d += 16) {
    const __m128i a = _mm_packs_epi32(sum4(s), sum4(s + 16));
    const __m128i b = _mm_packs_epi32(sum4(s + 32), sum4(s + 48));
    const __m128i ga = _mm_srli_epi16(_mm_mulhi_epu16(a, third), 1);
    const __m128i gb = _mm_srli_epi16(_mm_mulhi_epu16(b, third), 1);
    Put<NT>(d, _mm_packus_epi16(ga, gb));
  }
  return i;
}

// The high byte of each 16-bit channel: shift the words down and pack. The
// swap exchanges words 0 and 2 of each pixel first.
template <bool NT>
int SimdHigh64To32Impl(uint8_t* d, const uint8_t* s, int n, bool swap) {
  int i = 0;
  for (; i + 4 <= n; i += 4, s += 32, d += 16) {
    __m128i a = _mm_srli_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)), 8);
    __m128i b = _mm_srli_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16)), 8);
    if (swap) {
      a = _mm_shufflehi_epi16(_mm_shufflelo_epi16(a, _MM_SHUFFLE(3, 0, 1, 2)), _MM_SHUFFLE(3, 0, 1, 2));
      b = _mm_shufflehi_epi16(_mm_shufflelo_epi16(b, _MM_SHUFFLE(3, 0, 1, 2)), _MM_SHUFFLE(3, 0, 1, 2));
    }
    Put<NT>(d, _mm_packus_epi16(a, b));
  }
  return i;
}

// 5-6-5 to bytes blue, green, red, 255, rounded to nearest as the scalar
// rule: round(v * 255 / 31) = (v * 527 + 23) >> 6, round(v * 255 / 63) =
// (v * 259 + 33) >> 6 (both exact over their ranges).
template <bool NT>
int SimdRgb16ToRgb32Impl(uint8_t* d, const uint8_t* s, int n) {
  const __m128i m5 = _mm_set1_epi16(31), m6 = _mm_set1_epi16(63);
  const __m128i k527 = _mm_set1_epi16(527), k259 = _mm_set1_epi16(259);
  const __m128i k23 = _mm_set1_epi16(23), k33 = _mm_set1_epi16(33);
  const __m128i opaque = _mm_set1_epi16(static_cast<short>(0xFF00));
  int i = 0;
  for (; i + 8 <= n; i += 8, s += 16, d += 32) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i r5 = _mm_srli_epi16(v, 11);
    const __m128i g6 = _mm_and_si128(_mm_srli_epi16(v, 5), m6);
    const __m128i b5 = _mm_and_si128(v, m5);
    const __m128i r = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(r5, k527), k23), 6);
    const __m128i g = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(g6, k259), k33), 6);
    const __m128i b = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(b5, k527), k23), 6);
    const __m128i bg = _mm_or_si128(b, _mm_slli_epi16(g, 8));
    const __m128i ra = _mm_or_si128(r, opaque);
    Put<NT>(d, _mm_unpacklo_epi16(bg, ra));
    Put<NT>(d + 16, _mm_unpackhi_epi16(bg, ra));
  }
  return i;
}

// CMYK bytes to blue, green, red, 255: each channel (255 - ink)(255 - k)
// divided by 255 rounded, (x * 257 + 256) >> 16, which in 16-bit lanes is
// (x + (x >> 8) + 1) >> 8.
template <bool NT>
int SimdCmykToRgb32Impl(uint8_t* d, const uint8_t* s, int n) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i full = _mm_set1_epi16(255);
  const __m128i one = _mm_set1_epi16(1);
  const __m128i keep = _mm_setr_epi16(-1, -1, -1, 0, -1, -1, -1, 0);
  const __m128i alpha = _mm_setr_epi16(0, 0, 0, 255, 0, 0, 0, 255);
  auto two = [&](__m128i w) {
    const __m128i inv = _mm_sub_epi16(full, w);
    const __m128i kk = _mm_shufflehi_epi16(_mm_shufflelo_epi16(inv, _MM_SHUFFLE(3, 3, 3, 3)), _MM_SHUFFLE(3, 3, 3, 3));
    const __m128i x = _mm_mullo_epi16(inv, kk);
    __m128i q = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(x, _mm_srli_epi16(x, 8)), one), 8);
    q = _mm_shufflehi_epi16(_mm_shufflelo_epi16(q, _MM_SHUFFLE(3, 0, 1, 2)), _MM_SHUFFLE(3, 0, 1, 2));
    return _mm_or_si128(_mm_and_si128(q, keep), alpha);
  };
  int i = 0;
  for (; i + 4 <= n; i += 4, s += 16, d += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i lo = two(_mm_unpacklo_epi8(v, zero));
    const __m128i hi = two(_mm_unpackhi_epi8(v, zero));
    Put<NT>(d, _mm_packus_epi16(lo, hi));
  }
  return i;
}

}  // namespace

int SimdRgb32ToMono8(uint8_t* d, const uint8_t* s, int n, int r, int g, int b, bool stream) {
  (void)r, (void)g, (void)b;
  return Streamable(d, stream) ? SimdRgb32ToMono8Impl<true>(d, s, n, 0, 0, 0)
                               : SimdRgb32ToMono8Impl<false>(d, s, n, 0, 0, 0);
}

int SimdHigh64To32(uint8_t* d, const uint8_t* s, int n, bool swap, bool stream) {
  return Streamable(d, stream) ? SimdHigh64To32Impl<true>(d, s, n, swap) : SimdHigh64To32Impl<false>(d, s, n, swap);
}

int SimdRgb16ToRgb32(uint8_t* d, const uint8_t* s, int n, bool stream) {
  return Streamable(d, stream) ? SimdRgb16ToRgb32Impl<true>(d, s, n) : SimdRgb16ToRgb32Impl<false>(d, s, n);
}

int SimdCmykToRgb32(uint8_t* d, const uint8_t* s, int n, bool stream) {
  return Streamable(d, stream) ? SimdCmykToRgb32Impl<true>(d, s, n) : SimdCmykToRgb32Impl<false>(d, s, n);
}

}  // namespace Kernel::convert
