// A recording as the networks and the searches of the step detector see it.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "pdr/step_networks.h"
#include "tools/evaluation/steps.h"
#include "training/recording.h"

namespace zuvdr::training {

// The first epoch whose windows are full and scored.
inline constexpr std::size_t kFirstScored = kStepWindow;

// One element per epoch. The window that is scored at epoch i holds the samples i - 17 to i.
struct Signals {
  std::vector<float> acc;                    // band-passed magnitudes, m/s^2
  std::vector<float> gyr;                    // rad/s
  std::vector<bool> acc_search, gyr_search;  // would succeed
  std::vector<bool> strong;                  // enough for a step to be declared
};

// Runs the library's filters, windows and searches.
Signals signals_of(const Recording& recording);

// Runs the whole detector with the given scores, one per epoch.
tools::WalkLog detect(const Recording& recording, std::span<const float> acc_scores,
                      std::span<const float> gyr_scores);

}  // namespace zuvdr::training
