#include <gtest/gtest.h>

#include <cstring>

#include <kernel/Bitmap.h>
#include <kernel/MemoryBitmap.h>

#include "RawBitmap.h"

using namespace Kernel;
using SF = SupportedFormat;

namespace {

TEST(BaseBitmapSizes, BytesNeeded) {
  struct Row {
    int width, height, bpp, alignment;
    uint32_t expected;
  };
  const Row rows[] = {
      {0, 5, 24, 4, 20},  // a zero-width row still costs one byte, then alignment
      {3, 0, 24, 4, 0},
      {-1, 1, 8, 4, 0xFFFFFFFFu},
      {1, -1, 8, 4, 0xFFFFFFFFu},
      {1, 1, -8, 4, 0xFFFFFFFFu},
      {10, 10, 0, 1, 100},  // depth 0 counts as 8
      {1, 1, 1, 4, 4},
      {9, 1, 1, 1, 2},
      {3, 2, 24, 4, 24},
      {5, 1, 24, 8, 16},
      {5, 3, 4, 2, 12},
      {67108860, 1, 32, 4, 268435440u},  // widest 32-bit row
      {67108861, 1, 32, 4, 0xFFFFFFFFu},
      {268435452, 1, 8, 4, 268435452u},  // widest 8-bit row
      {268435453, 1, 8, 4, 0xFFFFFFFFu},
      {268435453, 0, 8, 4, 0xFFFFFFFFu},   // the width test comes before the zero-height answer
      {1, 536870911, 32, 4, 2147483644u},  // tallest bitmap of 4-byte rows
      {1, 536870912, 32, 4, 0xFFFFFFFFu},
      {2147483644, 1, 1, 1, 268435456u},
  };
  for (const Row& r : rows)
    EXPECT_EQ(CBaseBitmap::GetBytesNeeded(r.width, r.height, r.bpp, r.alignment), r.expected)
        << r.width << "x" << r.height << "x" << r.bpp << " align " << r.alignment;
}

TEST(BaseBitmapSizes, TotalBytesIgnoresPaddingAndReportsOverflow) {
  RawBitmap padded(3, 2, 8, ColourOrder::Mono, BitmapOrigin::TopLeft, 9);
  EXPECT_EQ(padded.GetBytesPerScanline(), 12);
  EXPECT_EQ(padded.GetTotalBytes(), 8);  // 3 bytes aligned to 4, times 2
  RawBitmap empty(0, 0, 8, ColourOrder::Mono);
  EXPECT_EQ(empty.GetTotalBytes(), 0);
}

TEST(BaseBitmapSizes, InfoHeaderForEveryDepth) {
  struct Row {
    int bpp;
    ColourOrder::Type order;
    uint32_t sizeImage;
  };
  // 5 x 3 pixels: whole bytes per pixel times width, rounded to 4, times
  // height, so the packed depths report 0.
  const Row rows[] = {{1, ColourOrder::Rgb, 0},   {2, ColourOrder::Rgb, 0},    {4, ColourOrder::Bgr, 0},
                      {8, ColourOrder::Mono, 24}, {16, ColourOrder::Rgb, 36},  {24, ColourOrder::Bgr, 48},
                      {32, ColourOrder::Rgb, 60}, {40, ColourOrder::Cmyk, 84}, {48, ColourOrder::Bgr, 96},
                      {64, ColourOrder::Rgb, 120}};
  for (const Row& r : rows) {
    for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
      SCOPED_TRACE(r.bpp);
      RawBitmap bm(5, 3, r.bpp, r.order, origin, 3);
      BITMAPINFOHEADER h;
      std::memset(&h, 0xCC, sizeof(h));
      bm.GetBitmapInfoHeader(h);
      EXPECT_EQ(h.biSize, 40u);
      EXPECT_EQ(h.biWidth, 5);
      EXPECT_EQ(h.biHeight, origin == BitmapOrigin::TopLeft ? -3 : 3);
      EXPECT_EQ(h.biPlanes, 1);
      EXPECT_EQ(h.biBitCount, r.bpp);
      EXPECT_EQ(h.biCompression, 0u);
      EXPECT_EQ(h.biSizeImage, r.sizeImage);
      EXPECT_EQ(h.biXPelsPerMeter, 0);
      EXPECT_EQ(h.biYPelsPerMeter, 0);
      EXPECT_EQ(h.biClrUsed, 0u);
      EXPECT_EQ(h.biClrImportant, 0u);

      BITMAPINFO info;
      std::memset(&info, 0xCC, sizeof(info));
      bm.GetBitmapInfo(info);
      EXPECT_EQ(std::memcmp(&info.bmiHeader, &h, sizeof(h)), 0);
      EXPECT_EQ(info.bmiColors[0].rgbBlue, 0);
      EXPECT_EQ(info.bmiColors[0].rgbReserved, 0);
    }
  }
}

