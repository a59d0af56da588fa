#include "description/signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace zansim {
namespace {

Signal signal(Signal::Shape shape) {
  return {.shape = shape, .min = 20, .max = 80, .period = 4 * kSecond, .seed = 7, .values = {}};
}

constexpr Time kAnyTime = 1'709'805'600 * kSecond;

class EveryShape : public ::testing::TestWithParam<Signal::Shape> {
 protected:
  Signal shaped() const {
    Signal shaped = signal(GetParam());
    if (GetParam() == Signal::Shape::steps) shaped.values = {20, 80, 50};
    return shaped;
  }
};

TEST_P(EveryShape, StaysInItsRangeAndMoves) {
  const Signal varying = shaped();
  double lowest = 1e9;
  double highest = -1e9;
  for (Time t = 0; t < 300 * kSecond; t += kSecond / 10) {
    const double value = varying.valueAt(kAnyTime + t, 3);
    lowest = std::min(lowest, value);
    highest = std::max(highest, value);
  }
  EXPECT_GE(lowest, 20);
  EXPECT_LE(highest, 80);
  EXPECT_GT(highest - lowest, 20);
}

TEST_P(EveryShape, IsAFunctionOfItsSeedAndOwner) {
  const Signal varying = shaped();
  Signal again = shaped();
  EXPECT_EQ(varying.valueAt(kAnyTime, 2), again.valueAt(kAnyTime, 2));
  again.seed = 8;
  const auto differs = [&](const Signal& other, unsigned owner) {
    int different = 0;
    for (Time t = 0; t < 60 * kSecond; t += kSecond) {
      different += varying.valueAt(kAnyTime + t, 2) != other.valueAt(kAnyTime + t, owner);
    }
    return different > 10;
  };
  EXPECT_TRUE(differs(again, 2));
  EXPECT_TRUE(differs(varying, 3));
}

TEST_P(EveryShape, IntegratesToTheSumOfItsValues) {
  const Signal varying = shaped();
  // A hundred seconds that begin and end within a cycle, summed up in small steps.
  const Time from = kAnyTime + 1'234'567'890;
  const Time to = from + 100 * kSecond;
  constexpr Time kStep = kSecond / 1000;
  double sum = 0;
  for (Time t = from; t < to; t += kStep) {
    sum += varying.valueAt(t + kStep / 2, 1) * static_cast<double>(kStep);
  }
  EXPECT_NEAR(varying.integral(from, to, 1) / sum, 1, 1e-3);
}

TEST_P(EveryShape, IntegralGrowsSteadilyAfterYears) {
  const Signal varying = shaped();
  const Time loaded = kAnyTime - 100'000'000 * kSecond;
  double before = varying.integral(loaded, kAnyTime, 1);
  for (Time t = kSecond / 100; t < 20 * kSecond; t += kSecond / 100) {
    const double now = varying.integral(loaded, kAnyTime + t, 1);
    // Between the lowest and the highest value over a hundredth of a second, give or take what a
    // double can hold after so long a time.
    EXPECT_GT(now - before, 0.9 * 20 * kSecond / 100);
    EXPECT_LT(now - before, 1.1 * 80 * kSecond / 100);
    before = now;
  }
}

std::string shapeName(const ::testing::TestParamInfo<Signal::Shape>& shape) {
  constexpr const char* kNames[] = {"Sine", "Ramp", "Steps", "Walk"};
  return kNames[static_cast<int>(shape.param)];
}

INSTANTIATE_TEST_SUITE_P(Shapes, EveryShape,
                         ::testing::Values(Signal::Shape::sine, Signal::Shape::ramp,
                                           Signal::Shape::steps, Signal::Shape::walk),
                         shapeName);

TEST(Signal, FollowsItsPhase) {
  Signal ramp = signal(Signal::Shape::ramp);
  ramp.phase = 0;
  EXPECT_DOUBLE_EQ(ramp.valueAt(0, 5), 20);
  EXPECT_DOUBLE_EQ(ramp.valueAt(kSecond, 5), 35);
  EXPECT_DOUBLE_EQ(ramp.valueAt(5 * kSecond, 5), 35);
  ramp.phase = 3 * kSecond;
  EXPECT_DOUBLE_EQ(ramp.valueAt(0, 5), 65);

  Signal steps{.shape = Signal::Shape::steps, .period = 10 * kSecond, .phase = 0, .values = {1, 2}};
  EXPECT_EQ(steps.valueAt(9 * kSecond, 0), 1);
  EXPECT_EQ(steps.valueAt(10 * kSecond, 0), 2);
  EXPECT_EQ(steps.valueAt(20 * kSecond, 0), 1);

  Signal sine = signal(Signal::Shape::sine);
  sine.phase = 0;
  EXPECT_NEAR(sine.valueAt(kSecond, 0), 80, 1e-9);
  EXPECT_NEAR(sine.valueAt(3 * kSecond, 0), 20, 1e-9);
}

TEST(Signal, WalkTakesNoLeaps) {
  const Signal walk = signal(Signal::Shape::walk);
  for (Time t = 0; t < 600 * kSecond; t += kSecond / 10) {
    const double leap = walk.valueAt(t + kSecond / 10, 0) - walk.valueAt(t, 0);
    // A tenth of a second is a fortieth of a step, over which the jitter alone may cross.
    EXPECT_LT(std::abs(leap), 2) << t;
  }
}

}  // namespace
}  // namespace zansim
