// How well the steps that a detector declared agree with reference steps.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace zuvdr::tools {

// A detector's band-pass takes this long to settle on gravity; nothing before it counts. s
inline constexpr double kSettling = 6.0;

// A declared step, less the latency, may be this far from its reference step. s
inline constexpr double kMatchTolerance = 0.25;

// One walk; times in s from its first sensor event, ascending.
struct StepSeries {
  std::vector<double> declared;
  std::vector<double> reference;
  // The part in which the reference is complete.
  double from = kSettling;
  double to = std::numeric_limits<double>::infinity();

  bool counts(double time) const { return time >= from && time <= to; }
};

// Steps inside the part that counts. A declared step belongs there when the reference step it was
// matched with does, or else its own time less the latency.
struct StepAgreement {
  std::int64_t declared = 0;
  std::int64_t reference = 0;
  std::int64_t matched = 0;

  StepAgreement& operator+=(const StepAgreement& other);
  double recall() const;       // matched / reference
  double precision() const;    // matched / declared
  double f1() const;           // harmonic mean of the two
  double count_error() const;  // |declared / reference - 1|
};                             // ratios are NaN when their denominator is 0

// The latency (s, 0.4 to 1.0) by which declared steps follow reference steps: the median over the
// pairs that match under the shift under which most do. One figure for walks of one kind.
double median_latency(std::span<const StepSeries> walks);

// Pairs declared steps, less the latency, with reference steps one to one, at most
// kMatchTolerance apart, as many as possible.
StepAgreement match_steps(const StepSeries& walk, double latency);

}  // namespace zuvdr::tools
