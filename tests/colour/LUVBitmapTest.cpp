// The whole-bitmap L*u*v* conversions: bit-exact agreement with the
// single-colour functions (every 24-bit colour), every pixel format read as
// CopyPixels reads it, ranges and normalisation, and writing back.
#include <kernel/CopyPixels.h>
#include <kernel/LUV.h>
#include <kernel/MemoryBitmap.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include "bitmap/PixelTestBitmaps.h"

namespace {

using Kernel::BitmapOrigin;
using Kernel::CBaseBitmap;
using Kernel::CMemoryBitmap;
using Kernel::ColourOrder;
using Kernel::CPtr;
using Kernel::RGBLUVConversions;

// An RGB32 word (0xAARRGGBB in memory order B, G, R, A) as a colour value.
uint32_t WordToColour(uint32_t w) { return ((w >> 16) & 0xFF) | (w & 0xFF00) | ((w & 0xFF) << 16); }
uint32_t ColourToWord(uint32_t c) { return ((c >> 16) & 0xFF) | (c & 0xFF00) | ((c & 0xFF) << 16); }

// The colours of b as CopyPixels converts them to 32-bit RGB, displayed row
// 0 first; each with the top byte CopyPixels gives.
std::vector<uint32_t> WordsOf(const CBaseBitmap& b) {
  CMemoryBitmap rgb(b.GetWidth(), b.GetHeight(), 32, ColourOrder::Rgb);
  Kernel::CopyPixels(&rgb, &b, nullptr, nullptr);
  std::vector<uint32_t> out(static_cast<size_t>(b.GetWidth()) * b.GetHeight());
  for (int y = 0; y < b.GetHeight(); ++y)
    std::memcpy(&out[static_cast<size_t>(y) * b.GetWidth()], rgb.GetBits(CPoint(0, y)), 4 * b.GetWidth());
  return out;
}

void RandomisePalette(CBaseBitmap& b, uint32_t seed) {
  std::mt19937 rng(seed);
  RGBQUAD* pal = b.GetPalette();
  for (int i = 0; pal != nullptr && i < b.GetPaletteSize(); ++i)
    pal[i] = RGBQUAD{static_cast<uint8_t>(rng()), static_cast<uint8_t>(rng()), static_cast<uint8_t>(rng()), 0};
}

// Every 24-bit colour, a million at a time, with noise in the fourth byte:
// the bitmap path must give exactly the floats of the colour functions.
TEST(LUVBitmap, EveryColourMatchesTheColourFunctionsBitForBit) {
  const int w = 4096, h = 256;
  CMemoryBitmap b(w, h, 32, ColourOrder::Rgb);
  std::vector<float> luv(static_cast<size_t>(w) * h * 3);
  std::vector<float> ls(static_cast<size_t>(w) * h);
  std::mt19937 rng(7);
  for (uint32_t chunk = 0; chunk < 16; ++chunk) {
    for (int y = 0; y < h; ++y) {
      uint8_t* row = b.GetBits(CPoint(0, y));
      for (int x = 0; x < w; ++x) {
        const uint32_t word = (chunk << 20 | static_cast<uint32_t>(y) << 12 | static_cast<uint32_t>(x)) |
                              (static_cast<uint32_t>(rng()) << 24);
        std::memcpy(row + 4 * x, &word, 4);
      }
    }
    RGBLUVConversions::ConvertRGBtoLUV(&b, luv.data(), false, nullptr);
    RGBLUVConversions::ConvertRGBToL(&b, ls.data(), false);
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
      const uint32_t colour = WordToColour((chunk << 20) | static_cast<uint32_t>(i));
      float want[3];
      RGBLUVConversions::RGBtoLUV(colour, want);
      ASSERT_TRUE(std::memcmp(want, &luv[3 * i], sizeof want) == 0 && std::memcmp(want, &ls[i], sizeof(float)) == 0)
          << std::hex << "colour " << colour << std::dec << ": " << luv[3 * i] << " " << luv[3 * i + 1] << " "
          << luv[3 * i + 2] << " L " << ls[i] << ", want " << want[0] << " " << want[1] << " " << want[2];
    }
  }
}

