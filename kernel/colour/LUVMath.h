#pragma once
// The per-pixel arithmetic of the L*u*v* family, shared by the single-colour
// functions and the whole-bitmap loops so that both evaluate exactly the same
// float expressions in the same order: a bitmap pixel must give bit for bit
// the floats RGBtoLUV gives for its colour.
#include <cmath>
#include <cstdint>

namespace Kernel::luv {

// sRGB transfer curve of one channel given as 0..255.
inline float Linearise(float c) {
  c = c / 255.0f;
  return c > 0.04045f ? std::pow((c + 0.055f) / 1.055f, 2.4f) : c / 12.92f;
}

inline float LinearToX(float r, float g, float b) { return 0.4124f * r + 0.3576f * g + 0.1805f * b; }
inline float LinearToY(float r, float g, float b) { return 0.2126f * r + 0.7152f * g + 0.0722f * b; }
inline float LinearToZ(float r, float g, float b) { return 0.0193f * r + 0.1192f * g + 0.9505f * b; }

// L* from Y. The exponent is the float nearest 1/3, as a float pow gets it.
inline float YToL(float y) {
  const float f = y > 0.008856f ? std::pow(y, 0.33333334f) : 7.787f * y + 0.13793103f;
  return 116.0f * f - 16.0f;
}

// L*u*v* from X, Y, Z. Black (d = 0) takes u' = 4, v' = 0.6 rather than the
// white point; L* is then about zero, so u* and v* are too.
inline void XYZToLUV(float x, float y, float z, float& L, float& u, float& v) {
  const float d = x + 15.0f * y + 3.0f * z;
  float up = 4.0f;
  float vp = 0.6f;
  if (d != 0.0f) {
    up = 4.0f * x / d;
    vp = 9.0f * y / d;
  }
  L = YToL(y);
  u = 13.0f * L * (up - 0.19783981f);
  v = 13.0f * L * (vp - 0.46833628f);
}

// Inverse sRGB curve of one linear channel, scaled to 0..255 and clamped. The
// comparisons are written so that NaN ends at 0 rather than travelling on.
inline float Delinearise(float c) {
  c = c > 0.0031308f ? 1.055f * std::pow(c, 0.41666666f) - 0.055f : 12.92f * c;
  c *= 255.0f;
  return c > 0.0f ? (c < 255.0f ? c : 255.0f) : 0.0f;
}

}  // namespace Kernel::luv
