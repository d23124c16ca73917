#include "training/end_to_end.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "pdr/step_state_machine.h"
#include "tools/evaluation/step_matching.h"
#include "tools/simulation/random.h"
#include "training/logistic.h"

namespace zuvdr::training {
namespace {

// A reference step this near to a step that is not its partner shows that the reference has no gap
// there. s
constexpr double kNear = 0.6;

// A rollout of the detector between two epochs, and how far its steps have been matched.
struct Course {
  StepStateMachine machine;
  StepStateMachine::State state{};
  std::size_t next_reference = 0;
};

// One recording, in which nobody need walk, and what its steps are worth.
class Walk {
 public:
  Walk(const Sample& sample, double latency, const StepReward& reward)
      : recording_(sample.recording),
        signals_(sample.signals),
        latency_(latency),
        reward_(reward) {}

  // Decides epoch i. Returns what the step is worth, if there is one.
  double advance(Course& course, std::size_t i, bool acc_low, bool gyr_low) const {
    StepStateMachine::State& state = course.state;
    copy_window(signals_.acc, i, state.acc_window);
    copy_window(signals_.gyr, i, state.gyr_window);
    state.acc_score = acc_low ? 0.0f : 1.0f;
    state.gyr_score = gyr_low ? 0.0f : 1.0f;
    state.nets_ready = 1;
    course.machine.decide(time_of(i), state);
    const double time = recording_.seconds(i) - latency_;
    const std::vector<double>& reference = recording_.steps.reference;
    std::size_t& next = course.next_reference;
    while (next < reference.size() && time - reference[next] > tools::kMatchTolerance) ++next;
    return state.step_flag ? worth_of_step(course, time) : 0.0;
  }

  // Whether both courses go on alike from epoch i under the same decisions.
  bool same_future(const Course& a, const Course& b, std::size_t i) const {
    const StepStateMachine::State &s = a.state, &t = b.state;
    const auto open = [now = time_of(i)](const auto& state) { return gate_open(state, now); };
    return s.acc_hit == t.acc_hit && s.gyr_hit == t.gyr_hit && s.acc_holdoff == t.acc_holdoff &&
           s.gyr_holdoff == t.gyr_holdoff && s.acc_pending == t.acc_pending &&
           s.gyr_pending == t.gyr_pending && (s.gate_time == t.gate_time || (open(s) && open(t))) &&
           a.machine.refractory() == b.machine.refractory() && a.next_reference == b.next_reference;
  }

  // Whether the decision on a sensor's score can have an effect: it lets a search succeed or opens
  // the gate.
  bool acc_matters(const Course& before, std::size_t i) const {
    const StepStateMachine::State& state = before.state;
    return state.acc_pending ||
           (signals_.acc_search[i] && !state.acc_hit && state.acc_holdoff == 0);
  }
  bool gyr_matters(const Course& before, std::size_t i) const {
    const StepStateMachine::State& state = before.state;
    return state.gyr_pending ||
           (signals_.gyr_search[i] && !state.gyr_hit && state.gyr_holdoff == 0);
  }

  // What each step costs when these have been declared.
  void set_price(std::vector<double> declared) {
    tools::StepSeries series = recording_.steps;
    series.declared = std::move(declared);
    const tools::StepAgreement agreement = tools::match_steps(series, latency_);
    if (agreement.reference == 0) return;
    const double excess =
        static_cast<double>(agreement.declared) / static_cast<double>(agreement.reference) - 1.0;
    price_ = reward_.count_price * std::tanh(excess / reward_.count_scale);
  }

 private:
  std::uint64_t time_of(std::size_t i) const {
    return static_cast<std::uint64_t>(recording_.epochs[i].time_ns);
  }

  static void copy_window(const std::vector<float>& signal, std::size_t i,
                          float (&window)[kStepWindow]) {
    std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(i + 1 - kStepWindow), kStepWindow,
                window);
  }

  double worth_of_step(Course& course, double time) const {
    const std::vector<double>& reference = recording_.steps.reference;
    const auto counts = [this](double t) { return recording_.steps.counts(t); };
    if (!recording_.walking()) return counts(time) ? reward_.standing : 0.0;
    std::size_t& next = course.next_reference;
    if (next < reference.size() && reference[next] - time <= tools::kMatchTolerance) {
      const double off = (time - reference[next]) / tools::kMatchTolerance;
      return counts(reference[next++]) ? reward_.matched - reward_.untimely * off * off - price_
                                       : 0.0;
    }
    if (!counts(time)) return 0.0;
    const auto after = std::ranges::lower_bound(reference, time - kNear);
    const bool near = after != reference.end() && *after <= time + kNear;
    return (near ? reward_.wrong : reward_.unknown) - price_;
  }

  const Recording& recording_;
  const Signals& signals_;
  double latency_;
  StepReward reward_;
  double price_ = 0.0;
};

// One NaN would reach every weight; without a scored epoch there is no gradient.
bool usable(const Sample& sample) {
  const auto all = [](const std::vector<float>& signal) {
    return std::ranges::all_of(signal, [](float x) { return std::isfinite(x); });
  };
  return sample.signals.acc.size() > kFirstScored && all(sample.signals.acc) &&
         all(sample.signals.gyr);
}

}  // namespace

