// CIE L*a*b* through sRGB primaries and the D65 white point, and the CMYK
// conversions that go through a caller's mapper.
#include <kernel/CMYKMapper.h>
#include <kernel/Colour.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "ColourMath.h"

namespace Kernel {

using namespace ColourMath;

namespace {

// sRGB decoding of every byte value. Built by a static initialiser when the
// library is loaded and only read afterwards, so readers need no lock.
struct LinearisationTable {
  std::array<double, 256> values;
  LinearisationTable() {
    for (int i = 0; i < 256; ++i) {
      const double c = i / 255.0;
      values[i] = c > 0.04045 ? std::pow((c + 0.055) / 1.055, 2.4) : c / 12.92;
    }
  }
};

const LinearisationTable g_linear;

// The CIE lightness curve: cube root above the (6/29)^3 knee, linear below.
inline double LabF(double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 0.13793103448275862; }

inline double LabFInverse(double t) { return t > 0.206893 ? t * t * t : (t - 0.13793103448275862) / 7.787; }

inline double Encode(double c) { return c > 0.0031308 ? 1.055 * std::pow(c, 1.0 / 2.4) - 0.055 : 12.92 * c; }

inline int64_t ToByte(double c) { return static_cast<int64_t>(std::round(std::clamp(c, 0.0, 1.0) * 255.0)); }

}  // namespace

void RGBToLab(uint32_t colour, double& L, double& a, double& b) {
  const double* lin = g_linear.values.data();
  const double r = lin[Red(colour)], g = lin[Green(colour)], bl = lin[Blue(colour)];
  // Scaled by the reciprocals of the white point's X and Z.
  const double x = (0.412453 * r + 0.35758 * g + 0.180423 * bl) * 1.0521265581994328;
  const double y = 0.212671 * r + 0.71516 * g + 0.072169 * bl;
  const double z = (0.019334 * r + 0.119193 * g + 0.950227 * bl) * 0.9184811261313391;
  const double fx = LabF(x), fy = LabF(y), fz = LabF(z);
  // std::round rounds halves away from zero.
  L = std::round(116.0 * fy - 16.0);
  a = std::round(500.0 * (fx - fy));
  b = std::round(200.0 * (fy - fz));
}

uint32_t LabToRGB(double L, double a, double b) {
  const double fy = (L + 16.0) / 116.0;
  const double fx = fy + a / 500.0;
  const double fz = fy - b / 200.0;
  const double x = 0.950456 * LabFInverse(fx);
  const double y = LabFInverse(fy);
  const double z = 1.088754 * LabFInverse(fz);
  const double r = 3.240479 * x - 1.53715 * y - 0.498535 * z;
  const double g = -0.969256 * x + 1.875992 * y + 0.041556 * z;
  const double bl = 0.055648 * x - 0.204043 * y + 1.057311 * z;
  return Pack(ToByte(Encode(r)), ToByte(Encode(g)), ToByte(Encode(bl)));
}

void CMYKToLab(uint32_t cmyk, double& L, double& a, double& b, CMYKMapper& mapper) {
  const uint32_t colour = mapper.InksToRGB(static_cast<uint8_t>(cmyk >> 24), static_cast<uint8_t>(cmyk >> 8),
                                           static_cast<uint8_t>(cmyk >> 16), static_cast<uint8_t>(cmyk));
  RGBToLab(colour, L, a, b);
}

uint32_t LabToCMYK(double L, double a, double b, CMYKMapper& mapper) { return mapper.RGBToCMYK(LabToRGB(L, a, b)); }

void CMYKToHSL(uint32_t cmyk, int& h, int& s, int& l, CMYKMapper& mapper) { RGBToHSL(mapper.CMYKToRGB(cmyk), h, s, l); }

uint32_t HSLToCMYK(int h, int s, int l, CMYKMapper& mapper) { return mapper.RGBToCMYK(HSLToRGB(h, s, l)); }

}  // namespace Kernel
