// Limits of the engine that whoever looks at a log has to know too.
#pragma once

#include <cstdint>

namespace zuvdr {

inline constexpr float kVehicleSpeed = 5.0F;    // m/s, switches to the vehicle, and the walker off
inline constexpr float kAlignmentSpeed = 6.0F;  // m/s, course good enough for a heading

inline constexpr std::int64_t kPairingTolerance = 40000000;  // ns, events of one epoch
inline constexpr double kLongestStep = 1.5;                  // s; a longer gap is not integrated

// Degrees; a filtered position outside 0 to these is taken for a runaway solution.
inline constexpr double kLargestLongitude = 180.0;
inline constexpr double kLargestLatitude = 90.0;

}  // namespace zuvdr
