// HSL and HSV, floating and integer, on 8-bit and 16-bit channels.
#include <kernel/Colour.h>

#include <algorithm>
#include <cmath>

#include "ColourMath.h"

namespace Kernel {

using namespace ColourMath;

namespace {

// trunc(x * scale) stored into a channel of `mask` bits: truncation, not
// rounding, is what stored colours were made with.
inline int64_t TruncChannel(double x, double scale, int64_t mask) { return static_cast<int64_t>(x * scale) & mask; }

// Brings a hue far outside one turn close to it first, so the turn-by-turn
// wrap below stays cheap; values within a few turns (the only ones HSL to RGB
// produces for valid hues) are wrapped one turn at a time as before.
inline double WrapDegrees(double x) {
  if (!std::isfinite(x)) return 0.0;
  if (x > 3600.0 || x < -3600.0) x = std::fmod(x, 360.0);
  while (x > 360.0) x -= 360.0;
  while (x < 0.0) x += 360.0;
  return x;
}

inline double Ramp(double m1, double m2, double x) {
  x = WrapDegrees(x);
  if (x < 60.0) return m1 + (m2 - m1) * x / 60.0;
  if (x < 180.0) return m2;
  if (x < 240.0) return m1 + (m2 - m1) * (240.0 - x) / 60.0;
  return m1;
}

constexpr double kByte = 0.00392156862745098;  // 1/255 as the HSL code multiplies by it
constexpr double kEpsilon = 1e-6;

}  // namespace

// --- HSL -------------------------------------------------------------------

void RGBToHSL(uint32_t colour, double& h, double& s, double& l) {
  const double r = Red(colour) * kByte, g = Green(colour) * kByte, b = Blue(colour) * kByte;
  const double mx = std::max({r, g, b}), mn = std::min({r, g, b});
  l = (mx + mn) / 2.0;
  if (std::fabs(mn - mx) <= kEpsilon) {
    h = 0.0;
    s = 0.0;
    return;
  }
  const double d = mx - mn;
  s = l < 0.5 ? d / (mx + mn) : d / (2.0 - mx - mn);
  double hue = 0.0;
  if (std::fabs(r - mx) <= kEpsilon)
    hue = (g - b) / d;
  else if (std::fabs(g - mx) <= kEpsilon)
    hue = 2.0 + (b - r) / d;
  else if (std::fabs(b - mx) <= kEpsilon)
    hue = 4.0 + (r - g) / d;
  hue = std::fmod(60.0 * hue, 360.0);
  if (hue < 0.0) hue += 360.0;
  h = hue;
}

uint32_t HSLToRGB(double h, double s, double l) {
  const double m2 = l <= 0.5 ? l * (1.0 + s) : l + s - l * s;
  if (s == 0.0) {
    const int64_t v = TruncChannel(l, 255.0, 255);
    return Pack(v, v, v);
  }
  const double m1 = 2.0 * l - m2;
  return Pack(TruncChannel(Ramp(m1, m2, h + 120.0), 255.0, 255), TruncChannel(Ramp(m1, m2, h), 255.0, 255),
              TruncChannel(Ramp(m1, m2, h - 120.0), 255.0, 255));
}

void RGBToHSL(uint32_t colour, int& h, int& s, int& l) {
  const int r = Red(colour), g = Green(colour), b = Blue(colour);
  const int mx = std::max({r, g, b}), mn = std::min({r, g, b});
  l = (mx + mn) >> 1;
  if (mx == mn) {
    h = s = 0;
    return;
  }
  const int d = mx - mn;
  s = l > 127 ? 255 * d / (510 - mx - mn) : 255 * d / (mx + mn);
  h = static_cast<int>(WrapHue(IntHue(r, g, b, mx, d)));
}

uint32_t HSLToRGB(int h, int s, int l) {
  if (s == 0) return Pack(l, l, l);
  const int64_t S = s, L = l;
  const int64_t m2 = l > 127 ? S + L - ((S * L * 257 + 256) >> 16) : (((S + 255) * L) * 257 + 256) >> 16;
  const int64_t m1 = 2 * L - m2;
  return Pack(IntRamp(m1, m2, int64_t{h} + 120), IntRamp(m1, m2, h), IntRamp(m1, m2, int64_t{h} - 120));
}

void RGB64ToHSL(uint64_t colour, int& h, int& s, int& l) {
  const int64_t r = Red16(colour), g = Green16(colour), b = Blue16(colour);
  const int64_t mx = std::max({r, g, b}), mn = std::min({r, g, b});
  const int64_t light = (mx + mn) >> 1;
  l = static_cast<int>(light);
  if (mx == mn) {
    h = s = 0;
    return;
  }
  const int64_t d = mx - mn;
  s = static_cast<int>(light > 32767 ? 65535 * d / (131070 - mx - mn) : 65535 * d / (mx + mn));
  h = static_cast<int>(WrapHue(IntHue(r, g, b, mx, d)));
}

uint64_t HSLToRGB64(int h, int s, int l) {
  constexpr uint64_t kOpaque = uint64_t{0xFFFF} << 48;
  if (s == 0) return Pack16(l, l, l) | kOpaque;
  int64_t m2;
  if (l < 32768) {
    // Unsigned 32-bit, as the stored gradients were computed.
    m2 = (static_cast<uint32_t>(s + 65535) * static_cast<uint32_t>(l)) / 65535u;
  } else {
    m2 = int64_t{s} - int64_t{s} * l / 65535 + l;
  }
  const int64_t m1 = 2 * int64_t{l} - m2;
  return Pack16(IntRamp(m1, m2, int64_t{h} + 120), IntRamp(m1, m2, h), IntRamp(m1, m2, int64_t{h} - 120)) | kOpaque;
}

// --- HSV -------------------------------------------------------------------

namespace {

// Floating HSV from channels already scaled to 0..1. `near` decides whether
// a channel is the maximum.
template <class Near>
void HsvFromUnit(double r, double g, double b, double& h, double& s, double& v, Near near) {
  const double mx = std::max({r, g, b}), mn = std::min({r, g, b});
  v = mx;
  if (mx == 0.0) {
    h = s = 0.0;
    return;
  }
  s = (mx - mn) / mx;
  if (s == 0.0) {
    h = 0.0;
    return;
  }
  const double d = mx - mn;
  const double rc = (mx - r) / d, gc = (mx - g) / d, bc = (mx - b) / d;
  double hue = 0.0;
  if (near(r, mx))
    hue = bc - gc;
  else if (near(g, mx))
    hue = 2.0 + rc - bc;
  else if (near(b, mx))
    hue = 4.0 + gc - rc;
  hue *= 60.0;
  if (hue < 0.0) hue += 360.0;
  h = hue;
}

void IntHsv(int64_t r, int64_t g, int64_t b, int64_t top, int& h, int& s, int& v) {
  const int64_t mx = std::max({r, g, b}), mn = std::min({r, g, b});
  v = static_cast<int>(mx);
  if (mx == 0) {
    h = s = 0;
    return;
  }
  s = static_cast<int>(top * (mx - mn) / mx);
  if (s == 0) {
    h = 0;
    return;
  }
  int64_t hue = IntHue(r, g, b, mx, mx - mn);
  if (hue < 0) hue += 360;
  h = static_cast<int>(hue);
}

// The six sectors of HSV to RGB from the fractional position f in sector i.
template <class Out>
void HsvSectors(double h, double s, double v, Out out) {
  if (h < 0.0 || h > 360.0) {
    // Not a valid hue; bring it into range rather than select no sector.
    h = std::isfinite(h) ? std::fmod(h, 360.0) : 0.0;
    if (h < 0.0) h += 360.0;
  }
  const double x = h == 360.0 ? 0.0 : h / 60.0;
  const double i = std::floor(x);
  const double f = x - i;
  const double p = v * (1.0 - s), q = v * (1.0 - s * f), t = v * (1.0 - s * (1.0 - f));
  switch (static_cast<int>(i)) {
    case 0:
      return out(v, t, p);
    case 1:
      return out(q, v, p);
    case 2:
      return out(p, v, t);
    case 3:
      return out(p, q, v);
    case 4:
      return out(t, p, v);
    default:
      return out(v, p, q);
  }
}

}  // namespace

void RGBToHSV(uint32_t colour, double& h, double& s, double& v) {
  HsvFromUnit(Red(colour) / 255.0, Green(colour) / 255.0, Blue(colour) / 255.0, h, s, v,
              [](double c, double mx) { return std::fabs(c - mx) <= kEpsilon; });
}

void RGB64ToHSV(uint64_t colour, double& h, double& s, double& v) {
  HsvFromUnit(Red16(colour) / 65535.0, Green16(colour) / 65535.0, Blue16(colour) / 65535.0, h, s, v,
              [](double c, double mx) { return c == mx; });
}

void RGBToHSV(uint32_t colour, int& h, int& s, int& v) {
  IntHsv(Red(colour), Green(colour), Blue(colour), 255, h, s, v);
}

void RGB64ToHSV(uint64_t colour, int& h, int& s, int& v) {
  IntHsv(Red16(colour), Green16(colour), Blue16(colour), 65535, h, s, v);
}

uint32_t HSVToRGB(double h, double s, double v) {
  if (s == 0.0) {
    const int64_t c = TruncChannel(v, 255.0, 255);
    return Pack(c, c, c);
  }
  uint32_t result = 0;
  HsvSectors(h, s, v, [&](double r, double g, double b) {
    result = Pack(TruncChannel(r, 255.0, 255), TruncChannel(g, 255.0, 255), TruncChannel(b, 255.0, 255));
  });
  return result;
}

uint64_t HSVToRGB64(double h, double s, double v) {
  // Unsigned truncation of the scaled value.
  const auto channel = [](double x) { return static_cast<int64_t>(static_cast<uint32_t>(x * 65535.0) & 0xFFFFu); };
  if (s == 0.0) {
    const int64_t c = channel(v);
    return Pack16(c, c, c);
  }
  uint64_t result = 0;
  HsvSectors(h, s, v, [&](double r, double g, double b) { result = Pack16(channel(r), channel(g), channel(b)); });
  return result;
}

namespace {

// Integer HSV to RGB; `scale(a, v)` is the rounded a * v / top of the depth.
template <class Scale>
void IntHsvSectors(int64_t h, int64_t s, int64_t v, int64_t top, Scale scale, int64_t& r, int64_t& g, int64_t& b) {
  if (h == 360) h = 0;
  const int64_t p = scale(top - s, v);
  const auto falling = [&](int64_t e) { return scale(top - e * s / 60, v); };
  if (h < 60)
    r = v, g = falling(60 - h), b = p;
  else if (h < 120)
    r = falling(h - 60), g = v, b = p;
  else if (h < 180)
    r = p, g = v, b = falling(180 - h);
  else if (h < 240)
    r = p, g = falling(h - 180), b = v;
  else if (h < 300)
    r = falling(300 - h), g = p, b = v;
  else
    r = v, g = p, b = falling(h - 300);
}

}  // namespace

uint32_t HSVToRGB(int h, int s, int v) {
  if (s == 0) return Pack(v, v, v);
  int64_t r, g, b;
  IntHsvSectors(
      h, s, v, 255, [](int64_t a, int64_t val) { return Div255(a * val); }, r, g, b);
  return Pack(r, g, b);
}

uint64_t HSVToRGB64(int h, int s, int v) {
  if (s == 0) return Pack16(v, v, v);
  int64_t r, g, b;
  IntHsvSectors(
      h, s, v, 65535,
      [](int64_t a, int64_t val) {
        const int64_t w = a * val;
        return (w + (w >> 16) + 32768) >> 16;
      },
      r, g, b);
  return Pack16(r, g, b);
}

}  // namespace Kernel
