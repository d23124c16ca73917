#include "tools/logs/place.h"

#include <GeographicLib/Geodesic.hpp>
#include <cmath>
#include <limits>

namespace zuvdr::tools {

bool is_finite(const Place& place) {
  return std::isfinite(place.latitude) && std::isfinite(place.longitude);
}

double distance(const Place& a, const Place& b) {
  double metres = std::numeric_limits<double>::quiet_NaN();
  GeographicLib::Geodesic::WGS84().Inverse(a.latitude, a.longitude, b.latitude, b.longitude,
                                           metres);
  return metres;
}

}  // namespace zuvdr::tools
