// Exact bytes of the conversion rules, and the skeleton's handling of
// rectangles, identity, refusal and packed device-independent bitmaps.
#include <gtest/gtest.h>

#include <kernel/CopyPixels.h>
#include <kernel/GlobalMemory.h>

#include <cstring>
#include <random>

#include "PixelTestBitmaps.h"
#include "RawBitmap.h"

using namespace Kernel;

namespace {

std::vector<uint8_t> ConvertOne(int dt, int st, const std::vector<uint8_t>& src) {
  auto s = MakeTyped(st, 1, 1);
  auto d = MakeTyped(dt, 1, 1);
  std::copy(src.begin(), src.end(), s->GetBits(CPoint(0, 0)));
  EXPECT_TRUE(TryCopyPixels(d.Get(), s.Get(), nullptr, nullptr));
  const uint8_t* p = d->GetBits(CPoint(0, 0));
  return std::vector<uint8_t>(p, p + std::max(1, d->GetBitsPerPixel() / 8));
}

TEST(CopyPixelsRules, ExactBytes) {
  struct Case {
    const char* what;
    int st, dt;
    std::vector<uint8_t> in, out;
  };
  const Case cases[] = {
      {"same-order widening leaves the fourth byte 0", PIT_RGB24, PIT_RGB32, {10, 20, 30}, {10, 20, 30, 0}},
      {"BGR same-order widening too", PIT_BGR24, PIT_BGR32, {10, 20, 30}, {10, 20, 30, 0}},
      {"reordering widening is opaque", PIT_BGR24, PIT_RGB32, {10, 20, 30}, {30, 20, 10, 255}},
      {"reordering the other way", PIT_RGB24, PIT_BGR32, {10, 20, 30}, {30, 20, 10, 255}},
      {"32 to 24 drops alpha", PIT_RGB32, PIT_RGB24, {1, 2, 3, 4}, {1, 2, 3}},
      {"grey truncates the third", PIT_RGB32, PIT_MONO8, {1, 2, 4, 200}, {2}},
      {"grey of 64-bit uses the high bytes", PIT_RGB64, PIT_MONO8, {0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12, 0, 0}, {0x56}},
      {"64 to 32 keeps the high bytes",
       PIT_RGB64,
       PIT_RGB32,
       {0xFF, 0x12, 0x01, 0x34, 0x80, 0x56, 0x7F, 0x78},
       {0x12, 0x34, 0x56, 0x78}},
      {"24 to 48 widens by 257", PIT_RGB24, PIT_RGB48, {0x12, 0x00, 0xFF}, {0x12, 0x12, 0, 0, 0xFF, 0xFF}},
      {"grey to colour", PIT_MONO8, PIT_RGB32, {0x80}, {0x80, 0x80, 0x80, 0xFF}},
      {"alpha carried into grey+alpha", PIT_RGB32, PIT_MONOA16, {30, 60, 90, 77}, {60, 77}},
      {"5-6-5 white", PIT_RGB16, PIT_RGB32, {0xFF, 0xFF}, {255, 255, 255, 255}},
      {"5-6-5 ones round to nearest", PIT_RGB16, PIT_RGB32, {0x21, 0x08}, {8, 4, 8, 255}},
      {"5-6-5 three rounds up", PIT_RGB16, PIT_RGB24, {0x03, 0x00}, {25, 0, 0}},
      {"to 5-6-5 rounds to nearest", PIT_RGB32, PIT_RGB16, {0x84, 0x82, 0x84, 0}, {0x10, 0x84}},
      {"5-5-5 red", PIT_BGR16, PIT_RGB24, {0x00, 0x7C}, {0, 0, 255}},
      {"to 5-5-5 leaves bit 15 clear", PIT_RGB24, PIT_BGR16, {255, 255, 255}, {0xFF, 0x7F}},
      {"CMYK to colour", PIT_CMYK_32, PIT_RGB32, {0, 255, 128, 64}, {95, 0, 191, 255}},
      {"colour to CMYK", PIT_RGB32, PIT_CMYK_32, {0, 0, 255, 255}, {0, 255, 255, 0}},
      {"black to CMYK is all black ink", PIT_RGB24, PIT_CMYK_32, {0, 0, 0}, {0, 0, 0, 255}},
      {"grey to CMYK is black ink only", PIT_MONO8, PIT_CMYKA_40, {0x40}, {0, 0, 0, 0xBF, 255}},
      {"CMYK alpha kept", PIT_CMYKA_40, PIT_RGB32, {0, 0, 0, 0, 9}, {255, 255, 255, 9}},
      {"grey+alpha to CMYK+alpha", PIT_MONOA16, PIT_CMYKA_40, {255, 3}, {0, 0, 0, 0, 3}},
      {"16-bit grey to 8 by the high byte", PIT_MONO16, PIT_MONO8, {0xFF, 0x12}, {0x12}},
      // 16-bit channels travel end to end.
      {"grey of 16-bit channels", PIT_RGB64, PIT_MONO16, {0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12, 0, 0}, {0x78, 0x56}},
      {"grey+alpha words to colour words",
       PIT_MONOA32,
       PIT_RGB64,
       {0x34, 0x12, 0xCD, 0xAB},
       {0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 0xCD, 0xAB}},
      {"48 to 64 is opaque", PIT_BGR48, PIT_RGB64, {1, 2, 3, 4, 5, 6}, {5, 6, 3, 4, 1, 2, 0xFF, 0xFF}},
      {"64 to grey+alpha", PIT_BGR64, PIT_MONOA32, {3, 0, 3, 0, 6, 0, 0x22, 0x11}, {4, 0, 0x22, 0x11}},
  };
  for (const Case& c : cases) EXPECT_EQ(ConvertOne(c.dt, c.st, c.in), c.out) << c.what;
}

TEST(CopyPixelsRules, PaletteSourceAndNearestEntryDestination) {
  const RGBQUAD pal[4] = {{0, 0, 0, 0}, {30, 20, 10, 0}, {100, 100, 100, 0}, {30, 20, 10, 0}};
  CPtr<CMemoryBitmap> indexed(new CMemoryBitmap(4, 1, 8, ColourOrder::Rgb));
  indexed->CreateWithPalette(4, 1, 8, pal, 4, ColourOrder::Rgb, BitmapOrigin::TopLeft);
  uint8_t* p = indexed->GetBits(CPoint(0, 0));
  p[0] = 1, p[1] = 2, p[2] = 3, p[3] = 0;
  CPtr<CMemoryBitmap> rgb(new CMemoryBitmap(4, 1, 24, ColourOrder::Rgb));
  CopyPixels(rgb.Get(), indexed.Get(), nullptr, nullptr);
  const std::vector<uint8_t> want = {30, 20, 10, 100, 100, 100, 30, 20, 10, 0, 0, 0};
  EXPECT_EQ(std::vector<uint8_t>(rgb->GetBits(CPoint(0, 0)), rgb->GetBits(CPoint(0, 0)) + 12), want);

  // Back to the palette: equal entries resolve to the first (index 3 -> 1),
  // and a colour between entries to the nearest.
  rgb->GetBits(CPoint(0, 0))[11] = 45;  // red 45: nearer black (2025) than entry 1 (2525)
  CPtr<CMemoryBitmap> back(new CMemoryBitmap(4, 1, 8, ColourOrder::Rgb));
  back->CreateWithPalette(4, 1, 8, pal, 4, ColourOrder::Rgb, BitmapOrigin::TopLeft);
  CopyPixels(back.Get(), rgb.Get(), nullptr, nullptr);
  const uint8_t* q = back->GetBits(CPoint(0, 0));
  EXPECT_EQ(std::vector<int>(q, q + 4), (std::vector<int>{1, 2, 1, 0}));
}

TEST(CopyPixelsSkeleton, HalfSizeSourceFillsTopLeftAndZerosTheRest) {
  auto src = MakeTyped(PIT_RGB24, 10, 10);
  auto dst = MakeTyped(PIT_BGR32, 20, 20);
  src->Clear(0x00FFFFFFu, nullptr);
  dst->Clear(0x11223344u, nullptr);
  ASSERT_TRUE(TryCopyPixels(dst.Get(), src.Get(), nullptr, nullptr));
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 20; ++x) {
      uint32_t v;
      std::memcpy(&v, dst->GetBits(CPoint(x, y)), 4);
      ASSERT_EQ(v, (x < 10 && y < 10) ? 0xFFFFFFFFu : 0u) << x << "," << y;
    }
}

