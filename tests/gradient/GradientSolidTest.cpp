#include <kernel/Gradient.h>
#include <kernel/GradientStop.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using Kernel::CGradient;
using Kernel::CGradientSolid;
using Kernel::CGradientStop;
using Kernel::CGradientStopList;
using Kernel::CPtr;
using Kernel::MakePtr;

struct Quad {
  uint32_t r, g, b, a;
};

Quad Split(uint64_t q) {
  return {uint32_t(q & 0xFFFF), uint32_t((q >> 16) & 0xFFFF), uint32_t((q >> 32) & 0xFFFF), uint32_t(q >> 48)};
}

uint64_t Pack(Quad q) { return uint64_t(q.r) | uint64_t(q.g) << 16 | uint64_t(q.b) << 32 | uint64_t(q.a) << 48; }

// A solid gradient with the given colour stops, no opacity stops (opaque)
// and the given smoothness.
CPtr<CGradientSolid> Ramp(std::initializer_list<CGradientStop> stops, int smoothness) {
  auto g = MakePtr<CGradientSolid>();
  for (const CGradientStop& s : stops) g->GetRGBStops().push_back(s);
  g->SetSmoothness(smoothness);
  return g;
}

TEST(GradientSolid, TwoColourConstructorFillsBothLists) {
  const CGradientSolid g(0x80FF0000u, 0x400000FFu);
  const CGradientStopList& rgb = g.GetRGBStops();
  const CGradientStopList& alpha = g.GetAlphaStops();
  ASSERT_EQ(rgb.size(), 2u);
  ASSERT_EQ(alpha.size(), 2u);
  EXPECT_EQ(rgb.front(), CGradientStop(0x80FF0000u, 0.0, 0.5));
  EXPECT_EQ(rgb.back(), CGradientStop(0x400000FFu, 1.0, 0.5));
  // The opacity stops hold the top bytes alone.
  EXPECT_EQ(alpha.front(), CGradientStop(0x80u, 0.0, 0.5));
  EXPECT_EQ(alpha.back(), CGradientStop(0x40u, 1.0, 0.5));
  EXPECT_EQ(g.GetSmoothness(), 100);
  EXPECT_EQ(CGradientSolid().GetSmoothness(), 100);
  EXPECT_TRUE(CGradientSolid().GetRGBStops().empty());
}

// Blue to red, opacity 0 at both ends (the top bytes are 0).
TEST(GradientSolid, ExactChannelValues) {
  struct Case {
    const char* name;
    int smoothness;
    double t;
    Quad expected;
  };
  const Case cases[] = {
      {"straight quarter", 0, 0.25, {24480, 0, 8160, 0}},
      {"eased half", 100, 0.5, {16320, 0, 16320, 0}},
      {"straight half", 0, 0.5, {16320, 0, 16320, 0}},
      {"eased quarter", 100, 0.25, {27860, 0, 4780, 0}},
      {"half eased quarter", 50, 0.25, {26170, 0, 6470, 0}},
      {"start", 100, 0.0, {32640, 0, 0, 0}},
      {"end", 100, 1.0, {0, 0, 32640, 0}},
      {"before", 100, -0.5, {32640, 0, 0, 0}},
      {"after", 0, 7.0, {0, 0, 32640, 0}},
  };
  for (const Case& c : cases) {
    CGradientSolid g(0x000000FFu, 0x00FF0000u);
    g.SetSmoothness(c.smoothness);
    const Quad q = Split(g.GetQuadValueFixed(c.t));
    EXPECT_EQ(q.r, c.expected.r) << c.name;
    EXPECT_EQ(q.g, c.expected.g) << c.name;
    EXPECT_EQ(q.b, c.expected.b) << c.name;
    EXPECT_EQ(q.a, c.expected.a) << c.name;
  }
}

