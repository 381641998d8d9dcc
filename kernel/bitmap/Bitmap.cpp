#include <kernel/Bitmap.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "BitmapPixels.h"

namespace Kernel {

IMPLEMENT_DYNAMIC(CBaseBitmap, CObject)

void CBaseBitmap::Serialize(CArchive& ar) { CRefCount::Serialize(ar); }

bool CBaseBitmap::GetProperties(IClassProperty* bag) const { return CRefCount::GetProperties(bag); }

bool CBaseBitmap::SetProperties(IClassProperty* bag) { return CRefCount::SetProperties(bag); }

// ---------------------------------------------------------------------------
// Layout

int CBaseBitmap::GetBitsPerChannel() const {
  const int bpp = GetBitsPerPixel();
  switch (GetColourOrder()) {
    case ColourOrder::Rgb:
    case ColourOrder::Bgr:
      if (bpp == 8 || bpp == 24 || bpp == 32) return 8;
      if (bpp == 48 || bpp == 64) return 16;
      if (bpp > 0 && bpp < 8) return bpp;  // packed indices: the index is the channel
      return -1;
    case ColourOrder::Cmyk:
      if (bpp == 32 || bpp == 40) return 8;
      if (bpp == 80) return 16;
      return -1;
    case ColourOrder::Mono:
      if (bpp == 8 || bpp == 16 || bpp == 32) return bpp;
      return -1;
    case ColourOrder::MonoA:
      if (bpp == 16) return 8;
      if (bpp == 32) return 16;
      return -1;
    case ColourOrder::Invalid:
      if (bpp == 32) return 8;
      if (bpp == 64) return 16;
      return -1;
    default:
      return -1;
  }
}

int CBaseBitmap::GetNumChannels() const {
  const int bpc = GetBitsPerChannel();
  return bpc == 0 ? 0 : GetBitsPerPixel() / bpc;
}

int CBaseBitmap::GetTotalBytes() const {
  const uint32_t bytes = GetBytesNeeded(GetWidth(), GetHeight(), GetBitsPerPixel(), 4);
  return bytes == 0xFFFFFFFFu ? -1 : static_cast<int>(bytes);
}

int CBaseBitmap::GetBytesPerScanline() const {
  const int64_t bits = static_cast<int64_t>(GetWidth()) * GetBitsPerPixel();
  return static_cast<int>((bits + 7) / 8) + GetScanlinePadding();
}

int CBaseBitmap::GetRowByteInc() const {
  const int stride = GetBytesPerScanline();
  return GetOrigin() == BitmapOrigin::BottomLeft ? -stride : stride;
}

int CBaseBitmap::GetScanlineOffset(int w) const { return GetRowByteInc() - (GetBitsPerPixel() / 8) * w; }

int CBaseBitmap::GetScanlineOffset() const { return GetScanlineOffset(GetClipRect().Width()); }

const uint8_t* CBaseBitmap::GetBits(const CPoint& p) const {
  const int64_t row = GetOrigin() == BitmapOrigin::BottomLeft ? GetHeight() - static_cast<int64_t>(p.y) - 1 : p.y;
  return GetBitsBase() + static_cast<int64_t>(p.x) * (GetBitsPerPixel() / 8) + GetBytesPerScanline() * row;
}

uint8_t* CBaseBitmap::GetBits(const CPoint& p) {
  return const_cast<uint8_t*>(static_cast<const CBaseBitmap*>(this)->GetBits(p));
}

const uint8_t* CBaseBitmap::GetClipBits() const {
  const CRect clip = GetClipRect();
  return GetBits(CPoint(clip.left, clip.top));
}

uint8_t* CBaseBitmap::GetClipBits() {
  return const_cast<uint8_t*>(static_cast<const CBaseBitmap*>(this)->GetClipBits());
}

const uint8_t* CBaseBitmap::GetBitsRepeatEdge(const CPoint& p) const {
  const int x = std::max(0, std::min(p.x, GetWidth() - 1));
  const int y = std::max(0, std::min(p.y, GetHeight() - 1));
  return GetBits(CPoint(x, y));
}

uint8_t* CBaseBitmap::GetBitsRepeatEdge(const CPoint& p) {
  return const_cast<uint8_t*>(static_cast<const CBaseBitmap*>(this)->GetBitsRepeatEdge(p));
}

CRect CBaseBitmap::GetClipRect() const { return GetRect(); }

CRect CBaseBitmap::SetClipRect(const CRect&) { return GetClipRect(); }

int CBaseBitmap::GetSafeXResolution() const { return 96; }
int CBaseBitmap::GetSafeYResolution() const { return 96; }

uint32_t CBaseBitmap::GetHash() const {
  uint32_t seed = 0;
  const uint32_t values[3] = {static_cast<uint32_t>(GetWidth()), static_cast<uint32_t>(GetHeight()),
                              static_cast<uint32_t>(GetBitsPerPixel())};
  for (uint32_t v : values) seed ^= v + 0x9E3779B9u + (seed << 6) + (seed >> 2);
  return seed;
}

uint32_t CBaseBitmap::GetBytesNeeded(int width, int height, int bitsPerPixel, int alignment) {
  if (width < 0 || height < 0 || bitsPerPixel < 0) return 0xFFFFFFFFu;
  const int64_t bits = bitsPerPixel == 0 ? 8 : bitsPerPixel;
  if (width > 0x7FFFFFFF / bits - 3) return 0xFFFFFFFFu;
  if (height == 0) return 0;
  const int64_t align = alignment < 1 ? 1 : alignment;
  const int64_t rowBytes = ((std::max<int64_t>(bits * width, 8) + 7) / 8 + align - 1) & ~(align - 1);
  if (rowBytes > 0x7FFFFFFF / height) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(rowBytes * height);
}

// ---------------------------------------------------------------------------
// Optional facilities

bool CBaseBitmap::CreateWithPalette(int, int, int, const RGBQUAD*, int, ColourOrder::Type, BitmapOrigin::Type) {
  return false;
}
bool CBaseBitmap::GetTransparencyColour(uint32_t&) const { return false; }
bool CBaseBitmap::GetTransparencyIndex(uint8_t&) const { return false; }
void CBaseBitmap::SetTransparentColour(const uint32_t&) {}
bool CBaseBitmap::RequiresPalette() const { return false; }
bool CBaseBitmap::SetColourDepth(int, RGBQUAD*, int) { return false; }
RGBQUAD* CBaseBitmap::GetPalette() { return nullptr; }
const RGBQUAD* CBaseBitmap::GetPalette() const { return nullptr; }
int CBaseBitmap::GetPaletteSize() const { return 0; }
CBaseBitmap* CBaseBitmap::GetAlphaChannel(bool) { return nullptr; }
const CBaseBitmap* CBaseBitmap::GetAlphaChannel() const { return nullptr; }
void CBaseBitmap::SetAlphaChannel(const CBaseBitmap*) {}
CPtr<CBaseBitmap> CBaseBitmap::GetChannel(int) const { return CPtr<CBaseBitmap>(); }
void CBaseBitmap::SetChannel(int, CBaseBitmap*) {}
uint32_t CBaseBitmap::GetColAtPixel(int, int) const { return 0; }
void CBaseBitmap::SetResolution(int, int) {}
void CBaseBitmap::Destroy() {}

// ---------------------------------------------------------------------------
// Records and transparency

void CBaseBitmap::GetBitmapInfoHeader(BITMAPINFOHEADER& header) const {
  std::memset(&header, 0, sizeof(header));
  const int width = GetWidth();
  const int height = GetHeight();
  const int bpp = GetBitsPerPixel();
  header.biSize = sizeof(BITMAPINFOHEADER);
  header.biWidth = width;
  header.biHeight = GetOrigin() == BitmapOrigin::BottomLeft ? height : -height;
  header.biPlanes = 1;
  header.biBitCount = static_cast<uint16_t>(bpp);
  header.biCompression = 0;
  // Whole bytes per pixel, as the record has always been filled: short for
  // 1-, 2- and 4-bit bitmaps, which readers of the record expect.
  const int64_t row = (static_cast<int64_t>(width) * (bpp / 8) + 3) & ~int64_t{3};
  header.biSizeImage = static_cast<uint32_t>(row * height);
}

void CBaseBitmap::GetBitmapInfo(BITMAPINFO& info) const {
  std::memset(&info, 0, sizeof(BITMAPINFOHEADER) + sizeof(RGBQUAD));
  GetBitmapInfoHeader(info.bmiHeader);
}

int CBaseBitmap::GetPixelFormat() const {
  switch (GetBitsPerPixel()) {
    case 8:
      return PixelFormat_I8;
    case 16:
      return PixelFormat_I16;
    case 24:
      return PixelFormat_RGB24;
    case 32:
      return IsTransparent() ? PixelFormat_ARGB32 : PixelFormat_XRGB32;
    case 64:
      return PixelFormat_ARGB64;
    default:
      return -1;
  }
}

bool CBaseBitmap::IsOpaque(const CRect&) const {
  switch (GetPixelFormat()) {
    case PixelFormat_ARGB32:
    case PixelFormat_0RGB32:
    case PixelFormat_ARGBPM:
    case PixelFormat_ARGB64:
    case PixelFormat_ARGB64PM:
    case PixelFormat_AYUV32:
      return false;
    default:
      return true;
  }
}

bool CBaseBitmap::IsTransparent() const {
  const int bpp = GetBitsPerPixel();
  return bpp == 32 || bpp == 64;
}

bool CBaseBitmap::IsTransparent(const CRect&) const { return false; }

bool CBaseBitmap::HasAlphaChannel() const { return IsTransparent(); }

PixelIteratorType CBaseBitmap::GetIteratorType() const {
  const int bpp = GetBitsPerPixel();
  switch (GetColourOrder()) {
    case ColourOrder::Rgb:
    case ColourOrder::Bgr: {
      const bool bgr = GetColourOrder() == ColourOrder::Bgr;
      switch (bpp) {
        case 1:
          return PIT_RGB1;
        case 2:
          return PIT_RGB2;
        case 4:
          return PIT_RGB4;
        case 8:
          return PIT_RGB8;
        case 16:
          return PIT_RGB16;  // 16-bit BGR is walked by the RGB iterator too
        case 24:
          return bgr ? PIT_BGR24 : PIT_RGB24;
        case 32:
          return bgr ? PIT_BGR32 : PIT_RGB32;
        case 48:
          return bgr ? PIT_BGR48 : PIT_RGB48;
        case 64:
          return bgr ? PIT_BGR64 : PIT_RGB64;
        default:
          return PIT_None;
      }
    }
    case ColourOrder::Cmyk:
      if (bpp == 32) return GetAlphaChannel() != nullptr ? PIT_CMYKA_32_8 : PIT_CMYK_32;
      if (bpp == 40) return PIT_CMYKA_40;
      return PIT_None;
    case ColourOrder::Mono:
      if (bpp == 1) return PIT_RGB1;  // 1-bit grey is walked as a two-entry palette
      if (bpp == 8) return PIT_MONO8;
      if (bpp == 16) return PIT_MONO16;
      return PIT_None;
    case ColourOrder::MonoA:
      if (bpp == 16) return PIT_MONOA16;
      if (bpp == 32) return PIT_MONOA32;
      return PIT_None;
    default:
      return PIT_None;
  }
}

// ---------------------------------------------------------------------------
// Thumbnails

CSize CBaseBitmap::GetThumbnailSize(const CSize& box, const CSize& image) {
  if (image.cx == 0 || image.cy == 0) return image;
  const double scale = std::min(static_cast<double>(box.cy) / image.cy, static_cast<double>(box.cx) / image.cx);
  const auto roundUpHalf = [](double v) { return static_cast<int>(std::floor(v + 0.5)); };
  return CSize(std::max(1, roundUpHalf(image.cx * scale)), std::max(1, roundUpHalf(image.cy * scale)));
}

CSize CBaseBitmap::GetThumbnailSize(const CSize& box) const { return GetThumbnailSize(box, Size()); }

CRect CBaseBitmap::GetThumbnailRect(const CSize& box) const {
  const CSize s = GetThumbnailSize(box);
  const int left = (box.cx - s.cx) / 2;
  const int top = (box.cy - s.cy) / 2;
  return CRect(left, top, left + s.cx, top + s.cy);
}

// ---------------------------------------------------------------------------
// Fills

CRect CBaseBitmap::FillRect(const CRect* rect) const {
  const CRect whole = GetRect();
  if (rect == nullptr) return whole;
  // Parts outside the bitmap have no memory behind them.
  return CRect(std::max(rect->left, whole.left), std::max(rect->top, whole.top), std::min(rect->right, whole.right),
               std::min(rect->bottom, whole.bottom));
}

bool CBaseBitmap::ZeroFullRows(uint32_t colour, const CRect& r) {
  if (r.left != 0 || r.right != GetWidth() || colour != 0) return false;
  if (r.bottom <= r.top) return true;
  uint8_t* first;
  uint8_t* last;
  switch (GetOrigin()) {
    case BitmapOrigin::TopLeft:
      first = GetBits(CPoint(0, r.top));
      last = GetBits(CPoint(r.right, r.bottom - 1));
      break;
    case BitmapOrigin::BottomLeft:
      first = GetBits(CPoint(0, r.bottom - 1));
      last = GetBits(CPoint(r.right, r.top));
      break;
    default:
      return true;
  }
  std::memset(first, 0, static_cast<size_t>(last - first));
  return true;
}

void CBaseBitmap::Clear(uint32_t colour, const CRect* rect) {
  switch (GetBitsPerPixel()) {
    case 32:
      Clear32(colour, rect);
      break;
    case 24:
      Clear24(colour, rect);
      break;
    default:
      break;
  }
}

void CBaseBitmap::Clear32(uint32_t colour, const CRect* rect) {
  const CRect r = FillRect(rect);
  if (r.IsRectEmpty() || ZeroFullRows(colour, r)) return;
  // The colour goes in as one little-endian word: red first, top byte last.
  const uint8_t bytes[4] = {static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 8),
                            static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 24)};
  uint8_t* row = GetBits(CPoint(r.left, r.top));
  const int inc = GetRowByteInc();
  for (int y = r.top; y < r.bottom; ++y, row += inc) pixels::FillPattern(row, bytes, 4, r.Width());
}

