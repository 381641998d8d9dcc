#pragma once
// The abstract bitmap. It owns no pixels: a concrete bitmap supplies size,
// depth, colour order, origin and pixel memory, and this class builds on them
// the addressing rules, the byte-size arithmetic, neutral answers for the
// optional facilities and the per-depth fills.
#include <cstdint>

#include <kernel/CObject.h>
#include <kernel/CRect.h>
#include <kernel/Export.h>
#include <kernel/Gdi.h>
#include <kernel/PixelFormat.h>
#include <kernel/PixelIterator.h>
#include <kernel/PropHandler.h>
#include <kernel/RefCount.h>

class CArchive;
class IClassProperty;

namespace Kernel {

class NK_API CBaseBitmap : public CObject, public CRefCount, public IPropHandler {
  DECLARE_DYNAMIC(CBaseBitmap)

 public:
  CBaseBitmap() = default;
  ~CBaseBitmap() override = default;

  // Pixel data travels through the concrete bitmaps; the base only keeps an
  // object loaded from an archive alive for the archive's session.
  void Serialize(CArchive& ar) override;

  // Property-bag handling is the reference-counting base's: nothing of the
  // bitmap is written.
  bool GetProperties(IClassProperty* bag) const override;
  bool SetProperties(IClassProperty* bag) override;

  // --- Abstract queries every concrete bitmap supplies -------------------
  // (Re)creates the bitmap with new size and layout; false when it cannot.
  virtual bool Create(int width, int height, int bitsPerPixel, ColourOrder::Type order, BitmapOrigin::Type origin) = 0;
  virtual int GetWidth() const = 0;
  virtual int GetHeight() const = 0;
  // 1, 2, 4, 8, 16, 24, 32, 40, 48 or 64.
  virtual int GetBitsPerPixel() const = 0;
  // Bytes each stored row carries beyond what its pixels need.
  virtual int GetScanlinePadding() const = 0;
  virtual ColourOrder::Type GetColourOrder() const = 0;
  virtual BitmapOrigin::Type GetOrigin() const = 0;
  virtual const uint8_t* GetBitsBase() const = 0;
  virtual uint8_t* GetBitsBase() = 0;

  // --- Layout ---------------------------------------------------------
  // -1 where the order and depth do not make a known layout.
  virtual int GetBitsPerChannel() const;
  virtual int GetNumChannels() const;
  // Width x height x depth with rows aligned to 4 bytes (padding ignored);
  // -1 on overflow.
  virtual int GetTotalBytes() const;
  // Signed distance in memory from a displayed row to the one below it.
  virtual int GetRowByteInc() const;

  // Address of pixel p (y = 0 is the top row as displayed, whatever the
  // origin). The x term counts whole bytes per pixel, so for 1-, 2- and 4-bit
  // bitmaps it is the row's first byte. No bounds are checked.
  virtual const uint8_t* GetBits(const CPoint& p) const;
  virtual uint8_t* GetBits(const CPoint& p);
  // Address of the clip rectangle's top-left pixel.
  virtual const uint8_t* GetClipBits() const;
  virtual uint8_t* GetClipBits();
  // As GetBits with p clamped into the bitmap.
  virtual const uint8_t* GetBitsRepeatEdge(const CPoint& p) const;
  virtual uint8_t* GetBitsRepeatEdge(const CPoint& p);

  // The base keeps no clip: it is always the whole bitmap, and SetClipRect
  // ignores its argument and answers the clip in force.
  virtual CRect GetClipRect() const;
  virtual CRect SetClipRect(const CRect& clip);

  // (width x depth + 7) / 8 plus the padding.
  virtual int GetBytesPerScanline() const;
  // Bytes from just past w pixels of a row to the same column of the next
  // displayed row; the no-argument form uses the clip width.
  virtual int GetScanlineOffset(int w) const;
  virtual int GetScanlineOffset() const;

  // Dots per inch; 96 unless the bitmap knows better.
  virtual int GetSafeXResolution() const;
  virtual int GetSafeYResolution() const;
  // Combines width, height and depth; the pixels do not enter it.
  virtual uint32_t GetHash() const;