// A larger source between formats, unknown formats either way, or no target:
// refused, and the target is left as it was.
TEST(CopyPixelsSkeleton, RefusedCopiesChangeNothing) {
  auto src = MakeTyped(PIT_RGB24, 20, 20);
  auto dst = MakeTyped(PIT_MONO8, 10, 10);
  FillNoise(*dst, 3);
  const auto before = Snapshot(*dst);
  EXPECT_FALSE(TryCopyPixels(dst.Get(), src.Get(), nullptr, nullptr));
  CopyPixels(dst.Get(), src.Get(), nullptr, nullptr);
  EXPECT_EQ(Snapshot(*dst), before);

  RawBitmap kymc(4, 4, 32, ColourOrder::Kymc);
  auto good = MakeTyped(PIT_RGB32, 4, 4);
  FillNoise(*good, 1);
  const auto goodBefore = Snapshot(*good);
  EXPECT_FALSE(TryCopyPixels(good.Get(), &kymc, nullptr, nullptr));
  EXPECT_FALSE(TryCopyPixels(&kymc, good.Get(), nullptr, nullptr));
  EXPECT_EQ(Snapshot(*good), goodBefore);
  EXPECT_FALSE(TryCopyPixels(nullptr, good.Get(), nullptr, nullptr));
}

