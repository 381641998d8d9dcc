// Demo step: bitmaps built from the fills alone, in several formats, saved as
// PNG. It shows the two colour conventions side by side: the rectangle fill
// stores the colour word as given (red first), the mask fill stores blue first.
#include <cmath>
#include <cstdio>
#include <filesystem>

#include <kernel/MemoryBitmap.h>

#include "Command.h"

namespace {

using Kernel::CMemoryBitmap;
using Kernel::ColourOrder;

// An anti-aliased disc of coverage values, 8 or 16 bits per sample.
CMemoryBitmap Disc(int size, int bits) {
  CMemoryBitmap mask(size, size, bits, ColourOrder::Mono);
  const double r = size / 2.0 - 1;
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) {
      const double d = std::hypot(x + 0.5 - size / 2.0, y + 0.5 - size / 2.0);
      const double cover = std::fmin(1.0, std::fmax(0.0, r - d + 0.5));
      uint8_t* p = mask.GetBits(CPoint(x, y));
      if (bits == 8) {
        p[0] = static_cast<uint8_t>(std::lround(cover * 255));
      } else {
        const auto v = static_cast<uint16_t>(std::lround(cover * 65535));
        p[0] = static_cast<uint8_t>(v);
        p[1] = static_cast<uint8_t>(v >> 8);
      }
    }
  return mask;
}

void Save(const CMemoryBitmap& bm, const std::filesystem::path& file, const char* what) {
  bm.SavePNG(file.wstring().c_str());
  std::printf("      %-26s %4d x %-4d %-8s %s\n", file.filename().string().c_str(), bm.GetWidth(), bm.GetHeight(),
              Kernel::GetFormatName(Kernel::GetImageType(&bm)), what);
}

void RunFillsDemo(const std::filesystem::path& folder) {
  // 1. Rectangle fills on 24-bit: eight colour bars.
  {
    CMemoryBitmap bm(256, 96, 24, ColourOrder::Rgb);
    const uint32_t bars[8] = {0xFFFFFF, 0x00FFFF, 0xFFFF00, 0x00FF00, 0xFF00FF, 0x0000FF, 0xFF0000, 0x000000};
    for (int i = 0; i < 8; ++i) {
      const CRect rect(i * 32, 0, i * 32 + 32, 96);
      bm.Clear(bars[i], &rect);
    }
    Save(bm, folder / "bitmap-bars-rgb24.png", "rectangle fills, colour bars");
  }
  // 2. Mask fills on 32-bit: overlapping anti-aliased discs on white.
  {
    CMemoryBitmap bm(200, 160, 32, ColourOrder::Rgb);
    bm.Clear(nullptr, 0xFFFFFFFFu);
    const CMemoryBitmap disc = Disc(100, 8);
    const struct {
      int x, y;
      uint32_t colour;
    } spots[3] = {{20, 10, 0xFF0000FFu}, {80, 10, 0xFF00FF00u}, {50, 55, 0xFFFF0000u}};
    for (const auto& s : spots) {
      bm.SetClipRect(CRect(s.x, s.y, s.x + 100, s.y + 100));
      bm.Clear(&disc, s.colour);
    }
    bm.SetClipRect(bm.GetRect());
    Save(bm, folder / "bitmap-discs-rgb32.png", "8-bit mask fills, red/green/blue discs");
  }
  // 3. 16-bit grey through a 16-bit mask: a soft disc on mid grey.
  {
    CMemoryBitmap bm(128, 128, 16, ColourOrder::Mono);
    bm.Clear(nullptr, 0x8000);
    const CMemoryBitmap disc = Disc(96, 16);
    bm.SetClipRect(CRect(16, 16, 112, 112));
    bm.Clear(&disc, 0xFFFF);
    Save(bm, folder / "bitmap-disc-mono16.png", "16-bit grey, 16-bit mask fill");
  }
  // 4. Grey with alpha: an opaque disc on a transparent ground.
  {
    CMemoryBitmap bm(96, 96, 16, ColourOrder::MonoA);
    const CMemoryBitmap disc = Disc(96, 8);
    bm.Clear(&disc, 0xFF000040u);
    Save(bm, folder / "bitmap-disc-monoa16.png", "grey+alpha mask fill (transparent ground)");
  }
  // 5. An 8-bit palette image: index stripes through the clip.
  {
    RGBQUAD palette[4] = {{0x20, 0x20, 0x20, 0}, {0x00, 0x80, 0xFF, 0}, {0xFF, 0x80, 0x00, 0}, {0x80, 0xFF, 0x80, 0}};
    CMemoryBitmap bm;
    bm.CreateWithPalette(120, 60, 8, palette, 4, ColourOrder::Bgr, Kernel::BitmapOrigin::BottomLeft);
    for (int i = 0; i < 6; ++i) {
      bm.SetClipRect(CRect(i * 20, 0, i * 20 + 20, 60));
      bm.Clear(nullptr, static_cast<uint32_t>(i % 4));
    }
    Save(bm, folder / "bitmap-stripes-rgb8.png", "palette indices filled per clip, bottom-up rows");
  }
  // 6. 64-bit colour with alpha: a disc whose edge fades to transparent.
  {
    CMemoryBitmap bm(96, 96, 64, ColourOrder::Rgb);
    const CMemoryBitmap disc = Disc(96, 8);
    bm.Clear(&disc, 0xFF3366CCu);
    Save(bm, folder / "bitmap-disc-rgb64.png", "16-bit channels, 8-bit mask fill");
  }
}

}  // namespace

NK_DEMO(10, "bitmap fills: rectangle and mask fills saved as PNG", &RunFillsDemo);
