#include <kernel/Variant.h>

#include <cmath>
#include <limits>
#include <string>

#include "persist/VariantText.h"

using namespace Kernel::VariantText;

// --- Errors and estimates ------------------------------------------------------

const wchar_t* GetVariantErrorText(VariantError::Type code) noexcept {
  static const wchar_t* const texts[] = {
      L"Invalid operand",  L"Division by zero", L"Numeric overflow",  L"Syntax error",
      L"Unknown function", L"Unknown name",     L"Evaluation failed",
  };
  const int i = static_cast<int>(code) - 1;
  return i >= 0 && i < 7 ? texts[i] : nullptr;
}

uint64_t EstimateMemoryUsed(const CString& s) noexcept {
  return ((static_cast<uint64_t>(s.GetLength()) + 1) * 2 + 23) & ~uint64_t{3};
}

uint64_t CVariant::EstimateMemoryUsed() const noexcept {
  if (Tag_() != tagHeapString) return 12;
  return 12 + ::EstimateMemoryUsed(CVariantText::Borrowed(*this).Get());
}

// --- Text access for the readers ---------------------------------------------------

std::string_view CVariantText::Utf8(const CVariant& v, Buffer& buffer) {
  switch (v.Tag_()) {
    case CVariant::tagInlineString: {
      const char* text = reinterpret_cast<const char*>(v.m_bytes);
      return std::string_view(text, std::strlen(text));
    }
    case CVariant::tagHeapString: {
      const Borrowed borrowed(v);
      const CString& s = borrowed.Get();
      const int n = s.GetLength();
      const wchar_t* w = s.GetString();
      // Numbers and compound values are ASCII and short: no allocation.
      if (n <= static_cast<int>(sizeof buffer.small)) {
        int i = 0;
        for (; i < n && static_cast<uint32_t>(w[i]) < 0x80; ++i) buffer.small[i] = static_cast<char>(w[i]);
        if (i == n) return std::string_view(buffer.small, static_cast<size_t>(n));
      }
      const CStringA narrow(s);
      buffer.big.assign(narrow.GetString(), static_cast<size_t>(narrow.GetLength()));
      return buffer.big;
    }
    default:
      return std::string_view();
  }
}

// --- Strings -------------------------------------------------------------------------

namespace {

bool IsAscii(const char* text, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    if (static_cast<unsigned char>(text[i]) >= 0x80) return false;
  }
  return true;
}

// UTF-8 length of a code point; 0 for values that are not characters.
int Utf8Length(uint32_t c) {
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  if (c >= 0xD800 && c <= 0xDFFF) return 0;
  if (c < 0x10000) return 3;
  if (c <= 0x10FFFF) return 4;
  return 0;
}

char* PutUtf8(char* out, uint32_t c) {
  if (c < 0x80) {
    *out++ = static_cast<char>(c);
  } else if (c < 0x800) {
    *out++ = static_cast<char>(0xC0 | (c >> 6));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out++ = static_cast<char>(0xE0 | (c >> 12));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out++ = static_cast<char>(0xF0 | (c >> 18));
    *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}

// Decodes UTF-8 that the variant itself wrote (always well formed).
int DecodeInline(const char* text, wchar_t* out) {
  int n = 0;
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  while (*p) {
    uint32_t c = *p++;
    int more = 0;
    if (c >= 0xF0) {
      c &= 0x07, more = 3;
    } else if (c >= 0xE0) {
      c &= 0x0F, more = 2;
    } else if (c >= 0xC0) {
      c &= 0x1F, more = 1;
    }
    for (; more > 0 && (*p & 0xC0) == 0x80; --more) c = c << 6 | (*p++ & 0x3F);
    out[n++] = static_cast<wchar_t>(c);
  }
  out[n] = 0;
  return n;
}

CString WidenAscii(const char* text, int length) {
  wchar_t buffer[40];
  for (int i = 0; i < length; ++i) buffer[i] = static_cast<unsigned char>(text[i]);
  return CString(buffer, length);
}

}  // namespace

