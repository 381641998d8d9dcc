// Whole-bitmap quantisation: palettes, exactness, the error figure, every
// source format, dithering, bad input, and the indexed result through PNG.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <kernel/CopyPixels.h>
#include <kernel/Exceptions.h>
#include <kernel/Quantizer.h>

#include "bitmap/PixelTestBitmaps.h"

using namespace Kernel;

namespace {

struct Rgb {
  int r, g, b;
  bool operator<(const Rgb& o) const { return std::tie(r, g, b) < std::tie(o.r, o.g, o.b); }
};

// Source layouts the tests write colours into directly.
enum class Layout { BGR32, RGB32, BGR24, RGB24, BGR48, MONO8, RGB8 };

const char* NameOf(Layout l) {
  static const char* names[] = {"BGR32", "RGB32", "BGR24", "RGB24", "BGR48", "MONO8", "RGB8"};
  return names[static_cast<int>(l)];
}

// A bitmap of the layout holding the colours given row by row. For RGB8 the
// distinct colours become the palette; MONO8 takes the red channel as grey.
CPtr<CMemoryBitmap> MakeSource(Layout layout, int w, int h, const std::vector<Rgb>& pixels) {
  CPtr<CMemoryBitmap> bm;
  switch (layout) {
    case Layout::BGR32:
      bm = new CMemoryBitmap(w, h, 32, ColourOrder::Bgr);
      break;
    case Layout::RGB32:
      bm = new CMemoryBitmap(w, h, 32, ColourOrder::Rgb);
      break;
    case Layout::BGR24:
      bm = new CMemoryBitmap(w, h, 24, ColourOrder::Bgr);
      break;
    case Layout::RGB24:
      bm = new CMemoryBitmap(w, h, 24, ColourOrder::Rgb);
      break;
    case Layout::BGR48:
      bm = new CMemoryBitmap(w, h, 48, ColourOrder::Bgr);
      break;
    case Layout::MONO8:
      bm = new CMemoryBitmap(w, h, 8, ColourOrder::Mono);
      break;
    case Layout::RGB8: {
      std::set<Rgb> distinct(pixels.begin(), pixels.end());
      std::vector<RGBQUAD> pal;
      for (const Rgb& c : distinct)
        pal.push_back(RGBQUAD{static_cast<BYTE>(c.b), static_cast<BYTE>(c.g), static_cast<BYTE>(c.r), 0});
      bm = new CMemoryBitmap();
      bm->CreateWithPalette(w, h, 8, pal.data(), static_cast<int>(pal.size()), ColourOrder::Rgb,
                            BitmapOrigin::BottomLeft);
      break;
    }
  }
  for (int y = 0; y < h; ++y) {
    uint8_t* row = bm->GetBits(CPoint(0, y));
    for (int x = 0; x < w; ++x) {
      const Rgb& c = pixels[static_cast<size_t>(y * w + x)];
      const auto r = static_cast<uint8_t>(c.r), g = static_cast<uint8_t>(c.g), b = static_cast<uint8_t>(c.b);
      switch (layout) {
        case Layout::BGR32:
          row[4 * x] = r, row[4 * x + 1] = g, row[4 * x + 2] = b, row[4 * x + 3] = 0x5A;
          break;
        case Layout::RGB32:
          row[4 * x] = b, row[4 * x + 1] = g, row[4 * x + 2] = r, row[4 * x + 3] = 0;
          break;
        case Layout::BGR24:
          row[3 * x] = r, row[3 * x + 1] = g, row[3 * x + 2] = b;
          break;
        case Layout::RGB24:
          row[3 * x] = b, row[3 * x + 1] = g, row[3 * x + 2] = r;
          break;
        case Layout::BGR48:
          for (int k = 0; k < 3; ++k) row[6 * x + 2 * k] = row[6 * x + 2 * k + 1] = k == 0 ? r : (k == 1 ? g : b);
          break;
        case Layout::MONO8:
          row[x] = r;
          break;
        case Layout::RGB8: {
          const RGBQUAD* pal = bm->GetPalette();
          int i = 0;
          while (pal[i].rgbRed != r || pal[i].rgbGreen != g || pal[i].rgbBlue != b) ++i;
          row[x] = static_cast<uint8_t>(i);
          break;
        }
      }
    }
  }
  return bm;
}

// Reads the result's pixel (x, y) back as the colour of its palette entry.
Rgb ResultColour(const CQuantizeResult& r, int x, int y) {
  const CMemoryBitmap& bm = *r.bitmap;
  const uint8_t index = CQuantizer::GetPixelIndex(x, y, 8, bm.GetBytesPerScanline(), bm.GetBits(CPoint(0, 0)));
  EXPECT_LT(index, r.palette.size());
  const RGBQUAD& e = r.palette[index < r.palette.size() ? index : 0];
  return Rgb{e.rgbRed, e.rgbGreen, e.rgbBlue};
}

std::vector<Rgb> Noise(int count, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<Rgb> out(static_cast<size_t>(count));
  for (auto& c : out)
    c = Rgb{static_cast<int>(rng() % 256), static_cast<int>(rng() % 256), static_cast<int>(rng() % 256)};
  return out;
}

// Checks what every result must satisfy and answers the error recomputed
// from the source colours.
double CheckResult(const CQuantizeResult& r, int w, int h, int colours, const std::vector<Rgb>& source) {
  EXPECT_LE(r.palette.size(), static_cast<size_t>(colours));
  EXPECT_EQ(r.counts.size(), r.palette.size());
  EXPECT_EQ(r.bitmap->GetWidth(), w);
  EXPECT_EQ(r.bitmap->GetHeight(), h);
  EXPECT_EQ(GetImageType(r.bitmap.Get()), SupportedFormat::RGB8);
  EXPECT_EQ(r.bitmap->GetPaletteSize(), static_cast<int>(r.palette.size()));
  if (!r.palette.empty()) {
    EXPECT_EQ(std::memcmp(r.bitmap->GetPalette(), r.palette.data(), r.palette.size() * sizeof(RGBQUAD)), 0);
  }
  std::vector<uint64_t> histogram(r.palette.size());
  double squared = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const uint8_t index = r.bitmap->GetBits(CPoint(x, y))[0];
      if (index < histogram.size()) ++histogram[index];
      const Rgb q = ResultColour(r, x, y), s = source[static_cast<size_t>(y * w + x)];
      squared += (q.r - s.r) * (q.r - s.r) + (q.g - s.g) * (q.g - s.g) + (q.b - s.b) * (q.b - s.b);
    }
  EXPECT_EQ(histogram, r.counts);
  return w * h == 0 ? 0.0 : squared / (3.0 * w * h);
}

}  // namespace

