// The nearest-entry search behind dithering, against a plain scan of the
// whole palette.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "../../kernel/colour/NearestPalette.h"

namespace {

int Scan(const std::vector<RGBQUAD>& pal, int r, int g, int b) {
  int best = 0, bestDistance = 1 << 30;
  for (size_t i = 0; i < pal.size(); ++i) {
    const int dr = r - pal[i].rgbRed, dg = g - pal[i].rgbGreen, db = b - pal[i].rgbBlue;
    const int d = dr * dr + dg * dg + db * db;
    if (d < bestDistance) bestDistance = d, best = static_cast<int>(i);
  }
  return best;
}

}  // namespace

TEST(NearestPaletteTest, AgreesWithAFullScanFirstOfEqualsWinning) {
  struct Case {
    std::string name;
    std::vector<RGBQUAD> palette;
  };
  std::mt19937 rng(77);
  const auto random = [&](int n, int levels) {
    std::vector<RGBQUAD> p(static_cast<size_t>(n));
    const int step = 255 / (levels - 1);
    for (auto& e : p)
      e = RGBQUAD{static_cast<BYTE>(rng() % levels * step), static_cast<BYTE>(rng() % levels * step),
                  static_cast<BYTE>(rng() % levels * step), 0};
    return p;
  };
  std::vector<RGBQUAD> greys;
  for (int i = 0; i < 256; i += 17)
    greys.push_back(RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0});
  const Case cases[] = {
      {"one entry", {{10, 20, 30, 0}}},
      // Duplicates and entries equally far from many colours: ties.
      {"duplicates", {{0, 0, 0, 0}, {255, 255, 255, 0}, {0, 0, 0, 0}, {255, 255, 255, 0}}},
      // (7, 0, 0) lies as far from red 9 (outside its box) as from red 5
      // (inside): entry 0 must still win though it sorts later for that box.
      {"tie across a box edge", {{0, 0, 9, 0}, {0, 0, 5, 0}}},
      {"coarse grid", random(64, 3)},
      {"greys", greys},
      {"16 random", random(16, 256)},
      {"256 random", random(256, 256)},
      {"256 clustered", random(256, 5)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Kernel::NearestPalette nearest(c.palette.data(), static_cast<int>(c.palette.size()));
    // Corners and edges of boxes, then random colours, twice each so that
    // lookups into built boxes are checked too.
    std::vector<int> values = {0, 1, 7, 8, 15, 16, 127, 128, 247, 248, 254, 255};
    for (int pass = 0; pass < 2; ++pass) {
      for (int r : values)
        for (int g : values)
          for (int b : values) ASSERT_EQ(nearest.Find(r, g, b), Scan(c.palette, r, g, b)) << r << "," << g << "," << b;
      std::mt19937 colours(5);
      for (int i = 0; i < 20000; ++i) {
        const int r = static_cast<int>(colours() % 256), g = static_cast<int>(colours() % 256),
                  b = static_cast<int>(colours() % 256);
        ASSERT_EQ(nearest.Find(r, g, b), Scan(c.palette, r, g, b)) << r << "," << g << "," << b;
      }
    }
  }
  Kernel::NearestPalette empty(nullptr, 0);
  EXPECT_EQ(empty.Find(1, 2, 3), 0);
}
