#include <kernel/Region.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

std::vector<RECT> Rects(HRGN rgn, RGNDATAHEADER* header = nullptr) {
  const DWORD size = GetRegionData(rgn, 0, nullptr);
  std::vector<unsigned char> buffer(size);
  EXPECT_EQ(GetRegionData(rgn, size, reinterpret_cast<RGNDATA*>(buffer.data())), size);
  RGNDATAHEADER h;
  std::memcpy(&h, buffer.data(), sizeof h);
  if (header) *header = h;
  std::vector<RECT> out(h.nCount);
  std::memcpy(out.data(), buffer.data() + sizeof h, h.nCount * sizeof(RECT));
  return out;
}

bool Same(const std::vector<RECT>& a, const std::vector<RECT>& b) {
  if (a.size() != b.size()) return false;
  for (size_t k = 0; k < a.size(); ++k)
    if (std::memcmp(&a[k], &b[k], sizeof(RECT)) != 0) return false;
  return true;
}

struct Owned {
  HRGN h;
  explicit Owned(HRGN r) : h(r) {}
  ~Owned() { DeleteObject(h); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
};

TEST(Region, DataLayoutAndSizeQuery) {
  Owned r(CreateRectRgn(10, 20, 0, 5));  // inverted corners are swapped
  EXPECT_EQ(GetRegionData(r.h, 0, nullptr), 48u);
  std::vector<unsigned char> small(47);
  EXPECT_EQ(GetRegionData(r.h, 47, reinterpret_cast<RGNDATA*>(small.data())), 0u);
  RGNDATAHEADER h;
  const auto rects = Rects(r.h, &h);
  EXPECT_EQ(h.dwSize, 32u);
  EXPECT_EQ(h.iType, RDH_RECTANGLES);
  EXPECT_EQ(h.nCount, 1u);
  EXPECT_EQ(h.nRgnSize, 16u);
  EXPECT_TRUE(Same({h.rcBound}, {RECT{0, 5, 10, 20}}));
  EXPECT_TRUE(Same(rects, {RECT{0, 5, 10, 20}}));

  Owned empty(CreateRectRgn(3, 3, 3, 9));
  EXPECT_EQ(GetRegionData(empty.h, 0, nullptr), 32u);
  RECT box;
  EXPECT_EQ(GetRgnBox(empty.h, &box), NULLREGION);
  EXPECT_EQ(GetRegionData(nullptr, 0, nullptr), 0u);
}

TEST(Region, CombineModesGiveCanonicalBands) {
  const struct {
    const char* name;
    int mode;
    int kind;
    std::vector<RECT> expected;
  } cases[] = {
      {"or", RGN_OR, COMPLEXREGION, {{0, 0, 10, 5}, {0, 5, 15, 10}, {5, 10, 15, 15}}},
      {"and", RGN_AND, SIMPLEREGION, {{5, 5, 10, 10}}},
      {"diff", RGN_DIFF, COMPLEXREGION, {{0, 0, 10, 5}, {0, 5, 5, 10}}},
      {"xor", RGN_XOR, COMPLEXREGION, {{0, 0, 10, 5}, {0, 5, 5, 10}, {10, 5, 15, 10}, {5, 10, 15, 15}}},
      {"copy", RGN_COPY, SIMPLEREGION, {{0, 0, 10, 10}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Owned a(CreateRectRgn(0, 0, 10, 10)), b(CreateRectRgn(5, 5, 15, 15)), dst(CreateRectRgn(0, 0, 0, 0));
    EXPECT_EQ(CombineRgn(dst.h, a.h, b.h, c.mode), c.kind);
    EXPECT_TRUE(Same(Rects(dst.h), c.expected));
  }
  Owned a(CreateRectRgn(0, 0, 1, 1));
  EXPECT_EQ(CombineRgn(a.h, a.h, a.h, 99), RGN_ERROR);
  EXPECT_EQ(CombineRgn(a.h, a.h, nullptr, RGN_OR), RGN_ERROR);
}

TEST(Region, AdjacentPiecesCoalesce) {
  // Two halves side by side become one rectangle; two stacked bands with
  // equal spans become one band.
  Owned a(CreateRectRgn(0, 0, 5, 10)), b(CreateRectRgn(5, 0, 10, 10));
  EXPECT_EQ(CombineRgn(a.h, a.h, b.h, RGN_OR), SIMPLEREGION);
  Owned c(CreateRectRgn(0, 10, 10, 20));
  EXPECT_EQ(CombineRgn(a.h, a.h, c.h, RGN_OR), SIMPLEREGION);
  EXPECT_TRUE(Same(Rects(a.h), {{0, 0, 10, 20}}));
}

TEST(Region, ExtCreateRegionRoundTripAndQueries) {
  Owned a(CreateRectRgn(0, 0, 10, 10)), b(CreateRectRgn(20, 0, 30, 10));
  CombineRgn(a.h, a.h, b.h, RGN_OR);
  const DWORD size = GetRegionData(a.h, 0, nullptr);
  std::vector<unsigned char> buffer(size);
  GetRegionData(a.h, size, reinterpret_cast<RGNDATA*>(buffer.data()));
  Owned copy(ExtCreateRegion(nullptr, size, reinterpret_cast<RGNDATA*>(buffer.data())));
  ASSERT_NE(copy.h, nullptr);
  EXPECT_TRUE(EqualRgn(a.h, copy.h));
  EXPECT_EQ(ExtCreateRegion(nullptr, size - 1, reinterpret_cast<RGNDATA*>(buffer.data())), nullptr);

  EXPECT_TRUE(PtInRegion(a.h, 0, 0));
  EXPECT_FALSE(PtInRegion(a.h, 10, 0));  // right edge is outside
  EXPECT_TRUE(PtInRegion(a.h, 29, 9));
  const RECT gap{10, 0, 20, 10}, touch{9, 9, 21, 10};
  EXPECT_FALSE(RectInRegion(a.h, &gap));
  EXPECT_TRUE(RectInRegion(a.h, &touch));
  EXPECT_EQ(OffsetRgn(a.h, 5, -5), COMPLEXREGION);
  RECT box;
  EXPECT_EQ(GetRgnBox(a.h, &box), COMPLEXREGION);
  EXPECT_TRUE(Same({box}, {RECT{5, -5, 35, 5}}));
  EXPECT_FALSE(EqualRgn(a.h, copy.h));
  EXPECT_TRUE(SetRectRgn(a.h, 1, 2, 3, 4));
  EXPECT_TRUE(Same(Rects(a.h), {{1, 2, 3, 4}}));
  EXPECT_FALSE(DeleteObject(nullptr));
}

TEST(Region, OverlappingInputRectanglesAreUnited) {
  std::vector<unsigned char> buffer(32 + 3 * 16);
  auto* data = reinterpret_cast<RGNDATA*>(buffer.data());
  data->rdh = RGNDATAHEADER{32, RDH_RECTANGLES, 3, 48, RECT{0, 0, 0, 0}};
  const RECT rects[3] = {{0, 0, 10, 10}, {5, 5, 15, 15}, {2, 2, 3, 3}};
  std::memcpy(buffer.data() + 32, rects, sizeof rects);
  Owned r(ExtCreateRegion(nullptr, DWORD(buffer.size()), data));
  ASSERT_NE(r.h, nullptr);
  EXPECT_TRUE(Same(Rects(r.h), {{0, 0, 10, 5}, {0, 5, 15, 10}, {5, 10, 15, 15}}));
}

}  // namespace
