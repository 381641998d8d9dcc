// The single-colour L*u*v* functions. The arithmetic lives in LUVMath.h,
// shared with the whole-bitmap loops.
#include <kernel/LUV.h>

#include <cmath>

#include "LUVMath.h"

namespace Kernel {

void RGBLUVConversions::RGBtoXYZ(float& r, float& g, float& b) {
  const float lr = luv::Linearise(r);
  const float lg = luv::Linearise(g);
  const float lb = luv::Linearise(b);
  r = luv::LinearToX(lr, lg, lb);
  g = luv::LinearToY(lr, lg, lb);
  b = luv::LinearToZ(lr, lg, lb);
}

void RGBLUVConversions::XYZtoRGB(float& x, float& y, float& z) {
  const float r = 3.24071f * x - 1.53726f * y - 0.498571f * z;
  const float g = -0.969258f * x + 1.87599f * y + 0.0415557f * z;
  const float b = 0.0556352f * x - 0.203996f * y + 1.05707f * z;
  x = luv::Delinearise(r);
  y = luv::Delinearise(g);
  z = luv::Delinearise(b);
}

void RGBLUVConversions::RGBtoL(float r, float g, float b, float& L) {
  L = luv::YToL(luv::LinearToY(luv::Linearise(r), luv::Linearise(g), luv::Linearise(b)));
}

void RGBLUVConversions::RGBtoLUV(float r, float g, float b, float& L, float& u, float& v) {
  RGBtoXYZ(r, g, b);
  luv::XYZToLUV(r, g, b, L, u, v);
}

void RGBLUVConversions::RGBtoLUV(uint32_t colour, float* luv) {
  RGBtoLUV(static_cast<float>(colour & 0xFF), static_cast<float>((colour >> 8) & 0xFF),
           static_cast<float>((colour >> 16) & 0xFF), luv[0], luv[1], luv[2]);
}

namespace {

// Rounded half away from zero; the ceiling is 254, never 255, so that a
// round trip through L*u*v* never reports full intensity.
uint32_t ToChannel(float c) {
  const float r = std::round(c);
  if (!(r >= 0.0f)) return 0;
  if (r >= 255.0f) return 254;
  return static_cast<uint32_t>(r);
}

}  // namespace

uint32_t RGBLUVConversions::LUVtoRGB(const float* luv) {
  const float L = luv[0];
  const float t = (L + 16.0f) / 116.0f;
  const float t3 = t * t * t;
  float y = t3 > 0.008856f ? t3 : (t - 0.13793103f) / 7.787f;
  const float up = luv[1] / (13.0f * L) + c_whiteU;
  const float vp = luv[2] / (13.0f * L) + c_whiteV;
  float x = -9.0f * y * up / ((up - 4.0f) * vp - up * vp);
  float z = (9.0f * y - 15.0f * vp * y - x * vp) / (3.0f * vp);
  XYZtoRGB(x, y, z);
  return ToChannel(x) | (ToChannel(y) << 8) | (ToChannel(z) << 16);
}

}  // namespace Kernel
