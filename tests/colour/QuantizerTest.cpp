// The octree quantiser: tree building and reduction order, the three palette
// regimes, nearest-colour walks, pixel-index reads, copies and reuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <kernel/Quantizer.h>

using Kernel::CQuantizer;

namespace {

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | g << 8 | b << 16; }

// Entries filled with a pattern first, so that "left zero" is checked.
std::vector<RGBQUAD> Table(CQuantizer& q, size_t size) {
  std::vector<RGBQUAD> t(size, RGBQUAD{0xAA, 0xBB, 0xCC, 0xDD});
  q.SetColourTable(t.data());
  return t;
}

::testing::AssertionResult EntryIs(const RGBQUAD& e, int r, int g, int b) {
  if (e.rgbRed == r && e.rgbGreen == g && e.rgbBlue == b && e.rgbReserved == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "entry is (" << int(e.rgbRed) << ", " << int(e.rgbGreen) << ", "
                                       << int(e.rgbBlue) << ", " << int(e.rgbReserved) << "), expected (" << r << ", "
                                       << g << ", " << b << ", 0)";
}
::testing::AssertionResult EntryIs(const RGBQUAD& e, const std::array<int, 3>& c) {
  return EntryIs(e, c[0], c[1], c[2]);
}

}  // namespace

TEST(QuantizerTest, DefaultsAndLimits) {
  const struct {
    uint32_t colours, bits, limit, depth;
  } cases[] = {{256, 8, 256, 8},  {16, 8, 16, 8}, {2, 8, 16, 8}, {1, 4, 16, 4},
               {300, 12, 300, 8}, {0, 0, 16, 0},  {40, 9, 40, 8}};
  for (const auto& c : cases) {
    CQuantizer q(c.colours, c.bits);
    EXPECT_EQ(std::tuple(q.GetLeafLimit(), q.GetDepth(), q.GetLeafCount()), std::tuple(c.limit, c.depth, 0u))
        << c.colours << "/" << c.bits;
    EXPECT_EQ(q.GetRoot(), nullptr);
  }
  CQuantizer d;
  EXPECT_EQ(std::pair(d.GetColourCount(), d.GetDepth()), std::pair(256u, 8u));
}

