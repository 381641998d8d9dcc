#pragma once
// COleDateTime and COleDateTimeSpan: dates as days since 30 December 1899
// (the OLE automation DATE), with the framework's status states.
//
// A DATE's fraction is the time of day. Before the base date the integer part
// counts days backwards while the fraction still runs forwards through the
// day: -1.25 is 29 December 1899, 06:00. Comparisons and arithmetic therefore
// go through a linear form and never compare raw negative DATEs.
#include <ctime>

#include <kernel/CString.h>
#include <kernel/CTime.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

using DATE = double;

class COleDateTimeSpan;

class NK_API COleDateTime {
 public:
  enum DateTimeStatus { error = -1, valid = 0, invalid = 1, null = 2 };

  // The range a valid date keeps to: 1 January 100 to 31 December 9999.
  static constexpr DATE c_minDate = -657434.0;
  static constexpr DATE c_maxDate = 2958465.99999999;

  COleDateTime() noexcept : m_dt(0), m_status(valid) {}
  COleDateTime(DATE dt) noexcept;
  COleDateTime(int year, int month, int day, int hour, int minute, int second) noexcept;
  COleDateTime(const SYSTEMTIME& st) noexcept;
  // The framework reads both as local time: the time_t through the time zone,
  // the FILETIME after moving it from UTC into local time.
  COleDateTime(std::time_t t) noexcept;
  COleDateTime(const CTime& t) noexcept;
  COleDateTime(const FILETIME& ft) noexcept;

  static COleDateTime GetCurrentTime() noexcept;

  DateTimeStatus GetStatus() const noexcept { return m_status; }
  void SetStatus(DateTimeStatus status) noexcept { m_status = status; }
  operator DATE() const noexcept { return m_dt; }

  // Each returns 0 on success and 1 (leaving the date invalid) when a field is
  // out of range: years 100-9999, real calendar days, hours 0-23, minutes and
  // seconds 0-59.
  int SetDateTime(int year, int month, int day, int hour, int minute, int second) noexcept;
  int SetDate(int year, int month, int day) noexcept { return SetDateTime(year, month, day, 0, 0, 0); }
  int SetTime(int hour, int minute, int second) noexcept { return SetDateTime(1899, 12, 30, hour, minute, second); }

  // The fields to the nearest second; -1 (AFX_OLE_DATETIME_ERROR) when the
  // date is not valid.
  int GetYear() const noexcept;
  int GetMonth() const noexcept;
  int GetDay() const noexcept;
  int GetHour() const noexcept;
  int GetMinute() const noexcept;
  int GetSecond() const noexcept;
  int GetDayOfWeek() const noexcept;  // 1 = Sunday
  int GetDayOfYear() const noexcept;  // 1 = 1 January

  bool GetAsSystemTime(SYSTEMTIME& st) const noexcept;
  // Local time back to UTC, the inverse of the FILETIME constructor.
  bool GetAsFileTime(FILETIME& ft) const noexcept;
  bool GetAsTime(std::time_t& t) const noexcept;

  // The United Kingdom English form: "dd/MM/yyyy HH:mm:ss"; only the date at
  // midnight, only the time on 30/12/1899 (the zero date). A null date gives
  // the empty text and an invalid one "Invalid DateTime".
  CString Format() const;
  // Reads that form back, and also single-digit fields, '-' or '.' between
  // the date fields, two-digit years (00-29 are 2000-2029), ISO year-first
  // dates, "HH:mm" times and an AM/PM marker. Returns false and leaves the
  // date invalid on failure: with the value 0.0 when the text is not a date
  // at all, -1.0 when its fields are out of range. Empty text gives a null
  // date (and true).
  bool ParseDateTime(const wchar_t* text);

  COleDateTime operator+(const COleDateTimeSpan& span) const noexcept;
  COleDateTime operator-(const COleDateTimeSpan& span) const noexcept;
  COleDateTime& operator+=(const COleDateTimeSpan& span) noexcept { return *this = *this + span; }
  COleDateTime& operator-=(const COleDateTimeSpan& span) noexcept { return *this = *this - span; }
  COleDateTimeSpan operator-(const COleDateTime& other) const noexcept;

  bool operator==(const COleDateTime& o) const noexcept { return m_status == o.m_status && m_dt == o.m_dt; }
  bool operator!=(const COleDateTime& o) const noexcept { return !(*this == o); }
  bool operator<(const COleDateTime& o) const noexcept;
  bool operator>(const COleDateTime& o) const noexcept { return o < *this; }
  bool operator<=(const COleDateTime& o) const noexcept { return !(o < *this); }
  bool operator>=(const COleDateTime& o) const noexcept { return !(*this < o); }

  DATE m_dt;
  DateTimeStatus m_status;
};

class NK_API COleDateTimeSpan {
 public:
  enum DateTimeSpanStatus { valid = 0, invalid = 1, null = 2 };

  COleDateTimeSpan() noexcept : m_span(0), m_status(valid) {}
  COleDateTimeSpan(double days) noexcept : m_span(days), m_status(valid) {}
  COleDateTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept;

  DateTimeSpanStatus GetStatus() const noexcept { return m_status; }
  void SetStatus(DateTimeSpanStatus status) noexcept { m_status = status; }
  void SetDateTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept;
  operator double() const noexcept { return m_span; }

  double GetTotalDays() const noexcept { return m_span; }
  double GetTotalHours() const noexcept { return m_span * 24; }
  double GetTotalMinutes() const noexcept { return m_span * 24 * 60; }
  double GetTotalSeconds() const noexcept { return m_span * 24 * 60 * 60; }
  // The parts of the span rounded to the nearest second; days truncate
  // toward zero and the other parts carry the span's sign.
  LONG GetDays() const noexcept;
  LONG GetHours() const noexcept;
  LONG GetMinutes() const noexcept;
  LONG GetSeconds() const noexcept;

  COleDateTimeSpan operator+(const COleDateTimeSpan& o) const noexcept;
  COleDateTimeSpan operator-(const COleDateTimeSpan& o) const noexcept;
  COleDateTimeSpan operator-() const noexcept;
  COleDateTimeSpan& operator+=(const COleDateTimeSpan& o) noexcept { return *this = *this + o; }
  COleDateTimeSpan& operator-=(const COleDateTimeSpan& o) noexcept { return *this = *this - o; }

  bool operator==(const COleDateTimeSpan& o) const noexcept { return m_status == o.m_status && m_span == o.m_span; }
  bool operator!=(const COleDateTimeSpan& o) const noexcept { return !(*this == o); }
  bool operator<(const COleDateTimeSpan& o) const noexcept { return m_span < o.m_span; }
  bool operator>(const COleDateTimeSpan& o) const noexcept { return m_span > o.m_span; }
  bool operator<=(const COleDateTimeSpan& o) const noexcept { return m_span <= o.m_span; }
  bool operator>=(const COleDateTimeSpan& o) const noexcept { return m_span >= o.m_span; }

  double m_span;
  DateTimeSpanStatus m_status;
};
