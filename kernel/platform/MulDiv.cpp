#include <kernel/WinTypes.h>

#include <climits>

int MulDiv(int number, int numerator, int denominator) {
  if (denominator == 0) return -1;
  int64_t product = static_cast<int64_t>(number) * numerator;
  // Round half away from zero: add half the divisor's magnitude in the
  // direction of the result's sign before truncating.
  int64_t d = denominator;
  int64_t half = (d < 0 ? -d : d) / 2;
  bool negative = (product < 0) != (d < 0);
  int64_t mag = (product < 0 ? -product : product) + half;
  int64_t q = mag / (d < 0 ? -d : d);
  int64_t result = negative ? -q : q;
  if (result > INT_MAX || result < INT_MIN) return -1;
  return static_cast<int>(result);
}