TEST(BaseBitmapAddressing, BothOriginsAndPaddings) {
  struct Row {
    int width, height, bpp, alignment;
    int stride, padding;
  };
  const Row rows[] = {{10, 10, 24, 4, 32, 2}, {3, 4, 8, 1, 3, 0},    {3, 4, 8, 4, 4, 1},    {3, 4, 8, 8, 8, 5},
                      {7, 2, 1, 4, 4, 3},     {5, 3, 64, 16, 48, 8}, {10, 10, 32, 4, 40, 0}};
  for (const Row& r : rows) {
    for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
      SCOPED_TRACE(testing::Message() << r.width << "x" << r.height << "x" << r.bpp << " align " << r.alignment
                                      << " origin " << origin);
      const ColourOrder::Type order = r.bpp >= 24 ? ColourOrder::Bgr : ColourOrder::Rgb;
      CMemoryBitmap bm(r.width, r.height, r.bpp, order, origin, r.alignment);
      EXPECT_EQ(bm.GetBytesPerScanline(), r.stride);
      EXPECT_EQ(bm.GetScanlinePadding(), r.padding);
      const bool up = origin == BitmapOrigin::BottomLeft;
      EXPECT_EQ(bm.GetRowByteInc(), up ? -r.stride : r.stride);
      const uint8_t* base = bm.GetBitsBase();
      const int bytesPerPixel = r.bpp / 8;
      for (int y = 0; y < r.height; ++y) {
        for (int x = 0; x < r.width; ++x) {
          const int stored = up ? r.height - 1 - y : y;
          EXPECT_EQ(bm.GetBits(CPoint(x, y)), base + stored * r.stride + x * bytesPerPixel);
        }
        // Moving one displayed row down is one row increment, whatever the origin.
        if (y + 1 < r.height) {
          EXPECT_EQ(bm.GetBits(CPoint(0, y + 1)) - bm.GetBits(CPoint(0, y)), bm.GetRowByteInc());
        }
      }
      EXPECT_EQ(bm.GetScanlineOffset(2), bm.GetRowByteInc() - 2 * bytesPerPixel);
      EXPECT_EQ(bm.GetScanlineOffset(), bm.GetRowByteInc() - r.width * bytesPerPixel);
    }
  }
}

TEST(BaseBitmapAddressing, RepeatEdgeClamps) {
  struct Row {
    int x, y, ex, ey;
  };
  const Row rows[] = {{-3, 99, 0, 9}, {10, 10, 9, 9}, {5, -1, 5, 0}, {4, 6, 4, 6}, {-100, -100, 0, 0}};
  for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
    CMemoryBitmap bm(10, 10, 24, ColourOrder::Bgr, origin);
    const CMemoryBitmap& cbm = bm;
    for (const Row& r : rows) {
      EXPECT_EQ(bm.GetBitsRepeatEdge(CPoint(r.x, r.y)), bm.GetBits(CPoint(r.ex, r.ey))) << r.x << "," << r.y;
      EXPECT_EQ(cbm.GetBitsRepeatEdge(CPoint(r.x, r.y)), cbm.GetBits(CPoint(r.ex, r.ey)));
    }
  }
}

