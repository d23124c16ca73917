// Both networks together: training, calibration and how well the detector does under them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "tools/evaluation/step_matching.h"
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
  Detection detect(const Sample& sample) const;

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

// Of the steps that count; latency (s) as in tools::match_steps.
tools::StepAgreement agreement_of(const Recording& recording, const Detection& detection,
                                  double latency);

// Figures of one data set, under one detector or added up over several.
struct SetFigures {
  int logs = 0;
  double minutes = 0.0;
  tools::StepAgreement agreement;
  std::vector<double> latencies;     // s, one for each detector
  std::vector<double> count_errors;  // one for each walk
  int longest_bout = 0;
  int confirmed = 0;
  std::int64_t steps = 0;  // declared

  SetFigures& operator+=(const SetFigures& other);
  double latency() const;      // mean
  double count_error() const;  // mean
  double steps_per_minute() const;
};

// One detection per sample; all of one set.
SetFigures figures_of(std::span<const Sample* const> samples,
                      std::span<const Detection> detections);

}  // namespace zuvdr::training
