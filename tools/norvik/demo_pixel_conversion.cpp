// Demo step: one generated image carried through a chain of formats with
// CopyPixels, each stage saved as PNG, with the time of each conversion.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <vector>

#include "Command.h"
#include "FormatBitmaps.h"

namespace {

using namespace Kernel;

void RunConversionDemo(const std::filesystem::path& folder) {
  constexpr int W = 512, H = 384;
  // Colour ramps across, a soft disc of alpha in the middle.
  auto image = norvik::MakeBitmap(SupportedFormat::BGR32, W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      uint8_t* p = image->GetBits(CPoint(x, y));
      const double d = std::hypot(x - W / 2.0, y - H / 2.0) / (H / 2.0);
      p[0] = static_cast<uint8_t>(255 * x / (W - 1));
      p[1] = static_cast<uint8_t>(255 * y / (H - 1));
      p[2] = static_cast<uint8_t>(255 - 255 * x / (W - 1));
      p[3] = static_cast<uint8_t>(std::lround(255 * std::fmax(0.0, std::fmin(1.0, 1.4 - d))));
    }
  const SupportedFormat::Type chain[] = {SupportedFormat::RGB64,   SupportedFormat::BGR48,   SupportedFormat::RGB24,
                                         SupportedFormat::RGB16,   SupportedFormat::BGR16,   SupportedFormat::CMYKA_40,
                                         SupportedFormat::CMYK_32, SupportedFormat::RGB32,   SupportedFormat::RGB8,
                                         SupportedFormat::RGB4,    SupportedFormat::MONOA32, SupportedFormat::MONO8,
                                         SupportedFormat::RGB1};
  std::ofstream report(folder / "pixel-conversion.txt");
  report << "Conversion chain of one " << W << " x " << H << " image (time of CopyPixels)\n";
  CPtr<CMemoryBitmap> current = image;
  norvik::SaveAnyPNG(*current, folder / "convert-00-BGR32.png");
  int step = 1;
  for (SupportedFormat::Type f : chain) {
    auto next = norvik::MakeBitmap(f, W, H);
    // The indexed stages get colour palettes (a 6 x 6 x 6 cube, the 16
    // classic display colours) rather than the default grey ramp.
    if (f == SupportedFormat::RGB8 || f == SupportedFormat::RGB4) {
      std::vector<RGBQUAD> pal;
      if (f == SupportedFormat::RGB8) {
        for (int i = 0; i < 216; ++i)
          pal.push_back(RGBQUAD{static_cast<BYTE>(51 * (i % 6)), static_cast<BYTE>(51 * (i / 6 % 6)),
                                static_cast<BYTE>(51 * (i / 36)), 0});
      } else {
        for (int i = 0; i < 16; ++i) {
          const BYTE v = i & 8 ? 255 : 128;
          pal.push_back(RGBQUAD{static_cast<BYTE>(i & 1 ? v : 0), static_cast<BYTE>(i & 2 ? v : 0),
                                static_cast<BYTE>(i & 4 ? v : 0), 0});
        }
      }
      next->CreateWithPalette(W, H, BitsPerPixel(f), pal.data(), static_cast<int>(pal.size()), ColourOrder::Rgb,
                              BitmapOrigin::TopLeft);
    }
    const auto t0 = std::chrono::steady_clock::now();
    CopyPixels(next.Get(), current.Get(), nullptr, nullptr);
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    char name[64];
    std::snprintf(name, sizeof name, "convert-%02d-%s.png", step, GetFormatName(f));
    const SupportedFormat::Type saved = norvik::SaveAnyPNG(*next, folder / name);
    char line[160];
    std::snprintf(line, sizeof line, "%-10s -> %-10s %8.3f ms  %7.1f Mpixel/s  %s%s\n",
                  GetFormatName(GetImageType(current.Get())), GetFormatName(f), ms, W * H / (ms * 1000.0), name,
                  saved == f ? "" : (std::string(" (saved as ") + GetFormatName(saved) + ")").c_str());
    std::printf("      %s", line);
    report << line;
    current = next;
    ++step;
  }
}

}  // namespace

NK_DEMO(20, "Pixel conversion: one image through a chain of formats", &RunConversionDemo);
