#include <kernel/Ease.h>

#include <cmath>

namespace Kernel {
namespace Ease {

namespace {

constexpr double kHalfPi = 1.5707963267948966;
constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

// Integer powers by binary powering: a general pow() is slower and, for
// some inputs, not bit-identical to the products the curves were tuned with.
constexpr double Power(double x, unsigned n) {
  double result = 1.0;
  while (n != 0) {
    if (n & 1u) result *= x;
    n >>= 1;
    if (n != 0) x *= x;
  }
  return result;
}

double Exp2(double x) { return std::exp2(x); }

// Phase shift that makes the elastic sine start at its zero crossing for the
// given amplitude; amplitudes below 1 would not reach the end points, so
// they are raised to 1.
void ElasticShape(double& amplitude, double period, double& shift) {
  if (amplitude < 1.0) {
    amplitude = 1.0;
    shift = period / 4.0;
  } else {
    shift = period / kTwoPi * std::asin(1.0 / amplitude);
  }
}

}  // namespace

double Ease(Function fn, double from, double to, double t) { return from + fn(t) * (to - from); }

double Linear(double t) { return t; }

double QuadraticIn(double t) { return Power(t, 2); }
double QuadraticOut(double t) { return 1.0 - Power(t - 1.0, 2); }
double QuadraticInOut(double t) {
  if (t < 0.5) return 0.5 * Power(2.0 * t, 2);
  return 0.5 * (1.0 - Power(2.0 * t - 2.0, 2) + 1.0);
}

double CubicIn(double t) { return Power(t, 3); }
double CubicOut(double t) { return Power(t - 1.0, 3) + 1.0; }
double CubicInOut(double t) {
  if (t < 0.5) return 0.5 * Power(2.0 * t, 3);
  return 0.5 * (Power(2.0 * t - 2.0, 3) + 2.0);
}

double QuarticIn(double t) { return Power(t, 4); }
double QuarticOut(double t) { return 1.0 - Power(t - 1.0, 4); }
double QuarticInOut(double t) {
  if (t < 0.5) return 0.5 * Power(2.0 * t, 4);
  return 0.5 * (2.0 - Power(2.0 * t - 2.0, 4));
}

double QuinticIn(double t) { return Power(t, 5); }
double QuinticOut(double t) { return Power(t - 1.0, 5) + 1.0; }
double QuinticInOut(double t) {
  if (t < 0.5) return 0.5 * Power(2.0 * t, 5);
  return 0.5 * (Power(2.0 * t - 2.0, 5) + 2.0);
}

double SineIn(double t) { return 1.0 - std::cos(t * kHalfPi); }
double SineOut(double t) { return std::sin(t * kHalfPi); }
double SineInOut(double t) { return -0.5 * (std::cos(kPi * t) - 1.0); }

double CircIn(double t) { return 1.0 - std::sqrt(1.0 - Power(t, 2)); }
double CircOut(double t) { return std::sqrt(1.0 - Power(t - 1.0, 2)); }
double CircInOut(double t) {
  if (t < 0.5) return 0.5 - 0.5 * std::sqrt(1.0 - Power(2.0 * t, 2));
  return 0.5 * (std::sqrt(1.0 - Power(2.0 * t - 2.0, 2)) + 1.0);
}

double ExpoIn(double t) { return Exp2(10.0 * (t - 1.0)); }
double ExpoOut(double t) { return 1.0 - Exp2(-10.0 * t); }
double ExpoInOut(double t) {
  const double u = 2.0 * t - 1.0;
  if (t < 0.5) return 0.5 * Exp2(10.0 * u);
  return 0.5 * (2.0 - Exp2(-10.0 * u));
}

double BackIn(double t, double s) { return t * t * ((s + 1.0) * t - s); }
double BackOut(double t, double s) {
  const double u = t - 1.0;
  return u * u * ((s + 1.0) * u + s) + 1.0;
}
double BackInOut(double t, double s) {
  s *= 1.525;
  if (t < 0.5) {
    const double u = 2.0 * t;
    return 0.5 * (u * u * ((s + 1.0) * u - s));
  }
  const double u = 2.0 * t - 2.0;
  return 0.5 * (u * u * ((s + 1.0) * u + s) + 2.0);
}
double BackIn(double t) { return BackIn(t, kBackOvershoot); }
double BackOut(double t) { return BackOut(t, kBackOvershoot); }
double BackInOut(double t) { return BackInOut(t, kBackOvershoot); }

double ElasticIn(double t, double a, double p) {
  if (t == 0.0) return 0.0;
  if (t == 1.0) return 1.0;
  double s;
  ElasticShape(a, p, s);
  const double u = t - 1.0;
  return -(a * Exp2(10.0 * u) * std::sin((u - s) * kTwoPi / p));
}
double ElasticOut(double t, double a, double p) {
  if (t == 0.0) return 0.0;
  if (t == 1.0) return 1.0;
  double s;
  ElasticShape(a, p, s);
  return a * Exp2(-10.0 * t) * std::sin((t - s) * kTwoPi / p) + 1.0;
}
double ElasticInOut(double t, double a, double p) {
  if (t == 0.0) return 0.0;
  if (t == 1.0) return 1.0;
  double s;
  ElasticShape(a, p, s);
  const double u = 2.0 * t - 1.0;
  if (t < 0.5) return -0.5 * (a * Exp2(10.0 * u) * std::sin((u - s) * kTwoPi / p));
  return 0.5 * a * Exp2(-10.0 * u) * std::sin((u - s) * kTwoPi / p) + 1.0;
}
double ElasticIn(double t) { return ElasticIn(t, 1.0, kElasticPeriod); }
double ElasticOut(double t) { return ElasticOut(t, 1.0, kElasticPeriod); }
double ElasticInOut(double t) { return ElasticInOut(t, 1.0, kElasticPeriod * 1.5); }

double BounceOut(double t) {
  // Four parabolic arcs of height 1, 0.25, 0.0625 and 0.015625 below the
  // top, starting at 0, 1/2.75, 2/2.75 and 2.5/2.75.
  constexpr double k = 7.5625;
  constexpr double d = 2.75;
  if (t < 1.0 / d) return k * t * t;
  if (t < 2.0 / d) {
    t -= 1.5 / d;
    return k * t * t + 0.75;
  }
  if (t < 2.5 / d) {
    t -= 2.25 / d;
    return k * t * t + 0.9375;
  }
  t -= 2.625 / d;
  return k * t * t + 0.984375;
}
double BounceIn(double t) { return 1.0 - BounceOut(1.0 - t); }
double BounceInOut(double t) {
  if (t < 0.5) return 0.5 * BounceIn(2.0 * t);
  return 0.5 * BounceOut(2.0 * t - 1.0) + 0.5;
}

}  // namespace Ease
}  // namespace Kernel
