#include "tools/evaluation/step_matching.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace zuvdr::tools {
namespace {

// Filter, valley and the moment that the networks mark take 0.5 to 0.9 s. Without a range a walk at
// an even pace might as well be matched with itself several steps later; in a quick one two
// latencies in the range may still do equally well.
constexpr double kShortestLatency = 0.4;  // s
constexpr double kLongestLatency = 1.0;   // s
constexpr double kShiftInterval = 0.02;   // s

// Calls visit(i, j) for every declared step i paired with reference step j. As both ascend and all
// tolerances are equal, pairing the earliest that can be paired leaves no better pairing.
template <typename Visitor>
void pair_steps(const StepSeries& walk, double latency, Visitor visit) {
  std::size_t i = 0, j = 0;
  while (i < walk.declared.size() && j < walk.reference.size()) {
    const double difference = walk.declared[i] - latency - walk.reference[j];
    if (std::abs(difference) <= kMatchTolerance) {
      visit(i++, j++);
    } else if (difference < 0.0) {
      ++i;
    } else {
      ++j;
    }
  }
}

double ratio(std::int64_t part, std::int64_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

StepAgreement& StepAgreement::operator+=(const StepAgreement& other) {
  declared += other.declared;
  reference += other.reference;
  matched += other.matched;
  return *this;
}

double StepAgreement::recall() const {
  return ratio(matched, reference);
}

double StepAgreement::precision() const {
  return ratio(matched, declared);
}

double StepAgreement::f1() const {
  return ratio(2 * matched, declared + reference);
}

double StepAgreement::count_error() const {
  return std::abs(ratio(declared, reference) - 1.0);
}

double median_latency(std::span<const StepSeries> walks) {
  double best_shift = kShortestLatency;
  std::int64_t most = 0;
  const int shifts =
      static_cast<int>(std::lround((kLongestLatency - kShortestLatency) / kShiftInterval));
  for (int k = 0; k <= shifts; ++k) {
    const double shift = kShortestLatency + k * kShiftInterval;
    std::int64_t matched = 0;
    for (const StepSeries& walk : walks) matched += match_steps(walk, shift).matched;
    if (matched > most) {
      most = matched;
      best_shift = shift;
    }
  }
  std::vector<double> latencies;
  for (const StepSeries& walk : walks) {
    pair_steps(walk, best_shift, [&](std::size_t i, std::size_t j) {
      latencies.push_back(walk.declared[i] - walk.reference[j]);
    });
  }
  if (latencies.empty()) return kShortestLatency;
  const auto middle = latencies.begin() + static_cast<std::ptrdiff_t>(latencies.size() / 2);
  std::nth_element(latencies.begin(), middle, latencies.end());
  return std::clamp(*middle, kShortestLatency, kLongestLatency);
}

StepAgreement match_steps(const StepSeries& walk, double latency) {
  const auto counts = [&walk](double time) { return walk.counts(time); };
  StepAgreement agreement;
  agreement.reference = std::count_if(walk.reference.begin(), walk.reference.end(), counts);
  agreement.declared = std::count_if(walk.declared.begin(), walk.declared.end(),
                                     [&](double time) { return counts(time - latency); });
  pair_steps(walk, latency, [&](std::size_t i, std::size_t j) {
    const bool counted = counts(walk.reference[j]);
    agreement.matched += counted ? 1 : 0;
    // A pair stands or falls with its reference step.
    agreement.declared += (counted ? 1 : 0) - (counts(walk.declared[i] - latency) ? 1 : 0);
  });
  return agreement;
}

}  // namespace zuvdr::tools
