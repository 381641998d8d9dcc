// The single-colour L*u*v* functions: published values of the sRGB
// primaries, an independent double-precision reference, the deliberate
// quirks (black's chromaticity, the 254 ceiling) and round trips.
#include <kernel/LUV.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

using Kernel::RGBLUVConversions;

uint32_t Colour(int r, int g, int b) {
  return static_cast<uint32_t>(r) | (static_cast<uint32_t>(g) << 8) | (static_cast<uint32_t>(b) << 16);
}
int Red(uint32_t c) { return static_cast<int>(c & 0xFF); }
int Green(uint32_t c) { return static_cast<int>((c >> 8) & 0xFF); }
int Blue(uint32_t c) { return static_cast<int>((c >> 16) & 0xFF); }

// CIE L*u*v* in double precision from the full sRGB matrix, the D65 white
// (0.95047, 1, 1.08883) and the exact CIE constants: an implementation that
// shares nothing with the library's.
void ReferenceLUV(int r8, int g8, int b8, double& L, double& u, double& v) {
  auto lin = [](int c8) {
    const double c = c8 / 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  const double r = lin(r8), g = lin(g8), b = lin(b8);
  const double x = 0.4124564 * r + 0.3575761 * g + 0.1804375 * b;
  const double y = 0.2126729 * r + 0.7151522 * g + 0.0721750 * b;
  const double z = 0.0193339 * r + 0.1191920 * g + 0.9503041 * b;
  const double eps = 216.0 / 24389.0, kappa = 24389.0 / 27.0;
  L = y > eps ? 116.0 * std::cbrt(y) - 16.0 : kappa * y;
  const double d = x + 15 * y + 3 * z;
  const double wd = 0.95047 + 15 + 3 * 1.08883;
  const double un = 4 * 0.95047 / wd, vn = 9 / wd;
  u = d == 0 ? 0 : 13 * L * (4 * x / d - un);
  v = d == 0 ? 0 : 13 * L * (9 * y / d - vn);
}

struct Published {
  const char* name;
  int r, g, b;
  double L, u, v;
};

// Published CIE L*u*v* (D65, 2 degree observer) of the sRGB primaries,
// secondaries and greys.
const Published c_published[] = {
    {"red", 255, 0, 0, 53.24, 175.02, 37.76},     {"green", 0, 255, 0, 87.73, -83.08, 107.40},
    {"blue", 0, 0, 255, 32.30, -9.41, -130.34},   {"yellow", 255, 255, 0, 97.14, 7.71, 106.79},
    {"cyan", 0, 255, 255, 91.11, -70.48, -15.20}, {"magenta", 255, 0, 255, 60.32, 84.07, -108.69},
    {"white", 255, 255, 255, 100.0, 0.0, 0.0},    {"grey128", 128, 128, 128, 53.59, 0.0, 0.0},
    {"grey50", 50, 50, 50, 20.79, 0.0, 0.0},
};

TEST(LUVScalar, MatchesPublishedValuesAndADoubleReference) {
  for (const Published& p : c_published) {
    SCOPED_TRACE(p.name);
    float L = 0, u = 0, v = 0;
    RGBLUVConversions::RGBtoLUV(static_cast<float>(p.r), static_cast<float>(p.g), static_cast<float>(p.b), L, u, v);
    // The short matrix constants cost a few hundredths; the chroma scales
    // with it, so u and v get a proportionally wider margin.
    EXPECT_NEAR(L, p.L, 0.1);
    EXPECT_NEAR(u, p.u, 0.1 + 0.002 * std::fabs(p.u));
    EXPECT_NEAR(v, p.v, 0.1 + 0.002 * std::fabs(p.v));
  }
  // Against the double-precision reference over a grid.
  double worstL = 0, worstUV = 0;
  for (int r = 0; r < 256; r += 17)
    for (int g = 0; g < 256; g += 15)
      for (int b = 0; b < 256; b += 5) {
        double L = 0, u = 0, v = 0;
        ReferenceLUV(r, g, b, L, u, v);
        float luv[3];
        RGBLUVConversions::RGBtoLUV(Colour(r, g, b), luv);
        worstL = std::max(worstL, std::fabs(luv[0] - L));
        if (r + g + b > 0) worstUV = std::max({worstUV, std::fabs(luv[1] - u), std::fabs(luv[2] - v)});
      }
  EXPECT_LT(worstL, 0.05);
  EXPECT_LT(worstUV, 0.5);
}

TEST(LUVScalar, RGBtoLAndXYZAgreeWithRGBtoLUV) {
  for (uint32_t c : {Colour(0, 0, 0), Colour(1, 2, 3), Colour(10, 10, 10), Colour(11, 200, 37), Colour(255, 255, 255),
                     Colour(254, 1, 128), Colour(90, 90, 250)}) {
    SCOPED_TRACE(c);
    std::array<float, 3> luv, withAlpha;
    RGBLUVConversions::RGBtoLUV(c, luv.data());
    float L = -1;
    RGBLUVConversions::RGBtoL(static_cast<float>(Red(c)), static_cast<float>(Green(c)), static_cast<float>(Blue(c)), L);
    EXPECT_EQ(L, luv[0]);
    // The top byte of a colour value is not part of the colour.
    RGBLUVConversions::RGBtoLUV(c | 0xAB000000u, withAlpha.data());
    EXPECT_EQ(withAlpha, luv);
  }
}

TEST(LUVScalar, BlackUsesTheFallbackChromaticityScaledByL) {
  float L = 1, u = 1, v = 1;
  RGBLUVConversions::RGBtoLUV(0.0f, 0.0f, 0.0f, L, u, v);
  EXPECT_NEAR(L, 0.0f, 1e-4);
  EXPECT_NEAR(u, 0.0f, 1e-3);
  EXPECT_NEAR(v, 0.0f, 1e-3);
  // L* of black is 116 x 0.13793103 - 16 in float, which need not be zero:
  // then u and v show the fallback u' = 4, v' = 0.6, not the white point
  // (which would give exactly zero).
  if (L != 0.0f) {
    EXPECT_FLOAT_EQ(u / L, 13.0f * (4.0f - RGBLUVConversions::c_whiteU));
    EXPECT_FLOAT_EQ(v / L, 13.0f * (0.6f - RGBLUVConversions::c_whiteV));
  } else {
    EXPECT_EQ(u, 0.0f);
    EXPECT_EQ(v, 0.0f);
  }
}

TEST(LUVScalar, XYZtoRGBClampsToTheChannelRange) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  struct Case {
    float x, y, z;
    float r, g, b;  // expected; -1 for "strictly inside 0..255"
  } cases[] = {
      {1e6f, 1e6f, 1e6f, 255, 255, 255}, {-5, -5, -5, 0, 0, 0},      {0, 0, 0, 0, 0, 0},     {nan, 0.5f, 0.5f, 0, 0, 0},
      {inf, 0, 0, 255, 0, 255},          {0, 10, 0, 0, 255, 0},      {0, 0, 10, 0, -1, 255}, {10, 0, 0, 255, 0, -1},
      {0.2f, 0.2f, 0.2f, -1, -1, -1},    {-inf, -inf, -inf, 0, 0, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.x << " " << c.y << " " << c.z);
    float r = c.x, g = c.y, b = c.z;
    RGBLUVConversions::XYZtoRGB(r, g, b);
    for (auto [got, want] : {std::pair{r, c.r}, std::pair{g, c.g}, std::pair{b, c.b}})
      EXPECT_TRUE(want >= 0 ? got == want : got > 0.0f && got < 255.0f) << got << ", want " << want;
  }
}

