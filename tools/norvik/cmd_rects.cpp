// norvik rects: runs rectangle-list operations read from a file or standard
// input and prints the list after each; optionally draws the final list.
// Also the demo step that pictures a union, a merge and a subtraction.
#include <kernel/MemoryBitmap.h>
#include <kernel/RectList.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "Command.h"

namespace norvik {
namespace {

// --- A small RGBA raster, enough to draw rectangles ------------------------

struct Raster {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;  // 0xAABBGGRR, i.e. R, G, B, A bytes in memory

  Raster(int w, int h, uint32_t fill) : width(w), height(h), pixels(size_t(w) * size_t(h), fill) {}

  void Fill(int l, int t, int r, int b, uint32_t colour) {
    l = std::max(l, 0), t = std::max(t, 0), r = std::min(r, width), b = std::min(b, height);
    for (int y = t; y < b; ++y)
      for (int x = l; x < r; ++x) pixels[size_t(y) * width + x] = colour;
  }
  void Frame(int l, int t, int r, int b, uint32_t colour) {
    Fill(l, t, r, t + 1, colour);
    Fill(l, b - 1, r, b, colour);
    Fill(l, t, l + 1, b, colour);
    Fill(r - 1, t, r, b, colour);
  }
  void Save(const std::string& path) const {
    Kernel::CMemoryBitmap bitmap(width, height, 24, Kernel::ColourOrder::Rgb);
    for (int y = 0; y < height; ++y) {
      uint8_t* row = bitmap.GetBits(CPoint(0, y));
      for (int x = 0; x < width; ++x) {
        const uint32_t p = pixels[size_t(y) * width + x];
        // The library's 24-bit Rgb layout keeps blue in the first byte, as a
        // device-independent bitmap does.
        row[3 * x] = uint8_t(p >> 16);
        row[3 * x + 1] = uint8_t(p >> 8);
        row[3 * x + 2] = uint8_t(p);
      }
    }
    try {
      bitmap.SavePNG(std::filesystem::path(path).wstring().c_str());
    } catch (const std::exception& e) {
      throw Failure("cannot write " + path + ": " + e.what());
    }
  }
};

constexpr uint32_t Rgb(int r, int g, int b) { return 0xFF000000u | uint32_t(b) << 16 | uint32_t(g) << 8 | uint32_t(r); }

// Pale fills with one darker outline colour make each rectangle of a list
// visible on its own.
const uint32_t kPalette[] = {Rgb(141, 211, 199), Rgb(255, 255, 179), Rgb(190, 186, 218), Rgb(251, 128, 114),
                             Rgb(128, 177, 211), Rgb(253, 180, 98),  Rgb(179, 222, 105), Rgb(252, 205, 229),
                             Rgb(217, 217, 217), Rgb(188, 128, 189), Rgb(204, 235, 197), Rgb(255, 237, 111)};

// Maps list coordinates into a panel of the raster.
struct View {
  CRect world;
  int x0, y0, size;  // panel origin and side in pixels
  double scale;

  View(const CRect& w, int px, int py, int side) : world(w), x0(px), y0(py), size(side) {
    const int span = std::max({w.right - w.left, w.bottom - w.top, 1});
    scale = double(side) / span;
  }
  int X(int x) const { return x0 + int((x - world.left) * scale + 0.5); }
  int Y(int y) const { return y0 + int((y - world.top) * scale + 0.5); }
};

void DrawList(Raster& raster, const View& view, const Kernel::CRectList& list) {
  size_t k = 0;
  for (const CRect& r : list) {
    const int l = view.X(r.left), t = view.Y(r.top), rr = view.X(r.right), b = view.Y(r.bottom);
    raster.Fill(l, t, rr, b, kPalette[k++ % std::size(kPalette)]);
    raster.Frame(l, t, rr, b, Rgb(60, 60, 60));
  }
}

void DrawOutline(Raster& raster, const View& view, const CRect& r, uint32_t colour) {
  raster.Frame(view.X(r.left) - 1, view.Y(r.top) - 1, view.X(r.right) + 1, view.Y(r.bottom) + 1, colour);
}

CRect Grow(const CRect& box, int margin) {
  return CRect(box.left - margin, box.top - margin, box.right + margin, box.bottom + margin);
}

CRect Bound(const CRect& a, const CRect& b) {
  if (a.right <= a.left || a.bottom <= a.top) return b;
  if (b.right <= b.left || b.bottom <= b.top) return a;
  return CRect(std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
               std::max(a.bottom, b.bottom));
}

// --- The operation language ---------------------------------------------------

std::string Text(const CRect& r) {
  std::ostringstream s;
  s << '(' << r.left << ',' << r.top << ',' << r.right << ',' << r.bottom << ')';
  return s.str();
}

void PrintList(std::ostream& out, const Kernel::CRectList& list) {
  int64_t area = 0;
  for (const CRect& r : list) area += int64_t(r.right - r.left) * (r.bottom - r.top);
  out << "  " << list.size() << (list.size() == 1 ? " rectangle" : " rectangles") << ", area " << area << '\n';
  for (const CRect& r : list) out << "    " << Text(r) << '\n';
}

bool ParseRect(const std::string& text, CRect& r) {
  char c1 = 0, c2 = 0, c3 = 0;
  std::istringstream s(text);
  int l, t, rr, b;
  if (!(s >> l >> c1 >> t >> c2 >> rr >> c3 >> b) || c1 != ',' || c2 != ',' || c3 != ',') return false;
  std::string rest;
  if (s >> rest) return false;
  r = CRect(l, t, rr, b);
  return true;
}

struct Session {
  Kernel::CRectList list;
  CRect extent;  // everything the operations touched, for the picture
};

// Runs one line; false for a line that is not an operation.
bool RunLine(const std::string& line, Session& session, std::ostream& out) {
  std::istringstream s(line);
  std::string op, coords;
  if (!(s >> op >> coords)) return false;
  CRect r;
  if (!ParseRect(coords, r)) return false;
  if (op == "add" || op == "sub" || op == "covers") {
    std::string extra;
    if (s >> extra) return false;
    if (op == "add") session.list.AddUnion(r);
    if (op == "sub") session.list.SubtractUnion(r);
    out << op << ' ' << Text(r);
    if (op == "covers") out << ": " << (session.list.Covers(r) ? "yes" : "no");
    out << '\n';
  } else if (op == "merge") {
    int slack;
    double factor;
    std::string extra;
    if (!(s >> slack >> factor) || (s >> extra)) return false;
    session.list.AddUnionMerge(r, slack, factor);
    out << "merge " << Text(r) << " slack " << slack << " factor " << factor << '\n';
  } else {
    return false;
  }
  session.extent = Bound(session.extent, r);
  PrintList(out, session.list);
  return true;
}

void DrawSession(const Session& session, const std::string& path) {
  constexpr int kSide = 600, kMargin = 20;
  Raster raster(kSide + 2 * kMargin, kSide + 2 * kMargin, Rgb(255, 255, 255));
  const CRect world = Grow(session.extent, 2);
  const View view(world, kMargin, kMargin, kSide);
  DrawList(raster, view, session.list);
  raster.Save(path);
}

int RunRects(const Args& args) {
  std::string input, png;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--png") {
      if (++i == args.size()) throw UsageError("--png needs a file name");
      png = args[i];
    } else if (input.empty() && (args[i] == "-" || args[i][0] != '-')) {
      input = args[i];
    } else {
      throw UsageError("unexpected argument '" + args[i] + "'");
    }
  }
  std::ifstream file;
  if (!input.empty() && input != "-") {
    file.open(input);
    if (!file) throw Failure("cannot open " + input);
  }
  std::istream& in = file.is_open() ? static_cast<std::istream&>(file) : std::cin;

