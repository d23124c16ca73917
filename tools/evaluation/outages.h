// The stretches that a vehicle goes without accepted fixes, and the drift in them.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "tools/evaluation/engine_host.h"
#include "tools/logs/track.h"

namespace zuvdr::tools {

// A stretch of two or more fixes in a row that were not accepted and that began while the vehicle
// navigator ran; it ends with a fix that is accepted, or when the walker's solution takes over.
// Times are those of the output, which follow the fixes by up to one interval.
struct Outage {
  std::int64_t start_ns = 0;  // the last output that a fix corrected
  double duration = 0.0;      // s from there to the last output before a fix was accepted again
  double driven = 0.0;  // m in that time, along the truth, or along the output where there is none
  double error = 0.0;   // m at the end; NaN without truth
  double largest_error = std::numeric_limits<double>::quiet_NaN();  // m on the way; NaN likewise
  int fixes = 0;
  int status = 0;          // at the end
  bool restarted = false;  // the vehicle solution was given up on the way
};

class OutageFinder {
 public:
  // The answer to every fix, in order, with truth in its row where there is one.
  void add(const FixAnswer& answer);
  // To be called when no more fixes come: an outage that goes on ends here.
  void finish();

  // An outage, or the first fix of what may become one.
  bool goes_on() const { return current_.has_value(); }

  // Each is a line of the summary: they are the only thing that grows with the log.
  const std::vector<Outage>& outages() const { return outages_; }

 private:
  void end_outage();

  std::optional<TrackRow> previous_;  // row of the latest output, of a vehicle or in an outage
  std::optional<Outage> current_;
  std::vector<Outage> outages_;
};

}  // namespace zuvdr::tools
