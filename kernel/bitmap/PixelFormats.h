#pragma once
// Per-format load/store policies for the conversion routines. Each policy
// knows one iterator type's memory layout and colour model at compile time;
// the conversion skeleton is instantiated once per pair of policies, so a
// pixel is loaded, converted and stored with no call and no format test.
//
// A policy reads and writes pixel x of a row given the row's address (column
// 0) and, for the separate alpha plane, that plane's row address.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <kernel/Bitmap.h>
#include <kernel/PixelIterator.h>

namespace Kernel::convert {

enum class Model { Rgb, Grey, Cmyk };

// Channel values at Bits full scale (255 or 65535); a is alpha.
template <int Bits>
struct Rgb {
  uint32_t r, g, b, a;
};
template <int Bits>
struct Grey {
  uint32_t v, a;
};
struct Cmyk {
  uint32_t c, m, y, k, a;
};

// Palette state of an indexed source: the entries as colours (red low).
struct SourcePalette {
  uint32_t colours[256] = {};
};

// Palette state of an indexed destination: nearest-entry search by squared
// RGB distance, first of equals wins, with a direct-mapped cache of answers.
class DestPalette {
 public:
  void Set(const PALETTEENTRY* entries, int count) {
    m_count = count;
    // Entries sorted by red, so the search can start at the nearest red and
    // stop once the red difference alone exceeds the best distance.
    for (int i = 0; i < count; ++i) m_sorted[i] = {entries[i].peRed, entries[i].peGreen, entries[i].peBlue, i};
    std::stable_sort(m_sorted, m_sorted + count, [](const Entry& a, const Entry& b) { return a.r < b.r; });
    int e = 0;
    for (int r = 0; r < 256; ++r) {
      while (e < count && m_sorted[e].r < r) ++e;
      m_firstAtLeast[r] = e;
    }
  }
  uint8_t Nearest(uint32_t r, uint32_t g, uint32_t b) const {
    if (m_count <= 0) return 0;
    const uint32_t key = r | (g << 8) | (b << 16);
    if (m_cache.empty()) m_cache.assign(c_cacheSize, 0xFFFFFFFFu);
    const uint32_t slot = ((key * 0x9E3779B1u) >> (32 - c_cacheBits));
    const uint32_t hit = m_cache[slot];
    if (hit != 0xFFFFFFFFu && (hit & 0xFFFFFF) == key) return static_cast<uint8_t>(hit >> 24);
    // Squared RGB distance, the first (lowest index) of equally near entries.
    int32_t bestD = INT32_MAX;
    int best = 0;
    auto consider = [&](const Entry& e) {
      const int32_t dr = static_cast<int32_t>(r) - e.r, dg = static_cast<int32_t>(g) - e.g,
                    db = static_cast<int32_t>(b) - e.b;
      const int32_t d = dr * dr + dg * dg + db * db;
      if (d < bestD || (d == bestD && e.index < best)) {
        bestD = d;
        best = e.index;
      }
    };
    const int start = m_firstAtLeast[r];
    for (int i = start; i < m_count; ++i) {
      const int32_t dr = m_sorted[i].r - static_cast<int32_t>(r);
      if (dr * dr > bestD) break;
      consider(m_sorted[i]);
    }
    for (int i = start - 1; i >= 0; --i) {
      const int32_t dr = static_cast<int32_t>(r) - m_sorted[i].r;
      if (dr * dr > bestD) break;
      consider(m_sorted[i]);
    }
    m_cache[slot] = key | (static_cast<uint32_t>(best) << 24);
    return static_cast<uint8_t>(best);
  }

 private:
  struct Entry {
    int32_t r, g, b, index;
  };
  static constexpr int c_cacheBits = 14;
  static constexpr size_t c_cacheSize = size_t{1} << c_cacheBits;
  int m_count = 0;
  Entry m_sorted[256] = {};
  int m_firstAtLeast[256] = {};
  mutable std::vector<uint32_t> m_cache;
};

struct Ctx {
  SourcePalette src;
  DestPalette dst;
};

inline uint16_t Ld16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline void St16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline uint32_t Ld32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
inline void St32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }

