#include <gtest/gtest.h>
#include <png.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <kernel/MemoryBitmap.h>

using namespace Kernel;
using SF = SupportedFormat;
namespace fs = std::filesystem;

namespace {

using Bytes = std::vector<uint8_t>;

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "nk_png_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
  }
  ~TempFolder() {
    std::error_code ec;
    fs::remove_all(m_path, ec);
  }
  fs::path operator/(const char* leaf) const { return m_path / leaf; }
  const fs::path& Path() const { return m_path; }

 private:
  fs::path m_path;
};

Bytes ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteAll(const fs::path& p, const Bytes& bytes) {
  std::ofstream out(p, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Bytes of displayed row y that hold pixels (no padding).
Bytes RowBytes(const CBaseBitmap& bm, int y) {
  const size_t n = (static_cast<size_t>(bm.GetWidth()) * bm.GetBitsPerPixel() + 7) / 8;
  const uint8_t* p = bm.GetBits(CPoint(0, y));
  return Bytes(p, p + n);
}

void FillRandom(CBaseBitmap& bm, unsigned seed) {
  std::mt19937 rng(seed);
  for (int y = 0; y < bm.GetHeight(); ++y) {
    uint8_t* p = bm.GetBits(CPoint(0, y));
    const size_t n = (static_cast<size_t>(bm.GetWidth()) * bm.GetBitsPerPixel() + 7) / 8;
    for (size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(rng());
  }
}

// An independent PNG writer straight on libpng, for layouts the library does
// not write itself (interlaced, sub-byte grey, transparency chunks).
struct PngRecipe {
  int width = 0, height = 0, depth = 8, colourType = PNG_COLOR_TYPE_GRAY;
  bool interlaced = false;
  std::vector<Bytes> rows = {};  // PNG byte order (big-endian samples)
  std::vector<png_color> palette = {};
  Bytes paletteAlpha = {};
  bool greyKey = false;
  png_color_16 key{};
};

bool WritePngCore(png_structp png, png_infop info, std::FILE* f, const PngRecipe* recipe, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_init_io(png, f);
  png_set_IHDR(png, info, static_cast<png_uint_32>(recipe->width), static_cast<png_uint_32>(recipe->height),
               recipe->depth, recipe->colourType, recipe->interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!recipe->palette.empty())
    png_set_PLTE(png, info, recipe->palette.data(), static_cast<int>(recipe->palette.size()));
  if (!recipe->paletteAlpha.empty())
    png_set_tRNS(png, info, recipe->paletteAlpha.data(), static_cast<int>(recipe->paletteAlpha.size()), nullptr);
  if (recipe->greyKey) png_set_tRNS(png, info, nullptr, 0, &recipe->key);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, info);
  return true;
}

void WritePngFile(const fs::path& path, PngRecipe recipe) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  std::vector<png_bytep> rows;
  for (Bytes& r : recipe.rows) rows.push_back(r.data());
  const bool ok = WritePngCore(png, info, f, &recipe, rows.data());
  png_destroy_write_struct(&png, &info);
  std::fclose(f);
  ASSERT_TRUE(ok);
}

struct RoundTrip {
  SF::Type format;
  int bpp;
  ColourOrder::Type order;
  int width;
};

// clang-format off
const RoundTrip kPngFormats[] = {
  {SF::RGB1, 1, ColourOrder::Bgr, 16},   {SF::RGB2, 2, ColourOrder::Rgb, 16},
  {SF::RGB4, 4, ColourOrder::Bgr, 16},   {SF::RGB8, 8, ColourOrder::Rgb, 7},
  {SF::MONO8, 8, ColourOrder::Mono, 7},  {SF::MONO16, 16, ColourOrder::Mono, 7},
  {SF::MONOA16, 16, ColourOrder::MonoA, 7}, {SF::MONOA32, 32, ColourOrder::MonoA, 7},
  {SF::RGB24, 24, ColourOrder::Rgb, 7},  {SF::BGR24, 24, ColourOrder::Bgr, 7},
  {SF::RGB32, 32, ColourOrder::Rgb, 7},  {SF::BGR32, 32, ColourOrder::Bgr, 7},
  {SF::RGB48, 48, ColourOrder::Rgb, 7},  {SF::BGR48, 48, ColourOrder::Bgr, 7},
  {SF::RGB64, 64, ColourOrder::Rgb, 7},  {SF::BGR64, 64, ColourOrder::Bgr, 7},
};
// clang-format on

TEST(PngFile, RoundTripKeepsEveryPixelForEveryFormat) {
  TempFolder dir;
  const fs::path file = dir / "round.png";
  for (const RoundTrip& r : kPngFormats) {
    for (BitmapOrigin::Type origin : {BitmapOrigin::TopLeft, BitmapOrigin::BottomLeft}) {
      SCOPED_TRACE(testing::Message() << GetFormatName(r.format) << " origin " << origin);
      CMemoryBitmap source(r.width, 5, r.bpp, r.order, origin);
      ASSERT_EQ(GetImageType(&source), r.format);
      if (HasPalette(r.format)) {
        std::vector<RGBQUAD> palette(size_t{1} << r.bpp);
        for (size_t i = 0; i < palette.size(); ++i)
          palette[i] = RGBQUAD{static_cast<uint8_t>(i * 7), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i), 0};
        ASSERT_TRUE(source.CreateWithPalette(r.width, 5, r.bpp, palette.data(), static_cast<int>(palette.size()),
                                             r.order, origin));
      }
      FillRandom(source, static_cast<unsigned>(r.bpp * 31 + origin));
      source.SetResolution(300, 72);
      ASSERT_TRUE(source.CanSavePNG());
      source.SavePNG(file.wstring().c_str());

      const ColourOrder::Type loadOrder = r.order == ColourOrder::Rgb ? ColourOrder::Rgb : ColourOrder::Bgr;
      CPtr<CMemoryBitmap> loaded = CMemoryBitmap::LoadPNG(file.wstring().c_str(), loadOrder);
      ASSERT_TRUE(loaded);
      EXPECT_EQ(GetImageType(loaded.Get()), r.format);
      EXPECT_EQ(loaded->GetOrigin(), BitmapOrigin::TopLeft);
      ASSERT_EQ(loaded->Size(), CSize(r.width, 5));
      EXPECT_EQ(loaded->GetSafeXResolution(), 300);
      EXPECT_EQ(loaded->GetSafeYResolution(), 72);
      for (int y = 0; y < 5; ++y) EXPECT_EQ(RowBytes(*loaded, y), RowBytes(source, y)) << "row " << y;
      ASSERT_EQ(loaded->GetPaletteSize(), source.GetPaletteSize());
      for (int i = 0; i < source.GetPaletteSize(); ++i)  // blue, green, red; the fourth byte is not stored
        EXPECT_EQ(std::memcmp(&loaded->GetPalette()[i], &source.GetPalette()[i], 3), 0) << "entry " << i;
    }
  }
}

