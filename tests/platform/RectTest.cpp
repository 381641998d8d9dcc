#include <kernel/CRect.h>
#include <kernel/WinTypes.h>

#include <gtest/gtest.h>

#include <climits>
#include <ostream>
#include <utility>

// Found by argument lookup: RECT lives in the global namespace.
static std::ostream& operator<<(std::ostream& os, const RECT& r) {
  return os << "(" << r.left << "," << r.top << "," << r.right << "," << r.bottom << ")";
}

namespace {

bool Same(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(RectPrimitives, IntersectUnionAndSubtract) {
  using Op = BOOL (*)(RECT*, const RECT*, const RECT*);
  struct Case {
    const char* op;
    Op fn;
    RECT a, b, expect;
    BOOL result;
  };
  const RECT src{0, 0, 10, 10};
  const Case cases[] = {
      {"and", IntersectRect, {0, 0, 10, 10}, {5, 5, 15, 15}, {5, 5, 10, 10}, TRUE},
      {"and", IntersectRect, {0, 0, 10, 10}, {2, 3, 4, 5}, {2, 3, 4, 5}, TRUE},
      // Touching edges share no pixel: right and bottom are outside.
      {"and", IntersectRect, {0, 0, 10, 10}, {10, 0, 20, 10}, {0, 0, 0, 0}, FALSE},
      {"and", IntersectRect, {0, 0, 10, 10}, {0, 10, 10, 20}, {0, 0, 0, 0}, FALSE},
      {"and", IntersectRect, {0, 0, 10, 10}, {20, 20, 30, 30}, {0, 0, 0, 0}, FALSE},
      // An empty input gives the all-zero rectangle even when it lies inside.
      {"and", IntersectRect, {0, 0, 10, 10}, {2, 2, 2, 8}, {0, 0, 0, 0}, FALSE},
      {"and", IntersectRect, {5, 5, 1, 1}, {0, 0, 10, 10}, {0, 0, 0, 0}, FALSE},
      {"and", IntersectRect, {-10, -10, -1, -1}, {-5, -20, 0, -5}, {-5, -10, -1, -5}, TRUE},
      {"or", UnionRect, {0, 0, 10, 10}, {5, 5, 15, 15}, {0, 0, 15, 15}, TRUE},
      {"or", UnionRect, {0, 0, 10, 10}, {20, 30, 25, 35}, {0, 0, 25, 35}, TRUE},
      // Empty rectangles do not stretch the union, wherever they lie.
      {"or", UnionRect, {0, 0, 10, 10}, {100, 100, 100, 200}, {0, 0, 10, 10}, TRUE},
      {"or", UnionRect, {-50, -50, -50, -50}, {1, 2, 3, 4}, {1, 2, 3, 4}, TRUE},
      {"or", UnionRect, {5, 5, 5, 9}, {7, 7, 3, 3}, {0, 0, 0, 0}, FALSE},
      // Subtracting cuts only when the rest is one rectangle. A full-height
      // band at the left or right edge, or a full-width one at the top or
      // bottom: cut.
      {"minus", SubtractRect, src, {-5, -5, 4, 15}, {4, 0, 10, 10}, TRUE},
      {"minus", SubtractRect, src, {6, 0, 10, 10}, {0, 0, 6, 10}, TRUE},
      {"minus", SubtractRect, src, {0, -1, 10, 3}, {0, 3, 10, 10}, TRUE},
      {"minus", SubtractRect, src, {-3, 7, 13, 20}, {0, 0, 10, 7}, TRUE},
      // A band through the middle would leave two pieces: unchanged.
      {"minus", SubtractRect, src, {3, -1, 6, 11}, src, TRUE},
      {"minus", SubtractRect, src, {-1, 4, 11, 6}, src, TRUE},
      // A corner or a hole: unchanged.
      {"minus", SubtractRect, src, {5, 5, 15, 15}, src, TRUE},
      {"minus", SubtractRect, src, {2, 2, 8, 8}, src, TRUE},
      // A band touching one edge but not spanning the other dimension: unchanged.
      {"minus", SubtractRect, src, {0, 0, 4, 9}, src, TRUE},
      // No overlap at all, or an empty subtrahend: unchanged.
      {"minus", SubtractRect, src, {20, 20, 30, 30}, src, TRUE},
      {"minus", SubtractRect, src, {10, 0, 20, 10}, src, TRUE},
      {"minus", SubtractRect, src, {0, 0, 0, 0}, src, TRUE},
      // Covered completely: empty, FALSE.
      {"minus", SubtractRect, src, {0, 0, 10, 10}, {0, 0, 0, 0}, FALSE},
      {"minus", SubtractRect, src, {-1, -1, 11, 11}, {0, 0, 0, 0}, FALSE},
      // An empty source stays empty and reports FALSE.
      {"minus", SubtractRect, {4, 4, 4, 8}, {0, 0, 1, 1}, {0, 0, 0, 0}, FALSE},
  };
  for (const Case& c : cases) {
    RECT out{99, 99, 99, 99};
    EXPECT_EQ(c.fn(&out, &c.a, &c.b), c.result) << c.a << " " << c.op << " " << c.b;
    EXPECT_TRUE(Same(out, c.expect)) << c.a << " " << c.op << " " << c.b << " -> " << out;
  }
  // The destination may be an input.
  RECT r{0, 0, 10, 10}, other{5, 5, 15, 15};
  IntersectRect(&r, &r, &other);
  EXPECT_TRUE(Same(r, RECT{5, 5, 10, 10}));
}

TEST(RectPrimitives, SmallOnes) {
  RECT r;
  EXPECT_TRUE(SetRect(&r, 1, 2, 3, 4));
  EXPECT_TRUE(Same(r, RECT{1, 2, 3, 4}));
  EXPECT_TRUE(OffsetRect(&r, -1, 10));
  EXPECT_TRUE(Same(r, RECT{0, 12, 2, 14}));
  EXPECT_TRUE(InflateRect(&r, 2, -1));
  EXPECT_TRUE(Same(r, RECT{-2, 13, 4, 13}));
  EXPECT_TRUE(IsRectEmpty(&r));
  EXPECT_TRUE(IsRectEmpty(nullptr));
  RECT c;
  EXPECT_TRUE(CopyRect(&c, &r));
  EXPECT_TRUE(EqualRect(&c, &r));
  EXPECT_FALSE(EqualRect(&c, nullptr));
  EXPECT_TRUE(SetRectEmpty(&c));
  EXPECT_TRUE(Same(c, RECT{0, 0, 0, 0}));

  const RECT box{0, 0, 10, 5};
  const std::pair<POINT, BOOL> pts[] = {{{0, 0}, TRUE},  {{9, 4}, TRUE},   {{10, 4}, FALSE},
                                        {{9, 5}, FALSE}, {{-1, 0}, FALSE}, {{5, -1}, FALSE}};
  for (const auto& [p, in] : pts) EXPECT_EQ(PtInRect(&box, p), in) << p.x << "," << p.y;
}

TEST(CRectClass, MembersAndOperators) {
  CRect r(10, 20, 40, 60);
  EXPECT_EQ(r.Width(), 30);
  EXPECT_EQ(r.Height(), 40);
  EXPECT_EQ(r.Size(), CSize(30, 40));
  EXPECT_EQ(r.TopLeft(), CPoint(10, 20));
  EXPECT_EQ(r.BottomRight(), CPoint(40, 60));
  EXPECT_EQ(r.CenterPoint(), CPoint(25, 40));
  r.TopLeft() = CPoint(0, 0);  // a reference into the rectangle
  EXPECT_EQ(r, CRect(0, 0, 40, 60));

  CRect n(5, 5, 1, 2);
  n.NormalizeRect();
  EXPECT_EQ(n, CRect(1, 2, 5, 5));
  EXPECT_TRUE(CRect().IsRectNull());
  EXPECT_TRUE(CRect(3, 3, 3, 9).IsRectEmpty());
  EXPECT_FALSE(CRect(3, 3, 3, 9).IsRectNull());

  CRect m(0, 0, 10, 10);
  m += CPoint(1, 2);
  EXPECT_EQ(m, CRect(1, 2, 11, 12));
  m -= CSize(1, 2);
  EXPECT_EQ(m, CRect(0, 0, 10, 10));
  EXPECT_EQ(m + CPoint(5, 5), CRect(5, 5, 15, 15));
  EXPECT_EQ(m & CRect(5, 5, 20, 20), CRect(5, 5, 10, 10));
  EXPECT_EQ(m | CRect(5, 5, 20, 20), CRect(0, 0, 20, 20));
  EXPECT_EQ(m & CRect(20, 20, 30, 30), CRect(0, 0, 0, 0));
  m.InflateRect(1, 2);
  EXPECT_EQ(m, CRect(-1, -2, 11, 12));
  m.DeflateRect(1, 2, 3, 4);
  EXPECT_EQ(m, CRect(0, 0, 8, 8));
  m.MoveToXY(100, 200);
  EXPECT_EQ(m, CRect(100, 200, 108, 208));

  CRect d;
  EXPECT_TRUE(d.SubtractRect(CRect(0, 0, 10, 10), CRect(0, 0, 3, 10)));
  EXPECT_EQ(d, CRect(3, 0, 10, 10));
  EXPECT_EQ(CPoint(5, 7) - CPoint(2, 3), CSize(3, 4));
  EXPECT_EQ(CPoint(5, 7) + CSize(1, 1), CPoint(6, 8));
}

TEST(MulDiv, RoundsHalfAwayFromZeroAndReportsFailureAsMinusOne) {
  struct Case {
    int n, num, den, expect;
  };
  const Case cases[] = {
      {10, 3, 2, 15},
      {5, 1, 2, 3},
      {-5, 1, 2, -3},
      {5, -1, 2, -3},
      {5, 1, -2, -3},
      {-5, -1, -2, -3},
      {7, 1, 3, 2},
      {8, 1, 3, 3},
      {255, 100, 255, 100},
      {1, 1, 0, -1},
      {INT_MAX, 2, 1, -1},
      {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
      {INT_MIN, 1, 1, INT_MIN},
      {65536, 65536, 65536, 65536},
      {-1, 1, 3, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(MulDiv(c.n, c.num, c.den), c.expect) << c.n << "*" << c.num << "/" << c.den;
}

TEST(WinTypes, ColourMacros) {
  constexpr COLORREF c = RGB(0x12, 0x34, 0x56);
  static_assert(c == 0x563412u);
  EXPECT_EQ(GetRValue(c), 0x12);
  EXPECT_EQ(GetGValue(c), 0x34);
  EXPECT_EQ(GetBValue(c), 0x56);
  EXPECT_EQ(GetRValue(0xFF000001u), 1);  // the top byte is not a channel
}

}  // namespace
