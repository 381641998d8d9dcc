#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Spline.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <tuple>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using Kernel::CMemoryPropertyBag;
using Kernel::CSpline;
using namespace gradient_test;

// Count, kind and end slopes, compared exactly.
std::tuple<int, bool, double, double> Shape(const CSpline& s) {
  return {s.GetCount(), s.IsLinear(), s.GetYP1(), s.GetYPN()};
}

TEST(SplineArchive, ExactBytes) {
  CSpline s = MakeSpline({0, 1, 2}, {0, 1, 0}, true);
  EXPECT_EQ(Store(s), Layout().I32(12).U8(1).I32(3).F64s({0, 1, 2, 0, 1, 0, 0, -3, 0}).F64(1e300).F64(1e300).Get());
  CSpline empty;
  empty.SetBoundaryConditions(-2.5, 0.125);
  EXPECT_EQ(Store(empty), Layout().I32(12).U8(0).I32(0).F64(-2.5).F64(0.125).Get());
}

TEST(SplineArchive, RoundTripIsExact) {
  CSpline s = MakeSpline({-3, -1, 0.1, 2, 9}, {1e-3, 5, -7, 2.25, 0});
  s.SetBoundaryConditions(0.7, -1.3);
  CSpline back = MakeSpline({5, 6}, {1, 1}, true);
  EXPECT_EQ(Load(Store(s), back), 0u);
  ASSERT_EQ(back, s);
  EXPECT_EQ(Shape(back), std::make_tuple(5, false, 0.7, -1.3));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(back.GetY2(i), s.GetY2(i));
  for (double t = -4; t < 10; t += 0.3) EXPECT_EQ(back.Interpolate(t), s.Interpolate(t)) << t;
  EXPECT_EQ(Store(back), Store(s));
}

// Stored second derivatives are used as they are, even when they are not
// what the knots would give: a curve through three zeros with y2 = {0, 50,
// 0} dips to (-0.375 * 50) / 6 = -3.125 halfway between the first knots.
TEST(SplineArchive, StoredCurvatureIsNotRecomputed) {
  CSpline s;
  Load(Layout().I32(12).U8(0).I32(3).F64s({0, 1, 2, 0, 0, 0, 0, 50, 0}).F64(1e300).F64(1e300).Get(), s);
  ASSERT_EQ(s.GetCount(), 3);
  EXPECT_EQ(s.GetY2(1), 50.0);
  EXPECT_DOUBLE_EQ(s.Interpolate(0.5), -3.125);
  EXPECT_DOUBLE_EQ(s.Interpolate(1.5), -3.125);
  // The natural spline through the same knots is flat: equality ignores y2.
  const CSpline flat = MakeSpline({0, 1, 2}, {0, 0, 0});
  EXPECT_EQ(flat.Interpolate(0.5), 0.0);
  EXPECT_TRUE(s == flat);
  // Copies keep the stored values too; an edit recomputes them.
  EXPECT_EQ(CSpline(s).GetY2(1), 50.0);
  s.SetY(0, 0.0);
  EXPECT_EQ(s.GetY2(1), 0.0);
}

// Older schemas lack fields; the spline keeps its current values for them.
TEST(SplineArchive, OlderSchemasKeepCurrentValues) {
  struct Case {
    const char* name;
    Layout bytes;
    bool linear;
    double yp1, ypn;
  };
  const std::vector<double> knots = {0, 4, 1, 3, 0, 0};  // x, y, y2
  const Case cases[] = {
      {"10 keeps flag and ends", Layout().I32(10).I32(2).F64s(knots), true, -0.5, 0.5},
      {"11 reads flag, keeps ends", Layout().I32(11).U8(0).I32(2).F64s(knots), false, -0.5, 0.5},
      {"11 linear flag", Layout().I32(11).U8(1).I32(2).F64s(knots), true, -0.5, 0.5},
      {"12 reads all", Layout().I32(12).U8(0).I32(2).F64s(knots).F64(1e300).F64(2.0), false, 1e300, 2.0},
  };
  for (const Case& c : cases) {
    CSpline s = MakeSpline({7, 8, 9}, {1, 2, 3}, true);
    s.SetBoundaryConditions(-0.5, 0.5);
    EXPECT_EQ(Load(c.bytes.Get(), s), 0u) << c.name;
    EXPECT_EQ(Shape(s), std::make_tuple(2, c.linear, c.yp1, c.ypn)) << c.name;
    EXPECT_EQ(s.GetX(1), 4.0) << c.name;
    EXPECT_EQ(s.GetY(0), 1.0) << c.name;
    // Not recomputed on load, even though the kept ends would curve it.
    EXPECT_EQ(s.GetY2(0), 0.0) << c.name;
    EXPECT_EQ(s.Interpolate(2.0), 2.0) << c.name;
  }
}

