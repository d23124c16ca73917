#include "nav/motion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "nav/ins.h"

namespace {

constexpr double kDegree = 0.017453292519943295;  // rad
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

int call(INS& ins, double pitch, double roll) {
  ins.att[0] = pitch * kDegree;
  ins.att[1] = roll * kDegree;
  return MP_MOVE(ins);
}

// From the 26th call on the newest of 25 attitudes is compared with the oldest: call 26 with call
// 2, call 27 with call 3. What lies between does not count.
TEST(AttitudeChange, ComparesTheEndsOfTheWindow) {
  struct Case {
    double old_pitch, old_roll, new_pitch, new_roll;
    int expected;
  };
  const Case cases[] = {{1, 0, 25.9, 0, 0},    {1, 0, 26.1, 0, 1},   {1, 0, -24.1, 0, 1},
                        {1, 5, 1, 29.9, 0},    {1, 5, 1, 30.1, 1},   {170, 0, -170, 0, 0},
                        {-170, 0, 170, 0, 0},  {1, -170, 1, 160, 1}, {1, 175, 1, -170, 0},
                        {1, 0, kNan, kNan, 0}, {1e-9, 0, 40, 0, 1},  // and exact zeros:
                        {0, 0, 40, 40, 0},     {-0.0, 0, 40, 40, 0}};
  for (const auto& [old_pitch, old_roll, new_pitch, new_roll, expected] : cases) {
    INS ins{};
    EXPECT_EQ(call(ins, 7, 7), 0);
    EXPECT_EQ(call(ins, old_pitch, old_roll), 0);
    for (int i = 3; i <= 25; ++i) EXPECT_EQ(call(ins, i % 2 == 0 ? 80 : -80, 10.0 * i), 0) << i;
    EXPECT_EQ(call(ins, new_pitch, new_roll), expected) << new_pitch << ' ' << new_roll;
    EXPECT_EQ(call(ins, -80, 30), 0);
    EXPECT_EQ(ins.pitch_hist.size() + ins.roll_hist.size(), 50u);
  }
}

TEST(Landscape, BodyXMoreThanSeventyDegreesOutOfTheHorizontal) {
  for (const double around : {0.0, 1.0, 2.5, -1.5}) {
    for (const double tilt : {0.0, 45.0, 69.999, 70.001, 90.0, -69.999, -70.001}) {
      const double horizontal = 9.8 * std::cos(tilt * kDegree);
      const double acc[3] = {9.8 * std::sin(tilt * kDegree), horizontal * std::cos(around),
                             horizontal * std::sin(around)};
      EXPECT_EQ(LandscapeDetector(acc), std::abs(tilt) > 70.0 ? 2 : 1) << tilt << ' ' << around;
    }
  }
  const double nothing[3] = {}, broken[3] = {kNan, 0.0, 0.0};
  EXPECT_EQ(LandscapeDetector(nothing), 1);
  EXPECT_EQ(LandscapeDetector(broken), 1);
  const double twice[3] = {0.0, 0.0, 2.0 * 9.80665};
  EXPECT_DOUBLE_EQ(StaticAccBias(twice), 0.5);
}

}  // namespace
