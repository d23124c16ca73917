// Both networks together: training, calibration and how well the detector does under them.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "tools/step_matching.h"
#include "training/corpus.h"
#include "training/network.h"

namespace zuvdr::training {

struct GateOptions {
  TrainingOptions network;
  TargetWeights weights;
  int rounds = 3;         // the targets are chosen anew between two of them
  int round_passes = 4;   // over the examples in all rounds but the last
  int warped_copies = 1;  // of each recorded walk
};

struct Scores {
  std::vector<float> acc, gyr;  // logits or scores, one per epoch
};

class StepGate {
 public:
  // Trains both networks on the samples, then shifts their output biases to what is best on the
  // samples for calibration.
  StepGate(std::span<const Sample* const> samples, std::span<const Sample* const> calibration,
           const GateOptions& options);

  Scores scores(const Sample& sample) const;
  Detection detect(const Sample& sample) const;

  // By calibration, of the output biases: accelerometer, gyroscope.
  const std::array<float, 2>& shifts() const { return shifts_; }

  // All tables of pdr/step_tables.h.
  std::vector<Table> tables() const;

 private:
  Scores logits(const Sample& sample) const;
  void calibrate(std::span<const Sample* const> samples);

  std::vector<StepNetwork> networks_;  // accelerometer, gyroscope
  std::array<float, 2> shifts_{};
};

// The targets of the first round as scores: what networks that have learned them perfectly would
// do.
Scores perfect_scores(const Sample& sample);

// Figures of one data set.
struct SetFigures {
  int logs = 0;
  double minutes = 0.0;
  tools::StepAgreement agreement;
  double latency = std::numeric_limits<double>::quiet_NaN();      // s
  double count_error = std::numeric_limits<double>::quiet_NaN();  // mean over the walks
  int longest_bout = 0;
  int confirmed = 0;
  double steps_per_minute = 0.0;  // declared
};

// One detection per sample; all of one set.
SetFigures figures_of(std::span<const Sample* const> samples,
                      std::span<const Detection> detections);

}  // namespace zuvdr::training
