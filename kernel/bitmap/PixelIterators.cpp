// The iterator getters of CBaseBitmap and the iterators over packed
// device-independent bitmaps in global memory.
#include <kernel/Bitmap.h>
#include <kernel/PixelIterator.h>

namespace Kernel {

namespace {

template <class It>
It MakeIterator(const CBaseBitmap* b, bool clipToBitmap) {
  // The iterator may write: the caller decides whether the bitmap is theirs
  // to change, as with every const getter that hands out pixel access.
  auto* base = const_cast<uint8_t*>(b->GetBitsBase());
  It it(b->GetWidth(), b->GetHeight(), b->GetBitsPerPixel(), b->GetBytesPerScanline(), b->GetOrigin(), base);
  if constexpr (It::PixelClass::c_palette) {
    const RGBQUAD* pal = b->GetPalette();
    if (pal != nullptr) it.SetPalette(pal, b->GetPaletteSize());
  }
  if constexpr (It::PixelClass::c_alphaPlane) {
    const CBaseBitmap* plane = b->GetAlphaChannel();
    if (plane != nullptr && plane->GetWidth() == b->GetWidth() && plane->GetHeight() == b->GetHeight() &&
        plane->GetBitsPerPixel() == 8) {
      auto* pbase = const_cast<uint8_t*>(plane->GetBitsBase());
      const int stride = plane->GetBytesPerScanline();
      if (plane->GetOrigin() == BitmapOrigin::BottomLeft && plane->GetHeight() > 0)
        it.SetAlphaPlane(pbase + static_cast<ptrdiff_t>(stride) * (plane->GetHeight() - 1), -stride);
      else
        it.SetAlphaPlane(pbase, stride);
    }
  }
  if (clipToBitmap) {
    const CRect clip = b->GetClipRect();
    it.SetClip(&clip);
  } else {
    it.SetClip(nullptr);
  }
  return it;
}

}  // namespace

#define NK_GETTER(Name, Iter) \
  Iter CBaseBitmap::GetIterator##Name(bool clipToBitmap) const { return MakeIterator<Iter>(this, clipToBitmap); }
NK_GETTER(RGB1_2_4, CRGB1_2_4Iterator)
NK_GETTER(BGR24, CBGR24Iterator)
NK_GETTER(RGB24, CRGB24Iterator)
NK_GETTER(BGR32, CBGR32Iterator)
NK_GETTER(RGB32, CRGB32Iterator)
NK_GETTER(MONO8, CMONO8Iterator)
NK_GETTER(MONOA16, CMONOA16Iterator)
NK_GETTER(RGB8, CRGB8Iterator)
NK_GETTER(RGB16, CRGB16Iterator)
NK_GETTER(BGR16, CBGR16Iterator)
NK_GETTER(CMYK_32, CCMYK_32Iterator)
NK_GETTER(CMYKA_40, CCMYKA_40Iterator)
NK_GETTER(CMYKA_32_8, CCMYKA_32_8Iterator)
NK_GETTER(BGR48, CBGR48Iterator)
NK_GETTER(RGB48, CRGB48Iterator)
NK_GETTER(BGR64, CBGR64Iterator)
NK_GETTER(RGB64, CRGB64Iterator)
NK_GETTER(BGR48W, CBGR48WIterator)
NK_GETTER(RGB48W, CRGB48WIterator)
NK_GETTER(BGR64W, CBGR64WIterator)
NK_GETTER(RGB64W, CRGB64WIterator)
NK_GETTER(MONOW, CMONO8WIterator)
NK_GETTER(MONO16, CMONO16Iterator)
NK_GETTER(MONO16W, CMONO16WIterator)
NK_GETTER(MONOA32, CMONOA32Iterator)
NK_GETTER(MONOA32W, CMONOA32WIterator)
#undef NK_GETTER

// --- Packed device-independent bitmaps ---------------------------------------

namespace {

struct DibLayout {
  const BITMAPINFOHEADER* header = nullptr;
  const RGBQUAD* colours = nullptr;
  int colourCount = 0;
  uint8_t* bits = nullptr;
  int width = 0;
  int height = 0;
  int bitCount = 0;
  int stride = 0;
  BitmapOrigin::Type origin = BitmapOrigin::TopLeft;
};

// Reads the layout of a locked block; false when it is too small or not an
// uncompressed (or bit-field) bitmap.
bool ReadLayout(void* mem, size_t size, DibLayout& out) {
  if (mem == nullptr || size < sizeof(BITMAPINFOHEADER)) return false;
  const auto* h = static_cast<const BITMAPINFOHEADER*>(mem);
  if (h->biSize < sizeof(BITMAPINFOHEADER) || h->biSize > size) return false;
  if (h->biCompression != BI_RGB && h->biCompression != BI_BITFIELDS) return false;
  if (h->biWidth < 0 || h->biClrUsed > 256) return false;
  const int bits = h->biBitCount;
  // The colour table holds biClrUsed entries, or the full table for the
  // indexed depths when the count is 0; the palette handed out has exactly
  // biClrUsed entries.
  const size_t tableEntries = h->biClrUsed != 0 ? h->biClrUsed : (bits >= 1 && bits <= 8 ? (size_t{1} << bits) : 0);
  const size_t masks = h->biCompression == BI_BITFIELDS ? 12 : 0;
  const size_t offBits = h->biSize + masks + tableEntries * 4;
  const int64_t height = h->biHeight < 0 ? -int64_t{h->biHeight} : int64_t{h->biHeight};
  const int64_t stride = ((int64_t{h->biWidth} * bits + 31) / 32) * 4;
  if (offBits > size || static_cast<uint64_t>(stride * height) > size - offBits) return false;
  out.header = h;
  out.colours = reinterpret_cast<const RGBQUAD*>(static_cast<const uint8_t*>(mem) + h->biSize + masks);
  out.colourCount = static_cast<int>(h->biClrUsed);
  out.bits = static_cast<uint8_t*>(mem) + offBits;
  out.width = h->biWidth;
  out.height = static_cast<int>(height);
  out.bitCount = bits;
  out.stride = static_cast<int>(stride);
  out.origin = h->biHeight < 0 ? BitmapOrigin::TopLeft : BitmapOrigin::BottomLeft;
  return true;
}

template <class It>
It MakeDibIterator(HGLOBAL dib, int wantedBits) {
  void* mem = GlobalLock(dib);
  DibLayout l;
  if (!ReadLayout(mem, GlobalSize(dib), l) ||
      (wantedBits == 0 ? (l.bitCount != 1 && l.bitCount != 2 && l.bitCount != 4) : l.bitCount != wantedBits)) {
    if (mem != nullptr) GlobalUnlock(dib);
    return It();
  }
  It it(l.width, l.height, l.bitCount, l.stride, l.origin, l.bits);
  if constexpr (It::PixelClass::c_palette) it.SetPalette(l.colours, l.colourCount);
  it.AdoptGlobalLock(dib);  // held until the iterator is destroyed
  return it;
}

}  // namespace

PixelIteratorType DIBGetType(HGLOBAL dib) {
  void* mem = GlobalLock(dib);
  DibLayout l;
  PixelIteratorType type = PIT_None;
  if (ReadLayout(mem, GlobalSize(dib), l)) {
    switch (l.bitCount) {
      case 1:
        type = PIT_RGB1;
        break;
      case 2:
        type = PIT_RGB2;
        break;
      case 4:
        type = PIT_RGB4;
        break;
      case 8:
        type = PIT_RGB8;
        break;
      case 16: {
        // Bit fields with a 6-bit green mask are 5-6-5; plain 16-bit is 5-5-5.
        uint32_t greenMask = 0;
        if (l.header->biCompression == BI_BITFIELDS)
          std::memcpy(&greenMask, static_cast<const uint8_t*>(mem) + l.header->biSize + 4, 4);
        type = greenMask == 0x07E0 ? PIT_RGB16 : PIT_BGR16;
        break;
      }
      case 24:
        type = PIT_RGB24;
        break;
      case 32:
        type = PIT_RGB32;
        break;
      default:
        break;
    }
  }
  if (mem != nullptr) GlobalUnlock(dib);
  return type;
}

CRGB1_2_4Iterator DIBGetIteratorRGB1_2_4(HGLOBAL dib) { return MakeDibIterator<CRGB1_2_4Iterator>(dib, 0); }
CRGB8Iterator DIBGetIteratorRGB8(HGLOBAL dib) { return MakeDibIterator<CRGB8Iterator>(dib, 8); }
CBGR16Iterator DIBGetIteratorBGR16(HGLOBAL dib) { return MakeDibIterator<CBGR16Iterator>(dib, 16); }
CRGB16Iterator DIBGetIteratorRGB16(HGLOBAL dib) { return MakeDibIterator<CRGB16Iterator>(dib, 16); }
CBGR24Iterator DIBGetIteratorBGR24(HGLOBAL dib) { return MakeDibIterator<CBGR24Iterator>(dib, 24); }
CRGB24Iterator DIBGetIteratorRGB24(HGLOBAL dib) { return MakeDibIterator<CRGB24Iterator>(dib, 24); }
CBGR32Iterator DIBGetIteratorBGR32(HGLOBAL dib) { return MakeDibIterator<CBGR32Iterator>(dib, 32); }
CRGB32Iterator DIBGetIteratorRGB32(HGLOBAL dib) { return MakeDibIterator<CRGB32Iterator>(dib, 32); }
CMONO8Iterator DIBGetIteratorMONO8(HGLOBAL dib) { return MakeDibIterator<CMONO8Iterator>(dib, 8); }

}  // namespace Kernel
