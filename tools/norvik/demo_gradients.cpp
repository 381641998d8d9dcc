// Demo step: one sheet of horizontal gradients, each band drawn through a
// gradient table, showing smoothness, stop midpoints, the bias and gain
// curves, reversal, opacity and the single-value (grey) table. The bands are
// listed top to bottom on the console and in gradients.txt.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <kernel/Gradient.h>
#include <kernel/GradientStop.h>
#include <kernel/GradientTable.h>
#include <kernel/MemoryBitmap.h>

#include "Command.h"
#include "GradientRender.h"

namespace {

using namespace Kernel;

struct Stop {
  double pos;
  uint32_t colour;  // colour value, red in the low byte
  uint8_t alpha;
  double mid;
};

struct Band {
  const char* label;
  std::vector<Stop> stops;
  int smoothness = 100;
  double bias = 0.5, gain = 0.5;
  bool reverse = false;
  bool grey = false;  // draw the single-value table instead
};

constexpr uint32_t kRed = 0x2020E0, kBlue = 0xE04020, kBlack = 0x000000, kGold = 0x00D0FF, kWhite = 0xFFFFFF;

const std::vector<Stop> kTwo = {{0, kRed, 255, 0.5}, {1, kBlue, 255, 0.5}};
const std::vector<Stop> kThree = {{0, kBlack, 255, 0.25}, {0.5, kGold, 255, 0.75}, {1, kWhite, 255, 0.5}};

void DrawBand(const Band& band, CMemoryBitmap& sheet, const CRect& area) {
  CGradientSolid gradient;
  for (const Stop& s : band.stops) {
    gradient.GetRGBStops().push_back(CGradientStop(s.colour, s.pos, s.mid));
    gradient.GetAlphaStops().push_back(CGradientStop(s.alpha, s.pos, s.mid));
  }
  gradient.SetSmoothness(band.smoothness);
  CGradientTable table;
  table.SetBias(band.bias);
  table.SetGain(band.gain);
  table.SetReverse(band.reverse);
  if (!band.grey) {
    table.CreateDwords(&gradient, norvik::kGradientTableSize);
    norvik::DrawHorizontal(table, sheet, area);
    return;
  }
  // The single-value table holds the gradient's grey level over white.
  table.CreateBytes(&gradient, norvik::kGradientTableSize);
  const int width = area.Width();
  const int64_t step = (int64_t{1} << 31) / width;
  std::vector<uint8_t> grey(width);
  for (int y = area.top; y < area.bottom; ++y) {
    table.GetParallelBytes(step / 2, step, grey.data(), width);
    auto* row = reinterpret_cast<uint32_t*>(sheet.GetBits(CPoint(area.left, y)));
    for (int x = 0; x < width; ++x) row[x] = 0xFF000000u | grey[x] * 0x010101u;
  }
}

void RunGradientsDemo(const std::filesystem::path& folder) {
  const std::vector<Band> bands = {
      {"two stops, smoothness 0 (straight blend)", kTwo, 0},
      {"two stops, smoothness 50", kTwo, 50},
      {"two stops, smoothness 100 (sine eased)", kTwo, 100},
      {"midpoint 0.2: half way at a fifth", {{0, kRed, 255, 0.2}, {1, kBlue, 255, 0.5}}, 0},
      {"midpoint 0.8: half way at four fifths", {{0, kRed, 255, 0.8}, {1, kBlue, 255, 0.5}}, 0},
      {"three stops, midpoints 0.25 and 0.75", kThree, 0},
      {"three stops, bias 0.25 (the middle moves towards the end)", kThree, 0, 0.25},
      {"three stops, bias 0.75 (the middle moves towards the start)", kThree, 0, 0.75},
      {"three stops, gain 0.25 (flat middle)", kThree, 0, 0.5, 0.25},
      {"three stops, gain 0.75 (steep middle)", kThree, 0, 0.5, 0.75},
      {"three stops, reversed", kThree, 0, 0.5, 0.5, true},
      {"opaque red to transparent blue", {{0, kRed, 255, 0.5}, {1, kBlue, 0, 0.5}}, 0},
      {"three stops as the single-value (grey) table", kThree, 0, 0.5, 0.5, false, true},
  };
  constexpr int kWidth = 512, kBand = 36, kGap = 6;
  const int height = static_cast<int>(bands.size()) * (kBand + kGap) + kGap;
  CMemoryBitmap sheet(kWidth + 2 * kGap, height, 32, ColourOrder::Bgr);
  sheet.Clear(nullptr, 0xFF404040u);  // a dark frame between the bands

  std::ofstream report(folder / "gradients.txt");
  report << "gradients.png: " << bands.size() << " bands of " << kWidth << " x " << kBand
         << " pixels, top to bottom, each through a 257-entry gradient table\n";
  for (size_t i = 0; i < bands.size(); ++i) {
    const int top = kGap + static_cast<int>(i) * (kBand + kGap);
    DrawBand(bands[i], sheet, CRect(kGap, top, kGap + kWidth, top + kBand));
    char line[160];
    std::snprintf(line, sizeof line, "band %2zu (y %3d): %s\n", i + 1, top, bands[i].label);
    std::printf("      %s", line);
    report << line;
  }
  sheet.SavePNG((folder / "gradients.png").wstring().c_str());
  std::printf("      gradients.png %d x %d, legend in gradients.txt\n", sheet.GetWidth(), sheet.GetHeight());
}

}  // namespace

NK_DEMO(45, "gradients: smoothness, midpoints, bias, gain, reversal through gradient tables", &RunGradientsDemo);
