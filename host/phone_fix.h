// A fix as a phone knows it, made into the one that the engine takes.
#pragma once

#include <cstdint>
#include <limits>

#include "ZuVDR.h"

namespace zuvdr {

// NaN: unknown. So is an accuracy that is not above 0, and a bearing where its accuracy is.
// Accuracies are those of 68 %: of a radius for the horizontal one, 1 sigma for the others.
struct PhoneFix {
  static constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

  std::int64_t time_ns = 0;               // on the clock of the sensor events
  double latitude = kUnknown;             // degrees
  double longitude = kUnknown;            // degrees
  double altitude = kUnknown;             // m
  double horizontal_accuracy = kUnknown;  // m
  double vertical_accuracy = kUnknown;    // m
  double speed = kUnknown;                // over ground, m/s
  double speed_accuracy = kUnknown;       // m/s
  double bearing = kUnknown;              // degrees clockwise from north
  double bearing_accuracy = kUnknown;     // degrees
};

// No phone tells a vertical velocity or its accuracy, and without one no fix is taken as a good
// one: 0 m/s with this sigma.
inline constexpr double kAssumedUpVelocityAccuracy = 1.0;  // m/s

// With the speed v, its sigma s, the bearing b and c = v times the sigma of b, the velocity has the
// sigmas
//   east:  sqrt((s sin b)^2 + (c cos b)^2)
//   north: sqrt((s cos b)^2 + (c sin b)^2).
// At a crawl (0.5 m/s) without a known bearing the velocity is 0 with sqrt(s^2 + v^2). What is
// unknown becomes an accuracy of 0, so that the fix does not pass the engine's test by what nobody
// has stated; an unknown position or altitude becomes 0.
GpsData to_gps_data(const PhoneFix& fix);

}  // namespace zuvdr
