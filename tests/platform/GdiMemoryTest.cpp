#include <kernel/CArray.h>
#include <kernel/Gdi.h>
#include <kernel/GlobalMemory.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

std::unique_ptr<BYTE[]> MakeLogPalette(const std::vector<PALETTEENTRY>& entries) {
  auto raw = std::make_unique<BYTE[]>(sizeof(LOGPALETTE) + entries.size() * sizeof(PALETTEENTRY));
  auto* lp = reinterpret_cast<LOGPALETTE*>(raw.get());
  lp->palVersion = 0x300;
  lp->palNumEntries = static_cast<WORD>(entries.size());
  std::memcpy(lp->palPalEntry, entries.data(), entries.size() * sizeof(PALETTEENTRY));
  return raw;
}

TEST(Gdi, RecordLayoutsMatchWindows) {
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biWidth), 4u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biBitCount), 14u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biCompression), 16u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biClrImportant), 36u);
  EXPECT_EQ(offsetof(BITMAPINFO, bmiColors), 40u);
  EXPECT_EQ(offsetof(BITMAPFILEHEADER, bfOffBits), 10u);
  EXPECT_EQ(offsetof(RGBQUAD, rgbRed), 2u);
}

TEST(CPalette, NearestIndexByRgbDistanceFirstWinsTies) {
  auto lp = MakeLogPalette({{0, 0, 0, 0},
                            {255, 255, 255, 0},
                            {100, 0, 0, 0},
                            {0, 100, 0, 0},
                            {100, 0, 0, 0},  // duplicate of 2
                            {0, 0, 100, 0}});
  CPalette pal;
  ASSERT_TRUE(pal.CreatePalette(reinterpret_cast<LOGPALETTE*>(lp.get())));
  EXPECT_EQ(pal.GetEntryCount(), 6);
  const std::pair<COLORREF, UINT> cases[] = {
      {RGB(0, 0, 0), 0},
      {RGB(250, 250, 250), 1},
      {RGB(100, 0, 0), 2},  // also equal to entry 4: the first wins
      {RGB(90, 10, 0), 2},
      {RGB(0, 0, 60), 5},
      {RGB(0, 60, 0), 3},
      // 5000 away from entries 0, 2, 3 and 4 alike: the first of them.
      {RGB(50, 50, 0), 0},
      // 8300 away from 2, 3, 4 and 5; entry 0 is 300 away.
      {RGB(10, 10, 10), 0},
  };
  for (const auto& [colour, index] : cases) EXPECT_EQ(pal.GetNearestPaletteIndex(colour), index) << std::hex << colour;
  // The top byte of the colour is ignored.
  EXPECT_EQ(pal.GetNearestPaletteIndex(0xFF000064u), 2u);

  PALETTEENTRY out[3];
  EXPECT_EQ(pal.GetPaletteEntries(4, 3, out), 2u);
  EXPECT_EQ(out[0].peRed, 100);
  EXPECT_EQ(out[1].peBlue, 100);
  EXPECT_EQ(pal.GetPaletteEntries(6, 1, out), 0u);
  EXPECT_EQ(pal.GetPaletteEntries(0, 0, nullptr), 6u);
  PALETTEENTRY white{255, 255, 255, 0};
  EXPECT_EQ(pal.SetPaletteEntries(0, 1, &white), 1u);
  EXPECT_EQ(pal.GetNearestPaletteIndex(RGB(250, 250, 250)), 0u);             // entry 0 is white now, before 1
  EXPECT_FALSE(pal.CreatePalette(reinterpret_cast<LOGPALETTE*>(lp.get())));  // already made
  EXPECT_TRUE(pal.DeleteObject());
  EXPECT_EQ(pal.GetNearestPaletteIndex(0), CLR_INVALID);
  EXPECT_EQ(pal.GetEntryCount(), 0);
}

TEST(GlobalMemory, AllocLockSizeFree) {
  const std::pair<UINT, SIZE_T> cases[] = {{GMEM_FIXED, 10}, {GPTR, 100}, {GHND, 4096}, {GMEM_MOVEABLE, 0}};
  for (const auto& [flags, size] : cases) {
    HGLOBAL h = GlobalAlloc(flags, size);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(GlobalSize(h), size);
    auto* p = static_cast<BYTE*>(GlobalLock(h));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    if (flags & GMEM_ZEROINIT) {
      for (SIZE_T i = 0; i < size; ++i) ASSERT_EQ(p[i], 0) << i;
    }
    if (size) std::memset(p, 0xCD, size);
    EXPECT_EQ(GlobalFlags(h) & GMEM_LOCKCOUNT, 1u);
    EXPECT_EQ(GlobalHandle(p), h);
    EXPECT_FALSE(GlobalUnlock(h));  // no longer locked
    EXPECT_EQ(GlobalFree(h), nullptr);
  }
  EXPECT_EQ(GlobalSize(nullptr), 0u);
  EXPECT_EQ(GlobalLock(nullptr), nullptr);
  EXPECT_EQ(GlobalFree(nullptr), nullptr);
}

