#include "platform/Utf.h"

namespace Kernel::Utf {
namespace {
constexpr char32_t kReplacement = 0xFFFD;

bool IsScalar(char32_t cp) { return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF); }
}  // namespace

void AppendUtf8(std::string& out, char32_t cp) {
  if (!IsScalar(cp)) cp = kReplacement;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

std::wstring Utf8ToWide(const char* s, size_t n) {
  std::wstring out;
  out.reserve(n);
  const auto* p = reinterpret_cast<const unsigned char*>(s);
  size_t i = 0;
  while (i < n) {
    unsigned char b = p[i];
    if (b < 0x80) {
      out += static_cast<wchar_t>(b);
      ++i;
      continue;
    }
    int extra;
    char32_t cp;
    char32_t minimum;
    if (b >= 0xC2 && b <= 0xDF) {
      extra = 1, cp = b & 0x1F, minimum = 0x80;
    } else if (b >= 0xE0 && b <= 0xEF) {
      extra = 2, cp = b & 0x0F, minimum = 0x800;
    } else if (b >= 0xF0 && b <= 0xF4) {
      extra = 3, cp = b & 0x07, minimum = 0x10000;
    } else {
      out += static_cast<wchar_t>(kReplacement);
      ++i;
      continue;
    }
    size_t j = 1;
    for (; j <= static_cast<size_t>(extra) && i + j < n && (p[i + j] & 0xC0) == 0x80; ++j) {
      cp = (cp << 6) | (p[i + j] & 0x3F);
    }
    if (j != static_cast<size_t>(extra) + 1 || cp < minimum || !IsScalar(cp)) {
      // A truncated or overlong sequence: one replacement for its lead byte,
      // and the continuation bytes seen so far are skipped with it.
      out += static_cast<wchar_t>(kReplacement);
      i += j;
      continue;
    }
    out += static_cast<wchar_t>(cp);
    i += j;
  }
  return out;
}

std::string WideToUtf8(const wchar_t* s, size_t n) {
  std::string out;
  out.reserve(n);
  for (size_t i = 0; i < n; ++i) AppendUtf8(out, static_cast<char32_t>(s[i]));
  return out;
}

std::u16string WideToUtf16(const wchar_t* s, size_t n) {
  std::u16string out;
  out.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    char32_t cp = static_cast<char32_t>(s[i]);
    if (!IsScalar(cp)) cp = kReplacement;
    if (cp < 0x10000) {
      out += static_cast<char16_t>(cp);
    } else {
      cp -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    }
  }
  return out;
}

std::wstring Utf16ToWide(const char16_t* s, size_t n) {
  std::wstring out;
  out.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    char32_t u = s[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < n && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
      out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (s[i + 1] - 0xDC00));
      ++i;
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      out += static_cast<wchar_t>(kReplacement);  // unpaired surrogate
    } else {
      out += static_cast<wchar_t>(u);
    }
  }
  return out;
}

}  // namespace Kernel::Utf
