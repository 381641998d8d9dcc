#include <kernel/MemoryPropertyBag.h>
#include <kernel/Spline.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Kernel::CMemoryPropertyBag;
using Kernel::CSpline;

CSpline Make(const std::vector<double>& x, const std::vector<double>& y) {
  CSpline s;
  s.Set(x.data(), y.data(), int(x.size()));
  return s;
}

std::vector<std::wstring> Keys(const CMemoryPropertyBag& bag) {
  std::vector<std::wstring> keys;
  for (const CString& k : bag.GetAttributeKeys()) keys.emplace_back(k.GetString());
  return keys;
}

// Default values are left out unless the bag wants them; the knot block
// is written only when there are knots, whatever the bag wants.
TEST(SplineProperties, WhichKeysAreWritten) {
  struct Case {
    const char* name;
    bool linear;
    double yp1, ypn;
    bool knots, writeDefaults;
    std::vector<std::wstring> keys;
  };
  const Case cases[] = {
      {"all default", false, 1e300, 1e300, false, false, {}},
      {"all default, write defaults", false, 1e300, 1e300, false, true, {L"linear", L"yp1", L"ypn"}},
      {"knots only", false, 1e300, 1e300, true, false, {L"xyy2"}},
      {"linear", true, 1e300, 1e300, true, false, {L"linear", L"xyy2"}},
      {"clamped low end", false, 0.0, 1e300, true, false, {L"yp1", L"xyy2"}},
      // Other natural values are still not the default value.
      {"other natural value", false, 1e300, 1e31, false, false, {L"ypn"}},
      {"everything", true, -1, 1, true, true, {L"linear", L"yp1", L"ypn", L"xyy2"}},
  };
  for (const Case& c : cases) {
    CSpline s;
    if (c.knots) s = Make({0, 1, 2}, {1, 3, 2});
    s.SetLinear(c.linear);
    s.SetBoundaryConditions(c.yp1, c.ypn);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(c.writeDefaults);
    ASSERT_TRUE(s.GetProperties(&bag)) << c.name;
    EXPECT_EQ(Keys(bag), c.keys) << c.name;
  }
}

TEST(SplineProperties, KnotBlockIsXThenYThenY2) {
  const CSpline s = Make({0, 1, 2}, {0, 1, 0});
  CMemoryPropertyBag bag;
  ASSERT_TRUE(s.GetProperties(&bag));
  CVariant block;
  ASSERT_TRUE(bag.GetVariantAttribute(L"xyy2", block));
  double v[9] = {};
  ASSERT_EQ(block.GetArray(v, 9), 9);
  const double want[9] = {0, 1, 2, 0, 1, 0, 0, -3, 0};
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(v[i], want[i], 1e-14) << i;
}

// Numbers travel through the bag as text with fifteen significant digits.
TEST(SplineProperties, RoundTrip) {
  for (bool writeDefaults : {false, true}) {
    CSpline s = Make({-2, 0.3, 1.7, 5}, {1.0 / 3, -2, 7.25, 0});
    s.SetLinear(true);
    s.SetBoundaryConditions(0.1, 1e300);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(writeDefaults);
    ASSERT_TRUE(s.GetProperties(&bag));
    CSpline back = Make({9}, {9});
    back.SetBoundaryConditions(5, 5);
    ASSERT_TRUE(back.SetProperties(&bag));
    ASSERT_EQ(back.GetCount(), 4);
    EXPECT_TRUE(back.IsLinear());
    EXPECT_EQ(back.GetYP1(), 0.1);
    // A default ypn was not written, so the reader kept its own.
    EXPECT_EQ(back.GetYPN(), writeDefaults ? 1e300 : 5.0);
    EXPECT_EQ(back == s, writeDefaults);
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(back.GetX(i), s.GetX(i), 1e-14 * (1 + std::fabs(s.GetX(i))));
      EXPECT_NEAR(back.GetY(i), s.GetY(i), 1e-14 * (1 + std::fabs(s.GetY(i))));
      EXPECT_NEAR(back.GetY2(i), s.GetY2(i), 1e-13 * (1 + std::fabs(s.GetY2(i))));
    }
  }
}

// Missing keys keep their fields, or reset them when the bag says so; the
// knot block is read either way, so a bag without one leaves no knots.
TEST(SplineProperties, MissingKeys) {
  for (bool reset : {false, true}) {
    CSpline s = Make({0, 1}, {0, 1});
    s.SetLinear(true);
    s.SetBoundaryConditions(2, 3);
    CMemoryPropertyBag bag;
    bag.SetResetMissing(reset);
    bag.AddAttribute(L"ypn", 4.0);
    ASSERT_TRUE(s.SetProperties(&bag));
    EXPECT_EQ(s.IsLinear(), !reset) << reset;
    EXPECT_EQ(s.GetYP1(), reset ? 1e300 : 2.0) << reset;
    EXPECT_EQ(s.GetYPN(), 4.0) << reset;
    EXPECT_EQ(s.GetCount(), 0) << reset;
  }
  EXPECT_FALSE(CSpline().SetProperties(nullptr));
  EXPECT_FALSE(CSpline().GetProperties(nullptr));
}

// The block is taken as it is: whole triples only, second derivatives
// from the bag rather than recomputed.
TEST(SplineProperties, BlockTakenAsGiven) {
  struct Case {
    const char* name;
    std::vector<double> values;
    int n;
  };
  const Case cases[] = {
      {"odd curvature", {0, 1, 2, 0, 0, 0, 0, 50, 0}, 3},
      {"ten values make three knots", {0, 1, 2, 0, 0, 0, 0, 50, 0, 99}, 3},
      {"two values make none", {1, 2}, 0},
      {"empty", {}, 0},
  };
  for (const Case& c : cases) {
    CMemoryPropertyBag bag;
    CVariant block;
    block.SetArray(c.values.data(), int(c.values.size()));
    bag.AddVariantAttribute(L"xyy2", block);
    CSpline s = Make({4, 5}, {6, 7});
    ASSERT_TRUE(s.SetProperties(&bag)) << c.name;
    ASSERT_EQ(s.GetCount(), c.n) << c.name;
    if (c.n == 3) {
      EXPECT_EQ(s.GetY2(1), 50.0);
      EXPECT_DOUBLE_EQ(s.Interpolate(0.5), -3.125);
    }
  }
  // A value that is no array of doubles leaves no knots.
  CMemoryPropertyBag bag;
  bag.AddAttribute(L"xyy2", 3);
  CSpline s = Make({4, 5}, {6, 7});
  ASSERT_TRUE(s.SetProperties(&bag));
  EXPECT_EQ(s.GetCount(), 0);
}

}  // namespace