const struct {
  int type;
  BitmapOrigin::Type origin;
} c_formats[] = {
    {Kernel::PIT_RGB24, BitmapOrigin::TopLeft},      {Kernel::PIT_RGB24, BitmapOrigin::BottomLeft},
    {Kernel::PIT_RGB32, BitmapOrigin::TopLeft},      {Kernel::PIT_BGR24, BitmapOrigin::TopLeft},
    {Kernel::PIT_BGR32, BitmapOrigin::BottomLeft},   {Kernel::PIT_MONO8, BitmapOrigin::TopLeft},
    {Kernel::PIT_RGB16, BitmapOrigin::TopLeft},      {Kernel::PIT_BGR16, BitmapOrigin::BottomLeft},
    {Kernel::PIT_CMYK_32, BitmapOrigin::TopLeft},    {Kernel::PIT_CMYKA_40, BitmapOrigin::TopLeft},
    {Kernel::PIT_CMYKA_32_8, BitmapOrigin::TopLeft}, {Kernel::PIT_RGB8, BitmapOrigin::TopLeft},
    {Kernel::PIT_RGB4, BitmapOrigin::BottomLeft},    {Kernel::PIT_RGB1, BitmapOrigin::TopLeft},
    {Kernel::PIT_RGB2, BitmapOrigin::TopLeft},       {Kernel::PIT_RGB48, BitmapOrigin::TopLeft},
    {Kernel::PIT_BGR64, BitmapOrigin::BottomLeft},   {Kernel::PIT_MONO16, BitmapOrigin::TopLeft},
    {Kernel::PIT_MONOA16, BitmapOrigin::TopLeft},    {Kernel::PIT_MONOA32, BitmapOrigin::BottomLeft},
};

TEST(LUVBitmap, LBytesScaleZeroToHundredOntoTheByteRange) {
  CMemoryBitmap b(256, 1, 8, ColourOrder::Mono);
  for (int x = 0; x < 256; ++x) *b.GetBits(CPoint(x, 0)) = static_cast<uint8_t>(x);
  std::vector<uint8_t> out(256);
  RGBLUVConversions::ConvertRGBToL(&b, out.data());
  // Black gives a hair below zero and white a hair above 100: both clamp.
  // sRGB grey 119 has L* 50.03: 127.6 rounds up.
  EXPECT_EQ(std::tie(out[0], out[255], out[119]), std::make_tuple(0, 255, 128));
  for (int x = 1; x < 256; ++x) EXPECT_LE(out[static_cast<size_t>(x - 1)], out[static_cast<size_t>(x)]) << x;
}

TEST(LUVBitmap, RangesAreTakenBeforeNormalising) {
  const int w = 31, h = 17;
  CMemoryBitmap b(w, h, 24, ColourOrder::Rgb);
  FillNoise(b, 3);
  std::vector<float> plain(static_cast<size_t>(w) * h * 3), norm(plain.size());
  float ranges[6] = {0, 0, 0, 0, 0, 0}, normRanges[6] = {0, 0, 0, 0, 0, 0};
  RGBLUVConversions::ConvertRGBtoLUV(&b, plain.data(), false, ranges);
  RGBLUVConversions::ConvertRGBtoLUV(&b, norm.data(), true, normRanges);
  for (int c = 0; c < 3; ++c) {
    SCOPED_TRACE(c);
    float lo = plain[static_cast<size_t>(c)], hi = lo;
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
      lo = std::min(lo, plain[3 * i + static_cast<size_t>(c)]);
      hi = std::max(hi, plain[3 * i + static_cast<size_t>(c)]);
    }
    EXPECT_EQ(std::tie(ranges[2 * c], ranges[2 * c + 1], normRanges[2 * c], normRanges[2 * c + 1]),
              std::tie(lo, hi, lo, hi));
    float nlo = 1e9f, nhi = -1e9f;
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
      const float x = plain[3 * i + static_cast<size_t>(c)];
      ASSERT_EQ(norm[3 * i + static_cast<size_t>(c)], (x - lo) / (hi - lo)) << i;
      nlo = std::min(nlo, norm[3 * i + static_cast<size_t>(c)]);
      nhi = std::max(nhi, norm[3 * i + static_cast<size_t>(c)]);
    }
    EXPECT_EQ(std::pair(nlo, nhi), std::pair(0.0f, 1.0f));
  }
  std::vector<float> l(static_cast<size_t>(w) * h);
  RGBLUVConversions::ConvertRGBToL(&b, l.data(), true);
  for (size_t i = 0; i < l.size(); ++i) ASSERT_EQ(l[i], (plain[3 * i] - ranges[0]) / (ranges[1] - ranges[0])) << i;
}

