#include <gtest/gtest.h>

#include <cstring>

#include <kernel/Exceptions.h>
#include <kernel/MemoryBitmap.h>

using namespace Kernel;
using SF = SupportedFormat;

namespace {

TEST(MemoryBitmap, InvalidLayoutsAndSizesThrow) {
  struct Row {
    int width, height, bpp;
    ColourOrder::Type order;
    int alignment;
  };
  const Row rows[] = {
      {-1, 5, 24, ColourOrder::Bgr, 4},       {5, -1, 24, ColourOrder::Bgr, 4},
      {5, 5, 0, ColourOrder::Bgr, 4},         {5, 5, 12, ColourOrder::Rgb, 4},
      {5, 5, 40, ColourOrder::Rgb, 4},        {5, 5, 24, ColourOrder::Cmyk, 4},
      {5, 5, 24, ColourOrder::Kymc, 4},       {5, 5, 32, ColourOrder::Invalid, 4},
      {5, 5, 32, ColourOrder::Mono, 4},       {5, 5, 8, ColourOrder::MonoA, 4},
      {5, 5, 24, ColourOrder::Bgr, 3},        {5, 5, 24, ColourOrder::Bgr, 0},
      {5, 5, 24, ColourOrder::Bgr, 512},      {70000, 70000, 32, ColourOrder::Bgr, 4},
      {67108861, 1, 32, ColourOrder::Bgr, 4}, {0x7FFFFFFF, 0x7FFFFFFF, 64, ColourOrder::Rgb, 4},
  };
  for (const Row& r : rows) {
    EXPECT_THROW(CMemoryBitmap(r.width, r.height, r.bpp, r.order, BitmapOrigin::TopLeft, r.alignment),
                 CInvalidArgException)
        << r.width << "x" << r.height << "x" << r.bpp << " order " << r.order << " align " << r.alignment;
  }
  EXPECT_THROW(CMemoryBitmap(2, 2, 24, ColourOrder::Bgr, static_cast<BitmapOrigin::Type>(2)), CInvalidArgException);
}

TEST(MemoryBitmap, CreateReportsFailureAndKeepsTheOldBitmap) {
  CMemoryBitmap bm(3, 3, 24, ColourOrder::Bgr);
  EXPECT_FALSE(bm.Create(-1, 3, 24, ColourOrder::Bgr, BitmapOrigin::TopLeft));
  EXPECT_FALSE(bm.Create(3, 3, 24, ColourOrder::Mono, BitmapOrigin::TopLeft));
  EXPECT_EQ(bm.GetWidth(), 3);
  EXPECT_EQ(bm.GetBitsPerPixel(), 24);
  ASSERT_TRUE(bm.Create(7, 2, 16, ColourOrder::MonoA, BitmapOrigin::BottomLeft));
  EXPECT_EQ(bm.Size(), CSize(7, 2));
  EXPECT_EQ(GetImageType(&bm), SF::MONOA16);
  EXPECT_EQ(bm.GetOrigin(), BitmapOrigin::BottomLeft);
  EXPECT_EQ(bm.GetBytesPerScanline(), 16);
}

TEST(MemoryBitmap, EveryFormatCanBeBuilt) {
  struct Row {
    SF::Type format;
    int bpp;
    ColourOrder::Type order;
  };
  const Row rows[] = {
      {SF::MONO8, 8, ColourOrder::Mono},   {SF::RGB1, 1, ColourOrder::Rgb},       {SF::RGB2, 2, ColourOrder::Bgr},
      {SF::RGB4, 4, ColourOrder::Rgb},     {SF::RGB8, 8, ColourOrder::Bgr},       {SF::RGB16, 16, ColourOrder::Rgb},
      {SF::RGB24, 24, ColourOrder::Rgb},   {SF::RGB32, 32, ColourOrder::Rgb},     {SF::BGR24, 24, ColourOrder::Bgr},
      {SF::BGR32, 32, ColourOrder::Bgr},   {SF::CMYK_32, 32, ColourOrder::Cmyk},  {SF::CMYKA_40, 40, ColourOrder::Cmyk},
      {SF::MONO16, 16, ColourOrder::Mono}, {SF::MONOA16, 16, ColourOrder::MonoA}, {SF::MONOA32, 32, ColourOrder::MonoA},
      {SF::RGB48, 48, ColourOrder::Rgb},   {SF::RGB64, 64, ColourOrder::Rgb},     {SF::BGR48, 48, ColourOrder::Bgr},
      {SF::BGR64, 64, ColourOrder::Bgr},
  };
  for (const Row& r : rows) {
    CMemoryBitmap bm(9, 4, r.bpp, r.order);
    EXPECT_EQ(GetImageType(&bm), r.format) << GetFormatName(r.format);
    EXPECT_EQ(bm.GetTotalBytes(), static_cast<int>(CBaseBitmap::GetBytesNeeded(9, 4, r.bpp, 4)));
    EXPECT_EQ(bm.RequiresPalette(), HasPalette(r.format)) << GetFormatName(r.format);
    EXPECT_EQ(bm.GetPaletteSize(), HasPalette(r.format) ? 1 << r.bpp : 0) << GetFormatName(r.format);
    for (int i = 0; i < bm.GetBytesPerScanline() * 4; ++i) ASSERT_EQ(bm.GetBitsBase()[i], 0);
  }
}

TEST(MemoryBitmap, EmptyBitmapIsUsable) {
  CMemoryBitmap bm(0, 0, 32, ColourOrder::Bgr);
  EXPECT_EQ(bm.GetTotalBytes(), 0);
  bm.Clear(nullptr, 0xFFFFFFFFu);
  bm.Clear(0u, nullptr);
  bm.ClearToWhite(nullptr);
  CMemoryBitmap none;
  EXPECT_EQ(none.GetWidth(), 0);
  EXPECT_EQ(none.GetClipRect(), CRect(0, 0, 0, 0));
}

TEST(MemoryBitmap, PaletteDefaultsToAGreyRampAndCanBeGiven) {
  CMemoryBitmap bm(4, 4, 2, ColourOrder::Rgb);
  ASSERT_EQ(bm.GetPaletteSize(), 4);
  const uint8_t ramp[] = {0, 85, 170, 255};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(bm.GetPalette()[i].rgbRed, ramp[i]);
    EXPECT_EQ(bm.GetPalette()[i].rgbBlue, ramp[i]);
  }
  const RGBQUAD colours[3] = {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}};
  ASSERT_TRUE(bm.CreateWithPalette(5, 2, 4, colours, 3, ColourOrder::Bgr, BitmapOrigin::BottomLeft));
  EXPECT_EQ(GetImageType(&bm), SF::RGB4);
  ASSERT_EQ(bm.GetPaletteSize(), 3);
  EXPECT_EQ(bm.GetPalette()[2].rgbRed, 9);
  // More entries than the depth can index, a missing table, or a depth
  // without palette are refused, and the bitmap stays as it was.
  RGBQUAD many[17] = {};
  EXPECT_FALSE(bm.CreateWithPalette(5, 2, 4, many, 17, ColourOrder::Bgr, BitmapOrigin::TopLeft));
  EXPECT_FALSE(bm.CreateWithPalette(5, 2, 4, nullptr, 2, ColourOrder::Bgr, BitmapOrigin::TopLeft));
  EXPECT_FALSE(bm.CreateWithPalette(5, 2, 24, colours, 3, ColourOrder::Bgr, BitmapOrigin::TopLeft));
  EXPECT_EQ(bm.GetPaletteSize(), 3);
  EXPECT_EQ(bm.GetOrigin(), BitmapOrigin::BottomLeft);
}

