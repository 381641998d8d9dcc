// Conversions out of a variant: exact texts, number parsing and the
// saturation rules.
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale.h>

namespace {

constexpr int64_t kMin64 = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax64 = std::numeric_limits<int64_t>::max();

TEST(VariantConvert, TextForms) {
  struct Case {
    CVariant value;
    const wchar_t* text;
  };
  const Case cases[] = {
      {CVariant(POINT{3, -4}), L"3,-4"},
      {CVariant(CPoint(0, 0)), L"0,0"},
      {CVariant(SIZE{640, 480}), L"640,480"},
      {CVariant(CRect(1, 2, 3, 4)), L"1,2,3,4"},
      {CVariant(RECT{-2147483647 - 1, 0, 2147483647, -1}), L"-2147483648,0,2147483647,-1"},
      {CVariant(DBLPOINT{0.1, -2.5}), L"0.1,-2.5"},
      {CVariant(DBLSIZE{1e20, 1.0 / 3}), L"1e+20,0.333333333333333"},
      {CVariant(DBLRECT{0, -0.5, 1e-5, 123456789012345678.0}), L"0,-0.5,1e-05,1.23456789012346e+17"},
      {CVariant(1.5), L"1.5"},
      {CVariant(1e20), L"1e+20"},
      {CVariant(0.1 + 0.2), L"0.3"},
      {CVariant(100.0), L"100"},
      {CVariant(1e15), L"1e+15"},
      {CVariant(123456789012345.0), L"123456789012345"},
      {CVariant(-0.0), L"-0"},
      {CVariant(std::numeric_limits<double>::infinity()), L"inf"},
      {CVariant(-42), L"-42"},
      {CVariant(kMin64), L"-9223372036854775808"},
      {CVariant(std::numeric_limits<uint64_t>::max()), L"18446744073709551615"},
      {CVariant(), L""},
      {CVariant(GUID{0x12345678, 0x9abc, 0xdef0, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}}),
       L"{12345678-9abc-def0-0123-456789abcdef}"},
      {CVariant(MakeCY(15000)), L"1.5"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.GetString(), CString(c.text)) << CStringA(c.text).GetString();
    EXPECT_EQ(c.value.GetStringA(), CStringA(c.text));
  }
}

TEST(VariantConvert, SignedSaturation) {
  struct Case {
    CVariant value;
    int64_t asInt64;
    int asInt;
    short asShort;
    char asChar;
  };
  const Case cases[] = {
      {CVariant(300), 300, 300, 300, 127},
      {CVariant(-300), -300, -300, -300, -128},
      {CVariant(70000), 70000, 70000, 32767, 127},
      {CVariant(-1e300), kMin64, -2147483647 - 1, -32768, -128},
      {CVariant(1e300), kMax64, 2147483647, 32767, 127},
      {CVariant(3.9), 3, 3, 3, 3},
      {CVariant(-3.9), -3, -3, -3, -3},
      {CVariant(std::nan("")), 0, 0, 0, 0},
      // An unsigned value above the signed maximum reads negative.
      {CVariant(uint64_t{1} << 63), kMin64, -2147483647 - 1, -32768, -128},
      {CVariant(L"  42abc"), 42, 42, 42, 42},
      {CVariant(L"-17"), -17, -17, -17, -17},
      {CVariant(L"+5"), 5, 5, 5, 5},
      {CVariant(L"abc"), 0, 0, 0, 0},
      {CVariant(L"3.9"), 3, 3, 3, 3},
      {CVariant(L"99999999999999999999"), kMax64, 2147483647, 32767, 127},
      {CVariant(L"-99999999999999999999"), kMin64, -2147483647 - 1, -32768, -128},
      {CVariant(), 0, 0, 0, 0},
      {CVariant(VariantError::Overflow), 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value.GetStringA().GetString());
    EXPECT_EQ(static_cast<int64_t>(c.value), c.asInt64);
    EXPECT_EQ(static_cast<int>(c.value), c.asInt);
    EXPECT_EQ(static_cast<short>(c.value), c.asShort);
    EXPECT_EQ(static_cast<char>(c.value), c.asChar);
    EXPECT_EQ(static_cast<bool>(c.value), c.asInt64 != 0);
  }
}

