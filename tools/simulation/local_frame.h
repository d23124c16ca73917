// From metres on the route to places on the earth.
#pragma once

#include "tools/logs/place.h"
#include "tools/simulation/vectors.h"

namespace zuvdr::tools {

// The level frame (east, north, up, m) is laid onto the ellipsoid at the start of the route: metres
// to degrees by the radii of curvature there, the same everywhere.
class LocalFrame {
 public:
  LocalFrame(const Place& origin, double altitude);  // m

  Place place(const Vector3& position) const;
  double altitude(const Vector3& position) const;  // m

 private:
  Place origin_;
  double altitude_;       // of the origin, m
  double north_degrees_;  // degrees of latitude per metre
  double east_degrees_;   // degrees of longitude per metre
};

}  // namespace zuvdr::tools
