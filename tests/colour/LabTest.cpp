// L*a*b*: published sRGB/D65 values as independent references, the rounding
// to whole numbers, and the round trip through the rounded values.
#include <kernel/Colour.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <tuple>
#include <utility>

namespace {

using namespace Kernel;

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }

// Standard sRGB (D65) values as tabulated by colour references, to two
// decimals; our results are whole numbers, so they may differ by the rounding
// (0.5) plus the small difference between white-point constants. Back to RGB
// they land within a step.
TEST(Lab, PublishedValuesBothWays) {
  const struct {
    const char* name;
    uint32_t colour;
    double L, a, b;
  } published[] = {
      {"red", Rgb(255, 0, 0), 53.24, 80.09, 67.20},      {"green", Rgb(0, 255, 0), 87.73, -86.18, 83.18},
      {"blue", Rgb(0, 0, 255), 32.30, 79.19, -107.86},   {"yellow", Rgb(255, 255, 0), 97.14, -21.55, 94.48},
      {"cyan", Rgb(0, 255, 255), 91.11, -48.09, -14.13}, {"magenta", Rgb(255, 0, 255), 60.32, 98.23, -60.82},
      {"maroon", Rgb(128, 0, 0), 25.53, 48.06, 38.06},   {"grey 128", Rgb(128, 128, 128), 53.59, 0.0, 0.0},
  };
  for (const auto& p : published) {
    double L, a, b;
    RGBToLab(p.colour | 0xFF000000u, L, a, b);
    EXPECT_NEAR(L, p.L, 0.6) << p.name;
    EXPECT_NEAR(a, p.a, 0.6) << p.name;
    EXPECT_NEAR(b, p.b, 0.6) << p.name;
    for (double v : {L, a, b}) EXPECT_EQ(v, static_cast<double>(static_cast<long>(v))) << p.name << ": not whole";
    const uint32_t c = LabToRGB(p.L, p.a, p.b);
    for (int shift = 0; shift < 24; shift += 8)
      EXPECT_NEAR(static_cast<int>((c >> shift) & 255), static_cast<int>((p.colour >> shift) & 255), 1)
          << p.name << " channel " << shift / 8;
    EXPECT_EQ(c >> 24, 0u) << p.name;
  }
}

TEST(Lab, WhiteAndBlackAreExactAndOutOfGamutClampsPerChannel) {
  double L, a, b;
  RGBToLab(Rgb(255, 255, 255), L, a, b);
  EXPECT_EQ(std::tie(L, a, b), std::make_tuple(100.0, 0.0, 0.0));
  RGBToLab(0, L, a, b);
  EXPECT_EQ(std::tie(L, a, b), std::make_tuple(0.0, 0.0, 0.0));
  EXPECT_EQ(LabToRGB(100.0, 0.0, 0.0), Rgb(255, 255, 255));
  EXPECT_EQ(LabToRGB(0.0, 0.0, 0.0), 0u);
  EXPECT_EQ(LabToRGB(150.0, 0.0, 0.0), Rgb(255, 255, 255));
  EXPECT_EQ(LabToRGB(-20.0, 0.0, 0.0), 0u);
  // Far beyond red: red saturates, green and blue are clamped at 0.
  EXPECT_EQ(LabToRGB(50.0, 200.0, 150.0) & 0xFFFF00u, 0u);
}

TEST(Lab, GreysStayGreyAndLightnessGrows) {
  double previous = -1.0;
  for (int v = 0; v < 256; ++v) {
    double L, a, b;
    RGBToLab(Rgb(v, v, v), L, a, b);
    EXPECT_EQ(std::pair(a, b), std::pair(0.0, 0.0)) << v;
    EXPECT_GE(L, previous) << v;
    previous = L;
    const uint32_t back = LabToRGB(L, a, b);
    EXPECT_EQ(back, (back & 255) * 0x010101u) << v;
  }
}