  // --- Optional facilities: neutral answers on the base ----------------
  virtual bool CreateWithPalette(int width, int height, int bitsPerPixel, const RGBQUAD* palette, int paletteSize,
                                 ColourOrder::Type order, BitmapOrigin::Type origin);
  virtual bool GetTransparencyColour(uint32_t& colour) const;
  virtual bool GetTransparencyIndex(uint8_t& index) const;
  virtual void SetTransparentColour(const uint32_t& colour);
  virtual bool RequiresPalette() const;
  virtual bool SetColourDepth(int bitsPerPixel, RGBQUAD* palette, int paletteSize);
  virtual RGBQUAD* GetPalette();
  virtual const RGBQUAD* GetPalette() const;
  virtual int GetPaletteSize() const;
  // The separate 8-bit alpha plane of a 32-bit CMYK bitmap; create asks for
  // an opaque plane when there is none yet.
  virtual CBaseBitmap* GetAlphaChannel(bool create);
  virtual const CBaseBitmap* GetAlphaChannel() const;
  virtual void SetAlphaChannel(const CBaseBitmap* plane);
  // A new bitmap holding one channel; null where channels cannot be split.
  virtual CPtr<CBaseBitmap> GetChannel(int channel) const;
  virtual void SetChannel(int channel, CBaseBitmap* plane);
  virtual uint32_t GetColAtPixel(int x, int y) const;
  virtual void SetResolution(int xDpi, int yDpi);
  virtual void Destroy();
  virtual void RotateLeft90();
  virtual void RotateRight90();
  virtual void RotateRight180();

  // --- Fills ------------------------------------------------------------
  // Fills the clip rectangle, through a coverage mask of the clip's size when
  // mask is not null; dispatches by order and depth.
  virtual void Clear(const CBaseBitmap* mask, uint32_t colour);
  // Fills rect (null: the whole bitmap) at 24 and 32 bits; other depths are
  // left untouched.
  virtual void Clear(uint32_t colour, const CRect* rect);
  // White for colour orders, no ink for CMYK; Rgb order is left alone.
  virtual void ClearToWhite(const CRect* rect);

  // --- Device-independent bitmap records --------------------------------
  // biSizeImage truncates bytes per pixel, so it is short for sub-byte depths.
  virtual void GetBitmapInfo(BITMAPINFO& info) const;
  virtual void GetBitmapInfoHeader(BITMAPINFOHEADER& header) const;

  // --- Transparency -----------------------------------------------------
  // By depth only: 8 "I8", 16 "I16", 24 "RGB24", 32 "ARGB32"/"XRGB32",
  // 64 "ARGB64"; -1 otherwise.
  virtual int GetPixelFormat() const;
  virtual bool IsOpaque(const CRect& rect) const;
  virtual bool IsTransparent() const;
  virtual bool IsTransparent(const CRect& rect) const;
  virtual bool HasAlphaChannel() const;

  // --- Iteration --------------------------------------------------------
  virtual PixelIteratorType GetIteratorType() const;
  // Iterators over the pixels, one per pixel class; the W forms present the
  // 16-bit channels of the 48/64-bit colour and 16/32-bit grey layouts (and
  // 8-bit grey widened). clipToBitmap true starts the iterator's clip at the
  // bitmap's clip rectangle, false at the whole bitmap. Indexed iterators
  // carry the palette; CMYKA_32_8 the alpha plane. An iterator writes through
  // to the pixels even when taken from a const bitmap.
  virtual CRGB1_2_4Iterator GetIteratorRGB1_2_4(bool clipToBitmap = false) const;
  virtual CBGR24Iterator GetIteratorBGR24(bool clipToBitmap = false) const;
  virtual CRGB24Iterator GetIteratorRGB24(bool clipToBitmap = false) const;
  virtual CBGR32Iterator GetIteratorBGR32(bool clipToBitmap = false) const;
  virtual CRGB32Iterator GetIteratorRGB32(bool clipToBitmap = false) const;
  virtual CMONO8Iterator GetIteratorMONO8(bool clipToBitmap = false) const;
  virtual CMONOA16Iterator GetIteratorMONOA16(bool clipToBitmap = false) const;
  virtual CRGB8Iterator GetIteratorRGB8(bool clipToBitmap = false) const;
  virtual CRGB16Iterator GetIteratorRGB16(bool clipToBitmap = false) const;
  virtual CBGR16Iterator GetIteratorBGR16(bool clipToBitmap = false) const;
  virtual CCMYK_32Iterator GetIteratorCMYK_32(bool clipToBitmap = false) const;
  virtual CCMYKA_40Iterator GetIteratorCMYKA_40(bool clipToBitmap = false) const;
  virtual CCMYKA_32_8Iterator GetIteratorCMYKA_32_8(bool clipToBitmap = false) const;
  virtual CBGR48Iterator GetIteratorBGR48(bool clipToBitmap = false) const;
  virtual CRGB48Iterator GetIteratorRGB48(bool clipToBitmap = false) const;
  virtual CBGR64Iterator GetIteratorBGR64(bool clipToBitmap = false) const;
  virtual CRGB64Iterator GetIteratorRGB64(bool clipToBitmap = false) const;
  virtual CBGR48WIterator GetIteratorBGR48W(bool clipToBitmap = false) const;
  virtual CRGB48WIterator GetIteratorRGB48W(bool clipToBitmap = false) const;
  virtual CBGR64WIterator GetIteratorBGR64W(bool clipToBitmap = false) const;
  virtual CRGB64WIterator GetIteratorRGB64W(bool clipToBitmap = false) const;
  virtual CMONO8WIterator GetIteratorMONOW(bool clipToBitmap = false) const;
  virtual CMONO16Iterator GetIteratorMONO16(bool clipToBitmap = false) const;
  virtual CMONO16WIterator GetIteratorMONO16W(bool clipToBitmap = false) const;
  virtual CMONOA32Iterator GetIteratorMONOA32(bool clipToBitmap = false) const;
  virtual CMONOA32WIterator GetIteratorMONOA32W(bool clipToBitmap = false) const;

