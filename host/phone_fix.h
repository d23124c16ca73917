// A fix as a phone knows it, made into the one that the engine takes.
#pragma once

#include "ZuVDRHost.hpp"

namespace zuvdr {

// No phone tells a vertical velocity or its accuracy, and without one no fix is taken as a good
// one: 0 m/s with this sigma.
inline constexpr double kAssumedUpVelocityAccuracy = 1.0;  // m/s

// With the speed v, its sigma s, the bearing b and c = v times the sigma of b, the velocity has the
// sigmas
//   east:  sqrt((s sin b)^2 + (c cos b)^2)
//   north: sqrt((s cos b)^2 + (c sin b)^2).
// At a crawl (0.5 m/s) a bearing says little: both are sqrt(s^2 + v^2). What is
// unknown becomes an accuracy of 0, so that the fix does not pass the engine's test by what nobody
// has stated; an unknown position or altitude becomes 0.
GpsData to_gps_data(const PhoneFix& fix);

}  // namespace zuvdr
