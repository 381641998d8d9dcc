// The vector rows against the plain scalar rule: every row length from 1 to
// 64, guard bytes after the row that must stay as they were, and exhaustive
// inputs where the input space is small.
#include <gtest/gtest.h>

#include <random>

#include <kernel/CopyPixels.h>

#include "PixelTestBitmaps.h"

using namespace Kernel;

namespace {

int BytesOf(PixelIteratorType t) {
  static const int bytes[22] = {0, 1, 0, 0, 0, 1, 2, 3, 4, 2, 3, 4, 4, 5, 4, 6, 6, 8, 8, 2, 2, 4};
  return bytes[t];
}

struct Pair {
  PixelIteratorType src, dst;
};

// The pairs that have vector paths, and a few neighbours without.
const Pair c_pairs[] = {
    {PIT_RGB24, PIT_RGB32}, {PIT_BGR24, PIT_BGR32},    {PIT_BGR24, PIT_RGB32}, {PIT_RGB24, PIT_BGR32},
    {PIT_RGB32, PIT_RGB24}, {PIT_BGR32, PIT_BGR24},    {PIT_RGB32, PIT_MONO8}, {PIT_BGR32, PIT_MONO8},
    {PIT_RGB64, PIT_RGB32}, {PIT_BGR64, PIT_BGR32},    {PIT_RGB64, PIT_BGR32}, {PIT_BGR64, PIT_RGB32},
    {PIT_RGB16, PIT_RGB32}, {PIT_CMYK_32, PIT_RGB32},  {PIT_RGB32, PIT_RGB32}, {PIT_RGB24, PIT_RGB24},
    {PIT_BGR32, PIT_RGB24}, {PIT_CMYKA_40, PIT_BGR32},
};

TEST(ConvertRow, VectorPathsMatchTheScalarRuleWithoutTouchingGuardBytes) {
  std::mt19937 rng(1234);
  for (const Pair& p : c_pairs) {
    const int sb = BytesOf(p.src), db = BytesOf(p.dst);
    for (int n = 1; n <= 64; ++n) {
      // Sources exactly as long as the row, so an overread shows under ASan.
      std::vector<uint8_t> src(static_cast<size_t>(n * sb));
      for (auto& v : src) v = static_cast<uint8_t>(rng());
      std::vector<uint8_t> fast(static_cast<size_t>(n * db + 32), 0xA5), ref = fast;
      ASSERT_TRUE(ConvertPixelRow(p.dst, p.src, false, fast.data(), src.data(), n, nullptr, 0, nullptr, 0, false));
      ASSERT_TRUE(ConvertPixelRow(p.dst, p.src, false, ref.data(), src.data(), n, nullptr, 0, nullptr, 0, true));
      ASSERT_EQ(fast, ref) << "pair " << p.src << "->" << p.dst << " length " << n;
      for (size_t i = static_cast<size_t>(n * db); i < fast.size(); ++i) ASSERT_EQ(fast[i], 0xA5) << "guard " << i;
    }
  }
}

// The vector path against the scalar rule over n source pixels; gives the row.
std::vector<uint8_t> BothPaths(PixelIteratorType dt, PixelIteratorType st, const std::vector<uint8_t>& src, int n) {
  std::vector<uint8_t> fast(static_cast<size_t>(n * BytesOf(dt))), ref(fast.size());
  EXPECT_TRUE(ConvertPixelRow(dt, st, false, fast.data(), src.data(), n, nullptr, 0, nullptr, 0, false));
  EXPECT_TRUE(ConvertPixelRow(dt, st, false, ref.data(), src.data(), n, nullptr, 0, nullptr, 0, true));
  EXPECT_EQ(fast, ref) << st << "->" << dt;
  return fast;
}

// Every 5-6-5 value, every grey sum, every ink pair.
TEST(ConvertRow, VectorPathsMatchOverTheWholeInputSpace) {
  std::vector<uint8_t> all16(65536 * 2);
  for (int v = 0; v < 65536; ++v)
    all16[2 * v] = static_cast<uint8_t>(v), all16[2 * v + 1] = static_cast<uint8_t>(v >> 8);
  BothPaths(PIT_RGB32, PIT_RGB16, all16, 65536);

  // Inks: every (c, k) pair in the first byte and fourth byte.
  std::vector<uint8_t> inks(65536 * 4);
  for (int c = 0; c < 256; ++c)
    for (int k = 0; k < 256; ++k) {
      uint8_t* p = &inks[4 * (c * 256 + k)];
      p[0] = static_cast<uint8_t>(c), p[1] = static_cast<uint8_t>(k), p[2] = static_cast<uint8_t>(255 - c),
      p[3] = static_cast<uint8_t>(k);
    }
  BothPaths(PIT_RGB32, PIT_CMYK_32, inks, 65536);

  // Grey: sums 0..765 reached by (r, g, b) = (s/3 + ..) spread.
  std::vector<uint8_t> px(766 * 4);
  for (int s = 0; s <= 765; ++s) {
    const int r = std::min(255, s), g = std::min(255, s - r), bl = s - r - g;
    px[4 * s] = static_cast<uint8_t>(bl), px[4 * s + 1] = static_cast<uint8_t>(g),
           px[4 * s + 2] = static_cast<uint8_t>(r);
  }
  const std::vector<uint8_t> grey = BothPaths(PIT_MONO8, PIT_RGB32, px, 766);
  for (int s = 0; s <= 765; ++s) EXPECT_EQ(grey[s], s / 3);
}

// Destinations larger than the cache take the cache-bypassing stores; the
// rows must still be the scalar rule's, with odd widths leaving tails.
TEST(ConvertRow, LargeImagesMatchTheScalarRule) {
  const Pair pairs[] = {{PIT_RGB24, PIT_RGB32}, {PIT_BGR24, PIT_RGB32}, {PIT_RGB32, PIT_RGB24},  {PIT_RGB32, PIT_MONO8},
                        {PIT_RGB64, PIT_RGB32}, {PIT_RGB16, PIT_RGB32}, {PIT_CMYK_32, PIT_RGB32}};
  for (const Pair& p : pairs) {
    const int w = p.dst == PIT_MONO8 ? 4099 : 1027, h = 1100;  // at least 4 MiB of destination
    auto src = MakeTyped(p.src, w, h);
    auto dst = MakeTyped(p.dst, w, h);
    FillNoise(*src, 3u + p.src);
    CopyPixels(dst.Get(), src.Get(), nullptr, nullptr);
    std::vector<uint8_t> ref(static_cast<size_t>(w) * BytesOf(p.dst));
    for (int y = 0; y < h; y += 37) {
      ConvertPixelRow(p.dst, p.src, false, ref.data(), src->GetBits(CPoint(0, y)), w, nullptr, 0, nullptr, 0, true);
      const uint8_t* row = dst->GetBits(CPoint(0, y));
      ASSERT_EQ(std::vector<uint8_t>(row, row + ref.size()), ref) << p.src << "->" << p.dst << " row " << y;
    }
  }
}

TEST(ConvertRow, RefusesUnknownTypesAndUnpairedWideViews) {
  uint8_t d[8] = {}, s[8] = {};
  EXPECT_FALSE(ConvertPixelRow(PIT_None, PIT_RGB24, false, d, s, 1, nullptr, 0, nullptr, 0));
  EXPECT_FALSE(ConvertPixelRow(PIT_RGB24, static_cast<PixelIteratorType>(22), false, d, s, 1, nullptr, 0, nullptr, 0));
  EXPECT_FALSE(ConvertPixelRow(PIT_RGB64, PIT_RGB32, true, d, s, 1, nullptr, 0, nullptr, 0));
  EXPECT_TRUE(ConvertPixelRow(PIT_RGB64, PIT_MONOA32, true, d, s, 1, nullptr, 0, nullptr, 0));
}

}  // namespace
