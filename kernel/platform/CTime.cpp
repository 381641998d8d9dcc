#include <kernel/CTime.h>

#include <cerrno>
#include <ctime>

#include "platform/CalendarMath.h"

namespace {

using namespace Kernel::Calendar;

constexpr int64_t kTicksPerSecond = 10000000;
// FILETIME reaches to the year 30827; SYSTEMTIME's year is a WORD.
constexpr int kMaxSystemYear = 30827;

// The local time zone's offset from UTC, in seconds, at a UTC instant.
bool LocalOffsetAt(int64_t utcSeconds, long& offset) {
  const std::time_t t = static_cast<std::time_t>(utcSeconds);
  std::tm tm{};
  if (!localtime_r(&t, &tm)) return false;
  offset = tm.tm_gmtoff;
  return true;
}

}  // namespace

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* st) {
  if (!fileTime || !st) return FALSE;
  const uint64_t ticks = FileTimeTicks(*fileTime);
  if (ticks > 0x7FFFFFFFFFFFFFFFull) return FALSE;
  const int64_t seconds = static_cast<int64_t>(ticks / kTicksPerSecond);
  const int64_t days = seconds / 86400 - c_fileTimeToUnixSeconds / 86400;
  const int64_t rest = seconds % 86400;
  int64_t y;
  int m, d;
  CivilFromDays(days, y, m, d);
  if (y > kMaxSystemYear) return FALSE;
  st->wYear = static_cast<WORD>(y);
  st->wMonth = static_cast<WORD>(m);
  st->wDay = static_cast<WORD>(d);
  st->wDayOfWeek = static_cast<WORD>(WeekdayFromDays(days));
  st->wHour = static_cast<WORD>(rest / 3600);
  st->wMinute = static_cast<WORD>(rest / 60 % 60);
  st->wSecond = static_cast<WORD>(rest % 60);
  st->wMilliseconds = static_cast<WORD>(ticks % kTicksPerSecond / 10000);
  return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* st, FILETIME* fileTime) {
  if (!st || !fileTime) return FALSE;
  if (st->wYear < 1601 || st->wYear > kMaxSystemYear || st->wMonth < 1 || st->wMonth > 12 || st->wDay < 1 ||
      st->wDay > DaysInMonth(st->wYear, st->wMonth) || st->wHour > 23 || st->wMinute > 59 || st->wSecond > 59 ||
      st->wMilliseconds > 999) {
    return FALSE;
  }
  const int64_t days = DaysFromCivil(st->wYear, st->wMonth, st->wDay) + c_fileTimeToUnixSeconds / 86400;
  const int64_t seconds = days * 86400 + st->wHour * 3600 + st->wMinute * 60 + st->wSecond;
  *fileTime = MakeFileTime(static_cast<uint64_t>(seconds * kTicksPerSecond + st->wMilliseconds * 10000LL));
  return TRUE;
}

BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local) {
  if (!utc || !local) return FALSE;
  const uint64_t ticks = FileTimeTicks(*utc);
  long offset = 0;
  if (!LocalOffsetAt(static_cast<int64_t>(ticks / kTicksPerSecond) - c_fileTimeToUnixSeconds, offset)) return FALSE;
  const int64_t result = static_cast<int64_t>(ticks) + offset * kTicksPerSecond;
  if (result < 0) return FALSE;
  *local = MakeFileTime(static_cast<uint64_t>(result));
  return TRUE;
}

BOOL LocalFileTimeToFileTime(const FILETIME* local, FILETIME* utc) {
  if (!local || !utc) return FALSE;
  const uint64_t ticks = FileTimeTicks(*local);
  const int64_t localSeconds = static_cast<int64_t>(ticks / kTicksPerSecond) - c_fileTimeToUnixSeconds;
  // The offset depends on the UTC instant we are looking for: guess with the
  // offset at the local reading, then correct once with the offset there.
  long offset = 0;
  if (!LocalOffsetAt(localSeconds, offset)) return FALSE;
  if (!LocalOffsetAt(localSeconds - offset, offset)) return FALSE;
  const int64_t result = static_cast<int64_t>(ticks) - offset * kTicksPerSecond;
  if (result < 0) return FALSE;
  *utc = MakeFileTime(static_cast<uint64_t>(result));
  return TRUE;
}

// --- CTime -------------------------------------------------------------------

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int dst) noexcept : m_time(-1) {
  std::tm tm{};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  tm.tm_isdst = dst < 0 ? -1 : (dst > 0 ? 1 : 0);
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59) {
    return;
  }
  errno = 0;
  const std::time_t t = std::mktime(&tm);
  if (t == static_cast<std::time_t>(-1) && errno != 0) return;
  m_time = t;
}

CTime::CTime(const FILETIME& ft, int) noexcept
    : m_time(static_cast<int64_t>(FileTimeTicks(ft) / kTicksPerSecond) - c_fileTimeToUnixSeconds) {}

CTime::CTime(const SYSTEMTIME& st, int dst) noexcept
    : CTime(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, dst) {}

CTime CTime::GetCurrentTime() noexcept { return CTime(static_cast<int64_t>(std::time(nullptr))); }

BOOL CTime::IsValidFILETIME(const FILETIME& ft) noexcept {
  SYSTEMTIME st;
  return FileTimeToSystemTime(&ft, &st);
}

bool CTime::GetLocalTm(std::tm* out) const noexcept {
  const std::time_t t = static_cast<std::time_t>(m_time);
  return out && localtime_r(&t, out) != nullptr;
}

bool CTime::GetGmtTm(std::tm* out) const noexcept {
  const std::time_t t = static_cast<std::time_t>(m_time);
  return out && gmtime_r(&t, out) != nullptr;
}

BOOL CTime::GetAsSystemTime(SYSTEMTIME& st) const noexcept {
  std::tm tm{};
  if (!GetLocalTm(&tm) || tm.tm_year + 1900 < 1601 || tm.tm_year + 1900 > kMaxSystemYear) return FALSE;
  st.wYear = static_cast<WORD>(tm.tm_year + 1900);
  st.wMonth = static_cast<WORD>(tm.tm_mon + 1);
  st.wDay = static_cast<WORD>(tm.tm_mday);
  st.wDayOfWeek = static_cast<WORD>(tm.tm_wday);
  st.wHour = static_cast<WORD>(tm.tm_hour);
  st.wMinute = static_cast<WORD>(tm.tm_min);
  st.wSecond = static_cast<WORD>(tm.tm_sec);
  st.wMilliseconds = 0;
  return TRUE;
}

namespace {
int LocalField(const CTime& t, int std::tm::*field, int bias) {
  std::tm tm{};
  return t.GetLocalTm(&tm) ? tm.*field + bias : -1;
}
}  // namespace

int CTime::GetYear() const noexcept { return LocalField(*this, &std::tm::tm_year, 1900); }
int CTime::GetMonth() const noexcept { return LocalField(*this, &std::tm::tm_mon, 1); }
int CTime::GetDay() const noexcept { return LocalField(*this, &std::tm::tm_mday, 0); }
int CTime::GetHour() const noexcept { return LocalField(*this, &std::tm::tm_hour, 0); }
int CTime::GetMinute() const noexcept { return LocalField(*this, &std::tm::tm_min, 0); }
int CTime::GetSecond() const noexcept { return LocalField(*this, &std::tm::tm_sec, 0); }
int CTime::GetDayOfWeek() const noexcept { return LocalField(*this, &std::tm::tm_wday, 1); }
