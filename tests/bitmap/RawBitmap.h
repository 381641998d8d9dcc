#pragma once
// A minimal concrete bitmap for exercising the base class alone: any depth,
// order, origin and padding, pixels in a vector, and no overrides of the
// optional facilities (so the base's neutral answers and its whole-bitmap clip
// are what the tests see).
#include <cstdint>
#include <vector>

#include <kernel/Bitmap.h>

class RawBitmap : public Kernel::CBaseBitmap {
 public:
  RawBitmap(int width, int height, int bpp, Kernel::ColourOrder::Type order,
            Kernel::BitmapOrigin::Type origin = Kernel::BitmapOrigin::TopLeft, int padding = 0)
      : m_width(width), m_height(height), m_bpp(bpp), m_padding(padding), m_order(order), m_origin(origin) {
    m_bits.assign(static_cast<size_t>(GetBytesPerScanline()) * static_cast<size_t>(height), 0);
  }

  bool Create(int, int, int, Kernel::ColourOrder::Type, Kernel::BitmapOrigin::Type) override { return false; }
  int GetWidth() const override { return m_width; }
  int GetHeight() const override { return m_height; }
  int GetBitsPerPixel() const override { return m_bpp; }
  int GetScanlinePadding() const override { return m_padding; }
  Kernel::ColourOrder::Type GetColourOrder() const override { return m_order; }
  Kernel::BitmapOrigin::Type GetOrigin() const override { return m_origin; }
  const uint8_t* GetBitsBase() const override { return m_bits.data(); }
  uint8_t* GetBitsBase() override { return m_bits.data(); }

  std::vector<uint8_t>& Bytes() { return m_bits; }

 private:
  int m_width, m_height, m_bpp, m_padding;
  Kernel::ColourOrder::Type m_order;
  Kernel::BitmapOrigin::Type m_origin;
  std::vector<uint8_t> m_bits;
};
