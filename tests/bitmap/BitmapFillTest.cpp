#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <kernel/MemoryBitmap.h>

#include "RawBitmap.h"

using namespace Kernel;

namespace {

std::vector<uint8_t> PixelBytes(const CBaseBitmap& bm, int x, int y) {
  const int n = bm.GetBitsPerPixel() / 8;
  const uint8_t* p = bm.GetBits(CPoint(x, y));
  return std::vector<uint8_t>(p, p + n);
}

void FillMemory(CMemoryBitmap& bm, uint8_t value) {
  std::memset(bm.GetBitsBase(), value, static_cast<size_t>(bm.GetBytesPerScanline()) * bm.GetHeight());
}

using Bytes = std::vector<uint8_t>;

TEST(BitmapFill, RectFormStoresTheRawWordMaskFormStoresBlueFirst) {
  struct Row {
    int bpp;
    uint32_t colour;
    Bytes rectForm, maskForm;
  };
  const Row rows[] = {
      {32, 0x00FF0000u, {0x00, 0x00, 0xFF, 0x00}, {0xFF, 0x00, 0x00, 0x00}},
      {32, 0x11223344u, {0x44, 0x33, 0x22, 0x11}, {0x22, 0x33, 0x44, 0x11}},
      {24, 0x00112233u, {0x11, 0x22, 0x33}, {0x5A, 0x5A, 0x5A}},  // the mask form does nothing at 24 bits
      {64, 0x80FF0102u, Bytes(8, 0x5A), {0xFF, 0xFF, 0x01, 0x01, 0x02, 0x02, 0x80, 0x80}},
  };
  for (const Row& r : rows) {
    for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
      SCOPED_TRACE(testing::Message() << r.bpp << " bits, origin " << origin);
      CMemoryBitmap a(3, 2, r.bpp, ColourOrder::Bgr, origin);
      FillMemory(a, 0x5A);
      a.Clear(r.colour, nullptr);
      CMemoryBitmap b(3, 2, r.bpp, ColourOrder::Bgr, origin);
      FillMemory(b, 0x5A);
      b.Clear(nullptr, r.colour);
      for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) {
          EXPECT_EQ(PixelBytes(a, x, y), r.rectForm) << x << "," << y;
          EXPECT_EQ(PixelBytes(b, x, y), r.maskForm) << x << "," << y;
        }
    }
  }
}

TEST(BitmapFill, RectFormTouchesOnlyTheRectangle) {
  for (int bpp : {24, 32}) {
    for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
      CMemoryBitmap bm(5, 4, bpp, ColourOrder::Rgb, origin);
      FillMemory(bm, 0x5A);
      const CRect rect(1, 1, 3, 4);
      bm.Clear(0x00ABCDEFu, &rect);
      const Bytes inside = bpp == 24 ? Bytes{0xAB, 0xCD, 0xEF} : Bytes{0xEF, 0xCD, 0xAB, 0x00};
      for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
          const bool in = x >= 1 && x < 3 && y >= 1 && y < 4;
          EXPECT_EQ(PixelBytes(bm, x, y), in ? inside : Bytes(bpp / 8, 0x5A))
              << bpp << " bits origin " << origin << " at " << x << "," << y;
        }
      // Rows of 15 bytes carry one byte of padding, which stays as it was.
      if (bpp == 24) {
        for (int y = 0; y < 4; ++y) EXPECT_EQ(bm.GetBits(CPoint(0, y))[15], 0x5A);
      }
    }
  }
}

TEST(BitmapFill, RectOutsideTheBitmapIsCut) {
  CMemoryBitmap bm(2, 2, 32, ColourOrder::Bgr);
  const CRect rect(-5, 1, 50, 9);
  bm.Clear(0x01020304u, &rect);
  EXPECT_EQ(PixelBytes(bm, 0, 0), Bytes(4, 0));
  EXPECT_EQ(PixelBytes(bm, 1, 1), (Bytes{4, 3, 2, 1}));
}

TEST(BitmapFill, ZeroOverFullRowsClearsOneBlockBetweenFirstAndLastPixel) {
  // 24-bit rows of 3 pixels: 9 bytes plus 3 of padding. The block runs from
  // the first pixel of the first row to the last pixel of the last row, so
  // the padding of every row but the last in memory is cleared too.
  for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
    CMemoryBitmap bm(3, 4, 24, ColourOrder::Bgr, origin);
    FillMemory(bm, 0x5A);
    const CRect rect(0, 1, 3, 3);
    bm.Clear(0u, &rect);
    const uint8_t* base = bm.GetBitsBase();
    const int first = 1;  // displayed rows 1 and 2 are stored rows 1 and 2 in both origins
    for (int stored = 0; stored < 4; ++stored) {
      const uint8_t* row = base + stored * 12;
      const bool cleared = stored == first || stored == first + 1;
      for (int i = 0; i < 9; ++i) EXPECT_EQ(row[i], cleared ? 0 : 0x5A) << origin << " row " << stored;
      const bool paddingCleared = stored == first;
      for (int i = 9; i < 12; ++i) EXPECT_EQ(row[i], paddingCleared ? 0 : 0x5A) << origin << " row " << stored;
    }
  }
}