TEST(CopyPixelsSkeleton, RectangleNormalisation) {
  struct Case {
    CRect given, meant;
  };
  const Case cases[] = {
      {CRect(5, -3, 1, -8), CRect(1, 3, 5, 8)},  // mirrored vertically, sides swapped
      {CRect(-4, -2, 3, 4), CRect(0, 0, 3, 4)},  // only top below 1: raised to 0, not mirrored
      {CRect(6, 2, 40, 50), CRect(6, 2, 9, 9)},  // cut to the bitmap
      {CRect(3, 0, 3, 0), CRect(3, 0, 3, 0)},    // empty stays empty
  };
  for (const Case& c : cases) {
    auto src = MakeTyped(PIT_BGR24, 9, 9);
    FillNoise(*src, 21);
    auto a = MakeTyped(PIT_RGB32, 9, 9);
    auto b = MakeTyped(PIT_RGB32, 9, 9);
    const CRect at(0, 0, 9, 9);
    CopyPixels(a.Get(), src.Get(), &c.given, &at);
    CopyPixels(b.Get(), src.Get(), &c.meant, &at);
    EXPECT_EQ(Snapshot(*a), Snapshot(*b)) << c.given.left << "," << c.given.top;
  }
}

TEST(CopyPixelsSkeleton, OntoItselfIsLeftAsItWas) {
  auto b = MakeTyped(PIT_RGB8, 5, 5);
  FillNoise(*b, 8);
  const auto before = Snapshot(*b);
  EXPECT_TRUE(TryCopyPixels(b.Get(), b.Get(), nullptr, nullptr));
  EXPECT_EQ(Snapshot(*b), before);
  // The same rectangle on both sides is the same pixels too.
  const CRect r(1, 1, 4, 3);
  EXPECT_TRUE(TryCopyPixels(b.Get(), b.Get(), &r, &r));
  EXPECT_EQ(Snapshot(*b), before);
}

// A packed device-independent bitmap: header, colour table, rows.
HGLOBAL MakeDib(int w, int h, int bits, int colours, bool topDown) {
  const int stride = ((w * bits + 31) / 32) * 4;
  const size_t tableEntries = colours ? colours : (bits <= 8 ? (1u << bits) : 0);
  HGLOBAL g = GlobalAlloc(GHND, sizeof(BITMAPINFOHEADER) + tableEntries * 4 + static_cast<size_t>(stride) * h);
  auto* hdr = static_cast<BITMAPINFOHEADER*>(GlobalLock(g));
  hdr->biSize = 40;
  hdr->biWidth = w;
  hdr->biHeight = topDown ? -h : h;
  hdr->biPlanes = 1;
  hdr->biBitCount = static_cast<WORD>(bits);
  hdr->biClrUsed = static_cast<DWORD>(colours);
  auto* q = reinterpret_cast<RGBQUAD*>(hdr + 1);
  for (size_t i = 0; i < tableEntries; ++i)
    q[i] = RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
  GlobalUnlock(g);
  return g;
}

TEST(CopyPixelsDib, ConvertsIntoABottomUpPackedBitmap) {
  HGLOBAL dib = MakeDib(3, 2, 24, 0, false);
  EXPECT_EQ(DIBGetType(dib), PIT_RGB24);
  auto src = MakeTyped(PIT_BGR24, 3, 2);
  uint8_t* top = src->GetBits(CPoint(0, 0));
  top[0] = 1, top[1] = 2, top[2] = 3;  // red 1, green 2, blue 3
  CopyPixels(dib, src.Get(), nullptr, nullptr);
  const auto* bytes = static_cast<const uint8_t*>(GlobalLock(dib)) + 40;
  // Displayed row 0 is the last stored row; stored blue, green, red.
  EXPECT_EQ(std::vector<uint8_t>(bytes + 12, bytes + 15), (std::vector<uint8_t>{3, 2, 1}));
  GlobalUnlock(dib);
  EXPECT_EQ(GlobalFlags(dib) & GMEM_LOCKCOUNT, 0u);  // the iterator let go of its lock
  GlobalFree(dib);
}

