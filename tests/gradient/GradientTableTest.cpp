// Gradient table: sizes, masks, curves, the fixed-point lookup, channel
// selection and the parallel lookups.
#include <kernel/Gradient.h>
#include <kernel/GradientTable.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using gradient_test::CFunctionGradient;
using gradient_test::CSampledGradient;
using gradient_test::Quad;
using Kernel::CGradientTable;
using Kernel::GradMask;

TEST(GradientTableSize, ModifySizeRoundsDownToPowerOfTwoPlusOne) {
  struct Case {
    int n, size, shift;
  };
  for (const Case& c : {Case{100, 65, 6}, Case{256, 257, 8}, Case{1, 1, 0}, Case{0, 1, 0}, Case{-7, 1, 0},
                        Case{INT_MIN, 1, 0}, Case{2, 3, 1}, Case{3, 3, 1}, Case{4, 5, 2}, Case{5, 5, 2}, Case{6, 5, 2},
                        Case{255, 129, 7}, Case{257, 257, 8}, Case{1023, 513, 9}, Case{32768, 32769, 15},
                        Case{32769, 32769, 15}, Case{1 << 20, 32769, 15}, Case{INT_MAX, 32769, 15}}) {
    int shift = -1;
    EXPECT_EQ(CGradientTable::ModifySize(c.n, shift), c.size) << "n = " << c.n;
    EXPECT_EQ(shift, c.shift) << "n = " << c.n;
  }
}

TEST(GradientTableSize, MasksSplitFifteenBitsAfterEveryBuild) {
  const struct {
    int request, count;
    uint16_t indexMask, indexShift, fractionMask, fractionShift;
  } cases[] = {
      {100, 65, 0xFE00, 9, 0x01FF, 6}, {256, 257, 0xFF80, 7, 0x007F, 8},    {2, 3, 0xC000, 14, 0x3FFF, 1},
      {1, 1, 0x8000, 15, 0x7FFF, 0},   {4096, 4097, 0xFFF8, 3, 0x0007, 12}, {40000, 32769, 0xFFFF, 0, 0x0000, 15},
  };
  const CFunctionGradient ramp([](double t) { return t; }, [](double t) { return t; });
  for (const auto& c : cases) {
    for (int kind = 0; kind < 2; ++kind) {
      CGradientTable table;
      ASSERT_TRUE(kind == 0 ? table.CreateBytes(&ramp, c.request) : table.CreateDwords(&ramp, c.request));
      EXPECT_EQ(std::make_tuple(table.GetSize(), table.GetIndexMask(), table.GetIndexShift(), table.GetFractionMask(),
                                table.GetFractionShift()),
                std::make_tuple(c.count, c.indexMask, c.indexShift, c.fractionMask, c.fractionShift))
          << c.request << (kind == 0 ? " bytes" : " dwords");
    }
  }
}

CGradientTable Curved(double bias, double gain, bool reverse = false) {
  CGradientTable table;
  table.SetBias(bias);
  table.SetGain(gain);
  table.SetReverse(reverse);
  return table;
}

// The getters disagree on purpose: bias reads the stored value (0.0 shows as
// 0.5), gain reads the switch.
TEST(GradientTableCurves, GettersAndSwitches) {
  struct Case {
    bool gain;
    double set, reported;
    bool enabled;
  };
  for (const Case& c :
       {Case{false, 0.0, 0.5, true}, Case{false, 0.25, 0.25, true}, Case{false, 0.5, 0.5, false},
        Case{false, 0.5000001, 0.5000001, false}, Case{false, 0.500002, 0.500002, true}, Case{false, 1.0, 1.0, true},
        Case{true, 0.5000001, 0.5, false}, Case{true, 0.4999999, 0.5, false}, Case{true, 0.8, 0.8, true},
        Case{true, 0.0, 0.0, true}, Case{true, 0.5, 0.5, false}}) {
    CGradientTable table;
    c.gain ? table.SetGain(c.set) : table.SetBias(c.set);
    EXPECT_EQ(c.gain ? table.GetGain() : table.GetBias(), c.reported) << c.set << (c.gain ? " gain" : " bias");
    EXPECT_EQ(c.gain ? table.IsGainEnabled() : table.IsBiasEnabled(), c.enabled)
        << c.set << (c.gain ? " gain" : " bias");
  }
  const CGradientTable fresh;
  EXPECT_EQ(std::make_tuple(fresh.GetBias(), fresh.GetGain(), fresh.IsBiasEnabled(), fresh.IsGainEnabled(),
                            fresh.IsAlphaEnabled(), fresh.IsReversed()),
            std::make_tuple(0.5, 0.5, false, false, true, false));
}

