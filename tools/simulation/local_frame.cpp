#include "tools/simulation/local_frame.h"

#include <cmath>

#include "tools/simulation/angles.h"

namespace zuvdr::tools {
namespace {

// WGS84
constexpr double kSemiMajorAxis = 6378137.0;  // m
constexpr double kFlattening = 1.0 / 298.257223563;

}  // namespace

LocalFrame::LocalFrame(const Place& origin, double altitude)
    : origin_(origin), altitude_(altitude) {
  const double e2 = kFlattening * (2.0 - kFlattening);
  const double sine = std::sin(origin.latitude * kDegree);
  const double w2 = 1.0 - e2 * sine * sine;
  const double prime_vertical = kSemiMajorAxis / std::sqrt(w2);
  const double meridian = prime_vertical * (1.0 - e2) / w2;
  north_degrees_ = 1.0 / ((meridian + altitude) * kDegree);
  east_degrees_ =
      1.0 / ((prime_vertical + altitude) * std::cos(origin.latitude * kDegree) * kDegree);
}

Place LocalFrame::place(const Vector3& position) const {
  return {origin_.latitude + position[1] * north_degrees_,
          origin_.longitude + position[0] * east_degrees_};
}

double LocalFrame::altitude(const Vector3& position) const {
  return altitude_ + position[2];
}

}  // namespace zuvdr::tools
