// The hash functions are part of the library's behaviour: exact values.
#include <kernel/Hash.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

using Kernel::GetHash;
using Kernel::HashCombine;

TEST(Hash, Strings) {
  struct Case {
    const char* narrow;
    const wchar_t* wide;
    uint32_t hash;
  };
  const Case cases[] = {
      {"", L"", 0},
      {"A", L"A", 65},
      {"AB", L"AB", 65 * 34 + 66},
      {"abc", L"abc", (97u * 34 + 98) * 34 + 99},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(GetHash(c.narrow), c.hash) << c.narrow;
    EXPECT_EQ(GetHash(c.wide), c.hash) << c.narrow;
  }
  // A narrow byte 0xFF counts as -1; the wide unit 0xFF as 255.
  EXPECT_EQ(GetHash("\xFF"), 0xFFFFFFFFu);
  EXPECT_EQ(GetHash("a\xFF"), 97u * 34 - 1);
  EXPECT_EQ(GetHash(L"\u00FF"), 255u);
  // Beyond the Basic Multilingual Plane: the surrogate pair D83D DE00.
  EXPECT_EQ(GetHash(L"\U0001F600"), 0xD83Du * 34 + 0xDE00u);
  EXPECT_EQ(GetHash(static_cast<const char*>(nullptr)), 0u);
  // 32-bit wrapping over a long text.
  uint32_t h = 0;
  for (int i = 0; i < 40; ++i) h = h * 34 + 'z';
  EXPECT_EQ(GetHash(std::string(40, 'z').c_str()), h);
}

TEST(Hash, Scalars) {
  EXPECT_EQ(GetHash(true), 1u);
  EXPECT_EQ(GetHash(false), 0u);
  EXPECT_EQ(GetHash(-1), 0xFFFFFFFFu);
  EXPECT_EQ(GetHash(7u), 7u);
  EXPECT_EQ(GetHash(1.0f), 0x3F800000u);
  EXPECT_EQ(GetHash(1.0), 0x3FF00000u);  // low word 0
  EXPECT_EQ(GetHash(-2.0), 0xC0000000u);
  EXPECT_EQ(GetHash(uint64_t{0x123456789ABCDEF0}), 0x9ABCDEF0u ^ 0x12345678u);
  // The signed form shifts arithmetically: the high half of -2 is all ones.
  EXPECT_EQ(GetHash(int64_t{-2}), 0xFFFFFFFEu ^ 0xFFFFFFFFu);
  EXPECT_EQ(GetHash(uint64_t{0xFFFFFFFFFFFFFFFE}), 1u);
  EXPECT_EQ(GetHash(static_cast<long long>(-2)), 1u);
}

TEST(Hash, CombineAndGeometry) {
  EXPECT_EQ(HashCombine(0, 0), 0x9E3779B9u);
  const uint32_t seed = 0x80000001u;
  EXPECT_EQ(HashCombine(seed, 5), seed ^ ((seed << 6) + (seed >> 2) + 5 + 0x9E3779B9u));
  EXPECT_EQ(GetHash(POINT{1, 2}), HashCombine(1, 2));
  EXPECT_EQ(GetHash(SIZE{-1, 2}), HashCombine(0xFFFFFFFFu, 2));
  EXPECT_EQ(GetHash(RECT{1, 2, 3, 4}), HashCombine(HashCombine(HashCombine(1, 2), 3), 4));
  EXPECT_NE(GetHash(POINT{1, 2}), GetHash(POINT{2, 1}));
}

class Hashed : public Kernel::CCachedHash {
 public:
  uint32_t value = 0;
  mutable int computed = 0;

 protected:
  uint32_t ComputeHash() const override {
    ++computed;
    return value;
  }
};

TEST(CachedHash, ComputesOnceAndNeverReportsZero) {
  Hashed h;
  EXPECT_EQ(h.GetHash(), 1u);  // a computed 0 is kept as 1
  EXPECT_EQ(h.GetHash(), 1u);
  EXPECT_EQ(h.computed, 1);
  h.value = 42;
  EXPECT_EQ(h.GetHash(), 1u);  // still cached
  h.FlushHash();
  EXPECT_EQ(h.GetHash(), 42u);
  EXPECT_EQ(h.computed, 2);
  EXPECT_TRUE(h.SetProperties(nullptr));
  EXPECT_EQ(h.GetHash(), 42u);
  EXPECT_EQ(h.computed, 3);
  EXPECT_TRUE(h.GetProperties(nullptr));
  EXPECT_EQ(h.GetHash(), 42u);
  EXPECT_EQ(h.computed, 3);

  Hashed copy(h);  // copies start uncomputed
  const int before = copy.computed;
  EXPECT_EQ(copy.GetHash(), 42u);
  EXPECT_EQ(copy.computed, before + 1);
  Hashed other;
  other.value = 9;
  EXPECT_EQ(other.GetHash(), 9u);
  other = h;  // assignment flushes; the fields of the derived class follow
  EXPECT_EQ(other.GetHash(), 42u);
}

}  // namespace