// Schlick's forms, written the textbook way: bias_b(t) = t / ((1/b - 2)(1 - t) + 1),
// gain_g(t) = bias_{1-g}(2t) / 2 below one half, 1 - bias_{1-g}(2 - 2t) / 2 above.
double SchlickBias(double b, double t) { return t / ((1.0 / b - 2.0) * (1.0 - t) + 1.0); }
double SchlickGain(double g, double t) {
  return t < 0.5 ? SchlickBias(1.0 - g, 2.0 * t) / 2.0 : 1.0 - SchlickBias(1.0 - g, 2.0 - 2.0 * t) / 2.0;
}

TEST(GradientTableCurves, BiasAndGainFollowSchlick) {
  const double ts[] = {0.0, 0.1, 0.25, 0.4, 0.5, 0.6, 0.75, 0.9, 1.0};
  for (const double v : {0.1, 0.2, 0.35, 0.65, 0.8, 0.95}) {
    const CGradientTable table = Curved(v, v);
    for (const double t : ts) {
      EXPECT_NEAR(table.DoBias(t), SchlickBias(v, t), 1e-12) << "bias " << v << " t " << t;
      EXPECT_NEAR(table.DoGain(t), SchlickGain(v, t), 1e-12) << "gain " << v << " t " << t;
    }
    // The defining points: bias(1/2) = b, gain(1/4) = (1 - g) / 2.
    EXPECT_NEAR(table.DoBias(0.5), v, 1e-12);
    EXPECT_NEAR(table.DoGain(0.25), (1.0 - v) / 2.0, 1e-12);
    EXPECT_NEAR(table.DoGain(0.5), 0.5, 1e-12);
  }
  // By hand: bias 0.2 has k = 3, at t = 0.25 the divisor is 4 - 0.75.
  EXPECT_DOUBLE_EQ(Curved(0.2, 0.5).DoBias(0.25), 1.0 / 13.0);
}

TEST(GradientTableCurves, DisabledOrDegenerateCurvesLeaveTUnchanged) {
  const struct { double bias, gain; } cases[] = {{0.5, 0.5}, {0.0, 1.0}, {0.5000005, 0.4999995}};
  for (const auto& c : cases) {
    // Each curve was on with a real value first and is switched off again.
    CGradientTable table = Curved(0.3, 0.3);
    table.SetBias(c.bias);
    table.SetGain(c.gain);
    for (const double t : {0.0, 0.3, 0.5, 0.7, 1.0}) {
      EXPECT_EQ(table.DoBias(t), t) << c.bias;
      EXPECT_EQ(table.DoGain(t), t) << c.gain;
    }
  }
}

// A linear ramp: entry i of either kind of table must be the ramp at the
// curve of i / (n - 1), reversal applied last. Both curves were on before,
// so switching one off again must take.
TEST(GradientTableBuild, EntriesSampleTheCurvedPositions) {
  const struct {
    double bias, gain;
    bool reverse;
  } cases[] = {{0.5, 0.5, false}, {0.5, 0.5, true}, {0.3, 0.5, false}, {0.5, 0.75, false},
               {0.7, 0.2, false}, {0.3, 0.5, true}, {0.7, 0.2, true}};
  const CFunctionGradient ramp([](double t) { return t; }, [](double t) { return t; });
  for (const auto& c : cases) {
    CGradientTable table = Curved(0.8, 0.8);
    table.SetBias(c.bias);
    table.SetGain(c.gain);
    table.SetReverse(c.reverse);
    std::vector<long> expected;
    for (int i = 0; i < 33; ++i) {
      double t = i / 32.0;
      if (c.bias != 0.5) t = SchlickBias(c.bias, t);
      if (c.gain != 0.5) t = SchlickGain(c.gain, t);
      expected.push_back(std::lround((c.reverse ? 1.0 - t : t) * 32640));
    }
    ASSERT_TRUE(table.CreateBytes(&ramp, 32));
    ASSERT_EQ(table.GetSize(), 33);
    for (int i = 0; i < 33; ++i)
      EXPECT_EQ(table.GetByteEntry(i), expected[i]) << i << " bias " << c.bias << " gain " << c.gain;
    ASSERT_TRUE(table.CreateDwords(&ramp, 32));
    for (int i = 0; i < 33; ++i)
      EXPECT_EQ(table.GetDwordEntry(i, 0), expected[i]) << i << " bias " << c.bias << " gain " << c.gain;
    if (c.bias != 0.5 || c.gain != 0.5 || c.reverse) continue;
    // Linear entries interpolate to the ramp itself, within the lookup's rounding.
    for (int pos = 0; pos < 32768; pos += 97)
      EXPECT_NEAR(table.GetDwordValue(static_cast<uint16_t>(pos)) & 0xFF, pos / 32768.0 * 255, 1.0) << pos;
  }
}

