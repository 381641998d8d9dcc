// Colour conversions on a batch of one million colours, one call per colour
// (that is how the library's callers use them), for each model pair. Little
// CMS converting the same batch to L*a*b* in one call stands beside RGBToLab
// as a peer. Items are colours, so items_per_second reads as colours per
// second.
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include <kernel/CMYKMapper.h>
#include <kernel/Colour.h>

using namespace Kernel;

namespace {

constexpr size_t kCount = 1'000'000;
const wchar_t* const kCmykProfile = L"/usr/share/color/icc/ghostscript/default_cmyk.icc";

const std::vector<uint32_t>& Colours() {
  static const std::vector<uint32_t> colours = [] {
    std::vector<uint32_t> v(kCount);
    std::mt19937 rng(11);
    for (auto& c : v) c = rng() & 0xFFFFFFu;
    return v;
  }();
  return colours;
}

const std::vector<uint64_t>& Colours64() {
  static const std::vector<uint64_t> colours = [] {
    std::vector<uint64_t> v;
    v.reserve(kCount);
    for (uint32_t c : Colours())
      v.push_back(uint64_t{c & 255u} * 257 | (uint64_t{(c >> 8) & 255u} * 257 << 16) |
                  (uint64_t{(c >> 16) & 255u} * 257 << 32));
    return v;
  }();
  return colours;
}

// A colour in some model, prepared outside the timed loop.
template <class T>
struct Triple {
  T a, b, c;
};

// Converts every colour of the batch from RGB into a model.
template <class T, class Colour, class Convert>
std::vector<Triple<T>> Prepare(const std::vector<Colour>& colours, Convert convert) {
  std::vector<Triple<T>> out(colours.size());
  for (size_t i = 0; i < colours.size(); ++i) convert(colours[i], out[i].a, out[i].b, out[i].c);
  return out;
}

// The one timed loop: every input through `convert`, the results folded into
// a sum the compiler must keep.
template <class In, class Convert>
void Time(benchmark::State& state, const std::vector<In>& in, Convert convert) {
  for (auto _ : state) {
    double sum = 0;
    for (const In& x : in) sum += static_cast<double>(convert(x));
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

// RGB into a model: the three outputs summed.
template <class T, class Colour>
void IntoModel(benchmark::State& state, const std::vector<Colour>& in, void (*convert)(Colour, T&, T&, T&)) {
  Time(state, in, [convert](Colour c) {
    T a, b, d;
    convert(c, a, b, d);
    return a + b + d;
  });
}

// A model back to RGB, from the batch's own values in that model.
template <class T, class Colour, class Result>
void FromModel(benchmark::State& state, const std::vector<Colour>& colours, void (*into)(Colour, T&, T&, T&),
               Result (*back)(T, T, T)) {
  const auto in = Prepare<T>(colours, into);
  Time(state, in, [back](const Triple<T>& t) { return back(t.a, t.b, t.c); });
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
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}

// Both directions of a mapper; any 32-bit value is a valid packed CMYK.
void Mapper(benchmark::State& state, bool lcms, bool toCMYK) {
  std::unique_ptr<CMYKMapper> mapper;
  if (!lcms) {
    mapper = std::make_unique<CPlainCMYKMapper>();
  } else if (std::filesystem::exists(kCmykProfile)) {
    mapper = std::make_unique<CLcmsCMYKMapper>(kCmykProfile);
  } else {
    state.SkipWithError("no CMYK profile (install libgs-common)");
    return;
  }
  if (toCMYK) {
    Time(state, Colours(), [&](uint32_t c) { return mapper->RGBToCMYK(c); });
  } else {
    Time(state, Colours(), [&](uint32_t c) { return mapper->CMYKToRGB(c); });
  }
}

void LcmsToCMYKBatch(benchmark::State& state) {
  if (!std::filesystem::exists(kCmykProfile)) return state.SkipWithError("no CMYK profile (install libgs-common)");
  CLcmsCMYKMapper mapper(kCmykProfile);
  const auto& in = Colours();
  std::vector<uint32_t> out(kCount);
  for (auto _ : state) {
    mapper.RGBToCMYK(in.data(), out.data(), kCount);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}

void Register(const char* name, std::function<void(benchmark::State&)> run) {
  benchmark::RegisterBenchmark(name, [run](benchmark::State& state) { run(state); })
      ->Unit(benchmark::kMillisecond);
}

void RegisterAll() {
  using S = benchmark::State;
  const auto& c8 = Colours();
  const auto& c16 = Colours64();
  Register("RGBToHSLInt", [&](S& s) { IntoModel<int, uint32_t>(s, c8, RGBToHSL); });
  Register("RGBToHSLDouble", [&](S& s) { IntoModel<double, uint32_t>(s, c8, RGBToHSL); });
  Register("HSLToRGBInt", [&](S& s) { FromModel<int, uint32_t, uint32_t>(s, c8, RGBToHSL, HSLToRGB); });
  Register("HSLToRGBDouble", [&](S& s) { FromModel<double, uint32_t, uint32_t>(s, c8, RGBToHSL, HSLToRGB); });
  Register("RGBToHSVInt", [&](S& s) { IntoModel<int, uint32_t>(s, c8, RGBToHSV); });
  Register("RGBToHSVDouble", [&](S& s) { IntoModel<double, uint32_t>(s, c8, RGBToHSV); });
  Register("HSVToRGBInt", [&](S& s) { FromModel<int, uint32_t, uint32_t>(s, c8, RGBToHSV, HSVToRGB); });
  Register("HSVToRGBDouble", [&](S& s) { FromModel<double, uint32_t, uint32_t>(s, c8, RGBToHSV, HSVToRGB); });
  Register("RGBToLab", [&](S& s) { IntoModel<double, uint32_t>(s, c8, RGBToLab); });
  Register("LcmsRGBToLab", LcmsRGBToLab);
  Register("LabToRGB", [&](S& s) { FromModel<double, uint32_t, uint32_t>(s, c8, RGBToLab, LabToRGB); });
  Register("RGB64ToHSLInt", [&](S& s) { IntoModel<int, uint64_t>(s, c16, RGB64ToHSL); });
  Register("HSLToRGB64Int", [&](S& s) { FromModel<int, uint64_t, uint64_t>(s, c16, RGB64ToHSL, HSLToRGB64); });
  Register("RGB64ToHSVInt", [&](S& s) { IntoModel<int, uint64_t>(s, c16, RGB64ToHSV); });
  Register("HSVToRGB64Int", [&](S& s) { FromModel<int, uint64_t, uint64_t>(s, c16, RGB64ToHSV, HSVToRGB64); });
  Register("HSVToRGB64Double",
           [&](S& s) { FromModel<double, uint64_t, uint64_t>(s, c16, RGB64ToHSV, HSVToRGB64); });
  Register("PlainToCMYK", [](S& s) { Mapper(s, false, true); });
  Register("PlainToRGB", [](S& s) { Mapper(s, false, false); });
  Register("LcmsToCMYK", [](S& s) { Mapper(s, true, true); });
  Register("LcmsToRGB", [](S& s) { Mapper(s, true, false); });
  Register("LcmsToCMYKBatch", LcmsToCMYKBatch);
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
