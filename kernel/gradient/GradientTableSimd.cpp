// SSE2 lookups of a gradient table: eight positions at a time. The index and
// fraction of each position are split in vector lanes with the replicated
// masks; entries are fetched per position (a table index is data dependent),
// and the interpolation runs as 16-bit multiplies keeping the high half, the
// same arithmetic as the scalar lookup (see GradientTableLookup.h).
#include <kernel/GradientTable.h>

#include <emmintrin.h>

#include <cstring>

#include "GradientTableLookup.h"

namespace Kernel {

using namespace GradientTableDetail;

namespace {

struct Splitter {
  __m128i indexMask, fractionMask, round, limit;
  __m128i indexShift, fractionShift;  // shift counts

  // Positions past 32767 read as 32767: min(pos, limit) as pos - sat(pos - limit).
  __m128i Limit(__m128i pos) const { return _mm_sub_epi16(pos, _mm_subs_epu16(pos, limit)); }
  __m128i Index(__m128i pos) const { return _mm_srl_epi16(_mm_and_si128(pos, indexMask), indexShift); }
  __m128i Fraction(__m128i pos) const { return _mm_sll_epi16(_mm_and_si128(pos, fractionMask), fractionShift); }
};

inline __m128i Load(const uint16_t* lanes) { return _mm_load_si128(reinterpret_cast<const __m128i*>(lanes)); }

Splitter MakeSplitter(const uint16_t* indexMask, const uint16_t* fractionMask, const uint16_t* round,
                      uint16_t indexShift, uint16_t fractionShift) {
  return Splitter{Load(indexMask),
                  Load(fractionMask),
                  Load(round),
                  _mm_set1_epi16(c_lastPosition),
                  _mm_cvtsi32_si128(indexShift),
                  _mm_cvtsi32_si128(fractionShift)};
}

// a + 2 * hi16(f * (b - a)), then (v + 64) >> 7.
inline __m128i Lerp(__m128i a, __m128i b, __m128i f, __m128i round) {
  const __m128i m = _mm_mulhi_epi16(f, _mm_sub_epi16(b, a));
  const __m128i v = _mm_add_epi16(a, _mm_add_epi16(m, m));
  return _mm_srai_epi16(_mm_add_epi16(v, round), 7);
}

// Eight byte lookups; pos already limited.
inline void Bytes8(const Splitter& sp, const int16_t* table, __m128i pos, uint8_t* out) {
  alignas(16) uint16_t index[8];
  _mm_store_si128(reinterpret_cast<__m128i*>(index), sp.Index(pos));
  const __m128i f = sp.Fraction(pos);
  // Entry i and i + 1 are one 32-bit load; split them into two vectors.
  int32_t pairs[8];
  for (int k = 0; k < 8; ++k) std::memcpy(&pairs[k], table + index[k], 4);
  const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pairs));
  const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pairs + 4));
  const __m128i a =
      _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(p0, 16), 16), _mm_srai_epi32(_mm_slli_epi32(p1, 16), 16));
  const __m128i b = _mm_packs_epi32(_mm_srai_epi32(p0, 16), _mm_srai_epi32(p1, 16));
  const __m128i r = Lerp(a, b, f, sp.round);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(r, r));
}

// Two pixels: entries i and i + 1 of each are one 16-byte load (4 channels x 2).
inline __m128i DwordPair(const int16_t* table, int i0, int i1, __m128i f, __m128i round) {
  const __m128i e0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 4 * i0));
  const __m128i e1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 4 * i1));
  return Lerp(_mm_unpacklo_epi64(e0, e1), _mm_unpackhi_epi64(e0, e1), f, round);
}

// Eight dword lookups; pos already limited.
inline void Dwords8(const Splitter& sp, const int16_t* table, __m128i pos, uint32_t* out) {
  const __m128i index = sp.Index(pos);
  const __m128i f = sp.Fraction(pos);
  // Each pixel's fraction spread over its four channels.
  const __m128i lo = _mm_unpacklo_epi16(f, f);
  const __m128i hi = _mm_unpackhi_epi16(f, f);
  const __m128i r01 =
      DwordPair(table, _mm_extract_epi16(index, 0), _mm_extract_epi16(index, 1), _mm_unpacklo_epi32(lo, lo), sp.round);
  const __m128i r23 =
      DwordPair(table, _mm_extract_epi16(index, 2), _mm_extract_epi16(index, 3), _mm_unpackhi_epi32(lo, lo), sp.round);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(r01, r23));
  const __m128i r45 =
      DwordPair(table, _mm_extract_epi16(index, 4), _mm_extract_epi16(index, 5), _mm_unpacklo_epi32(hi, hi), sp.round);
  const __m128i r67 =
      DwordPair(table, _mm_extract_epi16(index, 6), _mm_extract_epi16(index, 7), _mm_unpackhi_epi32(hi, hi), sp.round);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_packus_epi16(r45, r67));
}

// Walks fill positions (16 extra fraction bits) eight pixels at a time.
class FillWalker {
 public:
  FillWalker(int64_t start, int64_t step) : m_p(start), m_step(step) {
    // Within the gradient a position and its next seven fit 31 bits, so the
    // common case computes them in 32-bit lanes; the offsets k * step then
    // fit too, which needs |step| below 2^31 / 7.
    m_fast = step > -c_fastStep && step < c_fastStep;
    const auto s = static_cast<int32_t>(m_fast ? step : 0);
    m_offsetsLo = _mm_setr_epi32(0, s, 2 * s, 3 * s);
    m_offsetsHi = _mm_setr_epi32(4 * s, 5 * s, 6 * s, 7 * s);
  }