// Five hand-picked entries: 63, 10063, 65, 0, 32640 (index shift 13, fraction
// moved up by 2). Each row is worked by hand from the lookup rule.
struct HandCase {
  uint16_t pos;
  uint8_t value;
  const char* why;
};
constexpr uint16_t kHandEntries[5] = {63, 10063, 65, 0, 32640};
constexpr HandCase kHandCases[] = {
    {0, 0, "(63 + 64) >> 7"},
    {1, 0, "f = 4: 4 * 10000 >> 15 = 1, lowest bit cleared: 63 stays below the rounding step"},
    {4096, 40, "half way: 63 + 5000 = 5063"},
    {8191, 79, "f = 32764: 9998 after clearing, v = 10061"},
    {8192, 79, "entry 1 exactly: (10063 + 64) >> 7"},
    {8193, 79, "descending: -39992 >> 15 = -2, v = 10061"},
    {16384, 1, "entry 2 exactly: (65 + 64) >> 7"},
    {16385, 0, "descending by 65: -260 >> 15 = -1, cleared to -2, v = 63"},
    {24576, 0, "entry 3"},
    {28672, 128, "half of 32640"},
    {32767, 255, "f = 32764: 32636, v + 64 = 32700"},
    {32768, 255, "past the end reads 32767"},
    {65535, 255, "past the end reads 32767"},
};

TEST(GradientTableLookup, HandWorkedByteValues) {
  const CSampledGradient g({kHandEntries, kHandEntries + 5}, {});
  CGradientTable table;
  ASSERT_TRUE(table.CreateBytes(&g, 4));
  ASSERT_EQ(table.GetSize(), 5);
  for (int i = 0; i < 5; ++i) ASSERT_EQ(table.GetByteEntry(i), kHandEntries[i]);
  for (const auto& c : kHandCases) EXPECT_EQ(table.GetByteValue(c.pos), c.value) << c.pos << ": " << c.why;
}

TEST(GradientTableLookup, HandWorkedValuesInEachChannel) {
  for (int channel = 0; channel < 4; ++channel) {
    std::vector<uint64_t> quads;
    // The other channels hold 32640 down to 0 so a mix-up between lanes shows.
    const uint16_t others[5] = {32640, 24480, 16320, 8160, 0};
    for (int i = 0; i < 5; ++i) {
      uint16_t ch[4] = {others[i], others[i], others[i], others[i]};
      ch[channel] = kHandEntries[i];
      quads.push_back(Quad(ch[0], ch[1], ch[2], ch[3]));
    }
    const CSampledGradient g({}, quads);
    CGradientTable table;
    ASSERT_TRUE(table.CreateDwords(&g, 5));
    for (const auto& c : kHandCases) {
      const uint32_t v = table.GetDwordValue(c.pos);
      EXPECT_EQ((v >> (8 * channel)) & 0xFF, c.value) << "channel " << channel << " pos " << c.pos << ": " << c.why;
      // The others are a straight ramp 255 -> 0 over the whole table.
      const int other = (channel + 1) % 4;
      const int pos = c.pos > 32767 ? 32767 : c.pos;
      EXPECT_NEAR(static_cast<double>((v >> (8 * other)) & 0xFF), 255.0 - pos / 32768.0 * 255.0, 1.0) << pos;
    }
  }
}

TEST(GradientTableLookup, DoublePositionsRoundHalfAwayAndStopShortOfTheEnd) {
  const CSampledGradient g({kHandEntries, kHandEntries + 5}, {});
  CGradientTable table;
  ASSERT_TRUE(table.CreateBytes(&g, 5));
  struct Case {
    double t;
    uint16_t pos;
  };
  for (const Case& c :
       {Case{0.0, 0}, Case{1.0, 32767}, Case{1.5, 32767}, Case{-0.25, 0}, Case{0.25, 8192}, Case{0.5, 16384},
        Case{16384.5 / 32768, 16385}, Case{16384.49 / 32768, 16384}, Case{8190.5 / 32768, 8191}, Case{std::nan(""), 0}})
    EXPECT_EQ(table.GetByteValue(c.t), table.GetByteValue(c.pos)) << c.t;
  // 1.0 reads the last interval's far end, not the last entry: 255 from 32636.
  EXPECT_EQ(table.GetByteValue(1.0), 255);
  EXPECT_EQ(table.GetByteValue(16384.5 / 32768), 0);  // rounded up onto the descending quirk
}

