#pragma once
// Pixel iterators: small value objects that know how one pixel format lies in
// memory and move whole rows of pixels between a bitmap and a flat buffer of
// row words. Every pixel class below describes one memory layout; PIBASE is
// the iterator over it, with the colour word, the pixel class and the channel
// type as its arguments.
//
// Row words (the buffer element of ReadRow/WriteRow) hold the pixel's memory
// bytes little-endian: byte 0 in bits 0-7, byte 1 in bits 8-15 and so on.
// So an RGB24 pixel (stored blue, green, red) reads as 0x00RRGGBB, a
// CMYKA_40 pixel as 0xAAKKYYMMCC in a 64-bit word, and a CMYKA_32_8 pixel
// carries its alpha-plane byte in bits 32-39. Indexed formats give the
// palette index; RGB1/2/4 pack the first pixel of a byte into its high bits.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include <kernel/CRect.h>
#include <kernel/Export.h>
#include <kernel/Gdi.h>
#include <kernel/GlobalMemory.h>
#include <kernel/PixelFormat.h>

namespace Kernel {

// --- Pixel classes: one memory layout each ---------------------------------
// c_bytes is whole bytes per pixel in the main plane (0 for packed indices);
// c_palette marks indexed layouts; c_alphaPlane the separate alpha plane.
#define NK_PIXEL_CLASS(Name, Bytes, Palette, AlphaPlane) \
  struct Name {                                          \
    static constexpr int c_bytes = Bytes;                \
    static constexpr bool c_palette = Palette;           \
    static constexpr bool c_alphaPlane = AlphaPlane;     \
  }
NK_PIXEL_CLASS(CRGB1_2_4, 0, true, false);
NK_PIXEL_CLASS(CRGB8, 1, true, false);
NK_PIXEL_CLASS(CMONO8, 1, false, false);
NK_PIXEL_CLASS(CRGB16, 2, false, false);
NK_PIXEL_CLASS(CBGR16, 2, false, false);
NK_PIXEL_CLASS(CRGB24, 3, false, false);
NK_PIXEL_CLASS(CBGR24, 3, false, false);
NK_PIXEL_CLASS(CRGB32, 4, false, false);
NK_PIXEL_CLASS(CBGR32, 4, false, false);
NK_PIXEL_CLASS(CMONOA16, 2, false, false);
NK_PIXEL_CLASS(CMONO16, 2, false, false);
NK_PIXEL_CLASS(CMONOA32, 4, false, false);
NK_PIXEL_CLASS(CCMYK_32, 4, false, false);
NK_PIXEL_CLASS(CCMYKA_40, 5, false, false);
NK_PIXEL_CLASS(CCMYKA_32_8, 4, false, true);
NK_PIXEL_CLASS(CRGB48, 6, false, false);
NK_PIXEL_CLASS(CBGR48, 6, false, false);
NK_PIXEL_CLASS(CRGB64, 8, false, false);
NK_PIXEL_CLASS(CBGR64, 8, false, false);
#undef NK_PIXEL_CLASS

// The iterator record shared by every pixel class.
struct PIRecord {
  int m_x = 0;
  int m_y = 0;
  int m_width = 0;
  int m_height = 0;
  int m_stride = 0;
  int m_bytesPerPixel = 0;
  int m_pixelsPerByte = 0;
  int m_bitsPerPixel = 0;
  uint8_t* m_base = nullptr;
  uint8_t* m_ptr = nullptr;
  CRect m_clip;
  int m_reserved[2] = {0, 0};
  // The separate alpha plane of CCMYKA_32_8.
  uint8_t* m_alphaBase = nullptr;
  uint8_t* m_alphaPtr = nullptr;
  int m_alphaStride = 0;
  // Indexed layouts: red, green, blue, flags entries.
  std::array<PALETTEENTRY, 256> m_palette{};
  int m_paletteCount = 0;
  int m_paletteIndex = -1;
};

// The iterator. Row y is always the displayed row y: over a BottomLeft
// bitmap the stride is negative and the base points at the last stored row.
template <class Word, class Pixel, class Channel>
class PIBASE : private PIRecord {
 public:
  using WordType = Word;
  using PixelClass = Pixel;
  using ChannelType = Channel;

