// The position that hosts read: the raw fix or a filtered one, and the range it may lie in.
#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "engine/output_status.h"
#include "nav/geodesy.h"

int insZuAlgo::raw_output() {
  loc_lon = gps_pos[0];
  loc_lat = gps_pos[1];
  return zuvdr::kRaw;
}

void insZuAlgo::publish(const double* reference, double east, double north, double up) {
  double ref[3] = {reference[0], reference[1], reference[2]};  // M2G leaves it in radians
  double enu[3] = {east, north, up};
  double llh[3];
  M2G(ref, enu, glv, llh);
  loc_lon = llh[0];
  loc_lat = llh[1];
}

// Only the north-eastern quadrant is served; a filtered position outside it is taken for a runaway
// solution.
int insZuAlgo::guard_range(int status) {
  gps_status = status;
  if (status == zuvdr::kUpdated || status == zuvdr::kDeadReckoned) {
    if (loc_lon < 0.0 || loc_lon > zuvdr::kLargestLongitude || loc_lat < 0.0 ||
        loc_lat > zuvdr::kLargestLatitude) {
      InsClear();
      gps_status = status;
      restart_pedestrian();
      pdr_flag = 0;
      return zuvdr::kRaw;
    }
  }
  return status;
}
