#pragma once
// Number reading and writing for the variant's text forms, independent of
// the process locale: doubles are written with std::to_chars (the "%.15g"
// rule of the C locale) and read with std::from_chars (correctly rounded).
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include <kernel/CString.h>
#include <kernel/Variant.h>

namespace Kernel::VariantText {

inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// The C library's string-to-integer readings: leading white space, a sign,
// then as many decimal digits as there are. No digits give 0. The signed
// reading saturates; the unsigned one saturates to its maximum and negates
// (wrapping) after a minus sign, as strtoull does.
int64_t ReadInt64Prefix(std::string_view text);
uint64_t ReadUInt64Prefix(std::string_view text);
// strtod's reading of the longest decimal number at the start (after white
// space and an optional sign; "inf" and "nan" included). No number gives 0;
// overflow gives an infinity, underflow 0 or a subnormal.
double ReadDoublePrefix(std::string_view text);

// Strict field readers for the compound forms: optional blanks, the number,
// optional blanks. They advance p and fail on anything else (no digits,
// out of range for [min, max]).
bool ReadIntField(const char*& p, const char* end, int64_t min, int64_t max, int64_t& value);
bool ReadUIntField(const char*& p, const char* end, uint64_t max, uint64_t& value);
bool ReadDoubleField(const char*& p, const char* end, double& value);

// Writers: to_chars into the end of the string.
void AppendInt(std::string& out, int64_t v);
void AppendUInt(std::string& out, uint64_t v);
// "%.15g".
void AppendDouble(std::string& out, double v);
// The shortest text that reads back to the same double.
void AppendDoubleExact(std::string& out, double v);
// "%.15g" into a buffer of at least 32 chars; returns the length.
int FormatDouble(char* buffer, double v);

}  // namespace Kernel::VariantText

// Access to a variant's text for the library's own readers.
class CVariantText {
 public:
  // Storage for a UTF-8 view of a heap string.
  struct Buffer {
    char small[128];
    std::string big;
  };
  // The variant's text as UTF-8 when it holds a string, otherwise empty.
  static std::string_view Utf8(const CVariant& v, Buffer& buffer);
  // The heap string of a variant holding one (tag 1), seen through an
  // aligned copy of its pointer. The copy is borrowed: it is never destroyed,
  // and the variant must outlive it.
  class Borrowed {
   public:
    explicit Borrowed(const CVariant& v) noexcept { std::memcpy(m_raw, v.m_bytes, sizeof(CString)); }
    const CString& Get() const noexcept { return *std::launder(reinterpret_cast<const CString*>(m_raw)); }

   private:
    alignas(CString) unsigned char m_raw[sizeof(CString)];
  };
};