TEST(PngFile, IndicesPastAShortPaletteGetBlackEntries) {
  for (int bpp : {4, 8}) {
    CMemoryBitmap bm;
    const RGBQUAD two[2] = {{10, 20, 30, 0}, {40, 50, 60, 0}};
    ASSERT_TRUE(bm.CreateWithPalette(3, 1, bpp, two, 2, ColourOrder::Bgr, BitmapOrigin::TopLeft));
    uint8_t* row = bm.GetBits(CPoint(0, 0));
    if (bpp == 8) {
      row[0] = 1, row[1] = 5, row[2] = 0;
    } else {
      row[0] = 0x15, row[1] = 0x00;  // indices 1, 5, 0
    }
    const Bytes png = bm.EncodePNG();
    CPtr<CMemoryBitmap> back = CMemoryBitmap::LoadPNG(png.data(), png.size());
    ASSERT_EQ(back->GetPaletteSize(), 6) << bpp;
    EXPECT_EQ(back->GetPalette()[1].rgbRed, 60);
    EXPECT_EQ(back->GetPalette()[5].rgbRed, 0);
    EXPECT_EQ(RowBytes(*back, 0), RowBytes(bm, 0)) << bpp;
  }
}

TEST(PngFile, ChannelOrderFollowsTheFormat) {
  // RGB24 is stored blue, green, red; BGR24 red, green, blue. The same file
  // read in either order gives the same colour.
  CMemoryBitmap rgb(1, 1, 24, ColourOrder::Rgb);
  rgb.Clear(0x00332211u, nullptr);  // red 0x11, green 0x22, blue 0x33
  ASSERT_EQ(RowBytes(rgb, 0), (Bytes{0x33, 0x22, 0x11}));
  const Bytes png = rgb.EncodePNG();
  CPtr<CMemoryBitmap> asBgr = CMemoryBitmap::LoadPNG(png.data(), png.size());
  EXPECT_EQ(GetImageType(asBgr.Get()), SF::BGR24);
  EXPECT_EQ(RowBytes(*asBgr, 0), (Bytes{0x11, 0x22, 0x33}));
  CPtr<CMemoryBitmap> asRgb = CMemoryBitmap::LoadPNG(png.data(), png.size(), ColourOrder::Rgb);
  EXPECT_EQ(RowBytes(*asRgb, 0), (Bytes{0x33, 0x22, 0x11}));
  EXPECT_THROW(CMemoryBitmap::LoadPNG(png.data(), png.size(), ColourOrder::Cmyk), CImageFileException);
}