TEST(MemoryBitmap, ClipIsKeptInsideTheBitmap) {
  struct Row {
    CRect asked, kept;
  };
  const Row rows[] = {
      {CRect(1, 2, 3, 4), CRect(1, 2, 3, 4)},    {CRect(-5, -5, 50, 50), CRect(0, 0, 10, 8)},
      {CRect(8, 6, 20, 20), CRect(8, 6, 10, 8)}, {CRect(20, 20, 30, 30), CRect(20, 20, 20, 20)},  // empty, no area
      {CRect(5, 5, 2, 2), CRect(5, 5, 5, 5)},
  };
  for (const Row& r : rows) {
    CMemoryBitmap bm(10, 8, 8, ColourOrder::Mono);
    EXPECT_EQ(bm.SetClipRect(r.asked), r.kept);
    EXPECT_EQ(bm.GetClipRect(), r.kept);
    bm.Clear(nullptr, 9);  // never writes outside the bitmap
  }
  CMemoryBitmap bm(10, 8, 8, ColourOrder::Mono, BitmapOrigin::BottomLeft);
  bm.SetClipRect(CRect(2, 3, 6, 5));
  EXPECT_EQ(bm.GetClipBits(), bm.GetBits(CPoint(2, 3)));
  EXPECT_EQ(bm.GetScanlineOffset(), -12 - 4);
}

