#include "training/step_gate.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "pdr/step_state_machine.h"
#include "training/logistic.h"

namespace zuvdr::training {
namespace {

// What a reference step without an event costs, against the costs of event_costs. At first the
// events only have to be near where they are wanted.
constexpr float kFirstMissing = 8.0f;
constexpr float kMissing = 4.0f;

void first_events(Sample& sample, std::size_t after_valley) {
  sample.wanted.clear();
  for (const std::size_t valley : sample.valleys) {
    sample.wanted.push_back(std::min(valley + after_valley, sample.signals.acc.size()));
  }
  const std::vector<float> no_cost(sample.signals.acc.size(), 0.0f);
  sample.events = choose_events(sample.signals, sample.wanted, no_cost, kFirstMissing);
}

// What low scores from i on cost under the networks' present opinion: their logits, clipped and
// added, on average over four epochs, the length of a low part at a usual pace.
std::vector<float> event_costs(const Scores& logits) {
  constexpr std::size_t kWidth = 4;
  constexpr float kClip = 3.0f;
  std::vector<float> costs(logits.acc.size(), 2.0f * kClip);
  for (std::size_t i = 0; i + kWidth <= costs.size(); ++i) {
    float sum = 0.0f;
    for (std::size_t k = i; k < i + kWidth; ++k) {
      sum += std::clamp(logits.acc[k], -kClip, kClip) + std::clamp(logits.gyr[k], -kClip, kClip);
    }
    costs[i] = sum / static_cast<float>(kWidth);
  }
  return costs;
}

Scores shifted_scores(const Scores& logits, float acc_shift, float gyr_shift) {
  Scores scores = logits;
  for (float& value : scores.acc) value = logistic(value + acc_shift);
  for (float& value : scores.gyr) value = logistic(value + gyr_shift);
  return scores;
}

using Sets = std::map<std::string, std::vector<const Sample*>>;

Sets by_set(std::span<const Sample* const> samples) {
  Sets sets;
  for (const Sample* sample : samples) {
    sets[set_name(sample->recording)].push_back(sample);
  }
  return sets;
}

std::vector<const Sample*> recorded(std::span<const Sample* const> samples) {
  std::vector<const Sample*> result;
  std::ranges::copy_if(samples, std::back_inserter(result),
                       [](const Sample* sample) { return sample->recording.set != kSimulatedSet; });
  return result;
}

}  // namespace

StepGate::StepGate(std::span<const Sample* const> samples,
                   std::span<const Sample* const> calibration, const GateOptions& options) {
  std::vector<Sample> corpus =
      warped_copies(recorded(samples), options.warped_copies, options.network.seed);
  for (const Sample* sample : samples) corpus.push_back(*sample);
  for (Sample& sample : corpus) first_events(sample, options.after_valley);
  for (int round = 1; round <= options.rounds; ++round) {
    Examples acc, gyr;
    for (Sample& sample : corpus) {
      if (round > 1) {
        sample.events =
            choose_events(sample.signals, sample.wanted, event_costs(logits(sample)), kMissing);
      }
      const Targets targets = make_targets(sample.recording, sample.signals, sample.wanted,
                                           sample.events, options.weights);
      acc.add(sample.signals.acc, targets);
      gyr.add(sample.signals.gyr, targets);
    }
    TrainingOptions training = options.network;
    if (round < options.rounds) training.passes = options.round_passes;
    networks_.clear();
    networks_.emplace_back(Sensor::kAccelerometer, acc, training);
    networks_.emplace_back(Sensor::kGyroscope, gyr, training);
  }
  if (options.end_to_end.passes > 0) tune(samples, options);
  calibrate(calibration);
}

void StepGate::tune(std::span<const Sample* const> samples, const GateOptions& options) {
  std::map<std::string, double> latencies;
  for (const auto& [name, members] : by_set(samples)) {
    if (!members[0]->recording.walking()) continue;
    std::vector<tools::StepSeries> walks;
    for (const Sample* sample : members) walks.push_back(detect(*sample).steps);
    latencies[members[0]->recording.set] = tools::median_latency(walks);
  }
  const std::vector<Sample> copies = warped_copies(
      recorded(samples), options.end_to_end.warped_copies, options.network.seed, "end to end ");
  std::vector<const Sample*> all(samples.begin(), samples.end());
  for (const Sample& copy : copies) all.push_back(&copy);
  train_end_to_end(networks_[0], networks_[1], all, latencies, options.end_to_end,
                   options.network.seed);
}

Scores StepGate::logits(const Sample& sample) const {
  return {networks_[0].logits(sample.signals.acc), networks_[1].logits(sample.signals.gyr)};
}

Scores StepGate::scores(const Sample& sample) const {
  return shifted_scores(logits(sample), 0.0f, 0.0f);
}

tools::WalkLog StepGate::detect(const Sample& sample) const {
  const Scores now = scores(sample);
  return training::detect(sample.recording, now.acc, now.gyr);
}

// On a grid, then on a finer one around its best point.
void StepGate::calibrate(std::span<const Sample* const> samples) {
  std::vector<std::pair<std::vector<const Sample*>, std::vector<Scores>>> sets;
  for (auto& [name, members] : by_set(samples)) {
    std::vector<Scores> raw;
    for (const Sample* sample : members) raw.push_back(logits(*sample));
    sets.emplace_back(members, std::move(raw));
  }
  const auto total_merit = [&](float acc_shift, float gyr_shift) {
    double sum = 0.0;
    for (const auto& [members, raw] : sets) {
      std::vector<tools::WalkLog> walks;
      for (std::size_t i = 0; i < members.size(); ++i) {
        const Scores now = shifted_scores(raw[i], acc_shift, gyr_shift);
        walks.push_back(training::detect(members[i]->recording, now.acc, now.gyr));
      }
      const double now = merit(tools::step_figures(walks));
      if (!std::isnan(now)) sum += now;
    }
    return sum;
  };
  // A NaN must not look like a step.
  const auto threshold = static_cast<float>(logit(kAccScoreThreshold));
  const float lowest_acc = threshold - networks_[0].nan_logit() + 0.01f;
  float best_acc = std::max(0.0f, lowest_acc), best_gyr = 0.0f;
  for (const float step : {0.6f, 0.2f}) {
    const float centre_acc = best_acc, centre_gyr = best_gyr;
    const int reach = step > 0.5f ? 2 : 1;
    double best = -std::numeric_limits<double>::infinity();
    for (int i = -reach; i <= reach; ++i) {
      for (int k = -reach; k <= reach; ++k) {
        const float acc_shift = std::max(centre_acc + step * static_cast<float>(i), lowest_acc);
        const float gyr_shift = centre_gyr + step * static_cast<float>(k);
        if (const double now = total_merit(acc_shift, gyr_shift); now > best) {
          best = now;
          best_acc = acc_shift;
          best_gyr = gyr_shift;
        }
      }
    }
  }
  shifts_ = {best_acc, best_gyr};
  networks_[0].shift(best_acc);
  networks_[1].shift(best_gyr);
}

std::vector<Table> StepGate::tables() const {
  std::vector<Table> tables = networks_[0].tables();
  for (Table& table : networks_[1].tables()) tables.push_back(std::move(table));
  return tables;
}

Scores perfect_scores(const Sample& sample, std::size_t after_valley) {
  Sample copy = sample;
  first_events(copy, after_valley);
  const Targets targets =
      make_targets(copy.recording, copy.signals, copy.wanted, copy.events, TargetWeights{});
  return {targets.score, targets.score};
}

double merit(const tools::StepFigures& figures) {
  constexpr double kCountError = 1.0;    // of F1 per unit of count error
  constexpr double kFalseSteps = 0.001;  // of F1 per step a minute when nobody walks
  return figures.with_reference.logs > 0
             ? figures.agreement.f1() - kCountError * figures.count_error()
             : -kFalseSteps * figures.steps_per_minute();
}

}  // namespace zuvdr::training
