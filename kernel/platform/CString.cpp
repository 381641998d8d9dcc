#include <kernel/CString.h>

#include <kernel/Exceptions.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <string>

#include "platform/FormatEngine.h"
#include "platform/Utf.h"

// Buffer header, placed right before the characters. A count of -1 marks the
// shared static empty buffer, which is never freed or written.
template <typename T>
struct CStringT<T>::Data {
  std::atomic<int> refs;
  int length;
  int alloc;
  int reserved;

  T* Chars() noexcept { return reinterpret_cast<T*>(this + 1); }
};

namespace {

// Static empty buffers: a header followed directly by a terminator.
struct alignas(16) EmptyStorage {
  std::atomic<int> refs{-1};
  int length = 0;
  int alloc = 0;
  int reserved = 0;
  wchar_t nul[2] = {0, 0};
};
EmptyStorage g_emptyStorage;

template <typename T>
size_t Len(const T* s) {
  if constexpr (sizeof(T) == 1) {
    return std::strlen(s);
  } else {
    return std::wcslen(s);
  }
}

template <typename T>
int CheckedLength(size_t n) {
  if (n > static_cast<size_t>(INT_MAX) - 64) throw CMemoryException();
  return static_cast<int>(n);
}

template <typename T>
using Unsigned = std::make_unsigned_t<T>;

template <typename T>
T ToLower(T c) {
  if constexpr (sizeof(T) == 1) {
    auto u = static_cast<unsigned char>(c);
    return (u >= 'A' && u <= 'Z') ? static_cast<T>(u + 32) : c;
  } else {
    return static_cast<T>(std::towlower(static_cast<wint_t>(c)));
  }
}

template <typename T>
T ToUpper(T c) {
  if constexpr (sizeof(T) == 1) {
    auto u = static_cast<unsigned char>(c);
    return (u >= 'a' && u <= 'z') ? static_cast<T>(u - 32) : c;
  } else {
    return static_cast<T>(std::towupper(static_cast<wint_t>(c)));
  }
}

template <typename T>
bool IsSpace(T c) {
  if constexpr (sizeof(T) == 1) {
    return c == ' ' || (c >= '\t' && c <= '\r');
  } else {
    return std::iswspace(static_cast<wint_t>(c)) != 0;
  }
}

template <typename T>
bool InSet(T c, const T* set) {
  for (; *set; ++set)
    if (*set == c) return true;
  return false;
}

template <typename T>
std::basic_string<T> Convert(const typename CStringT<T>::YCHAR* s, size_t n) {
  if constexpr (sizeof(T) == 1) {
    return Kernel::Utf::WideToUtf8(s, n);
  } else {
    return Kernel::Utf::Utf8ToWide(s, n);
  }
}

}  // namespace

template <typename T>
typename CStringT<T>::Data* CStringT<T>::GetData() const noexcept {
  return reinterpret_cast<Data*>(m_pszData) - 1;
}

template <typename T>
static T* EmptyChars() noexcept {
  static_assert(sizeof(EmptyStorage) >= 16 + 2 * sizeof(T));
  return reinterpret_cast<T*>(reinterpret_cast<char*>(&g_emptyStorage) + 16);
}

template <typename T>
CStringT<T>::CStringT() noexcept : m_pszData(EmptyChars<T>()) {}

template <typename T>
CStringT<T>::CStringT(const CStringT& other) noexcept : m_pszData(other.m_pszData) {
  if (m_pszData != EmptyChars<T>()) GetData()->refs.fetch_add(1, std::memory_order_relaxed);
}

template <typename T>
CStringT<T>::CStringT(CStringT&& other) noexcept : m_pszData(other.m_pszData) {
  other.m_pszData = EmptyChars<T>();
}

template <typename T>
CStringT<T>::CStringT(const T* psz) : m_pszData(EmptyChars<T>()) {
  if (psz) Assign(psz, CheckedLength<T>(Len(psz)));
}

template <typename T>
CStringT<T>::CStringT(const T* pch, int length) : m_pszData(EmptyChars<T>()) {
  if (length < 0) throw CInvalidArgException();
  if (length > 0 && !pch) throw CInvalidArgException();
  Assign(pch, length);
}