TEST(LUVBitmap, ConstantChannelsNormaliseToNaN) {
  CMemoryBitmap b(6, 4, 32, ColourOrder::Rgb);
  b.Clear(0x00336699u, nullptr);
  std::vector<float> out(6 * 4 * 3);
  float ranges[6];
  RGBLUVConversions::ConvertRGBtoLUV(&b, out.data(), true, ranges);
  float want[3];
  RGBLUVConversions::RGBtoLUV(WordToColour(0x00336699u), want);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(std::tie(ranges[2 * c], ranges[2 * c + 1]), std::tie(want[c], want[c])) << c;
  for (float v : out) EXPECT_TRUE(std::isnan(v));
  std::vector<float> l(6 * 4);
  RGBLUVConversions::ConvertRGBToL(&b, l.data(), true);
  for (float v : l) EXPECT_TRUE(std::isnan(v));
}

TEST(LUVBitmap, NothingToConvertWritesNothing) {
  float out[6] = {7, 7, 7, 7, 7, 7};
  float ranges[6] = {5, 5, 5, 5, 5, 5};
  uint8_t bytes[2] = {9, 9};
  CMemoryBitmap empty;
  CMemoryBitmap zeroWide(0, 3, 24, ColourOrder::Rgb);
  for (CBaseBitmap* b :
       {static_cast<CBaseBitmap*>(nullptr), static_cast<CBaseBitmap*>(&empty), static_cast<CBaseBitmap*>(&zeroWide)}) {
    RGBLUVConversions::ConvertRGBtoLUV(b, out, true, ranges);
    RGBLUVConversions::ConvertRGBToL(b, out, true);
    RGBLUVConversions::ConvertRGBToL(b, bytes);
    RGBLUVConversions::ConvertLUVtoRGB(b, out);
  }
  CMemoryBitmap one(1, 1, 24, ColourOrder::Rgb);
  RGBLUVConversions::ConvertRGBtoLUV(&one, nullptr, true, ranges);
  RGBLUVConversions::ConvertRGBToL(&one, static_cast<float*>(nullptr), true);
  RGBLUVConversions::ConvertRGBToL(&one, static_cast<uint8_t*>(nullptr));
  RGBLUVConversions::ConvertLUVtoRGB(&one, nullptr);
  for (float v : out) EXPECT_EQ(v, 7.0f);
  for (float v : ranges) EXPECT_EQ(v, 5.0f);
  EXPECT_EQ(bytes[0], 9);
}

// The main plane's pixel bytes (no padding, no separate alpha plane).
std::vector<uint8_t> MainPlane(const CBaseBitmap& b) {
  std::vector<uint8_t> out;
  const int rowBytes = (b.GetWidth() * b.GetBitsPerPixel() + 7) / 8;
  const int used = (b.GetWidth() * b.GetBitsPerPixel()) % 8;
  for (int y = 0; y < b.GetHeight(); ++y) {
    const uint8_t* r = b.GetBits(CPoint(0, y));
    out.insert(out.end(), r, r + rowBytes);
    if (used != 0) out.back() &= static_cast<uint8_t>(0xFF << (8 - used));
  }
  return out;
}