  Session session;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    if (!RunLine(line, session, std::cout))
      throw Failure("line " + std::to_string(number) + ": expected 'add l,t,r,b', 'merge l,t,r,b SLACK FACTOR', " +
                    "'sub l,t,r,b' or 'covers l,t,r,b', got '" + line + "'");
  }
  if (!png.empty()) {
    DrawSession(session, png);
    std::cout << "wrote " << png << '\n';
  }
  return 0;
}

// --- Demo: union, merge and subtraction side by side -------------------------------

void DemoRectLists(const std::filesystem::path& folder) {
  const std::vector<CRect> inputs = {CRect(10, 10, 60, 40), CRect(40, 25, 90, 80), CRect(20, 60, 50, 95),
                                     CRect(70, 5, 95, 30),  CRect(5, 45, 30, 70),  CRect(55, 85, 95, 98)};
  const CRect hole(30, 30, 75, 65);
  const CRect world(0, 0, 100, 100);

  Kernel::CRectList united, merged, subtracted;
  for (const CRect& r : inputs) {
    united.AddUnion(r);
    merged.AddUnionMerge(r, 400, 1.25);
  }
  subtracted = united;
  subtracted.SubtractUnion(hole);

  constexpr int kPanel = 300, kGap = 20;
  Raster raster(3 * kPanel + 4 * kGap, kPanel + 2 * kGap, Rgb(255, 255, 255));
  const Kernel::CRectList* lists[] = {&united, &merged, &subtracted};
  for (int p = 0; p < 3; ++p) {
    const View view(world, kGap + p * (kPanel + kGap), kGap, kPanel);
    raster.Frame(view.X(0) - 2, view.Y(0) - 2, view.X(100) + 2, view.Y(100) + 2, Rgb(200, 200, 200));
    DrawList(raster, view, *lists[p]);
    for (const CRect& r : inputs) DrawOutline(raster, view, r, Rgb(30, 30, 200));
    if (p == 2) DrawOutline(raster, view, hole, Rgb(220, 30, 30));
  }
  raster.Save((folder / "rect-lists.png").string());

  std::ofstream report(folder / "rect-lists.txt");
  report << "Rectangle lists: six rectangles (blue outlines) added one by one.\n"
         << "Left: AddUnion, exact, pairwise disjoint.\n";
  PrintList(report, united);
  report << "Middle: AddUnionMerge with slack 400 and factor 1.25, fewer rectangles covering a little more.\n";
  PrintList(report, merged);
  report << "Right: the exact union minus " << Text(hole) << " (red outline) by SubtractUnion.\n";
  PrintList(report, subtracted);
}

}  // namespace
}  // namespace norvik

NK_COMMAND("rects", "rects [FILE|-] [--png OUT.png]",
           "Runs rectangle-list operations, one per line, read from FILE or standard input:\n"
           "  add l,t,r,b                  add the rectangle exactly (AddUnion)\n"
           "  merge l,t,r,b SLACK FACTOR   add it, merging with a neighbour when the list's area\n"
           "                               stays within max(exact + SLACK, exact * FACTOR)\n"
           "  sub l,t,r,b                  remove the rectangle (SubtractUnion)\n"
           "  covers l,t,r,b               tell whether the list covers the rectangle\n"
           "Coordinates are left, top, right, bottom; right and bottom are exclusive. Text after\n"
           "'#' is a comment. The list is printed after every operation.\n"
           "  --png OUT.png   draw the final list, each rectangle in its own colour\n",
           &norvik::RunRects);

NK_DEMO(50, "Rectangle lists: union, merge and subtraction", &norvik::DemoRectLists);
