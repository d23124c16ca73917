// Error figures of a replay: distances to the truth, and the drift in outages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "tools/engine_host.h"
#include "tools/truth_window.h"

namespace zuvdr::tools {

// Distances between positions and the truth, m. Quantiles come from a histogram that grows with the
// largest error, to about 1 MB, and not with the count: they are rounded to 0.1 m below 1638 m,
// and within 1/16384 of the true ones above. The rest is exact.
class ErrorFigures {
 public:
  void add(double metres);  // what is not finite is counted as lost

  std::size_t count() const { return count_; }
  std::size_t lost() const { return lost_; }
  double rms() const;
  double largest() const { return largest_; }
  // The smallest error that at least this part (0 to 1) of all errors does not exceed. NaN, as rms
  // and largest, when there is none.
  double quantile(double part) const;

 private:
  std::vector<std::uint64_t> bins_;  // how many errors fell into each, up to the highest one used
  std::size_t count_ = 0;
  std::size_t lost_ = 0;
  double squares_ = 0.0;  // m^2
  double smallest_ = std::numeric_limits<double>::quiet_NaN();
  double largest_ = std::numeric_limits<double>::quiet_NaN();
};

// A stretch of two or more fixes in a row that were not accepted while the vehicle navigator ran.
// Times are those of the output, which follow the fixes by up to one interval.
struct Outage {
  std::int64_t start_ns = 0;  // the last output that a fix corrected
  double duration = 0.0;      // s from there to the last output before a fix was accepted again
  double driven = 0.0;  // m in that time, along the truth, or along the output where there is none
  double error = 0.0;   // m at the end; NaN without truth
  int fixes = 0;
  int status = 0;          // at the end
  bool restarted = false;  // the vehicle solution was given up before a fix was accepted again
};

class OutageFinder {
 public:
  // The answer to every fix, in order, with truth in its row where there is one.
  void add(const FixAnswer& answer);
  // To be called when no more fixes come: an outage that goes on ends here.
  void finish();

  // Each is a line of the summary: they are the only thing that grows with the log.
  const std::vector<Outage>& outages() const { return outages_; }

 private:
  void end_outage(bool restarted);

  std::optional<TrackRow> previous_;  // row of the latest vehicle output
  std::optional<Outage> current_;
  std::vector<Outage> outages_;
};

// Between the fused position and the truth in the row, m.
double output_error(const TrackRow& row);

}  // namespace zuvdr::tools
