#include "description/signal.h"

#include <gtest/gtest.h>

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

TEST(Signal, MayBeginWithTheMachineAndHappenOnce) {
  constexpr Time kOrigin = kAnyTime;
  Signal hot{.shape = Signal::Shape::steps,
             .period = 5 * kSecond,
             .values = {40, 95},
             .after = 0,
             .once = true};
  const auto value = [&](Time age) { return hot.valueAt(kOrigin + age, 3, kOrigin); };
  EXPECT_EQ(value(-kSecond), 40);
  EXPECT_EQ(value(5 * kSecond - 1), 40);
  EXPECT_EQ(value(5 * kSecond), 95);
  EXPECT_EQ(value(1000 * kSecond), 95);
  const auto integral = [&](Time from, Time to) {
    return hot.integral(kOrigin + from, kOrigin + to, 3, kOrigin) / kSecond;
  };
  EXPECT_DOUBLE_EQ(integral(-10 * kSecond, 20 * kSecond), 15 * 40 + 15 * 95);
  EXPECT_DOUBLE_EQ(integral(12 * kSecond, 20 * kSecond), 8 * 95);
  hot.once = false;
  hot.after = 100 * kSecond;
  EXPECT_EQ(value(50 * kSecond), 40);
  EXPECT_EQ(value(106 * kSecond), 95);
  EXPECT_EQ(value(111 * kSecond), 40);
  EXPECT_DOUBLE_EQ(integral(0, 120 * kSecond), 110 * 40 + 10 * 95);
}

}  // namespace
}  // namespace zansim
