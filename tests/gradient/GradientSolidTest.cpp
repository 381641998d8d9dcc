#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/CString.h>
#include <kernel/Dynamic.h>
#include <kernel/Exceptions.h>
#include <kernel/Gradient.h>
#include <kernel/GradientStop.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Persist.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using gradient_test::FieldsOf;
using gradient_test::Quad;
using gradient_test::StopFields;
using Kernel::CGradient;
using Kernel::CGradientSolid;
using Kernel::CGradientSpline;
using Kernel::CGradientStop;
using Kernel::CGradientStopList;
using Kernel::CMemoryPropertyBag;
using Kernel::CPtr;
using Kernel::MakePtr;
using namespace gradient_test;

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
  EXPECT_EQ(FieldsOf(g.GetRGBStops()), (std::vector<StopFields>{{0x80FF0000u, 0.0, 0.5}, {0x400000FFu, 1.0, 0.5}}));
  // The opacity stops hold the top bytes alone.
  EXPECT_EQ(FieldsOf(g.GetAlphaStops()), (std::vector<StopFields>{{0x80u, 0.0, 0.5}, {0x40u, 1.0, 0.5}}));
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

// --- Archive and factory -------------------------------------------------

// Knows when it is destroyed, to see who keeps a loaded gradient alive.
class CountedSolid : public CGradientSolid {
 public:
  explicit CountedSolid(bool* destroyed) : m_destroyed(destroyed) {}
  ~CountedSolid() override { *m_destroyed = true; }

 private:
  bool* m_destroyed;
};

// A two-stop gradient: its schema, the base part's, the colour and the
// opacity lists (stops at 0 and 1), then the smoothness. By default blue to
// red with opacity 0x80 -> 0xFF.
Bytes SolidLayout(int schema, int smoothness, uint32_t from = 0x800000FFu, uint32_t to = 0xFFFF0000u,
                  uint64_t colourHalf = kHalf, uint32_t alphaFrom = 0x80u, uint32_t alphaTo = 0xFFu) {
  Layout l;
  l.I32(schema).I32(10);
  l.I32(10).I32(2).Stop(from, kZero, colourHalf).Stop(to, kOne, kHalf);
  l.I32(10).I32(2).Stop(alphaFrom, kZero, kHalf).Stop(alphaTo, kOne, kHalf);
  return l.I32(smoothness).Get();
}

TEST(GradientSolidArchive, StoredLayout) {
  auto g = MakePtr<CGradientSolid>(0x800000FFu, 0xFFFF0000u);
  g->SetSmoothness(37);
  EXPECT_EQ(Store(*g), SolidLayout(11, 37));
}

TEST(GradientSolidArchive, SchemaTenPredatesSmoothness) {
  struct Case {
    int schema;
    int storedSmoothness;
    int smoothness;
  };
  for (const Case& c : {Case{10, 0, 100}, Case{10, 55, 100}, Case{9, 0, 100}, Case{11, 0, 0}, Case{11, 250, 250},
                        Case{11, -4, -4}, Case{12, 7, 7}}) {
    auto g = MakePtr<CGradientSolid>();
    g->SetSmoothness(3);
    EXPECT_EQ(Load(SolidLayout(c.schema, c.storedSmoothness), *g), 0u);
    EXPECT_EQ(g->GetSmoothness(), c.smoothness) << c.schema << " " << c.storedSmoothness;
    EXPECT_TRUE(g->GetRGBStops() == CGradientSolid(0x800000FFu, 0xFFFF0000u).GetRGBStops());
    EXPECT_TRUE(g->GetAlphaStops() == CGradientSolid(0x800000FFu, 0xFFFF0000u).GetAlphaStops());
  }
}

TEST(GradientSolidArchive, RoundTrip) {
  auto g = MakePtr<CGradientSolid>(0x00000000u, 0xFFFFFFFFu);
  g->GetRGBStops().insert(std::next(g->GetRGBStops().begin()), CGradientStop(0x00336699u, 0.3, 0.15));
  g->GetAlphaStops().clear();
  g->SetSmoothness(0);
  auto back = MakePtr<CGradientSolid>(0x11111111u, 0x22222222u);
  EXPECT_EQ(Load(Store(*g), *back), 0u);
  EXPECT_TRUE(*back == *g);
  EXPECT_EQ(back->GetRefCount(), 1);  // the archive's map gave its reference back
  for (double t : {0.0, 0.1, 0.3, 0.31, 0.9}) EXPECT_EQ(back->GetQuadValueFixed(t), g->GetQuadValueFixed(t)) << t;
}

