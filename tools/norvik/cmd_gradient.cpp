// norvik gradient: a solid gradient from stops on the command line, drawn
// left to right through a gradient table into a 32-bit image saved as PNG.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <filesystem>
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

struct StopArg {
  double pos = 0;
  uint32_t colour = 0;  // colour value: red in the low byte
  int alpha = 255;
  double mid = 0.5;
};

double ParseNumber(const std::string& text, const std::string& what) {
  double v = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, v);
  if (text.empty() || ec != std::errc() || ptr != end)
    throw norvik::UsageError(what + " wants a number, got \"" + text + "\"");
  return v;
}

int ParseInteger(const std::string& text, const std::string& what) {
  int v = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, v);
  if (text.empty() || ec != std::errc() || ptr != end)
    throw norvik::UsageError(what + " wants a whole number, got \"" + text + "\"");
  return v;
}

// #RRGGBB to a colour value (red in the low byte).
uint32_t ParseColour(const std::string& text) {
  const bool hex = text.size() == 7 && text[0] == '#' && std::all_of(text.begin() + 1, text.end(), [](char c) {
                     return std::isxdigit(static_cast<unsigned char>(c));
                   });
  if (!hex) throw norvik::UsageError("colour wants #RRGGBB, got \"" + text + "\"");
  const uint32_t rgb = static_cast<uint32_t>(std::stoul(text.substr(1), nullptr, 16));
  return (rgb >> 16) | (rgb & 0xFF00u) | ((rgb & 0xFFu) << 16);
}

// POS:COLOUR[:ALPHA[:MID]]
StopArg ParseStop(const std::string& text) {
  std::vector<std::string> parts;
  size_t from = 0;
  for (;;) {
    const size_t colon = text.find(':', from);
    parts.push_back(text.substr(from, colon - from));
    if (colon == std::string::npos) break;
    from = colon + 1;
  }
  if (parts.size() < 2 || parts.size() > 4)
    throw norvik::UsageError("--stop wants POS:#RRGGBB[:ALPHA[:MID]], got \"" + text + "\"");
  StopArg stop;
  stop.pos = ParseNumber(parts[0], "stop position");
  if (stop.pos < 0 || stop.pos > 1) throw norvik::UsageError("stop position must lie in 0..1, got " + parts[0]);
  stop.colour = ParseColour(parts[1]);
  if (parts.size() > 2) {
    stop.alpha = ParseInteger(parts[2], "stop alpha");
    if (stop.alpha < 0 || stop.alpha > 255) throw norvik::UsageError("stop alpha must lie in 0..255, got " + parts[2]);
  }
  if (parts.size() > 3) {
    stop.mid = ParseNumber(parts[3], "stop midpoint");
    // The blend divides by the midpoint and by one minus it.
    if (!(stop.mid > 0 && stop.mid < 1))
      throw norvik::UsageError("stop midpoint must lie strictly between 0 and 1, got " + parts[3]);
  }
  return stop;
}

void ParseSize(const std::string& text, int& width, int& height) {
  const size_t x = text.find('x');
  if (x == std::string::npos) throw norvik::UsageError("--size wants WxH, got \"" + text + "\"");
  width = ParseInteger(text.substr(0, x), "--size width");
  height = ParseInteger(text.substr(x + 1), "--size height");
  if (width < 1 || height < 1 || width > 16384 || height > 16384)
    throw norvik::UsageError("--size must lie within 1x1..16384x16384, got " + text);
}

