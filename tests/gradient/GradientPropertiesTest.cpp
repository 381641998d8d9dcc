#include <kernel/Gradient.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Kernel::CGradientSolid;
using Kernel::CGradientStop;
using Kernel::CMemoryPropertyBag;
using Kernel::CPtr;
using Kernel::MakePtr;

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
    for (int list = 0; list < 2; ++list) {
      const CMemoryPropertyBag* child = bag.GetChild(list);
      ASSERT_EQ(child->GetChildCount(), 2);
      EXPECT_EQ(child->GetChildName(0), L"_item");
      EXPECT_EQ(child->GetChildName(1), L"_item");
    }
    CVariant alphaStart;
    ASSERT_TRUE(bag.GetChild(1)->GetChild(0)->GetVariantAttribute(L"val", alphaStart));
    EXPECT_EQ(uint32_t(alphaStart), 0xFFu);
  }
}

TEST(GradientSolidProperties, RoundTripThroughABag) {
  auto g = MakePtr<CGradientSolid>(0x80112233u, 0xFF445566u);
  g->GetRGBStops().front().SetHalfwayPos(0.3);
  g->SetSmoothness(12);
  CMemoryPropertyBag bag;
  ASSERT_TRUE(g->GetProperties(&bag));
  CPtr<CGradientSolid> back = MakePtr<CGradientSolid>();
  ASSERT_TRUE(back->SetProperties(&bag));
  EXPECT_TRUE(*back == *g);
  // Reading hands the gradient to the bag's holder as well.
  EXPECT_EQ(back->GetRefCount(), 2);
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

TEST(GradientSolidProperties, XmlBagRoundTrip) {
  // Through the document form the doubles keep every bit.
  auto g = MakePtr<CGradientSolid>(0x00000000u, 0xFFFFFFFFu);
  g->GetRGBStops().insert(std::next(g->GetRGBStops().begin()), CGradientStop(0x00ABCDEFu, 1.0 / 3.0, 0.123456789));
  g->SetSmoothness(0);
  Kernel::CXmlPropertyBag bag;
  ASSERT_TRUE(g->GetProperties(&bag));
  const CStringA text = bag.SaveToString();
  Kernel::CXmlPropertyBag reread;
  reread.LoadFromString(text.GetString(), size_t(text.GetLength()));
  auto back = MakePtr<CGradientSolid>();
  ASSERT_TRUE(back->SetProperties(&reread));
  EXPECT_TRUE(*back == *g);
  EXPECT_EQ(back->GetRGBStops().begin()->GetPos(), 0.0);
  EXPECT_EQ(std::next(back->GetRGBStops().begin())->GetPos(), 1.0 / 3.0);
}

}  // namespace
