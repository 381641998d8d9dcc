#pragma once
// CVariant: the library's twelve-byte value. A value is one of six scalar
// kinds; compound values (points, rectangles, arrays, GUIDs, dates, currency,
// binary blocks) are kept in a canonical text form. Texts of up to eleven
// UTF-8 bytes live inside the variant, so numbers and short names never
// allocate; longer texts go to a heap CString.
//
// Layout: bytes 0-7 the payload (64-bit integer, double, error code, the
// heap string, or the first eight bytes of inline text), bytes 8-10 more
// inline text, byte 11 the tag. The inline tag is 0, so an eleven-byte text
// is terminated by the tag byte itself.
//
// No conversion throws: numbers saturate, unreadable text gives 0 (numbers)
// or the invalid state (dates), and other kinds give 0 or empty values.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>

#include <kernel/CArray.h>
#include <kernel/COleDateTime.h>
#include <kernel/CRect.h>
#include <kernel/CString.h>
#include <kernel/CTime.h>
#include <kernel/Export.h>
#include <kernel/RefCount.h>
#include <kernel/ValueTypes.h>

namespace Kernel {
struct Allocator;
template <class Alloc>
class RefRawData;
}  // namespace Kernel

// The error codes a variant can carry. The library's expression functions
// produce BadOperand and DivisionByZero; the others are for hosts.
struct VariantError {
  enum Type : int32_t {
    BadOperand = 1,
    DivisionByZero = 2,
    Overflow = 3,
    SyntaxError = 4,
    UnknownFunction = 5,
    UnknownName = 6,
    Failed = 7,
  };
};

// The English text of an error code, or null for a code outside 1-7.
NK_API const wchar_t* GetVariantErrorText(VariantError::Type code) noexcept;

// Bytes a CString's buffer is reckoned to take: ((length + 1) * 2 + 23),
// rounded down to a multiple of 4.
NK_API uint64_t EstimateMemoryUsed(const CString& s) noexcept;

class NK_API CVariant {
 public:
  enum Tag : uint8_t {
    tagInlineString = 0,
    tagHeapString = 1,
    tagEmpty = 2,
    tagSigned = 3,
    tagUnsigned = 4,
    tagDouble = 5,
    tagError = 6,
  };
  static constexpr int c_maxInlineString = 11;

  // --- Construction ----------------------------------------------------------
  CVariant() noexcept { SetTag(tagEmpty); }
  CVariant(std::nullptr_t) noexcept { SetTag(tagEmpty); }
  CVariant(const CVariant& other) {
    if (other.Tag_() == tagHeapString) {
      SetTag(tagEmpty);
      CopyHeapString(other);
    } else {
      std::memcpy(m_bytes, other.m_bytes, sizeof m_bytes);
    }
  }
  // Steals the payload; the source is left empty.
  CVariant(CVariant&& other) noexcept {
    std::memcpy(m_bytes, other.m_bytes, sizeof m_bytes);
    other.SetTag(tagEmpty);
  }
  ~CVariant() {
    if (Tag_() == tagHeapString) DestroyHeapString();
  }