TEST(GradientTableLookup, StartAndEndValues) {
  const CSampledGradient g({200, 5000, 32000}, {Quad(0, 128, 32640, 64), Quad(1, 1, 1, 1), Quad(32640, 191, 63, 0)});
  CGradientTable table;
  ASSERT_TRUE(table.CreateBytes(&g, 2));
  EXPECT_EQ(table.GetStartByteValue(), (200 + 64) >> 7);
  EXPECT_EQ(table.GetEndByteValue(), (32000 + 64) >> 7);
  EXPECT_EQ(table.GetStartDwordValue(), 0u);  // no four-channel table now
  ASSERT_TRUE(table.CreateDwords(&g, 2));
  EXPECT_EQ(table.GetStartDwordValue(), 0x01FF0100u);  // 64 rounds up, 128 is exactly 1
  EXPECT_EQ(table.GetEndDwordValue(), 0x000001FFu);    // 191 -> 1, 63 -> 0
  EXPECT_EQ(table.GetStartByteValue(), 0);             // the build freed the single-value table
  EXPECT_FALSE(table.HasByteTable());
}

TEST(GradientTableLookup, EmptyAndOneEntryTables) {
  CGradientTable table;
  EXPECT_EQ(table.GetByteValue(uint16_t{100}), 0);
  EXPECT_EQ(table.GetDwordValue(0.5), 0u);
  EXPECT_FALSE(table.CreateBytes(nullptr, 64));
  EXPECT_EQ(table.GetSize(), 0);

  // Below 2 entries: one entry, the gradient's start, read at every position.
  const CFunctionGradient ramp([](double t) { return 0.25 + t / 2; });
  for (const int request : {1, 0, -3}) {
    ASSERT_TRUE(table.CreateBytes(&ramp, request));
    EXPECT_EQ(table.GetSize(), 1);
    EXPECT_EQ(table.GetByteEntry(0), 8160);
    for (const int pos : {0, 1, 16384, 32767}) EXPECT_EQ(table.GetByteValue(static_cast<uint16_t>(pos)), 64) << pos;
  }
  table.Clear();
  EXPECT_EQ(table.GetSize(), 0);
  EXPECT_FALSE(table.HasByteTable());
  EXPECT_EQ(table.GetStartByteValue(), 0);
}

TEST(GradientTableLookup, EntriesAreKeptWithinFullScale) {
  // 0xFFF0 is a wrapped undershoot (-16), 32700 an overshoot past full.
  const CSampledGradient g({0xFFF0, 32700, 32640}, {Quad(0xFFF0, 32700, 32640, 100)});
  CGradientTable table;
  ASSERT_TRUE(table.CreateBytes(&g, 2));
  EXPECT_EQ(table.GetByteEntry(0), 0);
  EXPECT_EQ(table.GetByteEntry(1), 32640);
  ASSERT_TRUE(table.CreateDwords(&g, 2));
  EXPECT_EQ(table.GetDwordEntry(0, 0), 0);
  EXPECT_EQ(table.GetDwordEntry(0, 1), 32640);
  EXPECT_EQ(table.GetDwordEntry(0, 3), 100);
}

TEST(GradientTableChannels, MaskAndAlphaSwitchSelectChannels) {
  // Every channel distinct: red 0x11, green 0x22, blue 0x33, alpha 0x44.
  const CSampledGradient g({}, {Quad(0x11 << 7, 0x22 << 7, 0x33 << 7, 0x44 << 7)});
  struct Case {
    GradMask mask;
    bool alpha;
    uint32_t expected;
  };
  for (const Case& c :
       {Case{GradMask::All, true, 0x44332211u}, Case{GradMask::Colour, true, 0xFF332211u},
        Case{GradMask::Red | GradMask::Alpha, true, 0x44000011u}, Case{GradMask::Green, true, 0xFF002200u},
        Case{GradMask::Alpha, true, 0x44000000u}, Case{GradMask::None, true, 0xFF000000u},
        Case{GradMask::All, false, 0xFF332211u}, Case{GradMask::Alpha | GradMask::Blue, false, 0xFF330000u}}) {
    CGradientTable table;
    table.EnableAlpha(c.alpha);
    ASSERT_TRUE(table.CreateDwords(&g, 16, c.mask));
    EXPECT_EQ(table.GetDwordValue(uint16_t{5000}), c.expected) << static_cast<uint32_t>(c.mask) << " " << c.alpha;
    uint32_t direct[3] = {};
    table.OutputDwords(&g, direct, 3, c.mask);
    for (const uint32_t v : direct) EXPECT_EQ(v, c.expected);
  }
}

