// Cost of one colour sample from a solid gradient: GetQuadValueFixed at
// positions spread over the whole ramp, for 2, 8 and 64 colour stops (and as
// many opacity stops), with the full sine ease and with straight ramps.
#include <kernel/Gradient.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

Kernel::CPtr<Kernel::CGradientSolid> MakeGradient(int stops, int smoothness) {
  std::mt19937 rng{unsigned(stops)};
  auto g = Kernel::MakePtr<Kernel::CGradientSolid>();
  for (int i = 0; i < stops; ++i) {
    const double pos = stops == 1 ? 0.0 : double(i) / (stops - 1);
    const double half = 0.2 + 0.6 * double(rng() % 1000) / 1000.0;
    g->GetRGBStops().push_back(Kernel::CGradientStop(uint32_t(rng() & 0xFFFFFFu), pos, half));
    g->GetAlphaStops().push_back(Kernel::CGradientStop(uint8_t(rng()), pos, half));
  }
  g->SetSmoothness(smoothness);
  return g;
}

// A gradient table samples evenly; 4096 positions cover every segment.
constexpr int kSamples = 4096;

void Run(benchmark::State& state, int smoothness) {
  const auto g = MakeGradient(int(state.range(0)), smoothness);
  std::vector<double> ts(kSamples);
  for (int i = 0; i < kSamples; ++i) ts[i] = double(i) / (kSamples - 1);
  uint64_t sink = 0;
  for (auto _ : state) {
    for (double t : ts) sink += g->GetQuadValueFixed(t);
    benchmark::DoNotOptimize(sink);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kSamples);
  state.counters["ns/sample"] = benchmark::Counter(double(state.iterations()) * kSamples,
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_SolidQuadEased(benchmark::State& state) { Run(state, 100); }
void BM_SolidQuadStraight(benchmark::State& state) { Run(state, 0); }

}  // namespace

BENCHMARK(BM_SolidQuadEased)->Arg(2)->Arg(8)->Arg(64);
BENCHMARK(BM_SolidQuadStraight)->Arg(2)->Arg(8)->Arg(64);

BENCHMARK_MAIN();
