// Samples made up for a gap of the sensors.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ZuVDR.h"
#include "host/vector.h"

namespace zuvdr {

// From fixes on both sides: forward the change of speed, to the right v times the turn rate
// (clockwise), on top of what the sensors show at rest. Never quite constant: that would look like
// a standstill, which levels the navigator.
class GapFilling {
 public:
  // Good fixes in the order of time, on the sensors' clock.
  void add(const GpsData& fix);
  bool usable() const { return count_ >= 2; }
  Sample at(std::int64_t time_ns, const Mounting& mounting, const Vector& resting_force,
            const Vector& resting_rate) const;

 private:
  std::array<GpsData, 16> fixes_;
  std::size_t count_ = 0;
};

// Turn rate that is added, rad/s: over a second it comes to nothing.
Vector unrest(std::int64_t time_ns);

}  // namespace zuvdr