void CBaseBitmap::Clear24(uint32_t colour, const CRect* rect) {
  const CRect r = FillRect(rect);
  if (r.IsRectEmpty() || ZeroFullRows(colour, r)) return;
  const uint8_t bytes[3] = {static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                            static_cast<uint8_t>(colour)};
  uint8_t* row = GetBits(CPoint(r.left, r.top));
  const int inc = GetRowByteInc();
  for (int y = r.top; y < r.bottom; ++y, row += inc) pixels::FillPattern(row, bytes, 3, r.Width());
}

void CBaseBitmap::Clear(const CBaseBitmap* mask, uint32_t colour) {
  const int bpp = GetBitsPerPixel();
  switch (GetColourOrder()) {
    case ColourOrder::Mono:
      if (bpp == 8) Clear8(mask, static_cast<uint8_t>(colour & 0xFF));
      if (bpp == 16) Clear16BppMono(mask, colour);
      break;
    case ColourOrder::MonoA:
      if (bpp == 16) Clear16BppMonoA(mask, colour);
      if (bpp == 32) Clear32BppMonoA(mask, colour);
      break;
    default:
      if (bpp == 8) Clear8(mask, static_cast<uint8_t>(colour));
      if (bpp == 32) Clear32(mask, colour);
      if (bpp == 64) Clear64(mask, colour);
      break;
  }
}