TEST(CopyPixelsDib, TypesAndPalettes) {
  struct Case {
    int bits, colours;
    PixelIteratorType type;
    int paletteSize;
  };
  const Case cases[] = {{1, 2, PIT_RGB1, 2},   {4, 0, PIT_RGB4, 0},   {8, 7, PIT_RGB8, 7},
                        {16, 0, PIT_BGR16, 0}, {32, 0, PIT_RGB32, 0}, {12, 0, PIT_None, 0}};
  for (const Case& c : cases) {
    HGLOBAL dib = MakeDib(5, 3, c.bits, c.colours, true);
    EXPECT_EQ(DIBGetType(dib), c.type) << c.bits;
    if (c.bits <= 4) {
      EXPECT_EQ(DIBGetIteratorRGB1_2_4(dib).GetPaletteSize(), c.paletteSize);
    }
    if (c.bits == 8) {
      auto it = DIBGetIteratorRGB8(dib);
      EXPECT_EQ(it.GetPaletteSize(), 7);
      EXPECT_EQ(it.GetPaletteIndex(), -1);
      EXPECT_EQ(it.GetPaletteEntries()[5].peRed, 5);
    }
    EXPECT_EQ(GlobalFlags(dib) & GMEM_LOCKCOUNT, 0u);
    GlobalFree(dib);
  }
}

TEST(CopyPixelsDib, IndexedDestinationUsesItsPalette) {
  HGLOBAL dib = MakeDib(4, 1, 4, 16, true);  // entry i is grey i
  auto src = MakeTyped(PIT_MONO8, 4, 1);
  uint8_t* p = src->GetBits(CPoint(0, 0));
  p[0] = 0, p[1] = 15, p[2] = 9, p[3] = 200;
  CopyPixels(dib, src.Get(), nullptr, nullptr);
  const auto* bytes = static_cast<const uint8_t*>(GlobalLock(dib)) + 40 + 64;
  EXPECT_EQ(bytes[0], 0x0F);  // 0 in the high nibble, 15 in the low
  EXPECT_EQ(bytes[1], 0x9F);  // 9, then 200 nearest to 15
  GlobalUnlock(dib);
  GlobalFree(dib);
}

// The pruned, cached palette search answers what the platform palette does,
// ties included, for palettes with repeated and equally near entries.
TEST(CopyPixelsRules, PaletteSearchEqualsGetNearestPaletteIndex) {
  std::mt19937 rng(99);
  for (int round = 0; round < 4; ++round) {
    const int count = round == 0 ? 256 : 5 + static_cast<int>(rng() % 60);
    std::vector<PALETTEENTRY> pal(static_cast<size_t>(count));
    for (auto& e : pal) {
      // Coarse values make ties and duplicates common.
      e = PALETTEENTRY{static_cast<BYTE>((rng() % 8) * 36), static_cast<BYTE>((rng() % 8) * 36),
                       static_cast<BYTE>((rng() % 8) * 36), 0};
    }
    std::vector<uint8_t> palBytes(sizeof(LOGPALETTE) + pal.size() * sizeof(PALETTEENTRY));
    auto* lp = reinterpret_cast<LOGPALETTE*>(palBytes.data());
    lp->palVersion = 0x300;
    lp->palNumEntries = static_cast<WORD>(count);
    std::memcpy(lp->palPalEntry, pal.data(), pal.size() * sizeof(PALETTEENTRY));
    CPalette platform;
    ASSERT_TRUE(platform.CreatePalette(lp));
    const int n = 3000;
    std::vector<uint8_t> colours(static_cast<size_t>(n) * 3), indices(static_cast<size_t>(n));
    for (auto& v : colours) v = static_cast<uint8_t>(rng());
    ASSERT_TRUE(
        ConvertPixelRow(PIT_RGB8, PIT_BGR24, false, indices.data(), colours.data(), n, nullptr, 0, pal.data(), count));
    for (int i = 0; i < n; ++i) {
      const uint8_t* c = &colours[static_cast<size_t>(i) * 3];  // BGR24: red, green, blue
      const COLORREF ref = c[0] | (c[1] << 8) | (c[2] << 16);
      ASSERT_EQ(indices[static_cast<size_t>(i)], platform.GetNearestPaletteIndex(ref)) << "colour " << i;
    }
  }
}

}  // namespace