  CVariant(bool v) noexcept { SetSigned(v ? 1 : 0); }
  CVariant(char v) noexcept { SetSigned(v); }
  CVariant(signed char v) noexcept { SetSigned(v); }
  CVariant(short v) noexcept { SetSigned(v); }
  CVariant(int v) noexcept { SetSigned(v); }
  CVariant(long v) noexcept { SetSigned(v); }
  CVariant(long long v) noexcept { SetSigned(v); }
  CVariant(unsigned char v) noexcept { SetUnsigned(v); }
  CVariant(unsigned short v) noexcept { SetUnsigned(v); }
  CVariant(wchar_t v) noexcept { SetUnsigned(static_cast<uint32_t>(v)); }
  CVariant(unsigned int v) noexcept { SetUnsigned(v); }
  CVariant(unsigned long v) noexcept { SetUnsigned(v); }
  CVariant(unsigned long long v) noexcept { SetUnsigned(v); }
  CVariant(float v) noexcept { SetDouble(v); }
  CVariant(double v) noexcept { SetDouble(v); }
  CVariant(VariantError::Type code) noexcept {
    std::memset(m_bytes, 0, sizeof m_bytes);
    const int32_t c = code;
    std::memcpy(m_bytes, &c, sizeof c);
    SetTag(tagError);
  }
  // Texts; a null pointer gives an empty variant.
  CVariant(const wchar_t* text);
  CVariant(const char* utf8);
  CVariant(const CString& text);
  CVariant(const CStringA& utf8);
  CVariant(std::string_view utf8);
  // Compound values as their canonical texts.
  CVariant(const POINT& p);  // "x,y"
  CVariant(const SIZE& s);   // "cx,cy"
  CVariant(const RECT& r);   // "left,top,right,bottom"
  CVariant(const DBLPOINT& p);
  CVariant(const DBLSIZE& s);
  CVariant(const DBLRECT& r);
  CVariant(const GUID& g);
  // A null date is empty; an invalid one the text "Invalid DateTime".
  CVariant(const COleDateTime& dt);
  // A valid span is the double of its days; an invalid one "Invalid"; a null
  // one empty.
  CVariant(const COleDateTimeSpan& span);
  CVariant(const FILETIME& ft);
  CVariant(const CTime& t);
  CVariant(const CY& cy);
  // A binary block as an array of unsigned bytes carrying the name; a null
  // pointer gives an empty variant.
  CVariant(const Kernel::CPtr<Kernel::RefRawData<Kernel::Allocator>>& data, const wchar_t* name = nullptr);
  CVariant(const CArray<bool>& a);
  CVariant(const CByteArray& a);
  CVariant(const CArray<int>& a);
  CVariant(const CWordArray& a);
  CVariant(const CDWordArray& a);

  // --- Assignment: the old value (and any heap string) goes first -------------
  CVariant& operator=(const CVariant& other) {
    if (this != &other) {
      Clear();
      if (other.Tag_() == tagHeapString) {
        CopyHeapString(other);
      } else {
        std::memcpy(m_bytes, other.m_bytes, sizeof m_bytes);
      }
    }
    return *this;
  }
  CVariant& operator=(CVariant&& other) noexcept {
    if (this != &other) {
      Clear();
      std::memcpy(m_bytes, other.m_bytes, sizeof m_bytes);
      other.SetTag(tagEmpty);
    }
    return *this;
  }
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, CVariant> &&
                                              std::is_constructible_v<CVariant, T&&>>>
  CVariant& operator=(T&& value) {
    Clear();
    return *this = CVariant(std::forward<T>(value));
  }

  void Clear() noexcept {
    if (Tag_() == tagHeapString) DestroyHeapString();
    SetTag(tagEmpty);
  }

  // --- Kind ----------------------------------------------------------------------
  Tag GetTag() const noexcept { return Tag_(); }
  bool IsEmpty() const noexcept { return Tag_() == tagEmpty; }
  bool IsError() const noexcept { return Tag_() == tagError; }
  bool IsString() const noexcept { return Tag_() <= tagHeapString; }
  bool IsInlineString() const noexcept { return Tag_() == tagInlineString; }
  bool IsDouble() const noexcept { return Tag_() == tagDouble; }
  bool IsIntegral() const noexcept { return Tag_() == tagSigned || Tag_() == tagUnsigned; }
  bool IsNumber() const noexcept { return Tag_() >= tagSigned && Tag_() <= tagDouble; }
  // A bitwise copy of the variant is a correct copy.
  bool IsPod() const noexcept { return Tag_() != tagHeapString; }
  // Holds an array of unsigned bytes (the binary form).
  bool IsBinary() const;
  // The code of an error value, 0 for other kinds.
  VariantError::Type GetError() const noexcept {
    int32_t c = 0;
    if (Tag_() == tagError) std::memcpy(&c, m_bytes, sizeof c);
    return static_cast<VariantError::Type>(c);
  }

  // 12, plus the heap string's estimate for a heap string.
  uint64_t EstimateMemoryUsed() const noexcept;