TEST(QuantizeBitmapTest, FewColoursComeBackExactly) {
  struct Case {
    Layout layout;
    int colours, distinct;
    bool dither;
  };
  const Case cases[] = {
      {Layout::BGR32, 256, 200, false}, {Layout::BGR32, 256, 256, true}, {Layout::RGB32, 16, 16, false},
      {Layout::BGR24, 7, 7, false},     {Layout::RGB24, 12, 5, true},    {Layout::BGR48, 30, 29, false},
      {Layout::MONO8, 100, 100, true},  {Layout::RGB8, 2, 2, false},     {Layout::RGB8, 1, 1, true},
      {Layout::RGB24, 1, 1, false},
  };
  constexpr int W = 37, H = 23;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(NameOf(c.layout)) + " " + std::to_string(c.colours) + (c.dither ? " dither" : ""));
    std::mt19937 rng(static_cast<uint32_t>(c.colours * 7 + c.distinct));
    std::vector<Rgb> set;
    std::set<Rgb> seen;
    while (static_cast<int>(set.size()) < c.distinct) {
      Rgb v{static_cast<int>(rng() % 256), static_cast<int>(rng() % 256), static_cast<int>(rng() % 256)};
      if (c.layout == Layout::MONO8) v.g = v.b = v.r;
      if (seen.insert(v).second) set.push_back(v);
    }
    std::vector<Rgb> pixels(W * H);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = set[i < set.size() ? i : rng() % set.size()];
    const auto src = MakeSource(c.layout, W, H, pixels);
    const CQuantizeResult r = QuantizeBitmap(*src, c.colours, c.dither);
    EXPECT_EQ(r.palette.size(), static_cast<size_t>(c.distinct));
    EXPECT_EQ(CheckResult(r, W, H, c.colours, pixels), 0.0);
    EXPECT_EQ(r.meanSquaredError, 0.0);
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) {
        const Rgb q = ResultColour(r, x, y), s = pixels[static_cast<size_t>(y * W + x)];
        ASSERT_TRUE(q.r == s.r && q.g == s.g && q.b == s.b) << x << "," << y;
      }
  }
}