TEST(GradientSolidArchive, RefusedLoadsKeepTheGradient) {
  const Bytes full = SolidLayout(11, 20);
  for (size_t n = 0; n < full.size(); ++n) {
    auto g = MakePtr<CGradientSolid>(0x01020304u, 0x05060708u);
    const CGradientSolid before(*g);
    EXPECT_EQ(LoadCause(Prefix(full, n), *g), CArchiveException::endOfFile) << n;
    EXPECT_TRUE(*g == before) << n;
    EXPECT_EQ(g->GetRefCount(), 1) << n;
  }
  // A colour list that claims more stops than the rest of the archive holds.
  const Bytes absurd = Layout().I32(11).I32(10).I32(10).I32(0x10000000).Stop(0u, kZero, kHalf).Get();
  auto g = MakePtr<CGradientSolid>(0xFFu, 0xFF00u);
  EXPECT_EQ(LoadCause(absurd, *g), CArchiveException::endOfFile);
  EXPECT_EQ(g->GetRGBStops().size(), 2u);
}

TEST(GradientSolidArchive, TheOutermostSessionDecidesWhoSurvives) {
  const Bytes bytes = SolidLayout(11, 100);
  // Without a session of the caller's an unowned gradient survives its load.
  {
    bool destroyed = false;
    auto* g = new CountedSolid(&destroyed);
    Load(bytes, *g);
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(g->GetRefCount(), 0);
    CPtr<CGradient> owner(g);
    owner.Reset();
    EXPECT_TRUE(destroyed);
  }
  // Inside a session, one that nobody takes is released when it ends; one
  // taken by a holder lives on.
  for (bool take : {false, true}) {
    bool destroyed = false;
    CPtr<CGradient> kept;
    Bytes copy(bytes);
    CMemFile file(copy.data(), UINT(copy.size()));
    CArchive ar(&file, CArchive::load);
    {
      Persist::CPtrMapsSession session(ar);
      auto* g = new CountedSolid(&destroyed);
      g->Serialize(ar);
      EXPECT_EQ(g->GetRefCount(), 1);  // the map's
      EXPECT_EQ(session.GetMap().GetHeldCount<Kernel::CRefCount>(), 1);
      if (take) kept = g;
    }
    EXPECT_EQ(destroyed, !take);
    if (take) {
      EXPECT_EQ(kept->GetRefCount(), 1);
    }
  }
}

TEST(GradientFactory, CreatesByClassName) {
  Dynamic::CFactoryMap& factories = Dynamic::CFactoryMap::Instance();
  struct Case {
    const char* name;
    const CRuntimeClass* made;  // null: nothing is made
  };
  for (const Case& c : {Case{"CGradientSolid", RUNTIME_CLASS(CGradientSolid)}, Case{"CGradient", nullptr},
                        Case{"CGradientSpline", RUNTIME_CLASS(CGradientSpline)},
                        Case{"Kernel::CGradientSolid", nullptr}, Case{"cgradientsolid", nullptr}}) {
    CObject* object = static_cast<CObject*>(factories.CreateObject(c.name));
    EXPECT_EQ(object ? object->GetRuntimeClass() : nullptr, c.made) << c.name;
    delete object;
  }
  // The abstract base is known by name, though it cannot be made.
  EXPECT_NE(factories.GetFactory("CGradient"), nullptr);
  EXPECT_STREQ(RUNTIME_CLASS(CGradient)->m_lpszClassName, "CGradient");
  EXPECT_TRUE(RUNTIME_CLASS(CGradientSolid)->IsDerivedFrom(RUNTIME_CLASS(CGradient)));

  EXPECT_STREQ(CGradientSpline().GetRuntimeClassName(), "CGradientSpline");
  auto g = MakePtr<CGradientSolid>();
  EXPECT_STREQ(g->GetRuntimeClassName(), "CGradientSolid");
  EXPECT_TRUE(g->IsValidClassName("CGradientSolid"));
  EXPECT_TRUE(g->IsValidClassName("Kernel::CGradientSolid"));
  EXPECT_FALSE(g->IsValidClassName("CGradient"));
}