void CVariant::InitHeap(const CString& text) {
  alignas(CString) unsigned char raw[sizeof(CString)];
  // The new string's pointer moves into the payload; the local object is
  // deliberately never destroyed, the variant owns that reference now.
  new (raw) CString(text);
  std::memcpy(m_bytes, raw, sizeof(CString));
  m_bytes[8] = m_bytes[9] = m_bytes[10] = 0;
  SetTag(tagHeapString);
}

void CVariant::CopyHeapString(const CVariant& other) { InitHeap(CVariantText::Borrowed(other).Get()); }

void CVariant::DestroyHeapString() noexcept {
  alignas(CString) unsigned char raw[sizeof(CString)];
  std::memcpy(raw, m_bytes, sizeof(CString));
  std::launder(reinterpret_cast<CString*>(raw))->~CString();
  SetTag(tagEmpty);
}

void CVariant::InitUtf8(const char* text, size_t length) {
  if (!IsAscii(text, length)) {
    // Anything else goes through the wide form, so that malformed input is
    // stored exactly as the same text given as a wide string would be.
    const CString wide(text, static_cast<int>(length));
    InitWide(wide.GetString(), static_cast<size_t>(wide.GetLength()));
    return;
  }
  if (length <= static_cast<size_t>(c_maxInlineString)) {
    std::memset(m_bytes, 0, sizeof m_bytes);
    std::memcpy(m_bytes, text, length);
    SetTag(tagInlineString);
    return;
  }
  InitHeap(CString(text, static_cast<int>(length)));
}

namespace {

// The UTF-8 form of a wide text when it fits in the inline bytes; false for a
// longer text and for values that are not characters (they keep their wide
// form in a heap string).
bool EncodeInline(const wchar_t* text, size_t length, unsigned char (&out)[12]) {
  if (length > static_cast<size_t>(CVariant::c_maxInlineString)) return false;
  char buffer[CVariant::c_maxInlineString + 4];
  char* end = buffer;
  for (size_t i = 0; i < length; ++i) {
    const uint32_t c = static_cast<uint32_t>(text[i]);
    const int n = Utf8Length(c);
    if (n == 0 || c == 0 || (end - buffer) + n > CVariant::c_maxInlineString) return false;
    end = PutUtf8(end, c);
  }
  std::memset(out, 0, sizeof out);
  std::memcpy(out, buffer, static_cast<size_t>(end - buffer));
  return true;
}

}  // namespace

void CVariant::InitWide(const wchar_t* text, size_t length) {
  if (EncodeInline(text, length, m_bytes)) {
    SetTag(tagInlineString);
    return;
  }
  InitHeap(CString(text, static_cast<int>(length)));
}

CVariant::CVariant(const wchar_t* text) {
  SetTag(tagEmpty);
  if (text) InitWide(text, std::wcslen(text));
}

CVariant::CVariant(const char* utf8) {
  SetTag(tagEmpty);
  if (utf8) InitUtf8(utf8, std::strlen(utf8));
}

CVariant::CVariant(const CString& text) {
  SetTag(tagEmpty);
  if (EncodeInline(text.GetString(), static_cast<size_t>(text.GetLength()), m_bytes)) {
    SetTag(tagInlineString);
  } else {
    InitHeap(text);  // shares the string's buffer: no copy of the characters
  }
}

CVariant::CVariant(const CStringA& utf8) {
  SetTag(tagEmpty);
  InitUtf8(utf8.GetString(), static_cast<size_t>(utf8.GetLength()));
}

CVariant::CVariant(std::string_view utf8) {
  SetTag(tagEmpty);
  InitUtf8(utf8.data(), utf8.size());
}

int CVariant::GetInlineString(wchar_t (&buffer)[12]) const noexcept {
  if (Tag_() != tagInlineString) return -1;
  return DecodeInline(reinterpret_cast<const char*>(m_bytes), buffer);
}

// --- Compound values --------------------------------------------------------------------

