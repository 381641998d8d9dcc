#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/CObject.h>
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>
#include <kernel/RefCount.h>
#include <kernel/Spline.h>
#include <kernel/Variant.h>

#include <gsl/gsl_spline.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "GradientTestSupport.h"

namespace {

using Kernel::CMemoryPropertyBag;
using Kernel::CSpline;
using Points = std::vector<std::pair<double, double>>;
using gradient_test::Knots;
using gradient_test::MakeSpline;
using gradient_test::SplineShape;
using namespace gradient_test;

// Ends are closed and flat: at and beyond the first and last knot the value
// is the end knot's and both derivatives are 0, for either kind of curve.
TEST(Spline, OutsideAndAtTheEnds) {
  struct Case {
    std::vector<double> x, y, at;
    double value;
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {{1, 2, 4}, {10, -3, 7}, {0.5, 1.0, -inf}, 10},  // below and at the first knot
      {{1, 2, 4}, {10, -3, 7}, {4.0, 1e9}, 7},         // at and above the last
      {{3}, {42}, {-5, 3, 1e300}, 42},                 // one knot: left of it, on it, right of it
  };
  for (const Case& c : cases) {
    for (bool linear : {false, true}) {
      const CSpline s = MakeSpline(c.x, c.y, linear);
      for (double at : c.at) {
        SCOPED_TRACE(testing::Message() << (linear ? "linear" : "cubic") << " at " << at);
        EXPECT_EQ(s.Interpolate(at), c.value);
        EXPECT_EQ(s.Derivative(at), 0.0);
        EXPECT_EQ(s.LinearInterpolate(at), c.value);
        EXPECT_EQ(s.CubicInterpolate(at), c.value);
      }
    }
  }
}

// A NaN query compares false with every knot; it must neither read past a
// short block nor disturb later queries.
TEST(Spline, NanQueriesStayInside) {
  const double nan = std::nan("");
  for (int n : {1, 2, 5}) {
    std::vector<double> x, y;
    for (int i = 0; i < n; ++i) x.push_back(i), y.push_back(3.0 * i + 1);
    for (bool linear : {false, true}) {
      const CSpline s = MakeSpline(x, y, linear);
      const double value = s.Interpolate(nan), slope = s.Derivative(nan);
      if (n == 1) {
        EXPECT_EQ(value, 1.0);
        EXPECT_EQ(slope, 0.0);
      } else {
        EXPECT_TRUE(std::isnan(value)) << n;
        EXPECT_DOUBLE_EQ(s.Interpolate(x.back() - 0.5), 3.0 * (x.back() - 0.5) + 1) << n;
      }
    }
  }
}

TEST(Spline, EmptySplineEvaluatesToZero) {
  const CSpline s;
  EXPECT_EQ(SplineShape(s), std::make_tuple(0, false, 1e300, 1e300));
  EXPECT_TRUE(s.IsCubic());
  for (double x : {-1.0, 0.0, 1.0}) {
    EXPECT_EQ(s.CubicInterpolate(x), 0.0);
    EXPECT_EQ(s.LinearInterpolate(x), 0.0);
    EXPECT_EQ(s.CubicDerivative(x), 0.0);
    EXPECT_EQ(s.LinearDerivative(x), 0.0);
  }
}

// Worked by hand: knots (0,0), (1,1), (2,0) with natural ends give the
// single equation (4/6) y2[1] = -2, so y2 = {0, -3, 0}; at 0.5 the cubic is
// 0.5 + (0.125 - 0.5) * -3 / 6 = 0.6875 and its slope 1 + (3 * 0.25 - 1) / 6 * -3.
TEST(Spline, HandWorkedNaturalCurve) {
  const CSpline s = MakeSpline({0, 1, 2}, {0, 1, 0});
  EXPECT_DOUBLE_EQ(s.GetY2(0), 0.0);
  EXPECT_DOUBLE_EQ(s.GetY2(1), -3.0);
  EXPECT_DOUBLE_EQ(s.GetY2(2), 0.0);
  struct Case {
    double x, value, slope;
  };
  // Derivative at x in [0,1]: 1 + (3B^2 - 1)/6 * -3 with B = x.
  for (const Case& c :
       {Case{0.5, 0.6875, 1.0 + (0.75 - 1.0) / 6 * -3.0}, Case{1.5, 0.6875, -(1.0 + (0.75 - 1.0) / 6 * -3.0)},
        Case{0.25, 0.25 + (0.25 * 0.25 * 0.25 - 0.25) * -3.0 / 6, 1.0 + (3 * 0.0625 - 1.0) / 6 * -3.0}}) {
    EXPECT_NEAR(s.Interpolate(c.x), c.value, 1e-15) << c.x;
    EXPECT_NEAR(s.Derivative(c.x), c.slope, 1e-15) << c.x;
  }
  // The linear form of the same knots.
  EXPECT_DOUBLE_EQ(s.LinearInterpolate(0.25), 0.25);
  EXPECT_DOUBLE_EQ(s.LinearDerivative(1.75), -1.0);
}

// With natural ends, collinear knots have zero curvature everywhere, so the
// cubic and the linear curve coincide.
TEST(Spline, CollinearKnotsCubicEqualsLinear) {
  const std::vector<std::vector<double>> xs = {{0, 2, 3}, {-1, 0.5, 7}, {10, 11, 12}};
  for (const auto& x : xs) {
    std::vector<double> y;
    for (double v : x) y.push_back(2 * v + 1);
    const CSpline s = MakeSpline(x, y);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(s.GetY2(i), 0.0, 1e-12);
    for (double t = x.front(); t <= x.back(); t += 0.125) {
      EXPECT_NEAR(s.CubicInterpolate(t), s.LinearInterpolate(t), 1e-12) << t;
      if (t > x.front() && t < x.back()) {
        EXPECT_NEAR(s.CubicDerivative(t), 2.0, 1e-12) << t;
      }
    }
  }
}

// A clamped cubic spline through samples of a cubic polynomial, given the
// polynomial's exact end slopes, is that polynomial.
TEST(Spline, ClampedEndsReproduceACubic) {
  auto p = [](double x) { return ((0.5 * x - 2.0) * x + 3.0) * x - 1.0; };
  auto dp = [](double x) { return (1.5 * x - 4.0) * x + 3.0; };
  const std::vector<double> x = {-1, 0, 0.5, 1.5, 2, 3.25, 4};
  std::vector<double> y;
  for (double v : x) y.push_back(p(v));
  CSpline s = MakeSpline(x, y);
  const double natural = s.Interpolate(-0.5);
  s.SetBoundaryConditions(dp(-1), dp(4));
  EXPECT_EQ(s.GetYP1(), dp(-1));
  for (double t = -1.0; t < 4.0; t += 0.0625) {
    EXPECT_NEAR(s.Interpolate(t), p(t), 1e-9) << t;
    if (t > -1.0) {
      EXPECT_NEAR(s.Derivative(t), dp(t), 1e-9) << t;
    }
  }
  // The natural spline differs near the ends, so the clamped ends did count.
  EXPECT_GT(std::fabs(natural - p(-0.5)), 1e-3);
  // One clamped end, one natural: the natural end has zero curvature.
  s.SetBoundaryConditions(dp(-1), 9.91e29);
  EXPECT_NEAR(s.GetY2(int(x.size()) - 1), 0.0, 1e-12);
  EXPECT_GT(std::fabs(s.GetY2(0)), 1.0);
  // Just under the threshold counts as a (huge) slope, not as natural.
  s.SetBoundaryConditions(9.8e29, 1e300);
  EXPECT_GT(std::fabs(s.GetY2(0)), 1e20);
}

// AddKnot returns the index of the last knot, never where the knot went.
TEST(Spline, AddKnotReturnsLastIndex) {
  struct Case {
    double x, y;
    int expectIndex;  // where the knot must land
  };
  const Case cases[] = {{-5, 1, 0}, {0, 1, 0}, {0.5, 1, 1}, {1, 1, 1}, {2, 1, 2}, {2.5, 1, 3}};
  for (const Case& c : cases) {
    CSpline s;
    EXPECT_EQ(s.AddKnot(0, 10), 0);
    EXPECT_EQ(s.AddKnot(2, 30), 1);
    EXPECT_EQ(s.AddKnot(1, 20), 2);
    EXPECT_EQ(s.AddKnot(c.x, c.y), 3) << c.x;
    ASSERT_EQ(s.GetCount(), 4);
    EXPECT_EQ(s.GetX(c.expectIndex), c.x) << c.x;
    // An equal x goes before the existing knot: its y is the new one.
    EXPECT_EQ(s.GetY(c.expectIndex), c.y) << c.x;
    for (int i = 1; i < 4; ++i) EXPECT_LE(s.GetX(i - 1), s.GetX(i));
  }
}

TEST(Spline, KnotEditing) {
  CSpline s = MakeSpline({0, 1, 2, 3}, {0, 10, 20, 30});
  // A count of 0 or less changes nothing.
  s.Set(nullptr, nullptr, 0);
  s.Set(nullptr, nullptr, -4);
  EXPECT_EQ(Knots(s), (Points{{0, 0}, {1, 10}, {2, 20}, {3, 30}}));
  // No ordering check on insertion: the knot goes where it is told.
  s.InsertKnot(0, 7, 70);
  EXPECT_EQ(Knots(s), (Points{{7, 70}, {0, 0}, {1, 10}, {2, 20}, {3, 30}}));
  s.RemoveKnot(0);
  s.RemoveKnot(2);
  EXPECT_EQ(Knots(s), (Points{{0, 0}, {1, 10}, {3, 30}}));
  // Rebuilt through Set, so the curvature follows the new knots.
  EXPECT_NEAR(s.GetY2(1), 0.0, 1e-12);
  s.RemoveKnots();
  EXPECT_EQ(s.GetCount(), 0);
  EXPECT_EQ(s.Interpolate(1.0), 0.0);
  // The cleared spline is usable again.
  EXPECT_EQ(s.AddKnot(4, 4), 0);
  EXPECT_EQ(s.Interpolate(100), 4.0);
  // Removing the last remaining knot goes through Set with a count of 0,
  // which changes nothing.
  s.RemoveKnot(0);
  EXPECT_EQ(Knots(s), (Points{{4, 4}}));
}

TEST(Spline, SettersRecomputeCurvature) {
  struct Case {
    const char* name;
    void (*edit)(CSpline&);
    std::vector<double> x, y;  // the knots the edit should leave
  };
  const Case cases[] = {
      {"SetX", [](CSpline& s) { s.SetX(1, 1.5); }, {0, 1.5, 2, 4}, {0, 3, 1, 2}},
      {"SetY", [](CSpline& s) { s.SetY(2, -6); }, {0, 1, 2, 4}, {0, 3, -6, 2}},
      {"SetXY", [](CSpline& s) { s.SetXY(3, 5, 0); }, {0, 1, 2, 5}, {0, 3, 1, 0}},
      {"Set same count",
       [](CSpline& s) {
         const double x[] = {0, 2, 3, 4}, y[] = {1, 1, 0, 1};
         s.Set(x, y, 4);
       },
       {0, 2, 3, 4},
       {1, 1, 0, 1}},
  };
  for (const Case& c : cases) {
    CSpline s = MakeSpline({0, 1, 2, 4}, {0, 3, 1, 2});
    c.edit(s);
    const CSpline fresh = MakeSpline(c.x, c.y);
    ASSERT_EQ(s, fresh) << c.name;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(s.GetY2(i), fresh.GetY2(i)) << c.name << " " << i;
    for (double t = 0; t < 5; t += 0.3) EXPECT_EQ(s.Interpolate(t), fresh.Interpolate(t)) << c.name << " " << t;
  }
}

// The interval cache must never change a result, whatever order queries
// come in and whatever edits happened in between.
TEST(Spline, CacheDoesNotChangeResults) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> step(0.1, 2.0), value(-50, 50), where(-5, 80);
  std::vector<double> x, y;
  for (double at = 0; x.size() < 30;) x.push_back(at += step(rng)), y.push_back(value(rng));
  CSpline s = MakeSpline(x, y);
  std::vector<double> queries;
  for (double t = -2; t < 70; t += 0.37) queries.push_back(t);        // ascending
  for (double t = 70; t > -2; t -= 0.41) queries.push_back(t);        // descending
  for (int i = 0; i < 500; ++i) queries.push_back(where(rng));        // random
  for (int i = 0; i < 30; ++i) queries.push_back(x[std::size_t(i)]);  // on the knots
  for (double q : queries) {
    const CSpline fresh = MakeSpline(x, y);
    ASSERT_EQ(s.CubicInterpolate(q), fresh.CubicInterpolate(q)) << q;
    ASSERT_EQ(s.CubicDerivative(q), CSpline(fresh).CubicDerivative(q)) << q;
    ASSERT_EQ(s.LinearInterpolate(q), CSpline(fresh).LinearInterpolate(q)) << q;
    ASSERT_EQ(s.LinearDerivative(q), CSpline(fresh).LinearDerivative(q)) << q;
  }
  // Park the cache on the last interval, then shrink the spline under it.
  EXPECT_EQ(s.Interpolate(x[28] + 0.01), MakeSpline(x, y).Interpolate(x[28] + 0.01));
  for (int i = 0; i < 25; ++i) s.RemoveKnot(s.GetCount() - 1);
  const std::vector<double> x5(x.begin(), x.begin() + 5), y5(y.begin(), y.begin() + 5);
  for (double q : {x[3] + 0.1, x[0] + 0.1, x[4] - 1e-9}) EXPECT_EQ(s.Interpolate(q), MakeSpline(x5, y5).Interpolate(q));
  EXPECT_EQ(s.Interpolate(x[20]), y[4]);
}

