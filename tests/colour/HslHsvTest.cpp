// HSL and HSV in all their forms: values fixed by the integer and floating
// arithmetic, the deliberate quirks, and the measured round-trip behaviour.
#include <kernel/Colour.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cmath>
#include <tuple>

namespace {

using namespace Kernel;

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }
constexpr uint64_t Rgb64(uint64_t r, uint64_t g, uint64_t b, uint64_t a = 0) {
  return r | (g << 16) | (b << 32) | (a << 48);
}
constexpr uint64_t Widen(uint32_t c) { return Rgb64((c & 255) * 257, ((c >> 8) & 255) * 257, ((c >> 16) & 255) * 257); }

enum Form { HslInt, HsvInt, HslReal, HsvReal };
constexpr Form kForms[] = {HslInt, HsvInt, HslReal, HsvReal};

// The colour in the form's model; `wide` goes through the 16-bit form on the
// widened colour (floating HSL has none).
std::array<double, 3> ToModel(Form f, uint32_t colour, bool wide = false) {
  int h = -1, s = -1, x = -1;
  double dh = -1, ds = -1, dx = -1;
  const uint64_t w = Widen(colour);
  if (f == HslInt) wide ? RGB64ToHSL(w, h, s, x) : RGBToHSL(colour, h, s, x);
  if (f == HsvInt) wide ? RGB64ToHSV(w, h, s, x) : RGBToHSV(colour, h, s, x);
  if (f == HslReal) RGBToHSL(colour, dh, ds, dx);
  if (f == HsvReal) wide ? RGB64ToHSV(w, dh, ds, dx) : RGBToHSV(colour, dh, ds, dx);
  if (f == HslReal || f == HsvReal) return {dh, ds, dx};
  return {static_cast<double>(h), static_cast<double>(s), static_cast<double>(x)};
}

// The integer forms take the values as whole numbers.
uint32_t FromModel(Form f, double h, double s, double x) {
  const int ih = static_cast<int>(h), is = static_cast<int>(s), ix = static_cast<int>(x);
  if (f == HslInt) return HSLToRGB(ih, is, ix);
  if (f == HsvInt) return HSVToRGB(ih, is, ix);
  return f == HslReal ? HSLToRGB(h, s, x) : HSVToRGB(h, s, x);
}

// No floating HSL form gives a 64-bit colour.
uint64_t FromModel64(Form f, double h, double s, double x) {
  const int ih = static_cast<int>(h), is = static_cast<int>(s), ix = static_cast<int>(x);
  if (f == HslInt) return HSLToRGB64(ih, is, ix);
  return f == HsvInt ? HSVToRGB64(ih, is, ix) : HSVToRGB64(h, s, x);
}

// Within 1e-9 on every component: exact for the whole numbers of the integer forms.
::testing::AssertionResult Same(const std::array<double, 3>& got, const std::array<double, 3>& want) {
  for (int k = 0; k < 3; ++k)
    if (!(std::fabs(got[k] - want[k]) <= 1e-9))
      return ::testing::AssertionFailure() << "got (" << got[0] << ", " << got[1] << ", " << got[2] << "), want ("
                                           << want[0] << ", " << want[1] << ", " << want[2] << ")";
  return ::testing::AssertionSuccess();
}

