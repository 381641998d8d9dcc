#include "platform/FormatEngine.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <type_traits>
#include <locale.h>

#include "platform/Utf.h"

namespace Kernel {
namespace {

// The C locale, so that doubles print with '.' whatever the process locale.
locale_t CLocale() {
  static const locale_t loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return loc;
}

// Integers print the same in every locale (no grouping flag is passed), so
// only floating-point conversions switch the thread to the C locale.
class ScopedCLocale {
 public:
  explicit ScopedCLocale(bool needed) : m_old(needed && CLocale() ? uselocale(CLocale()) : nullptr) {}
  ~ScopedCLocale() {
    if (m_old) uselocale(m_old);
  }

 private:
  locale_t m_old;
};

enum class Size { None, Char, Short, Long32, Long64, LongDouble, Narrow, Wide };

struct Directive {
  bool left = false, plus = false, space = false, alt = false, zero = false;
  int width = -1;      // -1: none
  int precision = -1;  // -1: none
  Size size = Size::None;
};

// Appends ASCII text produced by snprintf.
template <typename T>
void AppendAscii(std::basic_string<T>& out, const char* s, size_t n) {
  for (size_t i = 0; i < n; ++i) out += static_cast<T>(static_cast<unsigned char>(s[i]));
}

std::string NumericFormat(const Directive& sp, const char* length, char conv) {
  std::string f = "%";
  if (sp.left) f += '-';
  if (sp.plus) f += '+';
  if (sp.space) f += ' ';
  if (sp.alt) f += '#';
  if (sp.zero) f += '0';
  if (sp.width >= 0) f += std::to_string(sp.width);
  if (sp.precision >= 0) f += '.' + std::to_string(sp.precision);
  f += length;
  f += conv;
  return f;
}

template <typename T, typename V>
void AppendNumber(std::basic_string<T>& out, const Directive& sp, const char* length, char conv, V value) {
  std::string f = NumericFormat(sp, length, conv);
  char small[128];
  int n;
  {
    ScopedCLocale c(std::is_floating_point_v<V>);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    n = std::snprintf(small, sizeof small, f.c_str(), value);
    if (n >= static_cast<int>(sizeof small)) {
      std::string big(static_cast<size_t>(n) + 1, '\0');
      std::snprintf(big.data(), big.size(), f.c_str(), value);
#pragma GCC diagnostic pop
      AppendAscii(out, big.data(), static_cast<size_t>(n));
      return;
    }
  }
  if (n > 0) AppendAscii(out, small, static_cast<size_t>(n));
}

// Pads `text` to the field width. The framework pads with zeros when the '0'
// flag is given, even for strings and characters.
template <typename T>
void AppendPadded(std::basic_string<T>& out, const Directive& sp, const std::basic_string<T>& text) {
  size_t width = sp.width > 0 ? static_cast<size_t>(sp.width) : 0;
  size_t pad = width > text.size() ? width - text.size() : 0;
  if (sp.left) {
    out += text;
    out.append(pad, static_cast<T>(' '));
  } else {
    out.append(pad, static_cast<T>(sp.zero ? '0' : ' '));
    out += text;
  }
}

template <typename T>
std::basic_string<T> FromNarrow(const char* s, size_t n) {
  if constexpr (sizeof(T) == 1) {
    return std::string(s, n);
  } else {
    return Utf::Utf8ToWide(s, n);
  }
}

template <typename T>
std::basic_string<T> FromWide(const wchar_t* s, size_t n) {
  if constexpr (sizeof(T) == 1) {
    return Utf::WideToUtf8(s, n);
  } else {
    return std::wstring(s, n);
  }
}

template <typename T>
bool IsDigit(T c) {
  return c >= static_cast<T>('0') && c <= static_cast<T>('9');
}

}  // namespace

template <typename T>
void FormatEngine<T>::Run(std::basic_string<T>& out, const T* format, va_list ap) {
  constexpr bool kWide = sizeof(T) != 1;
  const T* p = format;
  while (*p) {
    if (*p != static_cast<T>('%')) {
      out += *p++;
      continue;
    }
    const T* start = p++;
    if (*p == static_cast<T>('%')) {
      out += *p++;
      continue;
    }
    Directive sp;
    for (;; ++p) {
      if (*p == '-') {
        sp.left = true;
      } else if (*p == '+') {
        sp.plus = true;
      } else if (*p == ' ') {
        sp.space = true;
      } else if (*p == '#') {
        sp.alt = true;
      } else if (*p == '0') {
        sp.zero = true;
      } else {
        break;
      }
    }
    if (*p == '*') {
      int w = va_arg(ap, int);
      if (w < 0) {
        sp.left = true;
        w = -w;
      }
      sp.width = w;
      ++p;
    } else if (IsDigit(*p)) {
      sp.width = 0;
      while (IsDigit(*p)) sp.width = sp.width * 10 + (*p++ - '0');
    }
    if (*p == '.') {
      ++p;
      if (*p == '*') {
        int pr = va_arg(ap, int);
        sp.precision = pr < 0 ? -1 : pr;
        ++p;
      } else {
        sp.precision = 0;
        while (IsDigit(*p)) sp.precision = sp.precision * 10 + (*p++ - '0');
      }
    }
    // Length modifiers, including the framework's I, I32 and I64.
    if (*p == 'h') {
      ++p;
      if (*p == 'h') {
        sp.size = Size::Char;
        ++p;
      } else {
        sp.size = Size::Short;
      }
    } else if (*p == 'l') {
      ++p;
      if (*p == 'l') {
        sp.size = Size::Long64;
        ++p;
      } else {
        sp.size = Size::Long32;
      }
    } else if (*p == 'L') {
      sp.size = Size::LongDouble;
      ++p;
    } else if (*p == 'w') {
      sp.size = Size::Wide;
      ++p;
    } else if (*p == 'z' || *p == 'j' || *p == 't' || *p == 'q') {
      sp.size = Size::Long64;
      ++p;
    } else if (*p == 'I') {
      if (p[1] == '6' && p[2] == '4') {
        sp.size = Size::Long64;
        p += 3;
      } else if (p[1] == '3' && p[2] == '2') {
        sp.size = Size::Long32;
        p += 3;
      } else {
        sp.size = Size::Long64;  // pointer-sized
        ++p;
      }
    }
    T conv = *p;
    if (conv == 0) {
      // A lone or unfinished conversion at the end: keep the text as it was.
      out.append(start, p);
      break;
    }
    ++p;
    switch (conv) {
      case 'd':
      case 'i': {
        if (sp.size == Size::Long64) {
          AppendNumber(out, sp, "ll", 'd', static_cast<long long>(va_arg(ap, long long)));
        } else {
          int v = va_arg(ap, int);
          if (sp.size == Size::Short) v = static_cast<short>(v);
          if (sp.size == Size::Char) v = static_cast<signed char>(v);
          AppendNumber(out, sp, "", 'd', v);
        }
        break;
      }
      case 'u':
      case 'o':
      case 'x':
      case 'X': {
        char c = static_cast<char>(conv);
        if (sp.size == Size::Long64) {
          AppendNumber(out, sp, "ll", c, static_cast<unsigned long long>(va_arg(ap, unsigned long long)));
        } else {
          unsigned v = va_arg(ap, unsigned);
          if (sp.size == Size::Short) v = static_cast<unsigned short>(v);
          if (sp.size == Size::Char) v = static_cast<unsigned char>(v);
          AppendNumber(out, sp, "", c, v);
        }
        break;
      }
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
      case 'a':
      case 'A': {
        char c = static_cast<char>(conv);
        if (sp.size == Size::LongDouble) {
          AppendNumber(out, sp, "L", c, va_arg(ap, long double));
        } else {
          AppendNumber(out, sp, "", c, va_arg(ap, double));
        }
        break;
      }
      case 'p': {
        // All sixteen digits, upper case, no prefix.
        Directive ps = sp;
        ps.alt = ps.plus = ps.space = ps.zero = false;
        ps.precision = 16;
        ps.width = -1;
        std::basic_string<T> digits;
        AppendNumber(digits, ps, "ll", 'X',
                     static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(va_arg(ap, void*))));
        Directive pad = sp;
        pad.zero = false;
        AppendPadded(out, pad, digits);
        break;
      }
      case 'c':
      case 'C': {
        bool wide;
        if (sp.size == Size::Short || sp.size == Size::Char) {
          wide = false;
        } else if (sp.size == Size::Long32 || sp.size == Size::Wide) {
          wide = true;
        } else {
          wide = (conv == 'c') == kWide;
        }
        int v = va_arg(ap, int);
        std::basic_string<T> text;
        if (wide) {
          wchar_t w = static_cast<wchar_t>(v);
          text = FromWide<T>(&w, 1);
        } else {
          char n = static_cast<char>(v);
          if constexpr (kWide) {
            // A single byte stands for itself (Latin-1) rather than half a
            // UTF-8 sequence.
            text.assign(1, static_cast<T>(static_cast<unsigned char>(n)));
          } else {
            text.assign(1, n);
          }
        }
        AppendPadded(out, sp, text);
        break;
      }
      case 's':
      case 'S': {
        bool wide;
        if (sp.size == Size::Short || sp.size == Size::Char) {
          wide = false;
        } else if (sp.size == Size::Long32 || sp.size == Size::Wide) {
          wide = true;
        } else {
          wide = (conv == 's') == kWide;
        }
        const void* ptr = va_arg(ap, const void*);
        std::basic_string<T> text;
        if (!ptr) {
          text = FromNarrow<T>("(null)", sp.precision >= 0 && sp.precision < 6 ? static_cast<size_t>(sp.precision) : 6);
        } else if (wide) {
          auto* s = static_cast<const wchar_t*>(ptr);
          size_t n = 0;
          while ((sp.precision < 0 || n < static_cast<size_t>(sp.precision)) && s[n]) ++n;
          text = FromWide<T>(s, n);
          if constexpr (!kWide) {
            // The precision bounds the bytes written; never cut a character.
            if (sp.precision >= 0 && text.size() > static_cast<size_t>(sp.precision)) {
              size_t cut = static_cast<size_t>(sp.precision);
              while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
              text.resize(cut);
            }
          }
        } else {
          // The precision bounds the bytes read, so buffers without a
          // terminator are safe to print.
          auto* s = static_cast<const char*>(ptr);
          size_t n = 0;
          while ((sp.precision < 0 || n < static_cast<size_t>(sp.precision)) && s[n]) ++n;
          text = FromNarrow<T>(s, n);
        }
        AppendPadded(out, sp, text);
        break;
      }
      case 'n':
        // Writing through the argument is refused, as the framework does by
        // default; the pointer is consumed and nothing is printed.
        (void)va_arg(ap, void*);
        break;
      default:
        // Not a conversion: print the text unchanged and do not touch the
        // arguments.
        out.append(start, p);
        break;
    }
  }
}

template struct FormatEngine<wchar_t>;
template struct FormatEngine<char>;

}  // namespace Kernel