// Every proper prefix of a stored spline is refused, and the spline that
// was being loaded is left empty, not half-read.
TEST(SplineArchive, TruncatedAtEveryLengthThrows) {
  CSpline s = MakeSpline({0, 1, 3, 4}, {2, 0, 5, 1});
  s.SetBoundaryConditions(1, 2);
  const Bytes full = Store(s);
  ASSERT_EQ(full.size(), 4u + 1 + 4 + 12 * 8 + 16);
  for (size_t len = 0; len < full.size(); ++len) {
    CSpline target = MakeSpline({5, 6, 7}, {1, 2, 3}, true);
    target.SetBoundaryConditions(-4, 4);
    EXPECT_EQ(LoadCause(Prefix(full, len), target), CArchiveException::endOfFile) << len;
    // Nothing read is applied, not even the knots once only the end
    // slopes are missing.
    EXPECT_EQ(Shape(target), std::make_tuple(0, true, -4.0, 4.0)) << len;
    EXPECT_EQ(target.Interpolate(6.0), 0.0) << len;
  }
}

// Counts are checked against what the archive still holds before anything
// is read or allocated: the refusal comes with the archive standing just
// after the count, its last bytes unread.
TEST(SplineArchive, AbsurdCountsAreRefusedUpFront) {
  struct Case {
    const char* name;
    int32_t count;
    int tail;  // bytes after the count
    int cause;
  };
  const Case cases[] = {
      {"largest count, 10 bytes", 0x7FFFFFFF, 10, CArchiveException::endOfFile},
      {"one knot too many", 2, 47, CArchiveException::endOfFile},
      {"negative", -1, 64, CArchiveException::badIndex},
      {"most negative", int32_t(0x80000000u), 64, CArchiveException::badIndex},
  };
  for (const Case& c : cases) {
    Layout b;
    b.I32(12).U8(0).I32(c.count);
    for (int i = 0; i < c.tail; ++i) b.U8(BYTE(i));
    Bytes bytes = b.Get();
    CMemFile file(bytes.data(), UINT(bytes.size()));
    CSpline s = MakeSpline({1, 2}, {3, 4});
    try {
      CArchive ar(&file, CArchive::load);
      s.Serialize(ar);
      ADD_FAILURE() << c.name;
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, c.cause) << c.name;
    }
    EXPECT_EQ(s.GetCount(), 0) << c.name;
    if (c.cause == CArchiveException::endOfFile) {
      EXPECT_EQ(file.GetPosition(), 9u) << c.name;
    }
  }
}

// Archives whose length cannot be asked for still load, and still refuse
// short data.
class UnsizedFile : public CMemFile {
 public:
  using CMemFile::CMemFile;
  ULONGLONG GetLength() const override { throw CFileException(CFileException::genericException); }
};

TEST(SplineArchive, FileWithoutLength) {
  CSpline s = MakeSpline({0, 1, 3}, {2, 0, 5});
  Bytes bytes = Store(s);
  {
    UnsizedFile file(bytes.data(), UINT(bytes.size()));
    CArchive ar(&file, CArchive::load);
    CSpline back;
    back.Serialize(ar);
    EXPECT_EQ(back, s);
  }
  Bytes huge = Layout().I32(12).U8(0).I32(0x7FFFFFFF).F64(1.0).Get();
  UnsizedFile file(huge.data(), UINT(huge.size()));
  CArchive ar(&file, CArchive::load);
  CSpline back = s;
  EXPECT_THROW(back.Serialize(ar), CArchiveException);
  EXPECT_EQ(back.GetCount(), 0);
}

// --- Property bag ------------------------------------------------------------

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
    if (c.knots) s = MakeSpline({0, 1, 2}, {1, 3, 2});
    s.SetLinear(c.linear);
    s.SetBoundaryConditions(c.yp1, c.ypn);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(c.writeDefaults);
    ASSERT_TRUE(s.GetProperties(&bag)) << c.name;
    EXPECT_EQ(Keys(bag), c.keys) << c.name;
  }
}

TEST(SplineProperties, KnotBlockIsXThenYThenY2) {
  const CSpline s = MakeSpline({0, 1, 2}, {0, 1, 0});
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
    CSpline s = MakeSpline({-2, 0.3, 1.7, 5}, {1.0 / 3, -2, 7.25, 0}, true);
    s.SetBoundaryConditions(0.1, 1e300);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(writeDefaults);
    ASSERT_TRUE(s.GetProperties(&bag));
    CSpline back = MakeSpline({9}, {9});
    back.SetBoundaryConditions(5, 5);
    ASSERT_TRUE(back.SetProperties(&bag));
    // A default ypn was not written, so the reader kept its own.
    ASSERT_EQ(Shape(back), std::make_tuple(4, true, 0.1, writeDefaults ? 1e300 : 5.0));
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
    CSpline s = MakeSpline({0, 1}, {0, 1}, true);
    s.SetBoundaryConditions(2, 3);
    CMemoryPropertyBag bag;
    bag.SetResetMissing(reset);
    bag.AddAttribute(L"ypn", 4.0);
    ASSERT_TRUE(s.SetProperties(&bag));
    EXPECT_EQ(Shape(s), std::make_tuple(0, !reset, reset ? 1e300 : 2.0, 4.0)) << reset;
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
    CSpline s = MakeSpline({4, 5}, {6, 7});
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
  CSpline s = MakeSpline({4, 5}, {6, 7});
  ASSERT_TRUE(s.SetProperties(&bag));
  EXPECT_EQ(s.GetCount(), 0);
}

}  // namespace
