// The array text form: "_arr_<letter><name>:<count>:e0;e1;...". Elements never
// contain a colon, so the count always sits between the last two colons and
// a name may hold any text, colons included.
#include <kernel/Variant.h>

#include <limits>
#include <string>

#include "persist/VariantText.h"

using namespace Kernel::VariantText;

namespace {

template <class T>
constexpr bool kIntegral = std::is_integral_v<T>;

template <class T>
void AppendElement(std::string& out, const T& v) {
  if constexpr (std::is_same_v<T, bool>) {
    out += v ? '1' : '0';
  } else if constexpr (kIntegral<T> && std::is_signed_v<T>) {
    AppendInt(out, static_cast<int64_t>(v));
  } else if constexpr (kIntegral<T>) {
    AppendUInt(out, static_cast<uint64_t>(v));
  } else if constexpr (std::is_floating_point_v<T>) {
    AppendDouble(out, static_cast<double>(v));
  } else if constexpr (std::is_same_v<T, POINT>) {
    AppendInt(out, v.x), out += ',', AppendInt(out, v.y);
  } else if constexpr (std::is_same_v<T, SIZE>) {
    AppendInt(out, v.cx), out += ',', AppendInt(out, v.cy);
  } else if constexpr (std::is_same_v<T, RECT>) {
    AppendInt(out, v.left), out += ',', AppendInt(out, v.top), out += ',';
    AppendInt(out, v.right), out += ',', AppendInt(out, v.bottom);
  } else if constexpr (std::is_same_v<T, DBLPOINT>) {
    AppendDouble(out, v.x), out += ',', AppendDouble(out, v.y);
  } else if constexpr (std::is_same_v<T, DBLSIZE>) {
    AppendDouble(out, v.cx), out += ',', AppendDouble(out, v.cy);
  } else {
    static_assert(std::is_same_v<T, DBLRECT>);
    AppendDouble(out, v.left), out += ',', AppendDouble(out, v.top), out += ',';
    AppendDouble(out, v.right), out += ',', AppendDouble(out, v.bottom);
  }
}

bool Comma(const char*& p, const char* end) {
  if (p == end || *p != ',') return false;
  ++p;
  return true;
}

bool ReadInt32s(const char*& p, const char* end, int32_t* v, int n) {
  for (int i = 0; i < n; ++i) {
    int64_t x;
    if ((i && !Comma(p, end)) ||
        !ReadIntField(p, end, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(), x)) {
      return false;
    }
    v[i] = static_cast<int32_t>(x);
  }
  return true;
}

bool ReadDoubles(const char*& p, const char* end, double* v, int n) {
  for (int i = 0; i < n; ++i) {
    if ((i && !Comma(p, end)) || !ReadDoubleField(p, end, v[i])) return false;
  }
  return true;
}

template <class T>
bool ReadElement(const char*& p, const char* end, T& v) {
  if constexpr (std::is_same_v<T, bool>) {
    int64_t x;
    if (!ReadIntField(p, end, 0, 1, x)) return false;
    v = x != 0;
  } else if constexpr (kIntegral<T> && std::is_signed_v<T>) {
    int64_t x;
    if (!ReadIntField(p, end, std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), x)) return false;
    v = static_cast<T>(x);
  } else if constexpr (kIntegral<T>) {
    uint64_t x;
    if (!ReadUIntField(p, end, std::numeric_limits<T>::max(), x)) return false;
    v = static_cast<T>(x);
  } else if constexpr (std::is_floating_point_v<T>) {
    double x;
    if (!ReadDoubleField(p, end, x)) return false;
    v = static_cast<T>(x);
  } else if constexpr (std::is_same_v<T, POINT>) {
    int32_t x[2];
    if (!ReadInt32s(p, end, x, 2)) return false;
    v = POINT{x[0], x[1]};
  } else if constexpr (std::is_same_v<T, SIZE>) {
    int32_t x[2];
    if (!ReadInt32s(p, end, x, 2)) return false;
    v = SIZE{x[0], x[1]};
  } else if constexpr (std::is_same_v<T, RECT>) {
    int32_t x[4];
    if (!ReadInt32s(p, end, x, 4)) return false;
    v = RECT{x[0], x[1], x[2], x[3]};
  } else if constexpr (std::is_same_v<T, DBLPOINT>) {
    double x[2];
    if (!ReadDoubles(p, end, x, 2)) return false;
    v = DBLPOINT{x[0], x[1]};
  } else if constexpr (std::is_same_v<T, DBLSIZE>) {
    double x[2];
    if (!ReadDoubles(p, end, x, 2)) return false;
    v = DBLSIZE{x[0], x[1]};
  } else {
    double x[4];
    if (!ReadDoubles(p, end, x, 4)) return false;
    v = DBLRECT{x[0], x[1], x[2], x[3]};
  }
  return true;
}

struct Header {
  char letter;
  std::string_view name;
  int count;
  const char* body;
};

