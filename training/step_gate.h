// Both networks together: training, calibration and how well the detector does under them.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/evaluation/steps.h"
#include "training/corpus.h"
#include "training/end_to_end.h"
#include "training/network.h"

namespace zuvdr::training {

struct GateOptions {
  TrainingOptions network;
  TargetWeights weights;
  std::size_t after_valley = 6;  // epochs; when a step is wanted
  int rounds = 3;                // the targets are chosen anew between two of them
  int round_passes = 4;          // over the examples in all rounds but the last
  int warped_copies = 1;         // of each recorded walk
  EndToEndOptions end_to_end;
};

struct Scores {
  std::vector<float> acc, gyr;  // logits or scores, one per epoch
};

class StepGate {
 public:
  // Trains both networks on the samples, epoch by epoch, then end to end; then shifts their output
  // biases to what is best on the samples for calibration.
  StepGate(std::span<const Sample* const> samples, std::span<const Sample* const> calibration,
           const GateOptions& options);

  Scores scores(const Sample& sample) const;
  tools::WalkLog detect(const Sample& sample) const;

  // By calibration, of the output biases: accelerometer, gyroscope.
  const std::array<float, 2>& shifts() const { return shifts_; }

  // All tables of pdr/step_tables.h.
  std::vector<Table> tables() const;

 private:
  Scores logits(const Sample& sample) const;
  void tune(std::span<const Sample* const> samples, const GateOptions& options);
  void calibrate(std::span<const Sample* const> samples);

  std::vector<StepNetwork> networks_;  // accelerometer, gyroscope
  std::array<float, 2> shifts_{};
};

// The targets of the first round as scores, 0 or 1, for steps wanted so many epochs after their
// valley: what networks that have learned them perfectly would do.
Scores perfect_scores(const Sample& sample, std::size_t after_valley);

// What calibration makes greatest, summed over data sets: of walks F1 less the count error, where
// nobody walks less a thousandth for each false step a minute. NaN for a set without anything that
// counts.
double merit(const tools::StepFigures& figures);

}  // namespace zuvdr::training
