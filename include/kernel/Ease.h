#pragma once
// Easing curves: each maps a progress value t (normally 0..1) to an eased
// progress. Nothing here clamps its input or its output, so values outside
// 0..1 are evaluated by the same formulas (CircIn(2) is NaN, BackIn dips
// below 0 on purpose).
//
// The Quadratic, Cubic, Quartic, Quintic, Sine, Circ and Expo families keep
// their classic formulas exactly, including the exponential family's end
// points: ExpoIn(0) is 2^-10 and ExpoOut(1) is 1 - 2^-10, not 0 and 1, so
// animations that were tuned against these values do not shift.
// Every InOut function takes its first half only when t < 0.5.
//
// Additions beyond the classic set:
// - Linear: t unchanged.
// - BackIn/BackOut/BackInOut: overshoot s (default 1.70158, about 10 %
//   overshoot); BackInOut scales s by 1.525 so each half overshoots as much.
// - ElasticIn/ElasticOut/ElasticInOut: a decaying sine with amplitude a
//   (default 1) and period p (default 0.3; ElasticInOut defaults to 0.45,
//   i.e. 0.3 * 1.5, since each half is squeezed into half the time). An
//   amplitude below 1 is raised to 1. These return exactly 0 at t = 0 and
//   exactly 1 at t = 1.
// - BounceIn/BounceOut/BounceInOut: the four-bounce parabola sequence with
//   gravity constant 7.5625 over thirds of 2.75.
#include <kernel/Export.h>

namespace Kernel {
namespace Ease {

using Function = double (*)(double);

// from + fn(t) * (to - from).
NK_API double Ease(Function fn, double from, double to, double t);

NK_API double Linear(double t);

NK_API double QuadraticIn(double t);
NK_API double QuadraticOut(double t);
NK_API double QuadraticInOut(double t);
NK_API double CubicIn(double t);
NK_API double CubicOut(double t);
NK_API double CubicInOut(double t);
NK_API double QuarticIn(double t);
NK_API double QuarticOut(double t);
NK_API double QuarticInOut(double t);
NK_API double QuinticIn(double t);
NK_API double QuinticOut(double t);
NK_API double QuinticInOut(double t);
NK_API double SineIn(double t);
NK_API double SineOut(double t);
NK_API double SineInOut(double t);
NK_API double CircIn(double t);
NK_API double CircOut(double t);
NK_API double CircInOut(double t);
NK_API double ExpoIn(double t);
NK_API double ExpoOut(double t);
NK_API double ExpoInOut(double t);

inline constexpr double kBackOvershoot = 1.70158;
inline constexpr double kElasticPeriod = 0.3;

NK_API double BackIn(double t);
NK_API double BackOut(double t);
NK_API double BackInOut(double t);
NK_API double BackIn(double t, double overshoot);
NK_API double BackOut(double t, double overshoot);
NK_API double BackInOut(double t, double overshoot);

NK_API double ElasticIn(double t);
NK_API double ElasticOut(double t);
NK_API double ElasticInOut(double t);
NK_API double ElasticIn(double t, double amplitude, double period);
NK_API double ElasticOut(double t, double amplitude, double period);
NK_API double ElasticInOut(double t, double amplitude, double period);

NK_API double BounceIn(double t);
NK_API double BounceOut(double t);
NK_API double BounceInOut(double t);

}  // namespace Ease
}  // namespace Kernel