TEST(Spline, CopyScaleAddsOffsetBeforeScaling) {
  CSpline src = MakeSpline({0, 1, 3}, {2, 4, 3}, true);
  CSpline target;
  target.SetBoundaryConditions(1.0, -1.0);
  src.CopyScale(target, 2.0, 10.0, 0.5, -2.0);
  EXPECT_EQ(Knots(target), (Points{{20, 0}, {22, 1}, {26, 0.5}}));
  // The target takes the kind, keeps its own end slopes, and its curvature
  // follows them.
  EXPECT_EQ(SplineShape(target), std::make_tuple(3, true, 1.0, -1.0));
  CSpline expect = MakeSpline({20, 22, 26}, {0, 1, 0.5});
  expect.SetBoundaryConditions(1.0, -1.0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(target.GetY2(i), expect.GetY2(i));
  // Onto itself.
  src.CopyScale(src, -1.0, 0.0, 1.0, 1.0);
  EXPECT_EQ(Knots(src), (Points{{0, 3}, {-1, 5}, {-3, 4}}));
  // An empty source empties the target.
  CSpline().CopyScale(target, 1, 0, 1, 0);
  EXPECT_EQ(target.GetCount(), 0);
  EXPECT_FALSE(target.IsLinear());
}

TEST(Spline, CreateTableRoundsAndClamps) {
  // A one-knot spline is a constant, so each value reaches the rounding
  // exactly as written.
  struct Case {
    double v;
    unsigned char entry;
  };
  const Case cases[] = {{-1000, 0},   {-0.50001, 0}, {-0.5, 0},     {-0.49, 0},       {0.49, 0},
                        {0.5, 1},     {1.5, 2},      {127.49, 127}, {254.49, 254},    {254.5, 255},
                        {255.4, 255}, {255.5, 255},  {1e300, 255},  {std::nan(""), 0}};
  for (const Case& c : cases) {
    const CSpline s = MakeSpline({0}, {c.v});
    unsigned char table[3] = {77, 77, 77};
    s.CreateTable(table, 3, 0, 255, 1.0, 0.0);
    for (unsigned char e : table) EXPECT_EQ(int(e), int(c.entry)) << c.v;
  }
  // The offset is added before the scale: (x - 10) * 2 along a ramp.
  const CSpline ramp = MakeSpline({0, 255}, {0, 255}, true);
  unsigned char table[256];
  ramp.CreateTable(table, 256, 0, 255, 2.0, -10.0);
  struct Entry {
    int i, value;
  };
  for (const Entry& e :
       {Entry{0, 0}, Entry{10, 0}, Entry{11, 2}, Entry{100, 180}, Entry{137, 254}, Entry{138, 255}, Entry{255, 255}})
    EXPECT_EQ(int(table[e.i]), e.value) << e.i;
  // Reversed range and a single entry.
  ramp.CreateTable(table, 256, 255, 0, 1.0, 0.0);
  EXPECT_EQ(int(table[0]), 255);
  EXPECT_EQ(int(table[200]), 55);
  table[1] = 99;
  ramp.CreateTable(table, 1, 40, 80, 1.0, 0.0);
  EXPECT_EQ(int(table[0]), 40);
  EXPECT_EQ(int(table[1]), 99);
}

TEST(Spline, EqualityWithinTolerance) {
  const CSpline base = MakeSpline({0, 1, 2}, {3, 4, 6});
  struct Case {
    const char* name;
    void (*edit)(CSpline&);
    bool equal;
  };
  const Case cases[] = {
      {"unchanged", [](CSpline&) {}, true},
      {"x within 1e-6", [](CSpline& s) { s.SetX(1, 1 + 9e-7); }, true},
      {"x beyond 1e-6", [](CSpline& s) { s.SetX(1, 1 + 2e-6); }, false},
      {"y within", [](CSpline& s) { s.SetY(2, 6 - 9e-7); }, true},
      {"y beyond", [](CSpline& s) { s.SetY(0, 3 + 1.5e-6); }, false},
      {"linear", [](CSpline& s) { s.SetLinear(true); }, false},
      {"yp1", [](CSpline& s) { s.SetBoundaryConditions(0.5, 1e300); }, false},
      {"ypn", [](CSpline& s) { s.SetBoundaryConditions(1e300, 0.5); }, false},
      // Both natural, but the values differ: compared as numbers.
      {"other natural value", [](CSpline& s) { s.SetBoundaryConditions(1e300, 1e31); }, false},
      {"count", [](CSpline& s) { s.AddKnot(3, 7); }, false},
      {"y nan", [](CSpline& s) { s.SetY(1, std::nan("")); }, false},
  };
  for (const Case& c : cases) {
    CSpline other = base;
    c.edit(other);
    EXPECT_EQ(other == base, c.equal) << c.name;
    EXPECT_EQ(base == other, c.equal) << c.name;
    EXPECT_EQ(other != base, !c.equal) << c.name;
  }
  EXPECT_TRUE(CSpline() == CSpline());
}

TEST(Spline, CopyKeepsCurvatureAndNotTheCount) {
  CSpline a = MakeSpline({0, 1, 2, 3}, {0, 2, 1, 3});
  a.SetBoundaryConditions(0.25, -0.75);
  a.Interpolate(2.5);  // move the cache off the first interval
  Kernel::CPtr<CSpline> held(new CSpline);
  *held = a;
  EXPECT_EQ(held->GetRefCount(), 1);
  const CSpline copy(a);
  EXPECT_EQ(copy.GetRefCount(), 0);
  for (const CSpline* s : {&copy, static_cast<const CSpline*>(held.Get())}) {
    ASSERT_EQ(*s, a);
    EXPECT_EQ(SplineShape(*s), std::make_tuple(4, false, 0.25, -0.75));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(s->GetY2(i), a.GetY2(i));
    for (double t : {0.5, 2.5, 1.5}) EXPECT_EQ(s->Interpolate(t), a.Interpolate(t));
  }
  // Assigning an empty spline empties; self-assignment changes nothing.
  *held = CSpline();
  EXPECT_EQ(held->GetCount(), 0);
  CSpline& same = a;
  a = same;
  EXPECT_EQ(a.GetCount(), 4);
}

TEST(Spline, CreatedByClassName) {
  CRuntimeClass* cls = CRuntimeClass::FromName("CSpline");
  ASSERT_NE(cls, nullptr);
  EXPECT_STREQ(cls->m_lpszClassName, "CSpline");
  CObject* object = cls->CreateObject();
  ASSERT_NE(object, nullptr);
  EXPECT_TRUE(object->IsKindOf(RUNTIME_CLASS(CSpline)));
  auto* spline = dynamic_cast<CSpline*>(object);
  ASSERT_NE(spline, nullptr);
  EXPECT_EQ(spline->GetCount(), 0);
  EXPECT_STREQ(spline->GetRuntimeClassName(), "CSpline");
  EXPECT_GE(spline->Measure(), sizeof(CSpline));
  spline->AddKnot(1, 1);
  spline->AddKnot(2, 2);
  EXPECT_EQ(spline->Measure(), sizeof(CSpline) + 6 * sizeof(double));
  delete object;
}

// The natural cubic spline is the textbook one: GSL's cspline, an
// independent implementation, must give the same curve and slope.
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
    std::vector<double> x, y;
    for (double at = -3; int(x.size()) < c.n;) x.push_back(at), at += step(rng), y.push_back(value(rng));
    const CSpline s = MakeSpline(x, y);
    const std::unique_ptr<gsl_spline, void (*)(gsl_spline*)> gsl(gsl_spline_alloc(gsl_interp_cspline, x.size()),
                                                                 gsl_spline_free);
    const std::unique_ptr<gsl_interp_accel, void (*)(gsl_interp_accel*)> acc(gsl_interp_accel_alloc(),
                                                                             gsl_interp_accel_free);
    gsl_spline_init(gsl.get(), x.data(), y.data(), x.size());
    std::uniform_real_distribution<double> where(x.front(), x.back());
    std::vector<double> queries(x.begin(), x.end() - 1);
    for (int i = 0; i < 2000; ++i) queries.push_back(where(rng));
    for (double q : queries) {
      ASSERT_NEAR(s.CubicInterpolate(q), gsl_spline_eval(gsl.get(), q, acc.get()), 1e-9 * c.amplitude)
          << c.n << " " << q;
      // At the first knot the curve is closed and flat (slope 0); GSL
      // gives the one-sided slope there.
      if (q > x.front()) {
        ASSERT_NEAR(s.CubicDerivative(q), gsl_spline_eval_deriv(gsl.get(), q, acc.get()),
                    1e-7 * c.amplitude / c.minStep)
            << c.n << " " << q;
      }
    }
    // Second derivatives at the knots agree too.
    for (std::size_t i = 1; i + 1 < x.size(); ++i)
      ASSERT_NEAR(s.GetY2(int(i)), gsl_spline_eval_deriv2(gsl.get(), x[i], acc.get()),
                  1e-6 * c.amplitude / (c.minStep * c.minStep))
          << c.n << " " << i;
  }
}

