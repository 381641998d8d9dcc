// The growth path: a block grown by 1 KiB appends (SetSizeGrow, capacity up
// by half each time it runs out) up to 256 MiB, against the same appends to
// a std::vector<uint8_t> (capacity doubled).
#include <kernel/RawData.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

using Block = Kernel::RefRawData<Kernel::Allocator>;
constexpr size_t kChunk = 1024;

void BlockAppends(benchmark::State& state) {
  const auto total = static_cast<uint64_t>(state.range(0));
  unsigned char chunk[kChunk];
  std::memset(chunk, 0x33, sizeof chunk);
  for (auto _ : state) {
    Block block;
    for (uint64_t size = 0; size < total; size += kChunk) {
      if (!block.SetSizeGrow(size + kChunk)) state.SkipWithError("growth failed");
      std::memcpy(block.GetData() + size, chunk, kChunk);
    }
    benchmark::DoNotOptimize(block.GetConstData());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * total));
}

void VectorAppends(benchmark::State& state) {
  const auto total = static_cast<uint64_t>(state.range(0));
  unsigned char chunk[kChunk];
  std::memset(chunk, 0x33, sizeof chunk);
  for (auto _ : state) {
    std::vector<uint8_t> v;
    for (uint64_t size = 0; size < total; size += kChunk) v.insert(v.end(), chunk, chunk + kChunk);
    benchmark::DoNotOptimize(v.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * total));
}

}  // namespace

BENCHMARK(BlockAppends)->RangeMultiplier(16)->Range(1 << 20, 256 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(VectorAppends)->RangeMultiplier(16)->Range(1 << 20, 256 << 20)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
