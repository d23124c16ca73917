// Distances to the truth, and their figures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tools/logs/track.h"

namespace zuvdr::tools {

// Between the fused position and the truth in the row, m.
double output_error(const TrackRow& row);

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

}  // namespace zuvdr::tools
