// The bitmap's pixel operations: alpha setting, rectangle copies, format
// changes, greying, flips, rotations and the histogram. Each picks the
// format's policy once and then walks pixels with it.
#include <kernel/CopyPixels.h>
#include <kernel/MemoryBitmap.h>
#include <kernel/PixelOperations.h>

#include <algorithm>
#include <vector>

#include "CopyPixelsSkeleton.h"

namespace Kernel {

namespace {

using namespace convert;

// Calls f.template operator()<T, W>() for the bitmap's iterator type, with
// the 16-bit channel view where the type has one and wide is asked for.
template <class F>
bool VisitType(int type, bool wide, F&& f) {
#define NK_CASE(T)                        \
  case T:                                 \
    if constexpr (HasWide(T)) {           \
      if (wide) {                         \
        f.template operator()<T, true>(); \
        return true;                      \
      }                                   \
    }                                     \
    f.template operator()<T, false>();    \
    return true;
  switch (type) {
    NK_CASE(1)
    NK_CASE(2) NK_CASE(3) NK_CASE(4) NK_CASE(5) NK_CASE(6) NK_CASE(7) NK_CASE(8) NK_CASE(9) NK_CASE(10) NK_CASE(11)
        NK_CASE(12) NK_CASE(13) NK_CASE(14) NK_CASE(15) NK_CASE(16) NK_CASE(17) NK_CASE(18) NK_CASE(19) NK_CASE(20)
            NK_CASE(21) default : return false;
  }
#undef NK_CASE
}

// Rewrites every clip pixel through fn(value) -> value, loading and storing
// through the lossless view of the format.
template <class Fn>
void RewriteClip(CBaseBitmap* b, Fn&& fn) {
  VisitType(b->GetIteratorType(), true, [&]<int T, bool W>() {
    using F = Fmt<T, W>;
    auto it = GetIter<T, W>(b);
    const CRect clip = b->GetClipRect();
    it.SetClip(&clip);
    const CRect c = it.GetClip();
    if (it.GetBase() == nullptr) return;
    Ctx ctx;
    if constexpr (F::indexed) {
      FillSourcePalette(ctx, it);
      ctx.dst.Set(it.GetPaletteEntries(), it.GetPaletteSize());
    }
    for (int y = c.top; y < c.bottom; ++y) {
      uint8_t* row = it.RowAddress(y);
      uint8_t* arow = F::alphaPlane ? it.AlphaRowAddress(y) : nullptr;
      for (int x = c.left; x < c.right; ++x) {
        typename F::Value v = F::Load(ctx, row, arow, x);
        fn.template operator()<F>(v, x - c.left, y - c.top);
        F::Store(ctx, row, arow, x, v);
      }
    }
  });
}

// Raw pixel access by displayed coordinates, for moves that keep the bits.
class RawPixels {
 public:
  explicit RawPixels(CBaseBitmap* b) : m_bpp(b->GetBitsPerPixel()), m_width(b->GetWidth()), m_height(b->GetHeight()) {
    m_stride = b->GetRowByteInc();
    m_base = b->GetBitsBase();
    if (m_base != nullptr && b->GetOrigin() == BitmapOrigin::BottomLeft && m_height > 0)
      m_base += static_cast<ptrdiff_t>(b->GetBytesPerScanline()) * (m_height - 1);
  }
  bool Valid() const { return m_base != nullptr && m_bpp > 0 && (m_bpp % 8 == 0 || 8 % m_bpp == 0); }
  uint8_t* Row(int y) const { return m_base + static_cast<ptrdiff_t>(m_stride) * y; }
  uint64_t Get(int x, int y) const {
    const uint8_t* r = Row(y);
    if (m_bpp < 8) {
      const int per = 8 / m_bpp;
      return (r[x / per] >> (8 - ((x % per) + 1) * m_bpp)) & ((1u << m_bpp) - 1);
    }
    uint64_t v = 0;
    std::memcpy(&v, r + static_cast<ptrdiff_t>(m_bpp / 8) * x, static_cast<size_t>(m_bpp / 8));
    return v;
  }
  void Set(int x, int y, uint64_t v) const {
    uint8_t* r = Row(y);
    if (m_bpp < 8) {
      const int per = 8 / m_bpp;
      const int shift = 8 - ((x % per) + 1) * m_bpp;
      uint8_t& byte = r[x / per];
      byte = static_cast<uint8_t>((byte & ~(((1u << m_bpp) - 1) << shift)) | ((v & ((1u << m_bpp) - 1)) << shift));
      return;
    }
    std::memcpy(r + static_cast<ptrdiff_t>(m_bpp / 8) * x, &v, static_cast<size_t>(m_bpp / 8));
  }
  int Width() const { return m_width; }
  int Height() const { return m_height; }

