#include <kernel/COleDateTime.h>

#include <cmath>
#include <cwctype>

#include "platform/CalendarMath.h"

namespace {

using namespace Kernel::Calendar;

constexpr int kSecondsPerDay = 86400;

// A DATE as a calendar day (counted from the OLE base date) and a second of
// that day, rounded to the nearest second. False outside the valid range.
bool SplitDate(DATE dt, int64_t& day, int& second) {
  if (!(dt >= COleDateTime::c_minDate && dt <= COleDateTime::c_maxDate)) return false;
  const double whole = std::trunc(dt);
  const double fraction = std::fabs(dt - whole);
  day = static_cast<int64_t>(whole);
  second = static_cast<int>(std::llround(fraction * kSecondsPerDay));
  if (second >= kSecondsPerDay) {
    // Rounded up into the next calendar day, which is day + 1 on either side
    // of the base date.
    second -= kSecondsPerDay;
    ++day;
  }
  return true;
}

DATE JoinDate(int64_t day, int second) {
  const double time = static_cast<double>(second) / kSecondsPerDay;
  return day >= 0 ? static_cast<double>(day) + time : static_cast<double>(day) - time;
}

// DATE to a line on which later means greater, and back.
double ToLinear(DATE dt) {
  if (dt >= 0) return dt;
  const double whole = std::trunc(dt);
  return whole - (dt - whole);
}
DATE FromLinear(double x) {
  if (x >= 0) return x;
  const double whole = std::floor(x);
  return whole - (x - whole);
}

bool FieldsValid(int y, int m, int d, int h, int mi, int s) {
  return y >= 100 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= DaysInMonth(y, m) && h >= 0 && h <= 23 &&
         mi >= 0 && mi <= 59 && s >= 0 && s <= 59;
}

DATE DateFromFields(int y, int m, int d, int h, int mi, int s) {
  return JoinDate(DaysFromCivil(y, m, d) + c_oleToUnixDays, h * 3600 + mi * 60 + s);
}

struct Fields {
  int64_t year;
  int month, day, hour, minute, second, weekday, dayOfYear;
};

bool FieldsOf(const COleDateTime& dt, Fields& f) {
  if (dt.GetStatus() != COleDateTime::valid) return false;
  int64_t day;
  int second;
  if (!SplitDate(dt.m_dt, day, second)) return false;
  const int64_t unixDay = day - c_oleToUnixDays;
  CivilFromDays(unixDay, f.year, f.month, f.day);
  f.hour = second / 3600;
  f.minute = second / 60 % 60;
  f.second = second % 60;
  f.weekday = WeekdayFromDays(unixDay);
  f.dayOfYear = static_cast<int>(unixDay - DaysFromCivil(f.year, 1, 1)) + 1;
  return true;
}

}  // namespace

// --- COleDateTime --------------------------------------------------------------

COleDateTime::COleDateTime(DATE dt) noexcept : m_dt(dt), m_status(valid) {
  if (!(dt >= c_minDate && dt <= c_maxDate)) m_status = invalid;
}

COleDateTime::COleDateTime(int year, int month, int day, int hour, int minute, int second) noexcept {
  SetDateTime(year, month, day, hour, minute, second);
}

COleDateTime::COleDateTime(const SYSTEMTIME& st) noexcept {
  SetDateTime(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond);
}

COleDateTime::COleDateTime(std::time_t t) noexcept : m_dt(0), m_status(invalid) {
  std::tm tm{};
  if (localtime_r(&t, &tm)) SetDateTime(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
}

COleDateTime::COleDateTime(const CTime& t) noexcept : COleDateTime(static_cast<std::time_t>(t.GetTime())) {}

COleDateTime::COleDateTime(const FILETIME& ft) noexcept : m_dt(0), m_status(invalid) {
  FILETIME local;
  SYSTEMTIME st;
  if (FileTimeToLocalFileTime(&ft, &local) && FileTimeToSystemTime(&local, &st)) *this = COleDateTime(st);
}

COleDateTime COleDateTime::GetCurrentTime() noexcept { return COleDateTime(std::time(nullptr)); }

int COleDateTime::SetDateTime(int year, int month, int day, int hour, int minute, int second) noexcept {
  if (!FieldsValid(year, month, day, hour, minute, second)) {
    m_dt = 0;
    m_status = invalid;
    return 1;
  }
  m_dt = DateFromFields(year, month, day, hour, minute, second);
  m_status = valid;
  return 0;
}

int COleDateTime::GetYear() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? static_cast<int>(f.year) : -1;
}
int COleDateTime::GetMonth() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.month : -1;
}
int COleDateTime::GetDay() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.day : -1;
}
int COleDateTime::GetHour() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.hour : -1;
}
int COleDateTime::GetMinute() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.minute : -1;
}
int COleDateTime::GetSecond() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.second : -1;
}
int COleDateTime::GetDayOfWeek() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.weekday + 1 : -1;
}
int COleDateTime::GetDayOfYear() const noexcept {
  Fields f;
  return FieldsOf(*this, f) ? f.dayOfYear : -1;
}