// Reds that share their top three bits and differ below: at depth 8, reds
// 2k and 2k + 1 share a level-7 node. The seventeenth distinct colour makes
// reductions run; each folds the most recently created node of the deepest
// level, and folding a node with one child frees no leaf, so they go on.
TEST(QuantizerTest, ReductionFoldsTheNewestNodeOfTheDeepestLevel) {
  struct Case {
    std::string name;
    std::vector<uint32_t> reds;      // added in this order
    std::vector<uint32_t> expected;  // palette reds in tree order
  };
  // 0..15 then 16, 15..0 then 16, and 16 then 0..15.
  std::vector<uint32_t> upThen16(17), downThen16(17), sixteenFirst(17);
  for (uint32_t i = 0; i < 17; ++i)
    upThen16[i] = i, downThen16[i] = i < 16 ? 15 - i : 16, sixteenFirst[i] = i == 0 ? 16 : i - 1;
  const Case cases[] = {
      // 16 creates its own level-4..7 chain: its level-7 node is folded
      // first (one child, no gain), then the node of 14 and 15.
      {"ascending", upThen16, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16}},
      // The node of 0 and 1 is the newest at level 7: (0 + 1) / 2 = 0.
      {"descending", downThen16, {0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
      // 15 is the seventeenth: it joins the node of 14, the newest there.
      {"sixteen first", sixteenFirst, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CQuantizer q(16, 8);
    for (size_t i = 0; i < c.reds.size(); ++i) {
      q.AddColour(Rgb(c.reds[i], 9, 3), 0);
      EXPECT_EQ(q.GetLeafCount(), std::min<uint32_t>(static_cast<uint32_t>(i + 1), 16u)) << i;
    }
    const auto t = Table(q, 16);
    for (size_t i = 0; i < 16; ++i) EXPECT_TRUE(EntryIs(t[i], static_cast<int>(c.expected[i]), 9, 3)) << i;
  }
}

TEST(QuantizerTest, ReductionMergesCountsAndSums) {
  // Depth 2: 16 colours in 16 level-2 cells, 8 under each of the root's
  // children 0 and 1 (blue bit 7), each level-1 node then has 8 leaves.
  CQuantizer q(16, 2);
  for (uint32_t cell = 0; cell < 16; ++cell) {
    const uint32_t r = (cell & 1) << 6, g = (cell & 2) << 5, b = (cell & 4) << 4, high = (cell >> 3) << 7;
    q.AddColour(Rgb(r + 5, g + 6, b + 7 + high), 0);
  }
  EXPECT_EQ(q.GetLeafCount(), 16u);
  // A colour under the root's child 4 makes a 17th leaf. Its new level-1
  // node is folded first (one child: still 17 leaves), then the next newest
  // level-1 node, the one of the blue-high cells: 17 + 1 - 8 = 10 leaves.
  q.AddColour(Rgb(200, 10, 20), 0);
  EXPECT_EQ(q.GetLeafCount(), 10u);
  // The folded level-1 node of child 4 is a leaf now and takes this one too.
  q.AddColour(Rgb(250, 30, 50), 0);
  EXPECT_EQ(q.GetLeafCount(), 10u);
  std::vector<uint64_t> counts;
  const auto leaves = q.GetLeafColours(&counts);
  ASSERT_EQ(leaves.size(), 10u);
  // Reds 5 and 69, greens 6 and 70, blues 135 and 199, four of each.
  EXPECT_TRUE(EntryIs(leaves[8], 37, 38, 167));
  EXPECT_TRUE(EntryIs(leaves[9], 225, 20, 35));
  EXPECT_EQ(counts, (std::vector<uint64_t>{1, 1, 1, 1, 1, 1, 1, 1, 8, 2}));
}

TEST(QuantizerTest, LeafCountNeverPassesTheLimit) {
  const struct { uint32_t colours, bits; } cases[] = {{16, 8}, {2, 8}, {256, 8}, {64, 5}, {20, 3}, {1, 8}};
  std::mt19937 rng(1234);
  for (const auto& c : cases) {
    CQuantizer q(c.colours, c.bits);
    for (int i = 0; i < 20000; ++i) {
      q.AddColour(static_cast<uint32_t>(rng()), 0);
      ASSERT_LE(q.GetLeafCount(), q.GetLeafLimit());
    }
    std::vector<uint64_t> counts;
    EXPECT_EQ(q.GetLeafColours(&counts).size(), q.GetLeafCount());
    EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), uint64_t{0}), 20000u);  // reductions lose no pixel
  }
}