TEST(HslHsv, FromRgb) {
  const struct {
    const char* name;
    Form form;
    uint32_t colour;
    std::array<double, 3> want;  // h, s and lightness (HSL) or value (HSV)
  } cases[] = {
      {"red", HslInt, Rgb(255, 0, 0), {0, 255, 127}},
      {"green", HslInt, Rgb(0, 255, 0), {120, 255, 127}},
      {"blue", HslInt, Rgb(0, 0, 255), {240, 255, 127}},
      {"yellow", HslInt, Rgb(255, 255, 0), {60, 255, 127}},
      {"magenta: -60 wraps to 300", HslInt, Rgb(255, 0, 255), {300, 255, 127}},
      {"light: saturation over 510 - max - min", HslInt, Rgb(255, 128, 128), {0, 255, 191}},
      {"brown", HslInt, Rgb(200, 100, 50), {20, 153, 125}},
      // 60 * (0 - 1) / 255 truncates towards zero to 0; a floor would give 359.
      {"hue truncates towards zero", HslInt, Rgb(255, 0, 1), {0, 255, 127}},
      {"-300/255 = -1 wraps to 359", HslInt, Rgb(255, 0, 5), {359, 255, 127}},
      {"top byte ignored", HslInt, Rgb(200, 100, 50) | 0xFF000000u, {20, 153, 125}},
      {"black", HsvInt, 0, {0, 0, 0}},
      {"red", HsvInt, Rgb(255, 0, 0), {0, 255, 255}},
      {"magenta: -60 plus 360 once", HsvInt, Rgb(255, 0, 255), {300, 255, 255}},
      {"dark orange", HsvInt, Rgb(100, 50, 0), {30, 255, 100}},
      {"brown: 255 * 150 / 200 truncates", HsvInt, Rgb(200, 100, 50), {20, 191, 200}},
      {"hue truncates towards zero", HsvInt, Rgb(255, 0, 1), {0, 255, 255}},
      {"faint blue", HsvInt, Rgb(0, 0, 1), {240, 255, 1}},
      {"red", HslReal, Rgb(255, 0, 0), {0.0, 1.0, 0.5}},
      {"blue", HslReal, Rgb(0, 0, 255), {240.0, 1.0, 0.5}},
      // The integer form gives 0 here; the floating hue wraps -0.235 with fmod.
      {"just below a full turn", HslReal, Rgb(255, 0, 1), {360.0 - 60.0 / 255.0, 1.0, 0.5}},
      {"brown", HslReal, Rgb(200, 100, 50), {20.0, 150.0 / 250.0, 125.0 / 255.0}},
      {"light", HslReal, Rgb(255, 128, 128), {0.0, 1.0, 383.0 / 510.0}},
      {"black", HsvReal, 0, {0.0, 0.0, 0.0}},
      {"brown", HsvReal, Rgb(200, 100, 50), {20.0, 0.75, 200.0 / 255.0}},
      {"magenta", HsvReal, Rgb(255, 0, 255), {300.0, 1.0, 1.0}},
      {"just below a full turn", HsvReal, Rgb(255, 0, 1), {360.0 - 60.0 / 255.0, 1.0, 1.0}},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(Same(ToModel(c.form, c.colour), c.want)) << c.name << " (form " << c.form << ")";
    if (c.form == HslInt || c.form == HslReal) continue;
    // The 16-bit HSV forms on the widened colour agree; the integer one's
    // value scales by 257 and its saturation is not compared.
    const auto w = ToModel(c.form, c.colour, true);
    const bool real = c.form == HsvReal;
    EXPECT_TRUE(Same({w[0], real ? w[1] : 0, w[2]}, {c.want[0], real ? c.want[1] : 0, c.want[2] * (real ? 1 : 257)}))
        << c.name << " (16-bit)";
  }
}

