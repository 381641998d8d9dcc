// Dates, spans, times and currency: the platform value types and their
// variant text forms.
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace {

// Sets the process time zone for the holder's lifetime.
struct TimeZone {
  std::optional<std::string> old = std::getenv("TZ") ? std::optional<std::string>(std::getenv("TZ")) : std::nullopt;
  explicit TimeZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZone() {
    old ? setenv("TZ", old->c_str(), 1) : unsetenv("TZ");
    tzset();
  }
};

TEST(OleDateTime, DaysSinceTheBaseDate) {
  struct Case {
    int y, m, d, h, mi, s;
    double dt;
  };
  const Case cases[] = {
      {1899, 12, 30, 0, 0, 0, 0.0},    {1899, 12, 31, 0, 0, 0, 1.0},       {1900, 1, 1, 0, 0, 0, 2.0},
      {1899, 12, 29, 6, 0, 0, -1.25},  {1899, 12, 30, 12, 0, 0, 0.5},      {2000, 1, 1, 0, 0, 0, 36526.0},
      {100, 1, 1, 0, 0, 0, -657434.0}, {9999, 12, 31, 0, 0, 0, 2958465.0}, {1800, 1, 1, 18, 0, 0, -36522.75},
  };
  for (const Case& c : cases) {
    const COleDateTime dt(c.y, c.m, c.d, c.h, c.mi, c.s);
    EXPECT_EQ(dt.GetStatus(), COleDateTime::valid);
    EXPECT_DOUBLE_EQ(dt.m_dt, c.dt) << c.y << "-" << c.m << "-" << c.d;
    EXPECT_EQ(dt.GetYear(), c.y);
    EXPECT_EQ(dt.GetMonth(), c.m);
    EXPECT_EQ(dt.GetDay(), c.d);
    EXPECT_EQ(dt.GetHour(), c.h);
  }
  EXPECT_EQ(COleDateTime(2024, 2, 29, 0, 0, 0).GetDayOfWeek(), 5);  // a Thursday
  EXPECT_EQ(COleDateTime(2024, 12, 31, 0, 0, 0).GetDayOfYear(), 366);
}

TEST(OleDateTime, OutOfRangeFieldsAreInvalid) {
  struct Case {
    int y, m, d, h, mi, s;
  };
  const Case cases[] = {{2023, 2, 29, 0, 0, 0}, {99, 1, 1, 0, 0, 0},    {10000, 1, 1, 0, 0, 0}, {2000, 13, 1, 0, 0, 0},
                        {2000, 1, 0, 0, 0, 0},  {2000, 1, 1, 24, 0, 0}, {2000, 1, 1, 0, 60, 0}, {2000, 1, 1, 0, 0, 60}};
  for (const Case& c : cases) {
    COleDateTime dt;
    EXPECT_EQ(dt.SetDateTime(c.y, c.m, c.d, c.h, c.mi, c.s), 1);
    EXPECT_EQ(dt.GetStatus(), COleDateTime::invalid);
    EXPECT_EQ(dt.GetYear(), -1);
  }
  EXPECT_EQ(COleDateTime(3e6).GetStatus(), COleDateTime::invalid);
}

TEST(OleDateTime, ArithmeticAndOrderAcrossTheBaseDate) {
  const COleDateTime before(1899, 12, 29, 6, 0, 0);  // -1.25
  const COleDateTime later(1899, 12, 29, 12, 0, 0);  // -1.5, yet later in time
  EXPECT_LT(before, later);
  EXPECT_DOUBLE_EQ((later - before).GetTotalHours(), 6.0);
  const COleDateTime next = before + COleDateTimeSpan(1.5);  // to 30/12/1899 18:00
  EXPECT_DOUBLE_EQ(next.m_dt, 0.75);
  EXPECT_EQ((next - COleDateTimeSpan(0, 36, 0, 0)), before);
  const COleDateTimeSpan span(1, 2, 3, 4);
  EXPECT_EQ(span.GetDays(), 1);
  EXPECT_EQ(span.GetHours(), 2);
  EXPECT_EQ(span.GetMinutes(), 3);
  EXPECT_EQ(span.GetSeconds(), 4);
  EXPECT_EQ((-span).GetHours(), -2);
  COleDateTime invalid;
  invalid.SetStatus(COleDateTime::invalid);
  EXPECT_EQ((invalid + span).GetStatus(), COleDateTime::invalid);
}

TEST(OleDateTime, UnitedKingdomText) {
  struct Case {
    COleDateTime dt;
    const wchar_t* text;
  };
  const Case cases[] = {
      {COleDateTime(2024, 2, 29, 13, 5, 9), L"29/02/2024 13:05:09"},
      {COleDateTime(2024, 2, 29, 0, 0, 0), L"29/02/2024"},
      {COleDateTime(1899, 12, 30, 7, 8, 9), L"07:08:09"},
      {COleDateTime(0.0), L"00:00:00"},
      {COleDateTime(1899, 12, 29, 6, 0, 0), L"29/12/1899 06:00:00"},
      {COleDateTime(100, 1, 1, 0, 0, 0), L"01/01/0100"},
      {COleDateTime(2.0 + 0.4999999 / 86400), L"01/01/1900"},  // rounds to the nearest second
      {COleDateTime(2.0 - 0.1 / 86400), L"01/01/1900"},        // ...into the next day
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.dt.Format(), CString(c.text));
    const CVariant v(c.dt);
    EXPECT_EQ(v.GetString(), CString(c.text));
    const COleDateTime back = v;
    EXPECT_EQ(back.GetStatus(), COleDateTime::valid);
    EXPECT_EQ(back.Format(), CString(c.text));
  }
  COleDateTime invalid;
  invalid.SetStatus(COleDateTime::invalid);
  EXPECT_EQ(CVariant(invalid).GetString(), CString(L"Invalid DateTime"));
  COleDateTime null;
  null.SetStatus(COleDateTime::null);
  EXPECT_TRUE(CVariant(null).IsEmpty());
  EXPECT_EQ(static_cast<COleDateTime>(CVariant()).GetStatus(), COleDateTime::null);
}

