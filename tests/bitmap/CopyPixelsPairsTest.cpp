// Every pair of the 21 iterator types through CopyPixels, on small odd-sized
// bitmaps of both origins: placement, zero fill, untouched surroundings,
// refusal of a larger source, and agreement with the one-row conversion.
#include <gtest/gtest.h>

#include <kernel/CopyPixels.h>

#include "PixelTestBitmaps.h"

using namespace Kernel;

namespace {

bool Wide(int t) { return t == 15 || t == 16 || t == 17 || t == 18 || t == 19 || t == 21; }

std::vector<PALETTEENTRY> PaletteOf(const CBaseBitmap& b) {
  std::vector<PALETTEENTRY> out;
  const RGBQUAD* q = b.GetPalette();
  for (int i = 0; q != nullptr && i < b.GetPaletteSize(); ++i)
    out.push_back(PALETTEENTRY{q[i].rgbRed, q[i].rgbGreen, q[i].rgbBlue, 0});
  return out;
}

// The bytes of pixel (x, y); a packed index comes back in the high bits of
// one byte, as a one-pixel packed row holds it.
std::vector<uint8_t> PixelBytes(const CBaseBitmap& b, int x, int y) {
  const int bpp = b.GetBitsPerPixel();
  const uint8_t* row = b.GetBits(CPoint(0, y));
  if (bpp < 8) {
    const int per = 8 / bpp;
    const int index = (row[x / per] >> (8 - ((x % per) + 1) * bpp)) & ((1 << bpp) - 1);
    return {static_cast<uint8_t>(index << (8 - bpp))};
  }
  return std::vector<uint8_t>(row + x * (bpp / 8), row + (x + 1) * (bpp / 8));
}

bool IsZeroPixel(const CBaseBitmap& b, int x, int y) {
  for (uint8_t v : PixelBytes(b, x, y))
    if (v != 0) return false;
  if (const CBaseBitmap* a = b.GetAlphaChannel()) return a->GetBits(CPoint(x, y))[0] == 0;
  return true;
}

// What the one-row conversion makes of source pixel (sx, sy), as destination
// bytes, and the alpha-plane byte a CMYKA_32_8 destination gets.
struct Expected {
  std::vector<uint8_t> bytes;
  int planeAlpha;
};

Expected Convert1(int dt, int st, const CBaseBitmap& dst, const CBaseBitmap& src, int sx, int sy) {
  const bool wide = Wide(dt) && Wide(st);
  std::vector<uint8_t> in = PixelBytes(src, sx, sy);
  const auto sp = PaletteOf(src), dp = PaletteOf(dst);
  std::vector<uint8_t> out(8, 0);
  EXPECT_TRUE(ConvertPixelRow(static_cast<PixelIteratorType>(dt), static_cast<PixelIteratorType>(st), wide, out.data(),
                              in.data(), 1, sp.data(), static_cast<int>(sp.size()), dp.data(),
                              static_cast<int>(dp.size()), true));
  Expected e{std::vector<uint8_t>(out.begin(), out.begin() + std::max(1, dst.GetBitsPerPixel() / 8)), -1};
  if (dst.GetBitsPerPixel() < 8) e.bytes[0] &= static_cast<uint8_t>(0xFF << (8 - dst.GetBitsPerPixel()));
  if (dt == PIT_CMYKA_32_8) {
    std::vector<uint8_t> wideOut(8, 0);
    ConvertPixelRow(PIT_CMYKA_40, static_cast<PixelIteratorType>(st), false, wideOut.data(), in.data(), 1, sp.data(),
                    static_cast<int>(sp.size()), nullptr, 0, true);
    e.planeAlpha = wideOut[4];
  }
  return e;
}

void CheckPair(int dt, int st, int originCase) {
  const auto so = (originCase & 1) ? BitmapOrigin::BottomLeft : BitmapOrigin::TopLeft;
  const auto dO = (originCase & 2) ? BitmapOrigin::BottomLeft : BitmapOrigin::TopLeft;

  // Whole bitmap to whole bitmap of the same size.
  auto src = MakeTyped(st, 7, 5, so);
  auto dst = MakeTyped(dt, 7, 5, dO);
  FillNoise(*src, 11u * dt + st);
  FillNoise(*dst, 7u * st + dt);
  if (CBaseBitmap* a = src->GetAlphaChannel(false)) a->Clear(nullptr, 0xFF);  // rows carry no plane alpha
  ASSERT_EQ(src->GetIteratorType(), st);
  ASSERT_EQ(dst->GetIteratorType(), dt);
  ASSERT_TRUE(TryCopyPixels(dst.Get(), src.Get(), nullptr, nullptr));
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) {
      const Expected e = Convert1(dt, st, *dst, *src, x, y);
      ASSERT_EQ(PixelBytes(*dst, x, y), e.bytes) << "pixel " << x << "," << y;
      if (e.planeAlpha >= 0) {
        ASSERT_EQ(dst->GetAlphaChannel()->GetBits(CPoint(x, y))[0], e.planeAlpha);
      }
    }