TEST(VariantConvert, UnsignedSaturation) {
  struct Case {
    CVariant value;
    uint64_t asUInt64;
    unsigned asUInt;
    unsigned char asByte;
  };
  const Case cases[] = {
      {CVariant(300), 300, 300, 255},
      {CVariant(1e300), UINT64_MAX, UINT32_MAX, 255},
      {CVariant(-1.5), 0, 0, 0},
      {CVariant(255.9), 255, 255, 255},
      // Stored bits are read as unsigned: -1 is the largest value.
      {CVariant(-1), UINT64_MAX, UINT32_MAX, 255},
      // The unsigned reading of text negates after a minus sign, as strtoull does.
      {CVariant(L"-5"), UINT64_MAX - 4, UINT32_MAX, 255},
      {CVariant(L"18446744073709551615"), UINT64_MAX, UINT32_MAX, 255},
      {CVariant(L"99999999999999999999"), UINT64_MAX, UINT32_MAX, 255},
      {CVariant(L" 7 "), 7, 7, 7},
      {CVariant(L"x"), 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value.GetStringA().GetString());
    EXPECT_EQ(static_cast<uint64_t>(c.value), c.asUInt64);
    EXPECT_EQ(static_cast<unsigned>(c.value), c.asUInt);
    EXPECT_EQ(static_cast<unsigned char>(c.value), c.asByte);
  }
}