TEST(LUVScalar, RGBtoXYZValuesAndTheInverseWithoutRounding) {
  float x = 255, y = 255, z = 255;  // white: the matrix row sums
  RGBLUVConversions::RGBtoXYZ(x, y, z);
  EXPECT_TRUE(std::fabs(x - 0.9505f) <= 1e-5 && std::fabs(y - 1.0f) <= 1e-5 && std::fabs(z - 1.089f) <= 1e-5)
      << x << " " << y << " " << z;
  // The dark end of the curve is linear: 10/255/12.92.
  float r = 10, g = 0, b = 0;
  RGBLUVConversions::RGBtoXYZ(r, g, b);
  EXPECT_NEAR(g, 0.2126 * 10 / 255.0 / 12.92, 1e-7);
  for (float c : {0.0f, 3.0f, 10.5f, 64.0f, 127.25f, 200.0f, 250.0f}) {
    x = c, y = 255.0f - c, z = c / 2;
    RGBLUVConversions::RGBtoXYZ(x, y, z);
    RGBLUVConversions::XYZtoRGB(x, y, z);
    // The two short matrices are inverse only to about 1e-4, which the
    // steep dark end of the curve magnifies to a few tenths.
    EXPECT_TRUE(std::fabs(x - c) <= 0.5 && std::fabs(y - (255.0f - c)) <= 0.5 && std::fabs(z - c / 2) <= 0.5)
        << c << ": " << x << " " << y << " " << z;
  }
}