TEST(OleDateTime, Parsing) {
  struct Case {
    const wchar_t* text;
    bool ok;
    const wchar_t* formatted;  // when ok
    double failValue;          // when not
  };
  const Case cases[] = {
      {L"01/02/2003", true, L"01/02/2003", 0},
      {L"1/2/03", true, L"01/02/2003", 0},
      {L"1/2/30", true, L"01/02/1930", 0},
      {L"1-2-2003 4:05", true, L"01/02/2003 04:05:00", 0},
      {L"2003-02-01 04:05:06", true, L"01/02/2003 04:05:06", 0},
      {L"  29/02/2024   13:05:09  ", true, L"29/02/2024 13:05:09", 0},
      {L"12:30:00 PM", true, L"12:30:00", 0},
      {L"12:30 am", true, L"00:30:00", 0},
      {L"30/12/1899", true, L"00:00:00", 0},
      {L"31/02/2020", false, nullptr, -1.0},
      {L"01/13/2020", false, nullptr, -1.0},
      {L"25:00", false, nullptr, -1.0},
      {L"13:00 PM", false, nullptr, -1.0},
      {L"1/1/99999", false, nullptr, -1.0},
      {L"hello", false, nullptr, 0.0},
      {L"1/2", false, nullptr, 0.0},
      {L"01/02/2003 x", false, nullptr, 0.0},
      {L"01/02-2003", false, nullptr, 0.0},
  };
  for (const Case& c : cases) {
    COleDateTime dt;
    EXPECT_EQ(dt.ParseDateTime(c.text), c.ok) << CStringA(c.text).GetString();
    if (c.ok) {
      EXPECT_EQ(dt.GetStatus(), COleDateTime::valid);
      EXPECT_EQ(dt.Format(), CString(c.formatted)) << CStringA(c.text).GetString();
    } else {
      EXPECT_EQ(dt.GetStatus(), COleDateTime::invalid);
      EXPECT_EQ(dt.m_dt, c.failValue) << CStringA(c.text).GetString();
      const COleDateTime viaVariant = CVariant(c.text);
      EXPECT_EQ(viaVariant.m_dt, c.failValue);
    }
  }
  COleDateTime empty;
  EXPECT_TRUE(empty.ParseDateTime(L"  "));
  EXPECT_EQ(empty.GetStatus(), COleDateTime::null);
}

TEST(OleDateTimeSpan, VariantForms) {
  const CVariant valid(COleDateTimeSpan(1.5));
  EXPECT_TRUE(valid.IsDouble());
  EXPECT_EQ(valid.GetDouble(), 1.5);
  COleDateTimeSpan invalid;
  invalid.SetStatus(COleDateTimeSpan::invalid);
  EXPECT_EQ(CVariant(invalid).GetString(), CString(L"Invalid"));
  COleDateTimeSpan null;
  null.SetStatus(COleDateTimeSpan::null);
  EXPECT_TRUE(CVariant(null).IsEmpty());

  EXPECT_EQ(static_cast<COleDateTimeSpan>(valid), COleDateTimeSpan(1.5));
  EXPECT_EQ(static_cast<COleDateTimeSpan>(CVariant(invalid)).GetStatus(), COleDateTimeSpan::invalid);
  EXPECT_EQ(static_cast<COleDateTimeSpan>(CVariant()).GetStatus(), COleDateTimeSpan::null);
}

