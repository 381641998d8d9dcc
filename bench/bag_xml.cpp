// Writing and reading a bag of 10 000 attributes to and from XML, in memory
// and through a file (with the atomic save).
#include <kernel/MemoryPropertyBag.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

constexpr int kAttributes = 10000;

void Fill(Kernel::CMemoryPropertyBag& bag) {
  wchar_t key[32];
  for (int i = 0; i < kAttributes; ++i) {
    std::swprintf(key, 32, L"key%d", i);
    switch (i % 5) {
      case 0:
        bag.AddAttribute(key, i);
        break;
      case 1:
        bag.AddAttribute(key, i * 0.001);
        break;
      case 2:
        bag.AddAttribute(key, L"short");
        break;
      case 3:
        bag.AddAttribute(key, CPoint(i, -i));
        break;
      default:
        bag.AddAttribute(key, L"a value long enough for the heap");
        break;
    }
  }
}

void Bag_Fill(benchmark::State& state) {
  for (auto _ : state) {
    Kernel::CXmlPropertyBag bag;
    Fill(bag);
    benchmark::DoNotOptimize(bag.GetAttributeCount());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}
BENCHMARK(Bag_Fill)->Unit(benchmark::kMillisecond);

void Bag_SaveToString(benchmark::State& state) {
  Kernel::CXmlPropertyBag bag;
  Fill(bag);
  size_t bytes = 0;
  for (auto _ : state) {
    const CStringA text = bag.SaveToString();
    bytes = static_cast<size_t>(text.GetLength());
    benchmark::DoNotOptimize(text.GetString());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(Bag_SaveToString)->Unit(benchmark::kMillisecond);

void Bag_LoadFromString(benchmark::State& state) {
  Kernel::CXmlPropertyBag source;
  Fill(source);
  const CStringA text = source.SaveToString();
  for (auto _ : state) {
    Kernel::CXmlPropertyBag bag;
    bag.LoadFromString(text.GetString(), static_cast<size_t>(text.GetLength()));
    benchmark::DoNotOptimize(bag.GetAttributeCount());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}
BENCHMARK(Bag_LoadFromString)->Unit(benchmark::kMillisecond);

std::filesystem::path TempFile() { return std::filesystem::temp_directory_path() / "nk_bench_bag.xml"; }

void Bag_SaveFile(benchmark::State& state) {
  Kernel::CXmlPropertyBag bag;
  Fill(bag);
  const CString path(TempFile().string().c_str());
  for (auto _ : state) bag.Save(path);
  state.SetItemsProcessed(state.iterations() * kAttributes);
  std::filesystem::remove(TempFile());
}
BENCHMARK(Bag_SaveFile)->Unit(benchmark::kMillisecond);

void Bag_LoadFile(benchmark::State& state) {
  Kernel::CXmlPropertyBag source;
  Fill(source);
  const CString path(TempFile().string().c_str());
  source.Save(path);
  for (auto _ : state) {
    Kernel::CXmlPropertyBag bag;
    bag.Load(path);
    benchmark::DoNotOptimize(bag.GetAttributeCount());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
  std::filesystem::remove(TempFile());
}
BENCHMARK(Bag_LoadFile)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
