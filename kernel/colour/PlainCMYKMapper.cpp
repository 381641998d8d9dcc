// The device-independent CMYK mapper.
#include <kernel/CMYKMapper.h>

#include <algorithm>

namespace Kernel {

CMYKMapper::~CMYKMapper() = default;

namespace {

constexpr uint32_t Div255(uint32_t v) { return (v * 257 + 256) >> 16; }

inline uint32_t InksToColour(uint32_t c, uint32_t m, uint32_t y, uint32_t k) {
  const uint32_t white = 255 - k;
  return Div255((255 - c) * white) | (Div255((255 - m) * white) << 8) | (Div255((255 - y) * white) << 16);
}

}  // namespace

uint32_t CPlainCMYKMapper::RGBToCMYK(uint32_t colour) {
  const uint32_t r = colour & 255u, g = (colour >> 8) & 255u, b = (colour >> 16) & 255u;
  const uint32_t mx = std::max({r, g, b});
  if (mx == 0) return PackCMYK(0, 0, 0, 255);
  // Rounded to nearest so that CMYKToRGB lands back within one step.
  const auto ink = [mx](uint32_t c) { return ((mx - c) * 255 + mx / 2) / mx; };
  return PackCMYK(ink(r), ink(g), ink(b), 255 - mx);
}

uint32_t CPlainCMYKMapper::CMYKToRGB(uint32_t cmyk) {
  return InksToColour(cmyk & 255u, (cmyk >> 8) & 255u, (cmyk >> 16) & 255u, cmyk >> 24);
}

uint32_t CPlainCMYKMapper::InksToRGB(uint8_t k, uint8_t m, uint8_t y, uint8_t c) { return InksToColour(c, m, y, k); }

}  // namespace Kernel
