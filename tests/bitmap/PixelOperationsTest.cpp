// The bitmap's pixel operations on every format: flips and rotations undo
// themselves, the histogram counts every pixel once, alpha setting touches
// only alpha, and the copies and format changes keep the pixels.
#include <gtest/gtest.h>

#include <numeric>

#include <kernel/CopyPixels.h>
#include <kernel/PixelOperations.h>

#include "PixelTestBitmaps.h"

using namespace Kernel;

namespace {

class EveryFormat : public ::testing::TestWithParam<int> {};

TEST_P(EveryFormat, FlipsAndRotationsTwiceGiveTheOriginal) {
  const int t = GetParam();
  for (auto origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
    auto b = MakeTyped(t, 7, 4, origin);
    FillNoise(*b, 40u + t);
    const auto original = Snapshot(*b);
    for (auto op : {&CBaseBitmap::FlipH, &CBaseBitmap::FlipV, &CBaseBitmap::RotateRight180}) {
      (b.Get()->*op)();
      EXPECT_NE(Snapshot(*b), original);
      (b.Get()->*op)();
      EXPECT_EQ(Snapshot(*b), original);
    }
    b->RotateRight90();
    EXPECT_EQ(b->Size(), CSize(4, 7));
    b->RotateLeft90();
    EXPECT_EQ(b->GetWidth(), 7);
    EXPECT_EQ(Snapshot(*b), original);
    for (int i = 0; i < 4; ++i) b->RotateLeft90();
    EXPECT_EQ(Snapshot(*b), original);
  }
}

TEST_P(EveryFormat, HistogramCountsEveryClipPixelOnce) {
  const int t = GetParam();
  auto b = MakeTyped(t, 9, 5);
  FillNoise(*b, 3u * t);
  std::vector<uint32_t> h(256, 0xFFFF);
  ASSERT_TRUE(b->GetHistogram(h.data(), 256));
  EXPECT_EQ(std::accumulate(h.begin(), h.end(), 0u), 45u);
  b->SetClipRect(CRect(1, 1, 4, 3));
  ASSERT_TRUE(b->GetHistogram(h.data(), 256));
  EXPECT_EQ(std::accumulate(h.begin(), h.end(), 0u), 6u);
  std::vector<uint32_t> wide(65536);
  EXPECT_EQ(b->GetHistogram(wide.data(), 65536), b->GetBitsPerChannel() == 16);
  EXPECT_FALSE(b->GetHistogram(h.data(), 100));
}

TEST_P(EveryFormat, SetAlphaTouchesOnlyAlpha) {
  const int t = GetParam();
  auto b = MakeTyped(t, 5, 3);
  FillNoise(*b, 17u + t);
  auto before = MakeTyped(t, 5, 3);
  CopyPixels(before.Get(), b.Get(), nullptr, nullptr);
  b->SetAlphaToValue(0x42);
  // Compare through a non-alpha view: the colour must be the same, and alpha
  // (read through a 32-bit colour view) must be the value.
  const bool alpha = HasAlpha(GetImageType(b.Get()));
  auto colourNow = MakeTyped(PIT_RGB64, 5, 3), colourBefore = MakeTyped(PIT_RGB64, 5, 3);
  CopyPixels(colourNow.Get(), b.Get(), nullptr, nullptr);
  CopyPixels(colourBefore.Get(), before.Get(), nullptr, nullptr);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) {
      const uint8_t* n = colourNow->GetBits(CPoint(x, y));
      const uint8_t* o = colourBefore->GetBits(CPoint(x, y));
      EXPECT_EQ(std::vector<uint8_t>(n, n + 6), std::vector<uint8_t>(o, o + 6));
      if (alpha) {
        EXPECT_EQ(n[7], 0x42);
      } else {
        EXPECT_EQ(n[7], o[7]);
      }
    }
  if (!alpha) {
    EXPECT_EQ(Snapshot(*b), Snapshot(*before));
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, EveryFormat, ::testing::Range(1, 22), [](const auto& info) {
  return std::string(GetFormatName(GetImageTypeFromIterator(static_cast<PixelIteratorType>(info.param))));
});

TEST(PixelOperations, RotationMovesPixelsClockwise) {
  CPtr<CMemoryBitmap> b(new CMemoryBitmap(3, 2, 8, ColourOrder::Mono));
  // 1 2 3      4 1
  // 4 5 6  ->  5 2
  //            6 3
  for (int i = 0; i < 6; ++i) b->GetBits(CPoint(i % 3, i / 3))[0] = static_cast<uint8_t>(i + 1);
  b->RotateRight90();
  const int want[3][2] = {{4, 1}, {5, 2}, {6, 3}};
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 2; ++x) EXPECT_EQ(b->GetBits(CPoint(x, y))[0], want[y][x]);
  b->RotateLeft90();
  b->RotateLeft90();
  EXPECT_EQ(b->GetBits(CPoint(0, 0))[0], 3);  // rotated left once from the start: 3 6 / 2 5 / 1 4
  EXPECT_EQ(b->GetBits(CPoint(1, 2))[0], 4);
}

