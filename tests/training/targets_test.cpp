#include "training/targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>
#include <random>

namespace zuvdr::training {
namespace {

constexpr std::int64_t kEpoch = 40'000'000;  // ns
constexpr float kGravity = 9.80665f;

// Stands for ten seconds, then walks: |acceleration| is a cosine of 3 m/s^2 in each step, whose
// length is given in epochs. Reference steps at the crests; lengths below zero have none.
Recording drawn_walk(const std::vector<int>& lengths) {
  Recording recording;
  recording.start_ns = 7'000'000'000;
  const auto add = [&recording](double magnitude) {
    const auto count = static_cast<std::int64_t>(recording.epochs.size());
    recording.epochs.push_back(
        {recording.start_ns + count * kEpoch, {0, 0, static_cast<float>(magnitude)}, {}});
  };
  for (int i = 0; i < 250; ++i) add(kGravity);
  for (const int length : lengths) {
    if (length > 0) {
      recording.steps.reference.push_back(0.04 * static_cast<double>(recording.epochs.size()));
    }
    for (int i = 0; i < std::abs(length); ++i) {
      add(kGravity + 3.0 * std::cos(2.0 * std::numbers::pi * i / std::abs(length)));
    }
  }
  for (int i = 0; i < 100; ++i) add(kGravity);
  return recording;
}

std::vector<int> slow_then_fast() {
  std::vector<int> lengths(30, 14);
  for (int i = 0; i < 30; ++i) lengths.push_back(9 + i % 2);
  return lengths;
}

// A crest above 0.5 that rises above the oldest sample, the next trough below -0.5, both before the
// newest sample.
bool shows_step(const std::vector<float>& signal, std::size_t newest) {
  const float* w = signal.data() + newest - 17;
  int crest = 1;
  while (crest < 17 && !(w[crest] > std::max({w[crest - 1], w[crest + 1], w[0]}))) ++crest;
  if (crest == 17) crest = 0;
  int trough = crest + 1;
  while (trough < 17 && !(w[trough] < std::min({w[trough - 1], w[trough + 1], w[crest]}))) ++trough;
  return trough < 17 && w[crest] > 0.5f && w[trough] < -0.5f;
}

TEST(TargetsTest, EventsOfADrawnWalkStandWhereTheDetectorCanDeclareThem) {
  for (const int length : {12, 14, 18}) {
    const Recording even = drawn_walk(std::vector<int>(40, length));
    const Signals sine = signals_of(even);
    const std::vector<std::size_t> valleys = valley_epochs(even, sine);
    for (std::size_t k = 5; k < 35; ++k) {
      const auto valley = sine.acc.begin() + static_cast<std::ptrdiff_t>(valleys[k]);
      const auto deepest = std::min_element(valley - length / 2, valley + length / 2);
      EXPECT_LE(std::abs(deepest - valley), 1) << "step " << k << " of " << length;
    }
  }

  const Recording walk = drawn_walk(slow_then_fast());
  const Signals signals = signals_of(walk);
  std::vector<std::size_t> wanted = valley_epochs(walk, signals);
  for (std::size_t& epoch : wanted) epoch += 2;
  const std::vector<float> no_cost(walk.epochs.size(), 0.0f);
  const std::vector<std::size_t> events = choose_events(signals, wanted, no_cost, 8.0f);
  ASSERT_EQ(events.size(), 60U);
  for (std::size_t k = 0; k < events.size(); ++k) {
    const std::size_t event = events[k];
    EXPECT_TRUE(event + 5 >= wanted[k] && event <= wanted[k] + 5) << "step " << k;
    EXPECT_GE(event, k > 0 ? events[k - 1] + 7 : 0) << "step " << k;
    EXPECT_TRUE(shows_step(signals.acc, event)) << "step " << k;
    const auto end = signals.acc.begin() + static_cast<std::ptrdiff_t>(event);
    EXPECT_GT(*std::max_element(end - 17, end), 0.5f) << "step " << k;
  }

  // Nothing can be declared while the window is flat.
  const std::size_t standing[] = {100, 130};
  EXPECT_TRUE(choose_events(signals, standing, no_cost, 8.0f).empty());
}

Signals blank_signals(std::size_t count) {
  const std::vector<float> flat(count, 0.0f);
  return {flat, flat, std::vector<bool>(count, true), std::vector<bool>(count, true),
          std::vector<bool>(count, true)};
}

// The least total from wanted epoch k on: 4 for each without an event; else the cost of the event,
// the square of its distance in fives of epochs, and 1.5 for each epoch that it follows the one
// before by less than nine.
double least_cost(const Signals& signals, const std::vector<std::size_t>& wanted,
                  const std::vector<float>& cost, std::size_t k, std::size_t last) {
  if (k == wanted.size()) return 0.0;
  double least = 4.0 + least_cost(signals, wanted, cost, k + 1, last);
  for (std::size_t i = std::max({wanted[k] - 5, kFirstScored, last + 7}); i <= wanted[k] + 5; ++i) {
    if (!signals.strong[i] || !(signals.acc_search[i] || signals.gyr_search[i])) continue;
    const double off = (static_cast<double>(i) - static_cast<double>(wanted[k])) / 5.0;
    const double crowded = i < last + 9 ? 1.5 * static_cast<double>(last + 9 - i) : 0.0;
    least = std::min(least, static_cast<double>(cost[i]) + off * off + crowded +
                                least_cost(signals, wanted, cost, k + 1, i));
  }
  return least;
}

TEST(TargetsTest, NoOtherChoiceOfEventsCostsLess) {
  std::mt19937 random(3);
  for (int trial = 0; trial < 400; ++trial) {
    Signals signals = blank_signals(90);
    std::vector<float> cost(90);
    for (std::size_t i = 0; i < 90; ++i) {
      signals.acc_search[i] = random() % 2 == 0;
      signals.gyr_search[i] = random() % 3 == 0;
      signals.strong[i] = random() % 5 != 0;
      cost[i] = 0.37f * static_cast<float>(random() % 12) - 1.0f;
    }
    std::vector<std::size_t> wanted = {18 + random() % 8};
    while (wanted.size() < 5) wanted.push_back(wanted.back() + random() % 13);
    const std::vector<std::size_t> events = choose_events(signals, wanted, cost, 4.0f);
    Signals chosen = blank_signals(90);
    chosen.strong.assign(90, false);
    for (std::size_t k = 0; k < events.size(); ++k) {
      ASSERT_GE(events[k], k > 0 ? events[k - 1] + 7 : 0);
      ASSERT_TRUE(signals.strong[events[k]]);
      chosen.strong[events[k]] = true;
    }
    ASSERT_NEAR(least_cost(chosen, wanted, cost, 0, 0), least_cost(signals, wanted, cost, 0, 0),
                1e-4)
        << trial;
  }

  // Where nothing else decides: as wanted, but crowded ones make room for each other.
  const std::vector<float> no_cost(90, 0.0f);
  using Epochs = std::vector<std::size_t>;
  const Signals anywhere = blank_signals(90);
  EXPECT_EQ(choose_events(anywhere, Epochs{30, 39, 49}, no_cost, 8.0f), (Epochs{30, 39, 49}));
  EXPECT_EQ(choose_events(anywhere, Epochs{30, 37}, no_cost, 8.0f), (Epochs{29, 38}));
}

TEST(TargetsTest, LowPartsShrinkWithThePeriodAndTheDoubtfulHasNoWeight) {
  Recording recording = drawn_walk({});
  recording.epochs.resize(0);
  for (int i = 0; i < 600; ++i) recording.epochs.push_back({i * kEpoch, {}, {}});
  recording.start_ns = 0;
  recording.steps.from = 6.02;
  recording.steps.to = 22.02;  // epochs 151 to 550
  recording.steps.reference = {6.5};
  Signals signals = blank_signals(600);
  for (std::size_t i = 440; i < 600; ++i) signals.strong[i] = false;

  const int intervals[] = {20, 14, 14, 12, 10, 9, 9, 8, 7, 14};
  const std::size_t widths[] = {6, 6, 6, 5, 3, 2, 2, 2, 2, 6, 6};
  std::vector<std::size_t> events = {160};
  for (const int interval : intervals) {
    events.push_back(events.back() + static_cast<std::size_t>(interval));
  }
  std::vector<std::size_t> wanted = events;  // the last at 277
  wanted.push_back(292);                     // cannot be declared
  wanted.push_back(400);                     // after a gap in which somebody may walk, neither
  wanted.push_back(548);                     // after a gap in which nobody does
  events.push_back(548);

  const TargetWeights weights{.low = 1.5f, .non_walking = 2.0f};
  std::vector<float> score(600, 1.0f), weight(600, 1.0f);
  const auto set = [](std::vector<float>& values, std::size_t from, std::size_t end, float value) {
    std::fill(values.begin() + static_cast<std::ptrdiff_t>(from),
              values.begin() + static_cast<std::ptrdiff_t>(end), value);
  };
  set(weight, 0, 155, 0.0f);  // up to 151 it doesn't count, then it is the end of a gap
  set(weight, 287, 440, 0.0f);
  for (std::size_t k = 0; k < events.size(); ++k) {
    const std::size_t begin = events[k], end = begin + (k < std::size(widths) ? widths[k] : 6);
    set(score, begin, end, 0.0f);
    set(weight, begin - 1, end + 1, 0.0f);
    set(weight, begin, end, 1.5f);
  }
  set(weight, 551, 600, 0.0f);

  const Targets targets = make_targets(recording, signals, wanted, events, weights);
  ASSERT_EQ(targets.score.size(), 600U);
  for (std::size_t i = 0; i < 600; ++i) {
    EXPECT_EQ(targets.score[i], score[i]) << "epoch " << i;
    EXPECT_EQ(targets.weight[i], weight[i]) << "epoch " << i;
  }

  recording.steps.reference.clear();
  const Targets nobody = make_targets(recording, signals, {}, {}, weights);
  EXPECT_EQ(std::count(nobody.score.begin(), nobody.score.end(), 1.0f), 600);
  // From 151 to where the signal is strong no more.
  EXPECT_EQ(std::count(nobody.weight.begin(), nobody.weight.end(), 2.0f), 439 - 150);
  EXPECT_EQ(std::count(nobody.weight.begin(), nobody.weight.end(), 0.0f), 600 - (439 - 150));
}

TEST(WarpedTest, ChangesThePaceAndNothingElse) {
  Recording walk = drawn_walk(std::vector<int>(60, 14));
  walk.steps.from = 7.0;
  walk.steps.to = 40.0;
  for (const double factor : {0.8, 1.25}) {
    const Recording other = warped(walk, factor);
    ASSERT_EQ(other.steps.reference.size(), 60U);
    EXPECT_NEAR(other.steps.reference[59], (250 + 59 * 14) * 0.04 * factor, 1e-6);
    EXPECT_NEAR(other.steps.from, std::max(7.0 * factor, 6.0), 1e-9);
    EXPECT_NEAR(other.steps.to, 40.0 * factor, 1e-9);
    EXPECT_NEAR(static_cast<double>(other.epochs.size()), 1190 * factor, 1.0);
    for (std::size_t i = 0; i < other.epochs.size(); ++i) {
      const double epoch = static_cast<double>(i) / factor - 250.0;  // of the walk
      EXPECT_NEAR(other.seconds(i), 0.04 * static_cast<double>(i), 1e-8);
      if (epoch < 0.0 || epoch > 839.0) continue;
      // Interpolation over an epoch cuts off at most 3 (2 pi / 14)^2 / 8.
      ASSERT_NEAR(other.epochs[i].acc[2],
                  kGravity + 3.0 * std::cos(2.0 * std::numbers::pi * epoch / 14.0), 0.077);
    }
  }
}

}  // namespace
}  // namespace zuvdr::training
