#include "persist/VariantText.h"

#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>

namespace Kernel::VariantText {

namespace {

// The "C" locale object for the rare strtod fallback; never the process one.
locale_t CLocale() {
  static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return c;
}

// from_chars does not say which way a number was out of range; strtod does.
double OutOfRange(const char* first, const char* last) {
  const std::string copy(first, last);
  return strtod_l(copy.c_str(), nullptr, CLocale());
}

}  // namespace

int64_t ReadInt64Prefix(std::string_view text) {
  const char* p = text.data();
  const char* end = p + text.size();
  while (p != end && IsBlank(*p)) ++p;
  bool negative = false;
  if (p != end && (*p == '-' || *p == '+')) negative = *p++ == '-';
  uint64_t magnitude = 0;
  bool overflow = false;
  const uint64_t limit = negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1;
  for (; p != end && *p >= '0' && *p <= '9'; ++p) {
    const unsigned d = static_cast<unsigned>(*p - '0');
    if (magnitude > (limit - d) / 10) {
      overflow = true;
    } else {
      magnitude = magnitude * 10 + d;
    }
  }
  if (overflow) return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
  return negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
}

uint64_t ReadUInt64Prefix(std::string_view text) {
  const char* p = text.data();
  const char* end = p + text.size();
  while (p != end && IsBlank(*p)) ++p;
  bool negative = false;
  if (p != end && (*p == '-' || *p == '+')) negative = *p++ == '-';
  uint64_t value = 0;
  bool overflow = false;
  for (; p != end && *p >= '0' && *p <= '9'; ++p) {
    const unsigned d = static_cast<unsigned>(*p - '0');
    if (value > (std::numeric_limits<uint64_t>::max() - d) / 10) {
      overflow = true;
    } else {
      value = value * 10 + d;
    }
  }
  if (overflow) return std::numeric_limits<uint64_t>::max();
  return negative ? 0 - value : value;
}

double ReadDoublePrefix(std::string_view text) {
  const char* p = text.data();
  const char* end = p + text.size();
  while (p != end && IsBlank(*p)) ++p;
  bool negative = false;
  if (p != end && (*p == '+' || *p == '-')) {
    negative = *p == '-';
    ++p;
    // from_chars takes its own minus sign only; a second sign is not a number.
    if (p != end && (*p == '+' || *p == '-')) return 0.0;
  }
  double value = 0.0;
  const auto r = std::from_chars(p, end, value, std::chars_format::general);
  if (r.ec == std::errc::invalid_argument) return 0.0;
  if (r.ec == std::errc::result_out_of_range) value = OutOfRange(p, r.ptr);
  return negative ? -value : value;
}

namespace {
const char* SkipBlanks(const char* p, const char* end) {
  while (p != end && (*p == ' ' || *p == '\t')) ++p;
  return p;
}
}  // namespace

bool ReadIntField(const char*& p, const char* end, int64_t min, int64_t max, int64_t& value) {
  const char* q = SkipBlanks(p, end);
  bool negative = false;
  if (q != end && (*q == '-' || *q == '+')) negative = *q++ == '-';
  if (q == end || *q < '0' || *q > '9') return false;
  uint64_t magnitude = 0;
  for (; q != end && *q >= '0' && *q <= '9'; ++q) {
    magnitude = magnitude * 10 + static_cast<unsigned>(*q - '0');
    if (magnitude > (uint64_t{1} << 63)) return false;
  }
  const int64_t v = negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
  if (!negative && magnitude > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
  if (v < min || v > max) return false;
  value = v;
  p = SkipBlanks(q, end);
  return true;
}

bool ReadUIntField(const char*& p, const char* end, uint64_t max, uint64_t& value) {
  const char* q = SkipBlanks(p, end);
  if (q != end && *q == '+') ++q;
  if (q == end || *q < '0' || *q > '9') return false;
  uint64_t v = 0;
  for (; q != end && *q >= '0' && *q <= '9'; ++q) {
    const unsigned d = static_cast<unsigned>(*q - '0');
    if (v > (std::numeric_limits<uint64_t>::max() - d) / 10) return false;
    v = v * 10 + d;
  }
  if (v > max) return false;
  value = v;
  p = SkipBlanks(q, end);
  return true;
}

bool ReadDoubleField(const char*& p, const char* end, double& value) {
  const char* q = SkipBlanks(p, end);
  if (q != end && *q == '+') {
    ++q;
    if (q != end && *q == '-') return false;
  }
  double v = 0.0;
  const auto r = std::from_chars(q, end, v, std::chars_format::general);
  if (r.ec == std::errc::invalid_argument) return false;
  if (r.ec == std::errc::result_out_of_range) v = OutOfRange(q, r.ptr);
  value = v;
  p = SkipBlanks(r.ptr, end);
  return true;
}

void AppendInt(std::string& out, int64_t v) {
  char buffer[24];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  out.append(buffer, r.ptr);
}

void AppendUInt(std::string& out, uint64_t v) {
  char buffer[24];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  out.append(buffer, r.ptr);
}

int FormatDouble(char* buffer, double v) {
  const auto r = std::to_chars(buffer, buffer + 32, v, std::chars_format::general, 15);
  return static_cast<int>(r.ptr - buffer);
}

void AppendDouble(std::string& out, double v) {
  char buffer[32];
  out.append(buffer, static_cast<size_t>(FormatDouble(buffer, v)));
}

void AppendDoubleExact(std::string& out, double v) {
  char buffer[32];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  out.append(buffer, r.ptr);
}

}  // namespace Kernel::VariantText
