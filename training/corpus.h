// The recordings that training works on, ready for it, and their division by walker.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "training/targets.h"

namespace zuvdr::training {

inline constexpr int kFolds = 5;

struct Sample {
  Recording recording;
  Signals signals;
  std::vector<std::size_t> valleys;  // of the reference steps
  // Both are empty until training fills them.
  std::vector<std::size_t> wanted;  // steps, one for each reference step
  std::vector<std::size_t> events;  // chosen near them
  int fold = 0;                     // 0 to kFolds - 1

  explicit Sample(Recording recorded);
};

// All walks DATA/SET/walk/*.csv.gz (with walking false: DATA/SET/nonwalk), by name; empty when the
// folder is not there. Folds: walkers in turn; where the logs of a set do not tell walkers apart,
// one fifth of the logs after the other, as neighbours are likely to share one. Throws
// tools::InputError.
std::vector<Sample> read_set(const std::string& data, const std::string& set, bool walking);

struct SimulatedCorpus {
  int walks = 36;
  int handlings = 6;
  int drives = 6;  // most of them on bad roads
};

// Simulated walkers at cadences from 1.2 to 2.8 steps/s in all carrying positions, and what is not
// walking. No two journeys share a seed or a walker, within a call or between calls with different
// first_seed further apart than their journeys are many.
std::vector<Sample> simulate_corpus(const SimulatedCorpus& size, std::uint64_t first_seed);

// Copies of the walks at another pace, time stretched by 0.8 to 1.3; for each purpose others.
std::vector<Sample> warped_copies(std::span<const Sample* const> samples, int copies,
                                  std::uint64_t seed, const std::string& purpose = "");

}  // namespace zuvdr::training