TEST(GradientSolid, MidpointMovesTheHalfwayPoint) {
  // Black to red with the midpoint at 0.2: half done at f = 0.2 whatever
  // the smoothness; the two straight pieces meet there.
  struct Case {
    int smoothness;
    double t;
    uint32_t red;
  };
  for (const Case& c : {Case{0, 0.2, 16320}, Case{100, 0.2, 16320}, Case{37, 0.2, 16320}, Case{0, 0.1, 8160},
                        Case{0, 0.6, 24480}, Case{0, 0.5, 22440}}) {
    auto g = Ramp({CGradientStop(0x000000u, 0.0, 0.2), CGradientStop(0x0000FFu, 1.0, 0.5)}, c.smoothness);
    EXPECT_EQ(Split(g->GetQuadValueFixed(c.t)).r, c.red) << c.smoothness << " " << c.t;
  }
  // Midpoints are relative to the segment: stops at 0.5 and 1.0, midpoint
  // 0.2, half done at t = 0.6.
  auto g = Ramp({CGradientStop(0x000000u, 0.5, 0.2), CGradientStop(0x0000FFu, 1.0, 0.5)}, 100);
  EXPECT_EQ(Split(g->GetQuadValueFixed(0.6)).r, 16320u);
  EXPECT_EQ(Split(g->GetQuadValueFixed(0.25)).r, 0u);
}

TEST(GradientSolid, OutsideTheStopsTheEndColoursHold) {
  auto g = Ramp({CGradientStop(0x00336699u, 0.2, 0.5), CGradientStop(0x00CCBBAAu, 0.8, 0.5)}, 100);
  struct Case {
    double t;
    Quad expected;
  };
  const double inf = std::numeric_limits<double>::infinity();
  for (const Case& c :
       {Case{0.0, {0x99 << 7, 0x66 << 7, 0x33 << 7, 32640}}, Case{0.2, {0x99 << 7, 0x66 << 7, 0x33 << 7, 32640}},
        Case{-inf, {0x99 << 7, 0x66 << 7, 0x33 << 7, 32640}}, Case{0.8, {0xAA << 7, 0xBB << 7, 0xCC << 7, 32640}},
        Case{1.0, {0xAA << 7, 0xBB << 7, 0xCC << 7, 32640}}, Case{inf, {0xAA << 7, 0xBB << 7, 0xCC << 7, 32640}}}) {
    EXPECT_EQ(g->GetQuadValueFixed(c.t), Pack(c.expected)) << c.t;
  }
  // One stop: its colour everywhere.
  auto single = Ramp({CGradientStop(0x00010203u, 0.5, 0.5)}, 100);
  for (double t : {-1.0, 0.5, 2.0}) EXPECT_EQ(single->GetQuadValueFixed(t), Pack({3 << 7, 2 << 7, 1 << 7, 32640}));
}

TEST(GradientSolid, LaterStopWinsATie) {
  // Two stops at 0.5: at 0.5 and just after, the ramp runs from the later
  // one (0xFF); just before, the earlier one (0x80) ends the first segment.
  auto g = Ramp({CGradientStop(0x00u, 0.0, 0.5), CGradientStop(0x80u, 0.5, 0.5), CGradientStop(0xFFu, 0.5, 0.5),
                 CGradientStop(0x01u, 1.0, 0.5)},
                0);
  struct Case {
    double t;
    uint32_t red;
  };
  for (const Case& c : {Case{0.5, 32640}, Case{0.75, 16384}, Case{0.25, 8192}, Case{1.0, 128}}) {
    EXPECT_EQ(Split(g->GetQuadValueFixed(c.t)).r, c.red) << c.t;
  }
  // A tie at the end: the later of the two closing stops holds.
  auto end = Ramp({CGradientStop(0x00u, 0.0, 0.5), CGradientStop(0x10u, 1.0, 0.5), CGradientStop(0x20u, 1.0, 0.5)}, 0);
  EXPECT_EQ(Split(end->GetQuadValueFixed(1.0)).r, 0x20u << 7);
}

