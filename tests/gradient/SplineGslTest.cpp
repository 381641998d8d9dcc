// The natural cubic spline is the textbook one: GSL's cspline, an
// independent implementation, must give the same curve and slope.
#include <kernel/Spline.h>

#include <gsl/gsl_errno.h>
#include <gsl/gsl_spline.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace {

using Kernel::CSpline;

struct GslSpline {
  gsl_interp_accel* acc;
  gsl_spline* spline;
  GslSpline(const std::vector<double>& x, const std::vector<double>& y)
      : acc(gsl_interp_accel_alloc()), spline(gsl_spline_alloc(gsl_interp_cspline, x.size())) {
    gsl_spline_init(spline, x.data(), y.data(), x.size());
  }
  ~GslSpline() {
    gsl_spline_free(spline);
    gsl_interp_accel_free(acc);
  }
  GslSpline(const GslSpline&) = delete;
  GslSpline& operator=(const GslSpline&) = delete;
};

TEST(SplineGsl, NaturalCubicMatchesGsl) {
  struct Case {
    int n;
    double minStep, maxStep, amplitude;
    unsigned seed;
  };
  const Case cases[] = {
      {3, 0.5, 1.5, 1, 1}, {4, 0.01, 3, 100, 2}, {50, 0.1, 1, 10, 3}, {256, 1, 1, 255, 4}, {256, 0.001, 20, 1, 5}};
  for (const Case& c : cases) {
    std::mt19937 rng(c.seed);
    std::uniform_real_distribution<double> step(c.minStep, c.maxStep), value(-c.amplitude, c.amplitude);
    std::vector<double> x(std::size_t(c.n)), y(std::size_t(c.n));
    double at = -3;
    for (std::size_t i = 0; i < x.size(); ++i) {
      x[i] = at;
      at += step(rng);
      y[i] = value(rng);
    }
    CSpline s;
    s.Set(x.data(), y.data(), c.n);
    GslSpline g(x, y);
    std::uniform_real_distribution<double> where(x.front(), x.back());
    std::vector<double> queries(x.begin(), x.end() - 1);
    for (int i = 0; i < 2000; ++i) queries.push_back(where(rng));
    for (double q : queries) {
      ASSERT_NEAR(s.CubicInterpolate(q), gsl_spline_eval(g.spline, q, g.acc), 1e-9 * c.amplitude) << c.n << " " << q;
      // At the first knot the curve is closed and flat (slope 0); GSL
      // gives the one-sided slope there.
      if (q > x.front()) {
        ASSERT_NEAR(s.CubicDerivative(q), gsl_spline_eval_deriv(g.spline, q, g.acc), 1e-7 * c.amplitude / c.minStep)
            << c.n << " " << q;
      }
    }
    // Second derivatives at the knots agree too.
    for (std::size_t i = 1; i + 1 < x.size(); ++i)
      ASSERT_NEAR(s.GetY2(int(i)), gsl_spline_eval_deriv2(g.spline, x[i], g.acc),
                  1e-6 * c.amplitude / (c.minStep * c.minStep))
          << c.n << " " << i;
  }
}

}  // namespace