// 5- and 6-bit fields to 8 bits and back, rounded to nearest.
constexpr uint32_t Expand5(uint32_t v) { return (v * 255 + 15) / 31; }
constexpr uint32_t Expand6(uint32_t v) { return (v * 255 + 31) / 63; }
constexpr uint32_t Reduce5(uint32_t v) { return (v * 31 + 127) / 255; }
constexpr uint32_t Reduce6(uint32_t v) { return (v * 63 + 127) / 255; }

// Rounded division by 255 of a product of two 8-bit values.
constexpr uint32_t Div255(uint32_t v) { return (v * 257 + 256) >> 16; }

// --- Policies ----------------------------------------------------------------
// Fmt<type, wide>: wide selects the 16-bit channel view of the 48/64-bit
// colour and 16/32-bit grey layouts.
template <int Type, bool Wide>
struct Fmt;

template <class Iter, Model M, int Bits, bool Alpha, int Bytes>
struct FmtBase {
  using Iterator = Iter;
  static constexpr Model model = M;
  static constexpr int bits = Bits;
  static constexpr bool alpha = Alpha;
  static constexpr int bytes = Bytes;  // 0 for packed indices
  static constexpr bool indexed = false;
  static constexpr bool alphaPlane = false;
  static constexpr bool packed = false;
  static void Zero(uint8_t* row, uint8_t*, int x) { std::memset(row + static_cast<ptrdiff_t>(Bytes) * x, 0, Bytes); }
};

// Packed indices, first pixel in the high bits.
template <int BitsPerPixel>
struct FmtPacked : FmtBase<CRGB1_2_4Iterator, Model::Rgb, 8, false, 0> {
  static constexpr bool indexed = true;
  static constexpr bool packed = true;
  static constexpr int bpp = BitsPerPixel;
  static constexpr int perByte = 8 / BitsPerPixel;
  using Value = Rgb<8>;
  static uint32_t Index(const uint8_t* row, int x) {
    return (row[x / perByte] >> (8 - ((x % perByte) + 1) * bpp)) & ((1u << bpp) - 1);
  }
  static void SetIndex(uint8_t* row, int x, uint32_t index) {
    const int shift = 8 - ((x % perByte) + 1) * bpp;
    uint8_t& b = row[x / perByte];
    b = static_cast<uint8_t>((b & ~(((1u << bpp) - 1) << shift)) | ((index & ((1u << bpp) - 1)) << shift));
  }
  static Value Load(const Ctx& c, const uint8_t* row, const uint8_t*, int x) {
    const uint32_t col = c.src.colours[Index(row, x)];
    return {col & 0xFF, (col >> 8) & 0xFF, (col >> 16) & 0xFF, 255};
  }
  static void Store(const Ctx& c, uint8_t* row, uint8_t*, int x, const Value& v) {
    SetIndex(row, x, c.dst.Nearest(v.r, v.g, v.b));
  }
  static void Zero(uint8_t* row, uint8_t*, int x) { SetIndex(row, x, 0); }
};
template <>
struct Fmt<PIT_RGB1, false> : FmtPacked<1> {};
template <>
struct Fmt<PIT_RGB2, false> : FmtPacked<2> {};
template <>
struct Fmt<PIT_RGB4, false> : FmtPacked<4> {};

template <>
struct Fmt<PIT_RGB8, false> : FmtBase<CRGB8Iterator, Model::Rgb, 8, false, 1> {
  static constexpr bool indexed = true;
  using Value = Rgb<8>;
  static Value Load(const Ctx& c, const uint8_t* row, const uint8_t*, int x) {
    const uint32_t col = c.src.colours[row[x]];
    return {col & 0xFF, (col >> 8) & 0xFF, (col >> 16) & 0xFF, 255};
  }
  static void Store(const Ctx& c, uint8_t* row, uint8_t*, int x, const Value& v) {
    row[x] = c.dst.Nearest(v.r, v.g, v.b);
  }
};