TEST(PngFile, ReadsLayoutsAndTransparencyFromOtherWriters) {
  TempFolder dir;
  struct Row {
    const char* what;
    PngRecipe recipe;
    SF::Type format;
    std::vector<Bytes> expected;  // displayed rows of pixel bytes
  };
  const std::vector<png_color> twoColours = {{255, 0, 0}, {0, 0, 255}};
  const Row rows[] = {
      {"interlaced RGB",
       {3, 2, 8, PNG_COLOR_TYPE_RGB, true, {{1, 2, 3, 4, 5, 6, 7, 8, 9}, {10, 11, 12, 13, 14, 15, 16, 17, 18}}},
       SF::BGR24,
       {{1, 2, 3, 4, 5, 6, 7, 8, 9}, {10, 11, 12, 13, 14, 15, 16, 17, 18}}},
      {"1-bit grey widened", {4, 1, 1, PNG_COLOR_TYPE_GRAY, false, {{0xA0}}}, SF::MONO8, {{255, 0, 255, 0}}},
      {"2-bit grey widened", {4, 1, 2, PNG_COLOR_TYPE_GRAY, false, {{0x1B}}}, SF::MONO8, {{0, 85, 170, 255}}},
      {"4-bit grey widened", {2, 1, 4, PNG_COLOR_TYPE_GRAY, false, {{0xF1}}}, SF::MONO8, {{255, 17}}},
      {"16-bit grey is little-endian in memory",
       {2, 1, 16, PNG_COLOR_TYPE_GRAY, false, {{0x12, 0x34, 0xAB, 0xCD}}},
       SF::MONO16,
       {{0x34, 0x12, 0xCD, 0xAB}}},
      {"16-bit RGB words",
       {1, 1, 16, PNG_COLOR_TYPE_RGB, false, {{1, 2, 3, 4, 5, 6}}},
       SF::BGR48,
       {{2, 1, 4, 3, 6, 5}}},
      {"interlaced 1-bit palette stays packed",
       {10, 2, 1, PNG_COLOR_TYPE_PALETTE, true, {{0xAA, 0xC0}, {0x55, 0x40}}, twoColours},
       SF::RGB1,
       {{0xAA, 0xC0}, {0x55, 0x40}}},
      // Transparency chunks become alpha.
      {"palette transparency",
       {2, 1, 8, PNG_COLOR_TYPE_PALETTE, false, {{0, 1}}, {{10, 20, 30}, {40, 50, 60}}, {0, 255}},
       SF::BGR32,
       {{10, 20, 30, 0, 40, 50, 60, 255}}},
      {"grey key transparency",
       {3, 1, 8, PNG_COLOR_TYPE_GRAY, false, {{5, 9, 5}}, {}, {}, true, {0, 0, 0, 0, 5}},
       SF::MONOA16,
       {{5, 0, 9, 255, 5, 0}}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.what);
    const fs::path file = dir / "other.png";
    WritePngFile(file, r.recipe);
    CPtr<CMemoryBitmap> bm = CMemoryBitmap::LoadPNG(file.wstring().c_str());
    EXPECT_EQ(GetImageType(bm.Get()), r.format);
    ASSERT_EQ(bm->GetHeight(), static_cast<int>(r.expected.size()));
    for (size_t y = 0; y < r.expected.size(); ++y) EXPECT_EQ(RowBytes(*bm, static_cast<int>(y)), r.expected[y]);
  }
}