template <typename T>
CStringT<T>::CStringT(const YCHAR* psz) : m_pszData(EmptyChars<T>()) {
  if (psz) AppendConverted(psz, CheckedLength<T>(Len(psz)));
}

template <typename T>
CStringT<T>::CStringT(const YCHAR* pch, int length) : m_pszData(EmptyChars<T>()) {
  if (length < 0) throw CInvalidArgException();
  if (length > 0 && !pch) throw CInvalidArgException();
  AppendConverted(pch, length);
}

template <typename T>
CStringT<T>::CStringT(const CStringT<YCHAR>& other) : m_pszData(EmptyChars<T>()) {
  AppendConverted(other.GetString(), other.GetLength());
}

template <typename T>
CStringT<T>::CStringT(T ch, int repeat) : m_pszData(EmptyChars<T>()) {
  if (repeat < 0) throw CInvalidArgException();
  if (repeat == 0) return;
  PrepareWrite(repeat);
  std::fill_n(m_pszData, repeat, ch);
  m_pszData[repeat] = 0;
  GetData()->length = repeat;
}

template <typename T>
CStringT<T>::CStringT(std::basic_string_view<T> sv) : m_pszData(EmptyChars<T>()) {
  Assign(sv.data(), CheckedLength<T>(sv.size()));
}

template <typename T>
CStringT<T>::~CStringT() {
  Release();
}

