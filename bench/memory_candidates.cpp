// Choosing the next object to dispose of with 100 000 registered objects: the
// usual case (the oldest object can give way), the worst case (only the
// youngest can, so every other one is asked), and the bookkeeping of a Touch.
// A plain scan of a register vector, the obvious way to keep it, is measured
// beside them for scale.
#include <kernel/MemoryManager.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

namespace {

using Kernel::MemoryManager;
constexpr int kObjects = 100000;

struct Object : MemoryManager::IDisposable {
  void Dispose(bool) override {}
  bool CanDispose(bool) override { return eligible; }
  uint32_t GetChecksum() override { return 0; }
  uint64_t Measure() const override { return 4096; }
  bool eligible = true;
};

uint32_t g_now = 0;
uint32_t Clock() { return g_now; }

struct Register {
  explicit Register(bool onlyYoungestEligible) : objects(kObjects) {
    MemoryManager::SetTickSource(&Clock);
    for (int i = 0; i < kObjects; ++i) {
      g_now = static_cast<uint32_t>(i);
      objects[i].eligible = !onlyYoungestEligible || i == kObjects - 1;
      MemoryManager::GetInstance().Attach(&objects[i]);
    }
  }
  ~Register() {
    for (auto& o : objects) MemoryManager::GetInstance().Detach(&o);
    MemoryManager::SetTickSource(nullptr);
  }
  std::vector<Object> objects;
};

void CandidateOldestEligible(benchmark::State& state) {
  Register r(false);
  for (auto _ : state) benchmark::DoNotOptimize(MemoryManager::GetInstance().GetNextRecoveryCandidate(true));
}

void CandidateOnlyYoungestEligible(benchmark::State& state) {
  Register r(true);
  for (auto _ : state) benchmark::DoNotOptimize(MemoryManager::GetInstance().GetNextRecoveryCandidate(true));
}

void TouchRandom(benchmark::State& state) {
  Register r(false);
  std::mt19937 random(7);
  for (auto _ : state) {
    ++g_now;
    MemoryManager::GetInstance().Touch(&r.objects[random() % kObjects]);
  }
}

// The reference: every object's tick in a vector, scanned in full.
void PlainVectorScan(benchmark::State& state) {
  std::vector<std::pair<Object*, uint32_t>> records;
  std::vector<Object> objects(kObjects);
  for (int i = 0; i < kObjects; ++i) records.push_back({&objects[i], static_cast<uint32_t>(i)});
  for (auto _ : state) {
    uint32_t best = 0xFFFFFFFFu;
    Object* found = nullptr;
    for (auto& [o, tick] : records)
      if (tick < best && o->CanDispose(true)) {
        best = tick;
        found = o;
      }
    benchmark::DoNotOptimize(found);
  }
}

}  // namespace

BENCHMARK(CandidateOldestEligible);
BENCHMARK(CandidateOnlyYoungestEligible)->Unit(benchmark::kMicrosecond);
BENCHMARK(TouchRandom);
BENCHMARK(PlainVectorScan)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
