// Colour conversions on a batch of one million colours, one call per colour
// (that is how the library's callers use them), for each model pair. Little
// CMS converting the same batch to L*a*b* in one call stands beside RGBToLab
// as a peer. Items are colours, so items_per_second reads as colours per
// second.
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <filesystem>
#include <random>
#include <vector>

#include <kernel/CMYKMapper.h>
#include <kernel/Colour.h>

using namespace Kernel;

namespace {

constexpr size_t kCount = 1'000'000;
const char* const kCmykProfile = "/usr/share/color/icc/ghostscript/default_cmyk.icc";

const std::vector<uint32_t>& Colours() {
  static const std::vector<uint32_t> colours = [] {
    std::vector<uint32_t> v(kCount);
    std::mt19937 rng(11);
    for (auto& c : v) c = rng() & 0xFFFFFFu;
    return v;
  }();
  return colours;
}

std::vector<uint64_t> Colours64() {
  std::vector<uint64_t> v;
  v.reserve(kCount);
  for (uint32_t c : Colours())
    v.push_back(uint64_t{c & 255u} * 257 | (uint64_t{(c >> 8) & 255u} * 257 << 16) |
                (uint64_t{(c >> 16) & 255u} * 257 << 32));
  return v;
}

void Done(benchmark::State& state) { state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount)); }