template <typename T>
void CStringT<T>::Release() noexcept {
  // The shared empty buffer is static and never counted.
  if (m_pszData == EmptyChars<T>()) return;
  Data* d = GetData();
  if (d->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(d);
  m_pszData = EmptyChars<T>();
}

template <typename T>
CStringT<T>& CStringT<T>::operator=(const CStringT& other) noexcept {
  if (m_pszData != other.m_pszData) {
    if (other.m_pszData != EmptyChars<T>()) other.GetData()->refs.fetch_add(1, std::memory_order_relaxed);
    Release();
    m_pszData = other.m_pszData;
  }
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::operator=(CStringT&& other) noexcept {
  if (this != &other) {
    Release();
    m_pszData = other.m_pszData;
    other.m_pszData = EmptyChars<T>();
  }
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::operator=(const T* psz) {
  if (!psz) {
    Empty();
  } else {
    SetString(psz, CheckedLength<T>(Len(psz)));
  }
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::operator=(const YCHAR* psz) {
  CStringT tmp(psz);
  *this = std::move(tmp);
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::operator=(T ch) {
  SetString(&ch, 1);
  return *this;
}

template <typename T>
int CStringT<T>::GetLength() const noexcept {
  return GetData()->length;
}

template <typename T>
int CStringT<T>::GetAllocLength() const noexcept {
  return GetData()->alloc;
}

template <typename T>
void CStringT<T>::Empty() noexcept {
  Release();
}

// Makes the buffer private to this object with room for `length` characters
// (plus terminator), keeping the current content up to that length.
template <typename T>
void CStringT<T>::PrepareWrite(int length) {
  Data* d = GetData();
  if (d->refs.load(std::memory_order_acquire) == 1 && d->alloc >= length) return;
  int want = length;
  if (d->refs.load(std::memory_order_relaxed) == 1 && length > d->alloc) {
    // Growing our own buffer: leave head-room so repeated appends stay linear.
    int64_t grown = static_cast<int64_t>(d->alloc) + d->alloc / 2;
    if (grown > want && grown < INT_MAX - 64) want = static_cast<int>(grown);
  }
  Reallocate(want);
}

template <typename T>
void CStringT<T>::Reallocate(int length) {
  if (length < 0 || length > INT_MAX - 64) throw CMemoryException();
  Data* old = GetData();
  int keep = std::min(old->length, length);
  auto* d = static_cast<Data*>(std::malloc(sizeof(Data) + (static_cast<size_t>(length) + 1) * sizeof(T)));
  if (!d) throw CMemoryException();
  new (&d->refs) std::atomic<int>(1);
  d->length = keep;
  d->alloc = length;
  d->reserved = 0;
  std::memcpy(d->Chars(), m_pszData, static_cast<size_t>(keep) * sizeof(T));
  d->Chars()[keep] = 0;
  Release();
  m_pszData = d->Chars();
}

template <typename T>
void CStringT<T>::Assign(const T* pch, int length) {
  SetString(pch, length);
}

template <typename T>
void CStringT<T>::SetString(const T* pch, int length) {
  if (length < 0) throw CInvalidArgException();
  if (length == 0) {
    Empty();
    return;
  }
  if (!pch) throw CInvalidArgException();
  // The source may live inside our own buffer: copy it out first.
  std::basic_string<T> copy(pch, static_cast<size_t>(length));
  Data* d = GetData();
  if (d->refs.load(std::memory_order_acquire) != 1 || d->alloc < length) {
    Release();
    Reallocate(length);
  }
  std::memcpy(m_pszData, copy.data(), static_cast<size_t>(length) * sizeof(T));
  m_pszData[length] = 0;
  GetData()->length = length;
}

template <typename T>
void CStringT<T>::AppendConverted(const YCHAR* pch, int length) {
  std::basic_string<T> s = Convert<T>(pch, static_cast<size_t>(length));
  Append(s.data(), CheckedLength<T>(s.size()));
}

template <typename T>
T CStringT<T>::GetAt(int index) const {
  if (index < 0 || index >= GetLength()) throw CInvalidArgException();
  return m_pszData[index];
}

template <typename T>
void CStringT<T>::SetAt(int index, T ch) {
  if (index < 0 || index >= GetLength()) throw CInvalidArgException();
  PrepareWrite(GetLength());
  m_pszData[index] = ch;
}

template <typename T>
void CStringT<T>::Append(const T* psz) {
  if (psz) Append(psz, CheckedLength<T>(Len(psz)));
}

template <typename T>
void CStringT<T>::Append(const T* pch, int length) {
  if (length < 0) throw CInvalidArgException();
  if (length == 0) return;
  if (!pch) throw CInvalidArgException();
  int old = GetLength();
  if (static_cast<int64_t>(old) + length > INT_MAX - 64) throw CMemoryException();
  // Appending part of ourselves: remember where it sits, the buffer may move.
  const T* begin = m_pszData;
  bool inside = pch >= begin && pch <= begin + old;
  ptrdiff_t offset = pch - begin;
  PrepareWrite(old + length);
  const T* src = inside ? m_pszData + offset : pch;
  std::memmove(m_pszData + old, src, static_cast<size_t>(length) * sizeof(T));
  m_pszData[old + length] = 0;
  GetData()->length = old + length;
}

template <typename T>
void CStringT<T>::Append(const CStringT& s) {
  if (s.m_pszData == m_pszData) {
    CStringT copy(s);
    Append(copy.m_pszData, copy.GetLength());
  } else {
    Append(s.m_pszData, s.GetLength());
  }
}

template <typename T>
void CStringT<T>::AppendChar(T ch) {
  Append(&ch, 1);
}

template <typename T>
CStringT<T>& CStringT<T>::operator+=(const CStringT& s) {
  Append(s);
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::operator+=(const T* psz) {
  Append(psz);
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::operator+=(T ch) {
  AppendChar(ch);
  return *this;
}

template <typename T>
int CStringT<T>::Insert(int index, const T* psz) {
  int len = GetLength();
  index = std::clamp(index, 0, len);
  if (!psz || !*psz) return len;
  std::basic_string<T> s(m_pszData, static_cast<size_t>(len));
  s.insert(static_cast<size_t>(index), psz);
  SetString(s.data(), CheckedLength<T>(s.size()));
  return GetLength();
}

template <typename T>
int CStringT<T>::Insert(int index, T ch) {
  T buf[2] = {ch, 0};
  int len = GetLength();
  index = std::clamp(index, 0, len);
  std::basic_string<T> s(m_pszData, static_cast<size_t>(len));
  s.insert(s.begin() + index, buf[0]);
  SetString(s.data(), CheckedLength<T>(s.size()));
  return GetLength();
}

template <typename T>
int CStringT<T>::Delete(int index, int count) {
  int len = GetLength();
  if (index < 0) index = 0;
  if (count > 0 && index < len) {
    count = std::min(count, len - index);
    PrepareWrite(len);
    std::memmove(m_pszData + index, m_pszData + index + count, static_cast<size_t>(len - index - count) * sizeof(T));
    len -= count;
    m_pszData[len] = 0;
    GetData()->length = len;
  }
  return len;
}

template <typename T>
int CStringT<T>::Replace(T oldCh, T newCh) {
  int len = GetLength();
  int n = 0;
  for (int i = 0; i < len; ++i) {
    if (m_pszData[i] == oldCh) {
      if (n++ == 0) PrepareWrite(len);
      m_pszData[i] = newCh;
    }
  }
  return n;
}

template <typename T>
int CStringT<T>::Replace(const T* oldText, const T* newText) {
  if (!oldText || !*oldText) return 0;
  if (!newText) newText = EmptyChars<T>();
  std::basic_string_view<T> from(oldText), to(newText);
  std::basic_string_view<T> src = View();
  std::basic_string<T> out;
  int n = 0;
  size_t pos = 0;
  for (;;) {
    size_t hit = src.find(from, pos);
    if (hit == src.npos) break;
    out.append(src.substr(pos, hit - pos));
    out.append(to);
    pos = hit + from.size();
    ++n;
  }
  if (n == 0) return 0;
  out.append(src.substr(pos));
  SetString(out.data(), CheckedLength<T>(out.size()));
  return n;
}

template <typename T>
int CStringT<T>::Remove(T ch) {
  int len = GetLength();
  int kept = 0;
  bool owned = false;
  for (int i = 0; i < len; ++i) {
    if (m_pszData[i] == ch) {
      if (!owned) {
        PrepareWrite(len);
        owned = true;
      }
      continue;
    }
    if (owned) m_pszData[kept] = m_pszData[i];
    ++kept;
  }
  if (!owned) return 0;
  m_pszData[kept] = 0;
  GetData()->length = kept;
  return len - kept;
}

template <typename T>
void CStringT<T>::Truncate(int length) {
  if (length < 0 || length > GetLength()) throw CInvalidArgException();
  if (length == GetLength()) return;
  PrepareWrite(GetLength());
  m_pszData[length] = 0;
  GetData()->length = length;
}

// --- Formatting ---------------------------------------------------------

template <typename T>
void CStringT<T>::FormatArgs(const T* format, ...) {
  va_list ap;
  va_start(ap, format);
  try {
    FormatV(format, ap);
  } catch (...) {
    va_end(ap);
    throw;
  }
  va_end(ap);
}

template <typename T>
void CStringT<T>::AppendFormatArgs(const T* format, ...) {
  va_list ap;
  va_start(ap, format);
  try {
    AppendFormatV(format, ap);
  } catch (...) {
    va_end(ap);
    throw;
  }
  va_end(ap);
}

template <typename T>
void CStringT<T>::FormatV(const T* format, va_list args) {
  if (!format) throw CInvalidArgException();
  std::basic_string<T> out;
  va_list ap;
  va_copy(ap, args);
  Kernel::FormatEngine<T>::Run(out, format, ap);
  va_end(ap);
  SetString(out.data(), CheckedLength<T>(out.size()));
}

template <typename T>
void CStringT<T>::AppendFormatV(const T* format, va_list args) {
  if (!format) throw CInvalidArgException();
  std::basic_string<T> out;
  va_list ap;
  va_copy(ap, args);
  Kernel::FormatEngine<T>::Run(out, format, ap);
  va_end(ap);
  Append(out.data(), CheckedLength<T>(out.size()));
}

// --- Comparing and searching -------------------------------------------

template <typename T>
int CStringT<T>::Compare(const T* psz) const {
  if (!psz) psz = EmptyChars<T>();
  const T* a = m_pszData;
  for (;; ++a, ++psz) {
    auto ca = static_cast<Unsigned<T>>(*a);
    auto cb = static_cast<Unsigned<T>>(*psz);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

template <typename T>
int CStringT<T>::CompareNoCase(const T* psz) const {
  if (!psz) psz = EmptyChars<T>();
  const T* a = m_pszData;
  for (;; ++a, ++psz) {
    auto ca = static_cast<Unsigned<T>>(ToLower(*a));
    auto cb = static_cast<Unsigned<T>>(ToLower(*psz));
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

template <typename T>
int CStringT<T>::Find(T ch, int start) const {
  int len = GetLength();
  if (start < 0) start = 0;
  for (int i = start; i < len; ++i)
    if (m_pszData[i] == ch) return i;
  return -1;
}

template <typename T>
int CStringT<T>::Find(const T* sub, int start) const {
  if (!sub) return -1;
  int len = GetLength();
  if (start < 0) start = 0;
  if (start > len) return -1;
  size_t hit = View().find(std::basic_string_view<T>(sub), static_cast<size_t>(start));
  return hit == std::basic_string_view<T>::npos ? -1 : static_cast<int>(hit);
}

template <typename T>
int CStringT<T>::FindOneOf(const T* charSet) const {
  if (!charSet) return -1;
  int len = GetLength();
  for (int i = 0; i < len; ++i)
    if (InSet(m_pszData[i], charSet)) return i;
  return -1;
}

template <typename T>
int CStringT<T>::ReverseFind(T ch) const {
  for (int i = GetLength() - 1; i >= 0; --i)
    if (m_pszData[i] == ch) return i;
  return -1;
}

template <typename T>
CStringT<T> CStringT<T>::Left(int count) const {
  int len = GetLength();
  count = std::clamp(count, 0, len);
  if (count == len) return *this;
  return CStringT(m_pszData, count);
}

template <typename T>
CStringT<T> CStringT<T>::Mid(int first) const {
  return Mid(first, INT_MAX);
}

template <typename T>
CStringT<T> CStringT<T>::Mid(int first, int count) const {
  int len = GetLength();
  first = std::clamp(first, 0, len);
  count = std::clamp(count, 0, len - first);
  if (first == 0 && count == len) return *this;
  return CStringT(m_pszData + first, count);
}

template <typename T>
CStringT<T> CStringT<T>::Right(int count) const {
  int len = GetLength();
  count = std::clamp(count, 0, len);
  if (count == len) return *this;
  return CStringT(m_pszData + len - count, count);
}

template <typename T>
CStringT<T> CStringT<T>::SpanIncluding(const T* charSet) const {
  if (!charSet) return CStringT();
  int i = 0, len = GetLength();
  while (i < len && InSet(m_pszData[i], charSet)) ++i;
  return Left(i);
}

template <typename T>
CStringT<T> CStringT<T>::SpanExcluding(const T* charSet) const {
  if (!charSet) return *this;
  int i = 0, len = GetLength();
  while (i < len && !InSet(m_pszData[i], charSet)) ++i;
  return Left(i);
}

template <typename T>
CStringT<T> CStringT<T>::Tokenize(const T* delims, int& start) const {
  int len = GetLength();
  if (start < 0 || start >= len) {
    start = -1;
    return CStringT();
  }
  if (!delims || !*delims) {
    CStringT r = Mid(start);
    start = len;
    return r;
  }
  int i = start;
  while (i < len && InSet(m_pszData[i], delims)) ++i;
  if (i >= len) {
    start = -1;
    return CStringT();
  }
  int j = i;
  while (j < len && !InSet(m_pszData[j], delims)) ++j;
  start = j < len ? j + 1 : j;
  return Mid(i, j - i);
}

// --- Trimming and case ---------------------------------------------------

template <typename T>
CStringT<T>& CStringT<T>::Trim() {
  return TrimRight().TrimLeft();
}
template <typename T>
CStringT<T>& CStringT<T>::Trim(T ch) {
  return TrimRight(ch).TrimLeft(ch);
}
template <typename T>
CStringT<T>& CStringT<T>::Trim(const T* chars) {
  return TrimRight(chars).TrimLeft(chars);
}

namespace {
template <typename T, typename Pred>
int LeadCount(const T* s, int len, Pred pred) {
  int i = 0;
  while (i < len && pred(s[i])) ++i;
  return i;
}
template <typename T, typename Pred>
int KeepCount(const T* s, int len, Pred pred) {
  int i = len;
  while (i > 0 && pred(s[i - 1])) --i;
  return i;
}
}  // namespace

template <typename T>
CStringT<T>& CStringT<T>::TrimLeft() {
  Delete(0, LeadCount(m_pszData, GetLength(), [](T c) { return IsSpace(c); }));
  return *this;
}
template <typename T>
CStringT<T>& CStringT<T>::TrimLeft(T ch) {
  Delete(0, LeadCount(m_pszData, GetLength(), [ch](T c) { return c == ch; }));
  return *this;
}
template <typename T>
CStringT<T>& CStringT<T>::TrimLeft(const T* chars) {
  if (!chars) return *this;
  Delete(0, LeadCount(m_pszData, GetLength(), [chars](T c) { return InSet(c, chars); }));
  return *this;
}
template <typename T>
CStringT<T>& CStringT<T>::TrimRight() {
  Truncate(KeepCount(m_pszData, GetLength(), [](T c) { return IsSpace(c); }));
  return *this;
}
template <typename T>
CStringT<T>& CStringT<T>::TrimRight(T ch) {
  Truncate(KeepCount(m_pszData, GetLength(), [ch](T c) { return c == ch; }));
  return *this;
}
template <typename T>
CStringT<T>& CStringT<T>::TrimRight(const T* chars) {
  if (!chars) return *this;
  Truncate(KeepCount(m_pszData, GetLength(), [chars](T c) { return InSet(c, chars); }));
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::MakeLower() {
  int len = GetLength();
  if (len == 0) return *this;
  PrepareWrite(len);
  for (int i = 0; i < len; ++i) m_pszData[i] = ToLower(m_pszData[i]);
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::MakeUpper() {
  int len = GetLength();
  if (len == 0) return *this;
  PrepareWrite(len);
  for (int i = 0; i < len; ++i) m_pszData[i] = ToUpper(m_pszData[i]);
  return *this;
}

template <typename T>
CStringT<T>& CStringT<T>::MakeReverse() {
  int len = GetLength();
  if (len < 2) return *this;
  PrepareWrite(len);
  std::reverse(m_pszData, m_pszData + len);
  return *this;
}

// --- Direct buffer access ------------------------------------------------

template <typename T>
T* CStringT<T>::GetBuffer() {
  return GetBuffer(0);
}

template <typename T>
T* CStringT<T>::GetBuffer(int minLength) {
  if (minLength < 0) throw CInvalidArgException();
  int need = std::max(minLength, GetLength());
  Data* d = GetData();
  if (d->refs.load(std::memory_order_acquire) != 1 || d->alloc < need) Reallocate(need);
  return m_pszData;
}

template <typename T>
T* CStringT<T>::GetBufferSetLength(int length) {
  T* p = GetBuffer(length);
  p[length] = 0;
  GetData()->length = length;
  return p;
}

template <typename T>
void CStringT<T>::ReleaseBuffer(int newLength) {
  Data* d = GetData();
  if (d->refs.load(std::memory_order_relaxed) < 0) return;  // nothing was handed out
  if (newLength < 0) {
    newLength = 0;
    while (newLength < d->alloc && m_pszData[newLength] != 0) ++newLength;
  }
  if (newLength > d->alloc) throw CInvalidArgException();
  d->length = newLength;
  m_pszData[newLength] = 0;
  if (newLength == 0) Empty();
}

template <typename T>
void CStringT<T>::Preallocate(int length) {
  if (length < 0) throw CInvalidArgException();
  Data* d = GetData();
  if (d->refs.load(std::memory_order_acquire) != 1 || d->alloc < length) Reallocate(std::max(length, GetLength()));
}

template <typename T>
void CStringT<T>::FreeExtra() {
  Data* d = GetData();
  if (d->refs.load(std::memory_order_acquire) == 1 && d->alloc > d->length) {
    if (d->length == 0) {
      Empty();
    } else {
      Reallocate(d->length);
    }
  }
}

template class CStringT<wchar_t>;
template class CStringT<char>;
