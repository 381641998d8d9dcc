#include <kernel/ClassProperty.h>
#include <kernel/Exceptions.h>
#include <kernel/GradientStop.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using Kernel::CGradientStop;
using Kernel::CGradientStopList;
using Kernel::CMemoryPropertyBag;
using namespace gradient_test;

CGradientStopList ListOf(std::initializer_list<CGradientStop> stops) {
  CGradientStopList list;
  for (const CGradientStop& s : stops) list.push_back(s);
  return list;
}

TEST(GradientStop, ConstructorsSettersSwapAndCopy) {
  EXPECT_EQ(FieldsOf(CGradientStop()), StopFields(0xFF000000u, 0.0, 0.5));
  // The byte form keeps nothing above the byte; both forms keep the
  // midpoint unclamped.
  EXPECT_EQ(FieldsOf(CGradientStop(uint8_t(0xAB), 0.3, 0.001)), StopFields(0xABu, 0.3, 0.001));
  EXPECT_EQ(FieldsOf(CGradientStop(0x80112233u, -0.5, 1.5)), StopFields(0x80112233u, -0.5, 1.5));

  CGradientStop s(0x80112233u, 0.0, 0.5);
  s.SetByteValue(0xEE);
  EXPECT_EQ(s.GetDwordValue(), 0x801122EEu);
  EXPECT_EQ(s.GetByteValue(), 0xEE);
  s.SetDwordValue(0x01020304u);
  s.SetPos(7.25);  // no clamp on positions
  EXPECT_EQ(FieldsOf(s), StopFields(0x01020304u, 7.25, 0.5));

  CGradientStop b(0x22u, 0.3, 0.4);
  s.swap(b);
  EXPECT_EQ(FieldsOf(s), StopFields(0x22u, 0.3, 0.4));
  EXPECT_EQ(FieldsOf(b), StopFields(0x01020304u, 7.25, 0.5));
  swap(s, b);
  EXPECT_EQ(s.GetDwordValue(), 0x01020304u);
  CGradientStop c;
  c = b;
  EXPECT_EQ(FieldsOf(c), StopFields(0x22u, 0.3, 0.4));
  EXPECT_EQ(FieldsOf(CGradientStop(c)), FieldsOf(c));
}

TEST(GradientStop, MidpointSetterClamps) {
  struct Case {
    double in, stored;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Case& c : {Case{0.0, 0.01}, Case{-3.0, 0.01}, Case{0.0099, 0.01}, Case{0.01, 0.01}, Case{0.011, 0.011},
                        Case{0.5, 0.5}, Case{0.9899, 0.9899}, Case{0.99, 0.99}, Case{1.5, 0.99}, Case{nan, 0.99}}) {
    CGradientStop s;
    s.SetHalfwayPos(c.in);
    EXPECT_EQ(s.GetHalfwayPos(), c.stored) << c.in;
  }
}

