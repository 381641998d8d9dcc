// Row reads and writes of the pixel iterators: the whole-row shortcut, packed
// indices, the separate alpha plane, bottom-up bitmaps and clips.
#include <gtest/gtest.h>

#include <kernel/PixelIterator.h>

#include "PixelTestBitmaps.h"
#include "RawBitmap.h"

using namespace Kernel;

namespace {

TEST(PixelIterator, BottomLeftRowZeroIsTheLastStoredRow) {
  RawBitmap b(2, 3, 24, ColourOrder::Rgb, BitmapOrigin::BottomLeft, 2);
  const int stride = b.GetBytesPerScanline();
  ASSERT_EQ(stride, 8);
  const uint8_t last[3] = {0x11, 0x22, 0x33};
  std::memcpy(&b.Bytes()[2 * stride], last, 3);
  auto it = b.GetIteratorRGB24();
  EXPECT_EQ(it.GetStride(), -8);
  // A one-column clip gives words: bytes 0, 1, 2 in bits 0-23.
  const CRect one(0, 0, 1, 3);
  it.SetClip(&one);
  uint32_t w = 0xDEADBEEF;
  it.ReadRow(0, &w);
  EXPECT_EQ(w, 0x00332211u);
}

TEST(PixelIterator, FullWidthRowsMoveRawBytesWithPadding) {
  RawBitmap b(3, 2, 24, ColourOrder::Bgr, BitmapOrigin::TopLeft, 3);  // 9 pixel bytes + 3 padding
  for (size_t i = 0; i < b.Bytes().size(); ++i) b.Bytes()[i] = static_cast<uint8_t>(i);
  auto it = b.GetIteratorBGR24();
  uint32_t buf[4] = {0, 0, 0, 0xFFFFFFFF};
  it.ReadRow(1, buf);
  // 12 raw bytes of stored row 1, not one word per pixel.
  EXPECT_EQ(buf[0], 0x0F0E0D0Cu);
  EXPECT_EQ(buf[2], 0x17161514u);
  EXPECT_EQ(buf[3], 0xFFFFFFFFu);
  uint32_t back[3] = {0x01010101, 0x02020202, 0x03030303};
  it.WriteRow(0, back);
  EXPECT_EQ(b.Bytes()[0], 1);
  EXPECT_EQ(b.Bytes()[11], 3);  // padding written too
  EXPECT_EQ(b.Bytes()[12], 12);
}

TEST(PixelIterator, PackedIndicesHighBitsFirst) {
  struct Case {
    int bpp;
    uint8_t byte;
    std::vector<uint32_t> indices;
  };
  const Case cases[] = {{4, 0xA5, {0xA, 0x5}}, {2, 0xE4, {3, 2, 1, 0}}, {1, 0x81, {1, 0, 0, 0, 0, 0, 0, 1}}};
  for (const Case& c : cases) {
    const int n = static_cast<int>(c.indices.size());
    RawBitmap b(n + 1, 1, c.bpp, ColourOrder::Rgb);
    b.Bytes()[0] = c.byte;
    auto it = b.GetIteratorRGB1_2_4();
    const CRect clip(0, 0, n, 1);  // narrower than the bitmap: one word per pixel
    it.SetClip(&clip);
    std::vector<uint32_t> got(static_cast<size_t>(n));
    it.ReadRow(0, got.data());
    EXPECT_EQ(got, c.indices) << c.bpp;
    std::vector<uint32_t> rev(c.indices.rbegin(), c.indices.rend());
    it.WriteRow(0, rev.data());
    it.ReadRow(0, got.data());
    EXPECT_EQ(got, rev) << c.bpp;
  }
}

TEST(PixelIterator, PackedWriteSpillsAnOutOfRangeIndex) {
  RawBitmap b(3, 1, 4, ColourOrder::Rgb);
  auto it = b.GetIteratorRGB1_2_4();
  const CRect clip(1, 0, 2, 1);
  it.SetClip(&clip);
  const uint32_t index = 0x13;  // wider than 4 bits: the high part lands in pixel 0
  it.WriteRow(0, &index);
  EXPECT_EQ(b.Bytes()[0], 0x13);
}

TEST(PixelIterator, CmykWithAlphaPlaneCarriesAlphaInBits32To39) {
  auto b = MakeTyped(PIT_CMYKA_32_8, 3, 2, BitmapOrigin::BottomLeft);
  uint8_t* p = b->GetBits(CPoint(1, 1));
  p[0] = 1, p[1] = 2, p[2] = 3, p[3] = 4;
  b->GetAlphaChannel(false)->GetBits(CPoint(1, 1))[0] = 0x77;
  auto it = b->GetIteratorCMYKA_32_8();
  const CRect clip(1, 0, 3, 2);
  it.SetClip(&clip);
  uint64_t words[2] = {};
  it.ReadRow(1, words);
  EXPECT_EQ(words[0], 0x7704030201ull);
  words[1] = 0x55AABBCCDDull;
  it.WriteRow(1, words);
  EXPECT_EQ(b->GetAlphaChannel(false)->GetBits(CPoint(2, 1))[0], 0x55);
  EXPECT_EQ(b->GetBits(CPoint(2, 1))[3], 0xAA);
}

TEST(PixelIterator, EmptyClipsAndRowsOutsideTouchNothing) {
  RawBitmap b(4, 4, 32, ColourOrder::Rgb);
  auto it = b.GetIteratorRGB32();
  uint32_t buf[4] = {9, 9, 9, 9};
  const CRect none(2, 0, 2, 4);
  it.SetClip(&none);
  it.ReadRow(1, buf);
  EXPECT_EQ(buf[0], 9u);
  it.WriteRow(1, buf);
  const CRect rows(0, 1, 4, 2);
  it.SetClip(&rows);
  it.WriteRow(3, buf);
  it.ReadRow(0, buf);
  EXPECT_EQ(buf[0], 9u);
  for (uint8_t v : b.Bytes()) EXPECT_EQ(v, 0);
}

TEST(PixelIterator, GetterFlagStartsAtTheBitmapClip) {
  CMemoryBitmap b(8, 8, 8, ColourOrder::Mono);
  b.SetClipRect(CRect(2, 3, 5, 6));
  EXPECT_EQ(b.GetIteratorMONO8(false).GetClip(), CRect(0, 0, 8, 8));
  EXPECT_EQ(b.GetIteratorMONO8(true).GetClip(), CRect(2, 3, 5, 6));
}

TEST(PixelIterator, WideViewsReadWords) {
  CMemoryBitmap b(2, 1, 64, ColourOrder::Rgb);
  const uint8_t px[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  std::memcpy(b.GetBits(CPoint(1, 0)), px, 8);
  auto it = b.GetIteratorRGB64W();
  const CRect clip(1, 0, 2, 1);
  it.SetClip(&clip);
  uint64_t w = 0;
  it.ReadRow(0, &w);
  EXPECT_EQ(w, 0x0807060504030201ull);
  static_assert(std::is_same_v<decltype(it)::ChannelType, uint16_t>);
  static_assert(std::is_same_v<decltype(b.GetIteratorRGB64())::ChannelType, uint8_t>);
}

TEST(PixelIterator, PaletteCarriedFromTheBitmap) {
  const RGBQUAD pal[3] = {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}};
  CMemoryBitmap b;
  ASSERT_TRUE(b.CreateWithPalette(4, 4, 8, pal, 3, ColourOrder::Rgb, BitmapOrigin::TopLeft));
  auto it = b.GetIteratorRGB8();
  ASSERT_EQ(it.GetPaletteSize(), 3);
  EXPECT_EQ(it.GetPaletteEntries()[2].peRed, 9);
  EXPECT_EQ(it.GetPaletteEntries()[2].peBlue, 7);
  EXPECT_EQ(it.GetPaletteIndex(), -1);
}

}  // namespace