  PIBASE() = default;
  // base: first byte of stored row 0; bytesPerScanline: the stored row size.
  PIBASE(int width, int height, int bitsPerPixel, int bytesPerScanline, BitmapOrigin::Type origin, uint8_t* base) {
    m_width = width;
    m_height = height;
    m_bitsPerPixel = bitsPerPixel;
    m_stride = origin == BitmapOrigin::BottomLeft ? -bytesPerScanline : bytesPerScanline;
    m_base = base;
    if (base != nullptr && origin == BitmapOrigin::BottomLeft && height > 0)
      m_base = base + static_cast<ptrdiff_t>(bytesPerScanline) * (height - 1);
    m_bytesPerPixel = Pixel::c_bytes;
    m_pixelsPerByte = Pixel::c_bytes == 0 && bitsPerPixel > 0 && bitsPerPixel < 8 ? 8 / bitsPerPixel : 0;
    m_clip = CRect(0, 0, width, height);
  }
  PIBASE(const PIBASE& o) : PIRecord(o), m_global(o.m_global) {
    if (m_global != nullptr) GlobalLock(m_global);  // each copy holds its own lock
  }
  PIBASE& operator=(const PIBASE& o) {
    if (this == &o) return *this;
    Unlock();
    PIRecord::operator=(o);
    m_global = o.m_global;
    if (m_global != nullptr) GlobalLock(m_global);
    return *this;
  }
  ~PIBASE() { Unlock(); }

  // --- Clip ---------------------------------------------------------------
  // Null: the whole bitmap. Otherwise a rectangle given with both vertical
  // coordinates below 1 is mirrored into the positive range, reversed sides
  // are swapped and the result is cut to the bitmap.
  void SetClip(const CRect* rect) {
    if (rect == nullptr) {
      m_clip = CRect(0, 0, m_width, m_height);
    } else {
      CRect r = *rect;
      if (r.top < 1 && r.bottom < 1) {
        r.top = -r.top;
        r.bottom = -r.bottom;
      }
      if (r.left > r.right) std::swap(r.left, r.right);
      if (r.top > r.bottom) std::swap(r.top, r.bottom);
      r.left = std::max(r.left, 0);
      r.top = std::max(r.top, 0);
      r.right = std::min(r.right, m_width);
      r.bottom = std::min(r.bottom, m_height);
      m_clip = r;
    }
    MoveTo(m_clip.left, m_clip.top);
  }
  const CRect& GetClip() const { return m_clip; }

  // Places the iterator at (x, y); the current pointer is null outside the clip.
  void MoveTo(int x, int y) {
    m_x = x;
    m_y = y;
    if (m_base == nullptr || m_clip.left >= m_clip.right || y < m_clip.top || y >= m_clip.bottom || x < m_clip.left ||
        x >= m_clip.right) {
      m_ptr = nullptr;
      m_alphaPtr = nullptr;
      return;
    }
    m_ptr = RowAddress(y) + (m_pixelsPerByte ? x / m_pixelsPerByte : static_cast<ptrdiff_t>(m_bytesPerPixel) * x);
    if (Pixel::c_alphaPlane) m_alphaPtr = AlphaRowAddress(y) + x;
  }

  // --- Rows ---------------------------------------------------------------
  // A clip spanning the full width moves the stored row, padding included,
  // as raw bytes (|stride| bytes): for layouts whose pixel is not one word the
  // buffer then holds packed memory bytes. Narrower clips move one word per
  // clip pixel. A row outside the clip is not touched.
  void ReadRow(int y, Word* buffer) {
    MoveTo(m_clip.left, y);
    if (m_ptr == nullptr) return;
    if (m_clip.left == 0 && m_clip.right == m_width) {
      std::memcpy(buffer, m_ptr, static_cast<size_t>(m_stride < 0 ? -m_stride : m_stride));
      return;
    }
    for (int x = m_clip.left; x < m_clip.right; ++x) *buffer++ = ReadPixel(x);
  }
  void WriteRow(int y, const Word* buffer) {
    MoveTo(m_clip.left, y);
    if (m_ptr == nullptr) return;
    if (m_clip.left == 0 && m_clip.right == m_width) {
      std::memcpy(m_ptr, buffer, static_cast<size_t>(m_stride < 0 ? -m_stride : m_stride));
      return;
    }
    for (int x = m_clip.left; x < m_clip.right; ++x) WritePixel(x, *buffer++);
  }

