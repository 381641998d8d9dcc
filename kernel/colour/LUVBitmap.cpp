// The whole-bitmap L*u*v* conversions. Every format is walked with its own
// pixel iterator: a stored row is read raw, turned into 32-bit RGB words by
// the same row conversion CopyPixels uses, converted, and for the way back
// turned into the format again and written through the iterator.
#include <kernel/Bitmap.h>
#include <kernel/CopyPixels.h>
#include <kernel/LUV.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "LUVMath.h"

namespace Kernel {

namespace {

// The linear value of every 8-bit channel, computed with the very function
// the single-colour path uses, so table and direct call agree bit for bit.
const std::array<float, 256>& LinearTable() {
  static const std::array<float, 256> table = [] {
    std::array<float, 256> t{};
    for (int i = 0; i < 256; ++i) t[static_cast<size_t>(i)] = luv::Linearise(static_cast<float>(i));
    return t;
  }();
  return table;
}

// Rows of one bitmap as 32-bit RGB words (0x00RRGGBB plus whatever alpha the
// row conversion carries in the top byte).
template <class It>
class RgbRows {
 public:
  RgbRows(It it, PixelIteratorType type) : m_it(std::move(it)), m_type(type), m_width(m_it.GetWidth()) {
    const size_t rowBytes = static_cast<size_t>(m_it.GetStride() < 0 ? -m_it.GetStride() : m_it.GetStride());
    using Word = typename It::WordType;
    m_raw.resize((rowBytes + sizeof(Word) - 1) / sizeof(Word) + 1);
    if constexpr (!c_direct) m_words.resize(static_cast<size_t>(m_width));
  }

  bool Valid() const { return m_it.GetBase() != nullptr && m_width > 0 && m_it.GetHeight() > 0; }
  int Width() const { return m_width; }
  int Height() const { return m_it.GetHeight(); }

  // Row y as words; the pointer is valid until the next call.
  uint32_t* Read(int y) {
    m_it.ReadRow(y, m_raw.data());
    if constexpr (c_direct) return m_raw.data();
    ConvertPixelRow(PIT_RGB32, m_type, false, m_words.data(), m_raw.data(), m_width, m_it.GetPaletteEntries(),
                    m_it.GetPaletteSize(), nullptr, 0);
    return m_words.data();
  }

  // Writes back the words of the row last read (its padding bytes as read).
  void Write(int y) {
    if constexpr (!c_direct)
      ConvertPixelRow(m_type, PIT_RGB32, false, m_raw.data(), m_words.data(), m_width, nullptr, 0,
                      m_it.GetPaletteEntries(), m_it.GetPaletteSize());
    m_it.WriteRow(y, m_raw.data());
  }