TEST(LUVScalar, LUVtoRGBCeilingAndFloor) {
  float white[3];
  RGBLUVConversions::RGBtoLUV(Colour(255, 255, 255), white);
  EXPECT_EQ(RGBLUVConversions::LUVtoRGB(white), Colour(254, 254, 254));
  // Channels that must pin (-1: anything in 0..254).
  const struct {
    float L, u, v;
    int r, g, b;
  } cases[] = {
      {100.0f, 500.0f, 500.0f, 254, -1, 0},  // far red-yellow
      {50.0f, 0.0f, -300.0f, -1, 0, 254},    // far blue
      {90.0f, -300.0f, 0.0f, 0, 254, -1},    // far green
      {150.0f, 0.0f, 0.0f, 254, 254, 254},   // above white
      {0.001f, 0.0f, 0.0f, 0, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.L << " " << c.u << " " << c.v);
    const float luv[3] = {c.L, c.u, c.v};
    const uint32_t got = RGBLUVConversions::LUVtoRGB(luv);
    EXPECT_EQ(got >> 24, 0u);
    const int channels[3] = {Red(got), Green(got), Blue(got)};
    const int want[3] = {c.r, c.g, c.b};
    for (int k = 0; k < 3; ++k)
      EXPECT_TRUE(channels[k] <= 254 && (want[k] < 0 || channels[k] == want[k])) << k << ": " << channels[k];
  }
  // Nowhere in a coarse sweep of L*u*v* does 255 appear.
  for (float L = 1; L <= 120; L += 7)
    for (float u = -200; u <= 200; u += 25)
      for (float v = -200; v <= 200; v += 25) {
        const float luv[3] = {L, u, v};
        const uint32_t got = RGBLUVConversions::LUVtoRGB(luv);
        ASSERT_LE(std::max({Red(got), Green(got), Blue(got)}), 254) << L << " " << u << " " << v;
      }
}

TEST(LUVScalar, LUVtoRGBRoundsHalfAwayFromZero) {
  // Walk L* along the grey axis finely; each grey must be the XYZtoRGB value
  // rounded half away from zero (ties go up).
  const float wu = RGBLUVConversions::c_whiteU, wv = RGBLUVConversions::c_whiteV;
  for (int i = 1; i <= 20000; ++i) {
    const float luv[3] = {static_cast<float>(i) * 0.005f, 0.0f, 0.0f};
    const float L = luv[0];
    const float t = (L + 16.0f) / 116.0f;
    const float t3 = t * t * t;
    float y = t3 > 0.008856f ? t3 : (t - 0.13793103f) / 7.787f;
    float x = -9.0f * y * wu / ((wu - 4.0f) * wv - wu * wv);
    float z = (9.0f * y - 15.0f * wv * y - x * wv) / (3.0f * wv);
    RGBLUVConversions::XYZtoRGB(x, y, z);
    const uint32_t got = RGBLUVConversions::LUVtoRGB(luv);
    const float channels[3] = {x, y, z};
    const int gotChannels[3] = {Red(got), Green(got), Blue(got)};
    for (int k = 0; k < 3; ++k) {
      const float f = channels[k];
      const int want = std::min(static_cast<int>(std::floor(f)) + (f - std::floor(f) >= 0.5f ? 1 : 0), 254);
      ASSERT_EQ(gotChannels[k], want) << "L " << L << " channel " << k << " value " << f;
    }
  }
}

TEST(LUVScalar, RoundTripWithinOneStep) {
  int worst = 0;
  for (int r = 0; r < 256; r += 3)
    for (int g = 0; g < 256; g += 5)
      for (int b = 1; b < 256; b += 7) {
        float luv[3];
        RGBLUVConversions::RGBtoLUV(Colour(r, g, b), luv);
        const uint32_t back = RGBLUVConversions::LUVtoRGB(luv);
        const int in[3] = {r, g, b};
        const int out[3] = {Red(back), Green(back), Blue(back)};
        for (int k = 0; k < 3; ++k) {
          ASSERT_LE(out[k], 254);
          const int want = std::min(in[k], 254);
          worst = std::max(worst, std::abs(out[k] - want));
        }
      }
  EXPECT_LE(worst, 1);
}

}  // namespace