// A document stores a gradient as its class name followed by the gradient;
// loading re-creates it through the factory, reads it inside a session and
// asks it for colours.
TEST(GradientEndToEnd, StoredBytesToColourAtAPosition) {
  // The class name as the document writes it, in the archive's narrow
  // string form.
  Bytes bytes = Written([](CArchive& ar) { ar << CStringA("CGradientSolid"); });
  ASSERT_EQ(bytes.size(), 15u);  // length byte and the 14 characters
  EXPECT_EQ(bytes[0], 14);
  // Written before smoothness existed (schema 10): the stored 0 is replaced
  // by the full ease. Red to blue with an opacity ramp from 0x40 to 0xC0 and
  // the colour midpoint at 0.25.
  const Bytes body = SolidLayout(10, 0, 0x000000FFu, 0x00FF0000u, kQuarter, 0x40u, 0xC0u);
  bytes.insert(bytes.end(), body.begin(), body.end());

  CPtr<CGradient> gradient;
  CMemFile file(bytes.data(), UINT(bytes.size()));
  {
    CArchive ar(&file, CArchive::load);
    Persist::CPtrMapsSession session(ar);
    CStringA className;
    ar >> className;
    auto* g = dynamic_cast<CGradient*>(static_cast<CObject*>(Dynamic::CFactoryMap::Instance().CreateObject(className)));
    ASSERT_NE(g, nullptr);
    g->Serialize(ar);
    gradient = g;
  }
  EXPECT_EQ(gradient->GetRefCount(), 1);
  auto* solid = dynamic_cast<CGradientSolid*>(gradient.Get());
  ASSERT_NE(solid, nullptr);
  EXPECT_EQ(solid->GetSmoothness(), 100);
  // At t = 0.25 the colour blend is half done (the midpoint) and the full
  // ease leaves it there: 127.5 on red and blue. The opacity ramp has its
  // midpoint at 0.5, so at 0.25 the ease gives 0x40 + 0x80 * 0.1464466 =
  // 82.745 -> 10591.4 fixed.
  EXPECT_EQ(gradient->GetQuadValueFixed(0.25), Quad(16320, 0, 16320, 10591));
  EXPECT_EQ(solid->GetRGBValue(0.25), 0x800080u);
  EXPECT_EQ(solid->GetAlphaValue(0.25), 83u);
  EXPECT_EQ(solid->GetRGBValue(1.0), 0xFF0000u);
  EXPECT_EQ(solid->GetAlphaValue(1.0), 0xC0u);
}

// --- Property bag ------------------------------------------------------------

std::vector<CString> ChildNames(const CMemoryPropertyBag& bag) {
  std::vector<CString> names;
  for (int i = 0; i < bag.GetChildCount(); ++i) names.push_back(bag.GetChildName(i));
  return names;
}

TEST(GradientSolidProperties, ChildrenThenSmoothnessWhenNotDefault) {
  struct Case {
    int smoothness;
    bool writeDefaults;
    bool writesSmoothness;
  };
  for (const Case& c : {Case{100, false, false}, Case{100, true, true}, Case{0, false, true}, Case{101, false, true}}) {
    auto g = MakePtr<CGradientSolid>(0xFF0000FFu, 0x00FF0000u);
    g->SetSmoothness(c.smoothness);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(c.writeDefaults);
    ASSERT_TRUE(g->GetProperties(&bag));
    EXPECT_EQ(ChildNames(bag), (std::vector<CString>{L"rgb", L"alpha"}));
    ASSERT_EQ(bag.GetAttributeCount(), c.writesSmoothness ? 1 : 0) << c.smoothness;
    if (c.writesSmoothness) {
      EXPECT_EQ(bag.GetAttributeKey(0), L"smoothness");
      EXPECT_EQ(int(bag.GetAttributeValue(0)), c.smoothness);
    }
    // Each list is a row of "_item" children.
    for (int list = 0; list < 2; ++list)
      EXPECT_EQ(ChildNames(*bag.GetChild(list)), (std::vector<CString>{L"_item", L"_item"})) << list;
    CVariant alphaStart;
    ASSERT_TRUE(bag.GetChild(1)->GetChild(0)->GetVariantAttribute(L"val", alphaStart));
    EXPECT_EQ(uint32_t(alphaStart), 0xFFu);
  }
}