 private:
  // 32-bit RGB rows are already words: no conversion either way.
  static constexpr bool c_direct = std::is_same_v<typename It::PixelClass, CRGB32>;
  It m_it;
  PixelIteratorType m_type;
  int m_width;
  std::vector<typename It::WordType> m_raw;
  std::vector<uint32_t> m_words;
};

// Calls fn(RgbRows&) with the rows of the bitmap's format; false for an
// unknown format. The iterators span the whole bitmap, not its clip.
template <class Fn>
bool WithRows(CBaseBitmap* b, Fn&& fn) {
  const PixelIteratorType type = b->GetIteratorType();
  auto run = [&](auto it) {
    RgbRows<decltype(it)> rows(std::move(it), type);
    if (rows.Valid()) fn(rows);
  };
  switch (type) {
    case PIT_MONO8:
      run(b->GetIteratorMONO8());
      return true;
    case PIT_RGB1:
    case PIT_RGB2:
    case PIT_RGB4:
      run(b->GetIteratorRGB1_2_4());
      return true;
    case PIT_RGB8:
      run(b->GetIteratorRGB8());
      return true;
    case PIT_RGB16:
      run(b->GetIteratorRGB16());
      return true;
    case PIT_RGB24:
      run(b->GetIteratorRGB24());
      return true;
    case PIT_RGB32:
      run(b->GetIteratorRGB32());
      return true;
    case PIT_BGR16:
      run(b->GetIteratorBGR16());
      return true;
    case PIT_BGR24:
      run(b->GetIteratorBGR24());
      return true;
    case PIT_BGR32:
      run(b->GetIteratorBGR32());
      return true;
    case PIT_CMYK_32:
      run(b->GetIteratorCMYK_32());
      return true;
    case PIT_CMYKA_40:
      run(b->GetIteratorCMYKA_40());
      return true;
    case PIT_CMYKA_32_8:
      run(b->GetIteratorCMYKA_32_8());
      return true;
    case PIT_RGB48:
      run(b->GetIteratorRGB48());
      return true;
    case PIT_BGR48:
      run(b->GetIteratorBGR48());
      return true;
    case PIT_RGB64:
      run(b->GetIteratorRGB64());
      return true;
    case PIT_BGR64:
      run(b->GetIteratorBGR64());
      return true;
    case PIT_MONO16:
      run(b->GetIteratorMONO16());
      return true;
    case PIT_MONOA16:
      run(b->GetIteratorMONOA16());
      return true;
    case PIT_MONOA32:
      run(b->GetIteratorMONOA32());
      return true;
    default:
      return false;
  }
}

// One pixel word to L*u*v*, exactly as RGBtoLUV does for its colour.
inline void WordToLUV(const std::array<float, 256>& lin, uint32_t w, float& L, float& u, float& v) {
  const float r = lin[(w >> 16) & 0xFF];
  const float g = lin[(w >> 8) & 0xFF];
  const float b = lin[w & 0xFF];
  luv::XYZToLUV(luv::LinearToX(r, g, b), luv::LinearToY(r, g, b), luv::LinearToZ(r, g, b), L, u, v);
}

inline float WordToL(const std::array<float, 256>& lin, uint32_t w) {
  return luv::YToL(luv::LinearToY(lin[(w >> 16) & 0xFF], lin[(w >> 8) & 0xFF], lin[w & 0xFF]));
}

// Maps count records of `channels` floats (1 or 3), channel c through
// (x - lo[c]) / (hi[c] - lo[c]). Records of three are taken four at a time,
// twelve floats whose channel pattern repeats, so that the divisions run as
// vectors; each is still exactly that expression.
void Normalise(float* data, size_t count, int channels, const float* lo, const float* hi) {
  const size_t n = count * static_cast<size_t>(channels);
  float base[12], span[12];
  for (int k = 0; k < 12; ++k) {
    base[k] = lo[k % channels];
    span[k] = hi[k % channels] - lo[k % channels];
  }
  size_t i = 0;
  for (; i + 12 <= n; i += 12)
    for (int k = 0; k < 12; ++k)
      data[i + static_cast<size_t>(k)] = (data[i + static_cast<size_t>(k)] - base[k]) / span[k];
  for (int k = 0; i < n; ++i, ++k) data[i] = (data[i] - base[k]) / span[k];
}

}  // namespace

void RGBLUVConversions::ConvertRGBtoLUV(CBaseBitmap* bitmap, float* out, bool normalise, float* ranges) {
  if (bitmap == nullptr || out == nullptr) return;
  const auto& lin = LinearTable();
  WithRows(bitmap, [&](auto& rows) {
    // The ranges are widened only where a new colour starts a run: the
    // pixels of a run repeat its values.
    float lo[3] = {INFINITY, INFINITY, INFINITY};
    float hi[3] = {-INFINITY, -INFINITY, -INFINITY};
    float* o = out;
    const int w = rows.Width();
    for (int y = 0; y < rows.Height(); ++y) {
      const uint32_t* words = rows.Read(y);
      // A run of one colour is converted once: flat areas are common in the
      // images this serves, and the result is the same floats either way.
      uint32_t last = 0;
      float L = 0, u = 0, v = 0;
      for (int x = 0; x < w; ++x, o += 3) {
        const uint32_t c = words[x] & 0x00FFFFFFu;
        if (x == 0 || c != last) {
          WordToLUV(lin, c, L, u, v);
          last = c;
          lo[0] = std::min(lo[0], L);
          hi[0] = std::max(hi[0], L);
          lo[1] = std::min(lo[1], u);
          hi[1] = std::max(hi[1], u);
          lo[2] = std::min(lo[2], v);
          hi[2] = std::max(hi[2], v);
        }
        o[0] = L;
        o[1] = u;
        o[2] = v;
      }
    }
    if (ranges != nullptr) {
      for (int ch = 0; ch < 3; ++ch) {
        ranges[2 * ch] = lo[ch];
        ranges[2 * ch + 1] = hi[ch];
      }
    }
    if (normalise) Normalise(out, static_cast<size_t>(w) * static_cast<size_t>(rows.Height()), 3, lo, hi);
  });
}

void RGBLUVConversions::ConvertRGBToL(CBaseBitmap* bitmap, float* out, bool normalise) {
  if (bitmap == nullptr || out == nullptr) return;
  const auto& lin = LinearTable();
  WithRows(bitmap, [&](auto& rows) {
    float* o = out;
    const int w = rows.Width();
    for (int y = 0; y < rows.Height(); ++y) {
      const uint32_t* words = rows.Read(y);
      for (int x = 0; x < w; ++x) *o++ = WordToL(lin, words[x]);
    }
    if (!normalise) return;
    const size_t n = static_cast<size_t>(w) * static_cast<size_t>(rows.Height());
    const auto [lo, hi] = std::minmax_element(out, out + n);
    const float l = *lo, h = *hi;
    Normalise(out, n, 1, &l, &h);
  });
}

void RGBLUVConversions::ConvertRGBToL(CBaseBitmap* bitmap, uint8_t* out) {
  if (bitmap == nullptr || out == nullptr) return;
  const auto& lin = LinearTable();
  WithRows(bitmap, [&](auto& rows) {
    uint8_t* o = out;
    const int w = rows.Width();
    for (int y = 0; y < rows.Height(); ++y) {
      const uint32_t* words = rows.Read(y);
      for (int x = 0; x < w; ++x) {
        const float s = std::round(WordToL(lin, words[x]) * 255.0f / 100.0f);
        *o++ = static_cast<uint8_t>(s > 0.0f ? (s < 255.0f ? s : 255.0f) : 0.0f);
      }
    }
  });
}

void RGBLUVConversions::ConvertLUVtoRGB(CBaseBitmap* bitmap, const float* in) {
  if (bitmap == nullptr || in == nullptr) return;
  WithRows(bitmap, [&](auto& rows) {
    const float* p = in;
    const int w = rows.Width();
    for (int y = 0; y < rows.Height(); ++y) {
      uint32_t* words = rows.Read(y);
      for (int x = 0; x < w; ++x, p += 3) {
        // A colour value has red in its low byte, a row word blue.
        const uint32_t c = LUVtoRGB(p);
        words[x] = (words[x] & 0xFF000000u) | ((c & 0xFF) << 16) | (c & 0xFF00) | ((c >> 16) & 0xFF);
      }
      rows.Write(y);
    }
  });
}

}  // namespace Kernel