void RGBToHSLInt(benchmark::State& state) {
  const auto& in = Colours();
  for (auto _ : state) {
    int sum = 0;
    for (uint32_t c : in) {
      int h, s, l;
      RGBToHSL(c, h, s, l);
      sum += h + s + l;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

void RGBToHSLDouble(benchmark::State& state) {
  const auto& in = Colours();
  for (auto _ : state) {
    double sum = 0;
    for (uint32_t c : in) {
      double h, s, l;
      RGBToHSL(c, h, s, l);
      sum += h + s + l;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

// Model values prepared outside the timed loop.
template <class T>
struct Triple {
  T a, b, c;
};

void HSLToRGBInt(benchmark::State& state) {
  std::vector<Triple<int>> in;
  for (uint32_t c : Colours()) {
    Triple<int> t;
    RGBToHSL(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint32_t acc = 0;
    for (const auto& t : in) acc ^= HSLToRGB(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void HSLToRGBDouble(benchmark::State& state) {
  std::vector<Triple<double>> in;
  for (uint32_t c : Colours()) {
    Triple<double> t;
    RGBToHSL(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint32_t acc = 0;
    for (const auto& t : in) acc ^= HSLToRGB(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void RGBToHSVInt(benchmark::State& state) {
  const auto& in = Colours();
  for (auto _ : state) {
    int sum = 0;
    for (uint32_t c : in) {
      int h, s, v;
      RGBToHSV(c, h, s, v);
      sum += h + s + v;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

void RGBToHSVDouble(benchmark::State& state) {
  const auto& in = Colours();
  for (auto _ : state) {
    double sum = 0;
    for (uint32_t c : in) {
      double h, s, v;
      RGBToHSV(c, h, s, v);
      sum += h + s + v;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

void HSVToRGBInt(benchmark::State& state) {
  std::vector<Triple<int>> in;
  for (uint32_t c : Colours()) {
    Triple<int> t;
    RGBToHSV(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint32_t acc = 0;
    for (const auto& t : in) acc ^= HSVToRGB(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void HSVToRGBDouble(benchmark::State& state) {
  std::vector<Triple<double>> in;
  for (uint32_t c : Colours()) {
    Triple<double> t;
    RGBToHSV(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint32_t acc = 0;
    for (const auto& t : in) acc ^= HSVToRGB(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void RGBToLabBench(benchmark::State& state) {
  const auto& in = Colours();
  for (auto _ : state) {
    double sum = 0;
    for (uint32_t c : in) {
      double L, a, b;
      RGBToLab(c, L, a, b);
      sum += L + a + b;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

void LabToRGBBench(benchmark::State& state) {
  std::vector<Triple<double>> in;
  for (uint32_t c : Colours()) {
    Triple<double> t;
    RGBToLab(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint32_t acc = 0;
    for (const auto& t : in) acc ^= LabToRGB(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

// Little CMS: 8-bit sRGB to double L*a*b* (D65-adapted to its D50 PCS, so the
// numbers differ slightly; the work is comparable), whole batch per call.
void LcmsRGBToLab(benchmark::State& state) {
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
  cmsHTRANSFORM xf = cmsCreateTransform(srgb, TYPE_RGBA_8, lab, TYPE_Lab_DBL, INTENT_RELATIVE_COLORIMETRIC, 0);
  const auto& in = Colours();
  std::vector<cmsCIELab> out(kCount);
  for (auto _ : state) {
    cmsDoTransform(xf, in.data(), out.data(), static_cast<cmsUInt32Number>(kCount));
    benchmark::DoNotOptimize(out.data());
  }
  cmsDeleteTransform(xf);
  cmsCloseProfile(lab);
  cmsCloseProfile(srgb);
  Done(state);
}

void RGB64ToHSLInt(benchmark::State& state) {
  const auto in = Colours64();
  for (auto _ : state) {
    int sum = 0;
    for (uint64_t c : in) {
      int h, s, l;
      RGB64ToHSL(c, h, s, l);
      sum += h + s + l;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

void HSLToRGB64Int(benchmark::State& state) {
  std::vector<Triple<int>> in;
  for (uint64_t c : Colours64()) {
    Triple<int> t;
    RGB64ToHSL(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint64_t acc = 0;
    for (const auto& t : in) acc ^= HSLToRGB64(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void RGB64ToHSVInt(benchmark::State& state) {
  const auto in = Colours64();
  for (auto _ : state) {
    int sum = 0;
    for (uint64_t c : in) {
      int h, s, v;
      RGB64ToHSV(c, h, s, v);
      sum += h + s + v;
    }
    benchmark::DoNotOptimize(sum);
  }
  Done(state);
}

void HSVToRGB64Int(benchmark::State& state) {
  std::vector<Triple<int>> in;
  for (uint64_t c : Colours64()) {
    Triple<int> t;
    RGB64ToHSV(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint64_t acc = 0;
    for (const auto& t : in) acc ^= HSVToRGB64(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void HSVToRGB64Double(benchmark::State& state) {
  std::vector<Triple<double>> in;
  for (uint64_t c : Colours64()) {
    Triple<double> t;
    RGB64ToHSV(c, t.a, t.b, t.c);
    in.push_back(t);
  }
  for (auto _ : state) {
    uint64_t acc = 0;
    for (const auto& t : in) acc ^= HSVToRGB64(t.a, t.b, t.c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void MapperToCMYK(benchmark::State& state, CMYKMapper& mapper) {
  const auto& in = Colours();
  for (auto _ : state) {
    uint32_t acc = 0;
    for (uint32_t c : in) acc ^= mapper.RGBToCMYK(c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void MapperToRGB(benchmark::State& state, CMYKMapper& mapper) {
  const auto& in = Colours();  // any 32-bit values are valid packed inks
  for (auto _ : state) {
    uint32_t acc = 0;
    for (uint32_t c : in) acc ^= mapper.CMYKToRGB(c);
    benchmark::DoNotOptimize(acc);
  }
  Done(state);
}

void PlainToCMYK(benchmark::State& state) {
  CPlainCMYKMapper mapper;
  MapperToCMYK(state, mapper);
}

void PlainToRGB(benchmark::State& state) {
  CPlainCMYKMapper mapper;
  MapperToRGB(state, mapper);
}

bool HaveProfile(benchmark::State& state) {
  if (std::filesystem::exists(kCmykProfile)) return true;
  state.SkipWithError("no CMYK profile (install libgs-common)");
  return false;
}

const wchar_t* ProfileW() { return L"/usr/share/color/icc/ghostscript/default_cmyk.icc"; }

void LcmsToCMYK(benchmark::State& state) {
  if (!HaveProfile(state)) return;
  CLcmsCMYKMapper mapper(ProfileW());
  MapperToCMYK(state, mapper);
}

void LcmsToRGB(benchmark::State& state) {
  if (!HaveProfile(state)) return;
  CLcmsCMYKMapper mapper(ProfileW());
  MapperToRGB(state, mapper);
}

void LcmsToCMYKBatch(benchmark::State& state) {
  if (!HaveProfile(state)) return;
  CLcmsCMYKMapper mapper(ProfileW());
  const auto& in = Colours();
  std::vector<uint32_t> out(kCount);
  for (auto _ : state) {
    mapper.RGBToCMYK(in.data(), out.data(), kCount);
    benchmark::DoNotOptimize(out.data());
  }
  Done(state);
}

}  // namespace

BENCHMARK(RGBToHSLInt)->Unit(benchmark::kMillisecond);
BENCHMARK(RGBToHSLDouble)->Unit(benchmark::kMillisecond);
BENCHMARK(HSLToRGBInt)->Unit(benchmark::kMillisecond);
BENCHMARK(HSLToRGBDouble)->Unit(benchmark::kMillisecond);
BENCHMARK(RGBToHSVInt)->Unit(benchmark::kMillisecond);
BENCHMARK(RGBToHSVDouble)->Unit(benchmark::kMillisecond);
BENCHMARK(HSVToRGBInt)->Unit(benchmark::kMillisecond);
BENCHMARK(HSVToRGBDouble)->Unit(benchmark::kMillisecond);
BENCHMARK(RGBToLabBench)->Name("RGBToLab")->Unit(benchmark::kMillisecond);
BENCHMARK(LcmsRGBToLab)->Unit(benchmark::kMillisecond);
BENCHMARK(LabToRGBBench)->Name("LabToRGB")->Unit(benchmark::kMillisecond);
BENCHMARK(RGB64ToHSLInt)->Unit(benchmark::kMillisecond);
BENCHMARK(HSLToRGB64Int)->Unit(benchmark::kMillisecond);
BENCHMARK(RGB64ToHSVInt)->Unit(benchmark::kMillisecond);
BENCHMARK(HSVToRGB64Int)->Unit(benchmark::kMillisecond);
BENCHMARK(HSVToRGB64Double)->Unit(benchmark::kMillisecond);
BENCHMARK(PlainToCMYK)->Unit(benchmark::kMillisecond);
BENCHMARK(PlainToRGB)->Unit(benchmark::kMillisecond);
BENCHMARK(LcmsToCMYK)->Unit(benchmark::kMillisecond);
BENCHMARK(LcmsToRGB)->Unit(benchmark::kMillisecond);
BENCHMARK(LcmsToCMYKBatch)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