// --- Archive -------------------------------------------------------------

TEST(SplineArchive, ExactBytes) {
  CSpline s = MakeSpline({0, 1, 2}, {0, 1, 0}, true);
  EXPECT_EQ(Store(s), Layout().I32(12).U8(1).I32(3).F64s({0, 1, 2, 0, 1, 0, 0, -3, 0}).F64(1e300).F64(1e300).Get());
  CSpline empty;
  empty.SetBoundaryConditions(-2.5, 0.125);
  EXPECT_EQ(Store(empty), Layout().I32(12).U8(0).I32(0).F64(-2.5).F64(0.125).Get());
}

TEST(SplineArchive, RoundTripIsExact) {
  CSpline s = MakeSpline({-3, -1, 0.1, 2, 9}, {1e-3, 5, -7, 2.25, 0});
  s.SetBoundaryConditions(0.7, -1.3);
  CSpline back = MakeSpline({5, 6}, {1, 1}, true);
  EXPECT_EQ(Load(Store(s), back), 0u);
  ASSERT_EQ(back, s);
  EXPECT_EQ(SplineShape(back), std::make_tuple(5, false, 0.7, -1.3));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(back.GetY2(i), s.GetY2(i));
  for (double t = -4; t < 10; t += 0.3) EXPECT_EQ(back.Interpolate(t), s.Interpolate(t)) << t;
  EXPECT_EQ(Store(back), Store(s));
}

