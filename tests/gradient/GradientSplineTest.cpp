#include <kernel/CArchive.h>
#include <kernel/Exceptions.h>
#include <kernel/Gradient.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Spline.h>

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using Kernel::CGradient;
using Kernel::CGradientSolid;
using Kernel::CGradientSpline;
using Kernel::CMemoryPropertyBag;
using Kernel::CPtr;
using Kernel::CSpline;
using Kernel::MakePtr;
using namespace gradient_test;

// A straight line through (0, y0) and (1, y1), and the same value everywhere.
CSpline Line(double y0, double y1) { return MakeSpline({0.0, 1.0}, {y0, y1}, true); }
CSpline Flat(double y) { return MakeSpline({0.5}, {y}); }

CPtr<CGradientSpline> Channels(const CSpline& r, const CSpline& g, const CSpline& b, const CSpline& a) {
  auto gradient = MakePtr<CGradientSpline>();
  for (int channel = 0; const CSpline* s : {&r, &g, &b, &a}) gradient->SetSpline(channel++, *s);
  return gradient;
}

TEST(GradientSpline, ChannelsAreScaledRoundedAndClamped) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    const char* name;
    double value;
    uint32_t fixed;
  };
  const Case cases[] = {
      {"full", 255.0, 32640},        {"above full", 300.0, 32640}, {"just above", 255.004, 32640},
      {"negative", -1.0, 0},         {"half up", 0.5 / 128, 1},    {"two and a half", 2.5 / 128, 3},
      {"below half", 0.49 / 128, 0}, {"not a number", nan, 0},     {"middle", 127.5, 16320},
  };
  for (const Case& c : cases) {
    // The value under test in one channel at a time; the others stay at 0.
    for (int channel = 0; channel < 4; ++channel) {
      auto g = MakePtr<CGradientSpline>();
      g->SetSpline(channel, Flat(c.value));
      EXPECT_EQ(g->GetQuadValueFixed(0.3), uint64_t{c.fixed} << (16 * channel)) << c.name << " channel " << channel;
    }
  }
}

TEST(GradientSpline, FollowsTheSplinesAlongT) {
  auto g = Channels(Line(0, 255), Line(255, 0), Flat(64), Line(255, 255));
  struct Case {
    double t;
    uint16_t r, g;
  };
  for (const Case& c : {Case{0.0, 0, 32640}, Case{0.5, 16320, 16320}, Case{0.25, 8160, 24480}, Case{1.0, 32640, 0},
                        Case{-3.0, 0, 32640}, Case{9.0, 32640, 0}}) {
    EXPECT_EQ(g->GetQuadValueFixed(c.t), Quad(c.r, c.g, 64 << 7, 32640)) << c.t;
  }
  // A new gradient's splines have no knots: every channel 0.
  EXPECT_EQ(CGradientSpline().GetQuadValueFixed(0.5), 0u);
}

TEST(GradientSpline, SingleValueIsTheRedSplineAlone) {
  // Green full and opacity 0 would change a luminance-over-white reading;
  // the spline gradient's single value ignores both.
  struct Case {
    double red;
    uint16_t fixed;
    uint8_t byte;
  };
  for (const Case& c :
       {Case{100, 12800, 100}, Case{300, 32640, 255}, Case{-5, 0, 0}, Case{0.5 / 128, 1, 0}, Case{191.5, 24512, 192}}) {
    auto g = Channels(Flat(c.red), Flat(255), Flat(0), Flat(0));
    EXPECT_EQ(g->GetSingleValueFixed(0.5), c.fixed) << c.red;
    EXPECT_EQ(g->GetSingleValueByte(0.5), c.byte) << c.red;
  }
  auto g = Channels(Flat(0x12), Flat(0x34), Flat(0x56), Flat(0x78));
  EXPECT_EQ(g->GetQuadValueDword(0.5), 0x78563412u);
}

TEST(GradientSpline, ChannelIndexIsChecked) {
  CGradientSpline g;
  for (int bad : {-1, 4, 100}) {
    EXPECT_THROW(g.GetSpline(bad), CInvalidArgException) << bad;
    EXPECT_THROW(g.SetSpline(bad, Flat(1)), CInvalidArgException) << bad;
  }
  EXPECT_EQ(static_cast<const CGradientSpline&>(g).GetSpline(0).GetCount(), 0);
}