TEST(LUVBitmap, EveryFormatReadsAndWritesAsCopyPixelsDoes) {
  for (const auto& f : c_formats) {
    SCOPED_TRACE(testing::Message() << "type " << f.type << " origin " << f.origin);
    // Odd sizes so that packed rows end mid-byte and rows carry padding.
    const int w = 13, h = 5;
    auto b = MakeTyped(f.type, w, h, f.origin);
    FillNoise(*b, 100 + static_cast<uint32_t>(f.type));
    RandomisePalette(*b, 7 + static_cast<uint32_t>(f.type));
    const std::vector<uint32_t> before = WordsOf(*b);
    std::vector<float> luv(static_cast<size_t>(w) * h * 3, -1000.0f);
    std::vector<float> ls(static_cast<size_t>(w) * h, -1000.0f);
    std::vector<uint8_t> bytes(static_cast<size_t>(w) * h + 1, 0xCD);
    RGBLUVConversions::ConvertRGBtoLUV(b.Get(), luv.data(), false, nullptr);
    RGBLUVConversions::ConvertRGBToL(b.Get(), ls.data(), false);
    RGBLUVConversions::ConvertRGBToL(b.Get(), bytes.data());
    for (size_t i = 0; i < before.size(); ++i) {
      float want[3];
      RGBLUVConversions::RGBtoLUV(WordToColour(before[i]), want);
      const auto wantByte = static_cast<uint8_t>(std::lround(want[0] * 255.0f / 100.0f));
      ASSERT_EQ(std::tie(luv[3 * i], luv[3 * i + 1], luv[3 * i + 2], ls[i], bytes[i]),
                std::tie(want[0], want[1], want[2], want[0], wantByte))
          << "pixel " << i;
    }
    EXPECT_EQ(bytes.back(), 0xCD);  // nothing is written past the last pixel

    // Writing back: values other than the bitmap's own, so that the write is
    // visible. The expected pixels are each LUVtoRGB colour, with the fourth
    // byte the bitmap had, turned into the format by CopyPixels.
    const std::vector<uint8_t> alphaPlane =
        b->GetAlphaChannel() != nullptr ? MainPlane(*b->GetAlphaChannel()) : std::vector<uint8_t>{};
    std::mt19937 rng(f.type);
    CMemoryBitmap words(w, h, 32, ColourOrder::Rgb);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const size_t i = static_cast<size_t>(y) * w + x;
        RGBLUVConversions::RGBtoLUV(static_cast<uint32_t>(rng()) & 0xFFFFFF, &luv[3 * i]);
        const uint32_t word = (before[i] & 0xFF000000u) | ColourToWord(RGBLUVConversions::LUVtoRGB(&luv[3 * i]));
        std::memcpy(words.GetBits(CPoint(x, y)), &word, 4);
      }
    auto expected = MakeTyped(f.type, w, h, f.origin);
    if (b->GetPalette() != nullptr)
      std::memcpy(expected->GetPalette(), b->GetPalette(), sizeof(RGBQUAD) * static_cast<size_t>(b->GetPaletteSize()));
    Kernel::CopyPixels(expected.Get(), &words, nullptr, nullptr);
    RGBLUVConversions::ConvertLUVtoRGB(b.Get(), luv.data());
    EXPECT_EQ(MainPlane(*b), MainPlane(*expected));
    EXPECT_EQ(b->GetAlphaChannel() != nullptr ? MainPlane(*b->GetAlphaChannel()) : std::vector<uint8_t>{}, alphaPlane);
  }
}

TEST(LUVBitmap, RoundTripKeepsColoursAlphaAndPadding) {
  // 5 pixels of 4 bytes plus alignment 16: 12 padding bytes per row.
  const int w = 5, h = 9;
  CMemoryBitmap b(w, h, 32, ColourOrder::Rgb, BitmapOrigin::BottomLeft, 16);
  ASSERT_GT(b.GetBytesPerScanline(), w * 4);
  std::mt19937 rng(11);
  for (int y = 0; y < h; ++y) {
    uint8_t* row = b.GetBits(CPoint(0, y));
    for (int i = 0; i < b.GetBytesPerScanline(); ++i) row[i] = static_cast<uint8_t>(rng());
  }
  // Full-intensity channels appear, to show the 254 ceiling.
  const uint32_t white = 0x7FFFFFFFu, red = 0x01FF0000u;
  std::memcpy(b.GetBits(CPoint(0, 0)), &white, 4);
  std::memcpy(b.GetBits(CPoint(1, 0)), &red, 4);
  std::vector<uint8_t> original(static_cast<size_t>(b.GetBytesPerScanline()) * h);
  for (int y = 0; y < h; ++y)
    std::memcpy(&original[static_cast<size_t>(y) * b.GetBytesPerScanline()], b.GetBits(CPoint(0, y)),
                static_cast<size_t>(b.GetBytesPerScanline()));

  std::vector<float> luv(static_cast<size_t>(w) * h * 3);
  RGBLUVConversions::ConvertRGBtoLUV(&b, luv.data(), false, nullptr);
  RGBLUVConversions::ConvertLUVtoRGB(&b, luv.data());
  for (int y = 0; y < h; ++y) {
    const uint8_t* now = b.GetBits(CPoint(0, y));
    const uint8_t* was = &original[static_cast<size_t>(y) * b.GetBytesPerScanline()];
    for (int i = 0; i < b.GetBytesPerScanline(); ++i) {
      const bool colourByte = i < w * 4 && i % 4 != 3;
      if (!colourByte) {
        ASSERT_EQ(now[i], was[i]) << "row " << y << " byte " << i;  // alpha and padding
      } else {
        ASSERT_LE(now[i], 254) << "row " << y << " byte " << i;
        ASSERT_LE(std::abs(now[i] - std::min<int>(was[i], 254)), 1) << "row " << y << " byte " << i;
      }
    }
  }
  const uint8_t whiteBack[4] = {254, 254, 254, 0x7F};
  EXPECT_EQ(std::memcmp(b.GetBits(CPoint(0, 0)), whiteBack, 4), 0);
}

}  // namespace