// Stored second derivatives are used as they are, even when they are not
// what the knots would give: a curve through three zeros with y2 = {0, 50,
// 0} dips to (-0.375 * 50) / 6 = -3.125 halfway between the first knots.
TEST(SplineArchive, StoredCurvatureIsNotRecomputed) {
  CSpline s;
  Load(Layout().I32(12).U8(0).I32(3).F64s({0, 1, 2, 0, 0, 0, 0, 50, 0}).F64(1e300).F64(1e300).Get(), s);
  ASSERT_EQ(s.GetCount(), 3);
  EXPECT_EQ(s.GetY2(1), 50.0);
  EXPECT_DOUBLE_EQ(s.Interpolate(0.5), -3.125);
  EXPECT_DOUBLE_EQ(s.Interpolate(1.5), -3.125);
  // The natural spline through the same knots is flat: equality ignores y2.
  const CSpline flat = MakeSpline({0, 1, 2}, {0, 0, 0});
  EXPECT_EQ(flat.Interpolate(0.5), 0.0);
  EXPECT_TRUE(s == flat);
  // Copies keep the stored values too; an edit recomputes them.
  EXPECT_EQ(CSpline(s).GetY2(1), 50.0);
  s.SetY(0, 0.0);
  EXPECT_EQ(s.GetY2(1), 0.0);
}

