#include <cmath>
#include <string>

#include "engine/insZuAlgo.h"

// "zuxdr: " and 17 values: flags and verdicts; walker, fix quality and speed (m/s); positions of
// the fix and of the output. The positions are written times 3: part of the format hosts parse.
std::string insZuAlgo::getAlgoLog() {
  std::string line = "zuxdr:";
  const auto append = [&line](auto value) { line += ' ' + std::to_string(value); };
  for (const std::int32_t value :
       {motion_reset, vehicle_mode, ins_aligned, att_converged, ins_pos_set, gps_status,
        gps_converged, pdr_flag, step_detector.bout_step_count, ins_init_enable}) {
    append(value);
  }
  append(std::sqrt(gps_vel[0] * gps_vel[0] + gps_vel[1] * gps_vel[1]));
  for (const double value : {gps_pos[0], gps_pos[1], gps_pos[2], loc_lon, loc_lat, loc_alt}) {
    append(value * 3.0);
  }
  return line;
}
