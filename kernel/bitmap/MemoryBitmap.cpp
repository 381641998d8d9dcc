#include <kernel/MemoryBitmap.h>

#include <algorithm>
#include <cstring>
#include <new>

#include <kernel/Exceptions.h>

namespace Kernel {

IMPLEMENT_DYNAMIC(CMemoryBitmap, CBaseBitmap)

CImageFileException::CImageFileException(const std::string& path, const std::string& reason)
    : std::runtime_error(path.empty() ? reason : path + ": " + reason), m_path(path), m_reason(reason) {}

namespace {

bool IsPowerOfTwo(int v) { return v > 0 && (v & (v - 1)) == 0; }

bool IsIndexedLayout(int bitsPerPixel, ColourOrder::Type order) {
  if (order == ColourOrder::Mono) return bitsPerPixel == 1;
  if (order != ColourOrder::Rgb && order != ColourOrder::Bgr) return false;
  return bitsPerPixel == 1 || bitsPerPixel == 2 || bitsPerPixel == 4 || bitsPerPixel == 8;
}

}  // namespace

bool CMemoryBitmap::IsValidLayout(int bitsPerPixel, ColourOrder::Type order) {
  switch (order) {
    case ColourOrder::Rgb:
    case ColourOrder::Bgr:
      return GetTypeFromBitsPerPixel(bitsPerPixel, order) != 0;
    case ColourOrder::Cmyk:
      return bitsPerPixel == 32 || bitsPerPixel == 40;
    case ColourOrder::Mono:
      return bitsPerPixel == 1 || bitsPerPixel == 8 || bitsPerPixel == 16;
    case ColourOrder::MonoA:
      return bitsPerPixel == 16 || bitsPerPixel == 32;
    default:
      return false;
  }
}

CMemoryBitmap::CMemoryBitmap() = default;

CMemoryBitmap::CMemoryBitmap(int width, int height, int bitsPerPixel, ColourOrder::Type order,
                             BitmapOrigin::Type origin, int rowAlignment) {
  if (!Allocate(width, height, bitsPerPixel, order, origin, rowAlignment)) throw CInvalidArgException();
}

CMemoryBitmap::CMemoryBitmap(const CMemoryBitmap& other) : CBaseBitmap() { *this = other; }

CMemoryBitmap& CMemoryBitmap::operator=(const CMemoryBitmap& other) {
  if (this == &other) return *this;
  m_width = other.m_width;
  m_height = other.m_height;
  m_bitsPerPixel = other.m_bitsPerPixel;
  m_padding = other.m_padding;
  m_rowAlignment = other.m_rowAlignment;
  m_order = other.m_order;
  m_origin = other.m_origin;
  m_pixels = other.m_pixels;
  m_palette = other.m_palette;
  // The alpha plane belongs to one bitmap; a copy gets its own.
  m_alpha = other.m_alpha ? CPtr<CMemoryBitmap>(new CMemoryBitmap(*other.m_alpha)) : CPtr<CMemoryBitmap>();
  m_clip = other.m_clip;
  m_xDpi = other.m_xDpi;
  m_yDpi = other.m_yDpi;
  return *this;
}

CMemoryBitmap::~CMemoryBitmap() = default;

bool CMemoryBitmap::Allocate(int width, int height, int bitsPerPixel, ColourOrder::Type order,
                             BitmapOrigin::Type origin, int rowAlignment) {
  if (width < 0 || height < 0 || !IsValidLayout(bitsPerPixel, order)) return false;
  if (origin != BitmapOrigin::TopLeft && origin != BitmapOrigin::BottomLeft) return false;
  if (!IsPowerOfTwo(rowAlignment) || rowAlignment > 256) return false;
  if (GetBytesNeeded(width, height, bitsPerPixel, rowAlignment) == 0xFFFFFFFFu) return false;

  const int64_t rowBytes = (static_cast<int64_t>(width) * bitsPerPixel + 7) / 8;
  const int64_t stride = (rowBytes + rowAlignment - 1) & ~static_cast<int64_t>(rowAlignment - 1);
  const int64_t total = stride * height;
  if (total > 0x7FFFFFFF) return false;

  std::vector<uint8_t> pixels;
  try {
    pixels.assign(static_cast<size_t>(total), 0);
  } catch (const std::bad_alloc&) {
    throw CMemoryException();
  }
  m_pixels.swap(pixels);
  m_width = width;
  m_height = height;
  m_bitsPerPixel = bitsPerPixel;
  m_padding = static_cast<int>(stride - rowBytes);
  m_rowAlignment = rowAlignment;
  m_order = order;
  m_origin = origin;
  m_clip = CRect(0, 0, width, height);
  m_alpha = nullptr;
  m_palette.clear();
  if (IsIndexedLayout(bitsPerPixel, order)) SetGreyPalette();
  return true;
}

void CMemoryBitmap::SetGreyPalette() {
  const int count = 1 << m_bitsPerPixel;
  m_palette.assign(static_cast<size_t>(count), RGBQUAD{});
  for (int i = 0; i < count; ++i) {
    const auto v = static_cast<uint8_t>(i * 255 / (count - 1));
    m_palette[static_cast<size_t>(i)] = RGBQUAD{v, v, v, 0};
  }
}

bool CMemoryBitmap::Create(int width, int height, int bitsPerPixel, ColourOrder::Type order,
                           BitmapOrigin::Type origin) {
  try {
    return Allocate(width, height, bitsPerPixel, order, origin, m_rowAlignment);
  } catch (const CMemoryException&) {
    return false;
  }
}

bool CMemoryBitmap::CreateWithPalette(int width, int height, int bitsPerPixel, const RGBQUAD* palette, int paletteSize,
                                      ColourOrder::Type order, BitmapOrigin::Type origin) {
  if (!IsIndexedLayout(bitsPerPixel, order)) return false;
  if (paletteSize < 0 || paletteSize > (1 << bitsPerPixel) || (paletteSize > 0 && palette == nullptr)) return false;
  if (!Create(width, height, bitsPerPixel, order, origin)) return false;
  if (paletteSize > 0) m_palette.assign(palette, palette + paletteSize);
  return true;
}

bool CMemoryBitmap::RequiresPalette() const { return IsIndexedLayout(m_bitsPerPixel, m_order); }

RGBQUAD* CMemoryBitmap::GetPalette() { return m_palette.empty() ? nullptr : m_palette.data(); }

const RGBQUAD* CMemoryBitmap::GetPalette() const { return m_palette.empty() ? nullptr : m_palette.data(); }

int CMemoryBitmap::GetPaletteSize() const { return static_cast<int>(m_palette.size()); }

CRect CMemoryBitmap::SetClipRect(const CRect& clip) {
  const CRect whole = GetRect();
  CRect c(std::max(clip.left, whole.left), std::max(clip.top, whole.top), std::min(clip.right, whole.right),
          std::min(clip.bottom, whole.bottom));
  // An empty intersection keeps its position but has no area.
  if (c.right < c.left) c.right = c.left;
  if (c.bottom < c.top) c.bottom = c.top;
  m_clip = c;
  return m_clip;
}

int CMemoryBitmap::GetSafeXResolution() const { return m_xDpi > 0 ? m_xDpi : CBaseBitmap::GetSafeXResolution(); }

int CMemoryBitmap::GetSafeYResolution() const { return m_yDpi > 0 ? m_yDpi : CBaseBitmap::GetSafeYResolution(); }

void CMemoryBitmap::SetResolution(int xDpi, int yDpi) {
  m_xDpi = std::max(0, xDpi);
  m_yDpi = std::max(0, yDpi);
}

CBaseBitmap* CMemoryBitmap::GetAlphaChannel(bool create) {
  if (!m_alpha && create && m_order == ColourOrder::Cmyk && m_bitsPerPixel == 32) {
    CPtr<CMemoryBitmap> plane(new CMemoryBitmap(m_width, m_height, 8, ColourOrder::Mono, m_origin));
    plane->Clear(nullptr, 0xFF);  // a new plane is fully opaque
    m_alpha = plane;
  }
  return m_alpha.Get();
}

const CBaseBitmap* CMemoryBitmap::GetAlphaChannel() const { return m_alpha.Get(); }

void CMemoryBitmap::SetAlphaChannel(const CBaseBitmap* plane) {
  if (plane == nullptr) {
    m_alpha = nullptr;
    return;
  }
  if (m_order != ColourOrder::Cmyk || m_bitsPerPixel != 32) return;
  if (plane == m_alpha.Get()) return;
  if (plane->GetBitsPerPixel() != 8 || plane->GetWidth() != m_width || plane->GetHeight() != m_height) return;
  CPtr<CMemoryBitmap> copy(new CMemoryBitmap(m_width, m_height, 8, ColourOrder::Mono, m_origin));
  // Row by row in display order, so planes of either origin or padding fit.
  for (int y = 0; y < m_height; ++y)
    std::memcpy(copy->GetBits(CPoint(0, y)), plane->GetBits(CPoint(0, y)), static_cast<size_t>(m_width));
  m_alpha = copy;
}

void CMemoryBitmap::Destroy() {
  std::vector<uint8_t>().swap(m_pixels);
  m_palette.clear();
  m_alpha = nullptr;
  m_width = 0;
  m_height = 0;
  m_padding = 0;
  m_clip = CRect(0, 0, 0, 0);
}

uint64_t CMemoryBitmap::Measure() const {
  uint64_t bytes = m_pixels.capacity() + m_palette.capacity() * sizeof(RGBQUAD);
  if (m_alpha) bytes += m_alpha->Measure();
  return bytes;
}

}  // namespace Kernel