TEST(HslHsv, ToRgb) {
  const struct {
    const char* name;
    Form form;
    double h, s, x;
    uint32_t expected;
  } cases[] = {
      {"grey ignores hue", HslInt, 200, 0, 77, Rgb(77, 77, 77)},
      // m2 = ((255 + 255) * 127 * 257 + 256) >> 16 = 254, so red comes back as 254.
      {"red at lightness 127", HslInt, 0, 255, 127, Rgb(254, 0, 0)},
      {"green", HslInt, 120, 255, 127, Rgb(0, 254, 0)},
      {"blue", HslInt, 240, 255, 127, Rgb(0, 0, 254)},
      {"orange: ramp divides by 60 truncating", HslInt, 30, 255, 127, Rgb(254, 127, 0)},
      {"light branch", HslInt, 0, 255, 191, Rgb(255, 127, 127)},
      {"360 behaves as 0", HslInt, 360, 255, 127, Rgb(254, 0, 0)},
      {"720 wraps to 360", HslInt, 720, 255, 127, Rgb(254, 0, 0)},
      {"-120 wraps to 240", HslInt, -120, 255, 127, Rgb(0, 0, 254)},
      {"white", HslReal, 0, 0, 1.0, Rgb(255, 255, 255)},
      {"0.999 * 255 = 254.7 truncates to 254", HslReal, 0, 0, 0.999, Rgb(254, 254, 254)},
      {"black", HslReal, 0, 0, 0.0, 0},
      {"red", HslReal, 0, 1, 0.5, Rgb(255, 0, 0)},
      {"green", HslReal, 120, 1, 0.5, Rgb(0, 255, 0)},
      {"yellow", HslReal, 60, 1, 0.5, Rgb(255, 255, 0)},
      {"orange: 127.5 truncates", HslReal, 30, 1, 0.5, Rgb(255, 127, 0)},
      {"360 behaves as 0", HslReal, 360, 1, 0.5, Rgb(255, 0, 0)},
      {"-120 wraps to 240", HslReal, -120, 1, 0.5, Rgb(0, 0, 255)},
      {"dark red", HslReal, 0, 1, 0.25, Rgb(127, 0, 0)},
      {"grey", HsvInt, 200, 0, 77, Rgb(77, 77, 77)},
      {"red", HsvInt, 0, 255, 255, Rgb(255, 0, 0)},
      {"360 behaves as 0", HsvInt, 360, 255, 255, Rgb(255, 0, 0)},
      {"magenta", HsvInt, 300, 255, 255, Rgb(255, 0, 255)},
      // X(30) = ((255 - 127) * 100 * 257 + 256) >> 16 = 50
      {"dark orange", HsvInt, 30, 255, 100, Rgb(100, 50, 0)},
      // p = (64 * 200 * 257 + 256) >> 16 = 50, X(40) = (128 * 200 * 257 + 256) >> 16 = 100
      {"brown", HsvInt, 20, 191, 200, Rgb(200, 100, 50)},
      {"red", HsvReal, 0, 1, 1, Rgb(255, 0, 0)},
      {"360 behaves as 0", HsvReal, 360, 1, 1, Rgb(255, 0, 0)},
      {"green", HsvReal, 120, 1, 1, Rgb(0, 255, 0)},
      {"orange: 127.5 truncates", HsvReal, 30, 1, 1, Rgb(255, 127, 0)},
      {"magenta", HsvReal, 300, 1, 1, Rgb(255, 0, 255)},
      {"grey 0.999 truncates", HsvReal, 10, 0, 0.999, Rgb(254, 254, 254)},
  };
  for (const auto& c : cases)
    EXPECT_EQ(FromModel(c.form, c.h, c.s, c.x), c.expected) << c.name << " (form " << c.form << ")";
}

TEST(HslHsv, SixteenBitForms) {
  const std::tuple<uint64_t, int, int, int> fromRgb[] = {
      {Rgb64(65535, 0, 0, 0xFFFF), 0, 65535, 32767},  // alpha ignored
      {Rgb64(65535, 0, 65535), 300, 65535, 32767},
      {Rgb64(1000, 1000, 1000), 0, 0, 1000},
  };
  for (const auto& [colour, h, s, l] : fromRgb) {
    int gh = -1, gs = -1, gl = -1;
    RGB64ToHSL(colour, gh, gs, gl);
    EXPECT_EQ(std::tie(gh, gs, gl), std::tie(h, s, l)) << std::hex << colour;
  }
  const struct {
    const char* name;
    Form form;
    double h, s, x;
    uint64_t expected;
  } cases[] = {
      // Only the 64-bit HSL result is opaque: grey included.
      {"HSL grey", HslInt, 123, 0, 1000, 0xFFFF03E803E803E8ull},
      // m2 = (131070 * 32767) / 65535 = 65534 (unsigned 32-bit), m1 = 0.
      {"HSL red", HslInt, 0, 65535, 32767, Rgb64(65534, 0, 0, 0xFFFF)},
      {"HSL 360 behaves as 0", HslInt, 360, 65535, 32767, Rgb64(65534, 0, 0, 0xFFFF)},
      // l >= 32768: m2 = 65535 - 65535 * 49151 / 65535 + 49151 = 65535, m1 = 32767.
      {"HSL light branch", HslInt, 0, 65535, 49151, Rgb64(65535, 32767, 32767, 0xFFFF)},
      {"HSV red", HsvInt, 0, 65535, 65535, Rgb64(65535, 0, 0)},
      // X(30): 65535 - 32767 = 32768, w = 32768 * 65535, (w + (w >> 16) + 32768) >> 16 = 32768.
      {"HSV orange", HsvInt, 30, 65535, 65535, Rgb64(65535, 32768, 0)},
      {"HSV grey has no alpha", HsvInt, 17, 0, 1000, Rgb64(1000, 1000, 1000)},
      {"floating HSV red", HsvReal, 0.0, 1.0, 1.0, Rgb64(65535, 0, 0)},
      {"floating HSV orange truncates", HsvReal, 30.0, 1.0, 1.0, Rgb64(65535, 32767, 0)},
      {"floating HSV white", HsvReal, 0.0, 0.0, 1.0, Rgb64(65535, 65535, 65535)},
  };
  for (const auto& c : cases) EXPECT_EQ(FromModel64(c.form, c.h, c.s, c.x), c.expected) << c.name;
}

