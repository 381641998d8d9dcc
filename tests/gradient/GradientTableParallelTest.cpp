// The SSE2 lookups against the scalar ones: every position, several table
// sizes, tails of every length, and the fill form's start and step.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include <kernel/GradientTable.h>

#include "GradientTestSupport.h"

namespace {

using gradient_test::CSampledGradient;
using gradient_test::Quad;
using Kernel::CGradientTable;

// Entries that jump up and down by any amount, full-scale steps included, so
// both signs of the interpolation and its extremes are exercised.
CSampledGradient Jumpy(int count, uint32_t seed) {
  std::vector<uint16_t> singles;
  std::vector<uint64_t> quads;
  auto next = [&seed] {
    seed = seed * 1664525u + 1013904223u;
    const uint32_t r = seed >> 8;
    // A third of the entries at either extreme.
    return static_cast<uint16_t>(r % 6 == 0 ? 0 : r % 6 == 1 ? 32640 : (r >> 3) % 32641);
  };
  for (int i = 0; i < count; ++i) {
    singles.push_back(next());
    const uint16_t r = next(), g = next(), b = next(), a = next();
    quads.push_back(Quad(r, g, b, a));
  }
  return CSampledGradient(singles, quads);
}

std::vector<uint16_t> AllPositions() {
  std::vector<uint16_t> positions;
  for (int pos = 0; pos < 32768; ++pos) positions.push_back(static_cast<uint16_t>(pos));
  // Past the end, which reads as the last position.
  for (const int pos : {32768, 32769, 40000, 65534, 65535}) positions.push_back(static_cast<uint16_t>(pos));
  return positions;
}

constexpr int kSizes[] = {1, 2, 3, 5, 17, 65, 257, 4097, 32769};

TEST(GradientTableParallel, EveryPositionMatchesTheScalarLookup) {
  const std::vector<uint16_t> positions = AllPositions();
  const int n = static_cast<int>(positions.size());
  for (const int size : kSizes) {
    int shift = 0;
    const CSampledGradient g = Jumpy(CGradientTable::ModifySize(size, shift), 1234u + static_cast<uint32_t>(size));
    CGradientTable bytes, dwords;
    ASSERT_TRUE(bytes.CreateBytes(&g, size));
    ASSERT_TRUE(dwords.CreateDwords(&g, size));
    std::vector<uint8_t> outBytes(n + 1, 0xA5);
    std::vector<uint32_t> outDwords(n + 1, 0xA5A5A5A5u);
    bytes.GetParallelBytes(positions.data(), outBytes.data(), n);
    dwords.GetParallelDwords(positions.data(), outDwords.data(), n);
    for (int k = 0; k < n; ++k) {
      ASSERT_EQ(outBytes[k], bytes.GetByteValue(positions[k])) << "bytes, size " << size << " pos " << positions[k];
      ASSERT_EQ(outDwords[k], dwords.GetDwordValue(positions[k])) << "dwords, size " << size << " pos " << positions[k];
    }
    // Nothing written past count.
    EXPECT_EQ(outBytes[n], 0xA5);
    EXPECT_EQ(outDwords[n], 0xA5A5A5A5u);
  }
}

// Short runs from odd offsets: every tail length, unaligned input and output.
TEST(GradientTableParallel, TailsAndOffsets) {
  const CSampledGradient g = Jumpy(65, 99u);
  CGradientTable bytes, dwords;
  ASSERT_TRUE(bytes.CreateBytes(&g, 64));
  ASSERT_TRUE(dwords.CreateDwords(&g, 64));
  std::vector<uint16_t> positions;
  for (int k = 0; k < 64; ++k) positions.push_back(static_cast<uint16_t>((k * 5119 + 77) % 32768));
  for (int offset = 0; offset < 3; ++offset) {
    for (int count = 0; count <= 19; ++count) {
      // Guards on both sides of the output must stay as they were.
      std::vector<uint8_t> outBytes(count + 8, 0x5A), wantBytes(outBytes);
      std::vector<uint32_t> outDwords(count + 8, 0x5A5A5A5Au), wantDwords(outDwords);
      for (int k = 0; k < count; ++k) {
        wantBytes[k + 1] = bytes.GetByteValue(positions[offset + k]);
        wantDwords[k + 1] = dwords.GetDwordValue(positions[offset + k]);
      }
      bytes.GetParallelBytes(positions.data() + offset, outBytes.data() + 1, count);
      dwords.GetParallelDwords(positions.data() + offset, outDwords.data() + 1, count);
      EXPECT_EQ(outBytes, wantBytes) << "offset " << offset << " count " << count;
      EXPECT_EQ(outDwords, wantDwords) << "offset " << offset << " count " << count;
    }
  }
}

// Fill form: pixel k reads (start + k * step) >> 16 kept within 0..32767.
TEST(GradientTableParallel, FillPositionsStepAndStickToTheEnds) {
  const struct {
    int64_t start, step;
    int count;
  } cases[] = {
      {0, int64_t{1} << 31 >> 12, 4096},                       // a 4096-pixel row over the whole gradient
      {0, (int64_t{1} << 31) / 1000, 1000},                    // a step with a fraction
      {-(int64_t{300} << 16), int64_t{90} << 16, 501},         // starts before the gradient, runs past its end
      {int64_t{32767} << 16, -(int64_t{1} << 31) / 777, 800},  // backwards
      {12345, 0, 13},                                          // constant
      {int64_t{40000} << 16, int64_t{1} << 16, 9},             // entirely past the end
      {0, int64_t{1} << 40, 17},                               // huge step
      {int64_t{5} << 16, int64_t{3} << 15, 7},                 // shorter than one vector
  };
  const CSampledGradient g = Jumpy(257, 7u);
  CGradientTable bytes, dwords;
  ASSERT_TRUE(bytes.CreateBytes(&g, 256));
  ASSERT_TRUE(dwords.CreateDwords(&g, 256));
  for (const auto& c : cases) {
    std::vector<uint8_t> outBytes(c.count + 1, 0x3C);
    std::vector<uint32_t> outDwords(c.count + 1, 0x3C3C3C3Cu);
    bytes.GetParallelBytes(c.start, c.step, outBytes.data(), c.count);
    dwords.GetParallelDwords(c.start, c.step, outDwords.data(), c.count);
    for (int k = 0; k < c.count; ++k) {
      const int64_t p = (c.start + c.step * k) >> 16;
      const auto pos = static_cast<uint16_t>(p < 0 ? 0 : p > 32767 ? 32767 : p);
      ASSERT_EQ(outBytes[k], bytes.GetByteValue(pos)) << "start " << c.start << " step " << c.step << " pixel " << k;
      ASSERT_EQ(outDwords[k], dwords.GetDwordValue(pos)) << "start " << c.start << " step " << c.step << " pixel " << k;
    }
    EXPECT_EQ(outBytes[c.count], 0x3C);
    EXPECT_EQ(outDwords[c.count], 0x3C3C3C3Cu);
  }
}

TEST(GradientTableParallel, WithoutATableEverythingIsZero) {
  CGradientTable table;
  const uint16_t positions[11] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 32767};
  std::vector<uint8_t> bytes(11, 0xEE);
  std::vector<uint32_t> dwords(11, 0xEEEEEEEEu);
  table.GetParallelBytes(positions, bytes.data(), 11);
  table.GetParallelDwords(int64_t{0}, int64_t{1} << 16, dwords.data(), 11);
  EXPECT_EQ(bytes, std::vector<uint8_t>(11, 0));
  EXPECT_EQ(dwords, std::vector<uint32_t>(11, 0u));
}

}  // namespace
