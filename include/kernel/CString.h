#pragma once
// CString / CStringA: the framework's strings. The object is one pointer to
// the characters of a shared, reference-counted buffer; copies share the
// buffer and the first change makes a private copy (copy-on-write). Sharing
// is thread-safe: distinct CString objects that share a buffer may be used
// from different threads; one CString object is not to be changed by two
// threads at once (as for any value type).
//
// The wide string holds wchar_t (UTF-32 on Linux); the narrow one holds bytes,
// taken as UTF-8 wherever a conversion between the two widths happens.
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string_view>
#include <type_traits>

#include <kernel/Export.h>
#include <kernel/WinTypes.h>

template <typename T>
class CStringT;

namespace NkFormatDetail {
// Format arguments pass through C varargs, where a string object cannot go:
// strings are handed over as their character pointers, everything else as is.
template <typename U>
const U* Arg(const CStringT<U>& s) noexcept {
  return s.GetString();
}
template <typename A>
const A& Arg(const A& a) noexcept {
  // Anything else with a copy constructor would reach the callee as garbage.
  static_assert(std::is_trivially_copyable_v<A>, "pass .c_str() or .GetString() for string objects");
  return a;
}
}  // namespace NkFormatDetail

template <typename T>
class NK_API CStringT {
 public:
  using XCHAR = T;
  using YCHAR = std::conditional_t<sizeof(T) == 1, wchar_t, char>;

  CStringT() noexcept;
  CStringT(const CStringT& other) noexcept;
  CStringT(CStringT&& other) noexcept;
  CStringT(const T* psz);
  CStringT(const T* pch, int length);
  // Converted from the other width (UTF-8 <-> wide).
  CStringT(const YCHAR* psz);
  CStringT(const YCHAR* pch, int length);
  CStringT(const CStringT<YCHAR>& other);
  // `repeat` copies of one character.
  explicit CStringT(T ch, int repeat = 1);
  CStringT(std::basic_string_view<T> sv);
  ~CStringT();

  CStringT& operator=(const CStringT& other) noexcept;
  CStringT& operator=(CStringT&& other) noexcept;
  CStringT& operator=(const T* psz);
  CStringT& operator=(const YCHAR* psz);
  CStringT& operator=(T ch);

  // --- Length and access -------------------------------------------------
  int GetLength() const noexcept;
  BOOL IsEmpty() const noexcept { return GetLength() == 0; }
  void Empty() noexcept;
  const T* GetString() const noexcept { return m_pszData; }
  operator const T*() const noexcept { return m_pszData; }
  T GetAt(int index) const;  // throws CInvalidArgException when out of range
  void SetAt(int index, T ch);
  T operator[](int index) const { return GetAt(index); }
  std::basic_string_view<T> View() const noexcept { return {m_pszData, static_cast<size_t>(GetLength())}; }

  // --- Building ----------------------------------------------------------
  void Append(const T* psz);
  void Append(const T* pch, int length);
  void Append(const CStringT& s);
  void AppendChar(T ch);
  CStringT& operator+=(const CStringT& s);
  CStringT& operator+=(const T* psz);
  CStringT& operator+=(T ch);
  int Insert(int index, const T* psz);
  int Insert(int index, T ch);
  int Delete(int index, int count = 1);
  int Replace(T oldCh, T newCh);
  int Replace(const T* oldText, const T* newText);
  int Remove(T ch);
  void SetString(const T* pch, int length);
  void Truncate(int length);

  // printf-style formatting with the framework's meaning of the conversions:
  // %s is a string of this width, %S of the other width, %hs narrow, %ls and
  // %ws wide; %c likewise; %ld is 32 bits; %I64d, %lld and %I64x are 64 bits;
  // %I32d 32 bits; %p prints all 16 upper-case hex digits. Numbers always use
  // the C locale. String objects may be passed for %s directly.
  template <typename... A>
  void Format(const T* format, const A&... args) {
    FormatArgs(format, NkFormatDetail::Arg(args)...);
  }
  template <typename... A>
  void AppendFormat(const T* format, const A&... args) {
    AppendFormatArgs(format, NkFormatDetail::Arg(args)...);
  }
  void FormatV(const T* format, va_list args);
  void AppendFormatV(const T* format, va_list args);

  // --- Comparing and searching -------------------------------------------
  int Compare(const T* psz) const;        // ordinal, by code unit value
  int CompareNoCase(const T* psz) const;  // ordinal after lower-casing
  int Find(T ch, int start = 0) const;    // -1 when absent
  int Find(const T* sub, int start = 0) const;
  int FindOneOf(const T* charSet) const;
  int ReverseFind(T ch) const;