TEST(BitmapFill, Mono8FillsTheClipOnly) {
  for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
    CMemoryBitmap bm(4, 5, 8, ColourOrder::Mono, origin);
    FillMemory(bm, 0x11);
    bm.SetClipRect(CRect(1, 1, 3, 4));
    bm.Clear(nullptr, 0xAB1234u);  // the low byte is the grey
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 4; ++x) {
        const bool in = x >= 1 && x < 3 && y >= 1 && y < 4;
        EXPECT_EQ(*bm.GetBits(CPoint(x, y)), in ? 0x34 : 0x11) << origin << " at " << x << "," << y;
      }
  }
}

// Fills through an 8-bit coverage mask whose samples vary along x.
TEST(BitmapFill, MaskBlendsPerDepth) {
  struct Row {
    ColourOrder::Type order;
    int bpp;
    int maskBits;
    uint8_t start;  // every target byte before the fill
    uint32_t colour;
    uint32_t coverage;
    Bytes expected;
  };
  const Row rows[] = {
      // 8-bit: (100 * 127 + 200 * 128) / 255 = 150
      {ColourOrder::Mono, 8, 8, 100, 200, 128, {150}},
      {ColourOrder::Mono, 8, 8, 100, 200, 0, {100}},
      {ColourOrder::Mono, 8, 8, 100, 200, 255, {200}},
      {ColourOrder::Rgb, 8, 8, 100, 200, 128, {150}},
      // 32-bit: channels blue, green, red, alpha from bits 16, 8, 0, 24.
      {ColourOrder::Bgr, 32, 8, 16, 0x80FF0000u, 51, {63, 12, 12, 38}},
      {ColourOrder::Bgr, 32, 8, 16, 0x80FF0000u, 0, {16, 16, 16, 16}},
      {ColourOrder::Rgb, 32, 8, 16, 0x80FF0000u, 255, {0xFF, 0, 0, 0x80}},
      // 64-bit: words toward the widened channels, 8-bit coverage.
      {ColourOrder::Bgr, 64, 8, 0x10, 0x000000FFu, 128, {0xFF, 0x07, 0xFF, 0x07, 0x7F, 0x88, 0xFF, 0x07}},
      {ColourOrder::Bgr, 64, 8, 0x10, 0x000000FFu, 255, {0, 0, 0, 0, 0xFF, 0xFF, 0, 0}},
      // 16-bit grey + alpha bytes: rounded division by 255.
      {ColourOrder::MonoA, 16, 8, 0x10, 0xAB0000CDu, 128, {110, 93}},
      {ColourOrder::MonoA, 16, 8, 0x10, 0xAB0000CDu, 0, {0x10, 0x10}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::Message() << "order " << r.order << " bpp " << r.bpp << " coverage " << r.coverage);
    CMemoryBitmap target(3, 2, r.bpp, r.order, BitmapOrigin::BottomLeft);
    FillMemory(target, r.start);
    CMemoryBitmap mask(3, 2, 8, ColourOrder::Mono);
    mask.Clear(nullptr, r.coverage);
    target.Clear(&mask, r.colour);
    for (int y = 0; y < 2; ++y)
      for (int x = 0; x < 3; ++x) EXPECT_EQ(PixelBytes(target, x, y), r.expected) << x << "," << y;
  }
}

// Every coverage value against several old values, byte by byte, for the
// 8-bit and 32-bit fills: (d * (255 - m) + v * m) / 255, truncated.
TEST(BitmapFill, EightBitMaskBlendIsExactForEveryCoverage) {
  const uint8_t olds[] = {0, 1, 2, 127, 128, 200, 254, 255};
  const uint32_t colour = 0x80FF01FEu;  // bytes in mask order: FF, 01, FE, 80
  const uint8_t v[4] = {0xFF, 0x01, 0xFE, 0x80};
  CMemoryBitmap mask(256, 8, 8, ColourOrder::Mono);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 256; ++x) *mask.GetBits(CPoint(x, y)) = static_cast<uint8_t>(x);
  CMemoryBitmap colour32(256, 8, 32, ColourOrder::Bgr);
  CMemoryBitmap grey8(256, 8, 8, ColourOrder::Mono);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 256; ++x) {
      uint8_t* p = colour32.GetBits(CPoint(x, y));
      for (int c = 0; c < 4; ++c) p[c] = olds[(y + c) % 8];
      *grey8.GetBits(CPoint(x, y)) = olds[y];
    }
  colour32.Clear(&mask, colour);
  grey8.Clear(&mask, 0x37);
  for (int y = 0; y < 8; ++y)
    for (int m = 0; m < 256; ++m) {
      const uint8_t* p = colour32.GetBits(CPoint(m, y));
      for (int c = 0; c < 4; ++c) {
        const int d = olds[(y + c) % 8];
        ASSERT_EQ(p[c], (d * (255 - m) + v[c] * m) / 255) << "old " << d << " coverage " << m << " byte " << c;
      }
      ASSERT_EQ(*grey8.GetBits(CPoint(m, y)), (olds[y] * (255 - m) + 0x37 * m) / 255) << "coverage " << m;
    }
}