template <>
struct Fmt<PIT_MONO8, false> : FmtBase<CMONO8Iterator, Model::Grey, 8, false, 1> {
  using Value = Grey<8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) { return {row[x], 255}; }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) { row[x] = static_cast<uint8_t>(v.v); }
};

// 5-6-5: red in bits 11-15, green 5-10, blue 0-4.
template <>
struct Fmt<PIT_RGB16, false> : FmtBase<CRGB16Iterator, Model::Rgb, 8, false, 2> {
  using Value = Rgb<8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint32_t w = Ld16(row + 2 * x);
    return {Expand5(w >> 11), Expand6((w >> 5) & 63), Expand5(w & 31), 255};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    St16(row + 2 * x, (Reduce5(v.r) << 11) | (Reduce6(v.g) << 5) | Reduce5(v.b));
  }
};
// 5-5-5: red in bits 10-14, green 5-9, blue 0-4, bit 15 clear.
template <>
struct Fmt<PIT_BGR16, false> : FmtBase<CBGR16Iterator, Model::Rgb, 8, false, 2> {
  using Value = Rgb<8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint32_t w = Ld16(row + 2 * x);
    return {Expand5((w >> 10) & 31), Expand5((w >> 5) & 31), Expand5(w & 31), 255};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    St16(row + 2 * x, (Reduce5(v.r) << 10) | (Reduce5(v.g) << 5) | Reduce5(v.b));
  }
};

// 8-bit channel colour: R/G/B byte positions and an optional alpha byte.
template <class Iter, int Bytes, int R, int G, int B, int A>
struct FmtRgb8 : FmtBase<Iter, Model::Rgb, 8, (A >= 0), Bytes> {
  using Value = Rgb<8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint8_t* p = row + Bytes * x;
    return {p[R], p[G], p[B], A >= 0 ? p[A < 0 ? 0 : A] : 255u};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    uint8_t* p = row + Bytes * x;
    p[R] = static_cast<uint8_t>(v.r);
    p[G] = static_cast<uint8_t>(v.g);
    p[B] = static_cast<uint8_t>(v.b);
    if constexpr (A >= 0) p[A] = static_cast<uint8_t>(v.a);
  }
};
template <>
struct Fmt<PIT_RGB24, false> : FmtRgb8<CRGB24Iterator, 3, 2, 1, 0, -1> {};
template <>
struct Fmt<PIT_BGR24, false> : FmtRgb8<CBGR24Iterator, 3, 0, 1, 2, -1> {};
template <>
struct Fmt<PIT_RGB32, false> : FmtRgb8<CRGB32Iterator, 4, 2, 1, 0, 3> {};
template <>
struct Fmt<PIT_BGR32, false> : FmtRgb8<CBGR32Iterator, 4, 0, 1, 2, 3> {};

// 16-bit channel colour: word positions R/G/B/A. The plain view reads the
// high bytes and writes each 8-bit channel widened by 257; the wide view
// carries the words.
template <class Iter, int Bytes, int R, int G, int B, int A, bool Wide>
struct FmtRgb16 : FmtBase<Iter, Model::Rgb, Wide ? 16 : 8, (A >= 0), Bytes> {
  using Value = Rgb<Wide ? 16 : 8>;
  static constexpr uint32_t full = Wide ? 65535 : 255;
  static uint32_t Get(const uint8_t* p, int i) { return Wide ? Ld16(p + 2 * i) : p[2 * i + 1]; }
  static void Put(uint8_t* p, int i, uint32_t v) { St16(p + 2 * i, Wide ? v : v * 257); }
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint8_t* p = row + Bytes * x;
    return {Get(p, R), Get(p, G), Get(p, B), A >= 0 ? Get(p, A < 0 ? 0 : A) : full};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    uint8_t* p = row + Bytes * x;
    Put(p, R, v.r);
    Put(p, G, v.g);
    Put(p, B, v.b);
    if constexpr (A >= 0) Put(p, A < 0 ? 0 : A, v.a);
  }
};
template <bool W>
struct Fmt<PIT_RGB48, W>
    : FmtRgb16<PIBASE<uint64_t, CRGB48, std::conditional_t<W, uint16_t, uint8_t>>, 6, 2, 1, 0, -1, W> {};
