// Constructing variants of each kind and converting them to text and back,
// beside the same work done with std::to_chars / std::from_chars and
// std::string in the same run.
#include <kernel/Variant.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <string>
#include <vector>

namespace {

// --- int -------------------------------------------------------------------------------
void Variant_Int(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    const CVariant v(i++ * 7919);
    const CVariant text(v.GetString());
    benchmark::DoNotOptimize(static_cast<int>(text));
  }
}
BENCHMARK(Variant_Int);

void Baseline_Int(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    char buffer[16];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, i++ * 7919);
    const std::string text(buffer, r.ptr);
    int back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(Baseline_Int);

// --- double: "%.15g" and back -------------------------------------------------------------
const double kDoubles[] = {3.14159265358979, 0.1, -2.5e-7, 6.02214076e23, 1234.5678, 1.0 / 3};

void Variant_Double(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    const CVariant v(kDoubles[i++ % 6]);
    const CVariant text(v.GetString());
    benchmark::DoNotOptimize(static_cast<double>(text));
  }
}
BENCHMARK(Variant_Double);

// The narrow text form, the one a bag writer or a UTF-8 consumer uses.
void Variant_DoubleUtf8(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    const CVariant v(kDoubles[i++ % 6]);
    const CVariant text(v.GetStringA());
    benchmark::DoNotOptimize(static_cast<double>(text));
  }
}
BENCHMARK(Variant_DoubleUtf8);

void Baseline_Double(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    char buffer[32];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, kDoubles[i++ % 6], std::chars_format::general, 15);
    const std::string text(buffer, r.ptr);
    double back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(Baseline_Double);

// --- strings ------------------------------------------------------------------------------
void Variant_ShortString(benchmark::State& state) {
  const CString source(L"FaceName");
  for (auto _ : state) {
    const CVariant v(source);
    const CVariant copy(v);
    benchmark::DoNotOptimize(copy.GetString().GetLength());
  }
}
BENCHMARK(Variant_ShortString);

void Baseline_ShortString(benchmark::State& state) {
  const std::string source("FaceName");
  for (auto _ : state) {
    const std::string v(source);
    const std::string copy(v);
    benchmark::DoNotOptimize(copy.size());
  }
}
BENCHMARK(Baseline_ShortString);

void Variant_LongString(benchmark::State& state) {
  const CString source(L"A caption long enough to need the heap");
  for (auto _ : state) {
    const CVariant v(source);
    const CVariant copy(v);
    benchmark::DoNotOptimize(copy.GetString().GetLength());
  }
}
BENCHMARK(Variant_LongString);

void Baseline_LongString(benchmark::State& state) {
  const std::string source("A caption long enough to need the heap");
  for (auto _ : state) {
    const std::string v(source);
    const std::string copy(v);
    benchmark::DoNotOptimize(copy.size());
  }
}
BENCHMARK(Baseline_LongString);

// --- point --------------------------------------------------------------------------------
void Variant_Point(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    const CVariant v(POINT{i, -i * 3});
    ++i;
    const POINT p = v;
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(Variant_Point);

void Baseline_Point(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    char buffer[32];
    char* p = std::to_chars(buffer, buffer + 16, i).ptr;
    *p++ = ',';
    p = std::to_chars(p, buffer + sizeof buffer, -i * 3).ptr;
    ++i;
    const std::string text(buffer, p);
    int x = 0, y = 0;
    const auto r = std::from_chars(text.data(), text.data() + text.size(), x);
    std::from_chars(r.ptr + 1, text.data() + text.size(), y);
    benchmark::DoNotOptimize(x + y);
  }
}
BENCHMARK(Baseline_Point);

// --- array of 100 ints ---------------------------------------------------------------------
std::vector<int> Hundred() {
  std::vector<int> v(100);
  for (int i = 0; i < 100; ++i) v[static_cast<size_t>(i)] = i * 1013 - 40000;
  return v;
}

void Variant_Array100(benchmark::State& state) {
  const std::vector<int> values = Hundred();
  std::vector<int> back(100);
  for (auto _ : state) {
    CVariant v;
    v.SetArray(values.data(), 100);
    benchmark::DoNotOptimize(v.GetArray(back.data(), 100));
  }
}
BENCHMARK(Variant_Array100);

void Baseline_Array100(benchmark::State& state) {
  const std::vector<int> values = Hundred();
  std::vector<int> back(100);
  for (auto _ : state) {
    std::string text = "_arr_i:100:";
    char buffer[16];
    for (int i = 0; i < 100; ++i) {
      if (i) text += ';';
      text.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, values[static_cast<size_t>(i)]).ptr);
    }
    const char* p = text.data() + 11;
    const char* end = text.data() + text.size();
    for (int i = 0; i < 100; ++i) p = std::from_chars(p + (i ? 1 : 0), end, back[static_cast<size_t>(i)]).ptr;
    benchmark::DoNotOptimize(back.data());
  }
}
BENCHMARK(Baseline_Array100);

}  // namespace

BENCHMARK_MAIN();
