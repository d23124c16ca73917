// What the networks are to answer at every epoch of a recording: low for some epochs from the
// moment at which a step shall be declared, high elsewhere (docs/step-networks.md).
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "training/signals.h"

namespace zuvdr::training {

// One element per epoch.
struct Targets {
  std::vector<float> score;   // 0 or 1
  std::vector<float> weight;  // of the epoch in the loss; 0: not known or not wanted
};

struct TargetWeights {
  float low = 1.5f;          // of the epochs with target 0
  float non_walking = 0.5f;  // where a step could be declared; elsewhere the score is of no account
};

// The epoch of each reference step's valley: as long after the step as the band-passed acceleration
// is lowest on average over the recording's steps, at most one past the last epoch. A step is
// wanted some epochs later.
std::vector<std::size_t> valley_epochs(const Recording& recording, const Signals& signals);

// Chooses the epochs at which steps shall be declared, ascending: at most one for each wanted
// epoch, within five epochs of it, at least seven apart, where a search succeeds in a strong
// window. Among all such choices the one of least total cost: `cost` at each chosen epoch, a
// penalty for its distance from the wanted epoch and for its nearness to the step before, `missing`
// for each wanted epoch without one (dynamic programming).
std::vector<std::size_t> choose_events(const Signals& signals, std::span<const std::size_t> wanted,
                                       std::span<const float> cost, float missing);

// Targets for the events chosen: 0 from each event on, for six epochs or as many as leave seven
// before the next event, but at least two.
Targets make_targets(const Recording& recording, const Signals& signals,
                     std::span<const std::size_t> wanted, std::span<const std::size_t> events,
                     const TargetWeights& weights);

}  // namespace zuvdr::training
