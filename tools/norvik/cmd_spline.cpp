// norvik spline: builds a spline from knots given on the command line, draws
// it with its knots and its 8-bit look-up table into a PNG, and prints the
// table.
#include <kernel/MemoryBitmap.h>
#include <kernel/Spline.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "Command.h"

namespace norvik {
namespace {

// A finite number filling the whole text, or a usage error naming what.
double ParseNumber(const std::string& text, const std::string& what) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(begin, &end);
  if (text.empty() || end != begin + text.size() || errno == ERANGE || !std::isfinite(v))
    throw UsageError("bad number '" + text + "' in " + what);
  return v;
}

// "X,Y" into a pair of numbers.
void ParseKnot(const std::string& text, std::vector<double>& xs, std::vector<double>& ys) {
  const size_t comma = text.find(',');
  if (comma == std::string::npos || text.find(',', comma + 1) != std::string::npos)
    throw UsageError("a knot is X,Y; got '" + text + "'");
  xs.push_back(ParseNumber(text.substr(0, comma), "knot '" + text + "'"));
  ys.push_back(ParseNumber(text.substr(comma + 1), "knot '" + text + "'"));
}

struct Options {
  std::string out;
  std::vector<double> x, y;
  bool linear = false;
  double yp1 = Kernel::CSpline::c_natural, ypn = Kernel::CSpline::c_natural;
};

Options Parse(const Args& args) {
  Options o;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--knot") {
      const size_t before = o.x.size();
      while (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) ParseKnot(args[++i], o.x, o.y);
      if (o.x.size() == before) throw UsageError("--knot needs at least one X,Y");
    } else if (a == "--linear") {
      o.linear = true;
    } else if (a == "--ends") {
      if (++i == args.size()) throw UsageError("--ends needs YP1,YPN");
      std::vector<double> a1, a2;
      ParseKnot(args[i], a1, a2);
      o.yp1 = a1[0];
      o.ypn = a2[0];
    } else if (o.out.empty() && a.rfind("--", 0) != 0) {
      o.out = a;
    } else {
      throw UsageError("unexpected argument '" + a + "'");
    }
  }
  if (o.out.empty()) throw UsageError("spline needs an output file name");
  if (o.x.empty()) throw UsageError("spline needs at least one --knot X,Y");
  for (size_t k = 1; k < o.x.size(); ++k)
    if (!(o.x[k] > o.x[k - 1])) {
      std::ostringstream text;
      text << "knot x values must increase; " << o.x[k] << " follows " << o.x[k - 1];
      throw UsageError(text.str());
    }
  return o;
}

// --- Drawing ------------------------------------------------------------------

struct Canvas {
  static constexpr int kSize = 512, kMargin = 24;
  std::vector<uint8_t> rgb = std::vector<uint8_t>(size_t(kSize) * kSize * 3, 255);
  double x0, x1, y0, y1;  // the world window

  int PX(double x) const { return kMargin + int(std::lround((x - x0) / (x1 - x0) * (kSize - 2 * kMargin - 1))); }
  int PY(double y) const {
    return kSize - 1 - kMargin - int(std::lround((y - y0) / (y1 - y0) * (kSize - 2 * kMargin - 1)));
  }
  void Dot(int px, int py, uint8_t r, uint8_t g, uint8_t b) {
    if (px < 0 || py < 0 || px >= kSize || py >= kSize) return;
    uint8_t* p = &rgb[(size_t(py) * kSize + size_t(px)) * 3];
    p[0] = r, p[1] = g, p[2] = b;
  }
  void Box(int cx, int cy, int half, uint8_t r, uint8_t g, uint8_t b) {
    for (int y = cy - half; y <= cy + half; ++y)
      for (int x = cx - half; x <= cx + half; ++x) Dot(x, y, r, g, b);
  }
  void VLine(int px, int ya, int yb, uint8_t r, uint8_t g, uint8_t b) {
    for (int y = std::min(ya, yb); y <= std::max(ya, yb); ++y) Dot(px, y, r, g, b);
  }
  void HLine(int xa, int xb, int py, uint8_t r, uint8_t g, uint8_t b) {
    for (int x = std::min(xa, xb); x <= std::max(xa, xb); ++x) Dot(x, py, r, g, b);
  }