TEST(PngFile, CorruptAndTruncatedDataGiveAClearError) {
  CMemoryBitmap source(9, 7, 24, ColourOrder::Bgr);
  FillRandom(source, 7);
  const Bytes good = source.EncodePNG();
  ASSERT_NO_THROW(CMemoryBitmap::LoadPNG(good.data(), good.size()));

  std::vector<std::pair<std::string, Bytes>> bad;
  bad.emplace_back("empty", Bytes());
  bad.emplace_back("not a PNG", Bytes{'G', 'I', 'F', '8', '9', 'a', 0, 0, 0, 0, 0, 0});
  bad.emplace_back("signature only", Bytes(good.begin(), good.begin() + 8));
  for (size_t cut = 9; cut < good.size(); cut += 3)
    bad.emplace_back("cut at " + std::to_string(cut), Bytes(good.begin(), good.begin() + cut));
  Bytes flipped = good;
  flipped[good.size() / 2] ^= 0x5A;  // inside the image data: its checksum no longer matches
  bad.emplace_back("flipped byte", flipped);
  Bytes badHeader = good;
  badHeader[16] = 0xFF;  // width beyond what PNG allows
  bad.emplace_back("bad width", badHeader);

  for (const auto& [what, bytes] : bad) {
    try {
      CMemoryBitmap::LoadPNG(bytes.data(), bytes.size());
      ADD_FAILURE() << what << ": no error";
    } catch (const CImageFileException& e) {
      EXPECT_FALSE(e.GetReason().empty()) << what;
    }
  }
}

TEST(PngFile, FileErrorsNameTheFile) {
  TempFolder dir;
  const fs::path missing = dir / "missing.png";
  try {
    CMemoryBitmap::LoadPNG(missing.wstring().c_str());
    ADD_FAILURE() << "no error";
  } catch (const CImageFileException& e) {
    EXPECT_EQ(e.GetPath(), missing.string());
    EXPECT_NE(std::string(e.what()).find("missing.png"), std::string::npos);
  }
  const fs::path text = dir / "text.png";
  WriteAll(text, Bytes{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '\n'});
  EXPECT_THROW(CMemoryBitmap::LoadPNG(text.wstring().c_str()), CImageFileException);
  EXPECT_THROW(CMemoryBitmap::LoadPNG(dir.Path().wstring().c_str()), CImageFileException);
}

TEST(PngFile, FormatsPngCannotHoldAreRefused) {
  struct Row {
    int bpp;
    ColourOrder::Type order;
  };
  const Row rows[] = {{16, ColourOrder::Rgb}, {16, ColourOrder::Bgr}, {32, ColourOrder::Cmyk}, {40, ColourOrder::Cmyk}};
  for (const Row& r : rows) {
    CMemoryBitmap bm(2, 2, r.bpp, r.order);
    EXPECT_FALSE(bm.CanSavePNG());
    EXPECT_THROW(bm.EncodePNG(), CImageFileException);
  }
  CMemoryBitmap empty(0, 3, 24, ColourOrder::Bgr);
  EXPECT_THROW(empty.EncodePNG(), CImageFileException);
}

TEST(PngFile, FailedSaveLeavesTheOldFileAndNoLitter) {
  TempFolder dir;
  const fs::path file = dir / "keep.png";
  CMemoryBitmap good(4, 4, 24, ColourOrder::Bgr);
  good.Clear(0x00FF8000u, nullptr);
  good.SavePNG(file.wstring().c_str());
  const Bytes before = ReadAll(file);
  ASSERT_FALSE(before.empty());

  CMemoryBitmap cmyk(4, 4, 32, ColourOrder::Cmyk);
  EXPECT_THROW(cmyk.SavePNG(file.wstring().c_str()), CImageFileException);
  EXPECT_EQ(ReadAll(file), before);

  // A directory in the way: writing succeeds, replacing it does not.
  const fs::path blocked = dir / "blocked.png";
  fs::create_directory(blocked);
  fs::create_directory(blocked / "inside");
  EXPECT_THROW(good.SavePNG(blocked.wstring().c_str()), CImageFileException);
  EXPECT_TRUE(fs::is_directory(blocked / "inside"));

  const fs::path nowhere = dir / "no-such-folder" / "x.png";
  EXPECT_THROW(good.SavePNG(nowhere.wstring().c_str()), CImageFileException);

  // Only the good file and the blocking folder remain: no temporaries.
  int entries = 0;
  for (const auto& e : fs::directory_iterator(dir.Path())) {
    ++entries;
    EXPECT_TRUE(e.path() == file || e.path() == blocked) << e.path();
  }
  EXPECT_EQ(entries, 2);

  // A successful save replaces the file whole and keeps its permissions.
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
  CMemoryBitmap other(2, 1, 8, ColourOrder::Mono);
  other.SavePNG(file.wstring().c_str());
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  CPtr<CMemoryBitmap> back = CMemoryBitmap::LoadPNG(file.wstring().c_str());
  EXPECT_EQ(GetImageType(back.Get()), SF::MONO8);
  EXPECT_EQ(back->GetWidth(), 2);
}

}  // namespace
