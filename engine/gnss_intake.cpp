#include <algorithm>

#include "engine/insZuAlgo.h"

void insZuAlgo::store_fix(const GpsData& fix) {
  gps_fix = fix;
  std::copy_n(gps_pos, 3, gps_prev_pos);
  std::copy_n(gps_vel, 3, gps_prev_vel);
  gps_prev_time = gps_time;
  gps_pos[0] = fix.longitude;
  gps_pos[1] = fix.latitude;
  gps_pos[2] = fix.altitude;
  gps_vel[0] = fix.vel_e;
  gps_vel[1] = fix.vel_n;
  gps_vel[2] = fix.vel_u;
  gps_time = fix.time_ns;
}
