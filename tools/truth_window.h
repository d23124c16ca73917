// The latest stretch of true positions, interpolated linearly in time.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "tools/event_log.h"

namespace zuvdr::tools {

// later - earlier in seconds, to 0.2 us for any time of this century; defined for any two stamps.
inline double seconds_between(std::int64_t earlier, std::int64_t later) {
  return (static_cast<double>(later) - static_cast<double>(earlier)) * 1e-9;
}

struct Place {
  double latitude;   // degrees
  double longitude;  // degrees
};

// Metres on the WGS 84 ellipsoid; NaN when a coordinate is not finite.
double distance(const Place& a, const Place& b);

class TruthWindow {
 public:
  // Rows not later than the latest one are dropped, so are those that fell out of the window.
  void add(const TruthRow& row);

  // True when a position at this time can get no better by waiting for more rows.
  bool covers(std::int64_t time_ns) const;

  // None outside the rows and in gaps of more than 5 s.
  std::optional<Place> at(std::int64_t time_ns) const;

 private:
  std::deque<TruthRow> rows_;
};

}  // namespace zuvdr::tools
