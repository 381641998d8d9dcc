#include <kernel/RectList.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kernel::CRectList;

bool Same(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

std::string Str(const RECT& r) {
  std::ostringstream s;
  s << '(' << r.left << ',' << r.top << ',' << r.right << ',' << r.bottom << ')';
  return s.str();
}

std::string Str(const CRectList& list) {
  std::ostringstream s;
  s << '[';
  for (const CRect& r : list) s << Str(r);
  s << ']';
  return s.str();
}

CRectList Make(const std::vector<CRect>& rects) {
  CRectList list;
  for (const CRect& r : rects) list.push_back(r);
  return list;
}

void ExpectList(const CRectList& actual, const std::vector<CRect>& expected) {
  EXPECT_EQ(Str(actual), Str(Make(expected)));
}

TEST(RectListContainer, OneRectangleConstructionAndAssignment) {
  const CRectList emptyOne(CRect(5, 5, 5, 9));  // an empty rectangle still makes a list of one
  EXPECT_EQ(emptyOne.size(), 1u);

  CRectList one(CRect(0, 0, 1, 1));
  const auto* slot = &*one.begin();
  one = CRect(2, 2, 3, 3);  // a single element is overwritten in place
  EXPECT_EQ(&*one.begin(), slot);
  ExpectList(one, {CRect(2, 2, 3, 3)});

  CRectList two = Make({CRect(0, 0, 1, 1), CRect(1, 1, 2, 2)});
  two = CRect(7, 7, 8, 8);
  ExpectList(two, {CRect(7, 7, 8, 8)});
  CRectList none;
  none = CRect(1, 2, 3, 4);
  ExpectList(none, {CRect(1, 2, 3, 4)});

  CRectList a = Make({CRect(0, 0, 1, 1)}), b;
  a.swap(b);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(b.size(), 1u);
  b.insert(b.begin(), CRect(9, 9, 10, 10));
  ExpectList(b, {CRect(9, 9, 10, 10), CRect(0, 0, 1, 1)});
  b.erase(b.begin());
  ExpectList(b, {CRect(0, 0, 1, 1)});
}

struct AddCase {
  const char* name;
  std::vector<CRect> start;
  CRect add;
  std::vector<CRect> expected;
};

TEST(RectListAddUnion, Cases) {
  const AddCase cases[] = {
      {"into empty list", {}, CRect(1, 2, 3, 4), {CRect(1, 2, 3, 4)}},
      {"empty rectangle adds nothing", {CRect(0, 0, 5, 5)}, CRect(8, 8, 8, 20), {CRect(0, 0, 5, 5)}},
      {"inside an existing one", {CRect(0, 0, 10, 10)}, CRect(2, 2, 5, 5), {CRect(0, 0, 10, 10)}},
      {"containing existing ones",
       {CRect(1, 1, 2, 2), CRect(50, 50, 60, 60), CRect(3, 3, 4, 4)},
       CRect(0, 0, 10, 10),
       {CRect(50, 50, 60, 60), CRect(0, 0, 10, 10)}},
      {"plus shape: split at the narrow one's left edge, then trimmed",
       {CRect(10, 0, 20, 30)},
       CRect(0, 10, 30, 20),
       {CRect(10, 0, 20, 30), CRect(0, 10, 10, 20), CRect(20, 10, 30, 20)}},
      {"new rectangle trimmed by an edge overlap",
       {CRect(0, 0, 10, 10)},
       CRect(5, 0, 15, 10),
       {CRect(0, 0, 10, 10), CRect(10, 0, 15, 10)}},
      {"existing rectangle trimmed, never split",
       {CRect(0, 0, 10, 10)},
       CRect(-5, -5, 15, 5),
       {CRect(0, 5, 10, 10), CRect(-5, -5, 15, 5)}},
      {"corner overlap splits horizontally first",
       {CRect(0, 0, 10, 10)},
       CRect(5, 5, 15, 15),
       {CRect(0, 0, 10, 10), CRect(10, 5, 15, 10), CRect(5, 10, 15, 15)}},
      {"touching rectangles stay separate",
       {CRect(0, 0, 10, 10)},
       CRect(10, 0, 20, 10),
       {CRect(0, 0, 10, 10), CRect(10, 0, 20, 10)}},
      {"degenerate entry with three equal coordinates is absorbed",
       {CRect(0, 0, 10, 0)},
       CRect(0, 0, 10, 5),
       {CRect(0, 0, 10, 5)}},
      {"degenerate entry with fewer equal coordinates stays",
       {CRect(0, 0, 0, 0)},
       CRect(1, 1, 5, 5),
       {CRect(0, 0, 0, 0), CRect(1, 1, 5, 5)}},
  };
  for (const AddCase& c : cases) {
    SCOPED_TRACE(c.name);
    CRectList list = Make(c.start);
    list.AddUnion(c.add);
    ExpectList(list, c.expected);
  }
}

TEST(RectListAddUnion, ListAndSelf) {
  CRectList list = Make({CRect(0, 0, 10, 10)});
  list.AddUnion(Make({CRect(5, 0, 15, 10), CRect(0, 10, 10, 20)}));
  ExpectList(list, {CRect(0, 0, 10, 10), CRect(10, 0, 15, 10), CRect(0, 10, 10, 20)});
  list.AddUnion(list);
  EXPECT_EQ(list.size(), 3u);
}

struct MergeCase {
  const char* name;
  std::vector<CRect> start;
  CRect add;
  int slack;
  double factor;
  std::vector<CRect> expected;
};

TEST(RectListAddUnionMerge, Cases) {
  const MergeCase cases[] = {
      {"into empty list", {}, CRect(0, 0, 2, 2), 0, 1.0, {CRect(0, 0, 2, 2)}},
      {"adjacent: bounding box adds no area, merged",
       {CRect(0, 0, 10, 10)},
       CRect(10, 0, 20, 10),
       0,
       1.0,
       {CRect(0, 0, 20, 10)}},
      {"gap with no slack stays exact",
       {CRect(0, 0, 10, 10)},
       CRect(20, 0, 30, 10),
       0,
       1.0,
       {CRect(0, 0, 10, 10), CRect(20, 0, 30, 10)}},
      {"gap within slack merges", {CRect(0, 0, 10, 10)}, CRect(20, 0, 30, 10), 100, 1.0, {CRect(0, 0, 30, 10)}},
      {"gap just beyond slack stays",
       {CRect(0, 0, 10, 10)},
       CRect(20, 0, 30, 10),
       99,
       1.0,
       {CRect(0, 0, 10, 10), CRect(20, 0, 30, 10)}},
      {"gap within factor merges", {CRect(0, 0, 10, 10)}, CRect(20, 0, 30, 10), 0, 1.5, {CRect(0, 0, 30, 10)}},
      {"tie in growth goes to the earlier rectangle",
       {CRect(0, 0, 10, 10), CRect(100, 0, 110, 10)},
       CRect(50, 0, 60, 10),
       1000,
       1.0,
       {CRect(100, 0, 110, 10), CRect(0, 0, 60, 10)}},
      // 40000^2 areas overflow 32 bits: the exact total wraps negative, so
      // doubling it does not help and the rectangles stay apart, where
      // 64-bit sums would have merged them.
      {"32-bit sums wrap",
       {CRect(0, 0, 40000, 40000)},
       CRect(50000, 0, 90000, 40000),
       0,
       2.0,
       {CRect(0, 0, 40000, 40000), CRect(50000, 0, 90000, 40000)}},
      {"empty rectangle ignored", {CRect(0, 0, 1, 1)}, CRect(5, 5, 4, 9), 1000, 9.0, {CRect(0, 0, 1, 1)}},
  };
  for (const MergeCase& c : cases) {
    SCOPED_TRACE(c.name);
    CRectList list = Make(c.start);
    list.AddUnionMerge(c.add, c.slack, c.factor);
    ExpectList(list, c.expected);
  }
}

TEST(RectListAddUnionMerge, ListWithClip) {
  CRectList list;
  const CRectList other = Make({CRect(0, 0, 10, 10), CRect(100, 100, 110, 110), CRect(5, 0, 20, 10)});
  const CRect clip(0, 0, 15, 50);
  list.AddUnionMerge(other, &clip, 0, 1.0);
  ExpectList(list, {CRect(0, 0, 15, 10)});  // second clipped away, third clipped and merged
  CRectList unclipped;
  unclipped.AddUnionMerge(other, nullptr, 0, 1.0);
  // Unclipped, the third overlaps the first: its bounding box with it is
  // smaller than the exact total, so the two merge.
  ExpectList(unclipped, {CRect(100, 100, 110, 110), CRect(0, 0, 20, 10)});
}

TEST(RectListAddUnionHoles, Cases) {
  const struct {
    const char* name;
    CRect a, b;
    std::vector<CRect> expected;
  } cases[] = {
      {"gap between side-by-side rectangles", CRect(0, 0, 10, 10), CRect(20, 0, 30, 10), {CRect(10, 0, 20, 10)}},
      {"inverted inputs are normalised", CRect(10, 10, 0, 0), CRect(30, 10, 20, 0), {CRect(10, 0, 20, 10)}},
      {"taller first rectangle also fills beside the shorter one",
       CRect(0, 0, 10, 20),
       CRect(20, 5, 30, 15),
       {CRect(10, 0, 30, 20)}},
      {"overlapping rectangles leave no hole", CRect(0, 0, 10, 10), CRect(5, 0, 15, 10), {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CRectList list;
    list.AddUnionHoles(c.a, c.b);
    ExpectList(list, c.expected);
  }
}

TEST(RectListSubtractUnion, Cases) {
  const struct {
    const char* name;
    std::vector<CRect> start;
    CRect sub;
    std::vector<CRect> expected;
  } cases[] = {
      {"hole: four pieces in order above, left, below, right",
       {CRect(0, 0, 10, 10)},
       CRect(3, 3, 6, 6),
       {CRect(0, 0, 10, 3), CRect(0, 3, 3, 10), CRect(3, 6, 10, 10), CRect(6, 3, 10, 6)}},
      {"rectangle beside r straddling its top comes back as two pieces",
       {CRect(20, 0, 30, 10)},
       CRect(0, 5, 10, 15),
       {CRect(20, 0, 30, 5), CRect(20, 5, 30, 10)}},
      {"rectangle above r is kept whole", {CRect(0, 0, 10, 4)}, CRect(0, 5, 10, 15), {CRect(0, 0, 10, 4)}},
      {"covered rectangle disappears, neighbours keep their places",
       {CRect(0, 0, 2, 2), CRect(3, 3, 4, 4), CRect(0, 10, 2, 12)},
       CRect(2, 2, 5, 5),
       {CRect(0, 0, 2, 2), CRect(0, 10, 2, 12)}},
      {"empty r changes nothing", {CRect(20, 0, 30, 10)}, CRect(0, 5, 0, 15), {CRect(20, 0, 30, 10)}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CRectList list = Make(c.start);
    list.SubtractUnion(c.sub);
    ExpectList(list, c.expected);
  }
  CRectList self = Make({CRect(0, 0, 5, 5)});
  self.SubtractUnion(self);
  EXPECT_TRUE(self.empty());
}

TEST(RectListQueries, ClipToBBoxClipOverlapsMaxSizeOffset) {
  CRectList list = Make({CRect(0, 0, 10, 10), CRect(20, 20, 30, 30), CRect(5, 5, 25, 8)});
  EXPECT_TRUE(Same(list.GetBBox(), CRect(0, 0, 30, 30)));
  EXPECT_TRUE(Same(list.Clip(CRect(8, 0, 22, 9)), CRect(8, 0, 22, 9)));
  EXPECT_TRUE(Same(list.Clip(CRect(40, 40, 50, 50)), CRect()));
  EXPECT_TRUE(Same(CRectList().GetBBox(), CRect()));
  EXPECT_TRUE(Same(Make({CRect(5, 5, 5, 9), CRect(1, 1, 2, 2)}).GetBBox(), CRect(1, 1, 2, 2)));

  EXPECT_TRUE(list.Overlaps(CRect(9, 9, 12, 12)));
  EXPECT_FALSE(list.Overlaps(CRect(10, 10, 20, 20)));  // touching corners only
  EXPECT_TRUE(list.Overlaps(CRect(3, 3, 3, 3)));       // an empty r inside a rectangle still overlaps

  const auto maxSize = [](const CRectList& l) { return std::pair(l.GetMaxSize().cx, l.GetMaxSize().cy); };
  EXPECT_EQ(maxSize(Make({CRect(0, 0, 10, 2), CRect(0, 0, 3, 20)})), std::pair(10, 20));
  EXPECT_EQ(maxSize(CRectList()), std::pair(0, 0));

  CRectList clipped = list;
  clipped.ClipTo(CRect(0, 0, 22, 9));
  ExpectList(clipped, {CRect(0, 0, 10, 9), CRect(5, 5, 22, 8)});

  list.OffsetRects(CSize(-5, 3));
  ExpectList(list, {CRect(-5, 3, 5, 13), CRect(15, 23, 25, 33), CRect(0, 8, 20, 11)});
}

TEST(RectListCovers, Cases) {
  const CRectList halves = Make({CRect(0, 0, 10, 5), CRect(0, 5, 10, 10)});
  const CRectList holed = Make({CRect(0, 0, 10, 4), CRect(0, 4, 4, 10), CRect(5, 4, 10, 10)});
  EXPECT_FALSE(CRectList().Covers(CRect(0, 0, 1, 1)));
  EXPECT_FALSE(halves.Covers(CRect(3, 3, 3, 8)));  // an empty rectangle meets nothing
  EXPECT_TRUE(halves.Covers(CRect(0, 0, 10, 10)));
  EXPECT_TRUE(halves.Covers(CRect(2, 3, 8, 7)));
  EXPECT_FALSE(halves.Covers(CRect(2, 3, 11, 7)));
  EXPECT_FALSE(holed.Covers(CRect(0, 0, 10, 10)));
  EXPECT_TRUE(holed.Covers(CRect(0, 0, 4, 10)));
  EXPECT_FALSE(holed.Covers(CRect(4, 9, 5, 10)));
}

TEST(RectListSubtractFrom, GreedyFirstPieceWins) {
  const struct {
    const char* name;
    std::vector<CRect> list;
    CRect r;
    CRect expected;
  } cases[] = {
      {"empty list returns r", {}, CRect(0, 0, 100, 100), CRect(0, 0, 100, 100)},
      {"covering rectangle gives all zeros", {CRect(-1, -1, 200, 200)}, CRect(0, 0, 100, 100), CRect()},
      {"thin band: the small strip above wins over the big part below",
       {CRect(0, 2, 100, 3)},
       CRect(0, 0, 100, 100),
       CRect(0, 0, 100, 2)},
      {"thin bar: the small strip on the left wins", {CRect(2, 0, 3, 100)}, CRect(0, 0, 100, 100), CRect(0, 0, 2, 100)},
      {"band at the top leaves the part below", {CRect(0, 0, 100, 10)}, CRect(0, 0, 100, 100), CRect(0, 10, 100, 100)},
      {"second rectangle works on the replaced candidate",
       {CRect(0, 10, 100, 20), CRect(0, 0, 50, 5)},
       CRect(0, 0, 100, 100),
       CRect(0, 5, 100, 10)},
      {"rectangles beside r are skipped", {CRect(200, 0, 300, 100)}, CRect(0, 0, 100, 100), CRect(0, 0, 100, 100)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Str(Make(c.list).SubtractFrom(c.r)), Str(c.expected));
  }
}

TEST(RectListFromRegion, ReadsBandedRectangles) {
  HRGN a = CreateRectRgn(0, 0, 10, 10);
  HRGN b = CreateRectRgn(5, 5, 15, 15);
  ASSERT_EQ(CombineRgn(a, a, b, RGN_OR), COMPLEXREGION);
  CRectList list = Make({CRect(1, 1, 2, 2)});
  ASSERT_TRUE(list.FromRegion(a));
  ExpectList(list, {CRect(0, 0, 10, 5), CRect(0, 5, 15, 10), CRect(5, 10, 15, 15)});

  ASSERT_EQ(CombineRgn(a, a, a, RGN_DIFF), NULLREGION);
  ASSERT_TRUE(list.FromRegion(a));
  EXPECT_TRUE(list.empty());

  CRectList kept = Make({CRect(1, 1, 2, 2)});
  EXPECT_FALSE(kept.FromRegion(nullptr));
  EXPECT_EQ(kept.size(), 1u);
  DeleteObject(a);
  DeleteObject(b);
}

// A randomized model check on a small pixel grid: after any sequence of
// unions and subtractions the rectangles are non-empty, pairwise disjoint
// and cover exactly the modelled pixels, and Covers agrees with the grid.
TEST(RectListProperty, MatchesPixelGrid) {
  constexpr int N = 40;
  for (unsigned seed = 1; seed <= 150; ++seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> coord(0, N);
    std::uniform_int_distribution<int> op(0, 9);
    auto randomRect = [&] {
      int l = coord(rng), r = coord(rng), t = coord(rng), b = coord(rng);
      if (l > r) std::swap(l, r);
      if (t > b) std::swap(t, b);
      return CRect(l, t, r, b);
    };
    std::vector<char> grid(N * N, 0);
    CRectList list;
    for (int step = 0; step < 30; ++step) {
      const CRect r = randomRect();
      const bool add = op(rng) < 7;
      if (add)
        list.AddUnion(r);
      else
        list.SubtractUnion(r);
      for (int y = r.top; y < r.bottom; ++y)
        for (int x = r.left; x < r.right; ++x) grid[y * N + x] = add;

      std::vector<char> painted(N * N, 0);
      for (const CRect& q : list) {
        ASSERT_TRUE(q.left < q.right && q.top < q.bottom) << "seed " << seed << " step " << step;
        for (int y = q.top; y < q.bottom; ++y) {
          for (int x = q.left; x < q.right; ++x) {
            ASSERT_EQ(painted[y * N + x], 0) << "overlap at " << x << "," << y << " seed " << seed;
            painted[y * N + x] = 1;
          }
        }
      }
      ASSERT_EQ(painted, grid) << "seed " << seed << " step " << step << " after " << (add ? "add " : "sub ") << Str(r);
      for (int probe = 0; probe < 8; ++probe) {
        const CRect p = randomRect();
        bool covered = !(p.left >= p.right || p.top >= p.bottom);
        for (int y = p.top; covered && y < p.bottom; ++y)
          for (int x = p.left; covered && x < p.right; ++x) covered = grid[y * N + x] != 0;
        ASSERT_EQ(list.Covers(p), covered) << Str(p) << " seed " << seed;
      }
    }
  }
}

}  // namespace