void CBaseBitmap::ClearToWhite(const CRect* rect) {
  switch (GetColourOrder()) {
    case ColourOrder::Bgr:
      Clear(0xFFFFFFu, rect);
      break;
    case ColourOrder::Cmyk:
      Clear(0u, rect);
      break;  // no ink
    case ColourOrder::Mono:
      Clear(GetBitsPerPixel() == 32 ? 0xFFFFu : 0xFFu, rect);
      break;
    default:
      break;
  }
}

void CBaseBitmap::Clear8(const CBaseBitmap* mask, uint8_t value) {
  if (GetBitsPerPixel() != 8) return;
  pixels::MaskedWalk walk(this, mask, 8);
  if (!walk.Valid()) return;
  if (mask == nullptr) {
    walk.ForEachRowForward([&](uint8_t* row) { std::memset(row, value, static_cast<size_t>(walk.Width())); });
    return;
  }
  walk.ForEachPixel<8, 1>([&](uint8_t* p, uint32_t m) { *p = static_cast<uint8_t>(pixels::Blend8(*p, value, m)); });
}

void CBaseBitmap::Clear32(const CBaseBitmap* mask, uint32_t colour) {
  pixels::MaskedWalk walk(this, mask, 8);
  if (!walk.Valid()) return;
  // Blue, green, red, alpha: the byte order of a 32-bit device pixel.
  const uint8_t bytes[4] = {static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                            static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 24)};
  if (mask == nullptr) {
    walk.FillRowsFromFirst(bytes, 4);
    return;
  }
  uint32_t word;
  std::memcpy(&word, bytes, 4);
  walk.ForEachPixel<8, 4>([&](uint8_t* p, uint32_t m) {
    uint32_t d;
    std::memcpy(&d, p, 4);
    d = pixels::Blend8x4(d, word, m);
    std::memcpy(p, &d, 4);
  });
}