// Older schemas lack fields; the spline keeps its current values for them.
TEST(SplineArchive, OlderSchemasKeepCurrentValues) {
  struct Case {
    const char* name;
    Layout bytes;
    bool linear;
    double yp1, ypn;
  };
  const std::vector<double> knots = {0, 4, 1, 3, 0, 0};  // x, y, y2
  const Case cases[] = {
      {"10 keeps flag and ends", Layout().I32(10).I32(2).F64s(knots), true, -0.5, 0.5},
      {"11 reads flag, keeps ends", Layout().I32(11).U8(0).I32(2).F64s(knots), false, -0.5, 0.5},
      {"11 linear flag", Layout().I32(11).U8(1).I32(2).F64s(knots), true, -0.5, 0.5},
      {"12 reads all", Layout().I32(12).U8(0).I32(2).F64s(knots).F64(1e300).F64(2.0), false, 1e300, 2.0},
  };
  for (const Case& c : cases) {
    CSpline s = MakeSpline({7, 8, 9}, {1, 2, 3}, true);
    s.SetBoundaryConditions(-0.5, 0.5);
    EXPECT_EQ(Load(c.bytes.Get(), s), 0u) << c.name;
    EXPECT_EQ(SplineShape(s), std::make_tuple(2, c.linear, c.yp1, c.ypn)) << c.name;
    EXPECT_EQ(s.GetX(1), 4.0) << c.name;
    EXPECT_EQ(s.GetY(0), 1.0) << c.name;
    // Not recomputed on load, even though the kept ends would curve it.
    EXPECT_EQ(s.GetY2(0), 0.0) << c.name;
    EXPECT_EQ(s.Interpolate(2.0), 2.0) << c.name;
  }
}

