#pragma once
// A concrete bitmap that owns its pixels in one heap block, with an optional
// palette (indexed depths), an optional separate 8-bit alpha plane (32-bit
// CMYK), a clip rectangle, a resolution, and PNG loading and saving.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <kernel/Bitmap.h>

namespace Kernel {

// Thrown by value when a PNG file cannot be read or written: missing or
// unreadable file, not a PNG, corrupt or truncated data, a format PNG cannot
// hold, or a failed write. what() names the file and the reason.
class NK_API CImageFileException : public std::runtime_error {
 public:
  CImageFileException(const std::string& path, const std::string& reason);
  const std::string& GetPath() const { return m_path; }
  const std::string& GetReason() const { return m_reason; }

 private:
  std::string m_path;
  std::string m_reason;
};

class NK_API CMemoryBitmap : public CBaseBitmap {
  DECLARE_DYNAMIC(CMemoryBitmap)

 public:
  // An empty (0 x 0, 32-bit Bgr) bitmap, ready for Create.
  CMemoryBitmap();
  // A bitmap with zeroed pixels. Rows are padded to rowAlignment bytes (a
  // power of two from 1 to 256). Indexed depths (1 to 8 bits in Rgb or Bgr
  // order, 1 bit in Mono order) start with a grey-ramp palette.
  // Throws CInvalidArgException for a negative size, an unknown depth/order
  // pair, a bad alignment or a size past 2^31 - 1 bytes, and
  // CMemoryException when the pixels cannot be allocated.
  CMemoryBitmap(int width, int height, int bitsPerPixel, ColourOrder::Type order,
                BitmapOrigin::Type origin = BitmapOrigin::TopLeft, int rowAlignment = 4);
  CMemoryBitmap(const CMemoryBitmap& other);
  CMemoryBitmap& operator=(const CMemoryBitmap& other);
  ~CMemoryBitmap() override;

  // True for the depth/order pairs a memory bitmap can hold.
  static bool IsValidLayout(int bitsPerPixel, ColourOrder::Type order);

  // --- Files ------------------------------------------------------------
  // Reads a PNG file into a TopLeft bitmap. Palette images of 1, 2, 4 and 8
  // bits become RGB1..RGB8, grey becomes MONO8 or MONO16 (1-, 2- and 4-bit
  // grey widened to 8), grey+alpha MONOA16 or MONOA32, colour 24 or 48 bits
  // and colour with alpha 32 or 64 bits. order picks the colour family: Bgr
  // (the default) gives BGR24/32/48/64, whose memory holds red, green, blue
  // as the file does; Rgb gives RGB24/32/48/64, stored blue, green, red.
  // A transparency chunk turns the image into its alpha form (a palette
  // image into 32 bits). Throws CImageFileException.
  static CPtr<CMemoryBitmap> LoadPNG(const wchar_t* path, ColourOrder::Type order = ColourOrder::Bgr);
  static CPtr<CMemoryBitmap> LoadPNG(const void* data, size_t size, ColourOrder::Type order = ColourOrder::Bgr);
  // Writes the bitmap as PNG: indexed depths as palette images, MONO8/16,
  // MONOA16/32, and the 24/32/48/64-bit colour formats of either order.
  // 16-bit colour and CMYK cannot be stored. The file is written beside the
  // target under a temporary name and renamed into place, so a failed save
  // leaves any earlier file untouched. Throws CImageFileException.
  void SavePNG(const wchar_t* path) const;
  std::vector<uint8_t> EncodePNG() const;
  // True when SavePNG can store this bitmap's format.
  bool CanSavePNG() const;

  // --- CBaseBitmap ------------------------------------------------------
  bool Create(int width, int height, int bitsPerPixel, ColourOrder::Type order, BitmapOrigin::Type origin) override;
  int GetWidth() const override { return m_width; }
  int GetHeight() const override { return m_height; }
  int GetBitsPerPixel() const override { return m_bitsPerPixel; }
  int GetScanlinePadding() const override { return m_padding; }
  ColourOrder::Type GetColourOrder() const override { return m_order; }
  BitmapOrigin::Type GetOrigin() const override { return m_origin; }
  const uint8_t* GetBitsBase() const override { return m_pixels.data(); }
  uint8_t* GetBitsBase() override { return m_pixels.data(); }

  CRect GetClipRect() const override { return m_clip; }
  // Intersects clip with the bitmap and keeps that; answers the clip in force.
  CRect SetClipRect(const CRect& clip) override;

  int GetSafeXResolution() const override;
  int GetSafeYResolution() const override;
  // Dots per inch; 0 or less goes back to the 96 default.
  void SetResolution(int xDpi, int yDpi) override;

  bool CreateWithPalette(int width, int height, int bitsPerPixel, const RGBQUAD* palette, int paletteSize,
                         ColourOrder::Type order, BitmapOrigin::Type origin) override;
  bool RequiresPalette() const override;
  RGBQUAD* GetPalette() override;
  const RGBQUAD* GetPalette() const override;
  int GetPaletteSize() const override;

  // The alpha plane exists only for 32-bit CMYK: an 8-bit Mono bitmap of the
  // same size. SetAlphaChannel copies a plane of that shape in (null removes
  // the plane) and ignores anything else.
  CBaseBitmap* GetAlphaChannel(bool create) override;
  const CBaseBitmap* GetAlphaChannel() const override;
  void SetAlphaChannel(const CBaseBitmap* plane) override;

  // Frees the pixels, leaving an empty bitmap of the same layout.
  void Destroy() override;

  uint64_t Measure() const override;

 private:
  bool Allocate(int width, int height, int bitsPerPixel, ColourOrder::Type order, BitmapOrigin::Type origin,
                int rowAlignment);
  void SetGreyPalette();

  int m_width = 0;
  int m_height = 0;
  int m_bitsPerPixel = 32;
  int m_padding = 0;
  int m_rowAlignment = 4;
  ColourOrder::Type m_order = ColourOrder::Bgr;
  BitmapOrigin::Type m_origin = BitmapOrigin::TopLeft;
  std::vector<uint8_t> m_pixels;
  std::vector<RGBQUAD> m_palette;
  CPtr<CMemoryBitmap> m_alpha;
  CRect m_clip = CRect(0, 0, 0, 0);
  int m_xDpi = 0;
  int m_yDpi = 0;
};

}  // namespace Kernel
