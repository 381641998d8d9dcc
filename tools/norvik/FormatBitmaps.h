#pragma once
// Memory bitmaps of any of the 21 formats, and saving any of them as PNG by
// converting to the nearest format a PNG file can hold.
#include <filesystem>
#include <string>

#include <kernel/CopyPixels.h>
#include <kernel/MemoryBitmap.h>

namespace norvik {

// A 16-bit Bgr memory bitmap is walked as 5-6-5 by default; this one asks to
// be walked as 5-5-5, the only way to hold a BGR16 image.
class Bgr16Bitmap : public Kernel::CMemoryBitmap {
 public:
  Bgr16Bitmap(int w, int h) : CMemoryBitmap(w, h, 16, Kernel::ColourOrder::Bgr) {}
  Kernel::PixelIteratorType GetIteratorType() const override { return Kernel::PIT_BGR16; }
};

inline Kernel::CPtr<Kernel::CMemoryBitmap> MakeBitmap(Kernel::SupportedFormat::Type f, int w, int h) {
  using SF = Kernel::SupportedFormat;
  using O = Kernel::ColourOrder;
  if (f == SF::BGR16) return Kernel::CPtr<Kernel::CMemoryBitmap>(new Bgr16Bitmap(w, h));
  O::Type order = O::Rgb;
  if (Kernel::IsMONO(f))
    order = (f == SF::MONOA16 || f == SF::MONOA32) ? O::MonoA : O::Mono;
  else if (Kernel::IsCMYK(f) || f == SF::CMYKA_32_8)
    order = O::Cmyk;
  else if (!Kernel::HasPalette(f) && Kernel::IsBGR(f))
    order = O::Bgr;
  Kernel::CPtr<Kernel::CMemoryBitmap> b(new Kernel::CMemoryBitmap(w, h, Kernel::BitsPerPixel(f), order));
  if (f == SF::CMYKA_32_8) b->GetAlphaChannel(true);
  return b;
}

// Saves b as PNG, through the nearest PNG-representable format when its own
// cannot be stored; answers the format written.
inline Kernel::SupportedFormat::Type SaveAnyPNG(const Kernel::CMemoryBitmap& b, const std::filesystem::path& file) {
  using SF = Kernel::SupportedFormat;
  const SF::Type own = Kernel::GetImageType(&b);
  if (b.CanSavePNG() && own != SF::BGR16) {
    b.SavePNG(file.wstring().c_str());
    return own;
  }
  const SF::Type savable = SF::RGB1 | SF::RGB2 | SF::RGB4 | SF::RGB8 | SF::MONO8 | SF::MONO16 | SF::MONOA16 |
                           SF::MONOA32 | SF::RGB24 | SF::RGB32 | SF::BGR24 | SF::BGR32 | SF::RGB48 | SF::RGB64 |
                           SF::BGR48 | SF::BGR64;
  const SF::Type to = Kernel::NearestSupportedFormat(own, savable);
  auto copy = MakeBitmap(to, b.GetWidth(), b.GetHeight());
  Kernel::CopyPixels(copy.Get(), &b, nullptr, nullptr);
  copy->SavePNG(file.wstring().c_str());
  return to;
}

}  // namespace norvik