template <bool W>
struct Fmt<PIT_BGR48, W>
    : FmtRgb16<PIBASE<uint64_t, CBGR48, std::conditional_t<W, uint16_t, uint8_t>>, 6, 0, 1, 2, -1, W> {};
template <bool W>
struct Fmt<PIT_RGB64, W>
    : FmtRgb16<PIBASE<uint64_t, CRGB64, std::conditional_t<W, uint16_t, uint8_t>>, 8, 2, 1, 0, 3, W> {};
template <bool W>
struct Fmt<PIT_BGR64, W>
    : FmtRgb16<PIBASE<uint64_t, CBGR64, std::conditional_t<W, uint16_t, uint8_t>>, 8, 0, 1, 2, 3, W> {};

template <bool W>
struct Fmt<PIT_MONO16, W>
    : FmtBase<std::conditional_t<W, CMONO16WIterator, CMONO16Iterator>, Model::Grey, W ? 16 : 8, false, 2> {
  using Value = Grey<W ? 16 : 8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint8_t* p = row + 2 * x;
    return {W ? Ld16(p) : uint32_t{p[1]}, W ? 65535u : 255u};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    St16(row + 2 * x, W ? v.v : v.v * 257);
  }
};
template <bool W>
struct Fmt<PIT_MONOA32, W>
    : FmtBase<std::conditional_t<W, CMONOA32WIterator, CMONOA32Iterator>, Model::Grey, W ? 16 : 8, true, 4> {
  using Value = Grey<W ? 16 : 8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint8_t* p = row + 4 * x;
    if constexpr (W) return {Ld16(p), Ld16(p + 2)};
    return {p[1], p[3]};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    St16(row + 4 * x, W ? v.v : v.v * 257);
    St16(row + 4 * x + 2, W ? v.a : v.a * 257);
  }
};
template <>
struct Fmt<PIT_MONOA16, false> : FmtBase<CMONOA16Iterator, Model::Grey, 8, true, 2> {
  using Value = Grey<8>;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) { return {row[2 * x], row[2 * x + 1]}; }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    row[2 * x] = static_cast<uint8_t>(v.v);
    row[2 * x + 1] = static_cast<uint8_t>(v.a);
  }
};

// CMYK: bytes cyan, magenta, yellow, black (and alpha).
template <>
struct Fmt<PIT_CMYK_32, false> : FmtBase<CCMYK_32Iterator, Model::Cmyk, 8, false, 4> {
  using Value = Cmyk;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint8_t* p = row + 4 * x;
    return {p[0], p[1], p[2], p[3], 255};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    St32(row + 4 * x, v.c | (v.m << 8) | (v.y << 16) | (v.k << 24));
  }
};
template <>
struct Fmt<PIT_CMYKA_40, false> : FmtBase<CCMYKA_40Iterator, Model::Cmyk, 8, true, 5> {
  using Value = Cmyk;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t*, int x) {
    const uint8_t* p = row + 5 * x;
    return {p[0], p[1], p[2], p[3], p[4]};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t*, int x, const Value& v) {
    uint8_t* p = row + 5 * x;
    St32(p, v.c | (v.m << 8) | (v.y << 16) | (v.k << 24));
    p[4] = static_cast<uint8_t>(v.a);
  }
};
template <>
struct Fmt<PIT_CMYKA_32_8, false> : FmtBase<CCMYKA_32_8Iterator, Model::Cmyk, 8, true, 4> {
  static constexpr bool alphaPlane = true;
  using Value = Cmyk;
  static Value Load(const Ctx&, const uint8_t* row, const uint8_t* arow, int x) {
    const uint8_t* p = row + 4 * x;
    return {p[0], p[1], p[2], p[3], arow != nullptr ? arow[x] : 255u};
  }
  static void Store(const Ctx&, uint8_t* row, uint8_t* arow, int x, const Value& v) {
    St32(row + 4 * x, v.c | (v.m << 8) | (v.y << 16) | (v.k << 24));
    if (arow != nullptr) arow[x] = static_cast<uint8_t>(v.a);
  }
  static void Zero(uint8_t* row, uint8_t* arow, int x) {
    St32(row + 4 * x, 0);
    if (arow != nullptr) arow[x] = 0;
  }
};