TEST(BitmapFill, SixteenBitMasks) {
  struct Row {
    ColourOrder::Type order;
    int bpp;
    uint16_t start;  // every target word before the fill
    uint32_t colour;
    uint16_t coverage;
    std::vector<uint16_t> expected;
  };
  const Row rows[] = {
      {ColourOrder::Mono, 16, 0x1234, 0x1234BEEFu, 0, {0x1234}},
      {ColourOrder::Mono, 16, 0x1234, 0x1234BEEFu, 12345, {12989}},
      {ColourOrder::Mono, 16, 0x1234, 0x1234BEEFu, 65535, {0xBEEF}},
      {ColourOrder::MonoA, 32, 0x1000, 0xAB0000CDu, 40000, {33752, 28419}},
      {ColourOrder::MonoA, 32, 0x1000, 0xAB0000CDu, 65535, {0xCDCD, 0xABAB}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::Message() << "bpp " << r.bpp << " coverage " << r.coverage);
    CMemoryBitmap target(2, 3, r.bpp, r.order);
    CMemoryBitmap mask(2, 3, 16, ColourOrder::Mono, BitmapOrigin::BottomLeft);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 2; ++x) {
        uint8_t* m = mask.GetBits(CPoint(x, y));
        m[0] = static_cast<uint8_t>(r.coverage);
        m[1] = static_cast<uint8_t>(r.coverage >> 8);
        uint8_t* p = target.GetBits(CPoint(x, y));
        for (int i = 0; i < r.bpp / 8; i += 2) {
          p[i] = static_cast<uint8_t>(r.start);
          p[i + 1] = static_cast<uint8_t>(r.start >> 8);
        }
      }
    target.Clear(&mask, r.colour);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 2; ++x) {
        const uint8_t* p = target.GetBits(CPoint(x, y));
        for (size_t c = 0; c < r.expected.size(); ++c)
          EXPECT_EQ(p[2 * c] | (p[2 * c + 1] << 8), r.expected[c]) << x << "," << y << " word " << c;
      }
  }
}

TEST(BitmapFill, UnmaskedGreyFills) {
  struct Row {
    ColourOrder::Type order;
    int bpp;
    uint32_t colour;
    Bytes expected;
  };
  const Row rows[] = {
      {ColourOrder::Mono, 16, 0x12345678u, {0x78, 0x56}},
      {ColourOrder::MonoA, 16, 0xAB0000CDu, {0xCD, 0xAB}},
      {ColourOrder::MonoA, 32, 0xAB0000CDu, {0xCD, 0xCD, 0xAB, 0xAB}},
      {ColourOrder::Bgr, 64, 0xFF000080u, {0, 0, 0, 0, 0x80, 0x80, 0xFF, 0xFF}},
  };
  for (const Row& r : rows) {
    CMemoryBitmap bm(3, 3, r.bpp, r.order, BitmapOrigin::BottomLeft);
    bm.Clear(nullptr, r.colour);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 3; ++x)
        EXPECT_EQ(PixelBytes(bm, x, y), r.expected) << "bpp " << r.bpp << " at " << x << "," << y;
  }
}

TEST(BitmapFill, MaskFormLeavesOtherLayoutsAlone) {
  struct Row {
    ColourOrder::Type order;
    int bpp;
  };
  const Row rows[] = {{ColourOrder::Rgb, 16}, {ColourOrder::Bgr, 16}, {ColourOrder::Cmyk, 40},
                      {ColourOrder::Bgr, 48}, {ColourOrder::Rgb, 4},  {ColourOrder::Mono, 1}};
  for (const Row& r : rows) {
    CMemoryBitmap bm(4, 2, r.bpp, r.order);
    FillMemory(bm, 0x5A);
    bm.Clear(nullptr, 0xFFFFFFFFu);
    bm.Clear(0xFFFFFFFFu, nullptr);
    const uint8_t* p = bm.GetBitsBase();
    for (int i = 0; i < bm.GetBytesPerScanline() * 2; ++i)
      EXPECT_EQ(p[i], 0x5A) << "order " << r.order << " bpp " << r.bpp << " byte " << i;
  }
}

