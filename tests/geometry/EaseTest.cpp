#include <kernel/Ease.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using namespace Kernel::Ease;

struct Sample {
  const char* name;
  Function fn;
  double t;
  double expected;  // compared exactly: these values are representable
};

// Values at points where the closed forms are exact in binary, so any
// change of formula, branch point or constant shows up as a mismatch.
TEST(Ease, ExactValuesOfTheClassicCurves) {
  const Sample samples[] = {
      {"QuadraticIn", QuadraticIn, 0.5, 0.25},
      {"QuadraticOut", QuadraticOut, 0.5, 0.75},
      {"QuadraticInOut first half", QuadraticInOut, 0.25, 0.125},
      {"QuadraticInOut at 0.5 takes second branch", QuadraticInOut, 0.5, 0.5},
      {"QuadraticInOut second half", QuadraticInOut, 0.75, 0.875},
      {"CubicIn", CubicIn, 0.5, 0.125},
      {"CubicOut", CubicOut, 0.5, 0.875},
      {"CubicInOut", CubicInOut, 0.25, 0.0625},
      {"CubicInOut second half", CubicInOut, 0.75, 0.9375},
      {"QuarticIn", QuarticIn, 0.5, 0.0625},
      {"QuarticOut", QuarticOut, 0.5, 0.9375},
      {"QuarticInOut", QuarticInOut, 0.25, 0.03125},
      {"QuarticInOut second half", QuarticInOut, 0.75, 0.96875},
      {"QuinticIn", QuinticIn, 0.5, 0.03125},
      {"QuinticOut", QuinticOut, 0.5, 0.96875},
      {"QuinticInOut", QuinticInOut, 0.25, 0.015625},
      {"QuinticInOut second half", QuinticInOut, 0.75, 0.984375},
      {"QuinticIn negative", QuinticIn, -2.0, -32.0},
      {"ExpoIn(0) is 2^-10, not 0", ExpoIn, 0.0, 0.0009765625},
      {"ExpoIn(1)", ExpoIn, 1.0, 1.0},
      {"ExpoOut(0)", ExpoOut, 0.0, 0.0},
      {"ExpoOut(1) is 1 - 2^-10, not 1", ExpoOut, 1.0, 1.0 - 0.0009765625},
      {"ExpoInOut(0)", ExpoInOut, 0.0, 0.00048828125},
      {"ExpoInOut(0.5) second branch", ExpoInOut, 0.5, 0.5},
      {"ExpoInOut(1)", ExpoInOut, 1.0, 1.0 - 0.00048828125},
      {"ExpoIn(0.5)", ExpoIn, 0.5, 0.03125},
      {"SineIn(0)", SineIn, 0.0, 0.0},
      {"SineOut(1)", SineOut, 1.0, 1.0},
      {"SineInOut(1)", SineInOut, 1.0, 1.0},
      {"CircIn(1)", CircIn, 1.0, 1.0},
      {"CircOut(1)", CircOut, 1.0, 1.0},
      {"CircInOut(0.5) second branch", CircInOut, 0.5, 0.5},
      {"Linear", Linear, 0.375, 0.375},
      // Outside [0, 1] nothing is clamped.
      {"QuadraticIn(2)", QuadraticIn, 2.0, 4.0},
      {"CubicOut(-1)", CubicOut, -1.0, -7.0},
      {"ExpoIn(2)", ExpoIn, 2.0, 1024.0},
  };
  for (const Sample& s : samples) EXPECT_EQ(s.fn(s.t), s.expected) << s.name;
}

TEST(Ease, IntegerPowersByBinaryPowering) {
  // t^5 is t * (t^2)^2, bit for bit, not ((((t t) t) t) t) nor pow(t, 5).
  for (double t : {0.3, 0.7, 1.1, -0.45}) {
    const double t2 = t * t;
    EXPECT_EQ(QuinticIn(t), t * (t2 * t2)) << t;
    EXPECT_EQ(QuarticIn(t), t2 * t2) << t;
  }
}

TEST(Ease, InputsOutsideTheUnitRangeAreNotClamped) { EXPECT_TRUE(std::isnan(CircIn(2.0))); }

TEST(Ease, HelperInterpolatesBetweenValues) {
  EXPECT_EQ(Ease(QuadraticIn, 10.0, 20.0, 0.5), 12.5);
  EXPECT_EQ(Ease(Linear, 20.0, 10.0, 0.25), 17.5);  // decreasing ranges work too
  EXPECT_EQ(Ease(ExpoIn, 0.0, 1024.0, 0.0), 1.0);   // ExpoIn's offset at t = 0 shows through
  EXPECT_EQ(Ease(BackIn, 0.0, 1.0, 0.0), 0.0);      // the parameterless overload is chosen
}

TEST(Ease, AdditionalFamiliesHitEndPointsAndHaveTheirShape) {
  const struct {
    const char* name;
    Function fn;
  } curves[] = {{"BackIn", BackIn},       {"BackOut", BackOut},       {"BackInOut", BackInOut},
                {"ElasticIn", ElasticIn}, {"ElasticOut", ElasticOut}, {"ElasticInOut", ElasticInOut},
                {"BounceIn", BounceIn},   {"BounceOut", BounceOut},   {"BounceInOut", BounceInOut}};
  for (const auto& c : curves) {
    EXPECT_NEAR(c.fn(0.0), 0.0, 1e-15) << c.name;
    EXPECT_NEAR(c.fn(1.0), 1.0, 1e-15) << c.name;
    if (!std::string(c.name).ends_with("InOut")) continue;
    EXPECT_NEAR(c.fn(0.5), 0.5, 1e-12) << c.name;
  }

  // Back with s = 1.70158 dips to about -0.1 (its well-known 10 % overshoot)
  // at t = 2s / (3(s+1)).
  const double s = kBackOvershoot;
  const double tmin = 2.0 * s / (3.0 * (s + 1.0));
  EXPECT_NEAR(BackIn(tmin), -0.100004, 1e-6);
  EXPECT_NEAR(BackOut(1.0 - tmin), 1.100004, 1e-6);
  EXPECT_EQ(BackIn(0.5, 0.0), CubicIn(0.5));  // no overshoot degenerates to cubic

  // Bounce: touches the ground exactly at the arc joints.
  EXPECT_NEAR(BounceOut(1.0 / 2.75), 1.0, 1e-15);
  EXPECT_NEAR(BounceOut(2.0 / 2.75), 1.0, 1e-15);
  EXPECT_NEAR(BounceOut(1.5 / 2.75), 0.75, 1e-15);  // top of the first rebound

  // Elastic: amplitude decays as 2^(-10t); period 0.3 puts the peaks 0.3 apart.
  EXPECT_NEAR(ElasticOut(0.15), 1.0 + std::pow(2.0, -1.5), 1e-12);
  EXPECT_NEAR(ElasticOut(0.45), 1.0 + std::pow(2.0, -4.5), 1e-12);
  EXPECT_NEAR(ElasticOut(0.075), 1.0, 1e-15);                      // crosses the target a quarter period in
  EXPECT_NEAR(ElasticIn(0.7), -ElasticOut(0.3) + 1.0, 1e-12);      // In is Out rotated
  EXPECT_NEAR(ElasticOut(0.2, 0.5, 0.3), ElasticOut(0.2), 1e-15);  // amplitude below 1 is raised to 1
}

}  // namespace
