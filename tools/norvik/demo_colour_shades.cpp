// Demo step: colour shades and the three recolouring methods, as PNG strips.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <kernel/Colour.h>
#include <kernel/MemoryBitmap.h>

#include "Command.h"

namespace {

using Kernel::CMemoryBitmap;
using Kernel::ColourOrder;

// 24-bit RGB pixels are stored blue first.
void Fill(CMemoryBitmap& bm, int x0, int y0, int w, int h, uint32_t colour) {
  for (int y = y0; y < y0 + h; ++y)
    for (int x = x0; x < x0 + w; ++x) {
      uint8_t* p = bm.GetBits(CPoint(x, y));
      p[0] = static_cast<uint8_t>(colour >> 16);
      p[1] = static_cast<uint8_t>(colour >> 8);
      p[2] = static_cast<uint8_t>(colour);
    }
}

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }

void Save(const CMemoryBitmap& bm, const std::filesystem::path& file, const char* what, std::ofstream& report) {
  bm.SavePNG(file.wstring().c_str());
  std::printf("      %-26s %4d x %-4d %s\n", file.filename().string().c_str(), bm.GetWidth(), bm.GetHeight(), what);
  report << file.filename().string() << ": " << what << "\n";
}

void RunColourDemo(const std::filesystem::path& folder) {
  std::ofstream report(folder / "colour-shades.txt");
  const uint32_t bases[] = {Rgb(200, 40, 40), Rgb(40, 160, 60), Rgb(40, 80, 200), Rgb(230, 180, 40),
                            Rgb(128, 128, 128)};
  constexpr int kSwatch = 40, kFactors = 9;
  {
    CMemoryBitmap bm(kSwatch * kFactors, kSwatch * 5, 24, ColourOrder::Rgb);
    report << "GetColourShade, factors 0.2 to 1.8 left to right:\n";
    for (int row = 0; row < 5; ++row) {
      report << "  base";
      for (int i = 0; i < kFactors; ++i) {
        const double factor = 0.2 * (i + 1);
        const uint32_t shade = Kernel::GetColourShade(bases[row], factor);
        Fill(bm, i * kSwatch, row * kSwatch, kSwatch, kSwatch, shade);
        char text[16];
        std::snprintf(text, sizeof text, " #%02X%02X%02X", shade & 255u, (shade >> 8) & 255u, (shade >> 16) & 255u);
        report << text;
      }
      report << "\n";
    }
    Save(bm, folder / "colour-shades.png", "GetColourShade of five colours, factors 0.2..1.8", report);
  }
  {
    // A grey ramp (left black, right white) recoloured onto each target by
    // the three methods: Recolour, RecolourViaHsl, RecolourViaLab.
    const uint32_t targets[] = {Rgb(200, 40, 40), Rgb(40, 80, 200), Rgb(40, 160, 60), Rgb(120, 60, 20)};
    constexpr int kBand = 16, kWidth = 256;
    CMemoryBitmap bm(kWidth, kBand * 3 * 4 + kBand, 24, ColourOrder::Rgb);
    for (int x = 0; x < kWidth; ++x) Fill(bm, x, 0, 1, kBand, Rgb(x, x, x));
    for (int t = 0; t < 4; ++t)
      for (int method = 0; method < 3; ++method) {
        const int y = kBand + (t * 3 + method) * kBand;
        for (int x = 0; x < kWidth; ++x) {
          int r = static_cast<int>(targets[t] & 255), g = static_cast<int>((targets[t] >> 8) & 255),
              b = static_cast<int>((targets[t] >> 16) & 255);
          if (method == 0)
            Kernel::Recolour(x, x, x, &r, &g, &b);
          else if (method == 1)
            Kernel::RecolourViaHsl(x, x, x, &r, &g, &b);
          else
            Kernel::RecolourViaLab(x, x, x, &r, &g, &b);
          Fill(bm, x, y, 1, kBand, Rgb(r & 255, g & 255, b & 255));
        }
      }
    report << "Recolouring: top band the grey ramp; then per target (red, blue, green, brown)\n"
              "  three bands: Recolour (lightens the target by the source's luminance),\n"
              "  RecolourViaHsl (target hue and saturation, source lightness),\n"
              "  RecolourViaLab (target a* b*, source L*).\n";
    Save(bm, folder / "colour-recolour.png", "grey ramp recoloured onto four targets, three methods each", report);
  }
}

}  // namespace

NK_DEMO(30, "colour: shades and recolouring strips saved as PNG", &RunColourDemo);