  // --- Layout facts -----------------------------------------------------
  int GetX() const { return m_x; }
  int GetY() const { return m_y; }
  int GetWidth() const { return m_width; }
  int GetHeight() const { return m_height; }
  int GetBitsPerPixel() const { return m_bitsPerPixel; }
  int GetStride() const { return m_stride; }
  int GetBytesPerPixel() const { return m_bytesPerPixel; }
  int GetPixelsPerByte() const { return m_pixelsPerByte; }
  uint8_t* GetBase() const { return m_base; }
  uint8_t* GetCurrent() const { return m_ptr; }
  // Bytes from the end of one clip row to the start of the next.
  int GetRowSkip() const { return m_stride - (m_pixelsPerByte ? 0 : m_bytesPerPixel * (m_clip.right - m_clip.left)); }
  uint8_t* RowAddress(int y) const { return m_base + static_cast<ptrdiff_t>(m_stride) * y; }
  uint8_t* AlphaRowAddress(int y) const {
    return m_alphaBase == nullptr ? nullptr : m_alphaBase + static_cast<ptrdiff_t>(m_alphaStride) * y;
  }

  // The separate alpha plane (CCMYKA_32_8): address of displayed row 0, stride.
  void SetAlphaPlane(uint8_t* base, int stride) {
    m_alphaBase = base;
    m_alphaStride = stride;
  }
  uint8_t* GetAlphaBase() const { return m_alphaBase; }
  int GetAlphaStride() const { return m_alphaStride; }

  // --- Palette (indexed layouts) -----------------------------------------
  // Entries are red, green, blue, flags; the index field stays -1 until a
  // caller picks an entry.
  void SetPalette(const RGBQUAD* quads, int count) {
    m_paletteCount = std::clamp(count, 0, 256);
    for (int i = 0; i < m_paletteCount; ++i)
      m_palette[static_cast<size_t>(i)] = PALETTEENTRY{quads[i].rgbRed, quads[i].rgbGreen, quads[i].rgbBlue, 0};
    m_paletteIndex = -1;
  }
  int GetPaletteSize() const { return m_paletteCount; }
  const PALETTEENTRY* GetPaletteEntries() const { return m_palette.data(); }
  int GetPaletteIndex() const { return m_paletteIndex; }
  void SetPaletteIndex(int index) { m_paletteIndex = index; }

  // Takes over one lock on a global block, released when the iterator dies.
  void AdoptGlobalLock(HGLOBAL global) {
    Unlock();
    m_global = global;
  }
  HGLOBAL GetGlobal() const { return m_global; }

  // --- One pixel as its row word (x in bitmap columns) ---------------------
  Word ReadPixel(int x) const {
    const uint8_t* row = m_ptr - (m_pixelsPerByte ? m_clip.left / m_pixelsPerByte : 0) -
                         (m_pixelsPerByte ? 0 : static_cast<ptrdiff_t>(m_bytesPerPixel) * m_clip.left);
    if constexpr (Pixel::c_bytes == 0) {
      const int p = m_pixelsPerByte;
      const int b = m_bitsPerPixel;
      const uint8_t byte = row[x / p];
      return static_cast<Word>((byte >> (8 - ((x % p) + 1) * b)) & ((1 << b) - 1));
    } else {
      uint64_t v = 0;
      std::memcpy(&v, row + static_cast<ptrdiff_t>(Pixel::c_bytes) * x, Pixel::c_bytes);
      if constexpr (Pixel::c_alphaPlane) {
        const uint8_t* a = m_alphaPtr - m_clip.left;
        v |= static_cast<uint64_t>(a[x]) << 32;
      }
      return static_cast<Word>(v);
    }
  }
  void WritePixel(int x, Word w) {
    uint8_t* row = m_ptr - (m_pixelsPerByte ? m_clip.left / m_pixelsPerByte : 0) -
                   (m_pixelsPerByte ? 0 : static_cast<ptrdiff_t>(m_bytesPerPixel) * m_clip.left);
    if constexpr (Pixel::c_bytes == 0) {
      // The low byte is shifted in unmasked: an out-of-range index spills
      // into its neighbours, so callers pass valid indices.
      const int p = m_pixelsPerByte;
      const int b = m_bitsPerPixel;
      const int shift = 8 - ((x % p) + 1) * b;
      uint8_t& byte = row[x / p];
      byte = static_cast<uint8_t>((byte & ~(((1 << b) - 1) << shift)) | ((static_cast<uint8_t>(w)) << shift));
    } else {
      const uint64_t v = static_cast<uint64_t>(w);
      std::memcpy(row + static_cast<ptrdiff_t>(Pixel::c_bytes) * x, &v, Pixel::c_bytes);
      if constexpr (Pixel::c_alphaPlane) {
        uint8_t* a = m_alphaPtr - m_clip.left;
        a[x] = static_cast<uint8_t>(v >> 32);
      }
    }
  }