 private:
  int m_bpp, m_width, m_height, m_stride = 0;
  uint8_t* m_base = nullptr;
};

// A new memory bitmap of b's layout and palette, or null.
CPtr<CMemoryBitmap> NewLike(const CBaseBitmap* b, int width, int height) {
  try {
    CPtr<CMemoryBitmap> out(
        new CMemoryBitmap(width, height, b->GetBitsPerPixel(), b->GetColourOrder(), b->GetOrigin()));
    if (b->GetPaletteSize() > 0 && b->GetPalette() != nullptr)
      out->CreateWithPalette(width, height, b->GetBitsPerPixel(), b->GetPalette(), b->GetPaletteSize(),
                             b->GetColourOrder(), b->GetOrigin());
    return out;
  } catch (const std::exception&) {
    return nullptr;
  }
}

// Rebuilds b at newWidth x newHeight (keeping layout and palette) and fills
// it with pixel (x, y) = old pixel at from(x, y). False when b cannot be
// re-created.
template <class From>
bool Remap(CBaseBitmap* b, int newWidth, int newHeight, From&& from) {
  RawPixels old(b);
  if (!old.Valid()) return false;
  const int w = old.Width(), h = old.Height();
  std::vector<uint64_t> pixels(static_cast<size_t>(w) * static_cast<size_t>(h));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) pixels[static_cast<size_t>(y) * w + x] = old.Get(x, y);
  const std::vector<RGBQUAD> palette(b->GetPalette(), b->GetPalette() + (b->GetPalette() ? b->GetPaletteSize() : 0));
  // The alpha plane is its own bitmap: hold it across the re-creation and
  // move it the same way.
  CPtr<CBaseBitmap> plane(const_cast<CBaseBitmap*>(b->GetAlphaChannel()));
  if (plane) {
    CPtr<CMemoryBitmap> copy = NewLike(plane.Get(), plane->GetWidth(), plane->GetHeight());
    if (!copy) return false;
    CopyPixels(copy.Get(), plane.Get(), nullptr, nullptr);
    if (!Remap(copy.Get(), newWidth, newHeight, from)) return false;
    plane = copy;
  }
  const int bpp = b->GetBitsPerPixel();
  const bool created =
      palette.empty() ? b->Create(newWidth, newHeight, bpp, b->GetColourOrder(), b->GetOrigin())
                      : b->CreateWithPalette(newWidth, newHeight, bpp, palette.data(), static_cast<int>(palette.size()),
                                             b->GetColourOrder(), b->GetOrigin());
  if (!created) return false;
  RawPixels now(b);
  if (!now.Valid()) return false;
  for (int y = 0; y < newHeight; ++y)
    for (int x = 0; x < newWidth; ++x) {
      const auto [sx, sy] = from(x, y, w, h);
      now.Set(x, y, pixels[static_cast<size_t>(sy) * w + sx]);
    }
  if (plane) b->SetAlphaChannel(plane.Get());
  return true;
}

}  // namespace

// --- Alpha -----------------------------------------------------------------

void SetAlpha(CBaseBitmap* bitmap, uint8_t alpha) {
  if (bitmap == nullptr || !HasAlpha(GetImageType(bitmap))) return;
  RewriteClip(bitmap, [&]<class F>(typename F::Value& v, int, int) {
    if constexpr (F::alpha) v.a = F::bits == 16 ? alpha * 257u : alpha;
  });
}

void SetAlphaBits(CBaseBitmap* bitmap, const uint8_t* bits) {
  if (bitmap == nullptr || bits == nullptr || !HasAlpha(GetImageType(bitmap))) return;
  const int w = bitmap->GetClipRect().Width();
  RewriteClip(bitmap, [&]<class F>(typename F::Value& v, int x, int y) {
    if constexpr (F::alpha) {
      const uint32_t a = bits[static_cast<ptrdiff_t>(y) * w + x];
      v.a = F::bits == 16 ? a * 257u : a;
    }
  });
}

