#include "engine/insZuAlgo.h"

#include "nav/vector3.h"

using zuvdr::zero;

constinit insZuAlgo* insZuAlgo::sinsZuAlgo = nullptr;
constinit insZuAlgo* minsZuAlgo = nullptr;

namespace {

// A second copy of the library in the process runs this again and finds the first one's engine. The
// engine is never destroyed: the host may call until its last moment.
[[maybe_unused]] const bool engine_created = [] {
  if (insZuAlgo::sinsZuAlgo == nullptr) insZuAlgo::sinsZuAlgo = new insZuAlgo{};
  minsZuAlgo = insZuAlgo::sinsZuAlgo;
  return true;
}();

}  // namespace

// The filters' delay lines, the previous rate of qupdt3, the step detector's refractory count and
// the network buffers belong to the sensor stream, not to the solution: no reset touches them. Nor
// are glv and cur_epoch reset; both are written before use.
void insZuAlgo::algo_reset() {
  moving = 1;
  ins_init_enable = 0;
  zero(ref_pos);
  loc_lat = loc_lon = loc_alt = 0.0;
  InsClear();
  DriDataClear();
  PdrClear();
  PdrDataClear();
  step_detector = {};
  pdr_window_len = 0;
  prev_epoch_time = 0;
  gyr_win_x.clear();
  gyr_win_y.clear();
  gyr_win_z.clear();
  static_long = 0;
  gps_fix = {};
  static_start_time = 0.0;
  zero(acc_lpf, gyr_lpf, acc_lpf1hz);
  ins_running = 0;
  pdr_flag = 0;
  last_step_time_ns = 0;
  static_count = 0;
}

void insZuAlgo::InsClear() {
  zuvdr::clear(ins);
  kf = KF{};
  stability_win.clear();
  tunnel_win.clear();
  convergence_win.clear();
  att_converged = 0;
  ins_pos_set = 0;
  ins_aligned = 0;
  vehicle_mode = 0;
  motion_reset = 0;
  euler_order = 0;
  gps_converged = 0;
  gps_status = 0;
}

void insZuAlgo::DriDataClear() {
  zero(gps_prev_pos, gps_prev_vel, gps_pos, gps_vel);
  gps_prev_time = 0;
  gps_time = 0;
  epoch_queue.clear();
  last_sensor_time = 0;
  match_mask = 0;
  acc_queue.clear();
  gyr_queue.clear();
  mag_queue.clear();
  pres_queue.clear();
}

void insZuAlgo::PdrClear() {
  pdr_east = pdr_north = pdr_height = pdr_heading = pdr_speed = 0.0;
  pdr_kf = {};
  pdr_started = 0;
  pdr_ready = 0;
  zero(pdr_origin);
  pdr_stability_win.clear();
}

void insZuAlgo::PdrDataClear() {
  pdr_acc_x.clear();
  pdr_acc_y.clear();
  pdr_acc_z.clear();
  pdr_time.clear();
  pdr_step_flags.clear();
}

int insZuAlgo::car_flag_word() const {
  return ins_pos_set * ZUVDR_CAR_POSITION_SET + att_converged * ZUVDR_CAR_ATTITUDE_CONVERGED +
         ins_aligned * ZUVDR_CAR_ALIGNED + vehicle_mode * ZUVDR_CAR_VEHICLE_MODE +
         motion_reset * ZUVDR_CAR_MOTION_RESET;
}
