#include <kernel/Matrix.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

namespace {

using Kernel::CMatrix;
using Kernel::CMemoryPropertyBag;

std::pair<int, int> Shape(const CMatrix& m) { return {m.GetRowCount(), m.GetColCount()}; }

CMatrix Filled(int cols, int rows, double start) {
  CMatrix m(cols, rows);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) m.SetAt(r, c, start + r * 10 + c + 0.1);
  return m;
}

TEST(MatrixProperties, WritesCountsThenRowMajorData) {
  const CMatrix m = Filled(3, 2, -1e-3);
  CMemoryPropertyBag bag;
  ASSERT_TRUE(m.GetProperties(&bag));
  ASSERT_EQ(bag.GetAttributeKeys(), (std::vector<CString>{L"col", L"row", L"MatrixData"}));
  EXPECT_EQ(int(bag.GetAttributeValue(0)), 3);
  EXPECT_EQ(int(bag.GetAttributeValue(1)), 2);
  double data[6] = {};
  ASSERT_EQ(bag.GetAttributeValue(2).GetArray(data, 6), 6);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(data[i], m.GetAt(i / 3, i % 3)) << i;
}

// Array elements travel as text with fifteen significant digits, so values
// come back to within that precision, not bit for bit.
TEST(MatrixProperties, RoundTripsToFifteenDigits) {
  struct Case {
    int cols, rows;
    double start;
  };
  for (const Case& c : {Case{1, 1, 0.0}, Case{3, 2, -1e300}, Case{2, 5, 1.0 / 3.0}, Case{4, 4, 5e-324}}) {
    const CMatrix m = Filled(c.cols, c.rows, c.start);
    CMemoryPropertyBag bag;
    ASSERT_TRUE(m.GetProperties(&bag));
    CMatrix back(1, 1);
    ASSERT_TRUE(back.SetProperties(&bag));
    ASSERT_EQ(Shape(back), std::pair(c.rows, c.cols));
    for (int r = 0; r < c.rows; ++r)
      for (int col = 0; col < c.cols; ++col)
        EXPECT_NEAR(back.GetAt(r, col), m.GetAt(r, col), 1e-14 * std::fabs(m.GetAt(r, col)));
  }
}

TEST(MatrixProperties, EmptyShapesWriteNoData) {
  CMatrix empty;
  CMemoryPropertyBag bag;
  ASSERT_TRUE(empty.GetProperties(&bag));
  EXPECT_EQ(bag.GetAttributeCount(), 2);
  CMatrix back = Filled(2, 2, 0);
  ASSERT_TRUE(back.SetProperties(&bag));
  EXPECT_EQ(Shape(back), Shape(empty));
}

TEST(MatrixProperties, MissingCountsAndBadData) {
  // Missing counts read as -1 only when the bag resets missing keys.
  {
    CMemoryPropertyBag bag;
    bag.SetResetMissing(true);
    CMatrix m = Filled(2, 2, 0);
    EXPECT_TRUE(m.SetProperties(&bag));
    EXPECT_EQ(Shape(m), std::pair(-1, -1));
  }
  {
    // Counts kept, data replaced.
    CMemoryPropertyBag bag;
    const double values[4] = {1, 2, 3, 4};
    CVariant v;
    v.SetArray(values, 4);
    bag.AddVariantAttribute(L"MatrixData", v);
    CMatrix m = Filled(2, 2, 0);
    EXPECT_TRUE(m.SetProperties(&bag));
    EXPECT_EQ(m.GetAt(1, 0), 3.0);
  }
  // Data that does not match the stated shape, or is absent, leaves no shape.
  for (int count : {-1, 0, 5, 7}) {
    CMemoryPropertyBag bag;
    bag.AddAttribute(L"col", 3);
    bag.AddAttribute(L"row", 2);
    if (count >= 0) {
      std::vector<double> values(size_t(count), 1.5);
      CVariant v;
      v.SetArray(values.data(), count);
      bag.AddVariantAttribute(L"MatrixData", v);
    }
    CMatrix m = Filled(2, 2, 0);
    EXPECT_FALSE(m.SetProperties(&bag)) << count;
    EXPECT_EQ(Shape(m), std::pair(-1, -1)) << count;
  }
}

TEST(MatrixProperties, ClassNameIsValidForTheBag) {
  const CMatrix m;
  EXPECT_TRUE(m.IsValidClassName("CMatrix"));
  EXPECT_TRUE(m.IsValidClassName("Kernel::CMatrix"));
  EXPECT_FALSE(m.IsValidClassName("SCObject"));
}

}  // namespace
