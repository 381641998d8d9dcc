// Luminance, luminosity shifts, recolouring and the small hue/shade helpers.
// Every expected value below was worked out by hand from the arithmetic the
// functions promise (weights 30/59/11, truncating divisions).
#include <kernel/Colour.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <tuple>
#include <vector>

namespace {

using namespace Kernel;

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }

TEST(Luminance, WeightedSumTruncated) {
  const struct {
    const char* name;
    int r, g, b;
    int expected;
  } cases[] = {
      {"white", 255, 255, 255, 255},
      {"red", 255, 0, 0, 76},
      {"green", 0, 255, 0, 150},
      {"blue", 0, 0, 255, 28},
      {"black", 0, 0, 0, 0},
      {"weights sum to 100", 1, 1, 1, 1},
      {"99 hundredths truncate to 0", 0, 0, 9, 0},
      {"mixed", 10, 200, 30, 124},  // 300 + 11800 + 330 = 12430
      // The three-int form is signed and truncates towards zero.
      {"negative", -10, 0, 0, -3},
      {"-0.3 truncates to 0, a floor would give -1", -1, 0, 0, 0},
      {"-1.18", 0, -2, 0, -1},
      {"beyond a byte", 300, 300, 300, 300},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GetLuminance(c.r, c.g, c.b), c.expected) << c.name;
    if (std::min({c.r, c.g, c.b}) < 0 || std::max({c.r, c.g, c.b}) > 255) continue;  // no packed form
    EXPECT_EQ(GetLuminance(Rgb(c.r, c.g, c.b)), c.expected) << c.name << " (packed)";
    EXPECT_EQ(GetLuminance(Rgb(c.r, c.g, c.b) | 0xFF000000u), c.expected) << c.name << " (top byte ignored)";
  }
}

TEST(AdjustLuminosity, ShiftsThenPullsTowardsTheGamutEdge) {
  const struct {
    const char* name;
    int r, g, b, luminance;
    int er, eg, eb;
  } cases[] = {
      {"grey set to target", 100, 100, 100, 40, 40, 40, 40},
      {"grey above the gamut is kept as asked", 100, 100, 100, 300, 300, 300, 300},
      {"grey below the gamut is kept as asked", 7, 7, 7, -5, -5, -5, -5},
      {"plain lighten by whole steps", 100, 50, 0, 100, 140, 90, 40},
      {"lighten past the top pulls the rest up", 200, 100, 0, 250, 255, 248, 242},
      {"lighten to white", 200, 100, 0, 255, 255, 255, 255},
      {"plain darken", 100, 50, 20, 55, 94, 44, 14},
      {"darken past zero pulls the rest down", 100, 50, 20, 40, 77, 29, 0},
      {"darken to black", 100, 50, 20, 0, 0, 0, 0},
      {"already at target", 100, 0, 0, 30, 100, 0, 0},
  };
  for (const auto& c : cases) {
    int r = c.r, g = c.g, b = c.b;
    AdjustLuminosity(&r, &g, &b, c.luminance);
    EXPECT_EQ(std::tie(r, g, b), std::tie(c.er, c.eg, c.eb)) << c.name;
    if (c.luminance < 0 || c.luminance > 255 || (c.r == c.g && c.g == c.b)) continue;
    EXPECT_EQ(AdjustLuminosity(Rgb(c.r, c.g, c.b) | 0xAB000000u, c.luminance), Rgb(c.er, c.eg, c.eb))
        << c.name << " (packed)";
  }
}

TEST(AdjustLuminosity, ReachesTheTargetWithinOneStepAcrossTheGamut) {
  // Not an exact law (the shifts truncate), but a shift that drifts away from
  // the requested luminance by more than a step is a broken shift.
  for (int r = 0; r < 256; r += 17)
    for (int g = 0; g < 256; g += 15)
      for (int b = 0; b < 256; b += 51)
        for (int y = 0; y <= 255; y += 5) {
          const uint32_t out = AdjustLuminosity(Rgb(r, g, b), y);
          EXPECT_NEAR(GetLuminance(out), y, 1) << r << "," << g << "," << b << " -> " << y;
        }
}

