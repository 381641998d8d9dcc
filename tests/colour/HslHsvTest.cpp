// HSL and HSV in all their forms: values fixed by the integer and floating
// arithmetic, the deliberate quirks, and the measured round-trip behaviour.
#include <kernel/Colour.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace Kernel;

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }
constexpr uint64_t Rgb64(uint64_t r, uint64_t g, uint64_t b, uint64_t a = 0) {
  return r | (g << 16) | (b << 32) | (a << 48);
}
constexpr uint64_t Widen(uint32_t c) { return Rgb64((c & 255) * 257, ((c >> 8) & 255) * 257, ((c >> 16) & 255) * 257); }

struct IntModelCase {
  const char* name;
  uint32_t colour;
  int h, s, x;  // x is lightness (HSL) or value (HSV)
};

TEST(HslInteger, FromRgb) {
  const IntModelCase cases[] = {
      {"red", Rgb(255, 0, 0), 0, 255, 127},
      {"green", Rgb(0, 255, 0), 120, 255, 127},
      {"blue", Rgb(0, 0, 255), 240, 255, 127},
      {"yellow", Rgb(255, 255, 0), 60, 255, 127},
      {"magenta: -60 wraps to 300", Rgb(255, 0, 255), 300, 255, 127},
      {"light: saturation over 510 - max - min", Rgb(255, 128, 128), 0, 255, 191},
      {"brown", Rgb(200, 100, 50), 20, 153, 125},
      // 60 * (0 - 1) / 255 truncates towards zero to 0; a floor would give 359.
      {"hue truncates towards zero", Rgb(255, 0, 1), 0, 255, 127},
      {"-300/255 = -1 wraps to 359", Rgb(255, 0, 5), 359, 255, 127},
      {"top byte ignored", Rgb(200, 100, 50) | 0xFF000000u, 20, 153, 125},
  };
  for (const auto& c : cases) {
    int h = -1, s = -1, l = -1;
    RGBToHSL(c.colour, h, s, l);
    EXPECT_EQ(h, c.h) << c.name;
    EXPECT_EQ(s, c.s) << c.name;
    EXPECT_EQ(l, c.x) << c.name;
  }
}

struct IntToRgbCase {
  const char* name;
  int h, s, x;
  uint32_t expected;
};

TEST(HslInteger, ToRgb) {
  const IntToRgbCase cases[] = {
      {"grey ignores hue", 200, 0, 77, Rgb(77, 77, 77)},
      // m2 = ((255 + 255) * 127 * 257 + 256) >> 16 = 254, so red comes back as 254.
      {"red at lightness 127", 0, 255, 127, Rgb(254, 0, 0)},
      {"green", 120, 255, 127, Rgb(0, 254, 0)},
      {"blue", 240, 255, 127, Rgb(0, 0, 254)},
      {"orange: ramp divides by 60 truncating", 30, 255, 127, Rgb(254, 127, 0)},
      {"light branch", 0, 255, 191, Rgb(255, 127, 127)},
      {"360 behaves as 0", 360, 255, 127, Rgb(254, 0, 0)},
      {"720 wraps to 360", 720, 255, 127, Rgb(254, 0, 0)},
      {"-120 wraps to 240", -120, 255, 127, Rgb(0, 0, 254)},
  };
  for (const auto& c : cases) EXPECT_EQ(HSLToRGB(c.h, c.s, c.x), c.expected) << c.name;
}

TEST(HslInteger, SixteenBitForms) {
  int h, s, l;
  RGB64ToHSL(Rgb64(65535, 0, 0, 0xFFFF), h, s, l);  // alpha ignored
  EXPECT_EQ(h, 0);
  EXPECT_EQ(s, 65535);
  EXPECT_EQ(l, 32767);
  RGB64ToHSL(Rgb64(65535, 0, 65535), h, s, l);
  EXPECT_EQ(h, 300);
  RGB64ToHSL(Rgb64(1000, 1000, 1000), h, s, l);
  EXPECT_EQ(h, 0);
  EXPECT_EQ(s, 0);
  EXPECT_EQ(l, 1000);

  // Only this 64-bit result is opaque: grey included.
  EXPECT_EQ(HSLToRGB64(123, 0, 1000), 0xFFFF03E803E803E8ull);
  // m2 = (131070 * 32767) / 65535 = 65534 (unsigned 32-bit), m1 = 0.
  EXPECT_EQ(HSLToRGB64(0, 65535, 32767), Rgb64(65534, 0, 0, 0xFFFF));
  // l >= 32768: m2 = 65535 - 65535 * 49151 / 65535 + 49151 = 65535, m1 = 32767.
  EXPECT_EQ(HSLToRGB64(0, 65535, 49151), Rgb64(65535, 32767, 32767, 0xFFFF));
  EXPECT_EQ(HSLToRGB64(360, 65535, 32767), HSLToRGB64(0, 65535, 32767));
}