TEST(GradientSolid, RoundsHalvesAwayFromZero) {
  // Straight ramps (smoothness 0, midpoint 0.5) make the eased fraction
  // equal to t, so t = k/256 lands channel values on exact halves.
  struct Case {
    uint32_t from, to;
    double t;
    uint32_t red;  // (from + (to - from) t) * 128, rounded up at .5
  };
  for (const Case& c : {Case{0, 1, 1.0 / 256, 1},           // 0.5
                        Case{0, 1, 5.0 / 256, 3},           // 2.5, not 2
                        Case{1, 0, 3.0 / 256, 127},         // 126.5, not 126
                        Case{0, 1, 0.75 / 256, 0},          // 0.375
                        Case{10, 20, 0.5 / 1280, 1281}}) {  // 1280.5
    auto g = Ramp({CGradientStop(c.from, 0.0, 0.5), CGradientStop(c.to, 1.0, 0.5)}, 0);
    EXPECT_EQ(Split(g->GetQuadValueFixed(c.t)).r, c.red) << c.from << "->" << c.to << " at " << c.t;
  }
}

TEST(GradientSolid, OpacityComesFromTheAlphaList) {
  CGradientSolid g(0xFF0000FFu, 0x00FF0000u);
  g.SetSmoothness(0);
  struct Case {
    double t;
    uint32_t alpha;
  };
  for (const Case& c : {Case{0.0, 32640}, Case{0.25, 24480}, Case{1.0, 0}}) {
    EXPECT_EQ(Split(g.GetQuadValueFixed(c.t)).a, c.alpha) << c.t;
  }
  // An empty opacity list is opaque; a default opacity stop (0xFF000000)
  // reads its low byte, so it is transparent.
  g.GetAlphaStops().clear();
  EXPECT_EQ(Split(g.GetQuadValueFixed(0.3)).a, 32640u);
  g.GetAlphaStops().push_back(CGradientStop());
  EXPECT_EQ(Split(g.GetQuadValueFixed(0.3)).a, 0u);
  // Only the low byte of an opacity stop counts.
  g.GetAlphaStops().front().SetDwordValue(0x12345680u);
  EXPECT_EQ(Split(g.GetQuadValueFixed(0.3)).a, 0x80u << 7);
}

TEST(GradientSolid, SmoothnessOutsideItsRangeStaysInTheChannel) {
  // 300 overshoots the ease: the channel stops at 0 and at 32640 instead
  // of wrapping into its neighbours.
  auto g = Ramp({CGradientStop(0x00000000u, 0.0, 0.5), CGradientStop(0x00FFFFFFu, 1.0, 0.5)}, 300);
  EXPECT_EQ(g->GetSmoothness(), 300);
  EXPECT_EQ(g->GetQuadValueFixed(0.2), Pack({0, 0, 0, 32640}));
  EXPECT_EQ(g->GetQuadValueFixed(0.8), Pack({32640, 32640, 32640, 32640}));
}

TEST(GradientSolid, ByteAndDwordForms) {
  CGradientSolid g(0x000000FFu, 0x00FF0000u);
  g.SetSmoothness(0);
  // t = 0.25: red 24480 (191.25), blue 8160 (63.75), alpha 0.
  EXPECT_EQ(g.GetQuadValueDword(0.25), 0x004000BFu);
  EXPECT_EQ(g.GetRGBValue(0.25), 0x4000BFu);
  EXPECT_EQ(g.GetAlphaValue(0.25), 0u);
  CGradientSolid opaque(0xFF000000u, 0x80FFFFFFu);
  opaque.SetSmoothness(0);
  EXPECT_EQ(opaque.GetQuadValueDword(0.0), 0xFF000000u);
  EXPECT_EQ(opaque.GetAlphaValue(0.5), 0xC0u);  // 191.5 * 128 = 24512 -> (24512 + 64) >> 7 = 192 (0xC0)
  EXPECT_EQ(opaque.GetRGBValue(1.0), 0xFFFFFFu);
}

