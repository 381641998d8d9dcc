// Evaluation of a 256-knot natural cubic spline, per point, against GSL's
// cspline with its interval accelerator, on the same knots: ascending
// queries (a tone curve or gradient being sampled in order, 4096 points
// over the knot range) and random queries (4096 uniform points). Before
// timing, both curves are checked to agree within 1e-9 on every query;
// the benchmark aborts when they do not.
#include <kernel/Spline.h>

#include <benchmark/benchmark.h>
#include <gsl/gsl_spline.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr int kKnots = 256;
constexpr int kQueries = 4096;

struct Data {
  std::vector<double> x, y, ascending, random;
  Kernel::CSpline spline;
  gsl_spline* gsl = nullptr;
  gsl_interp_accel* acc = nullptr;

  Data() {
    std::mt19937 rng(2024);
    std::uniform_real_distribution<double> step(0.5, 1.5), value(0.0, 255.0);
    double at = 0.0;
    for (int i = 0; i < kKnots; ++i) {
      x.push_back(at);
      y.push_back(value(rng));
      at += step(rng);
    }
    std::uniform_real_distribution<double> where(x.front(), x.back());
    for (int i = 0; i < kQueries; ++i) {
      ascending.push_back(x.front() + (x.back() - x.front()) * (i + 0.5) / kQueries);
      random.push_back(where(rng));
    }
    spline.Set(x.data(), y.data(), kKnots);
    gsl = gsl_spline_alloc(gsl_interp_cspline, kKnots);
    acc = gsl_interp_accel_alloc();
    gsl_spline_init(gsl, x.data(), y.data(), kKnots);
    for (const std::vector<double>* qs : {&ascending, &random})
      for (double q : *qs) {
        const double a = spline.CubicInterpolate(q);
        const double b = gsl_spline_eval(gsl, q, acc);
        if (!(std::fabs(a - b) <= 1e-9)) {
          std::fprintf(stderr, "gradient_spline: CSpline %.17g and GSL %.17g differ at %.17g\n", a, b, q);
          std::abort();
        }
      }
  }
  ~Data() {
    gsl_spline_free(gsl);
    gsl_interp_accel_free(acc);
  }
};

Data& Shared() {
  static Data data;
  return data;
}

const std::vector<double>& Queries(const Data& d, const benchmark::State& state) {
  return state.range(0) ? d.random : d.ascending;
}

void BM_CSpline(benchmark::State& state) {
  Data& d = Shared();
  const std::vector<double>& qs = Queries(d, state);
  for (auto _ : state) {
    double sum = 0.0;
    for (double q : qs) sum += d.spline.CubicInterpolate(q);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kQueries);
  state.SetLabel(state.range(0) ? "random" : "ascending");
}

void BM_GSL_cspline(benchmark::State& state) {
  Data& d = Shared();
  const std::vector<double>& qs = Queries(d, state);
  for (auto _ : state) {
    double sum = 0.0;
    for (double q : qs) sum += gsl_spline_eval(d.gsl, q, d.acc);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kQueries);
  state.SetLabel(state.range(0) ? "random" : "ascending");
}

BENCHMARK(BM_CSpline)->Arg(0)->Arg(1);
BENCHMARK(BM_GSL_cspline)->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