void CBaseBitmap::Clear64(const CBaseBitmap* mask, uint32_t colour) {
  pixels::MaskedWalk walk(this, mask, 8);
  if (!walk.Valid()) return;
  const uint16_t words[4] = {
      static_cast<uint16_t>(((colour >> 16) & 0xFF) * 257), static_cast<uint16_t>(((colour >> 8) & 0xFF) * 257),
      static_cast<uint16_t>((colour & 0xFF) * 257), static_cast<uint16_t>(((colour >> 24) & 0xFF) * 257)};
  uint8_t bytes[8];
  for (int c = 0; c < 4; ++c) pixels::StoreWord(bytes + 2 * c, words[c]);
  if (mask == nullptr) {
    walk.FillRowsFromFirst(bytes, 8);
    return;
  }
  walk.ForEachPixel<8, 8>([&](uint8_t* p, uint32_t m) {
    // Coverage 0 blends back to the old value exactly, so no test is needed.
    for (int c = 0; c < 4; ++c)
      pixels::StoreWord(p + 2 * c, static_cast<uint16_t>(pixels::Blend<255>(pixels::LoadWord(p + 2 * c), words[c], m)));
  });
}

void CBaseBitmap::Clear16BppMono(const CBaseBitmap* mask, uint32_t colour) {
  if (GetBitsPerPixel() != 16 || GetColourOrder() != ColourOrder::Mono) return;
  pixels::MaskedWalk walk(this, mask, 16);
  if (!walk.Valid()) return;
  const uint16_t grey = static_cast<uint16_t>(colour & 0xFFFF);
  walk.ForEachPixel<16, 2>([&](uint8_t* p, uint32_t m) {
    if (mask == nullptr) {
      pixels::StoreWord(p, grey);
    } else {
      pixels::StoreWord(p, static_cast<uint16_t>(pixels::Blend<65535>(pixels::LoadWord(p), grey, m)));
    }
  });
}