TEST(VariantConvert, Doubles) {
  EXPECT_EQ(static_cast<double>(CVariant(uint64_t{1} << 63)), 9.2233720368547758e18);
  EXPECT_EQ(static_cast<double>(CVariant(UINT64_MAX)), 18446744073709551616.0);
  EXPECT_EQ(static_cast<double>(CVariant(int64_t{-3})), -3.0);
  EXPECT_EQ(static_cast<float>(CVariant(0.1)), 0.1f);
  struct Case {
    const wchar_t* text;
    double value;
  };
  // 9007199254740993 lies halfway: a correctly rounding reader ties to even.
  const Case cases[] = {
      {L"0.1", 0.1},
      {L"  +1.5", 1.5},
      {L"-2.5e3xyz", -2500.0},
      {L"1.5e", 1.5},
      {L".5", 0.5},
      {L"2.2250738585072014e-308", 2.2250738585072014e-308},
      {L"4.9e-324", 4.9e-324},
      {L"1e400", std::numeric_limits<double>::infinity()},
      {L"-1e400", -std::numeric_limits<double>::infinity()},
      {L"1e-400", 0.0},
      {L"9007199254740993", 9007199254740992.0},
      {L"0.30000000000000004", 0.30000000000000004},
      {L"abc", 0.0},
      {L"--1", 0.0},
      {L"", 0.0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(static_cast<double>(CVariant(c.text)), c.value) << CStringA(c.text).GetString();
  }
  EXPECT_TRUE(std::isnan(static_cast<double>(CVariant(L"nan"))));
}

TEST(VariantConvert, FifteenDigitDoublesRoundTripThroughText) {
  const double values[] = {
      0.1,     -1234.5678,        3.14159265358979,    1e-300, 6.02214076e23, 1.0 / 3.0 * 3.0, 65535.0,
      2.5e-10, 123456789012345.0, -9.87654321098765e99};
  for (double d : values) {
    const CVariant text(CVariant(d).GetString());
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.15g", d);
    EXPECT_EQ(text.GetStringA(), CStringA(buffer));
    EXPECT_EQ(static_cast<double>(text), std::strtod(buffer, nullptr)) << buffer;
  }
}

TEST(VariantConvert, NumberTextIgnoresTheProcessLocale) {
  locale_t comma = newlocale(LC_NUMERIC_MASK, "de_DE.UTF-8", static_cast<locale_t>(nullptr));
  if (!comma) comma = newlocale(LC_NUMERIC_MASK, "fr_FR.UTF-8", static_cast<locale_t>(nullptr));
  if (!comma) GTEST_SKIP() << "no locale with a decimal comma is installed on this machine";
  const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
  const locale_t previous = uselocale(comma);
  std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
  const CString text = CVariant(1.5).GetString();
  const double back = CVariant(L"2.25").GetDouble();
  const CString point = CVariant(DBLPOINT{0.5, -0.25}).GetString();
  uselocale(previous);
  std::setlocale(LC_NUMERIC, saved.c_str());
  freelocale(comma);
  EXPECT_EQ(text, CString(L"1.5"));
  EXPECT_EQ(back, 2.25);
  EXPECT_EQ(point, CString(L"0.5,-0.25"));
}

TEST(VariantConvert, CompoundValuesReadBack) {
  EXPECT_EQ(static_cast<CPoint>(CVariant(CPoint(3, -4))), CPoint(3, -4));
  EXPECT_EQ(static_cast<CSize>(CVariant(CSize(-1, 2))), CSize(-1, 2));
  EXPECT_EQ(static_cast<CRect>(CVariant(CRect(-5, 6, 70, 80))), CRect(-5, 6, 70, 80));
  EXPECT_EQ(static_cast<DBLPOINT>(CVariant(DBLPOINT{0.1, 1e-300})), (DBLPOINT{0.1, 1e-300}));
  EXPECT_EQ(static_cast<DBLSIZE>(CVariant(DBLSIZE{-2.5, 7})), (DBLSIZE{-2.5, 7}));
  EXPECT_EQ(static_cast<DBLRECT>(CVariant(DBLRECT{1, 2, 3, 4.25})), (DBLRECT{1, 2, 3, 4.25}));
  // Blanks around the numbers are accepted; anything else gives zeros.
  EXPECT_EQ(static_cast<CPoint>(CVariant(L" 1 , 2 ")), CPoint(1, 2));
  const wchar_t* bad[] = {L"1", L"1,2,3", L"a,b", L"1;2", L"2147483648,0", L"", L"1,"};
  for (const wchar_t* text : bad) {
    EXPECT_EQ(static_cast<CPoint>(CVariant(text)), CPoint(0, 0)) << CStringA(text).GetString();
  }
  EXPECT_EQ(static_cast<CRect>(CVariant(L"1,2,3")), CRect(0, 0, 0, 0));
  EXPECT_EQ(static_cast<CPoint>(CVariant(5)), CPoint(0, 0));
}

TEST(VariantConvert, Guids) {
  const GUID g{0xdeadbeef, 0x0001, 0xabcd, {0, 1, 2, 3, 4, 5, 6, 0xff}};
  EXPECT_EQ(static_cast<GUID>(CVariant(g)), g);
  GUID parsed{};
  EXPECT_TRUE(GuidFromString(L"{DEADBEEF-0001-ABCD-0001-0203040506FF}", parsed));
  EXPECT_EQ(parsed, g);
  const wchar_t* bad[] = {L"deadbeef-0001-abcd-0001-0203040506ff",    L"{deadbeef-0001-abcd-0001-0203040506f}",
                          L"{deadbeef-0001-abcd-0001-0203040506ff}x", L"{deadbeef_0001-abcd-0001-0203040506ff}",
                          L"{deadbeeg-0001-abcd-0001-0203040506ff}",  L""};
  for (const wchar_t* text : bad) {
    GUID out = g;
    EXPECT_FALSE(GuidFromString(text, out)) << CStringA(text).GetString();
    EXPECT_EQ(out, g);
    EXPECT_EQ(static_cast<GUID>(CVariant(text)), GUID_NULL);
  }
}

}  // namespace