TEST(QuantizeBitmapTest, ManyColoursStayWithinThePaletteAndTheErrorIsRight) {
  struct Case {
    Layout layout;
    int colours;
    bool dither, serpentine;
  };
  const Case cases[] = {
      {Layout::BGR24, 256, false, true}, {Layout::BGR32, 64, false, true}, {Layout::RGB24, 16, false, true},
      {Layout::RGB32, 7, false, true},   {Layout::BGR48, 2, false, true},  {Layout::BGR32, 1, false, true},
      {Layout::BGR24, 256, true, true},  {Layout::RGB24, 16, true, false}, {Layout::BGR32, 5, true, true},
      {Layout::BGR32, 1, true, true},
  };
  constexpr int W = 61, H = 47;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(NameOf(c.layout)) + " " + std::to_string(c.colours) + (c.dither ? " dither" : ""));
    const auto pixels = Noise(W * H, static_cast<uint32_t>(c.colours));
    const auto src = MakeSource(c.layout, W, H, pixels);
    CQuantizeOptions options;
    options.dither = c.dither;
    options.serpentine = c.serpentine;
    const CQuantizeResult r = QuantizeBitmap(*src, c.colours, options);
    EXPECT_FALSE(r.palette.empty());
    const double mse = CheckResult(r, W, H, c.colours, pixels);
    EXPECT_NEAR(r.meanSquaredError, mse, 1e-9 * mse);
    EXPECT_GT(mse, 0.0);
  }
}

TEST(QuantizeBitmapTest, PaletteAndMappingAreThoseOfTheQuantizer) {
  // The palette is what a quantizer fed every pixel in row order gives, and
  // without dithering each pixel gets the entry of its own leaf.
  struct Case {
    int colours;
    int levels;  // distinct values per channel in the image
  };
  const Case cases[] = {{256, 256}, {16, 256}, {40, 6}, {9, 256}, {3, 40}};
  constexpr int W = 80, H = 60;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.colours);
    std::mt19937 rng(static_cast<uint32_t>(c.colours + c.levels));
    std::vector<Rgb> pixels(W * H);
    // Runs of repeated colours, as the bulk path sees in real images.
    for (size_t i = 0; i < pixels.size(); ++i) {
      if (i > 0 && rng() % 3 == 0) {
        pixels[i] = pixels[i - 1];
        continue;
      }
      const int step = 255 / (c.levels - 1);
      pixels[i] = Rgb{static_cast<int>(rng() % c.levels) * step, static_cast<int>(rng() % c.levels) * step,
                      static_cast<int>(rng() % c.levels) * step};
    }
    const auto src = MakeSource(Layout::BGR24, W, H, pixels);
    const CQuantizeResult r = QuantizeBitmap(*src, c.colours, false);

    CQuantizer q(static_cast<uint32_t>(c.colours), 8);
    for (const Rgb& p : pixels) q.AddColour(static_cast<uint32_t>(p.r | p.g << 8 | p.b << 16), 0);
    std::vector<RGBQUAD> table(static_cast<size_t>(c.colours));
    q.SetColourTable(table.data());
    ASSERT_LE(r.palette.size(), table.size());
    EXPECT_EQ(std::memcmp(r.palette.data(), table.data(), r.palette.size() * sizeof(RGBQUAD)), 0);
    if (c.colours < 16) continue;  // merged entries are checked by the quantizer's own tests
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) {
        const Rgb& p = pixels[static_cast<size_t>(y * W + x)];
        const CQuantizer::Node* node = q.GetRoot();
        for (int s = 7; node->m_isLeaf == 0; --s)
          node = node->m_child[((p.r >> s) & 1) << 2 | ((p.g >> s) & 1) << 1 | ((p.b >> s) & 1)];
        const uint64_t n = node->m_pixelCount;
        const Rgb got = ResultColour(r, x, y);
        ASSERT_EQ(got.r, static_cast<int>(node->m_redSum / n));
        ASSERT_EQ(got.g, static_cast<int>(node->m_greenSum / n));
        ASSERT_EQ(got.b, static_cast<int>(node->m_blueSum / n));
      }
  }
}

TEST(QuantizeBitmapTest, EveryFormatQuantisesAsItsBGR32Copy) {
  constexpr int W = 29, H = 13;
  for (int type = 1; type <= 21; ++type) {
    SCOPED_TRACE(type);
    auto src = MakeTyped(type, W, H);
    FillNoise(*src, static_cast<uint32_t>(type));
    if (src->RequiresPalette()) {
      // A colour palette rather than the grey ramp.
      const int entries = 1 << src->GetBitsPerPixel();
      std::vector<RGBQUAD> pal(static_cast<size_t>(entries));
      std::mt19937 rng(static_cast<uint32_t>(type));
      for (auto& e : pal) e = RGBQUAD{static_cast<BYTE>(rng()), static_cast<BYTE>(rng()), static_cast<BYTE>(rng()), 0};
      std::memcpy(src->GetPalette(), pal.data(), pal.size() * sizeof(RGBQUAD));
    }
    CMemoryBitmap copy(W, H, 32, ColourOrder::Bgr);
    CopyPixels(&copy, src.Get(), nullptr, nullptr);
    for (int colours : {16, 200}) {
      const CQuantizeResult a = QuantizeBitmap(*src, colours, false), b = QuantizeBitmap(copy, colours, false);
      ASSERT_EQ(a.palette.size(), b.palette.size());
      EXPECT_EQ(std::memcmp(a.palette.data(), b.palette.data(), a.palette.size() * sizeof(RGBQUAD)), 0);
      for (int y = 0; y < H; ++y)
        ASSERT_EQ(std::memcmp(a.bitmap->GetBits(CPoint(0, y)), b.bitmap->GetBits(CPoint(0, y)), W), 0) << y;
      EXPECT_DOUBLE_EQ(a.meanSquaredError, b.meanSquaredError);
    }
  }
}

