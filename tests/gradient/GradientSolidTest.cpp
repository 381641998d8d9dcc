#include <kernel/Gradient.h>
#include <kernel/GradientStop.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using gradient_test::Quad;
using Kernel::CGradient;
using Kernel::CGradientSolid;
using Kernel::CGradientStop;
using Kernel::CGradientStopList;
using Kernel::CPtr;
using Kernel::MakePtr;

// Channel 0 (red) to 3 (opacity) of a quad.
uint32_t Ch(uint64_t quad, int channel) { return uint32_t(quad >> (16 * channel)) & 0xFFFF; }

// A solid gradient with the given colour stops, no opacity stops (opaque)
// and the given smoothness.
CPtr<CGradientSolid> Ramp(const std::vector<CGradientStop>& stops, int smoothness) {
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
    uint64_t expected;
  };
  const Case cases[] = {
      {"straight quarter", 0, 0.25, Quad(24480, 0, 8160, 0)},
      {"eased half", 100, 0.5, Quad(16320, 0, 16320, 0)},
      {"straight half", 0, 0.5, Quad(16320, 0, 16320, 0)},
      {"eased quarter", 100, 0.25, Quad(27860, 0, 4780, 0)},
      {"half eased quarter", 50, 0.25, Quad(26170, 0, 6470, 0)},
      {"start", 100, 0.0, Quad(32640, 0, 0, 0)},
      {"end", 100, 1.0, Quad(0, 0, 32640, 0)},
      {"before", 100, -0.5, Quad(32640, 0, 0, 0)},
      {"after", 0, 7.0, Quad(0, 0, 32640, 0)},
  };
  for (const Case& c : cases) {
    CGradientSolid g(0x000000FFu, 0x00FF0000u);
    g.SetSmoothness(c.smoothness);
    EXPECT_EQ(g.GetQuadValueFixed(c.t), c.expected) << c.name;
  }
}

// Ramps on red alone: every other channel must stay 0 and the opacity full.
TEST(GradientSolid, RedRampsAtExactPositions) {
  using Stops = std::vector<CGradientStop>;
  auto S = [](uint32_t value, double pos, double half = 0.5) { return CGradientStop(value, pos, half); };
  // Black to red with the midpoint at 0.2: half done at 0.2 whatever the
  // smoothness; the two straight pieces meet there.
  const Stops mid = {S(0x00, 0.0, 0.2), S(0xFF, 1.0)};
  // Midpoints are relative to the segment: half done at 0.6.
  const Stops lateMid = {S(0x00, 0.5, 0.2), S(0xFF, 1.0)};
  // Two stops at 0.5: at 0.5 and just after, the ramp runs from the later
  // one (0xFF); just before, the earlier one (0x80) ends the first segment.
  const Stops tie = {S(0x00, 0.0), S(0x80, 0.5), S(0xFF, 0.5), S(0x01, 1.0)};
  const Stops endTie = {S(0x00, 0.0), S(0x10, 1.0), S(0x20, 1.0)};
  // Straight ramps make the eased fraction equal to t, so t = k/256 lands
  // channel values on exact halves, which round away from zero.
  const Stops up = {S(0, 0.0), S(1, 1.0)}, down = {S(1, 0.0), S(0, 1.0)}, tens = {S(10, 0.0), S(20, 1.0)};
  struct Case {
    const char* name;
    const Stops& stops;
    int smoothness;
    double t;
    uint16_t red;
  };
  for (const Case& c :
       {Case{"midpoint, straight", mid, 0, 0.2, 16320}, Case{"midpoint, eased", mid, 100, 0.2, 16320},
        Case{"midpoint, partly eased", mid, 37, 0.2, 16320}, Case{"before the midpoint", mid, 0, 0.1, 8160},
        Case{"after the midpoint", mid, 0, 0.6, 24480}, Case{"half way", mid, 0, 0.5, 22440},
        Case{"late midpoint", lateMid, 100, 0.6, 16320}, Case{"before a late segment", lateMid, 100, 0.25, 0},
        Case{"tie", tie, 0, 0.5, 32640}, Case{"after a tie", tie, 0, 0.75, 16384},
        Case{"before a tie", tie, 0, 0.25, 8192}, Case{"after a tie, end", tie, 0, 1.0, 128},
        Case{"tie at the end", endTie, 0, 1.0, 0x20 << 7}, Case{"0.5", up, 0, 1.0 / 256, 1},
        Case{"2.5, not 2", up, 0, 5.0 / 256, 3}, Case{"126.5, not 126", down, 0, 3.0 / 256, 127},
        Case{"0.375", up, 0, 0.75 / 256, 0}, Case{"1280.5", tens, 0, 0.5 / 1280, 1281}}) {
    EXPECT_EQ(Ramp(c.stops, c.smoothness)->GetQuadValueFixed(c.t), Quad(c.red, 0, 0, 32640)) << c.name;
  }
}