TEST(AdjustLuminosity, SixteenBitChannels) {
  const struct {
    const char* name;
    uint64_t r, g, b, luminance;
    uint64_t er, eg, eb;
  } cases[] = {
      {"grey", 1000, 1000, 1000, 50000, 50000, 50000, 50000},
      {"plain lighten", 25700, 12850, 0, 25700, 36108, 23258, 10408},
      {"red to white", 65535, 0, 0, 65535, 65535, 65535, 65535},
      // T = 3276800, C = 1966050: E = 1310750, D = 4587450; 65535 * E / D = 18725.
      {"red half way", 65535, 0, 0, 32768, 65535, 18725, 18725},
      // C = 3000 + 2950 + 0 = 5950 (x 257); darken to 0 removes everything.
      {"darken to black", 25700, 12850, 0, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    uint64_t r = c.r, g = c.g, b = c.b;
    AdjustLuminosityRGB64(&r, &g, &b, c.luminance);
    EXPECT_EQ(std::tie(r, g, b), std::tie(c.er, c.eg, c.eb)) << c.name;
  }
}

TEST(Recolour, SourceLuminanceLightensTheTarget) {
  const struct {
    const char* name;
    int sr, sg, sb;
    int tr, tg, tb;
    int er, eg, eb;
  } cases[] = {
      {"black source keeps the target", 0, 0, 0, 12, 130, 250, 12, 130, 250},
      {"white source gives white", 255, 255, 255, 12, 130, 250, 255, 255, 255},
      {"grey source", 100, 100, 100, 0, 128, 255, 100, 177, 255},
      {"red source (luminance 76)", 255, 0, 0, 10, 20, 30, 83, 90, 97},
  };
  for (const auto& c : cases) {
    int r = c.tr, g = c.tg, b = c.tb;
    Recolour(c.sr, c.sg, c.sb, &r, &g, &b);
    EXPECT_EQ(std::tie(r, g, b), std::tie(c.er, c.eg, c.eb)) << c.name;
  }
}

TEST(Recolour, FourInksScaleByDensityWithRoundedMulDiv) {
  const struct {
    const char* name;
    int c, m, y, k;
    int target[4];
    int expected[4];
  } cases[] = {
      // D = (4100 + 5200 + 600 + 8500) / 100 = 184
      {"density 184", 100, 100, 100, 100, {255, 100, 1, 0}, {184, 72, 1, 0}},
      // D = 12835 / 100 = 128: 384/255 = 1.506 rounds up, 128/255 = 0.502 up,
      // 256/255 = 1.004 down; a negative target rounds away from zero.
      {"density 128 rounds to nearest", 0, 0, 0, 151, {3, 2, 1, -3}, {2, 1, 1, -2}},
      {"negative product rounds away from zero", 100, 100, 100, 100, {-1, -100, 0, 0}, {-1, -72, 0, 0}},
      {"density capped at 255", 255, 255, 255, 255, {200, 17, 255, 0}, {200, 17, 255, 0}},
      {"no ink clears the target", 0, 0, 0, 0, {200, 17, 255, 9}, {0, 0, 0, 0}},
      {"density truncates (41/100 = 0)", 1, 0, 0, 0, {200, 17, 255, 9}, {0, 0, 0, 0}},
  };
  for (const auto& c : cases) {
    int t[4] = {c.target[0], c.target[1], c.target[2], c.target[3]};
    Recolour(c.c, c.m, c.y, c.k, &t[0], &t[1], &t[2], &t[3]);
    EXPECT_EQ(std::vector<int>(t, t + 4), std::vector<int>(c.expected, c.expected + 4)) << c.name;
  }
}

TEST(ReverseColour, SwapsRedAndBlueAndDropsTheTopByte) {
  EXPECT_EQ(ReverseColour(0xFF112233u), 0x00332211u);
  EXPECT_EQ(ReverseColour(0x000000FFu), 0x00FF0000u);
  EXPECT_EQ(ReverseColour(0x0000FF00u), 0x0000FF00u);
  for (uint32_t c = 0; c < 0x01000000u; c += 0x010305u) EXPECT_EQ(ReverseColour(ReverseColour(c | 0x7F000000u)), c);
}

TEST(MidHue, ShortWayOnlyWhenTheFirstHueIsLarger) {
  const struct {
    int a, b, expected;
  } cases[] = {{350, 10, 0},  {10, 350, 180},  {0, 0, 0},       {0, 359, 179},
               {359, 0, 359}, {200, 100, 330}, {100, 200, 150}, {90, 91, 90}};
  for (const auto& c : cases) EXPECT_EQ(MidHue(c.a, c.b), c.expected) << c.a << "," << c.b;
}

TEST(GammaCorrect, PowerClampedToUnitRange) {
  const struct {
    double value, gamma, expected;
  } cases[] = {{0.5, 2.0, 0.25}, {0.25, 0.5, 0.5}, {2.0, 1.0, 1.0}, {-0.5, 1.0, 0.0}, {0.0, 0.0, 1.0}, {1.0, 3.0, 1.0}};
  for (const auto& c : cases) EXPECT_DOUBLE_EQ(GammaCorrect(c.value, c.gamma), c.expected) << c.value << "^" << c.gamma;
}

}  // namespace
