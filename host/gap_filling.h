// Samples made up for a gap of the sensors.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ZuVDR.h"
#include "host/vector.h"

namespace zuvdr {

// From fixes on both sides: forward the change of speed, to the right v times the turn rate
// (clockwise), gravity and the gyroscope's bias as learned. Never quite constant while the vehicle
// moves: that would look like a standstill.
class GapFilling {
 public:
  // Good fixes in the order of time, on the sensors' clock.
  void add(const GpsData& fix);
  bool usable() const { return count_ >= 2; }
  Sample at(std::int64_t time_ns, const Mounting& mounting, const Vector& gravity,
            const Vector& bias) const;

 private:
  std::array<GpsData, 16> fixes_;
  std::size_t count_ = 0;
};

// Turn rate that is added, rad/s: over a second it comes to nothing.
Vector unrest(std::int64_t time_ns);

}  // namespace zuvdr