bool COleDateTime::GetAsSystemTime(SYSTEMTIME& st) const noexcept {
  Fields f;
  if (!FieldsOf(*this, f)) return false;
  st.wYear = static_cast<WORD>(f.year);
  st.wMonth = static_cast<WORD>(f.month);
  st.wDay = static_cast<WORD>(f.day);
  st.wDayOfWeek = static_cast<WORD>(f.weekday);
  st.wHour = static_cast<WORD>(f.hour);
  st.wMinute = static_cast<WORD>(f.minute);
  st.wSecond = static_cast<WORD>(f.second);
  st.wMilliseconds = 0;
  return true;
}

bool COleDateTime::GetAsFileTime(FILETIME& ft) const noexcept {
  SYSTEMTIME st;
  FILETIME local;
  return GetAsSystemTime(st) && SystemTimeToFileTime(&st, &local) && LocalFileTimeToFileTime(&local, &ft);
}

bool COleDateTime::GetAsTime(std::time_t& t) const noexcept {
  Fields f;
  if (!FieldsOf(*this, f)) return false;
  std::tm tm{};
  tm.tm_year = static_cast<int>(f.year) - 1900;
  tm.tm_mon = f.month - 1;
  tm.tm_mday = f.day;
  tm.tm_hour = f.hour;
  tm.tm_min = f.minute;
  tm.tm_sec = f.second;
  tm.tm_isdst = -1;
  t = std::mktime(&tm);
  return true;
}

CString COleDateTime::Format() const {
  if (m_status == null) return CString();
  int64_t day;
  int second;
  if (m_status != valid || !SplitDate(m_dt, day, second)) return CString(L"Invalid DateTime");
  CString text;
  if (day != 0) {
    int64_t y;
    int m, d;
    CivilFromDays(day - c_oleToUnixDays, y, m, d);
    text.Format(L"%02d/%02d/%04d", d, m, static_cast<int>(y));
    if (second == 0) return text;
    text += L' ';
  }
  text.AppendFormat(L"%02d:%02d:%02d", second / 3600, second / 60 % 60, second % 60);
  return text;
}

namespace {

// A small scanner over the date text.
struct DateScanner {
  const wchar_t* p;

  void SkipBlanks() {
    while (*p == L' ' || *p == L'\t') ++p;
  }
  // Up to nine digits; the count of digits read goes to `digits`.
  bool Number(int& value, int& digits) {
    value = 0;
    digits = 0;
    while (*p >= L'0' && *p <= L'9') {
      if (++digits > 9) return false;
      value = value * 10 + (*p++ - L'0');
    }
    return digits > 0;
  }
  bool Marker(const wchar_t* word) {
    const wchar_t* q = p;
    for (; *word; ++word, ++q) {
      if (std::towupper(static_cast<wint_t>(*q)) != static_cast<wint_t>(*word)) return false;
    }
    p = q;
    return true;
  }
};

enum class ParseResult { ok, mismatch, overflow };

ParseResult ParseUk(const wchar_t* text, DATE& out) {
  DateScanner s{text};
  s.SkipBlanks();
  int a, aDigits;
  if (!s.Number(a, aDigits)) return ParseResult::mismatch;
  int year = 1899, month = 12, day = 30, hour = 0, minute = 0, second = 0;
  bool haveTime = false;
  const wchar_t sep = *s.p;
  if (sep == L'/' || sep == L'-' || sep == L'.') {
    int b, bDigits, c, cDigits;
    ++s.p;
    if (!s.Number(b, bDigits) || *s.p != sep) return ParseResult::mismatch;
    ++s.p;
    if (!s.Number(c, cDigits)) return ParseResult::mismatch;
    if (aDigits >= 3) {
      year = a, month = b, day = c;  // year first, as ISO writes it
    } else {
      day = a, month = b, year = c;
      if (cDigits <= 2) year += year < 30 ? 2000 : 1900;
    }
    const wchar_t* afterDate = s.p;
    s.SkipBlanks();
    if (*s.p == L'T' && s.p == afterDate) ++s.p;
    if (*s.p >= L'0' && *s.p <= L'9') {
      if (s.p == afterDate) return ParseResult::mismatch;
      if (!s.Number(a, aDigits)) return ParseResult::mismatch;
      haveTime = true;
    }
  } else {
    haveTime = true;
  }
  if (haveTime) {
    if (*s.p != L':') return ParseResult::mismatch;
    hour = a;
    int digits;
    ++s.p;
    if (!s.Number(minute, digits)) return ParseResult::mismatch;
    if (*s.p == L':') {
      ++s.p;
      if (!s.Number(second, digits)) return ParseResult::mismatch;
    }
    s.SkipBlanks();
    bool pm = false;
    bool marker = false;
    if (s.Marker(L"AM")) {
      marker = true;
    } else if (s.Marker(L"PM")) {
      marker = pm = true;
    }
    if (marker) {
      if (hour < 1 || hour > 12) return ParseResult::overflow;
      hour = hour % 12 + (pm ? 12 : 0);
    }
  }
  s.SkipBlanks();
  if (*s.p != 0) return ParseResult::mismatch;
  if (!FieldsValid(year, month, day, hour, minute, second)) return ParseResult::overflow;
  out = DateFromFields(year, month, day, hour, minute, second);
  return ParseResult::ok;
}

}  // namespace