TEST(MemoryBitmap, AlphaPlaneOnlyFor32BitCmyk) {
  CMemoryBitmap rgb(4, 4, 32, ColourOrder::Bgr);
  EXPECT_EQ(rgb.GetAlphaChannel(true), nullptr);
  CMemoryBitmap plane(4, 4, 8, ColourOrder::Mono);
  rgb.SetAlphaChannel(&plane);
  EXPECT_EQ(static_cast<const CMemoryBitmap&>(rgb).GetAlphaChannel(), nullptr);

  CMemoryBitmap cmyk(4, 4, 32, ColourOrder::Cmyk, BitmapOrigin::BottomLeft);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) *plane.GetBits(CPoint(x, y)) = static_cast<uint8_t>(16 * y + x);
  cmyk.SetAlphaChannel(&plane);
  const CBaseBitmap* alpha = static_cast<const CMemoryBitmap&>(cmyk).GetAlphaChannel();
  ASSERT_NE(alpha, nullptr);
  EXPECT_NE(alpha, &plane);  // copied, not shared
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) EXPECT_EQ(*alpha->GetBits(CPoint(x, y)), 16 * y + x);

  CMemoryBitmap wrongSize(3, 4, 8, ColourOrder::Mono);
  wrongSize.Clear(nullptr, 200);
  cmyk.SetAlphaChannel(&wrongSize);
  EXPECT_EQ(*static_cast<const CMemoryBitmap&>(cmyk).GetAlphaChannel()->GetBits(CPoint(1, 0)), 1);
  CMemoryBitmap wrongDepth(4, 4, 16, ColourOrder::Mono);
  cmyk.SetAlphaChannel(&wrongDepth);
  EXPECT_EQ(*static_cast<const CMemoryBitmap&>(cmyk).GetAlphaChannel()->GetBits(CPoint(1, 0)), 1);

  CMemoryBitmap fresh(2, 2, 32, ColourOrder::Cmyk);
  CBaseBitmap* created = fresh.GetAlphaChannel(true);
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(*created->GetBits(CPoint(1, 1)), 255);  // a new plane is opaque
  EXPECT_EQ(fresh.GetAlphaChannel(true), created);

  // Copies carry their own plane.
  CMemoryBitmap copy(cmyk);
  ASSERT_NE(static_cast<const CMemoryBitmap&>(copy).GetAlphaChannel(), nullptr);
  EXPECT_NE(static_cast<const CMemoryBitmap&>(copy).GetAlphaChannel(), alpha);
  EXPECT_EQ(GetImageType(&copy), SF::CMYKA_32_8);
}

}  // namespace
