#include "pdr/step_detector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <map>
#include <tuple>

namespace {

using State = sns_oem_step_detector_inst_state;
constexpr double kTwoPi = 6.283185307179586;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr std::int64_t kFirstTime = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kEpoch = 40'000'000;  // ns

int feed(State& state, std::int64_t t, double acc, double gyr) {
  float a[3] = {0.0f, 0.0f, static_cast<float>(acc)};
  float g[3] = {static_cast<float>(gyr), 0.0f, 0.0f};
  return sns_oem_step_detector_StateMachine(static_cast<unsigned long long>(t), a, g, &state);
}

using Samples = std::map<int, float>;  // the other samples of the window are 0
const Samples kStep = {{3, 1.0f}, {8, -1.0f}};

// While a record's windows are being filled, its scores and all samples but one stay as they are:
// a fill that does not advance lets a test choose both windows and both scores.
struct ChosenWindows : testing::Test {
  void SetUp() override {
    for (int i = 0; i < 6; ++i) call(0, 1.0f, 1.0f);  // lets the pause after an earlier step pass
    state = State{};
  }
  bool call(std::int64_t t, float acc_score, float gyr_score, const Samples& acc = kStep,
            const Samples& gyr = kStep, int fill = 17) {
    std::fill_n(state.acc_window, 18, 0.0f);
    std::fill_n(state.gyr_window, 18, 0.0f);
    for (const auto& [i, value] : acc) state.acc_window[i] = value;
    for (const auto& [i, value] : gyr) state.gyr_window[i] = value;
    state.acc_score = acc_score;
    state.gyr_score = gyr_score;
    state.nets_ready = 1;
    state.sample_count = fill;
    feed(state, t, 0.0, 0.0);
    return state.step_flag != 0;
  }
  State state{};
};

TEST_F(ChosenWindows, AStepIsAPeakThenAValleyInAStrongWindowOfLowScore) {
  const std::tuple<Samples, bool, bool> cases[] = {
      // window, hits of the two sensors
      {{{0, 1.0f}, {8, -1.0f}}, true, true},                        // the oldest sample as peak
      {{{0, 0.8f}, {2, 0.4f}, {5, 0.9f}, {9, -1.0f}}, true, true},  // 0.4 is no peak, 0.9 is
      {{{3, 1.0f}, {5, -0.1f}, {8, -1.0f}}, false, false},          // first valley too high
      {{{3, 0.5f}, {8, -1.0f}}, false, false},                      // at the thresholds
      {{{3, 1.0f}, {8, -0.5f}}, false, true},
      {{{3, 1.0f}, {8, -0.3f}}, false, false},
      {{{0, 1.0f}, {8, -1.0f}, {16, 2.0f}}, false, false},  // no room for a valley
      {{{3, 0.501f}, {16, -0.501f}}, true, true},
  };
  for (const auto& [window, acc_hit, gyr_hit] : cases) {
    SetUp();
    EXPECT_EQ(call(kSecond, 0.1f, 0.1f, window, window), acc_hit || gyr_hit);
    EXPECT_EQ(state.acc_hit, acc_hit) << testing::PrintToString(window);
    EXPECT_EQ(state.gyr_hit, gyr_hit) << testing::PrintToString(window);
  }
  SetUp();
  EXPECT_FALSE(call(kSecond, 0.400001f, 0.300001f));
  EXPECT_FALSE(call(kSecond, kNan, kNan));
  EXPECT_FALSE(call(kSecond, 0.9f, 0.1f, {{9, 0.5f}, {17, 9.0f}}, kStep, 0)) << "newest is no peak";
}

TEST_F(ChosenWindows, TheGateOpensAFifthOfASecondAfterTheGoverningScoreHasRisen) {
  for (const bool by_acc : {true, false}) {
    const auto with_score = [&](std::int64_t t, float governing) {
      return by_acc ? call(t, governing, 0.9f, kStep, {}) : call(t, 0.9f, governing);
    };
    SetUp();
    std::int64_t t = kSecond;
    EXPECT_TRUE(with_score(t, 0.1f));
    for (int i = 1; i < 50; ++i) {  // there is a hit every 7 calls, but no step
      EXPECT_FALSE(with_score(t += kEpoch, 0.1f)) << i;
      EXPECT_EQ(by_acc ? state.acc_hit : state.gyr_hit, i % 7 == 0) << i;
    }
    for (int i = 1; i < 8; ++i) EXPECT_FALSE(with_score(t + i, 0.9f)) << i;
    const State released = state;
    // On its way through float the time is rounded to 16 ns, halves to even.
    EXPECT_FALSE(with_score(t + 200'000'008, 0.1f));
    state = released;
    EXPECT_TRUE(with_score(t + 200'000'009, 0.1f));
  }
}

TEST_F(ChosenWindows, AfterAStepOfBothSensorsTheGyroscopeReleasesTheGateLast) {
  ASSERT_TRUE(call(kSecond, 0.1f, 0.1f));
  call(kSecond + kEpoch, 0.1f, 0.9f);
  EXPECT_TRUE(state.acc_pending && state.gyr_pending) << "the gyroscope rose too early";
  call(kSecond + 2 * kEpoch, 0.9f, 0.1f);
  EXPECT_TRUE(!state.acc_pending && state.gyr_pending);
  EXPECT_EQ(state.gate_elapsed, 0U);
  call(kSecond + 3 * kEpoch, 0.9f, 0.9f);
  EXPECT_FALSE(state.gyr_pending);
}

TEST_F(ChosenWindows, SixCallsLieBetweenTwoSteps) {
  for (int later = 1; later <= 9; ++later) {
    SetUp();
    ASSERT_TRUE(call(kSecond, 0.1f, 0.9f));
    for (int i = 1; i < later; ++i) call(kSecond + i, 0.9f, 0.9f);
    EXPECT_EQ(call(kSecond + later, 0.9f, 0.1f), later >= 7) << later;
  }
}

TEST_F(ChosenWindows, BoutsBreakAtPausesAndAreConfirmedAtTheTenthStep) {
  const std::tuple<std::int64_t, int, int, int> cases[] = {
      {1'300'000'000, 3, 4, 0}, {1'300'000'001, 3, 1, 0}, {1'300'000'001, 4, 5, 0},
      {2'000'000'000, 4, 5, 0}, {2'000'000'001, 9, 1, 0}, {kSecond, 9, 10, 10},
      {kSecond, 10, 11, 1},     {-50 * kSecond, 2, 3, 0}};
  for (const auto& [pause, count_before, count, confirmed] : cases) {
    SetUp();
    state.last_step_time = 100 * kSecond - pause;
    state.bout_step_count = state.step_run_count = count_before;
    ASSERT_TRUE(call(100 * kSecond, 0.1f, 0.9f));
    call(100 * kSecond + kEpoch, 0.9f, 0.9f);  // must not count again
    EXPECT_EQ(state.bout_step_count, count) << pause;
    EXPECT_EQ(state.step_run_count, count) << pause;
    EXPECT_EQ(state.total_steps, confirmed) << pause;
  }
}

TEST(StepDetector, BandPassHasTheGainOfAThirdOrderButterworthFilter) {
  constexpr int kPeriod = 1000;  // samples that hold whole cycles of every frequency below
  const auto warped = [](double cycles) { return std::tan(kTwoPi / 2.0 * cycles / kPeriod); };
  const double low = warped(12.0), high = warped(108.0);
  for (const int cycles : {5, 12, 37, 70, 108, 200, 400}) {
    State state{};
    std::complex<double> line;
    for (int i = 0; i < 3 * kPeriod; ++i) {
      const auto wave = std::polar(2.0, kTwoPi * cycles * i / kPeriod);
      feed(state, i * kEpoch, 10.0 + wave.real(), 10.0 + wave.real());
      ASSERT_EQ(state.nets_ready, i >= 18) << "the first 18 calls only fill the windows";
      if (i >= 2 * kPeriod) line += wave * (state.acc_window[17] / 2.0 / kPeriod);
    }
    const double w = warped(cycles);  // bilinear transform of the analogue prototype
    const double prototype = (w * w - low * high) / ((high - low) * w);
    EXPECT_NEAR(std::abs(line), 1.0 / std::hypot(1.0, std::pow(prototype, 3)), 2e-5) << cycles;
    EXPECT_NEAR(state.gyr_window[17], state.acc_window[17], 1e-5f) << cycles;
  }
}

TEST(StepDetector, BadSamplesAndTimesAreHarmless) {
  State state{};
  state.sample_count = std::numeric_limits<std::int32_t>::max();  // wraps: the windows stay full
  for (int i = 0; i < 200; ++i) feed(state, i % 3 ? -i : kFirstTime, i % 9 < 4 ? 3e38 : -1e19, i);
  EXPECT_TRUE(state.nets_ready);
  feed(state, 0, kNan, kNan);
  feed(state, kEpoch, 9.8, 0.0);
  EXPECT_TRUE(std::isnan(state.acc_window[17])) << "the delay lines keep it";
}

}  // namespace
