#pragma once
// The fixed-point arithmetic every gradient table lookup shares, so the scalar
// and the SSE2 paths cannot drift apart.
#include <algorithm>
#include <cstdint>

namespace Kernel::GradientTableDetail {

constexpr int c_lastPosition = 32767;
constexpr double c_onePositionD = 32768.0;

// Interpolation between entries a and b at the 15-bit fraction f. The product
// is taken to 15 bits and its lowest bit cleared, which is exactly what a
// 16 x 16 signed multiply keeping the high half, doubled, gives; that is the
// form the SSE2 path computes, and the reason descending runs round towards
// minus infinity two steps at a time.
inline int Interpolate(int a, int b, int16_t f) { return a + (((f * (b - a)) >> 15) & ~1); }

// 8.7 fixed point to a byte, rounded.
inline int ToByte(int v) { return (v + 64) >> 7; }

// Entries are clamped into 0..32640 when a table is built: the interpolated
// value then stays within 16 signed bits, which the SSE2 path relies on.
inline int16_t ClampEntry(int v) { return static_cast<int16_t>(std::clamp(v, 0, 32640)); }

inline uint16_t LimitPosition(uint16_t pos) { return pos > c_lastPosition ? c_lastPosition : pos; }

// Fill positions carry 16 more fraction bits; outside the gradient they stick
// to its ends.
inline uint16_t FillPosition(int64_t p) {
  if (p < 0) return 0;
  const int64_t pos = p >> 16;
  return pos > c_lastPosition ? c_lastPosition : static_cast<uint16_t>(pos);
}

}  // namespace Kernel::GradientTableDetail