void CBaseBitmap::SetAlphaToValue(uint8_t alpha) {
  if (HasAlpha(GetImageType(this))) SetAlpha(this, alpha);
}

void CBaseBitmap::SetAlphaBits(const uint8_t* bits) {
  if (HasAlpha(GetImageType(this))) Kernel::SetAlphaBits(this, bits);
}

// --- Copies and format changes ------------------------------------------------

bool CBaseBitmap::BitBlt(const CBaseBitmap* src, const CPoint& at, const CRect* srcRect) {
  if (src == nullptr) return false;
  CRect s = srcRect != nullptr ? *srcRect : src->GetRect();
  s.NormalizeRect();
  CRect srcBounds = src->GetRect();
  if (!s.IntersectRect(&s, &srcBounds)) return false;
  // The target rectangle cut to this bitmap, and the source cut to match.
  CRect d(at.x, at.y, at.x + s.Width(), at.y + s.Height());
  CRect bounds = GetRect();
  CRect visible;
  if (!visible.IntersectRect(&d, &bounds)) return false;
  s = CRect(s.left + visible.left - d.left, s.top + visible.top - d.top, s.left + visible.right - d.left,
            s.top + visible.bottom - d.top);
  return TryCopyPixels(this, src, &s, &visible);
}

CPtr<CBaseBitmap> CBaseBitmap::CopyRect(const CRect& rect) const {
  CRect r = rect;
  r.NormalizeRect();
  const CRect bounds = GetRect();
  if (!r.IntersectRect(&r, &bounds)) return nullptr;
  CPtr<CMemoryBitmap> out = NewLike(this, r.Width(), r.Height());
  if (!out) return nullptr;
  RawPixels from(const_cast<CBaseBitmap*>(this)), to(out.Get());
  if (!from.Valid() || !to.Valid()) return nullptr;
  for (int y = 0; y < r.Height(); ++y)
    for (int x = 0; x < r.Width(); ++x) to.Set(x, y, from.Get(r.left + x, r.top + y));
  if (const CBaseBitmap* plane = GetAlphaChannel()) {
    CPtr<CBaseBitmap> part = plane->CopyRect(r);
    if (part) out->SetAlphaChannel(part.Get());
  }
  return CPtr<CBaseBitmap>(out);
}

CPtr<CBaseBitmap> CBaseBitmap::GetAs(ColourOrder::Type order) const {
  const bool wide = GetBitsPerChannel() == 16;
  const bool alpha = HasAlpha(GetImageType(this));
  int bpp = 0;
  switch (order) {
    case ColourOrder::Rgb:
    case ColourOrder::Bgr:
      bpp = wide ? (alpha ? 64 : 48) : (alpha ? 32 : 24);
      break;
    case ColourOrder::Cmyk:
      bpp = alpha ? 40 : 32;
      break;
    case ColourOrder::Mono:
      bpp = wide ? 16 : 8;
      break;
    case ColourOrder::MonoA:
      bpp = wide ? 32 : 16;
      break;
    default:
      return nullptr;
  }
  try {
    CPtr<CMemoryBitmap> out(new CMemoryBitmap(GetWidth(), GetHeight(), bpp, order, GetOrigin()));
    if (!TryCopyPixels(out.Get(), this, nullptr, nullptr)) return nullptr;
    return CPtr<CBaseBitmap>(out);
  } catch (const std::exception&) {
    return nullptr;
  }
}

CPtr<CBaseBitmap> CBaseBitmap::GetAs(ColourOrder::Type order) {
  return static_cast<const CBaseBitmap*>(this)->GetAs(order);
}

// --- Grey -------------------------------------------------------------------------

