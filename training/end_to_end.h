// The last stage of training: what counts are the steps that the detector declares, not the epochs
// that score right. The state machine runs under decisions drawn from the networks' scores; what a
// decision did is seen by reversing it and running on. The change of reward (a difference reward:
// Wolpert and Tumer, Optimal Payoff Functions for Members of Collectives, 2001) times the slope of
// the logistic function at the score is taken for the gradient at its logit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "training/corpus.h"
#include "training/network.h"

namespace zuvdr::training {

// Of a declared step, in steps.
struct StepReward {
  double matched = 0.5;      // with a reference step
  double untimely = 0.25;    // off a matched one at the end of the tolerance, grows with the square
  double wrong = -0.5;       // not matched
  double unknown = -0.2;     // nor is a reference step near: it may be missing
  double standing = -0.2;    // while nobody walks
  double count_price = 0.4;  // off each step of a walk that has too many; a bonus if too few
  double count_scale = 0.04;  // count error at which three quarters of the price are due
};

// Whether a sensor's score is taken for low, one element per epoch.
struct Decisions {
  std::vector<bool> acc, gyr;
};

// What a high score is worth more than a low one (the decision's advantage) at each epoch, all
// other decisions being as they are; 0 where the decision makes no difference.
struct DecisionWorth {
  std::vector<float> acc, gyr;
};

// Runs the detector under the decisions. Steps are matched as tools::match_steps does; latency (s).
DecisionWorth decision_worth(const Sample& sample, const Decisions& decisions, double latency,
                             const StepReward& reward);

struct EndToEndOptions {
  int passes = 12;        // over all samples; 0: the stage is left out
  int warped_copies = 4;  // of each recorded walk
  std::size_t batch = 4;  // recordings
  double gain = 0.3;      // augmentation: logarithm of the recording's factor, 1 sigma
  double draw = 0.3;      // logistic noise on a logit when its decision is drawn, scale
  double slope = 0.7;     // of the logistic function whose slope goes into the gradient, scale
  StepReward reward;
  FineTuningOptions tuning;
};

// Trains on both networks in place. Gain and noise reach the networks only: searches and strength
// are those of the signal as it is. Samples with a value that is not finite have no part. Latencies
// (s) by data set, one for each set with walks; throws std::out_of_range when one is missing.
void train_end_to_end(StepNetwork& acc, StepNetwork& gyr, std::span<const Sample* const> samples,
                      const std::map<std::string, double>& latencies,
                      const EndToEndOptions& options, std::uint64_t seed);

}  // namespace zuvdr::training