TEST(QuantizeBitmapTest, DitheringKeepsTheLocalAverageOfARamp) {
  // A smooth ramp at 16 colours bands without dithering. Dithering trades
  // a little per-pixel error for local averages that follow the ramp: the
  // column means of the result come much closer to the source.
  constexpr int W = 256, H = 32;
  std::vector<Rgb> pixels(W * H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) pixels[static_cast<size_t>(y * W + x)] = Rgb{x, x / 2 + 40, 255 - x};
  const auto src = MakeSource(Layout::BGR32, W, H, pixels);
  double columnError[2] = {0, 0};
  for (int dither = 0; dither < 2; ++dither) {
    const CQuantizeResult r = QuantizeBitmap(*src, 16, dither != 0);
    const double mse = CheckResult(r, W, H, 16, pixels);
    EXPECT_NEAR(r.meanSquaredError, mse, 1e-9 * mse);
    for (int x = 0; x < W; ++x) {
      double sum[3] = {0, 0, 0};
      for (int y = 0; y < H; ++y) {
        const Rgb q = ResultColour(r, x, y);
        sum[0] += q.r, sum[1] += q.g, sum[2] += q.b;
      }
      const Rgb s = pixels[static_cast<size_t>(x)];
      const double d[3] = {sum[0] / H - s.r, sum[1] / H - s.g, sum[2] / H - s.b};
      columnError[dither] += d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    }
  }
  EXPECT_LT(columnError[1] * 4, columnError[0]) << columnError[1] << " vs " << columnError[0];
}

TEST(QuantizeBitmapTest, BadInputIsRefused) {
  CMemoryBitmap bm(4, 4, 24, ColourOrder::Bgr);
  for (int colours : {0, -1, 257, 100000}) EXPECT_THROW(QuantizeBitmap(bm, colours, false), CInvalidArgException);
  EXPECT_NO_THROW(QuantizeBitmap(bm, 256, true));
  EXPECT_NO_THROW(QuantizeBitmap(bm, 1, false));
}

TEST(QuantizeBitmapTest, EmptyBitmapGivesAnEmptyResult) {
  for (const auto& [w, h] : {std::pair{0, 0}, std::pair{0, 5}, std::pair{7, 0}}) {
    CMemoryBitmap bm(w, h, 24, ColourOrder::Rgb);
    const CQuantizeResult r = QuantizeBitmap(bm, 16, true);
    EXPECT_TRUE(r.palette.empty());
    EXPECT_TRUE(r.counts.empty());
    EXPECT_EQ(r.meanSquaredError, 0.0);
    EXPECT_EQ(r.bitmap->GetWidth(), w);
    EXPECT_EQ(r.bitmap->GetHeight(), h);
  }
}

TEST(QuantizeBitmapTest, IndexedResultRoundTripsThroughPNG) {
  constexpr int W = 45, H = 31;
  const auto pixels = Noise(W * H, 99);
  const auto src = MakeSource(Layout::RGB24, W, H, pixels);
  for (int colours : {256, 16, 3}) {
    const CQuantizeResult r = QuantizeBitmap(*src, colours, true);
    const std::vector<uint8_t> png = r.bitmap->EncodePNG();
    const CPtr<CMemoryBitmap> back = CMemoryBitmap::LoadPNG(png.data(), png.size(), ColourOrder::Rgb);
    ASSERT_EQ(GetImageType(back.Get()), SupportedFormat::RGB8);
    ASSERT_EQ(back->GetPaletteSize(), static_cast<int>(r.palette.size()));
    for (size_t i = 0; i < r.palette.size(); ++i) {
      EXPECT_EQ(back->GetPalette()[i].rgbRed, r.palette[i].rgbRed) << i;
      EXPECT_EQ(back->GetPalette()[i].rgbGreen, r.palette[i].rgbGreen) << i;
      EXPECT_EQ(back->GetPalette()[i].rgbBlue, r.palette[i].rgbBlue) << i;
    }
    for (int y = 0; y < H; ++y)
      ASSERT_EQ(std::memcmp(back->GetBits(CPoint(0, y)), r.bitmap->GetBits(CPoint(0, y)), W), 0) << y;
  }
}
