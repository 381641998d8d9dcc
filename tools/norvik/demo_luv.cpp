// Demo step: a generated colour picture split into its L*, u* and v* planes,
// each normalised to its own range and saved as a grey PNG, and the picture
// rebuilt from the unnormalised planes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

#include <kernel/LUV.h>
#include <kernel/MemoryBitmap.h>

#include "Command.h"

namespace {

using Kernel::CMemoryBitmap;
using Kernel::ColourOrder;
using Kernel::RGBLUVConversions;

// Hues across, from full saturation at the top to white, over a grey ramp
// from black to white: every region of L*, u* and v* gets used, and white
// shows the 254 ceiling of the way back.
CMemoryBitmap Picture(int size) {
  CMemoryBitmap bm(size, size, 24, ColourOrder::Rgb);
  const int colourRows = size * 3 / 4;
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) {
      double rgb[3];
      if (y < colourRows) {
        const double h = 6.0 * x / size;
        const double s = 1.0 - static_cast<double>(y) / (colourRows - 1);
        const int n[3] = {5, 3, 1};
        for (int c = 0; c < 3; ++c) {
          const double k = std::fmod(n[c] + h, 6.0);
          rgb[c] = 1.0 - s * std::fmax(0.0, std::min({k, 4.0 - k, 1.0}));
        }
      } else {
        rgb[0] = rgb[1] = rgb[2] = static_cast<double>(x) / (size - 1);
      }
      uint8_t* p = bm.GetBits(CPoint(x, y));  // stored blue, green, red
      p[0] = static_cast<uint8_t>(std::lround(rgb[2] * 255));
      p[1] = static_cast<uint8_t>(std::lround(rgb[1] * 255));
      p[2] = static_cast<uint8_t>(std::lround(rgb[0] * 255));
    }
  return bm;
}

void Save(const CMemoryBitmap& bm, const std::filesystem::path& file, const char* what) {
  bm.SavePNG(file.wstring().c_str());
  std::printf("      %-18s %4d x %-4d %s\n", file.filename().string().c_str(), bm.GetWidth(), bm.GetHeight(), what);
}

void RunLuvDemo(const std::filesystem::path& folder) {
  const int size = 256;
  CMemoryBitmap picture = Picture(size);
  Save(picture, folder / "luv-source.png", "generated picture (RGB24)");

  const size_t n = static_cast<size_t>(size) * size;
  std::vector<float> luv(n * 3), normalised(n * 3);
  float ranges[6];
  RGBLUVConversions::ConvertRGBtoLUV(&picture, luv.data(), false, ranges);
  RGBLUVConversions::ConvertRGBtoLUV(&picture, normalised.data(), true, nullptr);
  const char* names[3] = {"L", "u", "v"};
  for (int ch = 0; ch < 3; ++ch) {
    CMemoryBitmap plane(size, size, 8, ColourOrder::Mono);
    for (int y = 0; y < size; ++y)
      for (int x = 0; x < size; ++x) {
        const float v = normalised[(static_cast<size_t>(y) * size + x) * 3 + ch];
        *plane.GetBits(CPoint(x, y)) = static_cast<uint8_t>(std::isnan(v) ? 0 : std::lround(v * 255));
      }
    char what[96];
    std::snprintf(what, sizeof what, "%s* plane, %.2f..%.2f mapped to 0..255", names[ch], ranges[2 * ch],
                  ranges[2 * ch + 1]);
    Save(plane, folder / (std::string("luv-") + names[ch] + ".png"), what);
  }

  CMemoryBitmap back(size, size, 24, ColourOrder::Rgb);
  RGBLUVConversions::ConvertLUVtoRGB(&back, luv.data());
  int worst = 0;
  for (int y = 0; y < size; ++y)
    for (int i = 0; i < size * 3; ++i)
      worst = std::max(worst, std::abs(back.GetBits(CPoint(0, y))[i] - picture.GetBits(CPoint(0, y))[i]));
  Save(back, folder / "luv-roundtrip.png", "rebuilt from L*u*v* (white comes back as 254)");
  std::printf("      largest channel difference after the round trip: %d\n", worst);
}

}  // namespace

NK_DEMO(40, "L*u*v* planes of a generated picture, normalised, as grey PNGs", &RunLuvDemo);