TEST(GradientSolid, OutsideTheStopsTheEndColoursHold) {
  auto g = Ramp({CGradientStop(0x00336699u, 0.2, 0.5), CGradientStop(0x00CCBBAAu, 0.8, 0.5)}, 100);
  const double inf = std::numeric_limits<double>::infinity();
  for (double t : {0.0, 0.2, -inf})
    EXPECT_EQ(g->GetQuadValueFixed(t), Quad(0x99 << 7, 0x66 << 7, 0x33 << 7, 32640)) << t;
  for (double t : {0.8, 1.0, inf})
    EXPECT_EQ(g->GetQuadValueFixed(t), Quad(0xAA << 7, 0xBB << 7, 0xCC << 7, 32640)) << t;
  // One stop: its colour everywhere; no stops at all read as black.
  auto single = Ramp({CGradientStop(0x00010203u, 0.5, 0.5)}, 100);
  for (double t : {-1.0, 0.5, 2.0}) EXPECT_EQ(single->GetQuadValueFixed(t), Quad(3 << 7, 2 << 7, 1 << 7, 32640));
  EXPECT_EQ(CGradientSolid().GetQuadValueFixed(0.5), Quad(0, 0, 0, 32640));
}

TEST(GradientSolid, OpacityComesFromTheAlphaList) {
  CGradientSolid g(0xFF0000FFu, 0x00FF0000u);
  g.SetSmoothness(0);
  struct Case {
    double t;
    uint32_t alpha;
  };
  for (const Case& c : {Case{0.0, 32640}, Case{0.25, 24480}, Case{1.0, 0}}) {
    EXPECT_EQ(Ch(g.GetQuadValueFixed(c.t), 3), c.alpha) << c.t;
  }
  // An empty opacity list is opaque; a default opacity stop (0xFF000000)
  // reads its low byte, so it is transparent.
  g.GetAlphaStops().clear();
  EXPECT_EQ(Ch(g.GetQuadValueFixed(0.3), 3), 32640u);
  g.GetAlphaStops().push_back(CGradientStop());
  EXPECT_EQ(Ch(g.GetQuadValueFixed(0.3), 3), 0u);
  // Only the low byte of an opacity stop counts.
  g.GetAlphaStops().front().SetDwordValue(0x12345680u);
  EXPECT_EQ(Ch(g.GetQuadValueFixed(0.3), 3), 0x80u << 7);
}

TEST(GradientSolid, SmoothnessOutsideItsRangeStaysInTheChannel) {
  // 300 overshoots the ease: the channel stops at 0 and at 32640 instead
  // of wrapping into its neighbours.
  auto g = Ramp({CGradientStop(0x00000000u, 0.0, 0.5), CGradientStop(0x00FFFFFFu, 1.0, 0.5)}, 300);
  EXPECT_EQ(g->GetSmoothness(), 300);
  EXPECT_EQ(g->GetQuadValueFixed(0.2), Quad(0, 0, 0, 32640));
  EXPECT_EQ(g->GetQuadValueFixed(0.8), Quad(32640, 32640, 32640, 32640));
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
