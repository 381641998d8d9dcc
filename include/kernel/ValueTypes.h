#pragma once
// Small value records of the framework: currency, GUIDs and the
// double-precision point, size and rectangle.
#include <cstdint>
#include <cstring>

#include <kernel/CString.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

// Currency: a signed 64-bit count of ten-thousandths (1.5 is 15000).
struct CY {
  int64_t int64;
};
static_assert(sizeof(CY) == 8, "currency is eight bytes");
using CURRENCY = CY;

constexpr CY MakeCY(int64_t tenThousandths) noexcept {
  CY c{};
  c.int64 = tenThousandths;
  return c;
}
inline bool operator==(const CY& a, const CY& b) noexcept { return a.int64 == b.int64; }
inline bool operator!=(const CY& a, const CY& b) noexcept { return a.int64 != b.int64; }

// The currency's text: the amount with a full stop before the fraction, no
// grouping and no trailing zeros ("1234.5", "-0.0001", "7").
NK_API CString CurrencyToString(const CY& value);
// Reads the forms CurrencyToString writes, and also an optional pound sign,
// comma grouping and blanks around the number. More than four decimals are
// rounded half to even. False (value untouched) when the text is not an amount
// or does not fit.
NK_API bool CurrencyFromString(const wchar_t* text, CY& value);

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "GUID is sixteen bytes");
using IID = GUID;
using CLSID = GUID;

inline bool operator==(const GUID& a, const GUID& b) noexcept { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator!=(const GUID& a, const GUID& b) noexcept { return !(a == b); }
inline constexpr GUID GUID_NULL{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" in lower-case hexadecimal.
NK_API CString GuidToString(const GUID& guid);
// Reads the braced form (hex digits of either case). False (guid untouched)
// for anything else.
NK_API bool GuidFromString(const wchar_t* text, GUID& guid);

struct DBLPOINT {
  double x;
  double y;
};
struct DBLSIZE {
  double cx;
  double cy;
};
struct DBLRECT {
  double left;
  double top;
  double right;
  double bottom;
};

inline bool operator==(const DBLPOINT& a, const DBLPOINT& b) noexcept { return a.x == b.x && a.y == b.y; }
inline bool operator!=(const DBLPOINT& a, const DBLPOINT& b) noexcept { return !(a == b); }
inline bool operator==(const DBLSIZE& a, const DBLSIZE& b) noexcept { return a.cx == b.cx && a.cy == b.cy; }
inline bool operator!=(const DBLSIZE& a, const DBLSIZE& b) noexcept { return !(a == b); }
inline bool operator==(const DBLRECT& a, const DBLRECT& b) noexcept {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
inline bool operator!=(const DBLRECT& a, const DBLRECT& b) noexcept { return !(a == b); }