 private:
  void Unlock() {
    if (m_global != nullptr) GlobalUnlock(m_global);
    m_global = nullptr;
  }
  HGLOBAL m_global = nullptr;
};

// The iterator types, plain (8-bit channel) and wide (16-bit channel) views.
using CRGB1_2_4Iterator = PIBASE<uint32_t, CRGB1_2_4, uint8_t>;
using CRGB8Iterator = PIBASE<uint32_t, CRGB8, uint8_t>;
using CMONO8Iterator = PIBASE<uint32_t, CMONO8, uint8_t>;
using CRGB16Iterator = PIBASE<uint32_t, CRGB16, uint8_t>;
using CBGR16Iterator = PIBASE<uint32_t, CBGR16, uint8_t>;
using CRGB24Iterator = PIBASE<uint32_t, CRGB24, uint8_t>;
using CBGR24Iterator = PIBASE<uint32_t, CBGR24, uint8_t>;
using CRGB32Iterator = PIBASE<uint32_t, CRGB32, uint8_t>;
using CBGR32Iterator = PIBASE<uint32_t, CBGR32, uint8_t>;
using CMONOA16Iterator = PIBASE<uint32_t, CMONOA16, uint8_t>;
using CMONO16Iterator = PIBASE<uint32_t, CMONO16, uint8_t>;
using CMONOA32Iterator = PIBASE<uint32_t, CMONOA32, uint8_t>;
using CCMYK_32Iterator = PIBASE<uint32_t, CCMYK_32, uint8_t>;
using CCMYKA_40Iterator = PIBASE<uint64_t, CCMYKA_40, uint8_t>;
using CCMYKA_32_8Iterator = PIBASE<uint64_t, CCMYKA_32_8, uint8_t>;
using CRGB48Iterator = PIBASE<uint64_t, CRGB48, uint8_t>;
using CBGR48Iterator = PIBASE<uint64_t, CBGR48, uint8_t>;
using CRGB64Iterator = PIBASE<uint64_t, CRGB64, uint8_t>;
using CBGR64Iterator = PIBASE<uint64_t, CBGR64, uint8_t>;
using CRGB48WIterator = PIBASE<uint64_t, CRGB48, uint16_t>;
using CBGR48WIterator = PIBASE<uint64_t, CBGR48, uint16_t>;
using CRGB64WIterator = PIBASE<uint64_t, CRGB64, uint16_t>;
using CBGR64WIterator = PIBASE<uint64_t, CBGR64, uint16_t>;
using CMONO8WIterator = PIBASE<uint64_t, CMONO8, uint16_t>;
using CMONO16WIterator = PIBASE<uint64_t, CMONO16, uint16_t>;
using CMONOA32WIterator = PIBASE<uint64_t, CMONOA32, uint16_t>;

// --- Packed device-independent bitmaps in global memory ---------------------
// The block holds a BITMAPINFOHEADER, its colour table and the rows (aligned
// to 4 bytes, bottom-up when biHeight is positive). The iterator keeps the
// block locked until it is destroyed. The palette of an indexed iterator has
// biClrUsed entries (0 gives an empty palette).
// The iterator type a packed bitmap is walked with: 1/2/4/8 bits indexed,
// 16 bits BGR16 (5-5-5) or RGB16 (5-6-5, with BI_BITFIELDS masks), 24 bits
// RGB24, 32 bits RGB32; PIT_None for anything else.
NK_API PixelIteratorType DIBGetType(HGLOBAL dib);
NK_API CRGB1_2_4Iterator DIBGetIteratorRGB1_2_4(HGLOBAL dib);
NK_API CRGB8Iterator DIBGetIteratorRGB8(HGLOBAL dib);
NK_API CBGR16Iterator DIBGetIteratorBGR16(HGLOBAL dib);
NK_API CRGB16Iterator DIBGetIteratorRGB16(HGLOBAL dib);
NK_API CBGR24Iterator DIBGetIteratorBGR24(HGLOBAL dib);
NK_API CRGB24Iterator DIBGetIteratorRGB24(HGLOBAL dib);
NK_API CBGR32Iterator DIBGetIteratorBGR32(HGLOBAL dib);
NK_API CRGB32Iterator DIBGetIteratorRGB32(HGLOBAL dib);
NK_API CMONO8Iterator DIBGetIteratorMONO8(HGLOBAL dib);

}  // namespace Kernel
