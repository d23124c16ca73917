// What the parts of a GNSS epoch agree on.
#pragma once

namespace zuvdr {

// The status of the output position (UpdateLocationbyGPSEvent in include/ZuVDR.h).
inline constexpr int kRaw = 0;
inline constexpr int kUpdated = 1;
inline constexpr int kDeadReckoned = 2;
inline constexpr int kLongOutage = 3;

inline constexpr float kVehicleSpeed = 5.0F;  // m/s, switches to the vehicle, and the walker off

}  // namespace zuvdr