// Every proper prefix of a stored spline is refused, and the spline that
// was being loaded is left empty, not half-read.
TEST(SplineArchive, TruncatedAtEveryLengthThrows) {
  CSpline s = MakeSpline({0, 1, 3, 4}, {2, 0, 5, 1});
  s.SetBoundaryConditions(1, 2);
  const Bytes full = Store(s);
  ASSERT_EQ(full.size(), 4u + 1 + 4 + 12 * 8 + 16);
  for (size_t len = 0; len < full.size(); ++len) {
    CSpline target = MakeSpline({5, 6, 7}, {1, 2, 3}, true);
    target.SetBoundaryConditions(-4, 4);
    EXPECT_EQ(LoadCause(Prefix(full, len), target), CArchiveException::endOfFile) << len;
    // Nothing read is applied, not even the knots once only the end
    // slopes are missing.
    EXPECT_EQ(SplineShape(target), std::make_tuple(0, true, -4.0, 4.0)) << len;
    EXPECT_EQ(target.Interpolate(6.0), 0.0) << len;
  }
}

// Counts are checked against what the archive still holds before anything
// is read or allocated: the refusal comes with the archive standing just
// after the count, its last bytes unread.
TEST(SplineArchive, AbsurdCountsAreRefusedUpFront) {
  struct Case {
    const char* name;
    int32_t count;
    int tail;  // bytes after the count
    int cause;
  };
  const Case cases[] = {
      {"largest count, 10 bytes", 0x7FFFFFFF, 10, CArchiveException::endOfFile},
      {"one knot too many", 2, 47, CArchiveException::endOfFile},
      {"negative", -1, 64, CArchiveException::badIndex},
      {"most negative", int32_t(0x80000000u), 64, CArchiveException::badIndex},
  };
  for (const Case& c : cases) {
    Layout b;
    b.I32(12).U8(0).I32(c.count);
    for (int i = 0; i < c.tail; ++i) b.U8(BYTE(i));
    Bytes bytes = b.Get();
    CMemFile file(bytes.data(), UINT(bytes.size()));
    CSpline s = MakeSpline({1, 2}, {3, 4});
    try {
      CArchive ar(&file, CArchive::load);
      s.Serialize(ar);
      ADD_FAILURE() << c.name;
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, c.cause) << c.name;
    }
    EXPECT_EQ(s.GetCount(), 0) << c.name;
    if (c.cause == CArchiveException::endOfFile) {
      EXPECT_EQ(file.GetPosition(), 9u) << c.name;
    }
  }
}