  void Save(const std::string& path) const {
    Kernel::CMemoryBitmap bitmap(kSize, kSize, 24, Kernel::ColourOrder::Rgb);
    for (int y = 0; y < kSize; ++y) {
      uint8_t* row = bitmap.GetBits(CPoint(0, y));
      const uint8_t* src = &rgb[size_t(y) * kSize * 3];
      // The Rgb order keeps blue in the first byte of each pixel.
      for (int x = 0; x < kSize; ++x) {
        row[3 * x] = src[3 * x + 2];
        row[3 * x + 1] = src[3 * x + 1];
        row[3 * x + 2] = src[3 * x];
      }
    }
    try {
      bitmap.SavePNG(std::filesystem::path(path).wstring().c_str());
    } catch (const std::exception& e) {
      throw Failure("cannot write " + path + ": " + e.what());
    }
  }
};

int RunSpline(const Args& args) {
  const Options o = Parse(args);
  Kernel::CSpline spline;
  spline.SetLinear(o.linear);
  spline.SetBoundaryConditions(o.yp1, o.ypn);
  spline.Set(o.x.data(), o.y.data(), int(o.x.size()));

  unsigned char table[256];
  spline.CreateTable(table, 256, 0.0, 255.0, 1.0, 0.0);

  // The window covers 0..255 on both axes (a tone curve's square) and
  // everything the knots and the curve reach beyond it.
  Canvas c;
  c.x0 = std::min(0.0, o.x.front());
  c.x1 = std::max(255.0, o.x.back());
  c.y0 = 0.0;
  c.y1 = 255.0;
  const int width = Canvas::kSize - 2 * Canvas::kMargin;
  std::vector<double> curve(static_cast<size_t>(width));
  for (int i = 0; i < width; ++i) {
    curve[size_t(i)] = spline.Interpolate(c.x0 + (c.x1 - c.x0) * i / (width - 1));
    c.y0 = std::min(c.y0, curve[size_t(i)]);
    c.y1 = std::max(c.y1, curve[size_t(i)]);
  }
  for (double v : o.y) c.y0 = std::min(c.y0, v), c.y1 = std::max(c.y1, v);

  // The 0..255 square and the axes through 0.
  const int l = c.PX(0), r = c.PX(255), t = c.PY(255), b = c.PY(0);
  c.HLine(l, r, t, 215, 215, 215);
  c.HLine(l, r, b, 160, 160, 160);
  c.VLine(l, t, b, 160, 160, 160);
  c.VLine(r, t, b, 215, 215, 215);
  // The table, one grey step per entry, under the curve.
  for (int i = 0; i < 256; ++i) c.HLine(c.PX(i - 0.5), c.PX(i + 0.5), c.PY(table[i]), 150, 150, 150);
  // The curve, joined column to column so steep parts stay unbroken.
  int previous = c.PY(curve[0]);
  for (int i = 0; i < width; ++i) {
    const int py = c.PY(curve[size_t(i)]);
    c.VLine(Canvas::kMargin + i, previous, py, 20, 60, 200);
    c.VLine(Canvas::kMargin + i, previous + 1, py + 1, 20, 60, 200);
    previous = py;
  }
  for (size_t k = 0; k < o.x.size(); ++k) {
    c.Box(c.PX(o.x[k]), c.PY(o.y[k]), 4, 40, 40, 40);
    c.Box(c.PX(o.x[k]), c.PY(o.y[k]), 3, 230, 40, 40);
  }
  c.Save(o.out);

  std::cout << (o.linear ? "linear" : "cubic") << " spline, " << o.x.size() << (o.x.size() == 1 ? " knot" : " knots")
            << "; table over x = 0..255:\n";
  for (int row = 0; row < 16; ++row) {
    std::cout << std::setw(4) << row * 16 << ":";
    for (int col = 0; col < 16; ++col) std::cout << std::setw(4) << int(table[row * 16 + col]);
    std::cout << '\n';
  }
  std::cout << "wrote " << o.out << '\n';
  return 0;
}

}  // namespace
}  // namespace norvik

NK_COMMAND("spline", "spline OUT.png --knot X,Y [X,Y...] [--knot X,Y...] [--linear] [--ends YP1,YPN]",
           "Builds a spline through the knots and draws it into OUT.png (512 x 512): the curve in\n"
           "blue, the knots as red squares, and its 256-entry look-up table (x = 0..255, rounded\n"
           "and clamped to 0..255) as grey steps. The window spans 0..255 on both axes and\n"
           "widens to take in every knot and the whole curve. The table is also printed, 16\n"
           "entries per row, each row led by the x of its first entry.\n"
           "  --knot X,Y...   one or more knots; repeat --knot or list several pairs after one.\n"
           "                  x must increase from knot to knot\n"
           "  --linear        join the knots with straight lines instead of a cubic spline\n"
           "  --ends YP1,YPN  slopes at the first and last knot (cubic; default natural ends,\n"
           "                  where any value above 9.9e29 means natural)\n",
           &norvik::RunSpline);
