#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/CString.h>
#include <kernel/Dynamic.h>
#include <kernel/Exceptions.h>
#include <kernel/Gradient.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Persist.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <vector>

#include "GradientTestSupport.h"

namespace {

using Kernel::CGradient;
using Kernel::CGradientSolid;
using Kernel::CGradientSpline;
using Kernel::CGradientStop;
using Kernel::CMemoryPropertyBag;
using Kernel::CPtr;
using Kernel::MakePtr;
using namespace gradient_test;

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
