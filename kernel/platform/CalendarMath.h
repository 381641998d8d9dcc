#pragma once
// Proleptic Gregorian day arithmetic shared by the date and time classes.
// Day numbers count from 1 January 1970; the algorithms are exact for every
// 64-bit year the callers can reach.
#include <cstdint>

namespace Kernel::Calendar {

constexpr bool IsLeap(int64_t y) noexcept { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

constexpr int DaysInMonth(int64_t y, int m) noexcept {
  constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : days[m - 1];
}

constexpr int64_t DaysFromCivil(int64_t y, int m, int d) noexcept {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

constexpr void CivilFromDays(int64_t z, int64_t& y, int& m, int& d) noexcept {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = yoe + era * 400 + (m <= 2);
}

// 0 = Sunday.
constexpr int WeekdayFromDays(int64_t z) noexcept { return static_cast<int>((z % 7 + 11) % 7); }

// Days from 30 December 1899 (the OLE base date) to 1 January 1970.
constexpr int64_t c_oleToUnixDays = 25569;
// Seconds from 1 January 1601 (the FILETIME base) to 1 January 1970.
constexpr int64_t c_fileTimeToUnixSeconds = 11644473600LL;

static_assert(DaysFromCivil(1899, 12, 30) == -c_oleToUnixDays);
static_assert(DaysFromCivil(1601, 1, 1) * 86400 == -c_fileTimeToUnixSeconds);

}  // namespace Kernel::Calendar