struct DoubleToRgbCase {
  const char* name;
  double h, s, x;
  uint32_t expected;
};

TEST(HslFloating, ToRgbTruncates) {
  const DoubleToRgbCase cases[] = {
      {"white", 0, 0, 1.0, Rgb(255, 255, 255)},
      {"0.999 * 255 = 254.7 truncates to 254", 0, 0, 0.999, Rgb(254, 254, 254)},
      {"black", 0, 0, 0.0, 0},
      {"red", 0, 1, 0.5, Rgb(255, 0, 0)},
      {"green", 120, 1, 0.5, Rgb(0, 255, 0)},
      {"yellow", 60, 1, 0.5, Rgb(255, 255, 0)},
      {"orange: 127.5 truncates", 30, 1, 0.5, Rgb(255, 127, 0)},
      {"360 behaves as 0", 360, 1, 0.5, Rgb(255, 0, 0)},
      {"-120 wraps to 240", -120, 1, 0.5, Rgb(0, 0, 255)},
      {"dark red", 0, 1, 0.25, Rgb(127, 0, 0)},
  };
  for (const auto& c : cases) EXPECT_EQ(HSLToRGB(c.h, c.s, c.x), c.expected) << c.name;
}

struct DoubleModelCase {
  const char* name;
  uint32_t colour;
  double h, s, x;
};

TEST(HslFloating, FromRgb) {
  const DoubleModelCase cases[] = {
      {"red", Rgb(255, 0, 0), 0.0, 1.0, 0.5},
      {"blue", Rgb(0, 0, 255), 240.0, 1.0, 0.5},
      // The integer form gives 0 here; the floating hue wraps -0.235 with fmod.
      {"just below a full turn", Rgb(255, 0, 1), 360.0 - 60.0 / 255.0, 1.0, 0.5},
      {"brown", Rgb(200, 100, 50), 20.0, 150.0 / 250.0, 125.0 / 255.0},
      {"light", Rgb(255, 128, 128), 0.0, 1.0, 383.0 / 510.0},
  };
  for (const auto& c : cases) {
    double h, s, l;
    RGBToHSL(c.colour, h, s, l);
    EXPECT_NEAR(h, c.h, 1e-9) << c.name;
    EXPECT_NEAR(s, c.s, 1e-9) << c.name;
    EXPECT_NEAR(l, c.x, 1e-9) << c.name;
    EXPECT_LT(h, 360.0) << c.name;
  }
}

TEST(Hsv, IntegerFromRgb) {
  const IntModelCase cases[] = {
      {"black", 0, 0, 0, 0},
      {"red", Rgb(255, 0, 0), 0, 255, 255},
      {"magenta: -60 plus 360 once", Rgb(255, 0, 255), 300, 255, 255},
      {"dark orange", Rgb(100, 50, 0), 30, 255, 100},
      {"brown: 255 * 150 / 200 truncates", Rgb(200, 100, 50), 20, 191, 200},
      {"hue truncates towards zero", Rgb(255, 0, 1), 0, 255, 255},
      {"faint blue", Rgb(0, 0, 1), 240, 255, 1},
  };
  for (const auto& c : cases) {
    int h = -1, s = -1, v = -1;
    RGBToHSV(c.colour, h, s, v);
    EXPECT_EQ(h, c.h) << c.name;
    EXPECT_EQ(s, c.s) << c.name;
    EXPECT_EQ(v, c.x) << c.name;
    // The 16-bit form on the widened colour agrees in hue and saturation
    // once scaled back.
    RGB64ToHSV(Widen(c.colour), h, s, v);
    EXPECT_EQ(h, c.h) << c.name << " (16-bit)";
    EXPECT_EQ(v, c.x * 257) << c.name << " (16-bit)";
  }
}