// Archives whose length cannot be asked for still load, and still refuse
// short data.
class UnsizedFile : public CMemFile {
 public:
  using CMemFile::CMemFile;
  ULONGLONG GetLength() const override { throw CFileException(CFileException::genericException); }
};

TEST(SplineArchive, FileWithoutLength) {
  CSpline s = MakeSpline({0, 1, 3}, {2, 0, 5});
  Bytes bytes = Store(s);
  {
    UnsizedFile file(bytes.data(), UINT(bytes.size()));
    CArchive ar(&file, CArchive::load);
    CSpline back;
    back.Serialize(ar);
    EXPECT_EQ(back, s);
  }
  Bytes huge = Layout().I32(12).U8(0).I32(0x7FFFFFFF).F64(1.0).Get();
  UnsizedFile file(huge.data(), UINT(huge.size()));
  CArchive ar(&file, CArchive::load);
  CSpline back = s;
  EXPECT_THROW(back.Serialize(ar), CArchiveException);
  EXPECT_EQ(back.GetCount(), 0);
}

// --- Property bag ------------------------------------------------------------

std::vector<std::wstring> Keys(const CMemoryPropertyBag& bag) {
  std::vector<std::wstring> keys;
  for (const CString& k : bag.GetAttributeKeys()) keys.emplace_back(k.GetString());
  return keys;
}

// Default values are left out unless the bag wants them; the knot block
// is written only when there are knots, whatever the bag wants.
TEST(SplineProperties, WhichKeysAreWritten) {
  struct Case {
    const char* name;
    bool linear;
    double yp1, ypn;
    bool knots, writeDefaults;
    std::vector<std::wstring> keys;
  };
  const Case cases[] = {
      {"all default", false, 1e300, 1e300, false, false, {}},
      {"all default, write defaults", false, 1e300, 1e300, false, true, {L"linear", L"yp1", L"ypn"}},
      {"knots only", false, 1e300, 1e300, true, false, {L"xyy2"}},
      {"linear", true, 1e300, 1e300, true, false, {L"linear", L"xyy2"}},
      {"clamped low end", false, 0.0, 1e300, true, false, {L"yp1", L"xyy2"}},
      // Other natural values are still not the default value.
      {"other natural value", false, 1e300, 1e31, false, false, {L"ypn"}},
      {"everything", true, -1, 1, true, true, {L"linear", L"yp1", L"ypn", L"xyy2"}},
  };
  for (const Case& c : cases) {
    CSpline s;
    if (c.knots) s = MakeSpline({0, 1, 2}, {1, 3, 2});
    s.SetLinear(c.linear);
    s.SetBoundaryConditions(c.yp1, c.ypn);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(c.writeDefaults);
    ASSERT_TRUE(s.GetProperties(&bag)) << c.name;
    EXPECT_EQ(Keys(bag), c.keys) << c.name;
  }
}