  // A 3 x 3 source rectangle into a 5 x 4 destination rectangle of a larger
  // bitmap: converted top-left, zeros in the rest, nothing outside touched.
  auto big = MakeTyped(dt, 9, 6, dO);
  FillNoise(*big, 99u + dt);
  const CRect sr(1, 1, 4, 4), dr(2, 1, 7, 5);
  ASSERT_TRUE(TryCopyPixels(big.Get(), src.Get(), &sr, &dr));
  auto beforeBig = MakeTyped(dt, 9, 6, dO);
  FillNoise(*beforeBig, 99u + dt);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 9; ++x) {
      if (!dr.PtInRect(CPoint(x, y))) {
        ASSERT_EQ(PixelBytes(*big, x, y), PixelBytes(*beforeBig, x, y)) << "outside " << x << "," << y;
      } else if (x - dr.left < 3 && y - dr.top < 3) {
        ASSERT_EQ(PixelBytes(*big, x, y), Convert1(dt, st, *big, *src, x - dr.left + 1, y - dr.top + 1).bytes);
      } else {
        ASSERT_TRUE(IsZeroPixel(*big, x, y)) << "uncovered " << x << "," << y;
      }
    }

  // A source larger than the destination rectangle copies nothing.
  const auto kept = Snapshot(*big);
  const CRect small(0, 0, 2, 2);
  EXPECT_FALSE(TryCopyPixels(big.Get(), src.Get(), nullptr, &small));
  EXPECT_EQ(Snapshot(*big), kept);
}

class AllPairs : public ::testing::TestWithParam<std::tuple<int, int>> {};

// Origins: both top-down, both bottom-up, and each mixed.
TEST_P(AllPairs, WholeBitmapMatchesRowRuleAndRectsLeaveSurroundingsAlone) {
  const auto [dt, st] = GetParam();
  for (int origins = 0; origins < 4; ++origins) {
    SCOPED_TRACE("origins " + std::to_string(origins));
    CheckPair(dt, st, origins);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

std::string PairName(const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
  const auto [dt, st] = info.param;
  return std::string(GetFormatName(GetImageTypeFromIterator(static_cast<PixelIteratorType>(st)))) + "_to_" +
         GetFormatName(GetImageTypeFromIterator(static_cast<PixelIteratorType>(dt)));
}

INSTANTIATE_TEST_SUITE_P(Pairs, AllPairs, ::testing::Combine(::testing::Range(1, 22), ::testing::Range(1, 22)),
                         PairName);

// Round trips through a wider format give back every byte.
TEST(CopyPixelsRoundTrip, LosslessPathsGiveBackTheBytes) {
  struct Case {
    int from, via;
  };
  const Case cases[] = {
      {PIT_RGB24, PIT_BGR24},         {PIT_RGB24, PIT_RGB32},      {PIT_RGB24, PIT_BGR32},
      {PIT_BGR24, PIT_RGB64},         {PIT_RGB32, PIT_BGR32},      {PIT_RGB32, PIT_RGB64},
      {PIT_BGR32, PIT_BGR64},         {PIT_RGB48, PIT_BGR48},      {PIT_RGB48, PIT_RGB64},
      {PIT_RGB64, PIT_BGR64},         {PIT_MONO8, PIT_MONO16},     {PIT_MONO8, PIT_RGB24},
      {PIT_MONO8, PIT_MONOA16},       {PIT_MONO8, PIT_RGB8},       {PIT_MONO8, PIT_CMYK_32},
      {PIT_MONO16, PIT_MONOA32},      {PIT_MONO16, PIT_RGB48},     {PIT_MONOA16, PIT_MONOA32},
      {PIT_MONOA32, PIT_RGB64},       {PIT_CMYK_32, PIT_CMYKA_40}, {PIT_CMYK_32, PIT_CMYKA_32_8},
      {PIT_CMYKA_40, PIT_CMYKA_32_8}, {PIT_RGB16, PIT_RGB32},      {PIT_BGR16, PIT_RGB24},
      {PIT_RGB16, PIT_BGR64},         {PIT_RGB1, PIT_RGB8},        {PIT_RGB4, PIT_RGB24},
  };
  for (const Case& c : cases) {
    for (auto origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
      auto a = MakeTyped(c.from, 9, 7, origin);
      FillNoise(*a, 5u + c.from);
      // 5-5-5 keeps bit 15 clear; the round trip cannot bring a set one back.
      if (c.from == PIT_BGR16)
        for (int y = 0; y < 7; ++y)
          for (int x = 0; x < 9; ++x) a->GetBits(CPoint(x, y))[1] &= 0x7F;
      auto via = MakeTyped(c.via, 9, 7, origin == BitmapOrigin::TopLeft ? BitmapOrigin::BottomLeft : origin);
      auto back = MakeTyped(c.from, 9, 7, origin);
      CopyPixels(via.Get(), a.Get(), nullptr, nullptr);
      CopyPixels(back.Get(), via.Get(), nullptr, nullptr);
      EXPECT_EQ(Snapshot(*back), Snapshot(*a)) << c.from << " via " << c.via;
    }
  }
}

}  // namespace