bool COleDateTime::ParseDateTime(const wchar_t* text) {
  const wchar_t* p = text ? text : L"";
  while (*p == L' ' || *p == L'\t') ++p;
  if (*p == 0) {
    m_dt = 0;
    m_status = null;
    return true;
  }
  DATE dt = 0;
  switch (ParseUk(p, dt)) {
    case ParseResult::ok:
      m_dt = dt;
      m_status = valid;
      return true;
    case ParseResult::mismatch:
      m_dt = 0.0;
      break;
    case ParseResult::overflow:
      m_dt = -1.0;
      break;
  }
  m_status = invalid;
  return false;
}

COleDateTime COleDateTime::operator+(const COleDateTimeSpan& span) const noexcept {
  if (m_status != valid || span.GetStatus() != COleDateTimeSpan::valid) {
    COleDateTime r;
    r.m_status = (m_status == null || span.GetStatus() == COleDateTimeSpan::null) ? null : invalid;
    return r;
  }
  return COleDateTime(FromLinear(ToLinear(m_dt) + span.m_span));
}

COleDateTime COleDateTime::operator-(const COleDateTimeSpan& span) const noexcept { return *this + (-span); }

COleDateTimeSpan COleDateTime::operator-(const COleDateTime& other) const noexcept {
  COleDateTimeSpan r;
  if (m_status != valid || other.m_status != valid) {
    r.SetStatus((m_status == null || other.m_status == null) ? COleDateTimeSpan::null : COleDateTimeSpan::invalid);
    return r;
  }
  r.m_span = ToLinear(m_dt) - ToLinear(other.m_dt);
  return r;
}

bool COleDateTime::operator<(const COleDateTime& o) const noexcept { return ToLinear(m_dt) < ToLinear(o.m_dt); }

// --- COleDateTimeSpan ------------------------------------------------------------

COleDateTimeSpan::COleDateTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept {
  SetDateTimeSpan(days, hours, minutes, seconds);
}

void COleDateTimeSpan::SetDateTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept {
  m_span = days + (hours + (minutes + seconds / 60.0) / 60.0) / 24.0;
  m_status = valid;
}

namespace {
// The span in whole seconds, rounded to the nearest.
int64_t SpanSeconds(double span) { return std::llround(span * kSecondsPerDay); }
}  // namespace

LONG COleDateTimeSpan::GetDays() const noexcept { return static_cast<LONG>(SpanSeconds(m_span) / kSecondsPerDay); }
LONG COleDateTimeSpan::GetHours() const noexcept {
  return static_cast<LONG>(SpanSeconds(m_span) % kSecondsPerDay / 3600);
}
LONG COleDateTimeSpan::GetMinutes() const noexcept { return static_cast<LONG>(SpanSeconds(m_span) % 3600 / 60); }
LONG COleDateTimeSpan::GetSeconds() const noexcept { return static_cast<LONG>(SpanSeconds(m_span) % 60); }

COleDateTimeSpan COleDateTimeSpan::operator+(const COleDateTimeSpan& o) const noexcept {
  COleDateTimeSpan r(m_span + o.m_span);
  if (m_status != valid || o.m_status != valid) {
    r.m_status = (m_status == null || o.m_status == null) ? null : invalid;
  }
  return r;
}

COleDateTimeSpan COleDateTimeSpan::operator-(const COleDateTimeSpan& o) const noexcept { return *this + (-o); }

COleDateTimeSpan COleDateTimeSpan::operator-() const noexcept {
  COleDateTimeSpan r(-m_span);
  r.m_status = m_status;
  return r;
}