namespace {

template <size_t N>
std::string IntsText(const int32_t (&v)[N]) {
  std::string s;
  for (size_t i = 0; i < N; ++i) {
    if (i) s += ',';
    AppendInt(s, v[i]);
  }
  return s;
}

template <size_t N>
std::string DoublesText(const double (&v)[N]) {
  std::string s;
  for (size_t i = 0; i < N; ++i) {
    if (i) s += ',';
    AppendDouble(s, v[i]);
  }
  return s;
}

template <size_t N>
bool ReadInts(std::string_view text, int32_t (&v)[N]) {
  const char* p = text.data();
  const char* end = p + text.size();
  for (size_t i = 0; i < N; ++i) {
    if (i && (p == end || *p++ != ',')) return false;
    int64_t x;
    if (!ReadIntField(p, end, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(), x)) {
      return false;
    }
    v[i] = static_cast<int32_t>(x);
  }
  return p == end;
}

template <size_t N>
bool ReadDoubles(std::string_view text, double (&v)[N]) {
  const char* p = text.data();
  const char* end = p + text.size();
  for (size_t i = 0; i < N; ++i) {
    if (i && (p == end || *p++ != ',')) return false;
    if (!ReadDoubleField(p, end, v[i])) return false;
  }
  return p == end;
}

}  // namespace

CVariant::CVariant(const POINT& p) {
  SetTag(tagEmpty);
  const std::string s = IntsText<2>({p.x, p.y});
  InitUtf8(s.data(), s.size());
}

CVariant::CVariant(const SIZE& z) {
  SetTag(tagEmpty);
  const std::string s = IntsText<2>({z.cx, z.cy});
  InitUtf8(s.data(), s.size());
}

CVariant::CVariant(const RECT& r) {
  SetTag(tagEmpty);
  const std::string s = IntsText<4>({r.left, r.top, r.right, r.bottom});
  InitUtf8(s.data(), s.size());
}

CVariant::CVariant(const DBLPOINT& p) {
  SetTag(tagEmpty);
  const std::string s = DoublesText<2>({p.x, p.y});
  InitUtf8(s.data(), s.size());
}

CVariant::CVariant(const DBLSIZE& z) {
  SetTag(tagEmpty);
  const std::string s = DoublesText<2>({z.cx, z.cy});
  InitUtf8(s.data(), s.size());
}

CVariant::CVariant(const DBLRECT& r) {
  SetTag(tagEmpty);
  const std::string s = DoublesText<4>({r.left, r.top, r.right, r.bottom});
  InitUtf8(s.data(), s.size());
}

CVariant::CVariant(const GUID& g) {
  SetTag(tagEmpty);
  InitHeap(GuidToString(g));
}

CVariant::CVariant(const COleDateTime& dt) {
  SetTag(tagEmpty);
  if (dt.GetStatus() == COleDateTime::null) return;
  const CString text = dt.Format();
  InitWide(text.GetString(), static_cast<size_t>(text.GetLength()));
}

CVariant::CVariant(const COleDateTimeSpan& span) {
  SetTag(tagEmpty);
  switch (span.GetStatus()) {
    case COleDateTimeSpan::valid:
      SetDouble(span.m_span);
      break;
    case COleDateTimeSpan::invalid:
      InitUtf8("Invalid", 7);
      break;
    case COleDateTimeSpan::null:
      break;
  }
}

CVariant::CVariant(const FILETIME& ft) : CVariant(COleDateTime(ft)) {}

CVariant::CVariant(const CTime& t) : CVariant(COleDateTime(t)) {}

CVariant::CVariant(const CY& cy) {
  SetTag(tagEmpty);
  const CString text = CurrencyToString(cy);
  InitWide(text.GetString(), static_cast<size_t>(text.GetLength()));
}

CVariant::operator POINT() const {
  CVariantText::Buffer b;
  int32_t v[2] = {0, 0};
  if (!ReadInts(CVariantText::Utf8(*this, b), v)) v[0] = v[1] = 0;
  return POINT{v[0], v[1]};
}

CVariant::operator SIZE() const {
  CVariantText::Buffer b;
  int32_t v[2] = {0, 0};
  if (!ReadInts(CVariantText::Utf8(*this, b), v)) v[0] = v[1] = 0;
  return SIZE{v[0], v[1]};
}