// Splits the text into its header fields; false when it is not an array.
bool ReadHeader(std::string_view text, Header& h) {
  if (text.size() < 9 || text.compare(0, 5, "_arr_") != 0) return false;
  const size_t last = text.rfind(':');
  if (last == std::string_view::npos || last < 7) return false;
  const size_t previous = text.rfind(':', last - 1);
  if (previous == std::string_view::npos || previous < 6 || previous + 1 == last) return false;
  int64_t count = 0;
  for (size_t i = previous + 1; i < last; ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return false;
    count = count * 10 + (c - '0');
    if (count > std::numeric_limits<int>::max()) return false;
  }
  h.letter = text[5];
  h.name = text.substr(6, previous - 6);
  h.count = static_cast<int>(count);
  h.body = text.data() + last + 1;
  return true;
}

}  // namespace

template <class T>
void CVariant::SetArrayText(char letter, const T* values, int count, std::string_view name) {
  if (count < 0 || !values) count = 0;
  std::string text;
  text.reserve(16 + name.size() + static_cast<size_t>(count) * 4);
  text += "_arr_";
  text += letter;
  text += name;
  text += ':';
  AppendInt(text, count);
  text += ':';
  for (int i = 0; i < count; ++i) {
    if (i) text += ';';
    AppendElement(text, values[i]);
  }
  Clear();
  InitUtf8(text.data(), text.size());
}

template <class T>
int CVariant::GetArrayText(char letter, T* buffer, int capacity) const {
  if (!IsString()) return -1;
  CVariantText::Buffer storage;
  const std::string_view text = CVariantText::Utf8(*this, storage);
  Header h;
  if (!ReadHeader(text, h) || h.letter != letter) return -1;
  const char* p = h.body;
  const char* end = text.data() + text.size();
  for (int i = 0; i < h.count; ++i) {
    if (i && (p == end || *p++ != ';')) return -1;
    T value;
    if (!ReadElement(p, end, value)) return -1;
    if (i < capacity && buffer) buffer[i] = value;
  }
  return p == end ? h.count : -1;
}

// Out of line and not templates, so that they are exported whatever the
// compiler decides about the visibility of template instances over the
// plain structures.
#define NK_VARIANT_ARRAY(T, letter)                                                            \
  void CVariant::SetArray(const T* values, int count) { SetArrayText(letter, values, count); } \
  int CVariant::GetArray(T* buffer, int capacity) const { return GetArrayText(letter, buffer, capacity); }
NK_VARIANT_ARRAY(bool, 'b')
NK_VARIANT_ARRAY(char, 'c')
NK_VARIANT_ARRAY(signed char, 'c')
NK_VARIANT_ARRAY(short, 's')
NK_VARIANT_ARRAY(int, 'i')
NK_VARIANT_ARRAY(unsigned char, 'B')
NK_VARIANT_ARRAY(unsigned short, 'W')
NK_VARIANT_ARRAY(wchar_t, 'W')
NK_VARIANT_ARRAY(unsigned int, 'D')
NK_VARIANT_ARRAY(float, 'f')
NK_VARIANT_ARRAY(double, 'd')
NK_VARIANT_ARRAY(POINT, 'p')
NK_VARIANT_ARRAY(SIZE, 'z')
NK_VARIANT_ARRAY(RECT, 'r')
NK_VARIANT_ARRAY(DBLPOINT, 'P')
NK_VARIANT_ARRAY(DBLSIZE, 'Z')
NK_VARIANT_ARRAY(DBLRECT, 'R')
#undef NK_VARIANT_ARRAY

bool CVariant::IsBinary() const { return GetArray(static_cast<unsigned char*>(nullptr), 0) != -1; }

bool CVariant::GetArrayInfo(char& letter, CString* name, int* count) const {
  CVariantText::Buffer storage;
  Header h;
  if (!ReadHeader(CVariantText::Utf8(*this, storage), h)) return false;
  letter = h.letter;
  if (name) *name = CString(h.name.data(), static_cast<int>(h.name.size()));
  if (count) *count = h.count;
  return true;
}

namespace {

template <class E, class A>
void FromContainer(CVariant& v, const A& a) {
  v.SetArray(a.GetData(), static_cast<int>(a.GetSize()));
}

template <class E, class A>
bool ToContainer(const CVariant& v, A& a) {
  const int n = v.GetArray(static_cast<E*>(nullptr), 0);
  if (n < 0) return false;
  a.SetSize(n);
  v.GetArray(a.GetData(), n);
  return true;
}

}  // namespace

CVariant::CVariant(const CArray<bool>& a) {
  SetTag(tagEmpty);
  FromContainer<bool>(*this, a);
}
CVariant::CVariant(const CByteArray& a) {
  SetTag(tagEmpty);
  FromContainer<BYTE>(*this, a);
}
CVariant::CVariant(const CArray<int>& a) {
  SetTag(tagEmpty);
  FromContainer<int>(*this, a);
}
CVariant::CVariant(const CWordArray& a) {
  SetTag(tagEmpty);
  FromContainer<WORD>(*this, a);
}
CVariant::CVariant(const CDWordArray& a) {
  SetTag(tagEmpty);
  FromContainer<DWORD>(*this, a);
}

bool CVariant::GetArray(CArray<bool>& out) const { return ToContainer<bool>(*this, out); }
bool CVariant::GetArray(CByteArray& out) const { return ToContainer<BYTE>(*this, out); }
bool CVariant::GetArray(CArray<int>& out) const { return ToContainer<int>(*this, out); }
bool CVariant::GetArray(CWordArray& out) const { return ToContainer<WORD>(*this, out); }
bool CVariant::GetArray(CDWordArray& out) const { return ToContainer<DWORD>(*this, out); }
