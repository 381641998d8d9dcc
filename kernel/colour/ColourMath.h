#pragma once
// Helpers shared by the colour conversion sources (not exported).
#include <cstdint>

namespace Kernel {
namespace ColourMath {

constexpr int Red(uint32_t c) { return static_cast<int>(c & 255u); }
constexpr int Green(uint32_t c) { return static_cast<int>((c >> 8) & 255u); }
constexpr int Blue(uint32_t c) { return static_cast<int>((c >> 16) & 255u); }

// Channels masked to bytes, so out-of-range values wrap as a byte store would.
constexpr uint32_t Pack(int64_t r, int64_t g, int64_t b) {
  return static_cast<uint32_t>((r & 255) | ((g & 255) << 8) | ((b & 255) << 16));
}

constexpr uint32_t Red16(uint64_t c) { return static_cast<uint32_t>(c & 0xFFFFu); }
constexpr uint32_t Green16(uint64_t c) { return static_cast<uint32_t>((c >> 16) & 0xFFFFu); }
constexpr uint32_t Blue16(uint64_t c) { return static_cast<uint32_t>((c >> 32) & 0xFFFFu); }

constexpr uint64_t Pack16(int64_t r, int64_t g, int64_t b) {
  return static_cast<uint64_t>(r & 0xFFFF) | (static_cast<uint64_t>(g & 0xFFFF) << 16) |
         (static_cast<uint64_t>(b & 0xFFFF) << 32);
}

// The library's rounded division by 255.
constexpr int64_t Div255(int64_t v) { return (v * 257 + 256) >> 16; }

// Wraps a hue into 0..360 by whole turns, exactly as subtracting 360 while it
// is above 360 and adding 360 while it is below 0 would: 360 stays 360, 720
// becomes 360, -360 becomes 0.
constexpr int64_t WrapHue(int64_t x) {
  if (x > 360) return (x - 1) % 360 + 1;
  if (x < 0) {
    x %= 360;
    if (x < 0) x += 360;
  }
  return x;
}

// The piecewise hue ramp of HSL to RGB with truncating divisions by 60.
constexpr int64_t IntRamp(int64_t m1, int64_t m2, int64_t x) {
  x = WrapHue(x);
  if (x < 60) return m1 + (m2 - m1) * x / 60;
  if (x < 180) return m2;
  if (x < 240) return m1 + (m2 - m1) * (240 - x) / 60;
  return m1;
}

// Hue of integer HSL/HSV from the channels, their maximum and the spread d > 0
// (signed, truncating divisions); not yet wrapped.
constexpr int64_t IntHue(int64_t r, int64_t g, int64_t b, int64_t mx, int64_t d) {
  if (r == mx) return 60 * (g - b) / d;
  if (g == mx) return 60 * (b - r) / d + 120;
  return 60 * (r - g) / d + 240;
}

}  // namespace ColourMath
}  // namespace Kernel
