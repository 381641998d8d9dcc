#include <kernel/ValueTypes.h>

#include <cstdio>

namespace {

__extension__ typedef unsigned __int128 Wide;

int HexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// Reads exactly `count` hex digits.
bool Hex(const wchar_t*& p, int count, uint64_t& value) {
  value = 0;
  for (int i = 0; i < count; ++i) {
    const int d = HexDigit(p[i]);
    if (d < 0) return false;
    value = value << 4 | static_cast<uint64_t>(d);
  }
  p += count;
  return true;
}

}  // namespace

CString GuidToString(const GUID& g) {
  wchar_t buffer[40];
  std::swprintf(buffer, 40, L"{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", g.Data1, g.Data2, g.Data3,
                g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return CString(buffer);
}

bool GuidFromString(const wchar_t* text, GUID& guid) {
  if (!text) return false;
  const wchar_t* p = text;
  GUID g{};
  uint64_t v;
  if (*p++ != L'{') return false;
  if (!Hex(p, 8, v) || *p++ != L'-') return false;
  g.Data1 = static_cast<uint32_t>(v);
  if (!Hex(p, 4, v) || *p++ != L'-') return false;
  g.Data2 = static_cast<uint16_t>(v);
  if (!Hex(p, 4, v) || *p++ != L'-') return false;
  g.Data3 = static_cast<uint16_t>(v);
  for (int i = 0; i < 8; ++i) {
    if (i == 2 && *p++ != L'-') return false;
    if (!Hex(p, 2, v)) return false;
    g.Data4[i] = static_cast<uint8_t>(v);
  }
  if (*p++ != L'}' || *p != 0) return false;
  guid = g;
  return true;
}

CString CurrencyToString(const CY& value) {
  const bool negative = value.int64 < 0;
  // Magnitude in unsigned arithmetic so that the most negative amount works.
  const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value.int64) : static_cast<uint64_t>(value.int64);
  wchar_t buffer[40];
  int n =
      std::swprintf(buffer, 40, L"%ls%llu", negative ? L"-" : L"", static_cast<unsigned long long>(magnitude / 10000));
  unsigned fraction = static_cast<unsigned>(magnitude % 10000);
  if (fraction != 0) {
    int digits = 4;
    while (fraction % 10 == 0) fraction /= 10, --digits;
    std::swprintf(buffer + n, 40 - n, L".%0*u", digits, fraction);
  }
  return CString(buffer);
}

bool CurrencyFromString(const wchar_t* text, CY& value) {
  if (!text) return false;
  const wchar_t* p = text;
  auto blanks = [&p] {
    while (*p == L' ' || *p == L'\t') ++p;
  };
  blanks();
  bool negative = false;
  if (*p == L'-' || *p == L'+') negative = *p++ == L'-';
  blanks();
  if (*p == L'\u00A3') ++p, blanks();
  if (!negative && *p == L'-') negative = true, ++p;
  // Whole part, with optional comma grouping.
  Wide whole = 0;
  int digits = 0;
  while ((*p >= L'0' && *p <= L'9') || (*p == L',' && digits > 0)) {
    if (*p != L',') {
      whole = whole * 10 + static_cast<unsigned>(*p - L'0');
      if (whole > static_cast<Wide>(1) << 64) return false;
      ++digits;
    }
    ++p;
  }
  // Fraction: four digits kept, the rest decide the rounding (half to even).
  uint64_t fraction = 0;
  int fractionDigits = 0;
  int roundDigit = -1;
  bool stickyBeyond = false;
  if (*p == L'.') {
    ++p;
    while (*p >= L'0' && *p <= L'9') {
      const int d = *p++ - L'0';
      if (fractionDigits < 4) {
        fraction = fraction * 10 + static_cast<uint64_t>(d);
        ++fractionDigits;
      } else if (roundDigit < 0) {
        roundDigit = d;
      } else if (d != 0) {
        stickyBeyond = true;
      }
      ++digits;
    }
  }
  if (digits == 0) return false;
  blanks();
  if (*p != 0) return false;
  while (fractionDigits < 4) fraction *= 10, ++fractionDigits;
  Wide units = whole * 10000 + fraction;
  if (roundDigit > 5 || (roundDigit == 5 && (stickyBeyond || (units & 1)))) ++units;
  const Wide limit = negative ? static_cast<Wide>(1) << 63 : (static_cast<Wide>(1) << 63) - 1;
  if (units > limit) return false;
  value.int64 = negative ? static_cast<int64_t>(0 - static_cast<uint64_t>(units)) : static_cast<int64_t>(units);
  return true;
}
