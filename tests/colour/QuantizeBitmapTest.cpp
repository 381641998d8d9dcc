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

// Source layouts the tests write colours into directly. The "Bgr" order keeps
// red in the first byte; RGB8 takes the distinct colours as its palette and
// MONO8 the red channel as grey.
enum class Layout { BGR32, RGB32, BGR24, RGB24, BGR48, MONO8, RGB8 };
const struct {
  const char* name;
  int bpp;
  ColourOrder::Type order;
} kLayouts[] = {{"BGR32", 32, ColourOrder::Bgr}, {"RGB32", 32, ColourOrder::Rgb}, {"BGR24", 24, ColourOrder::Bgr},
                {"RGB24", 24, ColourOrder::Rgb}, {"BGR48", 48, ColourOrder::Bgr}, {"MONO8", 8, ColourOrder::Mono},
                {"RGB8", 8, ColourOrder::Rgb}};

const char* NameOf(Layout l) { return kLayouts[static_cast<int>(l)].name; }

// A bitmap of the layout holding the colours given row by row.
CPtr<CMemoryBitmap> MakeSource(Layout layout, int w, int h, const std::vector<Rgb>& pixels) {
  const auto& info = kLayouts[static_cast<int>(layout)];
  CPtr<CMemoryBitmap> bm;
  std::vector<RGBQUAD> pal;
  if (layout == Layout::RGB8) {
    for (const Rgb& c : std::set<Rgb>(pixels.begin(), pixels.end()))
      pal.push_back(RGBQUAD{static_cast<BYTE>(c.b), static_cast<BYTE>(c.g), static_cast<BYTE>(c.r), 0});
    bm = new CMemoryBitmap();
    bm->CreateWithPalette(w, h, 8, pal.data(), static_cast<int>(pal.size()), ColourOrder::Rgb,
                          BitmapOrigin::BottomLeft);
  } else {
    bm = new CMemoryBitmap(w, h, info.bpp, info.order);
  }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const Rgb& c = pixels[static_cast<size_t>(y * w + x)];
      const auto r = static_cast<uint8_t>(c.r), g = static_cast<uint8_t>(c.g), b = static_cast<uint8_t>(c.b);
      uint8_t* p = bm->GetBits(CPoint(0, y)) + x * info.bpp / 8;
      if (layout == Layout::MONO8) {
        p[0] = r;
      } else if (layout == Layout::RGB8) {
        int i = 0;
        while (pal[i].rgbRed != r || pal[i].rgbGreen != g || pal[i].rgbBlue != b) ++i;
        p[0] = static_cast<uint8_t>(i);
      } else if (layout == Layout::BGR48) {
        for (int k = 0; k < 3; ++k) p[2 * k] = p[2 * k + 1] = k == 0 ? r : (k == 1 ? g : b);
      } else {
        const bool redFirst = info.order == ColourOrder::Bgr;
        p[0] = redFirst ? r : b, p[1] = g, p[2] = redFirst ? b : r;
        if (info.bpp == 32) p[3] = redFirst ? 0x5A : 0;  // noise the quantiser must ignore
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
  EXPECT_EQ(std::pair(r.bitmap->GetWidth(), r.bitmap->GetHeight()), std::pair(w, h));
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

// Images with no more distinct colours than asked for come back exactly;
// noise (distinct 0) stays within the palette with the error reported right.
TEST(QuantizeBitmapTest, FewColoursComeBackExactlyAndTheErrorIsRight) {
  const struct {
    Layout layout;
    int colours, distinct;
    bool dither, serpentine;
  } cases[] = {{Layout::BGR32, 256, 200, false, true}, {Layout::BGR32, 256, 256, true, true},
               {Layout::RGB32, 16, 16, false, true},   {Layout::BGR24, 7, 7, false, true},
               {Layout::RGB24, 12, 5, true, true},     {Layout::BGR48, 30, 29, false, true},
               {Layout::MONO8, 100, 100, true, true},  {Layout::RGB8, 2, 2, false, true},
               {Layout::RGB8, 1, 1, true, true},       {Layout::RGB24, 1, 1, false, true},
               {Layout::BGR24, 256, 0, false, true},   {Layout::BGR32, 64, 0, false, true},
               {Layout::RGB24, 16, 0, false, true},    {Layout::RGB32, 7, 0, false, true},
               {Layout::BGR48, 2, 0, false, true},     {Layout::BGR32, 1, 0, false, true},
               {Layout::BGR24, 256, 0, true, true},    {Layout::RGB24, 16, 0, true, false},
               {Layout::BGR32, 5, 0, true, true},      {Layout::BGR32, 1, 0, true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(NameOf(c.layout)) + " " + std::to_string(c.colours) + " of " + std::to_string(c.distinct) +
                 (c.dither ? " dither" : ""));
    const int W = c.distinct != 0 ? 37 : 61, H = c.distinct != 0 ? 23 : 47;
    std::vector<Rgb> pixels = Noise(W * H, static_cast<uint32_t>(c.colours));
    if (c.distinct != 0) {
      std::mt19937 rng(static_cast<uint32_t>(c.colours * 7 + c.distinct));
      std::vector<Rgb> set;
      std::set<Rgb> seen;
      while (static_cast<int>(set.size()) < c.distinct) {
        Rgb v{static_cast<int>(rng() % 256), static_cast<int>(rng() % 256), static_cast<int>(rng() % 256)};
        if (c.layout == Layout::MONO8) v.g = v.b = v.r;
        if (seen.insert(v).second) set.push_back(v);
      }
      for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = set[i < set.size() ? i : rng() % set.size()];
    }
    const auto src = MakeSource(c.layout, W, H, pixels);
    const CQuantizeResult r = c.distinct != 0
                                  ? QuantizeBitmap(*src, c.colours, c.dither)
                                  : QuantizeBitmap(*src, c.colours, CQuantizeOptions{c.dither, c.serpentine});
    const double mse = CheckResult(r, W, H, c.colours, pixels);
    EXPECT_NEAR(r.meanSquaredError, mse, 1e-9 * mse);
    EXPECT_TRUE(c.distinct != 0 ? r.palette.size() == static_cast<size_t>(c.distinct) && mse == 0.0
                                : !r.palette.empty() && mse > 0.0)
        << r.palette.size() << " entries, error " << mse;
  }
}

TEST(QuantizeBitmapTest, PaletteAndMappingAreThoseOfTheQuantizer) {
  // The palette is what a quantizer fed every pixel in row order gives, and
  // without dithering each pixel gets the entry of its own leaf.
  const struct {
    int colours;
    int levels;  // distinct values per channel in the image
  } cases[] = {{256, 256}, {16, 256}, {40, 6}, {9, 256}, {3, 40}};
  constexpr int W = 80, H = 60;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.colours);
    std::mt19937 rng(static_cast<uint32_t>(c.colours + c.levels));
    std::vector<Rgb> pixels(W * H);
    // Runs of repeated colours, as the bulk path sees in real images.
    const int step = 255 / (c.levels - 1);
    for (size_t i = 0; i < pixels.size(); ++i)
      pixels[i] = i > 0 && rng() % 3 == 0
                      ? pixels[i - 1]
                      : Rgb{static_cast<int>(rng() % c.levels) * step, static_cast<int>(rng() % c.levels) * step,
                            static_cast<int>(rng() % c.levels) * step};
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
        ASSERT_EQ(std::tie(got.r, got.g, got.b),
                  std::make_tuple(static_cast<int>(node->m_redSum / n), static_cast<int>(node->m_greenSum / n),
                                  static_cast<int>(node->m_blueSum / n)))
            << x << "," << y;
      }
  }
}