CVariant::operator RECT() const {
  CVariantText::Buffer b;
  int32_t v[4] = {0, 0, 0, 0};
  if (!ReadInts(CVariantText::Utf8(*this, b), v)) return RECT{0, 0, 0, 0};
  return RECT{v[0], v[1], v[2], v[3]};
}

CVariant::operator DBLPOINT() const {
  CVariantText::Buffer b;
  double v[2] = {0, 0};
  if (!ReadDoubles(CVariantText::Utf8(*this, b), v)) return DBLPOINT{0, 0};
  return DBLPOINT{v[0], v[1]};
}

CVariant::operator DBLSIZE() const {
  CVariantText::Buffer b;
  double v[2] = {0, 0};
  if (!ReadDoubles(CVariantText::Utf8(*this, b), v)) return DBLSIZE{0, 0};
  return DBLSIZE{v[0], v[1]};
}

CVariant::operator DBLRECT() const {
  CVariantText::Buffer b;
  double v[4] = {0, 0, 0, 0};
  if (!ReadDoubles(CVariantText::Utf8(*this, b), v)) return DBLRECT{0, 0, 0, 0};
  return DBLRECT{v[0], v[1], v[2], v[3]};
}

CVariant::operator GUID() const {
  GUID g = GUID_NULL;
  if (IsString()) GuidFromString(GetString(), g);
  return g;
}

CVariant::operator COleDateTime() const {
  COleDateTime dt;
  switch (Tag_()) {
    case tagEmpty:
      dt.m_status = COleDateTime::null;
      break;
    case tagInlineString:
    case tagHeapString:
      dt.ParseDateTime(GetString());
      break;
    case tagSigned:
    case tagUnsigned:
    case tagDouble:
      dt = COleDateTime(GetDouble());
      break;
    default:
      dt.m_status = COleDateTime::invalid;
      break;
  }
  return dt;
}

CVariant::operator COleDateTimeSpan() const {
  COleDateTimeSpan span;
  switch (Tag_()) {
    case tagEmpty:
      span.m_status = COleDateTimeSpan::null;
      break;
    case tagError:
      span.m_status = COleDateTimeSpan::invalid;
      break;
    case tagInlineString:
      if (std::strcmp(GetInlineUtf8(), "Invalid") == 0) {
        span.m_status = COleDateTimeSpan::invalid;
        break;
      }
      [[fallthrough]];
    default:
      span.m_span = GetDouble();
      break;
  }
  return span;
}

CVariant::operator FILETIME() const {
  FILETIME ft{0, 0};
  if (!static_cast<COleDateTime>(*this).GetAsFileTime(ft)) ft = FILETIME{0, 0};
  return ft;
}

CVariant::operator CTime() const {
  std::time_t t = 0;
  if (!static_cast<COleDateTime>(*this).GetAsTime(t)) t = 0;
  return CTime(static_cast<int64_t>(t));
}

CVariant::operator CY() const {
  CY cy{0};
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  switch (Tag_()) {
    case tagInlineString:
    case tagHeapString:
      if (!CurrencyFromString(GetString(), cy)) cy.int64 = 0;
      break;
    case tagSigned: {
      const int64_t v = GetInt64();
      cy.int64 = v > kMax / 10000 ? kMax : v < kMin / 10000 ? kMin : v * 10000;
      break;
    }
    case tagUnsigned: {
      const uint64_t v = GetUInt64();
      cy.int64 = v > static_cast<uint64_t>(kMax / 10000) ? kMax : static_cast<int64_t>(v) * 10000;
      break;
    }
    case tagDouble: {
      const double v = std::round(GetDouble() * 10000.0);
      cy.int64 = std::isnan(v)                 ? 0
                 : v >= 9.2233720368547758e18  ? kMax
                 : v <= -9.2233720368547758e18 ? kMin
                                               : static_cast<int64_t>(v);
      break;
    }
    default:
      break;
  }
  return cy;
}

// --- Numbers out -------------------------------------------------------------------------