void CBaseBitmap::GreyscaleImage() {
  const int type = GetIteratorType();
  if (HasPalette(GetImageTypeFromIterator(static_cast<PixelIteratorType>(type)))) {
    RGBQUAD* pal = GetPalette();
    for (int i = 0; pal != nullptr && i < GetPaletteSize(); ++i) {
      const uint8_t g = static_cast<uint8_t>(Third(uint32_t{pal[i].rgbRed} + pal[i].rgbGreen + pal[i].rgbBlue));
      pal[i].rgbRed = pal[i].rgbGreen = pal[i].rgbBlue = g;
    }
    return;
  }
  RewriteClip(this, [&]<class F>(typename F::Value& v, int, int) {
    if constexpr (F::model == Model::Rgb) {
      v.r = v.g = v.b = Third(v.r + v.g + v.b);
    } else if constexpr (F::model == Model::Cmyk) {
      const Rgb<8> c = CmykToRgb(v);
      const uint32_t g = Third(c.r + c.g + c.b);
      const Cmyk k = RgbToCmyk(g, g, g, v.a);
      v = k;
    }
  });
}

bool CBaseBitmap::GetHistogram(uint32_t* histogram, int entries) const {
  if (histogram == nullptr) return false;
  if (entries == 256) return GetHistogramMono8BPC(histogram);
  if (entries == 65536) return GetHistogram16BPC(histogram);
  return false;
}

namespace {

template <int GreyType, bool GreyWide>
bool Histogram(const CBaseBitmap* b, uint32_t* histogram, int entries, bool wide) {
  std::fill(histogram, histogram + entries, 0u);
  return VisitType(b->GetIteratorType(), wide, [&]<int T, bool W>() {
    using F = Fmt<T, W>;
    using G = Fmt<GreyType, GreyWide>;
    auto it = GetIter<T, W>(b);
    const CRect clip = b->GetClipRect();
    it.SetClip(&clip);
    const CRect c = it.GetClip();
    if (it.GetBase() == nullptr) return;
    Ctx ctx;
    if constexpr (F::indexed) FillSourcePalette(ctx, it);
    for (int y = c.top; y < c.bottom; ++y) {
      const uint8_t* row = it.RowAddress(y);
      const uint8_t* arow = F::alphaPlane ? it.AlphaRowAddress(y) : nullptr;
      for (int x = c.left; x < c.right; ++x) ++histogram[Convert<G, F>(F::Load(ctx, row, arow, x), 0).v];
    }
  });
}

}  // namespace

bool CBaseBitmap::GetHistogramMono8BPC(uint32_t* histogram) const {
  return Histogram<PIT_MONO8, false>(this, histogram, 256, false);
}

bool CBaseBitmap::GetHistogram16BPC(uint32_t* histogram) const {
  if (GetBitsPerChannel() != 16 || !HasWide(GetIteratorType())) return false;
  return Histogram<PIT_MONO16, true>(this, histogram, 65536, true);
}

// --- Flips and rotations ------------------------------------------------------------

void CBaseBitmap::FlipH() {
  RawPixels p(this);
  if (!p.Valid()) return;
  for (int y = 0; y < p.Height(); ++y)
    for (int x = 0, r = p.Width() - 1; x < r; ++x, --r) {
      const uint64_t a = p.Get(x, y);
      p.Set(x, y, p.Get(r, y));
      p.Set(r, y, a);
    }
  if (CBaseBitmap* plane = GetAlphaChannel(false)) plane->FlipH();
}

void CBaseBitmap::FlipV() {
  RawPixels p(this);
  if (!p.Valid()) return;
  const size_t bytes = static_cast<size_t>(GetBytesPerScanline());
  std::vector<uint8_t> tmp(bytes);
  for (int y = 0, r = p.Height() - 1; y < r; ++y, --r) {
    std::memcpy(tmp.data(), p.Row(y), bytes);
    std::memcpy(p.Row(y), p.Row(r), bytes);
    std::memcpy(p.Row(r), tmp.data(), bytes);
  }
  if (CBaseBitmap* plane = GetAlphaChannel(false)) plane->FlipV();
}

void CBaseBitmap::RotateRight180() {
  FlipH();
  FlipV();
}

void CBaseBitmap::RotateRight90() {
  // Clockwise: the new row y is the old column y read from the bottom up.
  Remap(this, GetHeight(), GetWidth(), [](int x, int y, int, int h) { return std::pair<int, int>(y, h - 1 - x); });
}

void CBaseBitmap::RotateLeft90() {
  Remap(this, GetHeight(), GetWidth(), [](int x, int y, int w, int) { return std::pair<int, int>(w - 1 - y, x); });
}

}  // namespace Kernel
