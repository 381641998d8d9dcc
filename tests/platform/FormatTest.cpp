#include <kernel/CString.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <utility>

namespace {

template <typename... A>
CString Fmt(const wchar_t* f, A... a) {
  CString s;
  s.Format(f, a...);
  return s;
}

template <typename... A>
CStringA FmtA(const char* f, A... a) {
  CStringA s;
  s.Format(f, a...);
  return s;
}

TEST(CStringFormat, StringConversionsFollowTheFrameworkWidths) {
  // In a wide Format, %s is wide and %S narrow; %hs/%ls pin the width.
  EXPECT_STREQ(Fmt(L"[%s]", L"wide"), L"[wide]");
  EXPECT_STREQ(Fmt(L"[%S]", "narrow"), L"[narrow]");
  EXPECT_STREQ(Fmt(L"[%hs]", "narrow"), L"[narrow]");
  EXPECT_STREQ(Fmt(L"[%ls]", L"wide"), L"[wide]");
  EXPECT_STREQ(Fmt(L"[%ws]", L"wide"), L"[wide]");
  EXPECT_STREQ(Fmt(L"[%hs]", "\xC3\xA9"), L"[\u00E9]");  // UTF-8 decoded
  // ...and the other way round in a narrow Format.
  EXPECT_STREQ(FmtA("[%s]", "narrow"), "[narrow]");
  EXPECT_STREQ(FmtA("[%S]", L"wide \u00E9"), "[wide \xC3\xA9]");
  EXPECT_STREQ(FmtA("[%ls]", L"w"), "[w]");
  EXPECT_STREQ(Fmt(L"%c%C%hc%lc", L'\u00E9', 'b', 'c', L'd'), L"\u00E9bcd");
  EXPECT_STREQ(FmtA("%c%C", 'a', L'\u00E9'), "a\xC3\xA9");
  EXPECT_STREQ(Fmt(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
}

TEST(CStringFormat, WidthPrecisionAndFlagsOnStrings) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"[%6s]", L"[   abc]"},
      {L"[%-6s]", L"[abc   ]"},
      {L"[%.2s]", L"[ab]"},
      {L"[%6.1s]", L"[     a]"},
      {L"[%2s]", L"[abc]"},
      {L"[%.0s]", L"[]"},
      // The framework pads with zeros under the '0' flag, strings included.
      {L"[%05s]", L"[00abc]"},
      {L"[%-05s]", L"[abc  ]"},
  };
  for (const auto& [format, expect] : cases) EXPECT_STREQ(Fmt(format, L"abc"), expect) << format;
  EXPECT_STREQ(Fmt(L"[%*s|%-*s]", 4, L"a", 3, L"b"), L"[   a|b  ]");
  EXPECT_STREQ(Fmt(L"[%*s]", -4, L"a"), L"[a   ]");  // negative width: left-justify
  EXPECT_STREQ(Fmt(L"[%.*s]", 2, L"abc"), L"[ab]");
  EXPECT_STREQ(Fmt(L"[%3c]", L'x'), L"[  x]");
  // The precision bounds what is read: a buffer without a terminator is fine.
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_STREQ(Fmt(L"[%.3hs]", unterminated), L"[abc]");
  EXPECT_STREQ(FmtA("[%.2s]", unterminated), "[ab]");
  // Wide text into a narrow result: the precision counts bytes and never
  // splits a character.
  EXPECT_STREQ(FmtA("[%.3ls]", L"\u00E9\u00E9"), "[\xC3\xA9]");
  EXPECT_STREQ(FmtA("[%.4ls]", L"\u00E9\u00E9"), "[\xC3\xA9\xC3\xA9]");
  EXPECT_STREQ(Fmt(L"[%.2s]", static_cast<const wchar_t*>(nullptr)), L"[(n]");
}