int64_t CVariant::GetInt64() const noexcept {
  switch (Tag_()) {
    case tagInlineString:
      return ReadInt64Prefix(GetInlineUtf8());
    case tagHeapString: {
      CVariantText::Buffer b;
      return ReadInt64Prefix(CVariantText::Utf8(*this, b));
    }
    case tagSigned:
    case tagUnsigned: {
      int64_t v;
      std::memcpy(&v, m_bytes, sizeof v);
      return v;
    }
    case tagDouble: {
      double d;
      std::memcpy(&d, m_bytes, sizeof d);
      if (std::isnan(d)) return 0;
      if (d >= 9223372036854775808.0) return std::numeric_limits<int64_t>::max();
      if (d <= -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
      return static_cast<int64_t>(d);
    }
    default:
      return 0;
  }
}

uint64_t CVariant::GetUInt64() const noexcept {
  switch (Tag_()) {
    case tagInlineString:
      return ReadUInt64Prefix(GetInlineUtf8());
    case tagHeapString: {
      CVariantText::Buffer b;
      return ReadUInt64Prefix(CVariantText::Utf8(*this, b));
    }
    case tagSigned:
    case tagUnsigned: {
      uint64_t v;
      std::memcpy(&v, m_bytes, sizeof v);
      return v;
    }
    case tagDouble: {
      double d;
      std::memcpy(&d, m_bytes, sizeof d);
      if (std::isnan(d) || d <= 0) return 0;
      if (d >= 18446744073709551616.0) return std::numeric_limits<uint64_t>::max();
      return static_cast<uint64_t>(d);
    }
    default:
      return 0;
  }
}

double CVariant::GetDouble() const noexcept {
  switch (Tag_()) {
    case tagInlineString:
      return ReadDoublePrefix(GetInlineUtf8());
    case tagHeapString: {
      CVariantText::Buffer b;
      return ReadDoublePrefix(CVariantText::Utf8(*this, b));
    }
    case tagSigned: {
      int64_t v;
      std::memcpy(&v, m_bytes, sizeof v);
      return static_cast<double>(v);
    }
    case tagUnsigned: {
      uint64_t v;
      std::memcpy(&v, m_bytes, sizeof v);
      return static_cast<double>(v);
    }
    case tagDouble: {
      double d;
      std::memcpy(&d, m_bytes, sizeof d);
      return d;
    }
    default:
      return 0.0;
  }
}

// --- Text out ------------------------------------------------------------------------------

CString CVariant::GetString() const {
  char buffer[32];
  switch (Tag_()) {
    case tagInlineString: {
      wchar_t wide[12];
      const int n = DecodeInline(reinterpret_cast<const char*>(m_bytes), wide);
      return CString(wide, n);
    }
    case tagHeapString:
      return CVariantText::Borrowed(*this).Get();
    case tagSigned: {
      const auto r = std::to_chars(buffer, buffer + sizeof buffer, GetInt64());
      return WidenAscii(buffer, static_cast<int>(r.ptr - buffer));
    }
    case tagUnsigned: {
      const auto r = std::to_chars(buffer, buffer + sizeof buffer, GetUInt64());
      return WidenAscii(buffer, static_cast<int>(r.ptr - buffer));
    }
    case tagDouble:
      return WidenAscii(buffer, FormatDouble(buffer, GetDouble()));
    case tagError: {
      const wchar_t* text = GetVariantErrorText(GetError());
      return CString(text ? text : L"Error");
    }
    default:
      return CString();
  }
}

CStringA CVariant::GetStringA() const {
  char buffer[32];
  switch (Tag_()) {
    case tagInlineString:
      return CStringA(GetInlineUtf8());
    case tagHeapString:
      return CStringA(CVariantText::Borrowed(*this).Get());
    case tagSigned: {
      const auto r = std::to_chars(buffer, buffer + sizeof buffer, GetInt64());
      return CStringA(buffer, static_cast<int>(r.ptr - buffer));
    }
    case tagUnsigned: {
      const auto r = std::to_chars(buffer, buffer + sizeof buffer, GetUInt64());
      return CStringA(buffer, static_cast<int>(r.ptr - buffer));
    }
    case tagDouble:
      return CStringA(buffer, FormatDouble(buffer, GetDouble()));
    case tagError:
      return CStringA(GetString());
    default:
      return CStringA();
  }
}