DecisionWorth decision_worth(const Sample& sample, const Decisions& decisions, double latency,
                             const StepReward& reward) {
  const std::size_t count = sample.signals.acc.size();
  DecisionWorth worth{std::vector<float>(count), std::vector<float>(count)};
  Walk walk(sample, latency, reward);
  std::vector<Course> before(count + 1);
  std::vector<double> rewards(count);
  const auto run = [&] {
    std::vector<double> declared;
    for (std::size_t i = kFirstScored; i < count; ++i) {
      before[i + 1] = before[i];
      rewards[i] = walk.advance(before[i + 1], i, decisions.acc[i], decisions.gyr[i]);
      if (before[i + 1].state.step_flag) declared.push_back(sample.recording.seconds(i));
    }
    return declared;
  };
  // The price of a step hangs on their count, so the rewards need a second run.
  walk.set_price(run());
  run();
  // What reversing the decisions of epoch i adds until the courses meet again.
  const auto change = [&](std::size_t i, bool acc_low, bool gyr_low) {
    Course course = before[i];
    double sum = walk.advance(course, i, acc_low, gyr_low) - rewards[i];
    while (++i < count && !walk.same_future(course, before[i], i - 1)) {
      sum += walk.advance(course, i, decisions.acc[i], decisions.gyr[i]) - rewards[i];
    }
    return static_cast<float>(sum);
  };
  for (std::size_t i = kFirstScored; i < count; ++i) {
    const bool acc = decisions.acc[i], gyr = decisions.gyr[i];
    if (walk.acc_matters(before[i], i)) worth.acc[i] = (acc ? 1.0f : -1.0f) * change(i, !acc, gyr);
    if (walk.gyr_matters(before[i], i)) worth.gyr[i] = (gyr ? 1.0f : -1.0f) * change(i, acc, !gyr);
  }
  return worth;
}

void train_end_to_end(StepNetwork& acc, StepNetwork& gyr, std::span<const Sample* const> samples,
                      const std::map<std::string, double>& latencies,
                      const EndToEndOptions& options, std::uint64_t seed) {
  std::vector<const Sample*> order;
  std::ranges::copy_if(samples, std::back_inserter(order),
                       [](const Sample* sample) { return usable(*sample); });
  const std::size_t batches = (order.size() + options.batch - 1) / options.batch;
  const std::size_t steps = batches * static_cast<std::size_t>(options.passes);
  if (steps == 0) return;
  tools::RandomStream random(seed, "end to end");
  FineTuning acc_tuning(acc, options.tuning, steps, random.bits());
  FineTuning gyr_tuning(gyr, options.tuning, steps, random.bits());

  const auto draw = [&](const std::vector<float>& logits, double threshold) {
    std::vector<bool> low;
    for (const float value : logits) {
      const double noise = options.draw * logit(random.uniform(0.0, 1.0));
      low.push_back(static_cast<double>(value) - threshold + noise < 0.0);
    }
    return low;
  };
  const auto to_gradient = [&](std::vector<float>& worth, const std::vector<float>& logits,
                               double threshold) {
    for (std::size_t i = 0; i < worth.size(); ++i) {
      const double high = logistic((static_cast<double>(logits[i]) - threshold) / options.slope);
      worth[i] *= static_cast<float>(high * (1.0 - high) / options.slope);
    }
  };
  const double acc_threshold = logit(kAccScoreThreshold), gyr_threshold = logit(kGyrScoreThreshold);
  for (int pass = 0; pass < options.passes; ++pass) {
    for (std::size_t i = order.size(); i > 1; --i) {
      const auto other = static_cast<std::size_t>(random.uniform(0.0, static_cast<double>(i)));
      std::swap(order[i - 1], order[other]);
    }
    for (std::size_t begin = 0; begin < order.size(); begin += options.batch) {
      const std::size_t end = std::min(begin + options.batch, order.size());
      for (std::size_t k = begin; k < end; ++k) {
        const Sample& sample = *order[k];
        const double gain = std::exp(options.gain * random.normal());
        const std::vector<float> acc_logits = acc_tuning.logits(sample.signals.acc, gain);
        const std::vector<float> gyr_logits = gyr_tuning.logits(sample.signals.gyr, gain);
        const double latency =
            sample.recording.walking() ? latencies.at(sample.recording.set) : 0.0;
        DecisionWorth worth = decision_worth(
            sample, {draw(acc_logits, acc_threshold), draw(gyr_logits, gyr_threshold)}, latency,
            options.reward);
        to_gradient(worth.acc, acc_logits, acc_threshold);
        to_gradient(worth.gyr, gyr_logits, gyr_threshold);
        acc_tuning.add_reward(worth.acc);
        gyr_tuning.add_reward(worth.gyr);
      }
      acc_tuning.step();
      gyr_tuning.step();
    }
  }
  acc_tuning.finish();
  gyr_tuning.finish();
}

}  // namespace zuvdr::training