// Greys have no hue or saturation in any form. Floating HSL lightness is
// channel * 0.00392156862745098, a hair below 1/255, so some greys come back
// one lower: 33 among them, 128 and 255 not. Floating HSV divides by 255
// instead, so every grey survives.
TEST(HslHsv, GreysHaveNoHueAndOnlyFloatingHslLosesAStep) {
  for (int v = 0; v < 256; ++v) {
    for (Form f : kForms)
      for (bool wide : {false, true}) {
        if (wide && f == HslReal) continue;
        const auto m = ToModel(f, Rgb(v, v, v), wide);
        EXPECT_EQ(std::pair(m[0], m[1]), std::pair(0.0, 0.0)) << v << " form " << f << " wide " << wide;
        EXPECT_TRUE(wide || f == HslReal || f == HsvReal || m[2] == v) << v << " form " << f << ": " << m[2];
      }
    const auto hsv = ToModel(HsvReal, Rgb(v, v, v));
    EXPECT_EQ(FromModel(HsvReal, hsv[0], hsv[1], hsv[2]), Rgb(v, v, v)) << v;
  }
  for (const auto& [v, back] : {std::pair{33u, 32u}, std::pair{128u, 128u}, std::pair{255u, 255u}}) {
    const auto hsl = ToModel(HslReal, Rgb(v, v, v));
    EXPECT_EQ(FromModel(HslReal, hsl[0], hsl[1], hsl[2]), Rgb(back, back, back)) << v;
  }
}

// Per-channel difference back - original, smallest and largest.
struct Spread {
  int low = 0, high = 0;
  void Add(uint64_t original, uint64_t back, int bits) {
    const uint64_t mask = (uint64_t{1} << bits) - 1;
    for (int i = 0; i < 3; ++i) {
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
  Spread spread[4];
  for (uint32_t c = 0; c < (1u << 24); c += 5)
    for (Form f : kForms) {
      const auto m = ToModel(f, c);
      spread[f].Add(c, FromModel(f, m[0], m[1], m[2]), 8);
    }
  EXPECT_EQ(std::tie(spread[HslReal].low, spread[HslReal].high), std::make_tuple(-1, 0));
  EXPECT_EQ(std::tie(spread[HsvReal].low, spread[HsvReal].high), std::make_tuple(-1, 0));
  EXPECT_TRUE(spread[HslInt].low >= -6 && spread[HslInt].high <= 1) << spread[HslInt].low << " " << spread[HslInt].high;
  EXPECT_TRUE(spread[HsvInt].low >= -5 && spread[HsvInt].high <= 1) << spread[HsvInt].low << " " << spread[HsvInt].high;
  // Whole-degree hues cost up to about 1080 of 65535 on 16-bit channels
  // (half a degree of a 60-degree ramp); the floating HSV form only truncates.
  // Only the HSL result carries an opaque alpha.
  Spread wide[4];
  for (uint32_t c = 0; c < (1u << 24); c += 37)
    for (Form f : {HslInt, HsvInt, HsvReal}) {
      const auto m = ToModel(f, c, true);
      const uint64_t back = FromModel64(f, m[0], m[1], m[2]);
      EXPECT_EQ(back >> 48, f == HslInt ? 0xFFFFu : 0u);
      wide[f].Add(Widen(c), back, 16);
    }
  EXPECT_TRUE(wide[HslInt].low >= -1080 && wide[HslInt].high <= 1) << wide[HslInt].low << " " << wide[HslInt].high;
  EXPECT_TRUE(wide[HsvInt].low >= -1080 && wide[HsvInt].high <= 2) << wide[HsvInt].low << " " << wide[HsvInt].high;
  EXPECT_EQ(std::tie(wide[HsvReal].low, wide[HsvReal].high), std::make_tuple(-1, 0));
}

}  // namespace