TEST(GradientSpline, CloneAndEquality) {
  auto g = Channels(Line(0, 255), Flat(3), Flat(4), Flat(5));
  CPtr<CGradient> clone = g->MakeClone();
  EXPECT_EQ(clone->GetRefCount(), 1);
  EXPECT_TRUE(*clone == *g);
  EXPECT_TRUE(clone->IsKindOf(RUNTIME_CLASS(CGradientSpline)));

  CGradientSpline near(*g);
  near.GetSpline(2).SetY(0, 4 + 5e-7);
  EXPECT_TRUE(near == *g);
  near.GetSpline(2).SetY(0, 4 + 2e-6);
  EXPECT_FALSE(near == *g);
  EXPECT_TRUE(near != *g);

  // Different classes never compare equal, whatever their colours.
  const CGradientSolid solid(0xFF000000u, 0xFF000000u);
  const CGradientSpline black;
  EXPECT_FALSE(static_cast<const CGradient&>(solid) == static_cast<const CGradient&>(black));
  EXPECT_FALSE(static_cast<const CGradient&>(black) == static_cast<const CGradient&>(solid));
}

// --- Archive ---------------------------------------------------------------

constexpr uint64_t kNatural = 0x7E37E43C8800759Cull;  // 1e300

TEST(GradientSplineArchive, LayoutOfKnotlessSplines) {
  auto g = MakePtr<CGradientSpline>();
  Layout expected;
  expected.I32(10).I32(10);
  for (int i = 0; i < 4; ++i) expected.I32(12).U8(0).I32(0).Bits(kNatural).Bits(kNatural);  // cubic, no knots
  EXPECT_EQ(Store(*g), expected.Get());
}

TEST(GradientSplineArchive, RoundTripAndTruncation) {
  auto g = Channels(Line(0, 255), Line(10, 20), Flat(30), Line(255, 0));
  g->GetSpline(1).SetLinear(false);
  const Bytes full = Store(*g);
  auto back = MakePtr<CGradientSpline>();
  EXPECT_EQ(Load(full, *back), 0u);
  EXPECT_TRUE(*back == *g);
  for (double t : {0.0, 0.3, 0.77, 1.0}) EXPECT_EQ(back->GetQuadValueFixed(t), g->GetQuadValueFixed(t)) << t;

  for (size_t n = 0; n < full.size(); ++n) {
    auto target = Channels(Flat(1), Flat(2), Flat(3), Flat(4));
    const CGradientSpline before(*target);
    EXPECT_EQ(LoadCause(Prefix(full, n), *target), CArchiveException::endOfFile) << n;
    EXPECT_TRUE(*target == before) << n;
  }
}

// --- Property bag --------------------------------------------------------------

TEST(GradientSplineProperties, FourItemsInChannelOrder) {
  auto g = Channels(Flat(1), Flat(2), Flat(3), Flat(4));
  CMemoryPropertyBag bag;
  ASSERT_TRUE(g->GetProperties(&bag));
  ASSERT_EQ(bag.GetChildCount(), 4);
  EXPECT_EQ(bag.GetAttributeCount(), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(bag.GetChildName(i), L"_item");
  auto back = MakePtr<CGradientSpline>();
  ASSERT_TRUE(back->SetProperties(&bag));
  EXPECT_TRUE(*back == *g);
}

TEST(GradientSplineProperties, ItemsFillSplinesInOrderAtMostFour) {
  struct Case {
    int items;
    int setChannels;
  };
  for (const Case& c : {Case{0, 0}, Case{2, 2}, Case{4, 4}, Case{6, 4}}) {
    CMemoryPropertyBag bag;
    for (int i = 0; i < c.items; ++i) {
      CSpline s = Flat(100 + i);
      s.GetProperties(bag.AddChild(L"_item"));
    }
    auto g = Channels(Flat(1), Flat(2), Flat(3), Flat(4));
    EXPECT_TRUE(g->SetProperties(&bag));
    for (int channel = 0; channel < 4; ++channel) {
      const double expected = channel < c.setChannels ? 100 + channel : 1 + channel;
      EXPECT_EQ(g->GetSpline(channel).Interpolate(0.5), expected) << c.items << " items, channel " << channel;
    }
  }
}

}  // namespace
