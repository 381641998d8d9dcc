#pragma once
// printf-style formatting with the framework's reading of the format string.
// Each conversion is parsed here and its argument fetched with the width the
// framework gives it (%ld is 32 bits, %I64d 64, %s follows the string's own
// width); numbers are then printed by snprintf under the C locale, strings and
// characters are padded here. Unknown conversions are copied through as text.
#include <cstdarg>
#include <string>

namespace Kernel {

template <typename T>
struct FormatEngine {
  static void Run(std::basic_string<T>& out, const T* format, va_list ap);
};

extern template struct FormatEngine<wchar_t>;
extern template struct FormatEngine<char>;

}  // namespace Kernel