TEST(GradientSolid, SingleValueUsesCrossedLuminanceOverWhite) {
  // The 30 % weight lands on blue and the 11 % on red: pure red and pure
  // blue give the values a straight (r, g, b) luminance would swap.
  struct Case {
    const char* name;
    uint32_t colour;  // with its opacity in the top byte
    uint16_t fixed;
    uint8_t byte;
  };
  const Case cases[] = {
      {"opaque white", 0xFFFFFFFFu, 32640, 255},      {"opaque black", 0xFF000000u, 0, 0},
      {"opaque red", 0xFF0000FFu, 3590, 28},      // 11 % of 32640
      {"opaque blue", 0xFFFF0000u, 9792, 77},     // 30 %
      {"opaque green", 0xFF00FF00u, 19257, 150},  // 59 %, truncated
      {"transparent black", 0x00000000u, 32640, 255}, {"transparent red", 0x000000FFu, 32640, 255},
      {"half red", 0x800000FFu, 18058, 141},  // (3590 - 32640) * 16384 / 32640 + 32640 = 18058.04
  };
  for (const Case& c : cases) {
    const CGradientSolid g(c.colour, c.colour);
    EXPECT_EQ(g.GetSingleValueFixed(0.5), c.fixed) << c.name;
    EXPECT_EQ(g.GetSingleValueByte(0.5), c.byte) << c.name;
  }
}

TEST(GradientSolid, EmptyColourListReadsAsBlack) {
  CGradientSolid g;
  EXPECT_EQ(g.GetQuadValueFixed(0.5), Pack({0, 0, 0, 32640}));
}

TEST(GradientSolid, CloneEqualityAndCopies) {
  auto g = MakePtr<CGradientSolid>(0x80102030u, 0xFF405060u);
  g->SetSmoothness(40);
  CPtr<CGradient> clone = g->MakeClone();
  ASSERT_TRUE(clone);
  EXPECT_NE(clone.Get(), static_cast<CGradient*>(g.Get()));
  EXPECT_EQ(clone->GetRefCount(), 1);
  EXPECT_TRUE(*clone == *g);
  EXPECT_TRUE(clone->IsKindOf(RUNTIME_CLASS(CGradientSolid)));
  CPtr<CGradient> raw(g->Clone());
  EXPECT_EQ(raw->GetRefCount(), 1);  // the clone came unowned; the holder is its only owner

  struct Case {
    const char* name;
    void (*change)(CGradientSolid&);
    bool equal;
  };
  const Case cases[] = {
      {"unchanged", [](CGradientSolid&) {}, true},
      {"pos within 1e-6", [](CGradientSolid& s) { s.GetRGBStops().back().SetPos(1.0 - 5e-7); }, true},
      {"pos beyond 1e-6", [](CGradientSolid& s) { s.GetRGBStops().back().SetPos(1.0 - 2e-6); }, false},
      {"smoothness", [](CGradientSolid& s) { s.SetSmoothness(41); }, false},
      {"alpha value", [](CGradientSolid& s) { s.GetAlphaStops().front().SetByteValue(0x81); }, false},
      {"alpha removed", [](CGradientSolid& s) { s.GetAlphaStops().pop_back(); }, false},
  };
  for (const Case& c : cases) {
    CGradientSolid copy(*g);
    EXPECT_EQ(copy.GetRefCount(), 0) << c.name;
    c.change(copy);
    EXPECT_EQ(copy == *g, c.equal) << c.name;
    EXPECT_EQ(static_cast<const CGradient&>(copy) == static_cast<const CGradient&>(*g), c.equal) << c.name;
  }
  CGradientSolid assigned;
  assigned = *g;
  EXPECT_TRUE(assigned == *g);
  EXPECT_EQ(assigned.GetRefCount(), 0);
}

}  // namespace
