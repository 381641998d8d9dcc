// Luminance, luminosity shifts and recolouring.
#include <kernel/Colour.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "ColourMath.h"

namespace Kernel {

using namespace ColourMath;

int GetLuminance(uint32_t colour) {
  const uint32_t r = colour & 255u, g = (colour >> 8) & 255u, b = (colour >> 16) & 255u;
  return static_cast<int>((30u * r + 59u * g + 11u * b) / 100u);
}

int GetLuminance(int r, int g, int b) {
  // Widened so that channels far outside 0..255 do not overflow; the quotient
  // is the same truncated value the int expression gives whenever that fits.
  return static_cast<int>((30 * int64_t{r} + 59 * int64_t{g} + 11 * int64_t{b}) / 100);
}

namespace {

// The shift shared by the 8-bit and 16-bit forms. `T` is int64_t for the
// signed 8-bit form and uint64_t for the 16-bit one; every quantity stays
// non-negative in the unsigned form as long as the channels are in range.
template <class T>
void ShiftLuminosity(T& r, T& g, T& b, T luminance, T top) {
  if (r == g && g == b) {
    r = g = b = luminance;
    return;
  }
  const T target = 100 * luminance;
  const T current = 30 * r + 59 * g + 11 * b;
  if (target > current) {
    const T headroom = top - std::max({r, g, b});
    if (target - current < 100 * headroom) {
      const T step = (target - current) / 100;
      r += step, g += step, b += step;
      return;
    }
    // The brightest channel reaches the top; the remaining excess pulls the
    // others towards it in proportion to their own distance from the top.
    r += headroom, g += headroom, b += headroom;
    const T excess = target - current - 100 * headroom;
    const T room = 100 * top - (30 * r + 59 * g + 11 * b);
    if (room == 0) return;
    r += (top - r) * excess / room;
    g += (top - g) * excess / room;
    b += (top - b) * excess / room;
  } else if (target < current) {
    const T floor = std::min({r, g, b});
    if (current - target < 100 * floor) {
      const T step = (current - target) / 100;
      r -= step, g -= step, b -= step;
      return;
    }
    r -= floor, g -= floor, b -= floor;
    const T excess = current - target - 100 * floor;
    const T weight = 30 * r + 59 * g + 11 * b;
    if (weight == 0) return;
    r -= r * excess / weight;
    g -= g * excess / weight;
    b -= b * excess / weight;
  }
}

}  // namespace

void AdjustLuminosity(int* r, int* g, int* b, int luminance) {
  int64_t rr = *r, gg = *g, bb = *b;
  ShiftLuminosity<int64_t>(rr, gg, bb, luminance, 255);
  *r = static_cast<int>(rr);
  *g = static_cast<int>(gg);
  *b = static_cast<int>(bb);
}

uint32_t AdjustLuminosity(uint32_t colour, int luminance) {
  int r = Red(colour), g = Green(colour), b = Blue(colour);
  AdjustLuminosity(&r, &g, &b, luminance);
  return Pack(r, g, b);
}

void AdjustLuminosityRGB64(uint64_t* r, uint64_t* g, uint64_t* b, uint64_t luminance) {
  ShiftLuminosity<uint64_t>(*r, *g, *b, luminance, 65535);
}

void Recolour(int r, int g, int b, int* targetR, int* targetG, int* targetB) {
  const int64_t lum = (30 * int64_t{r} + 59 * int64_t{g} + 11 * int64_t{b}) / 100;
  *targetR = static_cast<int>(*targetR + (255 - int64_t{*targetR}) * lum / 255);
  *targetG = static_cast<int>(*targetG + (255 - int64_t{*targetG}) * lum / 255);
  *targetB = static_cast<int>(*targetB + (255 - int64_t{*targetB}) * lum / 255);
}

namespace {

// value * numerator / denominator with a 64-bit product, rounded to nearest
// with halves away from zero; -1 when the denominator is 0 or the result does
// not fit an int, as the platform's MulDiv answers.
int MulDiv(int value, int numerator, int denominator) {
  if (denominator == 0) return -1;
  const int64_t product = int64_t{value} * numerator;
  const bool negative = (product < 0) != (denominator < 0);
  const uint64_t p = static_cast<uint64_t>(product < 0 ? -product : product);
  const uint64_t d = static_cast<uint64_t>(denominator < 0 ? -int64_t{denominator} : int64_t{denominator});
  const uint64_t q = (2 * p + d) / (2 * d);
  if (q > static_cast<uint64_t>(INT_MAX) + (negative ? 1u : 0u)) return -1;
  return negative ? static_cast<int>(-static_cast<int64_t>(q)) : static_cast<int>(q);
}

}  // namespace

void Recolour(int c, int m, int y, int k, int* targetC, int* targetM, int* targetY, int* targetK) {
  int64_t density = (41 * int64_t{c} + 52 * int64_t{m} + 6 * int64_t{y} + 85 * int64_t{k}) / 100;
  if (density > 255) density = 255;
  const int d = static_cast<int>(std::max<int64_t>(density, INT_MIN));
  *targetC = MulDiv(*targetC, d, 255);
  *targetM = MulDiv(*targetM, d, 255);
  *targetY = MulDiv(*targetY, d, 255);
  *targetK = MulDiv(*targetK, d, 255);
}

void RecolourViaHsl(int r, int g, int b, int* targetR, int* targetG, int* targetB) {
  double sh, ss, sl, th, ts, tl;
  RGBToHSL(Pack(r, g, b), sh, ss, sl);
  RGBToHSL(Pack(*targetR, *targetG, *targetB), th, ts, tl);
  const uint32_t result = HSLToRGB(th, ts, sl);
  *targetR = Red(result);
  *targetG = Green(result);
  *targetB = Blue(result);
}

void RecolourViaLab(int r, int g, int b, int* targetR, int* targetG, int* targetB) {
  double sL, sa, sb, tL, ta, tb;
  RGBToLab(Pack(r, g, b), sL, sa, sb);
  RGBToLab(Pack(*targetR, *targetG, *targetB), tL, ta, tb);
  const uint32_t result = LabToRGB(sL, ta, tb);
  *targetR = Red(result);
  *targetG = Green(result);
  *targetB = Blue(result);
}

uint32_t ReverseColour(uint32_t colour) {
  return (static_cast<uint32_t>(Red(colour)) << 16) | (static_cast<uint32_t>(Green(colour)) << 8) |
         static_cast<uint32_t>(Blue(colour));
}

double GammaCorrect(double value, double gamma) { return std::clamp(std::pow(value, gamma), 0.0, 1.0); }

uint32_t GetColourShade(uint32_t colour, double factor) {
  double h, s, l;
  RGBToHSL(colour, h, s, l);
  return HSLToRGB(h, s, std::min(l * factor, 1.0));
}

int MidHue(int hue1, int hue2) {
  if (hue1 <= hue2) return static_cast<int>((int64_t{hue1} + hue2) / 2);
  return static_cast<int>(((int64_t{hue1} + hue2 + 360) / 2) % 360);
}

}  // namespace Kernel
