// Whole-bitmap L*u*v* conversion of a 4096 x 4096 32-bit RGB bitmap, beside
// a memcpy of the same input bytes and babl's conversion of the same pixels
// to CIE L*a*b* floats (babl has no L*u*v*; L*a*b* costs the same cube root
// and a comparable matrix). Mpixel/s and items_per_second are both per CPU
// second.
#include <benchmark/benchmark.h>
#include <babl/babl.h>

#include <cstring>
#include <random>
#include <vector>

#include <kernel/LUV.h>
#include <kernel/MemoryBitmap.h>

using namespace Kernel;

namespace {

constexpr int N = 4096;
constexpr int64_t Pixels = int64_t{N} * N;

// Random pixels: every pixel a new colour, the worst case for the run cache.
CPtr<CMemoryBitmap> Noise() {
  CPtr<CMemoryBitmap> b(new CMemoryBitmap(N, N, 32, ColourOrder::Rgb));
  std::mt19937 rng(7);
  uint8_t* p = b->GetBitsBase();
  for (size_t i = 0; i < static_cast<size_t>(Pixels); ++i) {
    const uint32_t v = rng() | 0xFF000000u;
    std::memcpy(p + 4 * i, &v, 4);
  }
  return b;
}

// A smooth picture-like image: gradients with flat bands, so that runs of
// one colour occur as they do in screenshots and artwork.
CPtr<CMemoryBitmap> Picture() {
  CPtr<CMemoryBitmap> b(new CMemoryBitmap(N, N, 32, ColourOrder::Rgb));
  for (int y = 0; y < N; ++y) {
    uint8_t* row = b->GetBits(CPoint(0, y));
    for (int x = 0; x < N; ++x) {
      const uint32_t r = static_cast<uint32_t>(x / 16), g = static_cast<uint32_t>(y / 16),
                     bl = static_cast<uint32_t>(((x / 64) * 7 + (y / 64) * 3) & 0xFF);
      const uint32_t v = 0xFF000000u | (r << 16) | (g << 8) | bl;
      std::memcpy(row + 4 * x, &v, 4);
    }
  }
  return b;
}

void Rate(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * Pixels);
  state.counters["Mpixel/s"] =
      benchmark::Counter(static_cast<double>(Pixels) / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ConvertRGBtoLUV_Noise(benchmark::State& state) {
  auto b = Noise();
  std::vector<float> out(static_cast<size_t>(Pixels) * 3);
  float ranges[6];
  for (auto _ : state) {
    RGBLUVConversions::ConvertRGBtoLUV(b.Get(), out.data(), state.range(0) != 0, ranges);
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_ConvertRGBtoLUV_Noise)->Arg(0)->Arg(1)->ArgName("normalise")->Unit(benchmark::kMillisecond);

void BM_ConvertRGBtoLUV_Picture(benchmark::State& state) {
  auto b = Picture();
  std::vector<float> out(static_cast<size_t>(Pixels) * 3);
  float ranges[6];
  for (auto _ : state) {
    RGBLUVConversions::ConvertRGBtoLUV(b.Get(), out.data(), false, ranges);
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_ConvertRGBtoLUV_Picture)->Unit(benchmark::kMillisecond);

void BM_ConvertRGBToL_Bytes_Noise(benchmark::State& state) {
  auto b = Noise();
  std::vector<uint8_t> out(static_cast<size_t>(Pixels));
  for (auto _ : state) {
    RGBLUVConversions::ConvertRGBToL(b.Get(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_ConvertRGBToL_Bytes_Noise)->Unit(benchmark::kMillisecond);

// Per-colour calls in a plain loop, for comparison with the bitmap walk.
void BM_RGBtoLUV_PerColour_Noise(benchmark::State& state) {
  auto b = Noise();
  std::vector<float> out(static_cast<size_t>(Pixels) * 3);
  const uint8_t* p = b->GetBitsBase();
  for (auto _ : state) {
    for (size_t i = 0; i < static_cast<size_t>(Pixels); ++i) {
      uint32_t w;
      std::memcpy(&w, p + 4 * i, 4);
      const uint32_t c = ((w >> 16) & 0xFF) | (w & 0xFF00) | ((w & 0xFF) << 16);
      RGBLUVConversions::RGBtoLUV(c, &out[3 * i]);
    }
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_RGBtoLUV_PerColour_Noise)->Unit(benchmark::kMillisecond);

void BM_Memcpy_InputBytes(benchmark::State& state) {
  auto b = Noise();
  std::vector<uint8_t> out(static_cast<size_t>(Pixels) * 4);
  for (auto _ : state) {
    std::memcpy(out.data(), b->GetBitsBase(), out.size());
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_Memcpy_InputBytes)->Unit(benchmark::kMillisecond);

void BM_Babl_RGBA8_to_CIELab_float(benchmark::State& state) {
  babl_init();
  auto b = Noise();
  const Babl* fish = babl_fish(babl_format("R'G'B'A u8"), babl_format("CIE Lab float"));
  std::vector<float> out(static_cast<size_t>(Pixels) * 3);
  for (auto _ : state) {
    babl_process(fish, b->GetBitsBase(), out.data(), Pixels);
    benchmark::DoNotOptimize(out.data());
  }
  Rate(state);
}
BENCHMARK(BM_Babl_RGBA8_to_CIELab_float)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