TEST(GradientStop, EqualityTolerances) {
  const CGradientStop base(0x00FF8040u, 0.25, 0.5);
  struct Case {
    const char* name;
    CGradientStop other;
    bool equal;
  };
  const Case cases[] = {
      {"same", CGradientStop(0x00FF8040u, 0.25, 0.5), true},
      {"pos 5e-7", CGradientStop(0x00FF8040u, 0.25 + 5e-7, 0.5), true},
      {"pos -5e-7", CGradientStop(0x00FF8040u, 0.25 - 5e-7, 0.5), true},
      {"pos 2e-6", CGradientStop(0x00FF8040u, 0.25 + 2e-6, 0.5), false},
      {"half 5e-7", CGradientStop(0x00FF8040u, 0.25, 0.5 + 5e-7), true},
      {"half 2e-6", CGradientStop(0x00FF8040u, 0.25, 0.5 - 2e-6), false},
      {"value by one", CGradientStop(0x00FF8041u, 0.25, 0.5), false},
      {"top byte", CGradientStop(0x01FF8040u, 0.25, 0.5), false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(base == c.other, c.equal) << c.name;
    EXPECT_EQ(base != c.other, !c.equal) << c.name;
    EXPECT_EQ(c.other == base, c.equal) << c.name;
  }
}

std::vector<uint32_t> Values(const CGradientStopList& list) {
  std::vector<uint32_t> values;
  for (const CGradientStop& s : list) values.push_back(s.GetDwordValue());
  return values;
}

TEST(GradientStopList, EqualityOrderAndCopies) {
  const CGradientStop s1(0x01u, 0.0, 0.5), s2(0x02u, 0.5, 0.5), s3(0x03u, 1.0, 0.5);
  const CGradientStopList list = ListOf({s1, s2, s3});
  struct Case {
    const char* name;
    CGradientStopList other;
    bool equal;
  };
  const Case cases[] = {
      {"same", ListOf({s1, s2, s3}), true},
      {"within tolerance", ListOf({s1, CGradientStop(0x02u, 0.5 + 5e-7, 0.5 - 5e-7), s3}), true},
      {"other order", ListOf({s1, s3, s2}), false},
      {"shorter", ListOf({s1, s2}), false},
      {"longer", ListOf({s1, s2, s3, s3}), false},
      {"empty", CGradientStopList(), false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(list == c.other, c.equal) << c.name;
    EXPECT_EQ(list != c.other, !c.equal) << c.name;
  }
  EXPECT_TRUE(CGradientStopList() == CGradientStopList());
  CGradientStopList assigned;
  assigned = list;
  EXPECT_TRUE(CGradientStopList(list) == list && assigned == list);
  // No sorting by position: stops stay where they were put.
  assigned.insert(assigned.begin(), CGradientStop(0x04u, 0.9, 0.5));
  EXPECT_EQ(Values(assigned), (std::vector<uint32_t>{4, 1, 2, 3}));
}

// --- Archive ---------------------------------------------------------------

TEST(GradientStopArchive, LayoutsAndLoads) {
  CGradientStop stop(0x80112233u, 0.25, 0.75);
  EXPECT_EQ(Store(stop), Layout().Stop(0x80112233u, kQuarter, kThreeQuarters).Get());

  CGradientStopList list = ListOf({CGradientStop(0x000000FFu, 0.0, 0.5), CGradientStop(uint8_t(7), 1.0, 0.25)});
  EXPECT_EQ(Store(list), Layout().I32(10).I32(2).Stop(0xFFu, kZero, kHalf).Stop(7u, kOne, kQuarter).Get());

  CGradientStopList empty;
  EXPECT_EQ(Store(empty), Layout().I32(10).I32(0).Get());

  // Loading: an out-of-range midpoint comes back unclamped; the schema
  // number is not checked.
  for (int schema : {0, 9, 10, 11, -1}) {
    CGradientStop loaded;
    EXPECT_EQ(Load(Layout().I32(schema).U32(0xDEADBEEFu).Bits(kOne).Bits(kZero).Get(), loaded), 0u);
    EXPECT_EQ(FieldsOf(loaded), StopFields(0xDEADBEEFu, 1.0, 0.0)) << schema;
  }
  list = ListOf(
      {CGradientStop(0x00102030u, 0.0, 0.2), CGradientStop(0xFF000000u, 0.4, 0.5), CGradientStop(0x7Fu, 1.0, 0.99)});
  CGradientStopList back = ListOf({CGradientStop()});
  EXPECT_EQ(Load(Store(list), back), 0u);
  EXPECT_TRUE(back == list);

  // Count 0 empties a list that had stops.
  EXPECT_EQ(Load(Layout().I32(10).I32(0).Get(), back), 0u);
  EXPECT_TRUE(back.empty());
}

TEST(GradientStopArchive, RefusedLoadsKeepTheList) {
  CGradientStopList list = ListOf({CGradientStop(0x01020304u, 0.0, 0.3), CGradientStop(0x05060708u, 1.0, 0.5)});
  const Bytes full = Store(list);
  const CGradientStopList before = ListOf({CGradientStop(0xABu, 0.5, 0.5)});
  for (size_t n = 0; n < full.size(); ++n) {
    CGradientStopList target = before;
    EXPECT_EQ(LoadCause(Prefix(full, n), target), CArchiveException::endOfFile) << n;
    EXPECT_TRUE(target == before) << n;
  }
  CGradientStop stop;
  const Bytes stopBytes = Layout().Stop(1u, kOne, kHalf).Get();
  for (size_t n = 0; n < stopBytes.size(); ++n)
    EXPECT_EQ(LoadCause(Prefix(stopBytes, n), stop), CArchiveException::endOfFile) << n;

  // Absurd counts are refused before anything is read.
  struct Case {
    const char* name;
    int32_t count;
    int stopsPresent;
    int cause;
  };
  const Case cases[] = {
      {"largest count, no data", 0x7FFFFFFF, 0, CArchiveException::endOfFile},
      {"a million, one stop", 1000000, 1, CArchiveException::endOfFile},
      {"one more than present", 3, 2, CArchiveException::endOfFile},
      {"negative", -1, 2, CArchiveException::badIndex},
      {"most negative", INT32_MIN, 0, CArchiveException::badIndex},
  };
  for (const Case& c : cases) {
    Layout layout;
    layout.I32(10).I32(c.count);
    for (int i = 0; i < c.stopsPresent; ++i) layout.Stop(uint32_t(i), kZero, kHalf);
    CGradientStopList target = before;
    EXPECT_EQ(LoadCause(layout.Get(), target), c.cause) << c.name;
    EXPECT_EQ(Values(target), std::vector<uint32_t>{0xABu}) << c.name;
  }
  // Exactly as many stops as the count says is fine, with trailing bytes left.
  const Bytes exact = Layout().I32(10).I32(2).Stop(1u, kZero, kHalf).Stop(2u, kOne, kHalf).U32(99).Get();
  list.clear();
  EXPECT_EQ(Load(exact, list), 4u);
  EXPECT_EQ(Values(list), (std::vector<uint32_t>{1, 2}));
}

// --- Property bag ------------------------------------------------------------

std::vector<CString> Keys(const CMemoryPropertyBag& bag) { return bag.GetAttributeKeys(); }

TEST(GradientStopProperties, MidpointWrittenOnlyWhenNeeded) {
  struct Case {
    double halfway;
    bool writeDefaults;
    std::vector<CString> keys;
  };
  const Case cases[] = {
      {0.5, false, {L"val", L"pos"}},
      {0.5, true, {L"val", L"pos", L"half"}},
      {0.3, false, {L"val", L"pos", L"half"}},
      {0.5 + 1e-9, false, {L"val", L"pos", L"half"}},
  };
  for (const Case& c : cases) {
    const CGradientStop stop(0xFF00FF00u, 0.75, c.halfway);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(c.writeDefaults);
    ASSERT_TRUE(stop.GetProperties(&bag));
    EXPECT_EQ(Keys(bag), c.keys) << c.halfway << " " << c.writeDefaults;
    EXPECT_EQ(uint32_t(bag.GetAttributeValue(0)), 0xFF00FF00u);
    EXPECT_EQ(double(bag.GetAttributeValue(1)), 0.75);
  }
}

TEST(GradientStopProperties, MissingKeysResetOnlyWhenAsked) {
  struct Case {
    const char* name;
    bool resetMissing;
    bool hasVal, hasPos, hasHalf;
    StopFields stored;
  };
  // The stop starts as (0x12345678, 0.6, 0.7); the bag holds (0xAA, 0.25, 0.3)
  // for the keys it has.
  const Case cases[] = {
      {"all present", false, true, true, true, {0xAAu, 0.25, 0.3}},
      {"none, kept", false, false, false, false, {0x12345678u, 0.6, 0.7}},
      {"none, reset", true, false, false, false, {0u, 0.0, 0.5}},
      {"val missing, reset", true, false, true, true, {0u, 0.25, 0.3}},
      {"half missing, kept", false, true, true, false, {0xAAu, 0.25, 0.7}},
  };
  for (const Case& c : cases) {
    CMemoryPropertyBag bag;
    bag.SetResetMissing(c.resetMissing);
    if (c.hasVal) bag.AddAttribute(L"val", 0xAAu);
    if (c.hasPos) bag.AddAttribute(L"pos", 0.25);
    if (c.hasHalf) bag.AddAttribute(L"half", 0.3);
    CGradientStop stop(0x12345678u, 0.6, 0.7);
    EXPECT_TRUE(stop.SetProperties(&bag)) << c.name;
    EXPECT_EQ(FieldsOf(stop), c.stored) << c.name;
  }
  CGradientStop stop;
  EXPECT_FALSE(stop.SetProperties(nullptr));
  EXPECT_FALSE(stop.GetProperties(nullptr));
}

TEST(GradientStopListProperties, OneItemChildPerStopInOrder) {
  CGradientStopList empty;
  CMemoryPropertyBag emptyBag;
  EXPECT_TRUE(empty.GetProperties(&emptyBag));
  EXPECT_EQ(emptyBag.GetChildCount(), 0);
  EXPECT_EQ(emptyBag.GetAttributeCount(), 0);

  const CGradientStopList list = ListOf({CGradientStop(0x00000001u, 0.0, 0.5), CGradientStop(0x80000002u, 0.4, 0.2),
                                         CGradientStop(0xFF000003u, 1.0, 0.5)});
  CMemoryPropertyBag bag;
  ASSERT_TRUE(list.GetProperties(&bag));
  ASSERT_EQ(bag.GetChildCount(), 3);
  EXPECT_EQ(bag.GetAttributeCount(), 0);
  const uint32_t values[] = {1u, 0x80000002u, 0xFF000003u};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(bag.GetChildName(i), L"_item");
    CVariant v;
    ASSERT_TRUE(bag.GetChild(i)->GetVariantAttribute(L"val", v));
    EXPECT_EQ(uint32_t(v), values[i]);
    EXPECT_EQ(bag.GetChild(i)->GetAttributeCount(), i == 1 ? 3 : 2);
  }

  CGradientStopList back = ListOf({CGradientStop(0x99u, 0.5, 0.5)});
  EXPECT_TRUE(back.SetProperties(&bag));
  EXPECT_TRUE(back == list);

  // Reading an empty bag empties the list.
  EXPECT_TRUE(back.SetProperties(&emptyBag));
  EXPECT_TRUE(back.empty());
}

TEST(GradientStopListProperties, ItemsStartFromTheDefaultStop) {
  // Each item starts as (0xFF000000, 0, 0.5): a key it lacks keeps that
  // default, or becomes the bag's 0 / 0.0 / 0.5 when missing keys reset.
  for (bool reset : {false, true}) {
    CMemoryPropertyBag bag;
    bag.SetResetMissing(reset);
    bag.AddChild(L"_item")->AddAttribute(L"pos", 0.5);
    bag.AddChild(L"other")->AddAttribute(L"val", 5u);  // not an item
    bag.AddChild(L"_item")->AddAttribute(L"val", 7u);
    CGradientStopList list;
    EXPECT_TRUE(list.SetProperties(&bag));
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(FieldsOf(list.front()), StopFields(reset ? 0u : 0xFF000000u, 0.5, 0.5));
    EXPECT_EQ(FieldsOf(list.back()), StopFields(7u, 0.0, 0.5));
  }
  CGradientStopList list;
  EXPECT_FALSE(list.SetProperties(nullptr));
  EXPECT_FALSE(list.GetProperties(nullptr));
}

}  // namespace