  // The inline text as UTF-8 (always terminated), or null when the variant
  // does not hold an inline string.
  const char* GetInlineUtf8() const noexcept {
    return Tag_() == tagInlineString ? reinterpret_cast<const char*>(m_bytes) : nullptr;
  }
  // The inline text converted to wide characters; returns the length, or -1
  // when the variant does not hold an inline string.
  int GetInlineString(wchar_t (&buffer)[12]) const noexcept;

  // --- Conversions out -------------------------------------------------------------
  int64_t GetInt64() const noexcept;
  uint64_t GetUInt64() const noexcept;
  double GetDouble() const noexcept;
  CString GetString() const;
  CStringA GetStringA() const;

  operator bool() const noexcept { return GetInt64() != 0; }
  operator char() const noexcept { return SaturateSigned<char>(); }
  operator signed char() const noexcept { return SaturateSigned<signed char>(); }
  operator short() const noexcept { return SaturateSigned<short>(); }
  operator int() const noexcept { return SaturateSigned<int>(); }
  operator long() const noexcept { return SaturateSigned<long>(); }
  operator long long() const noexcept { return SaturateSigned<long long>(); }
  operator unsigned char() const noexcept { return SaturateUnsigned<unsigned char>(); }
  operator unsigned short() const noexcept { return SaturateUnsigned<unsigned short>(); }
  operator wchar_t() const noexcept { return SaturateUnsigned<wchar_t>(); }
  operator unsigned int() const noexcept { return SaturateUnsigned<unsigned int>(); }
  operator unsigned long() const noexcept { return SaturateUnsigned<unsigned long>(); }
  operator unsigned long long() const noexcept { return SaturateUnsigned<unsigned long long>(); }
  operator double() const noexcept { return GetDouble(); }
  operator float() const noexcept { return static_cast<float>(GetDouble()); }
  operator CString() const { return GetString(); }
  operator CStringA() const { return GetStringA(); }
  // Compound values parse their texts; unreadable text gives zeros.
  operator POINT() const;
  operator SIZE() const;
  operator RECT() const;
  operator CPoint() const { return CPoint(static_cast<POINT>(*this)); }
  operator CSize() const { return CSize(static_cast<SIZE>(*this)); }
  operator CRect() const { return CRect(static_cast<RECT>(*this)); }
  operator DBLPOINT() const;
  operator DBLSIZE() const;
  operator DBLRECT() const;
  operator GUID() const;  // GUID_NULL when unreadable
  // Empty text gives a null date; unreadable text an invalid one (value -1.0,
  // or 0.0 when the text is not a date at all). A number is taken as a DATE.
  operator COleDateTime() const;
  operator COleDateTimeSpan() const;
  operator FILETIME() const;
  operator CTime() const;
  operator CY() const;

  // --- Arrays ----------------------------------------------------------------------
  // "_arr_<letter><name>:<count>:e0;e1;..." with one letter per element type.
  void SetArray(const bool* values, int count);
  void SetArray(const char* values, int count);
  void SetArray(const signed char* values, int count);
  void SetArray(const short* values, int count);
  void SetArray(const int* values, int count);
  void SetArray(const unsigned char* values, int count);
  void SetArray(const unsigned short* values, int count);
  void SetArray(const wchar_t* values, int count);
  void SetArray(const unsigned int* values, int count);
  void SetArray(const float* values, int count);
  void SetArray(const double* values, int count);
  void SetArray(const POINT* values, int count);
  void SetArray(const SIZE* values, int count);
  void SetArray(const RECT* values, int count);
  void SetArray(const CPoint* values, int count) { SetArray(static_cast<const POINT*>(values), count); }
  void SetArray(const CSize* values, int count) { SetArray(static_cast<const SIZE*>(values), count); }
  void SetArray(const CRect* values, int count) { SetArray(static_cast<const RECT*>(values), count); }
  void SetArray(const DBLPOINT* values, int count);
  void SetArray(const DBLSIZE* values, int count);
  void SetArray(const DBLRECT* values, int count);