  __m128i Next() {
    const int64_t p = m_p;
    m_p = Add(m_p, static_cast<int64_t>(static_cast<uint64_t>(m_step) * 8u));
    if (m_fast) {
      const int64_t last = Add(p, 7 * m_step);
      if (p >= 0 && p <= c_maxFill && last >= 0 && last <= c_maxFill) {
        const __m128i base = _mm_set1_epi32(static_cast<int32_t>(p));
        const __m128i lo = _mm_srli_epi32(_mm_add_epi32(base, m_offsetsLo), 16);
        const __m128i hi = _mm_srli_epi32(_mm_add_epi32(base, m_offsetsHi), 16);
        return _mm_packs_epi32(lo, hi);
      }
    }
    alignas(16) uint16_t pos[8];
    int64_t q = p;
    for (int k = 0; k < 8; ++k) {
      pos[k] = FillPosition(q);
      q = Add(q, m_step);
    }
    return _mm_load_si128(reinterpret_cast<const __m128i*>(pos));
  }

 private:
  // Wrapping addition: absurd starts and steps give odd positions, never
  // undefined behaviour.
  static int64_t Add(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
  }
  static constexpr int64_t c_fastStep = (int64_t{1} << 31) / 8;
  static constexpr int64_t c_maxFill = (int64_t{c_lastPosition} << 16) | 0xFFFF;

  int64_t m_p;
  int64_t m_step;
  bool m_fast;
  __m128i m_offsetsLo, m_offsetsHi;
};

}  // namespace

void CGradientTable::GetParallelBytes(const uint16_t* positions, uint8_t* out, int count) const {
  if (count <= 0) return;
  if (!m_bytes) {
    std::memset(out, 0, static_cast<size_t>(count));
    return;
  }
  const Splitter sp = MakeSplitter(m_vecIndexMask, m_vecFractionMask, m_vecRound, m_indexShift, m_fractionShift);
  int k = 0;
  for (; k + 8 <= count; k += 8) {
    const __m128i pos = _mm_loadu_si128(reinterpret_cast<const __m128i*>(positions + k));
    Bytes8(sp, m_bytes, sp.Limit(pos), out + k);
  }
  if (k < count) {
    alignas(16) uint16_t pos[8] = {};
    uint8_t res[8];
    std::memcpy(pos, positions + k, sizeof(uint16_t) * static_cast<size_t>(count - k));
    Bytes8(sp, m_bytes, sp.Limit(_mm_load_si128(reinterpret_cast<const __m128i*>(pos))), res);
    std::memcpy(out + k, res, static_cast<size_t>(count - k));
  }
}

void CGradientTable::GetParallelDwords(const uint16_t* positions, uint32_t* out, int count) const {
  if (count <= 0) return;
  if (!m_dwords) {
    std::memset(out, 0, sizeof(uint32_t) * static_cast<size_t>(count));
    return;
  }
  const Splitter sp = MakeSplitter(m_vecIndexMask, m_vecFractionMask, m_vecRound, m_indexShift, m_fractionShift);
  int k = 0;
  for (; k + 8 <= count; k += 8) {
    const __m128i pos = _mm_loadu_si128(reinterpret_cast<const __m128i*>(positions + k));
    Dwords8(sp, m_dwords, sp.Limit(pos), out + k);
  }
  if (k < count) {
    alignas(16) uint16_t pos[8] = {};
    uint32_t res[8];
    std::memcpy(pos, positions + k, sizeof(uint16_t) * static_cast<size_t>(count - k));
    Dwords8(sp, m_dwords, sp.Limit(_mm_load_si128(reinterpret_cast<const __m128i*>(pos))), res);
    std::memcpy(out + k, res, sizeof(uint32_t) * static_cast<size_t>(count - k));
  }
}

void CGradientTable::GetParallelBytes(int64_t start, int64_t step, uint8_t* out, int count) const {
  if (count <= 0) return;
  if (!m_bytes) {
    std::memset(out, 0, static_cast<size_t>(count));
    return;
  }
  const Splitter sp = MakeSplitter(m_vecIndexMask, m_vecFractionMask, m_vecRound, m_indexShift, m_fractionShift);
  FillWalker walk(start, step);
  int k = 0;
  for (; k + 8 <= count; k += 8) Bytes8(sp, m_bytes, walk.Next(), out + k);
  if (k < count) {
    uint8_t res[8];
    Bytes8(sp, m_bytes, walk.Next(), res);
    std::memcpy(out + k, res, static_cast<size_t>(count - k));
  }
}

void CGradientTable::GetParallelDwords(int64_t start, int64_t step, uint32_t* out, int count) const {
  if (count <= 0) return;
  if (!m_dwords) {
    std::memset(out, 0, sizeof(uint32_t) * static_cast<size_t>(count));
    return;
  }
  const Splitter sp = MakeSplitter(m_vecIndexMask, m_vecFractionMask, m_vecRound, m_indexShift, m_fractionShift);
  FillWalker walk(start, step);
  int k = 0;
  for (; k + 8 <= count; k += 8) Dwords8(sp, m_dwords, walk.Next(), out + k);
  if (k < count) {
    uint32_t res[8];
    Dwords8(sp, m_dwords, walk.Next(), res);
    std::memcpy(out + k, res, sizeof(uint32_t) * static_cast<size_t>(count - k));
  }
}

}  // namespace Kernel