void CBaseBitmap::Clear16BppMonoA(const CBaseBitmap* mask, uint32_t colour) {
  if (GetBitsPerPixel() != 16 || GetColourOrder() != ColourOrder::MonoA) return;
  pixels::MaskedWalk walk(this, mask, 8);
  if (!walk.Valid()) return;
  const uint8_t v[2] = {static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 24)};
  walk.ForEachPixel<8, 2>([&](uint8_t* p, uint32_t m) {
    for (int c = 0; c < 2; ++c) {
      if (mask == nullptr) {
        p[c] = v[c];
      } else {
        // Rounded division by 255 of the weighted sum.
        const uint32_t sum = (255 - m) * p[c] + v[c] * m;
        p[c] = static_cast<uint8_t>((sum * 257 + 256) >> 16);
      }
    }
  });
}

void CBaseBitmap::Clear32BppMonoA(const CBaseBitmap* mask, uint32_t colour) {
  if (GetBitsPerPixel() != 32 || GetColourOrder() != ColourOrder::MonoA) return;
  pixels::MaskedWalk walk(this, mask, 16);
  if (!walk.Valid()) return;
  const uint16_t v[2] = {static_cast<uint16_t>((colour & 0xFF) * 257), static_cast<uint16_t>((colour >> 24) * 257)};
  walk.ForEachPixel<16, 4>([&](uint8_t* p, uint32_t m) {
    for (int c = 0; c < 2; ++c) {
      if (mask == nullptr) {
        pixels::StoreWord(p + 2 * c, v[c]);
      } else {
        pixels::StoreWord(p + 2 * c, static_cast<uint16_t>(pixels::Blend<65535>(pixels::LoadWord(p + 2 * c), v[c], m)));
      }
    }
  });
}

}  // namespace Kernel
