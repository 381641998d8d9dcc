#pragma once
// Memory bitmaps of every iterator type for the conversion tests, filled with
// reproducible noise.
#include <cstdint>
#include <random>
#include <vector>

#include <kernel/MemoryBitmap.h>

// A memory bitmap that reports a chosen iterator type: the only way a bitmap
// is walked as BGR16 (a 16-bit Bgr bitmap is otherwise walked as RGB16).
class TypedBitmap : public Kernel::CMemoryBitmap {
 public:
  TypedBitmap(int w, int h, int bpp, Kernel::ColourOrder::Type order, Kernel::BitmapOrigin::Type origin,
              Kernel::PixelIteratorType type)
      : CMemoryBitmap(w, h, bpp, order, origin), m_type(type) {}
  Kernel::PixelIteratorType GetIteratorType() const override {
    return m_type == Kernel::PIT_BGR16 ? m_type : CMemoryBitmap::GetIteratorType();
  }

 private:
  Kernel::PixelIteratorType m_type;
};

struct LayoutOf {
  int bpp;
  Kernel::ColourOrder::Type order;
};

inline LayoutOf LayoutFor(int type) {
  using O = Kernel::ColourOrder;
  static const LayoutOf table[22] = {{0, O::Rgb},    {8, O::Mono},  {1, O::Rgb},   {2, O::Rgb},   {4, O::Rgb},
                                     {8, O::Rgb},    {16, O::Rgb},  {24, O::Rgb},  {32, O::Rgb},  {16, O::Bgr},
                                     {24, O::Bgr},   {32, O::Bgr},  {32, O::Cmyk}, {40, O::Cmyk}, {32, O::Cmyk},
                                     {48, O::Rgb},   {48, O::Bgr},  {64, O::Rgb},  {64, O::Bgr},  {16, O::Mono},
                                     {16, O::MonoA}, {32, O::MonoA}};
  return table[type];
}

inline Kernel::CPtr<TypedBitmap> MakeTyped(int type, int w, int h,
                                           Kernel::BitmapOrigin::Type origin = Kernel::BitmapOrigin::TopLeft) {
  const LayoutOf l = LayoutFor(type);
  Kernel::CPtr<TypedBitmap> b(
      new TypedBitmap(w, h, l.bpp, l.order, origin, static_cast<Kernel::PixelIteratorType>(type)));
  if (type == Kernel::PIT_CMYKA_32_8) b->GetAlphaChannel(true);
  return b;
}

// Pixel bytes and alpha-plane bytes, with row padding excluded.
inline std::vector<uint8_t> Snapshot(const Kernel::CBaseBitmap& b) {
  std::vector<uint8_t> out;
  const int rowBytes = (b.GetWidth() * b.GetBitsPerPixel() + 7) / 8;
  for (int y = 0; y < b.GetHeight(); ++y) {
    const uint8_t* r = b.GetBits(CPoint(0, y));
    out.insert(out.end(), r, r + rowBytes);
    // Bits past the last packed pixel are not pixels.
    const int used = (b.GetWidth() * b.GetBitsPerPixel()) % 8;
    if (used != 0) out.back() &= static_cast<uint8_t>(0xFF << (8 - used));
  }
  if (const Kernel::CBaseBitmap* a = b.GetAlphaChannel()) {
    const auto more = Snapshot(*a);
    out.insert(out.end(), more.begin(), more.end());
  }
  return out;
}

inline void FillNoise(Kernel::CBaseBitmap& b, uint32_t seed) {
  std::mt19937 rng(seed);
  const int rowBytes = (b.GetWidth() * b.GetBitsPerPixel() + 7) / 8;
  for (int y = 0; y < b.GetHeight(); ++y) {
    uint8_t* r = b.GetBits(CPoint(0, y));
    for (int i = 0; i < rowBytes; ++i) r[i] = static_cast<uint8_t>(rng());
  }
  if (b.GetColourOrder() == Kernel::ColourOrder::Cmyk) {
    if (Kernel::CBaseBitmap* a = b.GetAlphaChannel(false)) FillNoise(*a, seed + 1);
  }
}
