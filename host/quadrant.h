// Everywhere on earth for an engine that serves one quadrant, 0 to 180 degrees east and 0 to 90
// north.
#pragma once

#include "ZuVDR.h"
#include "host/vector.h"

namespace zuvdr {

// South of the equator the world is seen in a mirror that turns north into south. A reflection
// turns polar vectors (velocity, specific force) and axial ones (turn rate) differently; the
// phone's counterpart of the mirror is its x axis: acceleration x and the rates about y and z
// change sign, and the image is a world of the engine's own handedness. Longitudes are moved by a
// constant, which no equation of the engine sees; so are latitudes near the equator, by a degree,
// which makes the engine's metres to the east 1.5e-4 too short. Beyond 89 degrees the engine's
// metres fail.
class Quadrant {
 public:
  // True when the fix lies outside what the choice made before serves; the engine wants a Reset
  // then. Degrees.
  bool chosen() const { return chosen_; }
  bool choose_for(double latitude, double longitude);

  // In the engine's mirror, and out of it again.
  void enter(Vector& force, Vector& rate) const {
    if (!mirrored_) return;
    force[0] = -force[0];
    rate[1] = -rate[1];
    rate[2] = -rate[2];
  }
  void enter(GpsData& fix) const;
  void leave(double& latitude, double& longitude) const;
  // East is the same on both sides.
  double leave_north(double velocity) const { return mirrored_ ? -velocity : velocity; }

 private:
  bool chosen_ = false;
  bool mirrored_ = false;
  double east_shift_ = 0.0;  // degrees, added on the way in
  double north_shift_ = 0.0;
};

}  // namespace zuvdr
