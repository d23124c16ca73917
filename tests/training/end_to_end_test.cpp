#include "training/end_to_end.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tools/evaluation/step_matching.h"
#include "training/signals.h"

namespace zuvdr::training {
namespace {

constexpr double kLatency = 0.6;  // s

Sample beginning_of(tools::Scenario scenario) {
  tools::RouteOptions route;
  route.scenario = scenario;
  route.seed = route.walker = 5;
  Recording recording = simulate_recording(route);
  recording.epochs.resize(2000);  // 80 s
  std::erase_if(recording.steps.reference, [](double step) { return step > 75.0; });
  recording.steps.from = 12.0;
  recording.steps.to = 70.0;
  return Sample(recording);
}

// Runs of low and high as walking makes them, drawn.
std::vector<bool> drawn(std::size_t count, std::mt19937& random) {
  std::vector<bool> low(count);
  for (std::size_t i = 0; i < count;) {
    const bool value = random() % 2 == 0;
    for (std::size_t end = i + 1 + random() % 5; i < end && i < count; ++i) low[i] = value;
  }
  return low;
}

// Most steps of the reference, some twice, some not.
std::vector<bool> low_at(const Sample& sample) {
  std::vector<bool> low(sample.signals.acc.size());
  for (std::size_t k = 0; k < sample.valleys.size(); ++k) {
    if (k % 40 == 5) continue;
    const std::size_t begin = sample.valleys[k] + (k % 17 == 3 ? 0 : 4);
    for (std::size_t i = begin; i < begin + 5 && i < low.size(); ++i) low[i] = true;
  }
  return low;
}

std::vector<double> steps_of(const Sample& sample, const Decisions& decisions) {
  std::vector<float> acc, gyr;
  for (const bool low : decisions.acc) acc.push_back(low ? 0.1f : 0.9f);
  for (const bool low : decisions.gyr) gyr.push_back(low ? 0.1f : 0.9f);
  return detect(sample.recording, acc, gyr).steps.declared;
}

bool counts(const Recording& recording, double time) {
  return time >= recording.steps.from && time <= recording.steps.to;
}

// Of the whole walk at once: each step takes the earliest reference step left that is near enough.
double reward_of(const Recording& recording, const std::vector<double>& steps, double price) {
  if (!recording.walking()) {
    return -0.2 * static_cast<double>(std::ranges::count_if(
                      steps, [&](double step) { return counts(recording, step - kLatency); }));
  }
  std::vector<double> left = recording.steps.reference;
  double sum = 0.0;
  std::int64_t matched = 0;
  for (const double step : steps) {
    const double time = step - kLatency;
    const auto partner =
        std::ranges::find_if(left, [time](double r) { return std::abs(time - r) <= 0.25; });
    if (partner != left.end()) {
      const double off = std::abs(time - *partner) / 0.25;
      if (counts(recording, *partner)) {
        ++matched;
        sum += 0.5 - 0.25 * off * off - price;
      }
      left.erase(left.begin(), partner + 1);
    } else if (counts(recording, time)) {
      const bool near = std::ranges::any_of(recording.steps.reference,
                                            [time](double r) { return std::abs(time - r) <= 0.6; });
      sum += (near ? -0.5 : -0.2) - price;
    }
  }
  tools::StepSeries series = recording.steps;
  series.declared = steps;
  EXPECT_EQ(matched, tools::match_steps(series, kLatency).matched);
  return sum;
}

TEST(EndToEndTest, ADecisionIsWorthWhatReversingItDoesToTheWholeWalk) {
  struct Case {
    tools::Scenario scenario;
    bool nearly_right;  // so that the count is about right and its price far from the greatest
  };
  for (const auto [scenario, nearly_right] :
       {Case{tools::Scenario::kWalk, false}, Case{tools::Scenario::kWalk, true},
        Case{tools::Scenario::kHandling, false}}) {
    const Sample sample = beginning_of(scenario);
    const Recording& recording = sample.recording;
    const std::size_t count = recording.epochs.size();
    std::mt19937 random(7);
    Decisions decisions{drawn(count, random), drawn(count, random)};
    if (nearly_right) decisions = {low_at(sample), low_at(sample)};
    const DecisionWorth worth = decision_worth(sample, decisions, kLatency, {});

    const std::vector<double> steps = steps_of(sample, decisions);
    ASSERT_GT(steps.size(), 5U);
    tools::StepSeries series = recording.steps;
    series.declared = steps;
    const tools::StepAgreement agreement = tools::match_steps(series, kLatency);
    const double excess = static_cast<double>(agreement.declared - agreement.reference) /
                          static_cast<double>(agreement.reference);
    const double price = recording.walking() ? 0.4 * std::tanh(excess / 0.04) : 0.0;
    if (nearly_right) {
      EXPECT_GT(std::abs(price), 0.02);
      EXPECT_LT(std::abs(price), 0.38);
    }
    const double reward = reward_of(recording, steps, price);
    int of_account = 0;
    for (std::size_t i = 0; i < count; ++i) {
      for (const bool acc : {true, false}) {
        std::vector<bool>& low = acc ? decisions.acc : decisions.gyr;
        const double sign = low[i] ? 1.0 : -1.0;
        low[i] = !low[i];
        const double change = reward_of(recording, steps_of(sample, decisions), price) - reward;
        low[i] = !low[i];
        ASSERT_NEAR((acc ? worth.acc : worth.gyr)[i], sign * change, 1e-5)
            << (acc ? "acc" : "gyr") << " at epoch " << i;
        of_account += std::abs(change) > 1e-9 ? 1 : 0;
      }
    }
    EXPECT_GT(of_account, recording.walking() ? 50 : 10);
  }
}

// One network alone, the other being silent, and its scores too high: training mends it.
TEST(EndToEndTest, TrainingEarnsReward) {
  std::vector<Sample> samples;
  for (const tools::Scenario scenario : {tools::Scenario::kWalk, tools::Scenario::kHandling}) {
    samples.push_back(beginning_of(scenario));
  }
  Sample broken = samples[0];
  broken.signals.acc[500] = std::numeric_limits<float>::quiet_NaN();
  const Sample& walk = samples[0];
  std::vector<std::size_t> events = walk.valleys;
  for (std::size_t& event : events) event = std::min(event + 4, walk.signals.acc.size());
  const Targets targets = make_targets(walk.recording, walk.signals, events, events, {});
  TrainingOptions training;
  training.passes = 20;
  training.batch = 64;
  const auto trained = [&](Sensor sensor, const std::vector<float>& signal) {
    Examples examples;
    examples.add(signal, targets);
    return StepNetwork(sensor, examples, training);
  };
  const auto decided = [](const std::vector<float>& logits, double threshold) {
    std::vector<bool> low;
    for (const float logit : logits) low.push_back(logit < std::log(threshold / (1.0 - threshold)));
    return low;
  };
  for (const bool by_acc : {true, false}) {
    StepNetwork acc = trained(Sensor::kAccelerometer, walk.signals.acc);
    StepNetwork gyr = trained(Sensor::kGyroscope, walk.signals.gyr);
    (by_acc ? acc : gyr).shift(by_acc ? 20.0f : 4.0f);
    (by_acc ? gyr : acc).shift(30.0f);
    const auto reward = [&] {
      double sum = 0.0;
      for (const Sample& sample : samples) {
        const Decisions decisions{decided(acc.logits(sample.signals.acc), 0.4),
                                  decided(gyr.logits(sample.signals.gyr), 0.3)};
        sum += reward_of(sample.recording, steps_of(sample, decisions), 0.0);
      }
      return sum;
    };
    EndToEndOptions options;
    options.passes = 40;
    options.batch = 1;
    options.tuning.rate = 3e-3;
    const double before = reward();
    const std::vector<const Sample*> all = {&samples[0], &broken, &samples[1]};
    const std::map<std::string, double> latencies = {{kSimulatedSet, kLatency}};
    options.tuning.average = 1.0;
    train_end_to_end(acc, gyr, all, latencies, options, 1);
    EXPECT_EQ(reward(), before) << "the average of the weights is what stays";
    options.tuning.average = 0.0;
    train_end_to_end(acc, gyr, all, latencies, options, 1);
    EXPECT_GT(reward(), before + 25.0) << (by_acc ? "acc" : "gyr") << " from " << before;
  }
}

TEST(EndToEndTest, RewardedLogitsRiseAndTheMeanOfTheWeightsIsKept) {
  const Sample sample = beginning_of(tools::Scenario::kWalk);
  const std::vector<float>& signal = sample.signals.acc;
  Examples examples;
  examples.add(signal,
               make_targets(sample.recording, sample.signals, sample.valleys, sample.valleys, {}));
  TrainingOptions options;
  options.passes = 1;
  const auto tuned = [&](float reward, double average) {
    StepNetwork network(Sensor::kAccelerometer, examples, options);
    const double before = network.logits(signal)[700];
    FineTuningOptions tuning;
    tuning.average = average;
    tuning.weight_decay = 0.0;
    FineTuning stage(network, tuning, 20, 3);
    std::vector<float> rewards(signal.size());
    rewards[700] = reward;
    for (int step = 0; step < 20; ++step) {
      EXPECT_EQ(stage.logits(signal, 1.0).size(), signal.size());
      stage.add_reward(rewards);
      stage.step();
    }
    stage.finish();
    return network.logits(signal)[700] - before;
  };
  StepNetwork network(Sensor::kAccelerometer, examples, options);
  FineTuningOptions silent;
  silent.noise = 0.0;
  std::vector<float> louder = signal;
  for (float& value : louder) value *= 2.0f;
  const std::vector<float> heard = FineTuning(network, silent, 1, 3).logits(signal, 2.0);
  const std::vector<float> expected = network.logits(louder);
  ASSERT_EQ(heard.size(), expected.size());
  for (std::size_t i = 0; i < heard.size(); ++i) ASSERT_NEAR(heard[i], expected[i], 1e-4);
  EXPECT_NE(FineTuning(network, {}, 1, 3).logits(signal, 2.0), heard);

  EXPECT_GT(tuned(100.0f, 0.0), 0.1);
  EXPECT_LT(tuned(-100.0f, 0.0), -0.1);
  EXPECT_NEAR(tuned(100.0f, 1.0), 0.0, 1e-6);
  const double halfway = tuned(100.0f, 0.9);
  EXPECT_GT(halfway, 0.02);
  EXPECT_LT(halfway, tuned(100.0f, 0.0));
}

TEST(EndToEndTest, TheRateFallsAlongHalfACosine) {
  const Sample sample = beginning_of(tools::Scenario::kWalk);
  const std::vector<float>& signal = sample.signals.gyr;
  Examples examples;
  examples.add(signal,
               make_targets(sample.recording, sample.signals, sample.valleys, sample.valleys, {}));
  StepNetwork network(Sensor::kGyroscope, examples, {.passes = 1});
  const auto bias = [&network] { return network.tables().back().values.at(0); };
  FineTuning stage(network, {.rate = 0.01, .weight_decay = 0.0}, 6, 3);
  // Under a constant gradient, which that at the output's bias is, Adam goes one rate a step.
  for (const double share : {1.0, 0.9330, 0.75, 0.5, 0.25, 0.0670}) {
    const float before = bias();
    stage.logits(signal, 1.0);
    stage.add_reward(std::vector<float>(signal.size(), 1.0f));
    stage.step();
    EXPECT_NEAR(bias() - before, 0.01 * share, 1e-5);
  }
}

}  // namespace
}  // namespace zuvdr::training