TEST(SplineProperties, KnotBlockIsXThenYThenY2) {
  const CSpline s = MakeSpline({0, 1, 2}, {0, 1, 0});
  CMemoryPropertyBag bag;
  ASSERT_TRUE(s.GetProperties(&bag));
  CVariant block;
  ASSERT_TRUE(bag.GetVariantAttribute(L"xyy2", block));
  double v[9] = {};
  ASSERT_EQ(block.GetArray(v, 9), 9);
  const double want[9] = {0, 1, 2, 0, 1, 0, 0, -3, 0};
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(v[i], want[i], 1e-14) << i;
}

// Numbers travel through the bag as text with fifteen significant digits.
TEST(SplineProperties, RoundTrip) {
  for (bool writeDefaults : {false, true}) {
    CSpline s = MakeSpline({-2, 0.3, 1.7, 5}, {1.0 / 3, -2, 7.25, 0}, true);
    s.SetBoundaryConditions(0.1, 1e300);
    CMemoryPropertyBag bag;
    bag.SetWriteDefaults(writeDefaults);
    ASSERT_TRUE(s.GetProperties(&bag));
    CSpline back = MakeSpline({9}, {9});
    back.SetBoundaryConditions(5, 5);
    ASSERT_TRUE(back.SetProperties(&bag));
    // A default ypn was not written, so the reader kept its own.
    ASSERT_EQ(SplineShape(back), std::make_tuple(4, true, 0.1, writeDefaults ? 1e300 : 5.0));
    EXPECT_EQ(back == s, writeDefaults);
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(back.GetX(i), s.GetX(i), 1e-14 * (1 + std::fabs(s.GetX(i))));
      EXPECT_NEAR(back.GetY(i), s.GetY(i), 1e-14 * (1 + std::fabs(s.GetY(i))));
      EXPECT_NEAR(back.GetY2(i), s.GetY2(i), 1e-13 * (1 + std::fabs(s.GetY2(i))));
    }
  }
}

// Missing keys keep their fields, or reset them when the bag says so; the
// knot block is read either way, so a bag without one leaves no knots.
TEST(SplineProperties, MissingKeys) {
  for (bool reset : {false, true}) {
    CSpline s = MakeSpline({0, 1}, {0, 1}, true);
    s.SetBoundaryConditions(2, 3);
    CMemoryPropertyBag bag;
    bag.SetResetMissing(reset);
    bag.AddAttribute(L"ypn", 4.0);
    ASSERT_TRUE(s.SetProperties(&bag));
    EXPECT_EQ(SplineShape(s), std::make_tuple(0, !reset, reset ? 1e300 : 2.0, 4.0)) << reset;
  }
  EXPECT_FALSE(CSpline().SetProperties(nullptr));
  EXPECT_FALSE(CSpline().GetProperties(nullptr));
}

// The block is taken as it is: whole triples only, second derivatives
// from the bag rather than recomputed.
TEST(SplineProperties, BlockTakenAsGiven) {
  struct Case {
    const char* name;
    std::vector<double> values;
    int n;
  };
  const Case cases[] = {
      {"odd curvature", {0, 1, 2, 0, 0, 0, 0, 50, 0}, 3},
      {"ten values make three knots", {0, 1, 2, 0, 0, 0, 0, 50, 0, 99}, 3},
      {"two values make none", {1, 2}, 0},
      {"empty", {}, 0},
  };
  for (const Case& c : cases) {
    CMemoryPropertyBag bag;
    CVariant block;
    block.SetArray(c.values.data(), int(c.values.size()));
    bag.AddVariantAttribute(L"xyy2", block);
    CSpline s = MakeSpline({4, 5}, {6, 7});
    ASSERT_TRUE(s.SetProperties(&bag)) << c.name;
    ASSERT_EQ(s.GetCount(), c.n) << c.name;
    if (c.n == 3) {
      EXPECT_EQ(s.GetY2(1), 50.0);
      EXPECT_DOUBLE_EQ(s.Interpolate(0.5), -3.125);
    }
  }
  // A value that is no array of doubles leaves no knots.
  CMemoryPropertyBag bag;
  bag.AddAttribute(L"xyy2", 3);
  CSpline s = MakeSpline({4, 5}, {6, 7});
  ASSERT_TRUE(s.SetProperties(&bag));
  EXPECT_EQ(s.GetCount(), 0);
}

}  // namespace