TEST(GlobalMemory, ReAllocKeepsContentAndZeroesGrowth) {
  HGLOBAL h = GlobalAlloc(GHND, 4);
  std::memcpy(GlobalLock(h), "abcd", 4);
  GlobalUnlock(h);
  h = GlobalReAlloc(h, 1000, GMEM_ZEROINIT);
  ASSERT_NE(h, nullptr);
  auto* p = static_cast<BYTE*>(GlobalLock(h));
  EXPECT_EQ(std::memcmp(p, "abcd", 4), 0);
  EXPECT_EQ(p[999], 0);
  EXPECT_EQ(GlobalSize(h), 1000u);
  EXPECT_TRUE(GlobalLock(h) != nullptr);
  EXPECT_TRUE(GlobalUnlock(h));  // locked twice: still locked
  EXPECT_FALSE(GlobalUnlock(h));
  h = GlobalReAlloc(h, 2, 0);
  EXPECT_EQ(GlobalSize(h), 2u);
  GlobalFree(h);
}

TEST(CArray, GrowsAndKeepsElements) {
  CArray<std::string> a;
  EXPECT_TRUE(a.IsEmpty());
  for (int i = 0; i < 100; ++i) EXPECT_EQ(a.Add(std::to_string(i)), i);
  EXPECT_EQ(a.GetSize(), 100);
  EXPECT_EQ(a[57], "57");
  a.InsertAt(1, "x", 2);
  EXPECT_EQ(a.GetSize(), 102);
  EXPECT_EQ(a[0], "0");
  EXPECT_EQ(a[2], "x");
  EXPECT_EQ(a[3], "1");
  a.RemoveAt(0, 3);
  EXPECT_EQ(a[0], "1");
  EXPECT_EQ(a.GetUpperBound(), 98);
  a.SetSize(2);
  EXPECT_EQ(a.GetSize(), 2);
  a.SetSize(4);
  EXPECT_EQ(a[3], "");  // new elements are default-constructed
  a.SetAtGrow(6, "six");
  EXPECT_EQ(a.GetSize(), 7);
  EXPECT_EQ(a[6], "six");
  CArray<std::string> b;
  b.Copy(a);
  EXPECT_EQ(b.Append(a), 7);
  EXPECT_EQ(b.GetSize(), 14);
  EXPECT_EQ(b[13], "six");
  b.RemoveAll();
  EXPECT_EQ(b.GetSize(), 0);
  EXPECT_EQ(b.GetData(), nullptr);
}

TEST(CArray, BadIndexesThrowAndScalarsStartAtZero) {
  CDWordArray d;
  d.SetSize(5, 16);
  for (INT_PTR i = 0; i < d.GetSize(); ++i) EXPECT_EQ(d[i], 0u);
  EXPECT_THROW(d.GetAt(5), CInvalidArgException);
  EXPECT_THROW(d[-1], CInvalidArgException);
  EXPECT_THROW(d.SetAt(5, 1), CInvalidArgException);
  EXPECT_THROW(d.RemoveAt(4, 2), CInvalidArgException);
  EXPECT_THROW(d.SetSize(-1), CInvalidArgException);
  CArray<double> huge;
  EXPECT_THROW(huge.SetSize(INTPTR_MAX / 2), CMemoryException);
  EXPECT_EQ(huge.GetSize(), 0);
  d.Add(d[0]);  // adding an element of itself across a reallocation
  EXPECT_EQ(d.GetSize(), 6);
  CByteArray bytes;
  bytes.Add(7);
  bytes.InsertAt(0, 1);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[1], 7);
  CPtrArray ptrs;
  int x;
  ptrs.Add(&x);
  EXPECT_EQ(ptrs[0], &x);
  CWordArray self;
  self.Add(1);
  self.Add(2);
  self.Append(self);
  EXPECT_EQ(self.GetSize(), 4);
  EXPECT_EQ(self[3], 2);
}

// Exposes the reserved capacity to check the growth steps.
class CapacityArray : public CArray<int, int> {
 public:
  INT_PTR Capacity() const { return m_nMaxSize; }
};

TEST(CArray, GrowthStepsAndFreeExtra) {
  struct Case {
    INT_PTR growBy;
    int adds;
    INT_PTR capacity;
  };
  const Case cases[] = {
      {10, 1, 10},    // the first block is already a whole step
      {10, 11, 20},   // then one step at a time
      {0, 1, 1},      // automatic steps: exactly what was asked first,
      {0, 2, 5},      // then at least 4 more,
      {0, 200, 204},  // and size/8 once the array is larger
  };
  for (const Case& c : cases) {
    CapacityArray a;
    a.SetSize(0, c.growBy);
    for (int i = 0; i < c.adds; ++i) a.Add(i);
    EXPECT_EQ(a.Capacity(), c.capacity) << c.growBy << "/" << c.adds;
    EXPECT_EQ(a[c.adds - 1], c.adds - 1);
    a.FreeExtra();
    EXPECT_EQ(a.Capacity(), c.adds);
    EXPECT_EQ(a.GetSize(), c.adds);
  }
}

}  // namespace
