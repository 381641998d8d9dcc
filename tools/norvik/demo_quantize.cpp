// Demo step: a generated photo-like image reduced to 256 and to 16 colours,
// with and without dithering, each result saved as a palette PNG beside the
// original, with the error and time of each in a report.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>

#include <kernel/Quantizer.h>

#include "Command.h"

namespace {

using namespace Kernel;

uint32_t Hash(uint32_t v) {
  v ^= v >> 16;
  v *= 0x7FEB352Du;
  v ^= v >> 15;
  v *= 0x846CA68Bu;
  v ^= v >> 16;
  return v;
}

uint8_t Clamp(double v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : std::lround(v))); }

void RunQuantizeDemo(const std::filesystem::path& folder) {
  constexpr int W = 512, H = 384;
  // Evening sky, a sun with a soft halo, dark hills, a little grain. An RGB
  // bitmap stores blue, green, red in memory.
  CMemoryBitmap photo(W, H, 24, ColourOrder::Rgb);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const double t = static_cast<double>(y) / H;
      double r = 40 + 200 * t, g = 60 + 90 * t, b = 160 - 80 * t;
      const double sun = std::hypot(x - 350.0, y - 230.0);
      const double halo = std::exp(-sun / 60.0);
      r += 120 * halo, g += 90 * halo, b += 20 * halo;
      if (sun < 38) r = 255, g = 235, b = 180;
      const double hill = 300 + 30 * std::sin(x / 55.0) + 15 * std::sin(x / 13.0);
      if (y > hill) r = 30 + 25 * std::sin(x / 9.0), g = 45 + 0.1 * (y - hill), b = 35;
      const uint32_t n = Hash(static_cast<uint32_t>(y * W + x));
      uint8_t* p = photo.GetBits(CPoint(x, y));
      p[2] = Clamp(r + static_cast<int>(n & 7) - 3.5);
      p[1] = Clamp(g + static_cast<int>((n >> 3) & 7) - 3.5);
      p[0] = Clamp(b + static_cast<int>((n >> 6) & 7) - 3.5);
    }
  photo.SavePNG((folder / "quantize-original.png").wstring().c_str());
  std::ofstream report(folder / "quantize.txt");
  report << "Octree quantisation of one " << W << " x " << H << " image (mean squared error over R, G, B)\n";
  for (int colours : {256, 16}) {
    for (bool dither : {false, true}) {
      const auto t0 = std::chrono::steady_clock::now();
      const CQuantizeResult r = QuantizeBitmap(photo, colours, dither);
      const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
      char name[64];
      std::snprintf(name, sizeof name, "quantize-%d%s.png", colours, dither ? "-dither" : "");
      r.bitmap->SavePNG((folder / name).wstring().c_str());
      char line[160];
      std::snprintf(line, sizeof line, "%3d colours %-9s %3zu entries  error %8.2f  %7.2f ms  %s\n", colours,
                    dither ? "dithered" : "plain", r.palette.size(), r.meanSquaredError, ms, name);
      std::printf("      %s", line);
      report << line;
    }
  }
}

}  // namespace

NK_DEMO(35, "Colour quantisation: 256 and 16 colours, plain and dithered", &RunQuantizeDemo);