// Writing samples straight out gives the entries a table of the same size
// holds, curves and reversal included.
TEST(GradientTableOutput, MatchesTableEntries) {
  const CFunctionGradient g([](double t) { return t * t; }, [](double t) { return t; }, [](double t) { return 1 - t; },
                            [](double t) { return std::sin(t * 3) * 0.5 + 0.5; }, [](double t) { return 0.5 + t / 4; });
  const struct {
    double bias, gain;
    bool reverse;
    int size;
  } cases[] = {{0.5, 0.5, false, 17}, {0.3, 0.5, true, 33}, {0.5, 0.8, false, 65}, {0.7, 0.35, true, 9}};
  for (const auto& c : cases) {
    CGradientTable table = Curved(c.bias, c.gain, c.reverse);
    std::vector<uint8_t> bytes(c.size);
    std::vector<uint32_t> dwords(c.size);
    table.OutputBytes(&g, bytes.data(), c.size);
    table.OutputDwords(&g, dwords.data(), c.size);
    ASSERT_TRUE(table.CreateBytes(&g, c.size));
    ASSERT_EQ(table.GetSize(), c.size);
    for (int i = 0; i < c.size; ++i) EXPECT_EQ(bytes[i], (table.GetByteEntry(i) + 64) >> 7) << i;
    ASSERT_TRUE(table.CreateDwords(&g, c.size));
    const int step = 32768 / (c.size - 1);
    for (int i = 0; i + 1 < c.size; ++i) EXPECT_EQ(dwords[i], table.GetDwordValue(static_cast<uint16_t>(i * step)));
    EXPECT_EQ(dwords[c.size - 1], table.GetEndDwordValue());
    EXPECT_EQ(dwords[0], table.GetStartDwordValue());
  }
}

TEST(GradientTableSolid, ReversedTableStartsWithTheEndColour) {
  Kernel::CGradientSolid solid(0xFF0000FFu, 0x8000FF00u);  // opaque red to half-transparent green
  for (const bool reverse : {false, true}) {
    CGradientTable table;
    table.SetReverse(reverse);
    ASSERT_TRUE(table.CreateDwords(&solid, 256));
    const uint64_t first = solid.GetQuadValueFixed(reverse ? 1.0 : 0.0);
    const uint64_t last = solid.GetQuadValueFixed(reverse ? 0.0 : 1.0);
    for (int c = 0; c < 4; ++c) {
      EXPECT_EQ(table.GetDwordEntry(0, c), static_cast<int16_t>(first >> (16 * c))) << c;
      EXPECT_EQ(table.GetDwordEntry(256, c), static_cast<int16_t>(last >> (16 * c))) << c;
    }
    EXPECT_EQ(table.GetStartDwordValue(), reverse ? 0x8000FF00u : 0xFF0000FFu);
    EXPECT_EQ(table.GetEndDwordValue(), reverse ? 0xFF0000FFu : 0x8000FF00u);
    ASSERT_TRUE(table.CreateBytes(&solid, 256));
    EXPECT_EQ(table.GetByteEntry(0), static_cast<int16_t>(solid.GetSingleValueFixed(reverse ? 1.0 : 0.0)));
  }
}

TEST(GradientTableCopy, CopiesAreIndependentAndMovesEmptyTheSource) {
  const CFunctionGradient ramp([](double t) { return t; }, [](double t) { return t; });
  CGradientTable table;
  table.SetBias(0.3);
  table.SetReverse(true);
  ASSERT_TRUE(table.CreateDwords(&ramp, 64));
  CGradientTable copy(table);
  EXPECT_EQ(copy.GetBias(), 0.3);
  EXPECT_TRUE(copy.IsReversed());
  for (int pos = 0; pos < 32768; pos += 1021)
    EXPECT_EQ(copy.GetDwordValue(static_cast<uint16_t>(pos)), table.GetDwordValue(static_cast<uint16_t>(pos)));
  table.Clear();
  EXPECT_EQ(copy.GetSize(), 65);
  EXPECT_NE(copy.GetStartDwordValue(), 0u);

  CGradientTable moved(std::move(copy));
  EXPECT_EQ(moved.GetSize(), 65);
  EXPECT_EQ(copy.GetSize(), 0);  // NOLINT(bugprone-use-after-move): the moved-from state is defined
  EXPECT_FALSE(copy.HasDwordTable());
  table = moved;
  EXPECT_EQ(table.GetEndDwordValue(), moved.GetEndDwordValue());
}

// --- Parallel lookups ----------------------------------------------------

// The SSE2 lookups against the scalar ones: every position, several table
// sizes, tails of every length, and the fill form's start and step.
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