  CStringT Left(int count) const;
  CStringT Mid(int first) const;
  CStringT Mid(int first, int count) const;
  CStringT Right(int count) const;
  CStringT SpanIncluding(const T* charSet) const;
  CStringT SpanExcluding(const T* charSet) const;
  // Next token after `start` delimited by any of `delims`; start becomes -1
  // (and the result empty) when no token is left.
  CStringT Tokenize(const T* delims, int& start) const;

  // --- Changing in place ---------------------------------------------------
  CStringT& Trim();
  CStringT& Trim(T ch);
  CStringT& Trim(const T* chars);
  CStringT& TrimLeft();
  CStringT& TrimLeft(T ch);
  CStringT& TrimLeft(const T* chars);
  CStringT& TrimRight();
  CStringT& TrimRight(T ch);
  CStringT& TrimRight(const T* chars);
  CStringT& MakeLower();
  CStringT& MakeUpper();
  CStringT& MakeReverse();

  // --- Direct buffer access ----------------------------------------------
  // A private, writable buffer of at least minLength characters plus the
  // terminator. Call ReleaseBuffer before any other member.
  T* GetBuffer();
  T* GetBuffer(int minLength);
  T* GetBufferSetLength(int length);
  // newLength -1 means "up to the first terminator".
  void ReleaseBuffer(int newLength = -1);
  void Preallocate(int length);
  void FreeExtra();
  int GetAllocLength() const noexcept;

 private:
  struct Data;
  Data* GetData() const noexcept;
  void Release() noexcept;
  void PrepareWrite(int length);  // own the buffer with room for `length`
  void Reallocate(int length);
  void Assign(const T* pch, int length);
  void AppendConverted(const YCHAR* pch, int length);
  void FormatArgs(const T* format, ...);
  void AppendFormatArgs(const T* format, ...);

  T* m_pszData;
};

extern template class CStringT<wchar_t>;
extern template class CStringT<char>;

using CString = CStringT<wchar_t>;
using CStringW = CStringT<wchar_t>;
using CStringA = CStringT<char>;

static_assert(sizeof(CString) == sizeof(void*), "CString is one pointer");
static_assert(sizeof(CStringA) == sizeof(void*), "CStringA is one pointer");

template <typename T>
CStringT<T> operator+(const CStringT<T>& a, const CStringT<T>& b) {
  CStringT<T> r(a);
  r += b;
  return r;
}
template <typename T>
CStringT<T> operator+(const CStringT<T>& a, const T* b) {
  CStringT<T> r(a);
  r += b;
  return r;
}
template <typename T>
CStringT<T> operator+(const T* a, const CStringT<T>& b) {
  CStringT<T> r(a);
  r += b;
  return r;
}
template <typename T>
CStringT<T> operator+(const CStringT<T>& a, T ch) {
  CStringT<T> r(a);
  r += ch;
  return r;
}
template <typename T>
CStringT<T> operator+(T ch, const CStringT<T>& b) {
  CStringT<T> r(ch);
  r += b;
  return r;
}

template <typename T>
bool operator==(const CStringT<T>& a, const CStringT<T>& b) {
  return a.GetLength() == b.GetLength() && a.Compare(b) == 0;
}
template <typename T>
bool operator==(const CStringT<T>& a, const T* b) {
  return a.Compare(b) == 0;
}
template <typename T>
bool operator==(const T* a, const CStringT<T>& b) {
  return b.Compare(a) == 0;
}
template <typename T>
bool operator!=(const CStringT<T>& a, const CStringT<T>& b) {
  return !(a == b);
}
template <typename T>
bool operator!=(const CStringT<T>& a, const T* b) {
  return !(a == b);
}
template <typename T>
bool operator!=(const T* a, const CStringT<T>& b) {
  return !(a == b);
}
template <typename T>
bool operator<(const CStringT<T>& a, const CStringT<T>& b) {
  return a.Compare(b) < 0;
}
template <typename T>
bool operator>(const CStringT<T>& a, const CStringT<T>& b) {
  return a.Compare(b) > 0;
}
template <typename T>
bool operator<=(const CStringT<T>& a, const CStringT<T>& b) {
  return a.Compare(b) <= 0;
}
template <typename T>
bool operator>=(const CStringT<T>& a, const CStringT<T>& b) {
  return a.Compare(b) >= 0;
}

template <typename T>
struct std::hash<CStringT<T>> {
  size_t operator()(const CStringT<T>& s) const noexcept { return std::hash<std::basic_string_view<T>>()(s.View()); }
};