TEST(PixelOperations, SixteenBitAlphaAlphaBitsAndCmykPlane) {
  CPtr<CMemoryBitmap> b(new CMemoryBitmap(2, 2, 64, ColourOrder::Bgr));
  FillNoise(*b, 5);
  const uint8_t bits[4] = {1, 2, 3, 4};
  b->SetClipRect(CRect(0, 1, 2, 2));
  b->SetAlphaBits(bits);  // only the bottom row, from the first two bytes
  EXPECT_EQ(b->GetBits(CPoint(1, 1))[6], 2);
  EXPECT_EQ(b->GetBits(CPoint(1, 1))[7], 2);
  b->SetClipRect(CRect(0, 0, 2, 2));
  SetAlpha(b.Get(), 0x80);
  EXPECT_EQ(b->GetBits(CPoint(0, 0))[6], 0x80);
  EXPECT_EQ(b->GetBits(CPoint(0, 0))[7], 0x80);
  auto cmyk = MakeTyped(PIT_CMYKA_32_8, 3, 3);
  cmyk->SetAlphaToValue(9);
  EXPECT_EQ(cmyk->GetAlphaChannel()->GetBits(CPoint(2, 2))[0], 9);
}

TEST(PixelOperations, GreyscaleKeepsAlphaAndFormat) {
  struct Case {
    int type;
    std::vector<uint8_t> in, out;
  };
  const Case cases[] = {
      {PIT_RGB32, {10, 20, 60, 7}, {30, 30, 30, 7}},
      {PIT_BGR24, {1, 2, 4}, {2, 2, 2}},
      {PIT_CMYK_32, {0, 255, 255, 0}, {0, 0, 0, 170}},  // red: grey 85, so black ink 170
      {PIT_MONO8, {77}, {77}},
  };
  for (const Case& c : cases) {
    auto b = MakeTyped(c.type, 1, 1);
    std::copy(c.in.begin(), c.in.end(), b->GetBits(CPoint(0, 0)));
    b->GreyscaleImage();
    const uint8_t* p = b->GetBits(CPoint(0, 0));
    EXPECT_EQ(std::vector<uint8_t>(p, p + c.out.size()), c.out) << c.type;
  }
  // Indexed bitmaps grey their palette.
  const RGBQUAD pal[2] = {{0, 0, 90, 0}, {30, 60, 90, 0}};
  CMemoryBitmap ix;
  ix.CreateWithPalette(2, 2, 1, pal, 2, ColourOrder::Rgb, BitmapOrigin::TopLeft);
  ix.GreyscaleImage();
  EXPECT_EQ(ix.GetPalette()[0].rgbRed, 30);
  EXPECT_EQ(ix.GetPalette()[1].rgbBlue, 60);
}

TEST(PixelOperations, CopyRectKeepsBitsPaletteAndPlane) {
  const int types[] = {PIT_RGB4, PIT_RGB24, PIT_CMYKA_32_8, PIT_MONOA32};
  for (int t : types) {
    auto b = MakeTyped(t, 9, 6, BitmapOrigin::BottomLeft);
    FillNoise(*b, 77u + t);
    CPtr<CBaseBitmap> part = b->CopyRect(CRect(2, 1, 7, 9));  // cut to the bitmap: 5 x 5
    ASSERT_TRUE(part) << t;
    EXPECT_EQ(part->GetIteratorType(), b->GetIteratorType());
    ASSERT_EQ(part->Size(), CSize(5, 5));
    auto check = MakeTyped(t, 5, 5);
    const CRect r(2, 1, 7, 6);
    CopyPixels(check.Get(), b.Get(), &r, nullptr);  // same type: bits as they are
    EXPECT_EQ(Snapshot(*part), Snapshot(*check)) << t;
  }
  EXPECT_FALSE(MakeTyped(PIT_RGB24, 4, 4)->CopyRect(CRect(5, 5, 9, 9)));
}

TEST(PixelOperations, GetAsConvertsToTheOrder) {
  auto b = MakeTyped(PIT_RGB32, 2, 1);
  uint8_t* p = b->GetBits(CPoint(0, 0));
  p[0] = 3, p[1] = 6, p[2] = 9, p[3] = 200;
  CPtr<CBaseBitmap> grey = b->GetAs(ColourOrder::MonoA);
  ASSERT_TRUE(grey);
  EXPECT_EQ(grey->GetIteratorType(), PIT_MONOA16);
  EXPECT_EQ(grey->GetBits(CPoint(0, 0))[0], 6);
  EXPECT_EQ(grey->GetBits(CPoint(0, 0))[1], 200);
  CPtr<CBaseBitmap> bgr = b->GetAs(ColourOrder::Bgr);
  ASSERT_TRUE(bgr);
  EXPECT_EQ(bgr->GetIteratorType(), PIT_BGR32);
  EXPECT_EQ(bgr->GetBits(CPoint(0, 0))[0], 9);
  EXPECT_FALSE(b->GetAs(ColourOrder::Kymc));
}

TEST(PixelOperations, BitBltClipsToTheTarget) {
  auto src = MakeTyped(PIT_MONO8, 4, 4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) src->GetBits(CPoint(x, y))[0] = static_cast<uint8_t>(10 * y + x + 1);
  auto dst = MakeTyped(PIT_RGB24, 5, 5);
  EXPECT_TRUE(dst->BitBlt(src.Get(), CPoint(3, -1), nullptr));
  // Target (3, 0) gets source (0, 1); (4, 2) gets (1, 3); column 2 untouched.
  EXPECT_EQ(dst->GetBits(CPoint(3, 0))[0], 11);
  EXPECT_EQ(dst->GetBits(CPoint(4, 2))[0], 32);
  EXPECT_EQ(dst->GetBits(CPoint(2, 0))[0], 0);
  EXPECT_EQ(dst->GetBits(CPoint(3, 3))[0], 0);
  EXPECT_FALSE(dst->BitBlt(src.Get(), CPoint(9, 9), nullptr));
}

}  // namespace
