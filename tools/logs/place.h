// A place on the earth.
#pragma once

namespace zuvdr::tools {

struct Place {
  double latitude;   // degrees
  double longitude;  // degrees
};

bool is_finite(const Place& place);

// Metres on the WGS 84 ellipsoid; NaN when a coordinate is not finite.
double distance(const Place& a, const Place& b);

}  // namespace zuvdr::tools