TEST(Hsv, IntegerToRgb) {
  const IntToRgbCase cases[] = {
      {"grey", 200, 0, 77, Rgb(77, 77, 77)},
      {"red", 0, 255, 255, Rgb(255, 0, 0)},
      {"360 behaves as 0", 360, 255, 255, Rgb(255, 0, 0)},
      {"magenta", 300, 255, 255, Rgb(255, 0, 255)},
      // X(30) = ((255 - 127) * 100 * 257 + 256) >> 16 = 50
      {"dark orange", 30, 255, 100, Rgb(100, 50, 0)},
      // p = (64 * 200 * 257 + 256) >> 16 = 50, X(40) = (128 * 200 * 257 + 256) >> 16 = 100
      {"brown", 20, 191, 200, Rgb(200, 100, 50)},
  };
  for (const auto& c : cases) EXPECT_EQ(HSVToRGB(c.h, c.s, c.x), c.expected) << c.name;

  EXPECT_EQ(HSVToRGB64(0, 65535, 65535), Rgb64(65535, 0, 0));
  // X(30): 65535 - 32767 = 32768, w = 32768 * 65535, (w + (w >> 16) + 32768) >> 16 = 32768.
  EXPECT_EQ(HSVToRGB64(30, 65535, 65535), Rgb64(65535, 32768, 0));
  EXPECT_EQ(HSVToRGB64(17, 0, 1000), Rgb64(1000, 1000, 1000));  // no alpha, unlike HSLToRGB64
}

TEST(Hsv, FloatingBothWays) {
  const DoubleToRgbCase toRgb[] = {
      {"red", 0, 1, 1, Rgb(255, 0, 0)},         {"360 behaves as 0", 360, 1, 1, Rgb(255, 0, 0)},
      {"green", 120, 1, 1, Rgb(0, 255, 0)},     {"orange: 127.5 truncates", 30, 1, 1, Rgb(255, 127, 0)},
      {"magenta", 300, 1, 1, Rgb(255, 0, 255)}, {"grey 0.999 truncates", 10, 0, 0.999, Rgb(254, 254, 254)},
  };
  for (const auto& c : toRgb) EXPECT_EQ(HSVToRGB(c.h, c.s, c.x), c.expected) << c.name;
  EXPECT_EQ(HSVToRGB64(0.0, 1.0, 1.0), Rgb64(65535, 0, 0));
  EXPECT_EQ(HSVToRGB64(30.0, 1.0, 1.0), Rgb64(65535, 32767, 0));
  EXPECT_EQ(HSVToRGB64(0.0, 0.0, 1.0), Rgb64(65535, 65535, 65535));

  const DoubleModelCase fromRgb[] = {
      {"black", 0, 0.0, 0.0, 0.0},
      {"brown", Rgb(200, 100, 50), 20.0, 0.75, 200.0 / 255.0},
      {"magenta", Rgb(255, 0, 255), 300.0, 1.0, 1.0},
      {"just below a full turn", Rgb(255, 0, 1), 360.0 - 60.0 / 255.0, 1.0, 1.0},
  };
  for (const auto& c : fromRgb) {
    double h, s, v;
    RGBToHSV(c.colour, h, s, v);
    EXPECT_NEAR(h, c.h, 1e-9) << c.name;
    EXPECT_NEAR(s, c.s, 1e-9) << c.name;
    EXPECT_NEAR(v, c.x, 1e-9) << c.name;
    RGB64ToHSV(Widen(c.colour), h, s, v);
    EXPECT_NEAR(h, c.h, 1e-9) << c.name << " (16-bit)";
    EXPECT_NEAR(s, c.s, 1e-9) << c.name << " (16-bit)";
    EXPECT_NEAR(v, c.x, 1e-9) << c.name << " (16-bit)";
  }
}

TEST(HslHsv, GreyHasNoHueOrSaturationInEveryForm) {
  for (int v : {0, 1, 33, 127, 128, 254, 255}) {
    const uint32_t grey = Rgb(v, v, v);
    int h = -1, s = -1, x = -1;
    RGBToHSL(grey, h, s, x);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(s, 0);
    EXPECT_EQ(x, v);
    RGBToHSV(grey, h, s, x);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(s, 0);
    EXPECT_EQ(x, v);
    RGB64ToHSL(Widen(grey), h, s, x);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(s, 0);
    RGB64ToHSV(Widen(grey), h, s, x);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(s, 0);
    double dh = -1, ds = -1, dx = -1;
    RGBToHSL(grey, dh, ds, dx);
    EXPECT_EQ(dh, 0.0);
    EXPECT_EQ(ds, 0.0);
    RGBToHSV(grey, dh, ds, dx);
    EXPECT_EQ(dh, 0.0);
    EXPECT_EQ(ds, 0.0);
    RGB64ToHSV(Widen(grey), dh, ds, dx);
    EXPECT_EQ(dh, 0.0);
    EXPECT_EQ(ds, 0.0);
  }
}