TEST(QuantizeBitmapTest, EveryFormatQuantisesAsItsBGR32Copy) {
  constexpr int W = 29, H = 13;
  for (int type = 1; type <= 21; ++type) {
    SCOPED_TRACE(type);
    auto src = MakeTyped(type, W, H);
    FillNoise(*src, static_cast<uint32_t>(type));
    // A colour palette rather than the grey ramp.
    std::mt19937 rng(static_cast<uint32_t>(type));
    for (int i = 0; src->RequiresPalette() && i < 1 << src->GetBitsPerPixel(); ++i)
      src->GetPalette()[i] = RGBQUAD{static_cast<BYTE>(rng()), static_cast<BYTE>(rng()), static_cast<BYTE>(rng()), 0};
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

TEST(QuantizeBitmapTest, BadInputIsRefusedAndEmptyBitmapsGiveEmptyResults) {
  CMemoryBitmap bm(4, 4, 24, ColourOrder::Bgr);
  for (int colours : {0, -1, 257, 100000}) EXPECT_THROW(QuantizeBitmap(bm, colours, false), CInvalidArgException);
  EXPECT_NO_THROW(QuantizeBitmap(bm, 256, true));
  EXPECT_NO_THROW(QuantizeBitmap(bm, 1, false));
  // An empty bitmap gives an empty result.
  for (const auto& [w, h] : {std::pair{0, 0}, std::pair{0, 5}, std::pair{7, 0}}) {
    const CQuantizeResult r = QuantizeBitmap(CMemoryBitmap(w, h, 24, ColourOrder::Rgb), 16, true);
    EXPECT_TRUE(r.palette.empty() && r.counts.empty()) << w << "x" << h;
    EXPECT_EQ(r.meanSquaredError, 0.0);
    EXPECT_EQ(std::pair(r.bitmap->GetWidth(), r.bitmap->GetHeight()), std::pair(w, h));
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
      const RGBQUAD &a = back->GetPalette()[i], &b = r.palette[i];
      EXPECT_TRUE(a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue) << i;
    }
    for (int y = 0; y < H; ++y)
      ASSERT_EQ(std::memcmp(back->GetBits(CPoint(0, y)), r.bitmap->GetBits(CPoint(0, y)), W), 0) << y;
  }
}