TEST(CStringFormat, IntegersAndSizeModifiers) {
  const int64_t big = -1234567890123456789LL;
  const std::pair<CString, const wchar_t*> cases[] = {
      {Fmt(L"%d %i %u", -5, 7, 4000000000u), L"-5 7 4000000000"},
      {Fmt(L"%x %X %o %#x %#o", 255, 255, 8, 255, 8), L"ff FF 10 0xff 010"},
      {Fmt(L"[%5d|%-5d|%05d|%+d|% d]", 42, 42, 42, 42, 42), L"[   42|42   |00042|+42| 42]"},
      {Fmt(L"[%.3d|%8.3d]", 7, -7), L"[007|    -007]"},
      {Fmt(L"%I64d", big), L"-1234567890123456789"},
      {Fmt(L"%I64u", 18446744073709551615ULL), L"18446744073709551615"},
      {Fmt(L"%I64x", 0x123456789ABCDEF0ULL), L"123456789abcdef0"},
      {Fmt(L"%I64X", 0x123456789ABCDEF0ULL), L"123456789ABCDEF0"},
      {Fmt(L"%lld %llu", big, 1ULL << 63), L"-1234567890123456789 9223372036854775808"},
      {Fmt(L"%I32d %I32u", -1, 0xFFFFFFFFu), L"-1 4294967295"},
      // %ld is 32 bits, as a Windows long.
      {Fmt(L"%ld %lu %lx", static_cast<int32_t>(-9), 0xFFFFFFFFu, 0xABCu), L"-9 4294967295 abc"},
      {Fmt(L"%hd %hu %hx", 70000, 70000, 0x12345), L"4464 4464 2345"},
      {Fmt(L"%zu %Iu", static_cast<size_t>(1) << 40, static_cast<size_t>(3)), L"1099511627776 3"},
      {Fmt(L"%5.2I64d|%-4I64d|", 3LL, 3LL), L"   03|3   |"},
  };
  for (const auto& [got, expect] : cases) EXPECT_STREQ(got, expect);
}

TEST(CStringFormat, FloatingPointInTheCLocaleWhateverTheProcessLocale) {
  const std::pair<CString (*)(), const wchar_t*> cases[] = {
      {[] { return Fmt(L"%f", 1.5); }, L"1.500000"},
      {[] { return Fmt(L"%.2f|%8.3f|%-8.1f|", 3.14159, -2.5, 2.25); }, L"3.14|  -2.500|2.2     |"},
      {[] { return Fmt(L"%e", 12345.678); }, L"1.234568e+04"},
      {[] { return Fmt(L"%E", 0.000125); }, L"1.250000E-04"},
      {[] { return Fmt(L"%g %g %g", 0.0001, 1e20, 100.0); }, L"0.0001 1e+20 100"},
      {[] { return Fmt(L"%+.1f %08.2f", 1.0, -3.5); }, L"+1.0 -0003.50"},
      {[] { return Fmt(L"%.*f", 3, 2.0); }, L"2.000"},
      {[] { return Fmt(L"%#.0f", 2.0); }, L"2."},
  };
  std::string saved = std::setlocale(LC_ALL, nullptr);
  // Locales with a decimal comma are tried where the system has them.
  int tried = 0;
  for (const char* name : {"C", "de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "fr_FR"}) {
    if (!std::setlocale(LC_ALL, name)) continue;
    ++tried;
    for (const auto& [make, expect] : cases) EXPECT_STREQ(make(), expect) << name;
  }
  std::setlocale(LC_ALL, saved.c_str());
  EXPECT_GE(tried, 1);
}

TEST(CStringFormat, PointersPercentAndUnknownConversions) {
  EXPECT_STREQ(Fmt(L"%p", reinterpret_cast<void*>(0xABCDEFu)), L"0000000000ABCDEF");
  EXPECT_STREQ(Fmt(L"[%18p]", reinterpret_cast<void*>(1)), L"[  0000000000000001]");
  EXPECT_STREQ(Fmt(L"100%%"), L"100%");
  EXPECT_STREQ(Fmt(L"%d%%", 5), L"5%");
  // Unknown conversions stay as written and consume nothing.
  EXPECT_STREQ(Fmt(L"%y %d", 3), L"%y 3");
  EXPECT_STREQ(Fmt(L"end %"), L"end %");
}

TEST(CStringFormat, StringObjectsMayBePassedDirectly) {
  const CString wide(L"w\u00E9");
  const CStringA narrow("n");
  CString s;
  s.Format(L"%s|%S|%5s|%-3hs|", wide, narrow, wide, narrow);
  EXPECT_STREQ(s, L"w\u00E9|n|   w\u00E9|n  |");
  CStringA a;
  a.Format("%s+%S", narrow, wide);
  EXPECT_STREQ(a, "n+w\xC3\xA9");
  a.AppendFormat("%d%s", 1, CStringA("!"));
  EXPECT_STREQ(a,
               "n+w\xC3\xA9"
               "1!");
}

TEST(CStringFormat, AppendFormatKeepsTheText) {
  CString s(L"x=");
  s.AppendFormat(L"%d, y=%s", 4, L"five");
  EXPECT_STREQ(s, L"x=4, y=five");
  CString shared = s;
  shared.AppendFormat(L"!");
  EXPECT_STREQ(s, L"x=4, y=five");
  EXPECT_STREQ(shared, L"x=4, y=five!");
  // Format may use its own text as an argument.
  s.Format(L"<%s>", s.GetString());
  EXPECT_STREQ(s, L"<x=4, y=five>");
}

}  // namespace
