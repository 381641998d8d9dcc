#pragma once
// Small private helpers for the fills of CBaseBitmap: little-endian word
// access, the coverage blend and a walker over the clip rectangle of a target
// and, optionally, a coverage mask of the same clip size.
#include <cstdint>
#include <cstring>

#include <kernel/Bitmap.h>

namespace Kernel::pixels {

inline uint16_t LoadWord(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

inline void StoreWord(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

// Old value d moved toward v by coverage m out of Full, truncating. With d,
// v and m at most Full (255 or 65535) the sum stays below 2^32, and the
// constant divisor becomes a multiply.
// For 8-bit d and v the sum is at most 255 * 255, where x / 255 equals
// (x + (x >> 8) + 1) >> 8; that form needs no multiply and vectorises.
inline uint32_t Blend8(uint32_t d, uint32_t v, uint32_t m) {
  const uint32_t x = d * (255 - m) + v * m;
  return (x + (x >> 8) + 1) >> 8;
}

// Blend8 on the four bytes of a word at once, two bytes per 16-bit lane; no
// lane can carry into the next, so the result is Blend8 of each byte.
inline uint32_t Blend8x4(uint32_t d, uint32_t v, uint32_t m) {
  const uint32_t im = 255 - m;
  uint32_t even = (d & 0x00FF00FFu) * im + (v & 0x00FF00FFu) * m;
  uint32_t odd = ((d >> 8) & 0x00FF00FFu) * im + ((v >> 8) & 0x00FF00FFu) * m;
  even = ((even + ((even >> 8) & 0x00FF00FFu) + 0x00010001u) >> 8) & 0x00FF00FFu;
  odd = ((odd + ((odd >> 8) & 0x00FF00FFu) + 0x00010001u) >> 8) & 0x00FF00FFu;
  return even | (odd << 8);
}

template <uint32_t Full>
inline uint32_t Blend(uint32_t d, uint32_t v, uint32_t m) {
  static_assert(Full == 255 || Full == 65535);
  return (d * (Full - m) + v * m) / Full;
}

// Repeats an n-byte pixel count times from dst.
inline void FillPattern(uint8_t* dst, const uint8_t* pixel, int n, int count) {
  if (count <= 0) return;
  std::memcpy(dst, pixel, static_cast<size_t>(n));
  size_t done = static_cast<size_t>(n);
  const size_t total = static_cast<size_t>(n) * static_cast<size_t>(count);
  // Doubling copies keep long rows fast without a per-pixel loop.
  while (done < total) {
    const size_t step = done < total - done ? done : total - done;
    std::memcpy(dst + done, dst, step);
    done += step;
  }
}

class MaskedWalk {
 public:
  // maskBits is the sample size the fill reads from the mask (8 or 16); a
  // mask of another depth or of another clip size makes the walk invalid, so
  // a mismatched mask is never read past its memory.
  MaskedWalk(CBaseBitmap* target, const CBaseBitmap* mask, int maskBits)
      : m_target(target), m_mask(mask), m_clip(target->GetClipRect()) {
    m_valid = m_clip.Width() > 0 && m_clip.Height() > 0 && target->GetBitsBase() != nullptr;
    if (m_valid && mask != nullptr) {
      const CRect mc = mask->GetClipRect();
      m_valid = mask->GetBitsPerPixel() == maskBits && mc.Width() == m_clip.Width() && mc.Height() == m_clip.Height() &&
                mask->GetBitsBase() != nullptr;
    }
  }

  bool Valid() const { return m_valid; }
  int Width() const { return m_clip.Width(); }

  // Rows of the clip from the lowest address upward, stepping by the stride.
  template <class Fn>
  void ForEachRowForward(Fn&& fn) {
    const bool bottomUp = m_target->GetOrigin() == BitmapOrigin::BottomLeft;
    uint8_t* row = m_target->GetBits(CPoint(m_clip.left, bottomUp ? m_clip.bottom - 1 : m_clip.top));
    const int stride = m_target->GetBytesPerScanline();
    for (int y = m_clip.top; y < m_clip.bottom; ++y, row += stride) fn(row);
  }

  // Fills the first row with the pixel pattern and copies it to the others.
  void FillRowsFromFirst(const uint8_t* pixel, int n) {
    uint8_t* first = nullptr;
    const size_t bytes = static_cast<size_t>(n) * static_cast<size_t>(Width());
    ForEachRowForward([&](uint8_t* row) {
      if (first == nullptr) {
        FillPattern(row, pixel, n, Width());
        first = row;
      } else {
        std::memcpy(row, first, bytes);
      }
    });
  }

  // Every clip pixel with its mask sample (0 without a mask), rows in display
  // order through each bitmap's own scanline offset. MaskBits must be the
  // sample size given to the constructor; BytesPerPixel the target's.
  template <int MaskBits, int BytesPerPixel, class Fn>
  void ForEachPixel(Fn&& fn) {
    constexpr int bytesPerPixel = BytesPerPixel;
    uint8_t* p = m_target->GetClipBits();
    const uint8_t* q = m_mask ? m_mask->GetClipBits() : nullptr;
    const int targetOffset = m_target->GetScanlineOffset();
    const int maskOffset = m_mask ? m_mask->GetScanlineOffset() : 0;
    const int w = Width();
    const ptrdiff_t rowBytes = static_cast<ptrdiff_t>(w) * bytesPerPixel;
    for (int y = m_clip.top; y < m_clip.bottom; ++y) {
      if (q == nullptr) {
        for (int x = 0; x < w; ++x) fn(p + x * bytesPerPixel, 0u);
      } else {
        // Separate loops per row with unaliased pointers let the compiler
        // vectorise the blend.
        uint8_t* __restrict row = p;
        const uint8_t* __restrict cover = q;
        for (int x = 0; x < w; ++x)
          fn(row + x * bytesPerPixel, MaskBits == 8 ? uint32_t{cover[x]} : uint32_t{LoadWord(cover + 2 * x)});
        q += static_cast<ptrdiff_t>(w) * (MaskBits / 8) + maskOffset;
      }
      p += rowBytes + targetOffset;
    }
  }

 private:
  CBaseBitmap* m_target;
  const CBaseBitmap* m_mask;
  CRect m_clip;
  bool m_valid = false;
};

}  // namespace Kernel::pixels
