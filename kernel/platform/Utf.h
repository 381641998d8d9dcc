#pragma once
// Conversions between the library's text forms: wide strings hold UTF-32,
// narrow strings UTF-8, and files written for the framework hold UTF-16.
// Malformed input turns into U+FFFD instead of failing: these run inside
// string constructors and archive readers that must always produce a value.
#include <cstddef>
#include <string>

namespace Kernel::Utf {

std::wstring Utf8ToWide(const char* s, size_t n);
std::string WideToUtf8(const wchar_t* s, size_t n);
// Appends the UTF-8 form of one code point.
void AppendUtf8(std::string& out, char32_t cp);
std::u16string WideToUtf16(const wchar_t* s, size_t n);
std::wstring Utf16ToWide(const char16_t* s, size_t n);

}  // namespace Kernel::Utf
