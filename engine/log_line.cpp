#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

#include "engine/insZuAlgo.h"

namespace {

void append(std::string& line, std::int32_t value) {
  line += ' ' + std::to_string(value);
}

// Fixed notation, six decimals, whatever locale the host has set.
void append(std::string& line, double value) {
  char text[400];  // the largest double has 309 digits before the point
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr;
  line += ' ';
  line.append(text, end);
}

}  // namespace

// "zuxdr: " and 17 values: flags and verdicts; walker, fix quality and speed (m/s); positions of
// the fix and of the output. The positions are written times 3: part of the format hosts parse.
std::string insZuAlgo::getAlgoLog() {
  std::string line = "zuxdr:";
  for (const std::int32_t value :
       {motion_reset, vehicle_mode, ins_aligned, att_converged, ins_pos_set, gps_status,
        gps_converged, pdr_flag, step_detector.bout_step_count, ins_init_enable}) {
    append(line, value);
  }
  append(line, std::sqrt(gps_vel[0] * gps_vel[0] + gps_vel[1] * gps_vel[1]));
  for (const double value : {gps_pos[0], gps_pos[1], gps_pos[2], loc_lon, loc_lat, loc_alt}) {
    append(line, value * 3.0);
  }
  return line;
}