// Rounding L*, a* and b* to whole numbers moves a colour by up to half a unit
// on each axis; in dark saturated blues one unit spans many steps of a
// channel, so the measured worst case over every colour is 28 steps, while
// the typical colour returns within a step or two.
TEST(Lab, RoundTripThroughWholeNumbers) {
  int worst = 0;
  long total = 0, channels = 0;
  for (uint32_t c = 0; c < (1u << 24); c += 11) {
    double L, a, b;
    RGBToLab(c, L, a, b);
    const uint32_t back = LabToRGB(L, a, b);
    for (int shift = 0; shift < 24; shift += 8) {
      const int d = std::abs(static_cast<int>((back >> shift) & 255) - static_cast<int>((c >> shift) & 255));
      worst = std::max(worst, d);
      total += d;
      ++channels;
    }
  }
  EXPECT_LE(worst, 28);
  EXPECT_LT(static_cast<double>(total) / channels, 1.5);
}

TEST(ColourShade, ScalesLightnessCappedAtOne) {
  const struct {
    const char* name;
    uint32_t colour;
    double factor;
    uint32_t expected;
  } cases[] = {
      {"white halved: 127.5 truncates", Rgb(255, 255, 255), 0.5, Rgb(127, 127, 127)},
      {"black stays black", 0, 1.8, 0},
      {"grey doubled is capped at white", Rgb(128, 128, 128), 2.0, Rgb(255, 255, 255)},
      {"factor 0 gives black", Rgb(10, 200, 30), 0.0, 0},
      {"red darkened", Rgb(255, 0, 0), 0.5, Rgb(127, 0, 0)},
      // Red's lightness is 255 * 0.00392156862745098 / 2, a hair below 0.5, so
      // the lightened top ramp value truncates to 254, not 255.
      {"red lightened", Rgb(255, 0, 0), 1.8, Rgb(254, 204, 204)},
  };
  for (const auto& c : cases) EXPECT_EQ(GetColourShade(c.colour, c.factor), c.expected) << c.name;
}

// Via HSL: the target's hue and saturation with the source's lightness; via
// L*a*b*: the target's a* and b* with the source's L*.
TEST(Recolour, ViaHslAndLabKeepTheTargetsColourAndTheSourcesLightness) {
  const struct {
    const char* name;
    int sr, sg, sb;
    int tr, tg, tb;
  } cases[] = {
      {"grey onto red", 128, 128, 128, 255, 0, 0},
      {"dark onto blue", 40, 40, 40, 0, 0, 255},
      {"light onto olive", 220, 220, 220, 128, 128, 0},
      {"colour source onto teal", 200, 30, 30, 0, 128, 128},
      {"only low bytes count", 0x1280, 0x1280, 0x1280, 0x7700FF, 0x5500, 0x3300},
  };
  for (const auto& c : cases) {
    const uint32_t source = Rgb(c.sr & 255, c.sg & 255, c.sb & 255);
    const uint32_t target = Rgb(c.tr & 255, c.tg & 255, c.tb & 255);
    int r = c.tr, g = c.tg, b = c.tb;
    RecolourViaHsl(c.sr, c.sg, c.sb, &r, &g, &b);
    double sh, ss, sl, th, ts, tl, rh, rs, rl;
    RGBToHSL(source, sh, ss, sl);
    RGBToHSL(target, th, ts, tl);
    EXPECT_EQ(Rgb(r, g, b), HSLToRGB(th, ts, sl)) << c.name;
    EXPECT_TRUE(r >= 0 && r < 256 && g >= 0 && g < 256 && b >= 0 && b < 256) << c.name;
    // The result's lightness is the source's (within the truncation step).
    RGBToHSL(Rgb(r, g, b), rh, rs, rl);
    EXPECT_NEAR(rl, sl, 1.0 / 255.0) << c.name;

    r = c.tr, g = c.tg, b = c.tb;
    RecolourViaLab(c.sr, c.sg, c.sb, &r, &g, &b);
    double sL, sa, sb, tL, ta, tb;
    RGBToLab(source, sL, sa, sb);
    RGBToLab(target, tL, ta, tb);
    EXPECT_EQ(Rgb(r, g, b), LabToRGB(sL, ta, tb)) << c.name << " (Lab)";
  }
  // A grey target keeps the result grey at the source's lightness.
  int r = 90, g = 90, b = 90;
  RecolourViaLab(200, 10, 10, &r, &g, &b);
  EXPECT_TRUE(r == g && g == b) << r << " " << g << " " << b;
  double L, a, bb, rl, ra, rb;
  RGBToLab(Rgb(200, 10, 10), L, a, bb);
  RGBToLab(Rgb(r, g, b), rl, ra, rb);
  EXPECT_NEAR(rl, L, 1.0);
}

}  // namespace
