#include "nav/geodesy.h"

#include <cmath>

#include "nav/earth.h"

namespace {

struct Radii {
  double east;   // prime vertical, RN, m
  double north;  // meridian, RM, m
};

Radii radii_of_curvature(const glvs& glv, double latitude_rad) {
  const double sine = std::sin(latitude_rad);
  const double w2 = 1.0 - glv.e2 * sine * sine;
  const double rn = static_cast<double>(glv.Re) / std::sqrt(w2);
  return {rn, (1.0 - glv.e2) * rn / w2};
}

}  // namespace

void G2M(double* ref, double* llh, glvs& glv, double* enu) {
  const double longitude_offset = (llh[0] - ref[0]) / 180.0 * glv.pi;
  const double latitude_offset = (llh[1] - ref[1]) / 180.0 * glv.pi;
  const double latitude = ref[1] / 180.0 * glv.pi;
  const double height = ref[2] / 180.0 * glv.pi;
  const Radii radius = radii_of_curvature(glv, latitude);
  const double up = llh[2] - ref[2];
  enu[0] = longitude_offset * std::cos(latitude) * (height + radius.east);
  enu[1] = latitude_offset * (height + radius.north);
  enu[2] = up;
}

void M2G(double* ref, double* enu, glvs& glv, double* llh) {
  for (int i = 0; i < 3; ++i) ref[i] = ref[i] / 180.0 * glv.pi;
  const double latitude = ref[1];
  const double height = ref[2];
  const Radii radius = radii_of_curvature(glv, latitude);
  llh[0] = (ref[0] + enu[0] / (std::cos(latitude) * (height + radius.east))) * 180.0 / glv.pi;
  llh[1] = (ref[1] + enu[1] / (height + radius.north)) * 180.0 / glv.pi;
  llh[2] = (enu[2] + height) * 180.0 / glv.pi;
}