TEST(BaseBitmapAddressing, SubByteDepthsAddressTheRowStart) {
  for (int bpp : {1, 2, 4}) {
    RawBitmap bm(16, 2, bpp, ColourOrder::Rgb);
    EXPECT_EQ(bm.GetBits(CPoint(7, 1)), bm.GetBits(CPoint(0, 1))) << bpp;
    EXPECT_EQ(bm.GetBytesPerPixel(), 0);
  }
}

TEST(BaseBitmapAddressing, BaseClipIsTheWholeBitmap) {
  RawBitmap bm(6, 4, 32, ColourOrder::Bgr, BitmapOrigin::BottomLeft, 4);
  EXPECT_EQ(bm.GetClipRect(), CRect(0, 0, 6, 4));
  EXPECT_EQ(bm.SetClipRect(CRect(1, 1, 2, 2)), CRect(0, 0, 6, 4));
  EXPECT_EQ(bm.GetClipRect(), CRect(0, 0, 6, 4));
  EXPECT_EQ(bm.GetClipBits(), bm.GetBits(CPoint(0, 0)));
  EXPECT_EQ(bm.GetBytesPerScanline(), 28);
  EXPECT_EQ(bm.GetScanlineOffset(), -28 - 24);
}

TEST(BaseBitmapLayout, ChannelsByOrderAndDepth) {
  struct Row {
    ColourOrder::Type order;
    int bpp, bitsPerChannel, channels;
  };
  const Row rows[] = {
      {ColourOrder::Rgb, 1, 1, 1},       {ColourOrder::Bgr, 4, 4, 1},      {ColourOrder::Rgb, 8, 8, 1},
      {ColourOrder::Rgb, 16, -1, -16},   {ColourOrder::Bgr, 24, 8, 3},     {ColourOrder::Rgb, 32, 8, 4},
      {ColourOrder::Bgr, 48, 16, 3},     {ColourOrder::Rgb, 64, 16, 4},    {ColourOrder::Rgb, 40, -1, -40},
      {ColourOrder::Cmyk, 32, 8, 4},     {ColourOrder::Cmyk, 40, 8, 5},    {ColourOrder::Cmyk, 80, 16, 5},
      {ColourOrder::Cmyk, 64, -1, -64},  {ColourOrder::Mono, 8, 8, 1},     {ColourOrder::Mono, 16, 16, 1},
      {ColourOrder::Mono, 32, 32, 1},    {ColourOrder::Mono, 1, -1, -1},   {ColourOrder::MonoA, 16, 8, 2},
      {ColourOrder::MonoA, 32, 16, 2},   {ColourOrder::MonoA, 8, -1, -8},  {ColourOrder::Invalid, 32, 8, 4},
      {ColourOrder::Invalid, 64, 16, 4}, {ColourOrder::Kymc, 32, -1, -32},
  };
  for (const Row& r : rows) {
    RawBitmap bm(2, 2, r.bpp, r.order);
    EXPECT_EQ(bm.GetBitsPerChannel(), r.bitsPerChannel) << "order " << r.order << " bpp " << r.bpp;
    EXPECT_EQ(bm.GetNumChannels(), r.channels) << "order " << r.order << " bpp " << r.bpp;
  }
}