// --- Between models -----------------------------------------------------------
template <int To, int From>
constexpr uint32_t Depth(uint32_t v) {
  if constexpr (To == From)
    return v;
  else if constexpr (To == 16)
    return v * 257;
  else
    return v >> 8;
}

// (r + g + b) / 3 truncated, as the high half of sum x 0x55555556.
constexpr uint32_t Third(uint32_t sum) { return static_cast<uint32_t>((uint64_t{sum} * 0x55555556u) >> 32); }

inline Rgb<8> CmykToRgb(const Cmyk& s) {
  const uint32_t w = 255 - s.k;
  return {Div255((255 - s.c) * w), Div255((255 - s.m) * w), Div255((255 - s.y) * w), s.a};
}
inline Cmyk RgbToCmyk(uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
  const uint32_t mx = std::max(r, std::max(g, b));
  if (mx == 0) return {0, 0, 0, 255, a};
  const uint32_t k = 255 - mx;
  return {((mx - r) * 255 + mx / 2) / mx, ((mx - g) * 255 + mx / 2) / mx, ((mx - b) * 255 + mx / 2) / mx, k, a};
}

// Converts one loaded value of S into D's value. alphaIfNone is the alpha a
// source without alpha contributes (full, or 0 for the same-order 24->32
// widening).
template <class D, class S>
inline typename D::Value Convert(const typename S::Value& s, uint32_t alphaIfNone) {
  constexpr int db = D::bits, sb = S::bits;
  const uint32_t a = S::alpha ? Depth<db, sb>(s.a) : alphaIfNone;
  if constexpr (D::model == Model::Rgb) {
    if constexpr (S::model == Model::Rgb) {
      return {Depth<db, sb>(s.r), Depth<db, sb>(s.g), Depth<db, sb>(s.b), a};
    } else if constexpr (S::model == Model::Grey) {
      const uint32_t v = Depth<db, sb>(s.v);
      return {v, v, v, a};
    } else {
      const Rgb<8> c = CmykToRgb(s);
      return {Depth<db, 8>(c.r), Depth<db, 8>(c.g), Depth<db, 8>(c.b), a};
    }
  } else if constexpr (D::model == Model::Grey) {
    if constexpr (S::model == Model::Rgb) {
      return {Depth<db, sb>(Third(s.r + s.g + s.b)), a};
    } else if constexpr (S::model == Model::Grey) {
      return {Depth<db, sb>(s.v), a};
    } else {
      const Rgb<8> c = CmykToRgb(s);
      return {Depth<db, 8>(Third(c.r + c.g + c.b)), a};
    }
  } else {
    if constexpr (S::model == Model::Rgb) {
      return RgbToCmyk(Depth<8, sb>(s.r), Depth<8, sb>(s.g), Depth<8, sb>(s.b), Depth<8, db>(a));
    } else if constexpr (S::model == Model::Grey) {
      const uint32_t v = Depth<8, sb>(s.v);
      return RgbToCmyk(v, v, v, Depth<8, db>(a));
    } else {
      return {s.c, s.m, s.y, s.k, a};
    }
  }
}

// The alpha a non-alpha source gives an alpha destination: opaque, except
// that widening 24-bit to 32-bit in the same channel order leaves the fourth
// byte clear.
template <int DT, int ST>
constexpr uint32_t AlphaIfNone(int bits) {
  if ((DT == PIT_RGB32 && ST == PIT_RGB24) || (DT == PIT_BGR32 && ST == PIT_BGR24)) return 0;
  return bits == 16 ? 65535u : 255u;
}

}  // namespace Kernel::convert