TEST(FileTimeAndCTime, ThroughTheLocalTimeZone) {
  TimeZone utc("UTC");
  // 10^9 seconds after 1970: 09/09/2001 01:46:40 UTC.
  const CTime t(int64_t{1000000000});
  const FILETIME ft = MakeFileTime((1000000000ull + 11644473600ull) * 10000000ull);
  EXPECT_EQ(CVariant(t).GetString(), CString(L"09/09/2001 01:46:40"));
  EXPECT_EQ(CVariant(ft).GetString(), CString(L"09/09/2001 01:46:40"));
  EXPECT_EQ(static_cast<CTime>(CVariant(t)), t);
  EXPECT_EQ(static_cast<FILETIME>(CVariant(ft)), ft);
  EXPECT_EQ(CTime(ft), t);
  {
    TimeZone london("GMT0BST,M3.5.0/1,M10.5.0");
    // Summer: local time is an hour ahead of UTC.
    EXPECT_EQ(CVariant(t).GetString(), CString(L"09/09/2001 02:46:40"));
    EXPECT_EQ(static_cast<CTime>(CVariant(t)), t);
    EXPECT_EQ(static_cast<FILETIME>(CVariant(ft)), ft);
    EXPECT_EQ(t.GetHour(), 2);
  }
  SYSTEMTIME st{};
  ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
  EXPECT_EQ(st.wYear, 2001);
  EXPECT_EQ(st.wMonth, 9);
  EXPECT_EQ(st.wDay, 9);
  EXPECT_EQ(st.wDayOfWeek, 0);  // a Sunday
  EXPECT_EQ(st.wHour, 1);
  FILETIME back{};
  ASSERT_TRUE(SystemTimeToFileTime(&st, &back));
  EXPECT_EQ(back, ft);
  SYSTEMTIME bad = st;
  bad.wMonth = 13;
  EXPECT_FALSE(SystemTimeToFileTime(&bad, &back));
  EXPECT_EQ(CTime(2001, 9, 9, 1, 46, 40).GetTime(), 1000000000);
}

// Parsing, and for canonical texts the form a currency value takes in a variant.
TEST(Currency, TextFormsAndParsing) {
  struct Case {
    const wchar_t* text;
    bool ok;
    int64_t units;
    bool canonical;  // CVariant(units) prints exactly this text
  };
  const Case cases[] = {
      {L"1.5", true, 15000, true},
      {L"7", true, 70000, true},
      {L"-0.0001", true, -1, true},
      {L"0", true, 0, true},
      {L"1234.5678", true, 12345678, true},
      {L"922337203685477.5807", true, INT64_MAX, true},
      {L"-922337203685477.5808", true, INT64_MIN, true},
      {L"\u00a31,234.56789", true, 12345679, false},
      {L"1.00005", true, 10000, false},  // half to even
      {L"1.00015", true, 10002, false},
      {L"1.000051", true, 10001, false},
      {L" -2.5 ", true, -25000, false},
      {L"-\u00a32.5", true, -25000, false},
      {L"\u00a3-2.5", true, -25000, false},
      {L".5", true, 5000, false},
      {L"922337203685477.5808", false, 0, false},
      {L"abc", false, 0, false},
      {L"1.2.3", false, 0, false},
      {L"", false, 0, false},
      {L",5", false, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(CStringA(c.text).GetString());
    CY cy = MakeCY(42);
    EXPECT_EQ(CurrencyFromString(c.text, cy), c.ok);
    EXPECT_EQ(cy.int64, c.ok ? c.units : 42);
    if (!c.canonical) continue;
    const CVariant v(MakeCY(c.units));
    EXPECT_EQ(v.GetString(), CString(c.text));
    EXPECT_EQ(static_cast<CY>(v).int64, c.units);
  }
  // Numbers convert by value; unreadable text gives zero.
  EXPECT_EQ(static_cast<CY>(CVariant(2)).int64, 20000);
  EXPECT_EQ(static_cast<CY>(CVariant(0.00005)).int64, 1);
  EXPECT_EQ(static_cast<CY>(CVariant(1e300)).int64, INT64_MAX);
  EXPECT_EQ(static_cast<CY>(CVariant(L"x")).int64, 0);
}

}  // namespace