  // -1 when the value is not an array of that element letter (or is
  // malformed); otherwise the element count, with at most `capacity` elements
  // stored into `buffer` (which may be null when capacity is 0).
  int GetArray(bool* buffer, int capacity) const;
  int GetArray(char* buffer, int capacity) const;
  int GetArray(signed char* buffer, int capacity) const;
  int GetArray(short* buffer, int capacity) const;
  int GetArray(int* buffer, int capacity) const;
  int GetArray(unsigned char* buffer, int capacity) const;
  int GetArray(unsigned short* buffer, int capacity) const;
  int GetArray(wchar_t* buffer, int capacity) const;
  int GetArray(unsigned int* buffer, int capacity) const;
  int GetArray(float* buffer, int capacity) const;
  int GetArray(double* buffer, int capacity) const;
  int GetArray(POINT* buffer, int capacity) const;
  int GetArray(SIZE* buffer, int capacity) const;
  int GetArray(RECT* buffer, int capacity) const;
  int GetArray(CPoint* buffer, int capacity) const { return GetArray(static_cast<POINT*>(buffer), capacity); }
  int GetArray(CSize* buffer, int capacity) const { return GetArray(static_cast<SIZE*>(buffer), capacity); }
  int GetArray(CRect* buffer, int capacity) const { return GetArray(static_cast<RECT*>(buffer), capacity); }
  int GetArray(DBLPOINT* buffer, int capacity) const;
  int GetArray(DBLSIZE* buffer, int capacity) const;
  int GetArray(DBLRECT* buffer, int capacity) const;

  // Whole containers; false (container untouched) when the value is not an
  // array of the matching letter.
  bool GetArray(CArray<bool>& out) const;
  bool GetArray(CByteArray& out) const;
  bool GetArray(CArray<int>& out) const;
  bool GetArray(CWordArray& out) const;
  bool GetArray(CDWordArray& out) const;

  // The element letter and name of an array value; false when the value is
  // not an array.
  bool GetArrayInfo(char& letter, CString* name, int* count) const;

  // Reads a binary value back into a new block; false when the value is not
  // binary.
  bool GetBinary(Kernel::CPtr<Kernel::RefRawData<Kernel::Allocator>>& data, CString* name) const;

 private:
  Tag Tag_() const noexcept { return static_cast<Tag>(m_bytes[11]); }
  void SetTag(Tag t) noexcept { m_bytes[11] = t; }
  void SetSigned(int64_t v) noexcept {
    std::memcpy(m_bytes, &v, sizeof v);
    m_bytes[8] = m_bytes[9] = m_bytes[10] = 0;
    SetTag(tagSigned);
  }
  void SetUnsigned(uint64_t v) noexcept {
    std::memcpy(m_bytes, &v, sizeof v);
    m_bytes[8] = m_bytes[9] = m_bytes[10] = 0;
    SetTag(tagUnsigned);
  }
  void SetDouble(double v) noexcept {
    std::memcpy(m_bytes, &v, sizeof v);
    m_bytes[8] = m_bytes[9] = m_bytes[10] = 0;
    SetTag(tagDouble);
  }
  template <class T>
  T SaturateSigned() const noexcept {
    const int64_t v = GetInt64();
    if constexpr (sizeof(T) < sizeof(int64_t)) {
      if (v < static_cast<int64_t>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
      if (v > static_cast<int64_t>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
    }
    return static_cast<T>(v);
  }
  template <class T>
  T SaturateUnsigned() const noexcept {
    const uint64_t v = GetUInt64();
    if (v > static_cast<uint64_t>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
    return static_cast<T>(v);
  }

  // Stores UTF-8 text: inline when it fits, else as a heap CString.
  void InitUtf8(const char* text, size_t length);
  void InitWide(const wchar_t* text, size_t length);
  void InitHeap(const CString& text);
  void CopyHeapString(const CVariant& other);
  void DestroyHeapString() noexcept;

  template <class T>
  void SetArrayText(char letter, const T* values, int count, std::string_view name = {});
  template <class T>
  int GetArrayText(char letter, T* buffer, int capacity) const;

  friend class CVariantText;

  // Aligned to 4 so that the variant is exactly twelve bytes; the heap string
  // is only touched through a properly aligned copy of its pointer.
  alignas(4) unsigned char m_bytes[12];
};

static_assert(sizeof(CVariant) == 12, "a variant is twelve bytes");
