// Gradient tables: building a 257-entry table from a solid gradient, and a
// 4096 x 4096 32-bit horizontal linear gradient filled row by row through the
// table's SSE2 fill lookup, against pixman's linear gradient composited with
// SRC onto an image of the same size, and against a memset of the same bytes
// (the floor any fill of that much memory pays).
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cstring>
#include <vector>

#include <kernel/Gradient.h>
#include <kernel/GradientTable.h>

namespace {

using Kernel::CGradientSolid;
using Kernel::CGradientTable;

constexpr int kSize = 4096;
constexpr uint32_t kStart = 0xFF2080E0u;  // red 0xE0, green 0x80, blue 0x20, opaque
constexpr uint32_t kEnd = 0x8040F010u;    // red 0x10, green 0xF0, blue 0x40, half transparent

// One 16-byte aligned 4096 x 4096 32-bit pixel block, shared by the three
// fills so they write the same memory.
uint32_t* Pixels() {
  static std::vector<uint32_t> pixels(size_t{kSize} * kSize + 4);
  auto* p = pixels.data();
  while (reinterpret_cast<uintptr_t>(p) % 16 != 0) ++p;
  return p;
}

void BM_TableBuild257(benchmark::State& state) {
  CGradientSolid solid(kStart, kEnd);
  CGradientTable table;
  for (auto _ : state) {
    table.CreateDwords(&solid, 256);
    benchmark::DoNotOptimize(table.GetEndDwordValue());
  }
}

void BM_TableFill4096(benchmark::State& state) {
  CGradientSolid solid(kStart, kEnd);
  CGradientTable table;
  table.CreateDwords(&solid, 256);
  uint32_t* pixels = Pixels();
  const int64_t step = (int64_t{1} << 31) / kSize;  // the whole gradient across one row
  for (auto _ : state) {
    for (int y = 0; y < kSize; ++y) table.GetParallelDwords(step / 2, step, pixels + size_t{kSize} * y, kSize);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

// A diagonal gradient from the top left to the bottom right corner: every
// row is a different run, so pixman evaluates it per pixel too. The table
// fill starts each row further along: t = (x + y + 1) / (2 * 4096) at centres.
void BM_TableFillDiagonal4096(benchmark::State& state) {
  CGradientSolid solid(kStart, kEnd);
  CGradientTable table;
  table.CreateDwords(&solid, 256);
  uint32_t* pixels = Pixels();
  const int64_t step = (int64_t{1} << 31) / (2 * kSize);
  for (auto _ : state) {
    for (int y = 0; y < kSize; ++y) table.GetParallelDwords(step * (y + 1), step, pixels + size_t{kSize} * y, kSize);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

// pixman keeps colours as 16-bit channels and stores a8r8g8b8 premultiplied;
// the stops are the same two colours at 0 and 1.
pixman_color_t PixmanColour(uint32_t c) {
  auto wide = [](uint32_t byte) { return static_cast<uint16_t>(byte * 257); };
  return {wide(c & 0xFF), wide((c >> 8) & 0xFF), wide((c >> 16) & 0xFF), wide(c >> 24)};
}

void PixmanLinear(benchmark::State& state, int dy) {
  uint32_t* pixels = Pixels();
  pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, kSize, kSize, pixels, kSize * 4);
  const pixman_point_fixed_t p1 = {pixman_int_to_fixed(0), pixman_int_to_fixed(0)};
  const pixman_point_fixed_t p2 = {pixman_int_to_fixed(kSize), pixman_int_to_fixed(dy)};
  const pixman_gradient_stop_t stops[2] = {{pixman_double_to_fixed(0.0), PixmanColour(kStart)},
                                           {pixman_double_to_fixed(1.0), PixmanColour(kEnd)}};
  pixman_image_t* src = pixman_image_create_linear_gradient(&p1, &p2, stops, 2);
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kSize, kSize);
    benchmark::ClobberMemory();
  }
  pixman_image_unref(src);
  pixman_image_unref(dst);
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

// A horizontal gradient has identical rows, and pixman knows it: it computes
// the first scanline and reuses it for every other row.
void BM_PixmanLinear4096(benchmark::State& state) { PixmanLinear(state, 0); }
void BM_PixmanDiagonal4096(benchmark::State& state) { PixmanLinear(state, kSize); }

void BM_Memset4096(benchmark::State& state) {
  uint32_t* pixels = Pixels();
  int value = 0;
  for (auto _ : state) {
    std::memset(pixels, ++value & 0xFF, size_t{kSize} * kSize * 4);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

}  // namespace

BENCHMARK(BM_TableBuild257);
BENCHMARK(BM_TableFill4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PixmanLinear4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TableFillDiagonal4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PixmanDiagonal4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memset4096)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
