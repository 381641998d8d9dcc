#pragma once
// Calendar records and the seconds-based time of the framework:
// SYSTEMTIME (broken-down date and time), FILETIME (100-nanosecond ticks
// since 1 January 1601, UTC), CTime (seconds since 1970, UTC) and CTimeSpan.
// Conversions to and from broken-down time go through the local time zone,
// as the framework's do.
#include <cstdint>
#include <compare>
#include <ctime>

#include <kernel/Export.h>
#include <kernel/WinTypes.h>

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;      // 1-12
  WORD wDayOfWeek;  // 0 = Sunday
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

inline uint64_t FileTimeTicks(const FILETIME& ft) noexcept {
  return (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}
inline FILETIME MakeFileTime(uint64_t ticks) noexcept {
  return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}
inline bool operator==(const FILETIME& a, const FILETIME& b) noexcept { return FileTimeTicks(a) == FileTimeTicks(b); }
inline bool operator!=(const FILETIME& a, const FILETIME& b) noexcept { return !(a == b); }

// The Windows conversions. Each returns FALSE for an out-of-range input and
// then leaves the output alone. Years 1601 to 30827.
NK_API BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
NK_API BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);
NK_API BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local);
NK_API BOOL LocalFileTimeToFileTime(const FILETIME* local, FILETIME* utc);

class NK_API CTimeSpan {
 public:
  constexpr CTimeSpan() noexcept : m_span(0) {}
  constexpr explicit CTimeSpan(int64_t seconds) noexcept : m_span(seconds) {}
  constexpr CTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept
      : m_span(((static_cast<int64_t>(days) * 24 + hours) * 60 + minutes) * 60 + seconds) {}

  constexpr int64_t GetTimeSpan() const noexcept { return m_span; }
  constexpr int64_t GetDays() const noexcept { return m_span / 86400; }
  constexpr int64_t GetTotalHours() const noexcept { return m_span / 3600; }
  constexpr int64_t GetTotalMinutes() const noexcept { return m_span / 60; }
  constexpr int64_t GetTotalSeconds() const noexcept { return m_span; }
  constexpr LONG GetHours() const noexcept { return static_cast<LONG>(GetTotalHours() - GetDays() * 24); }
  constexpr LONG GetMinutes() const noexcept { return static_cast<LONG>(GetTotalMinutes() - GetTotalHours() * 60); }
  constexpr LONG GetSeconds() const noexcept { return static_cast<LONG>(m_span - GetTotalMinutes() * 60); }

  constexpr CTimeSpan operator+(CTimeSpan o) const noexcept { return CTimeSpan(m_span + o.m_span); }
  constexpr CTimeSpan operator-(CTimeSpan o) const noexcept { return CTimeSpan(m_span - o.m_span); }
  constexpr auto operator<=>(const CTimeSpan&) const noexcept = default;

 private:
  int64_t m_span;
};

class NK_API CTime {
 public:
  constexpr CTime() noexcept : m_time(0) {}
  constexpr CTime(int64_t time) noexcept : m_time(time) {}
  // A local date and time; dst < 0 lets the library decide whether daylight
  // saving applies. Out-of-range fields give the time -1.
  CTime(int year, int month, int day, int hour, int minute, int second, int dst = -1) noexcept;
  // FILETIME and SYSTEMTIME as the framework takes them: the FILETIME is UTC,
  // the SYSTEMTIME local time.
  explicit CTime(const FILETIME& fileTime, int dst = -1) noexcept;
  explicit CTime(const SYSTEMTIME& systemTime, int dst = -1) noexcept;

  static CTime GetCurrentTime() noexcept;
  static BOOL IsValidFILETIME(const FILETIME& fileTime) noexcept;

  constexpr int64_t GetTime() const noexcept { return m_time; }
  // Broken-down local time; FALSE when the time cannot be represented.
  bool GetLocalTm(std::tm* out) const noexcept;
  bool GetGmtTm(std::tm* out) const noexcept;
  BOOL GetAsSystemTime(SYSTEMTIME& out) const noexcept;
  int GetYear() const noexcept;
  int GetMonth() const noexcept;
  int GetDay() const noexcept;
  int GetHour() const noexcept;
  int GetMinute() const noexcept;
  int GetSecond() const noexcept;
  int GetDayOfWeek() const noexcept;  // 1 = Sunday

  constexpr CTime operator+(CTimeSpan s) const noexcept { return CTime(m_time + s.GetTimeSpan()); }
  constexpr CTime operator-(CTimeSpan s) const noexcept { return CTime(m_time - s.GetTimeSpan()); }
  constexpr CTimeSpan operator-(CTime o) const noexcept { return CTimeSpan(m_time - o.m_time); }
  CTime& operator+=(CTimeSpan s) noexcept { return *this = *this + s; }
  CTime& operator-=(CTimeSpan s) noexcept { return *this = *this - s; }
  constexpr auto operator<=>(const CTime&) const noexcept = default;

 private:
  int64_t m_time;
};