TEST(BaseBitmapLayout, IteratorTypeAndImageType) {
  struct Row {
    ColourOrder::Type order;
    int bpp;
    PixelIteratorType type;
  };
  const Row rows[] = {
      {ColourOrder::Rgb, 1, PIT_RGB1},       {ColourOrder::Rgb, 2, PIT_RGB2},
      {ColourOrder::Rgb, 4, PIT_RGB4},       {ColourOrder::Rgb, 8, PIT_RGB8},
      {ColourOrder::Rgb, 16, PIT_RGB16},     {ColourOrder::Rgb, 24, PIT_RGB24},
      {ColourOrder::Rgb, 32, PIT_RGB32},     {ColourOrder::Rgb, 48, PIT_RGB48},
      {ColourOrder::Rgb, 64, PIT_RGB64},     {ColourOrder::Bgr, 1, PIT_RGB1},
      {ColourOrder::Bgr, 8, PIT_RGB8},       {ColourOrder::Bgr, 16, PIT_RGB16},
      {ColourOrder::Bgr, 24, PIT_BGR24},     {ColourOrder::Bgr, 32, PIT_BGR32},
      {ColourOrder::Bgr, 48, PIT_BGR48},     {ColourOrder::Bgr, 64, PIT_BGR64},
      {ColourOrder::Rgb, 40, PIT_None},      {ColourOrder::Cmyk, 32, PIT_CMYK_32},
      {ColourOrder::Cmyk, 40, PIT_CMYKA_40}, {ColourOrder::Cmyk, 64, PIT_None},
      {ColourOrder::Mono, 1, PIT_RGB1},      {ColourOrder::Mono, 8, PIT_MONO8},
      {ColourOrder::Mono, 16, PIT_MONO16},   {ColourOrder::Mono, 32, PIT_None},
      {ColourOrder::MonoA, 16, PIT_MONOA16}, {ColourOrder::MonoA, 32, PIT_MONOA32},
      {ColourOrder::MonoA, 8, PIT_None},     {ColourOrder::Kymc, 32, PIT_None},
      {ColourOrder::Invalid, 32, PIT_None},
  };
  for (const Row& r : rows) {
    RawBitmap bm(2, 2, r.bpp, r.order);
    EXPECT_EQ(bm.GetIteratorType(), r.type) << "order " << r.order << " bpp " << r.bpp;
    EXPECT_EQ(GetImageType(&bm), GetImageTypeFromIterator(r.type));
  }
}

TEST(BaseBitmapLayout, CmykWithAlphaPlaneIsWalkedAsCmyka32_8) {
  CMemoryBitmap bm(4, 3, 32, ColourOrder::Cmyk);
  EXPECT_EQ(GetImageType(&bm), SF::CMYK_32);
  ASSERT_NE(bm.GetAlphaChannel(true), nullptr);
  EXPECT_EQ(bm.GetIteratorType(), PIT_CMYKA_32_8);
  EXPECT_EQ(GetImageType(&bm), SF::CMYKA_32_8);
  bm.SetAlphaChannel(nullptr);
  EXPECT_EQ(GetImageType(&bm), SF::CMYK_32);
}

TEST(BaseBitmapLayout, PixelFormatAndOpacityByDepthOnly) {
  struct Row {
    int bpp;
    ColourOrder::Type order;
    int pixelFormat;
    bool transparent, opaque;
  };
  const Row rows[] = {
      {8, ColourOrder::Mono, 0, false, true},   {8, ColourOrder::Rgb, 0, false, true},
      {16, ColourOrder::Rgb, 9, false, true},   {16, ColourOrder::MonoA, 9, false, true},
      {24, ColourOrder::Bgr, 1, false, true},   {32, ColourOrder::Bgr, 3, true, false},
      {32, ColourOrder::Cmyk, 3, true, false},  {64, ColourOrder::Rgb, 10, true, false},
      {40, ColourOrder::Cmyk, -1, false, true}, {48, ColourOrder::Bgr, -1, false, true},
      {1, ColourOrder::Rgb, -1, false, true},
  };
  for (const Row& r : rows) {
    RawBitmap bm(3, 3, r.bpp, r.order);
    SCOPED_TRACE(r.bpp);
    EXPECT_EQ(bm.GetPixelFormat(), r.pixelFormat);
    EXPECT_EQ(bm.IsTransparent(), r.transparent);
    EXPECT_EQ(bm.HasAlphaChannel(), r.transparent);
    EXPECT_EQ(bm.IsOpaque(CRect(0, 0, 1, 1)), r.opaque);
    EXPECT_FALSE(bm.IsTransparent(CRect(0, 0, 3, 3)));
  }
}