TEST(GradientSolidProperties, RoundTripThroughMemoryAndXmlBags) {
  auto g = MakePtr<CGradientSolid>(0x80112233u, 0xFF445566u);
  g->GetRGBStops().front().SetHalfwayPos(0.3);
  g->GetRGBStops().insert(std::next(g->GetRGBStops().begin()), CGradientStop(0x00ABCDEFu, 1.0 / 3.0, 0.123456789));
  g->SetSmoothness(12);
  CMemoryPropertyBag bag;
  ASSERT_TRUE(g->GetProperties(&bag));
  auto back = MakePtr<CGradientSolid>();
  ASSERT_TRUE(back->SetProperties(&bag));
  EXPECT_TRUE(*back == *g);
  // Reading hands the gradient to the bag's holder as well.
  EXPECT_EQ(back->GetRefCount(), 2);

  // Through the document form the doubles keep every bit.
  Kernel::CXmlPropertyBag xml;
  ASSERT_TRUE(g->GetProperties(&xml));
  const CStringA text = xml.SaveToString();
  Kernel::CXmlPropertyBag reread;
  reread.LoadFromString(text.GetString(), size_t(text.GetLength()));
  back = MakePtr<CGradientSolid>();
  ASSERT_TRUE(back->SetProperties(&reread));
  EXPECT_TRUE(*back == *g);
  EXPECT_EQ(back->GetRGBStops().front().GetPos(), 0.0);
  EXPECT_EQ(std::next(back->GetRGBStops().begin())->GetPos(), 1.0 / 3.0);
  EXPECT_EQ(std::next(back->GetRGBStops().begin())->GetHalfwayPos(), 0.123456789);
}

TEST(GradientSolidProperties, MissingPartsKeepOrReset) {
  struct Case {
    const char* name;
    bool resetMissing;
    bool hasRgb, hasAlpha, hasSmoothness;
    size_t rgbStops, alphaStops;
    int smoothness;
  };
  // The gradient starts with two stops in each list and smoothness 40; the
  // bag's lists hold one stop each and its smoothness is 7.
  const Case cases[] = {
      {"everything", false, true, true, true, 1, 1, 7},
      {"nothing, kept", false, false, false, false, 2, 2, 40},
      {"nothing, reset", true, false, false, false, 2, 2, 100},
      {"alpha only", false, false, true, false, 2, 1, 40},
  };
  for (const Case& c : cases) {
    CMemoryPropertyBag bag;
    bag.SetResetMissing(c.resetMissing);
    if (c.hasRgb) bag.AddChild(L"rgb")->AddChild(L"_item")->AddAttribute(L"val", 0x123456u);
    if (c.hasAlpha) bag.AddChild(L"alpha")->AddChild(L"_item")->AddAttribute(L"val", 0x7Fu);
    if (c.hasSmoothness) bag.AddAttribute(L"smoothness", 7);
    auto g = MakePtr<CGradientSolid>(0xFF000000u, 0xFFFFFFFFu);
    g->SetSmoothness(40);
    EXPECT_TRUE(g->SetProperties(&bag)) << c.name;
    EXPECT_EQ(g->GetRGBStops().size(), c.rgbStops) << c.name;
    EXPECT_EQ(g->GetAlphaStops().size(), c.alphaStops) << c.name;
    EXPECT_EQ(g->GetSmoothness(), c.smoothness) << c.name;
  }
  auto g = MakePtr<CGradientSolid>();
  EXPECT_FALSE(g->GetProperties(nullptr));
  EXPECT_FALSE(g->SetProperties(nullptr));
}

}  // namespace
