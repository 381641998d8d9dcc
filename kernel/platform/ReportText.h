#pragma once
// Building the processor report: printf-style formatting into a wide text.
// The report's formats are fixed, so a small helper over vswprintf keeps the
// argument widths explicit (uint32_t passed as unsigned, never as long,
// whose width differs between platforms).
#include <cstdarg>
#include <cwchar>
#include <string>
#include <vector>

namespace Kernel {

inline void AppendFormatV(std::wstring& out, const wchar_t* format, va_list args) {
  std::vector<wchar_t> buffer(128);
  for (;;) {
    va_list copy;
    va_copy(copy, args);
    const int n = std::vswprintf(buffer.data(), buffer.size(), format, copy);
    va_end(copy);
    if (n >= 0 && size_t(n) < buffer.size()) {
      out.append(buffer.data(), size_t(n));
      return;
    }
    // vswprintf reports truncation only as a failure, so grow and retry.
    if (buffer.size() > (size_t(1) << 20)) return;
    buffer.resize(buffer.size() * 4);
  }
}

inline void AppendFormat(std::wstring& out, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  AppendFormatV(out, format, args);
  va_end(args);
}

inline std::wstring FormatText(const wchar_t* format, ...) {
  std::wstring out;
  va_list args;
  va_start(args, format);
  AppendFormatV(out, format, args);
  va_end(args);
  return out;
}

inline const wchar_t* YesNo(bool value) { return value ? L"Yes" : L"No"; }

}  // namespace Kernel