TEST(BitmapFill, MismatchedMaskIsIgnored) {
  CMemoryBitmap target(4, 4, 8, ColourOrder::Mono);
  FillMemory(target, 7);
  CMemoryBitmap small(3, 4, 8, ColourOrder::Mono);
  small.Clear(nullptr, 255);
  target.Clear(&small, 200);
  CMemoryBitmap deep(4, 4, 16, ColourOrder::Mono);
  target.Clear(&deep, 200);
  CMemoryBitmap wide(4, 4, 8, ColourOrder::Mono);
  wide.Clear(nullptr, 255);
  CMemoryBitmap grey16(4, 4, 16, ColourOrder::Mono);
  grey16.Clear(&wide, 0xFFFF);  // a 16-bit grey fill wants a 16-bit mask
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) {
      EXPECT_EQ(*target.GetBits(CPoint(x, y)), 7);
      EXPECT_EQ(PixelBytes(grey16, x, y), Bytes(2, 0));
    }
}

TEST(BitmapFill, MaskIsReadFromItsOwnClip) {
  CMemoryBitmap target(4, 3, 8, ColourOrder::Mono);
  target.SetClipRect(CRect(2, 1, 4, 3));
  CMemoryBitmap mask(5, 5, 8, ColourOrder::Mono, BitmapOrigin::BottomLeft);
  mask.SetClipRect(CRect(0, 3, 2, 5));
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) *mask.GetBits(CPoint(x, y)) = static_cast<uint8_t>(y * 10 + x);
  target.Clear(&mask, 255);
  // coverage m toward 255 from 0 is m itself; outside the target clip stays 0.
  const int want[3][4] = {{0, 0, 0, 0}, {0, 0, 30, 31}, {0, 0, 40, 41}};
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 4; ++x) EXPECT_EQ(*target.GetBits(CPoint(x, y)), want[y][x]) << x << "," << y;
}

TEST(BitmapFill, ClearToWhitePerFormat) {
  struct Row {
    ColourOrder::Type order;
    int bpp;
    Bytes expected;  // pixel bytes after the call; 0x5A means untouched
  };
  const Row rows[] = {
      {ColourOrder::Bgr, 24, {0xFF, 0xFF, 0xFF}},
      {ColourOrder::Bgr, 32, {0xFF, 0xFF, 0xFF, 0x00}},
      {ColourOrder::Rgb, 24, Bytes(3, 0x5A)},  // Rgb order is left alone
      {ColourOrder::Rgb, 32, Bytes(4, 0x5A)},
      {ColourOrder::Cmyk, 32, Bytes(4, 0x00)},  // no ink
      {ColourOrder::Cmyk, 40, Bytes(5, 0x5A)},
      {ColourOrder::Mono, 8, Bytes(1, 0x5A)},  // the rect fill has no 8-bit form
      {ColourOrder::Mono, 16, Bytes(2, 0x5A)},
      {ColourOrder::MonoA, 32, Bytes(4, 0x5A)},
      {ColourOrder::Bgr, 8, Bytes(1, 0x5A)},
      {ColourOrder::Bgr, 64, Bytes(8, 0x5A)},
  };
  for (const Row& r : rows) {
    CMemoryBitmap bm(3, 2, r.bpp, r.order);
    FillMemory(bm, 0x5A);
    bm.ClearToWhite(nullptr);
    for (int y = 0; y < 2; ++y)
      for (int x = 0; x < 3; ++x)
        EXPECT_EQ(PixelBytes(bm, x, y), r.expected) << "order " << r.order << " bpp " << r.bpp;
  }
  // A grey bitmap with the rect fill at 32 bits takes the 16-bit white.
  RawBitmap grey(2, 1, 32, ColourOrder::Mono);
  grey.ClearToWhite(nullptr);
  EXPECT_EQ(PixelBytes(grey, 1, 0), (Bytes{0xFF, 0xFF, 0x00, 0x00}));
}

TEST(BitmapFill, ClearToWhiteHonoursTheRect) {
  CMemoryBitmap bm(4, 1, 24, ColourOrder::Bgr);
  const CRect rect(1, 0, 2, 1);
  bm.ClearToWhite(&rect);
  EXPECT_EQ(PixelBytes(bm, 0, 0), Bytes(3, 0));
  EXPECT_EQ(PixelBytes(bm, 1, 0), Bytes(3, 0xFF));
  EXPECT_EQ(PixelBytes(bm, 2, 0), Bytes(3, 0));
}

}  // namespace
