#include "pdr/step_length.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Indices = std::vector<std::size_t>;

// Level walking at 25 Hz: the vertical acceleration swings by 1 m/s^2 from epoch to epoch.
struct Walk {
  std::deque<double> x, y, z, steps;
  std::deque<std::int64_t> time;

  Walk(std::size_t n, const Indices& step_indices) : x(n), y(n), z(n), steps(n), time(n) {
    for (std::size_t i = 0; i < n; ++i) {
      z[i] = 8.5 + static_cast<double>(i % 2);
      time[i] = static_cast<std::int64_t>(i) * 40'000'000;
    }
    for (const std::size_t i : step_indices) steps[i] = 1.0;
  }
  std::deque<double> lengths() { return steplen(x, y, z, time, steps); }
  double speed(double previous, int count = 150) {
    return step_speed(x, y, z, time, steps, count, previous);
  }
};

// The window is one sample longer than the longest interval and stops short of the newest sample.
TEST(StepLength, IsThatOfEveryStepTheWindowPassesAndOfTheLastOneItStartsWith) {
  const std::pair<Indices, Indices> cases[] = {
      {{3, 10, 12, 24}, {12, 24}},  // starts with 3, 10 and 12
      {{3, 6, 13, 25}, {6, 13, 25}},
      {{10, 29, 39}, {29}},              // 39 is the newest
      {{1, 3, 8, 28, 30}, {8, 28, 30}},  // the longest interval is not the last
      {{0, 39}, {}},
  };
  for (const auto& [steps, measured] : cases) {
    std::deque<double> expected(40, 0.0);
    for (const std::size_t i : measured) expected[i] = 0.66;
    EXPECT_EQ(Walk(40, steps).lengths(), expected);
  }
}

TEST(StepLength, FollowsTheFourthRootOfTheRangeAndTheHorizontalMean) {
  Walk walk(40, {5, 10, 20});
  walk.z[10] = walk.z[11] - 16.0;
  walk.z[7] = walk.z[9] = walk.z[20] = 1e6;  // none is part of the step
  EXPECT_NEAR(walk.lengths()[20], 2.0 * 0.66, 1e-12);
  walk.x.assign(40, 30.0);  // u = 0.04 s * 50 m/s^2 = 2
  walk.y.assign(40, -40.0);
  EXPECT_NEAR(walk.lengths()[20], 2.0 * (0.66 - 0.74 + 0.6), 1e-12);
}

// The last 5 s are the epochs 24 to 149: the limits lie at epochs 30.25 and 111.5.
TEST(StepSpeed, IsTheDistanceOverFiveSecondsIfStepsFillThem) {
  const std::tuple<Indices, double, double> cases[] = {
      // steps, previous and expected speed
      {{23, 30, 50, 70, 90, 112}, 1.0, 4 * 0.66 / 5.0},  // the first is too old
      {{30, 50, 70, 90, 112}, 0.0, 0.0},                 // never up from exactly 0
      {{31, 50, 70, 90, 112}, 0.9, 0.9},                 // starts late: no new estimate
      {{30, 50, 70, 90, 111}, 0.9, 0.0},                 // ends early: standing
      {{30}, 0.5, 0.5},                                  // nothing to measure
      {{30}, 0.48, 0.0},
  };
  for (const auto& [steps, previous, expected] : cases) {
    EXPECT_NEAR(Walk(150, steps).speed(previous), expected, 1e-12);
  }
  Walk at_limits(150, {30, 50, 70, 90, 112});  // both count as walking
  at_limits.time[30] = at_limits.time[24] + 250'000'000;
  at_limits.time[112] = at_limits.time[149] - 1'500'000'000;
  EXPECT_NEAR(at_limits.speed(1.0), 4 * 0.66 / 5.0, 1e-12);
  EXPECT_EQ(at_limits.speed(1.0, 149), 0.0) << "too short a history";
}

TEST(StepSpeed, OfTheNewestEpochAloneIsThePreviousOneIfWalking) {
  for (const Indices& steps : {Indices{}, Indices{149}, Indices{20, 149}}) {
    Walk walk(150, steps);
    walk.time[149] = walk.time[148] + 5'000'000'001;
    EXPECT_EQ(walk.speed(1.2), 1.2);
    EXPECT_EQ(walk.speed(0.4), 0.0);
  }
}

TEST(StepSpeed, IsDefinedForAnyHistory) {
  EXPECT_EQ(Walk(0, {}).speed(1.0), 1.0);
  Walk walk(150, {30, 42, 149});
  walk.z.resize(45);
  EXPECT_EQ(walk.speed(0.9), 0.9) << "epochs 0 to 44, the first step late";
  walk.time[43] = std::numeric_limits<std::int64_t>::min();
  walk.time[44] = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(walk.speed(1.0), 1.0) << "the stretch is the newest epoch alone";
}

}  // namespace