int RunGradient(const norvik::Args& args) {
  std::string out;
  std::vector<StopArg> stops;
  int smoothness = CGradientSolid::c_defaultSmoothness;
  double bias = 0.5, gain = 0.5;
  bool reverse = false;
  int width = 512, height = 64;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    const bool hasValue = i + 1 < args.size();
    if (a == "--stop" && hasValue) {
      stops.push_back(ParseStop(args[++i]));
    } else if (a == "--smoothness" && hasValue) {
      smoothness = ParseInteger(args[++i], "--smoothness");
      if (smoothness < 0 || smoothness > 100) throw norvik::UsageError("--smoothness must lie in 0..100");
    } else if (a == "--bias" && hasValue) {
      bias = ParseNumber(args[++i], "--bias");
      if (!(bias > 0 && bias < 1)) throw norvik::UsageError("--bias must lie strictly between 0 and 1");
    } else if (a == "--gain" && hasValue) {
      gain = ParseNumber(args[++i], "--gain");
      if (!(gain > 0 && gain < 1)) throw norvik::UsageError("--gain must lie strictly between 0 and 1");
    } else if (a == "--reverse") {
      reverse = true;
    } else if (a == "--size" && hasValue) {
      ParseSize(args[++i], width, height);
    } else if (a == "--stop" || a == "--smoothness" || a == "--bias" || a == "--gain" || a == "--size") {
      throw norvik::UsageError("option " + a + " needs a value");
    } else if (!a.empty() && a[0] == '-') {
      throw norvik::UsageError("unknown option " + a);
    } else if (out.empty()) {
      out = a;
    } else {
      throw norvik::UsageError("only one output file, got \"" + out + "\" and \"" + a + "\"");
    }
  }
  if (out.empty()) throw norvik::UsageError("gradient needs an output file OUT.png");
  if (stops.empty()) throw norvik::UsageError("gradient needs at least one --stop POS:#RRGGBB");

  // The gradient reads its stop lists in order of position.
  std::stable_sort(stops.begin(), stops.end(), [](const StopArg& a, const StopArg& b) { return a.pos < b.pos; });
  CGradientSolid gradient;
  for (const StopArg& s : stops) {
    gradient.GetRGBStops().push_back(CGradientStop(s.colour, s.pos, s.mid));
    gradient.GetAlphaStops().push_back(CGradientStop(static_cast<uint8_t>(s.alpha), s.pos, s.mid));
  }
  gradient.SetSmoothness(smoothness);

  CGradientTable table;
  table.SetBias(bias);
  table.SetGain(gain);
  table.SetReverse(reverse);
  table.CreateDwords(&gradient, norvik::kGradientTableSize);

  CMemoryBitmap bm(width, height, 32, ColourOrder::Bgr);
  norvik::DrawHorizontal(table, bm, bm.GetRect());
  try {
    bm.SavePNG(std::filesystem::path(out).wstring().c_str());
  } catch (const CImageFileException& e) {
    throw norvik::Failure(e.what());
  }
  std::printf("%s: %dx%d, %zu stops, smoothness %d, bias %g, gain %g%s, %d table entries\n", out.c_str(), width, height,
              stops.size(), smoothness, table.GetBias(), table.GetGain(), reverse ? ", reversed" : "", table.GetSize());
  return 0;
}

}  // namespace

NK_COMMAND("gradient",
           "gradient OUT.png --stop POS:COLOUR[:ALPHA[:MID]]... [--smoothness S] [--bias B] [--gain G] [--reverse] "
           "[--size WxH]",
           "Draws a solid gradient left to right through a 257-entry gradient table\n"
           "into a 32-bit image with alpha and saves it as OUT.png.\n\n"
           "  --stop POS:COLOUR[:ALPHA[:MID]]  a stop at POS (0..1) of colour #RRGGBB with\n"
           "                  opacity ALPHA (0..255, default 255); MID (strictly between\n"
           "                  0 and 1, default 0.5) is where the blend to the next stop is\n"
           "                  half done. Repeat for each stop; order does not matter.\n"
           "  --smoothness S  0 (straight blends) .. 100 (sine eased, the default)\n"
           "  --bias B        bias curve on the position, strictly between 0 and 1\n"
           "                  (0.5, the default, is off)\n"
           "  --gain G        gain curve on the position, likewise\n"
           "  --reverse       run the gradient from right to left\n"
           "  --size WxH      image size, default 512x64, at most 16384x16384\n\n"
           "example: norvik gradient sky.png --stop 0:#103070 --stop 1:#F0C060:255:0.3\n",
           &RunGradient);
