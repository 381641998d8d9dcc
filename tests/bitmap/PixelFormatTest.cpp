#include <gtest/gtest.h>

#include <string>

#include <kernel/PixelFormat.h>

using namespace Kernel;
using SF = SupportedFormat;

namespace {

constexpr SF::Type kNone = static_cast<SF::Type>(0);
constexpr ColourOrder::Type kNoOrder = static_cast<ColourOrder::Type>(7);

struct CatalogueRow {
  SF::Type format;
  uint32_t value;
  const char* name;
  int bpp, bps;
  bool bgr, rgb, mono, cmyk, alpha, palette;
  ColourOrder::Type order;
  uint32_t bmFormat;
  SF::Type nonAlpha;
};

// clang-format off
const CatalogueRow kCatalogue[] = {
  {SF::MONO8,      0x1,      "MONO8",      8,  8,  false, false, true,  false, false, false, ColourOrder::Mono, 0x0209, SF::MONO8},
  {SF::RGB1,       0x2,      "RGB1",       1,  1,  true,  true,  false, false, false, true,  ColourOrder::Bgr,  0xFFFF, SF::RGB1},
  {SF::RGB2,       0x4,      "RGB2",       2,  2,  true,  true,  false, false, false, true,  ColourOrder::Bgr,  0xFFFF, SF::RGB2},
  {SF::RGB4,       0x8,      "RGB4",       4,  4,  true,  true,  false, false, false, true,  ColourOrder::Bgr,  0xFFFF, SF::RGB4},
  {SF::RGB8,       0x10,     "RGB8",       8,  8,  true,  true,  false, false, false, true,  ColourOrder::Bgr,  0xFFFF, SF::RGB8},
  {SF::RGB16,      0x20,     "RGB16",      16, 16, false, true,  false, false, false, false, ColourOrder::Rgb,  0xFFFF, SF::RGB16},
  {SF::RGB24,      0x40,     "RGB24",      24, 8,  false, true,  false, false, false, false, ColourOrder::Rgb,  0x4,    SF::RGB24},
  {SF::RGB32,      0x80,     "RGB32",      32, 8,  false, true,  false, false, true,  false, ColourOrder::Rgb,  0x10,   SF::RGB24},
  {SF::BGR16,      0x100,    "BGR16",      16, 16, true,  false, false, false, false, false, ColourOrder::Bgr,  0xFFFF, SF::BGR16},
  {SF::BGR24,      0x200,    "BGR24",      24, 8,  true,  false, false, false, false, false, ColourOrder::Bgr,  0x2,    SF::BGR24},
  {SF::BGR32,      0x400,    "BGR32",      32, 8,  true,  false, false, false, true,  false, ColourOrder::Bgr,  0x8,    SF::BGR24},
  {SF::CMYK_32,    0x800,    "CMYK_32",    32, 8,  false, false, false, true,  false, false, ColourOrder::Cmyk, 0x0305, SF::CMYK_32},
  {SF::CMYKA_40,   0x1000,   "CMYKA_40",   40, 8,  false, false, false, true,  true,  false, ColourOrder::Cmyk, 0x0305, SF::CMYK_32},
  {SF::MONO16,     0x2000,   "MONO16",     16, 16, false, false, true,  false, false, false, ColourOrder::Mono, 0x0505, SF::MONO16},
  {SF::MONOA16,    0x4000,   "MONOA16",    16, 8,  false, false, true,  false, true,  false, ColourOrder::Mono, 0xFFFF, SF::MONO8},
  {SF::MONOA32,    0x8000,   "MONOA32",    32, 16, false, false, true,  false, true,  false, ColourOrder::Mono, 0xFFFF, SF::MONO16},
  {SF::RGB48,      0x10000,  "RGB48",      48, 16, false, true,  false, false, false, false, ColourOrder::Rgb,  0xFFFF, SF::RGB48},
  {SF::RGB64,      0x20000,  "RGB64",      64, 16, false, true,  false, false, true,  false, ColourOrder::Rgb,  0xFFFF, SF::RGB48},
  {SF::BGR48,      0x40000,  "BGR48",      48, 16, true,  false, false, false, false, false, ColourOrder::Bgr,  0xA,    SF::BGR48},
  {SF::BGR64,      0x80000,  "BGR64",      64, 16, true,  false, false, false, true,  false, ColourOrder::Bgr,  0xFFFF, SF::BGR48},
  {SF::CMYKA_32_8, 0x100000, "CMYKA_32_8", 32, 8,  false, false, false, false, true,  false, kNoOrder,          0x0305, SF::CMYK_32},
};
// clang-format on

TEST(PixelFormatCatalogue, EveryFormatAnswersItsRow) {
  ASSERT_EQ(std::size(kCatalogue), static_cast<size_t>(SF::c_count));
  for (size_t i = 0; i < std::size(kCatalogue); ++i) {
    const CatalogueRow& r = kCatalogue[i];
    SCOPED_TRACE(r.name);
    EXPECT_EQ(static_cast<uint32_t>(r.format), r.value);
    EXPECT_EQ(c_allSupportedFormats[i], r.format);
    EXPECT_EQ(BitsPerPixel(r.format), r.bpp);
    EXPECT_EQ(BitsPerSample(r.format), r.bps);
    EXPECT_EQ(IsBGR(r.format), r.bgr);
    EXPECT_EQ(IsRGB(r.format), r.rgb);
    EXPECT_EQ(IsMONO(r.format), r.mono);
    EXPECT_EQ(IsCMYK(r.format), r.cmyk);
    EXPECT_EQ(HasAlpha(r.format), r.alpha);
    EXPECT_EQ(HasPalette(r.format), r.palette);
    EXPECT_EQ(GetColourFormat(r.format), r.order);
    EXPECT_EQ(static_cast<uint32_t>(GetBitmapFormat(r.format)), r.bmFormat);
    EXPECT_EQ(NearestNonAlphaFormat(r.format), r.nonAlpha);
    EXPECT_STREQ(GetFormatName(r.format), r.name);
    EXPECT_EQ(GetFormatFromName(r.name), r.format);
  }
}

TEST(PixelFormatCatalogue, NonFormatsGiveSentinels) {
  const SF::Type bad[] = {kNone, SF::RGB1 | SF::RGB2, static_cast<SF::Type>(0x200000),
                          static_cast<SF::Type>(0xFFFFFFFFu)};
  for (SF::Type f : bad) {
    SCOPED_TRACE(static_cast<uint32_t>(f));
    EXPECT_EQ(BitsPerPixel(f), -1);
    EXPECT_EQ(BitsPerSample(f), -1);
    EXPECT_EQ(GetFormatName(f), nullptr);
    EXPECT_EQ(static_cast<uint32_t>(GetBitmapFormat(f)), 0xFFFFu);
  }
  EXPECT_EQ(GetColourFormat(kNone), kNoOrder);
  EXPECT_EQ(GetColourFormat(static_cast<SF::Type>(0x200000)), kNoOrder);
  EXPECT_EQ(NearestNonAlphaFormat(SF::RGB32 | SF::BGR32), SF::RGB32 | SF::BGR32);
  EXPECT_EQ(NearestNonAlphaFormat(kNone), kNone);
}

TEST(PixelFormatCatalogue, PredicatesAnswerForSetsOfFormats) {
  EXPECT_TRUE(IsCMYK(SF::MONO8 | SF::CMYKA_40));
  EXPECT_FALSE(IsCMYK(SF::CMYKA_32_8 | SF::MONO8));
  EXPECT_TRUE(HasAlpha(SF::RGB24 | SF::CMYKA_32_8));
  EXPECT_TRUE(HasPalette(SF::BGR24 | SF::RGB2));
  EXPECT_FALSE(IsMONO(SF::RGB8 | SF::BGR64));
}

TEST(PixelFormatCatalogue, NameLookupIgnoresCaseAndRejectsUnknown) {
  EXPECT_EQ(GetFormatFromName("cmyka_32_8"), SF::CMYKA_32_8);
  EXPECT_EQ(GetFormatFromName("Bgr24"), SF::BGR24);
  const char* unknown[] = {"", "RGB", "RGB240", "BGR 24", "MONO8 ", nullptr};
  for (const char* name : unknown) EXPECT_EQ(GetFormatFromName(name), kNone) << (name ? name : "(null)");
}

TEST(PixelFormatCatalogue, IsColourFormatByOrder) {
  struct Row {
    SF::Type format;
    ColourOrder::Type order;
    bool expected;
  };
  const Row rows[] = {
      {SF::RGB8, ColourOrder::Rgb, true},         {SF::RGB8, ColourOrder::Bgr, true},
      {SF::BGR24, ColourOrder::Rgb, false},       {SF::RGB24, ColourOrder::Bgr, false},
      {SF::MONOA16, ColourOrder::MonoA, true},    {SF::MONO8, ColourOrder::MonoA, true},
      {SF::MONOA32, ColourOrder::Mono, true},     {SF::CMYK_32, ColourOrder::Cmyk, true},
      {SF::CMYKA_32_8, ColourOrder::Cmyk, false}, {SF::CMYK_32, ColourOrder::Kymc, false},
      {SF::BGR24, ColourOrder::Invalid, false},   {SF::BGR24, static_cast<ColourOrder::Type>(9), false},
  };
  for (const Row& r : rows)
    EXPECT_EQ(IsColourFormat(r.format, r.order), r.expected) << GetFormatName(r.format) << " order " << r.order;
}

TEST(PixelFormatCatalogue, TypeFromBitsPerPixel) {
  const int bits[] = {-1, 0, 1, 2, 3, 4, 8, 16, 24, 32, 40, 48, 64, 65, 128};
  struct Row {
    ColourOrder::Type order;
    SF::Type expected[15];
  };
  const SF::Type o = kNone;
  // clang-format off
  const Row rows[] = {
    {ColourOrder::Rgb,   {o, o, SF::RGB1, SF::RGB2, o, SF::RGB4, SF::RGB8,  SF::RGB16,   SF::RGB24, SF::RGB32,   o,            SF::RGB48, SF::RGB64, o, o}},
    {ColourOrder::Bgr,   {o, o, SF::RGB1, SF::RGB2, o, SF::RGB4, SF::RGB8,  SF::BGR16,   SF::BGR24, SF::BGR32,   o,            SF::BGR48, SF::BGR64, o, o}},
    {ColourOrder::Cmyk,  {o, o, o,        o,        o, o,        o,         o,           o,         SF::CMYK_32, SF::CMYKA_40, o,         o,         o, o}},
    {ColourOrder::Mono,  {o, o, o,        o,        o, o,        SF::MONO8, SF::MONO16,  o,         o,           o,            o,         o,         o, o}},
    {ColourOrder::MonoA, {o, o, o,        o,        o, o,        SF::MONO8, SF::MONOA16, o,         SF::MONOA32, o,            o,         o,         o, o}},
    {ColourOrder::Kymc,  {o, o, o,        o,        o, o,        o,         o,           o,         o,           o,            o,         o,         o, o}},
    {ColourOrder::Invalid, {o, o, o,      o,        o, o,        o,         o,           o,         o,           o,            o,         o,         o, o}},
  };
  // clang-format on
  for (const Row& r : rows)
    for (size_t i = 0; i < std::size(bits); ++i)
      EXPECT_EQ(GetTypeFromBitsPerPixel(bits[i], r.order), r.expected[i]) << "order " << r.order << " bits " << bits[i];
}

TEST(PixelFormatCatalogue, NearestSupportedFormat) {
  struct Row {
    SF::Type wanted;
    SF::Type acceptable;
    SF::Type expected;
    const char* why;
  };
  // clang-format off
  const Row rows[] = {
    {SF::BGR24, SF::RGB24 | SF::RGB32, SF::RGB24, "order swap at equal depth"},
    {SF::RGB24, SF::BGR32 | SF::BGR16, SF::BGR32, "no family member: BGR search from BGR32"},
    {SF::RGB48, SF::RGB24 | SF::RGB8, SF::RGB24, "nothing deeper: walk back"},
    {SF::RGB24, SF::RGB8 | SF::RGB48, SF::RGB48, "deeper wins over shallower"},
    {SF::MONO8, SF::RGB8 | SF::MONO16, SF::RGB8, "grey goes to a palette first"},
    {SF::MONO8, SF::BGR24, SF::BGR24, "grey with no grey acceptable"},
    {SF::MONOA16, SF::MONO8 | SF::BGR24, SF::BGR24, "alpha would be lost: BGR walk back"},
    {SF::MONOA16, SF::MONO8, static_cast<SF::Type>(0), "alpha would be lost and no BGR"},
    {SF::MONOA32, SF::MONO16 | SF::RGB64, static_cast<SF::Type>(0), "the alpha rescue looks at BGR only"},
    {SF::MONOA16, SF::MONO8 | SF::RGB1 | SF::BGR64, SF::BGR64, "alpha rescue searches deeper first"},
    {SF::MONO16, SF::MONOA32 | SF::MONO8, SF::MONOA32, "grey search deeper first"},
    {SF::MONOA32, SF::MONO16 | SF::MONOA16, SF::MONOA16, "grey search walks back to alpha"},
    {SF::CMYKA_32_8, SF::CMYK_32, SF::CMYK_32, "outside the CMYK mask: cross-family step"},
    {SF::CMYKA_32_8, SF::CMYKA_40, SF::CMYKA_40, "cross-family CMYK search from CMYK_32"},
    {SF::CMYKA_32_8, SF::CMYKA_32_8 | SF::CMYK_32, SF::CMYKA_32_8, "exact match"},
    {SF::CMYK_32, SF::CMYKA_32_8, static_cast<SF::Type>(0), "CMYKA_32_8 never found by search"},
    {SF::CMYK_32, SF::CMYKA_40 | SF::BGR24, SF::CMYKA_40, "own family first"},
    {SF::CMYK_32, SF::MONO16 | SF::MONOA16, SF::MONO16, "cross-family grey search from MONO8"},
    {SF::CMYK_32, SF::RGB24 | SF::CMYKA_32_8, SF::RGB24, "RGB search from RGB32 walks back"},
    {SF::RGB8, SF::BGR24, SF::BGR24, "palette format uses the BGR list"},
    {SF::RGB1, SF::RGB4 | SF::RGB8, SF::RGB4, "palette depth walks deeper"},
    {SF::RGB16, SF::BGR16, SF::BGR16, "RGB to BGR at 16 bits"},
    {SF::BGR16, SF::RGB16 | SF::BGR24, SF::RGB16, "BGR to RGB at 16 bits before family search"},
    {SF::BGR24, SF::RGB48, SF::RGB48, "no BGR acceptable: RGB search from RGB32"},
    {SF::BGR64, SF::RGB64 | SF::BGR48, SF::RGB64, "swap beats a shallower own-family match"},
    {static_cast<SF::Type>(0), SF::BGR24 | SF::RGB24, SF::BGR24, "no format wanted: BGR preferred"},
    {SF::RGB32 | SF::BGR24, SF::BGR24 | SF::RGB8, SF::BGR24, "a set shares its bits"},
  };
  // clang-format on
  for (const Row& r : rows) EXPECT_EQ(NearestSupportedFormat(r.wanted, r.acceptable), r.expected) << r.why;
}

TEST(PixelFormatCatalogue, EveryFormatAcceptsItselfAndNothingGivesNothing) {
  for (SF::Type f : c_allSupportedFormats) {
    EXPECT_EQ(NearestSupportedFormat(f, kNone), kNone) << GetFormatName(f);
    EXPECT_EQ(NearestSupportedFormat(f, f), f) << GetFormatName(f);
    // Acceptable everything: always the wanted format itself.
    EXPECT_EQ(NearestSupportedFormat(f, static_cast<SF::Type>(0x1FFFFF)), f) << GetFormatName(f);
  }
}

TEST(PixelFormatCatalogue, ImageTypeFromIteratorType) {
  const SF::Type expected[] = {kNone,       SF::MONO8,    SF::RGB1,       SF::RGB2,   SF::RGB4,  SF::RGB8,
                               SF::RGB16,   SF::RGB24,    SF::RGB32,      SF::BGR16,  SF::BGR24, SF::BGR32,
                               SF::CMYK_32, SF::CMYKA_40, SF::CMYKA_32_8, SF::RGB48,  SF::BGR48, SF::RGB64,
                               SF::BGR64,   SF::MONO16,   SF::MONOA16,    SF::MONOA32};
  for (int i = 0; i < static_cast<int>(std::size(expected)); ++i)
    EXPECT_EQ(GetImageTypeFromIterator(static_cast<PixelIteratorType>(i)), expected[i]) << i;
  EXPECT_EQ(GetImageTypeFromIterator(static_cast<PixelIteratorType>(22)), kNone);
  EXPECT_EQ(GetImageTypeFromIterator(static_cast<PixelIteratorType>(-1)), kNone);
  EXPECT_EQ(GetImageType(nullptr), kNone);
}

TEST(PixelFormatCatalogue, EnumerationNameTables) {
  const wchar_t* orders[] = {L"Rgb", L"Bgr", L"Cmyk", L"Kymc", L"Mono", L"MonoA", L"Invalid"};
  ASSERT_EQ(EnumNameCount<ColourOrder::Type>(), 7);
  for (int i = 0; i < 7; ++i) {
    EXPECT_STREQ(EnumTraits<ColourOrder::Type>::c_names[i], orders[i]);
    ColourOrder::Type back = ColourOrder::Invalid;
    ASSERT_TRUE(EnumFromName(orders[i], back));
    EXPECT_EQ(back, i);
  }
  EXPECT_STREQ(EnumTraits<ColourOrder::Type>::c_names[7], L"");
  EXPECT_EQ(EnumName(static_cast<ColourOrder::Type>(7)), nullptr);

  ASSERT_EQ(EnumNameCount<BitmapOrigin::Type>(), 2);
  EXPECT_STREQ(EnumName(BitmapOrigin::TopLeft), L"TopLeft");
  EXPECT_STREQ(EnumName(BitmapOrigin::BottomLeft), L"BottomLeft");

  const wchar_t* pixelFormats[] = {L"I8", L"RGB24", L"XRGB32", L"ARGB32",   L"FRGB32", L"CMYK32", L"0RGB32", L"ARGBPM",
                                   L"DV", L"I16",   L"ARGB64", L"ARGB64PM", L"XYUV32", L"AYUV32", L"FYUV32"};
  ASSERT_EQ(EnumNameCount<PixelFormat>(), 15);
  for (int i = 0; i < 15; ++i) EXPECT_STREQ(EnumName(static_cast<PixelFormat>(i)), pixelFormats[i]);
  EXPECT_STREQ(EnumTraits<PixelFormat>::c_names[15], L"");

  ColourOrder::Type order = ColourOrder::Rgb;
  EXPECT_FALSE(EnumFromName(L"rgb", order));  // case matters
  EXPECT_FALSE(EnumFromName(L"", order));
  EXPECT_FALSE(EnumFromName(static_cast<const wchar_t*>(nullptr), order));
  EXPECT_EQ(order, ColourOrder::Rgb);
}

}  // namespace
