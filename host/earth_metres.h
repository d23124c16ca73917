// Short ways on a sphere: good to a percent, which is enough to carry a position for seconds.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zuvdr {

inline constexpr double kMetresPerDegree = 111'319.49;  // of the equator

inline double metres_per_degree_east(double latitude) {
  return kMetresPerDegree * std::max(std::cos(latitude * std::numbers::pi / 180.0), 1e-3);
}

inline double degrees_within_half_turn(double degrees) {
  return std::remainder(degrees, 360.0);
}

// Degrees; also across the date line.
inline double metres_between(double latitude, double longitude, double other_latitude,
                             double other_longitude) {
  const double east = degrees_within_half_turn(other_longitude - longitude);
  return std::hypot((other_latitude - latitude) * kMetresPerDegree,
                    east * metres_per_degree_east(latitude));
}

// Moves a place by metres east and north.
inline void move(double& latitude, double& longitude, double east, double north) {
  latitude = std::clamp(latitude + north / kMetresPerDegree, -90.0, 90.0);
  longitude = degrees_within_half_turn(longitude + east / metres_per_degree_east(latitude));
}

}  // namespace zuvdr