TEST(BaseBitmapHash, GeometryOnly) {
  CMemoryBitmap a(10, 10, 24, ColourOrder::Bgr);
  EXPECT_EQ(a.GetHash(), 0xFB5C432Du);
  // Pixels, order and origin do not enter the hash.
  CMemoryBitmap b(10, 10, 24, ColourOrder::Rgb, BitmapOrigin::BottomLeft, 1);
  b.Clear(0x123456u, nullptr);
  EXPECT_EQ(b.GetHash(), a.GetHash());
  EXPECT_EQ(RawBitmap(0, 0, 0, ColourOrder::Rgb).GetHash(), 0xFB581EEEu);
  // Each of width, height and depth changes it, and their order matters.
  const uint32_t h1 = RawBitmap(1, 2, 32, ColourOrder::Rgb).GetHash();
  const uint32_t h2 = RawBitmap(2, 1, 32, ColourOrder::Rgb).GetHash();
  EXPECT_EQ(h1, 0xFB58D14Eu);
  EXPECT_EQ(h2, 0xFB58C13Eu);
  EXPECT_NE(RawBitmap(10, 11, 24, ColourOrder::Rgb).GetHash(), a.GetHash());
  EXPECT_NE(RawBitmap(11, 10, 24, ColourOrder::Rgb).GetHash(), a.GetHash());
  EXPECT_NE(RawBitmap(10, 10, 32, ColourOrder::Rgb).GetHash(), a.GetHash());
}

TEST(BaseBitmapThumbnails, SizeFitsTheBox) {
  struct Row {
    CSize box, image, expected;
  };
  const Row rows[] = {
      {CSize(100, 100), CSize(400, 200), CSize(100, 50)},
      {CSize(100, 100), CSize(1, 1000), CSize(1, 100)},  // width held at 1
      {CSize(100, 100), CSize(10, 20), CSize(50, 100)},  // small images are enlarged
      {CSize(2, 2), CSize(4, 3), CSize(2, 2)},           // 1.5 rounds up
      {CSize(3, 3), CSize(6, 2), CSize(3, 1)},
      {CSize(10, 10), CSize(3, 2), CSize(10, 7)},
      {CSize(100, 100), CSize(0, 5), CSize(0, 5)},  // a zero side: unchanged
      {CSize(100, 100), CSize(7, 0), CSize(7, 0)},
      {CSize(0, 0), CSize(40, 20), CSize(1, 1)},
  };
  for (const Row& r : rows) {
    const CSize s = CBaseBitmap::GetThumbnailSize(r.box, r.image);
    EXPECT_EQ(std::make_pair(s.cx, s.cy), std::make_pair(r.expected.cx, r.expected.cy))
        << r.image.cx << "x" << r.image.cy << " in " << r.box.cx << "x" << r.box.cy;
  }
}

TEST(BaseBitmapThumbnails, RectIsCentred) {
  struct Row {
    int width, height;
    CSize box;
    CRect expected;
  };
  const Row rows[] = {
      {400, 200, CSize(100, 100), CRect(0, 25, 100, 75)}, {200, 400, CSize(100, 100), CRect(25, 0, 75, 100)},
      {3, 2, CSize(10, 10), CRect(0, 1, 10, 8)},          {0, 0, CSize(100, 60), CRect(50, 30, 50, 30)},
      {400, 200, CSize(101, 101), CRect(0, 25, 101, 76)},
  };
  for (const Row& r : rows) {
    RawBitmap bm(r.width, r.height, 8, ColourOrder::Mono);
    EXPECT_EQ(bm.GetThumbnailRect(r.box), r.expected) << r.width << "x" << r.height;
    EXPECT_EQ(bm.GetThumbnailSize(r.box).cx, r.expected.Width());
  }
}

}  // namespace