  // --- Pixel operations -------------------------------------------------
  // Alpha of every clip pixel set to alpha (only formats with alpha).
  virtual void SetAlphaToValue(uint8_t alpha);
  // Alpha of the clip pixels from width x height bytes, one per clip pixel,
  // row by row (only formats with alpha).
  virtual void SetAlphaBits(const uint8_t* bits);
  // Copies srcRect of src (null: all of it) to this bitmap with its top-left
  // at `at`, converting formats; false when nothing could be copied.
  virtual bool BitBlt(const CBaseBitmap* src, const CPoint& at, const CRect* srcRect);
  // A new memory bitmap of this format (palette and alpha plane included)
  // holding rect cut to the bitmap; null when the rect is empty.
  virtual CPtr<CBaseBitmap> CopyRect(const CRect& rect) const;
  // Grey-level histogram of the clip: entries 256 counts (r + g + b) / 3 at
  // 8 bits (16-bit channels by their high byte); entries 65536 counts 16-bit
  // grey levels of a 16-bit channel bitmap. False (and nothing written) for
  // other sizes or formats.
  virtual bool GetHistogram(uint32_t* histogram, int entries) const;
  // Mirror left-right / top-bottom in place.
  virtual void FlipH();
  virtual void FlipV();
  // Every pixel's colour replaced by its grey (r + g + b) / 3 in place; alpha
  // kept, indexed bitmaps have their palette greyed, grey formats unchanged.
  virtual void GreyscaleImage();
  // A new memory bitmap with the pixels converted to the colour order
  // (Rgb, Bgr, Cmyk, Mono, MonoA) at the nearest depth; null when no format
  // fits.
  virtual CPtr<CBaseBitmap> GetAs(ColourOrder::Type order) const;
  virtual CPtr<CBaseBitmap> GetAs(ColourOrder::Type order);

  // --- Non-virtual helpers ----------------------------------------------
  int GetBytesPerPixel() const { return GetBitsPerPixel() / 8; }
  int GetBytesPerChannel() const { return GetBitsPerChannel() / 8; }
  CSize Size() const { return CSize(GetWidth(), GetHeight()); }
  CRect GetRect() const { return CRect(0, 0, GetWidth(), GetHeight()); }
  CSize GetThumbnailSize(const CSize& box) const;
  CRect GetThumbnailRect(const CSize& box) const;
  // Fits image into box keeping its aspect (enlarging small images), each
  // side at least 1; an image with a zero side is returned unchanged.
  static CSize GetThumbnailSize(const CSize& box, const CSize& image);
  // Bytes for the pixels with rows aligned to alignment (a power of two);
  // 0xFFFFFFFF on negative input or when the size passes 2^31 - 1.
  static uint32_t GetBytesNeeded(int width, int height, int bitsPerPixel, int alignment);

 protected:
  // Per-depth fills behind the two Clear forms.
  void Clear8(const CBaseBitmap* mask, uint8_t value);
  void Clear32(uint32_t colour, const CRect* rect);
  void Clear32(const CBaseBitmap* mask, uint32_t colour);
  void Clear64(const CBaseBitmap* mask, uint32_t colour);
  void Clear24(uint32_t colour, const CRect* rect);
  void Clear16BppMono(const CBaseBitmap* mask, uint32_t colour);
  void Clear16BppMonoA(const CBaseBitmap* mask, uint32_t colour);
  void Clear32BppMonoA(const CBaseBitmap* mask, uint32_t colour);

  // Histogram workers behind GetHistogram.
  bool GetHistogramMono8BPC(uint32_t* histogram) const;
  bool GetHistogram16BPC(uint32_t* histogram) const;

 private:
  // The rows [top, bottom) of rect span whole rows: one block clear when the
  // colour is 0 and rect covers full width; true when it did the work.
  bool ZeroFullRows(uint32_t colour, const CRect& rect);
  // The rectangle a rect-taking fill works on: null means the whole bitmap.
  CRect FillRect(const CRect* rect) const;
};

}  // namespace Kernel
