// The colour functions that go through a CMYKMapper, and the plain mapper.
#include <kernel/CMYKMapper.h>
#include <kernel/Colour.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace {

using namespace Kernel;
using ::testing::_;
using ::testing::Return;

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }

// Records what the colour functions ask of the host's mapper.
class RecordingMapper : public CMYKMapper {
 public:
  MOCK_METHOD(uint32_t, RGBToCMYK, (uint32_t), (override));
  MOCK_METHOD(uint32_t, CMYKToRGB, (uint32_t), (override));
  MOCK_METHOD(uint32_t, InksToRGB, (uint8_t, uint8_t, uint8_t, uint8_t), (override));
};

TEST(CMYKThroughMapper, InksArePassedInTheCrossedByteOrder) {
  RecordingMapper mapper;
  // Bytes 24-31, 8-15, 16-23, 0-7: not the byte order, on purpose.
  EXPECT_CALL(mapper, InksToRGB(0x11, 0x33, 0x22, 0x44)).WillOnce(Return(Rgb(255, 255, 255)));
  EXPECT_CALL(mapper, CMYKToRGB(_)).Times(0);
  double L = -1, a = -1, b = -1;
  CMYKToLab(0x11223344u, L, a, b, mapper);
  EXPECT_EQ(std::tie(L, a, b), std::make_tuple(100.0, 0.0, 0.0));
}

TEST(CMYKThroughMapper, OtherConversionsUseTheWholeValue) {
  RecordingMapper mapper;
  EXPECT_CALL(mapper, RGBToCMYK(Rgb(255, 255, 255))).WillOnce(Return(0xDEADBEEFu));
  EXPECT_EQ(LabToCMYK(100.0, 0.0, 0.0, mapper), 0xDEADBEEFu);

  // Integer HSL (0, 255, 127) is (254, 0, 0).
  EXPECT_CALL(mapper, RGBToCMYK(Rgb(254, 0, 0))).WillOnce(Return(0x01020304u));
  EXPECT_EQ(HSLToCMYK(0, 255, 127, mapper), 0x01020304u);

  EXPECT_CALL(mapper, CMYKToRGB(0xA1B2C3D4u)).WillOnce(Return(Rgb(200, 100, 50)));
  int h = -1, s = -1, l = -1;
  CMYKToHSL(0xA1B2C3D4u, h, s, l, mapper);
  EXPECT_EQ(std::tie(h, s, l), std::make_tuple(20, 153, 125));
}

TEST(PlainCMYKMapper, ExactConversions) {
  const struct {
    const char* name;
    uint32_t colour, cmyk, back;
  } cases[] = {
      {"black", 0, PackCMYK(0, 0, 0, 255), 0},
      {"white", Rgb(255, 255, 255), 0, Rgb(255, 255, 255)},
      {"red", Rgb(255, 0, 0), PackCMYK(0, 255, 255, 0), Rgb(255, 0, 0)},
      {"grey", Rgb(128, 128, 128), PackCMYK(0, 0, 0, 127), Rgb(128, 128, 128)},
      // K = 127; M = (64 * 255 + 64) / 128 = 128, Y = (128 * 255 + 64) / 128 = 255;
      // back: G = (127 * 128 * 257 + 256) >> 16 = 63.
      {"brown loses a step", Rgb(128, 64, 0), PackCMYK(0, 128, 255, 127), Rgb(128, 63, 0)},
  };
  CPlainCMYKMapper mapper;
  for (const auto& c : cases) {
    EXPECT_EQ(mapper.RGBToCMYK(c.colour | 0xFF000000u), c.cmyk) << c.name;
    EXPECT_EQ(mapper.CMYKToRGB(c.cmyk), c.back) << c.name;
  }
}

TEST(PlainCMYKMapper, RoundTripWithinOneStepAndInkOrderAgrees) {
  CPlainCMYKMapper mapper;
  for (uint32_t c = 0; c < (1u << 24); c += 97) {
    const uint32_t back = mapper.CMYKToRGB(mapper.RGBToCMYK(c));
    for (int shift = 0; shift < 24; shift += 8)
      ASSERT_LE(std::abs(static_cast<int>((back >> shift) & 255) - static_cast<int>((c >> shift) & 255)), 1) << c;
    // The crossed order the colour functions use lands on the same inks.
    const uint32_t cmyk = c * 2654435761u;
    double L1, a1, b1, L2, a2, b2;
    CMYKToLab(cmyk, L1, a1, b1, mapper);
    RGBToLab(mapper.CMYKToRGB(cmyk), L2, a2, b2);
    ASSERT_EQ(std::tie(L1, a1, b1), std::tie(L2, a2, b2)) << cmyk;
  }
}

TEST(PlainCMYKMapper, HslAndLabGoThroughTheMapper) {
  CPlainCMYKMapper mapper;
  EXPECT_EQ(HSLToCMYK(0, 255, 127, mapper), PackCMYK(0, 255, 255, 1));
  int h, s, l;
  CMYKToHSL(PackCMYK(0, 255, 255, 0), h, s, l, mapper);
  EXPECT_EQ(std::tie(h, s, l), std::make_tuple(0, 255, 127));
  EXPECT_EQ(LabToCMYK(100.0, 0.0, 0.0, mapper), 0u);
  double L, a, b;
  CMYKToLab(PackCMYK(0, 0, 0, 255), L, a, b, mapper);
  EXPECT_EQ(L, 0.0);
}

}  // namespace