// Per-channel difference back - original, smallest and largest.
struct Spread {
  int low = 0, high = 0;
  void Add(uint64_t original, uint64_t back, int channels, int bits) {
    const uint64_t mask = (uint64_t{1} << bits) - 1;
    for (int i = 0; i < channels; ++i) {
      const int d = static_cast<int>((back >> (i * bits)) & mask) - static_cast<int>((original >> (i * bits)) & mask);
      low = std::min(low, d);
      high = std::max(high, d);
    }
  }
};

// Measured over every colour; a dense stride keeps the sanitizer runs short.
// - The floating forms lose at most one step and never gain: converting back
//   truncates, and a value like 0.99999 * 255 truncates to 254.
// - The integer forms quantise hue to whole degrees and halve the lightness
//   sum, which costs up to 6 (HSL) and 5 (HSV) steps; their rounded divisions
//   by 255 can also land one above.
TEST(HslHsv, RoundTripsStayWithinTheirMeasuredSteps) {
  Spread hslInt, hslDouble, hsvInt, hsvDouble;
  for (uint32_t c = 0; c < (1u << 24); c += 5) {
    int h, s, x;
    double dh, ds, dx;
    RGBToHSL(c, h, s, x);
    hslInt.Add(c, HSLToRGB(h, s, x), 3, 8);
    RGBToHSL(c, dh, ds, dx);
    hslDouble.Add(c, HSLToRGB(dh, ds, dx), 3, 8);
    RGBToHSV(c, h, s, x);
    hsvInt.Add(c, HSVToRGB(h, s, x), 3, 8);
    RGBToHSV(c, dh, ds, dx);
    hsvDouble.Add(c, HSVToRGB(dh, ds, dx), 3, 8);
  }
  EXPECT_EQ(hslDouble.low, -1);
  EXPECT_EQ(hslDouble.high, 0);
  EXPECT_EQ(hsvDouble.low, -1);
  EXPECT_EQ(hsvDouble.high, 0);
  EXPECT_GE(hslInt.low, -6);
  EXPECT_LE(hslInt.high, 1);
  EXPECT_GE(hsvInt.low, -5);
  EXPECT_LE(hsvInt.high, 1);
}

TEST(HslHsv, SixteenBitRoundTripsStayWithinTheirMeasuredSteps) {
  // Whole-degree hues cost up to about 1080 of 65535 on 16-bit channels
  // (half a degree of a 60-degree ramp); the floating HSV form only truncates.
  Spread hslInt, hsvInt, hsvDouble;
  for (uint32_t c = 0; c < (1u << 24); c += 37) {
    const uint64_t w = Widen(c);
    int h, s, x;
    double dh, ds, dx;
    RGB64ToHSL(w, h, s, x);
    const uint64_t backHsl = HSLToRGB64(h, s, x);
    EXPECT_EQ(backHsl >> 48, 0xFFFFu);
    hslInt.Add(w, backHsl, 3, 16);
    RGB64ToHSV(w, h, s, x);
    hsvInt.Add(w, HSVToRGB64(h, s, x), 3, 16);
    RGB64ToHSV(w, dh, ds, dx);
    const uint64_t backHsv = HSVToRGB64(dh, ds, dx);
    EXPECT_EQ(backHsv >> 48, 0u);
    hsvDouble.Add(w, backHsv, 3, 16);
  }
  EXPECT_GE(hslInt.low, -1080);
  EXPECT_LE(hslInt.high, 1);
  EXPECT_GE(hsvInt.low, -1080);
  EXPECT_LE(hsvInt.high, 2);
  EXPECT_EQ(hsvDouble.low, -1);
  EXPECT_EQ(hsvDouble.high, 0);
}

TEST(HslFloating, GreysThatLoseAStepThroughTheTruncatedConstant) {
  // Lightness is channel * 0.00392156862745098, a hair below 1/255, so some
  // greys come back one lower: 33 among them, 128 and 255 not.
  double h, s, l;
  RGBToHSL(Rgb(33, 33, 33), h, s, l);
  EXPECT_EQ(HSLToRGB(h, s, l), Rgb(32, 32, 32));
  RGBToHSL(Rgb(128, 128, 128), h, s, l);
  EXPECT_EQ(HSLToRGB(h, s, l), Rgb(128, 128, 128));
  RGBToHSL(Rgb(255, 255, 255), h, s, l);
  EXPECT_EQ(HSLToRGB(h, s, l), Rgb(255, 255, 255));
  // HSV divides by 255 instead, so every grey survives.
  for (int v = 0; v < 256; ++v) {
    RGBToHSV(Rgb(v, v, v), h, s, l);
    EXPECT_EQ(HSVToRGB(h, s, l), Rgb(v, v, v)) << v;
  }
}

}  // namespace