TEST(QuantizerTest, PaletteEntriesOfAddedColours) {
  struct Case {
    std::string name;
    uint32_t colours, bits;
    std::vector<uint32_t> added;
    uint32_t leaves;
    std::vector<std::array<int, 3>> expected;  // the entries after these are zero
  };
  const auto many = [](uint32_t colour) { return std::vector<uint32_t>(1000, colour); };
  const std::vector<uint32_t> five = {Rgb(255, 0, 0), Rgb(0, 255, 0), Rgb(0, 0, 255), Rgb(0, 0, 0), Rgb(128, 128, 128)};
  // Five leaves A..E whose reds differ in their top three bits (green and
  // blue stay below 32), so tree order is A..E; A once, B twice ... E five times.
  const uint32_t leaves[5] = {Rgb(0x00, 10, 31), Rgb(0x40, 20, 0), Rgb(0x80, 30, 5), Rgb(0xC0, 1, 17),
                              Rgb(0xFF, 31, 2)};
  std::vector<uint32_t> runs;
  for (int i = 0; i < 5; ++i) runs.insert(runs.end(), static_cast<size_t>(i + 1), leaves[i]);
  const Case cases[] = {
      // One colour many times is one exact entry, the rest zero.
      {"once", 256, 8, many(Rgb(12, 200, 77)), 1, {{12, 200, 77}}},
      {"once of 16", 16, 8, many(Rgb(255, 255, 255)), 1, {{255, 255, 255}}},
      {"once of 5", 5, 8, many(Rgb(1, 2, 3)), 1, {{1, 2, 3}}},
      {"once at depth 3", 2, 3, many(Rgb(0, 0, 0)), 1, {{0, 0, 0}}},
      {"once of 1", 1, 8, many(Rgb(99, 0, 250)), 1, {{99, 0, 250}}},
      {"once at depth 0", 64, 0, many(Rgb(7, 130, 64)), 1, {{7, 130, 64}}},
      // Depth 1: one leaf per top-bit cell. The green leaf holds 131 and 130
      // and stands for 130; the merged entry is (130 * 2 + 0 * 1) / 3 = 86,
      // where raw sums would give 261 / 3 = 87.
      {"means", 2, 1, {Rgb(3, 4, 5), Rgb(0, 131, 0), Rgb(0, 130, 0), Rgb(200, 0, 0)}, 3, {{3, 4, 5}, {66, 86, 0}}},
      // A single entry is the first leaf, not a mean. Depth 0: the root is
      // the only leaf, and its mean is the entry.
      {"root leaf", 1, 0, {Rgb(10, 20, 30), Rgb(21, 40, 61)}, 1, {{15, 30, 45}}},
      // The dark colour comes first in tree order though added last and
      // outnumbered.
      {"first leaf", 1, 8, {Rgb(200, 0, 0), Rgb(200, 0, 0), Rgb(10, 20, 30)}, 2, {{10, 20, 30}}},
      {"first leaf holding two", 1, 1, {Rgb(250, 250, 250), Rgb(0, 1, 0), Rgb(4, 2, 1)}, 2, {{2, 1, 0}}},
      {"empty", 1, 8, {}, 0, {}},
      // Small palettes merge runs of leaves by weighted means. Runs [0,1)
      // [1,3) [3,5): (64*2 + 128*3) / 5 = 102, (192*4 + 255*5) / 9 = 227.
      {"3 of 5", 3, 8, runs, 5, {{0, 10, 31}, {102, 26, 3}, {227, 17, 8}}},
      {"2 of 5: runs [0,2) [2,5)", 2, 8, runs, 5, {{42, 16, 10}, {202, 20, 7}}},
      {"4 of 5: runs [0,1) [1,2) [2,3) [3,5)", 4, 8, runs, 5, {{0, 10, 31}, {64, 20, 0}, {128, 30, 5}, {227, 17, 8}}},
      // As many or more entries than leaves: copied, the rest zero.
      {"5 of 5", 5, 8, runs, 5, {{0, 10, 31}, {64, 20, 0}, {128, 30, 5}, {192, 1, 17}, {255, 31, 2}}},
      {"7 of 5", 7, 8, runs, 5, {{0, 10, 31}, {64, 20, 0}, {128, 30, 5}, {192, 1, 17}, {255, 31, 2}}},
      // Large palettes list the leaves in tree order, which interleaves the
      // bits red, green, blue from the top.
      {"tree order", 20, 8, five, 5, {{0, 0, 0}, {0, 0, 255}, {0, 255, 0}, {255, 0, 0}, {128, 128, 128}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CQuantizer q(c.colours, c.bits);
    // The top byte plays no part.
    for (size_t i = 0; i < c.added.size(); ++i) q.AddColour(c.added[i] | static_cast<uint32_t>(i & 0xFF) << 24, 0);
    EXPECT_EQ(q.GetLeafCount(), c.leaves);
    const auto t = Table(q, c.colours);
    for (size_t i = 0; i < t.size(); ++i)
      EXPECT_TRUE(EntryIs(t[i], i < c.expected.size() ? c.expected[i] : std::array<int, 3>{0, 0, 0})) << i;
  }
}

TEST(QuantizerTest, NearestColourStopsWhereThePathLeavesTheTree) {
  CQuantizer q(256, 8);
  EXPECT_EQ(q.FindNearestColour(Rgb(1, 2, 3)), 0);  // empty tree
  q.AddColour(Rgb(0, 0, 0), 1);                     // the whole path, levels 0..8, gets 1
  q.AddColour(Rgb(0, 0, 0x01), 2);                  // only the new leaf gets 2
  q.AddColour(Rgb(0, 0, 0x10), 3);                  // leaves the path at level 3: levels 4..8 get 3
  q.AddColour(Rgb(0, 0, 0), 99);                    // creates nothing, changes nothing
  const struct {
    uint32_t colour;
    int expected;
  } cases[] = {
      {Rgb(0, 0, 0), 1},    {Rgb(0, 0, 1), 2},
      {Rgb(0, 0, 0x10), 3}, {Rgb(0, 0, 0x11), 3},  // the level-7 node of 0x10 has no child for bit 0
      {Rgb(0, 0, 0x08), 1},                        // the level-4 node of 0 has no child for bit 3
      {Rgb(0x80, 0, 0), 1},                        // stops at the root
      {Rgb(0, 0, 2), 1},    {0xFF010000u, 2},      // the top byte is ignored
  };
  for (const auto& c : cases) EXPECT_EQ(q.FindNearestColour(c.colour), c.expected) << std::hex << c.colour;
}

TEST(QuantizerTest, PixelIndexReadsEachDepth) {
  // Two rows of four bytes; row 1 is the one read.
  const uint8_t bits[8] = {0x00, 0x00, 0x00, 0x00, 0xAB, 0xB0, 0x7F, 0x01};
  const struct {
    int x, bpp, expected;
  } cases[] = {
      {0, 8, 0xAB}, {3, 8, 0x01},                                                    // bytes
      {0, 4, 0xA},  {1, 4, 0xB},  {2, 4, 0xB}, {3, 4, 0x0}, {5, 4, 0xF},             // high nibble first
      {0, 1, 1},    {1, 1, 0},    {2, 1, 1},   {3, 1, 0},   {4, 1, 1},   {7, 1, 1},  // bit 7 first
      {8, 1, 1},    {9, 1, 0},    {12, 1, 0},  {16, 1, 0},  {17, 1, 1},  {0, 2, 0},
      {0, 16, 0},   {0, 24, 0},   {0, 32, 0},  {0, 0, 0},  // other depths
  };
  for (const auto& c : cases)
    EXPECT_EQ(CQuantizer::GetPixelIndex(c.x, 1, c.bpp, 4, bits), c.expected) << "x " << c.x << " bpp " << c.bpp;
  // Rows are bytesPerLine apart, not packed.
  EXPECT_EQ(CQuantizer::GetPixelIndex(1, 1, 8, 5, bits), 0x7F);
  EXPECT_EQ(CQuantizer::GetPixelIndex(0, 0, 8, 4, nullptr), 0);
}

namespace {

void ExpectSameTree(const CQuantizer::Node* a, const CQuantizer::Node* b, const std::string& path) {
  ASSERT_EQ(a == nullptr, b == nullptr) << path;
  if (a == nullptr) return;
  ASSERT_EQ(a->m_isLeaf != 0, b->m_isLeaf != 0) << path;
  EXPECT_EQ(std::tie(a->m_pixelCount, a->m_redSum, a->m_greenSum, a->m_blueSum, a->m_index),
            std::tie(b->m_pixelCount, b->m_redSum, b->m_greenSum, b->m_blueSum, b->m_index))
      << path;
  for (int i = 0; i < 8; ++i) ExpectSameTree(a->m_child[i], b->m_child[i], path + std::to_string(i));
}

}  // namespace

TEST(QuantizerTest, RepeatCountGivesTheSameTreeAsSingleAdds) {
  const struct {
    uint32_t colours, bits;
    int palette;  // distinct colours the runs draw from
  } cases[] = {{256, 8, 5000}, {16, 8, 300}, {2, 8, 40}, {4, 3, 100}, {64, 6, 20000}, {1, 8, 50}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.colours);
    std::mt19937 rng(c.colours * 31 + c.bits);
    std::vector<uint32_t> pool(static_cast<size_t>(c.palette));
    for (auto& p : pool) p = rng() & 0xFFFFFF;
    CQuantizer single(c.colours, c.bits), bulk(c.colours, c.bits);
    for (int run = 0; run < 4000; ++run) {
      const uint32_t colour = pool[rng() % pool.size()];
      const auto index = static_cast<uint8_t>(rng());
      const uint64_t count = 1 + rng() % 9;
      for (uint64_t k = 0; k < count; ++k) single.AddColour(colour, index);
      bulk.AddColour(colour, index, count);
    }
    bulk.AddColour(pool[0], 7, 0);  // a count of zero adds nothing
    EXPECT_EQ(single.GetLeafCount(), bulk.GetLeafCount());
    ExpectSameTree(single.GetRoot(), bulk.GetRoot(), "r");
    const auto a = Table(single, c.colours), b = Table(bulk, c.colours);
    for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(EntryIs(b[i], a[i].rgbRed, a[i].rgbGreen, a[i].rgbBlue)) << i;
  }
}

TEST(QuantizerTest, PaletteIndicesPointEachLeafAtItsEntry) {
  for (uint32_t colours : {256u, 16u, 40u, 5u, 2u, 1u}) {
    SCOPED_TRACE(colours);
    std::mt19937 rng(colours);
    CQuantizer q(colours, 8);
    std::vector<uint32_t> added;
    for (int i = 0; i < 3000; ++i) added.push_back(rng() & 0xFFFFFF);
    for (uint32_t colour : added) q.AddColour(colour, 0xEE);
    ASSERT_TRUE(q.SetPaletteIndices());
    const auto t = Table(q, colours);
    std::vector<uint64_t> counts;
    const auto leaves = q.GetLeafColours(&counts);
    const size_t leafCount = leaves.size();
    // Which entry leaf i feeds, by the runs of the small-palette regime.
    const auto entryOf = [&](size_t i) -> size_t {
      if (colours == 1) return 0;
      if (colours >= 16 || leafCount <= colours) return i;
      for (size_t j = 0; j < colours; ++j)
        if (i < (j + 1) * leafCount / colours) return j;
      return colours;
    };
    // The leaves in tree order, and the leaf of each added colour, found
    // by walking the tree here.
    std::vector<const CQuantizer::Node*> order;
    const auto collect = [&](auto&& self, const CQuantizer::Node* node) -> void {
      if (node == nullptr) return;
      if (node->m_isLeaf != 0) return order.push_back(node);
      for (const CQuantizer::Node* child : node->m_child) self(self, child);
    };
    collect(collect, q.GetRoot());
    ASSERT_EQ(order.size(), leafCount);
    for (size_t i = 0; i < leafCount; ++i) EXPECT_EQ(order[i]->m_pixelCount, counts[i]);
    for (uint32_t colour : added) {
      const CQuantizer::Node* node = q.GetRoot();
      for (int s = 7; node->m_isLeaf == 0; --s) {
        node = node->m_child[((colour >> s) & 1) << 2 | ((colour >> (8 + s)) & 1) << 1 | ((colour >> (16 + s)) & 1)];
        ASSERT_NE(node, nullptr);
      }
      const size_t found = static_cast<size_t>(std::find(order.begin(), order.end(), node) - order.begin());
      ASSERT_LT(found, leafCount);
      EXPECT_EQ(q.FindNearestColour(colour), entryOf(found));
    }
    // A colour that leaves the tree early still gets an entry that exists.
    const uint32_t produced = colours == 1 ? 1 : std::min<uint32_t>(colours, static_cast<uint32_t>(leafCount));
    for (int i = 0; i < 500; ++i) EXPECT_LT(q.FindNearestColour(rng()), produced);
  }
  CQuantizer tooMany(300, 8);
  tooMany.AddColour(Rgb(1, 2, 3), 5);
  EXPECT_FALSE(tooMany.SetPaletteIndices());
  EXPECT_EQ(tooMany.FindNearestColour(Rgb(1, 2, 3)), 5);  // untouched
  CQuantizer empty(16, 8);
  EXPECT_TRUE(empty.SetPaletteIndices());
}

TEST(QuantizerTest, CopiesShareOneTreeAndGoInAnyOrder) {
  // Every order of destroying the original and two copies.
  const int orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (const auto& order : orders) {
    std::unique_ptr<CQuantizer> q[3];
    q[0] = std::make_unique<CQuantizer>(16, 8);
    for (uint32_t i = 0; i < 40; ++i) q[0]->AddColour(Rgb(i * 6, 255 - i * 3, i * i % 256), 0);
    q[1] = std::make_unique<CQuantizer>(*q[0]);
    q[2] = std::make_unique<CQuantizer>(8, 2);
    *q[2] = *q[1];  // lets go of its own (empty) tree
    EXPECT_EQ(q[2]->GetColourCount(), 16u);
    EXPECT_EQ(q[2]->GetRoot(), q[0]->GetRoot());
    // Adding through a copy is seen by all of them.
    q[1]->AddColour(Rgb(250, 250, 250), 0);
    const auto reference = Table(*q[0], 16);
    for (int k = 1; k < 3; ++k) {
      const auto t = Table(*q[k], 16);
      EXPECT_EQ(std::memcmp(t.data(), reference.data(), t.size() * sizeof(RGBQUAD)), 0);
      EXPECT_EQ(q[k]->GetLeafCount(), q[0]->GetLeafCount());
    }
    const uint32_t leaves = q[0]->GetLeafCount();
    for (int k : order) {
      q[k].reset();
      // The survivors still read the tree.
      for (const auto& survivor : q) EXPECT_TRUE(!survivor || survivor->GetLeafCount() == leaves);
    }
  }
  CQuantizer self(16, 8);
  self.AddColour(Rgb(1, 1, 1), 0);
  CQuantizer& alias = self;
  self = alias;
  EXPECT_EQ(self.GetLeafCount(), 1u);
}

TEST(QuantizerTest, InitStartsAFreshTreeAndLeavesCopiesAlone) {
  CQuantizer q(16, 8);
  for (uint32_t i = 0; i < 100; ++i) q.AddColour(Rgb(i, i * 2 % 256, 255 - i), 0);
  CQuantizer copy(q);
  const uint32_t leaves = q.GetLeafCount();
  q.Init(4, 3);
  EXPECT_EQ(q.GetRoot(), nullptr);
  EXPECT_EQ(q.GetLeafCount(), 0u);
  EXPECT_EQ(std::pair(q.GetDepth(), q.GetColourCount()), std::pair(3u, 4u));
  EXPECT_EQ(copy.GetLeafCount(), leaves);  // the copy keeps the old tree
  q.AddColour(Rgb(9, 9, 9), 0);
  EXPECT_EQ(q.GetLeafCount(), 1u);
  EXPECT_EQ(copy.GetLeafCount(), leaves);
  // Init on the last holder frees the old tree (the leak checker watches).
  copy.Init(16, 8);
  EXPECT_EQ(copy.GetRoot(), nullptr);
}
