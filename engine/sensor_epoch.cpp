// One paired sensor epoch: input filters, standstill, the walker, and the vehicle navigator with
// its filter's time update and standstill aids.
#include <algorithm>
#include <cmath>

#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "kf/kf.h"
#include "kf/time_update.h"
#include "nav/clock.h"
#include "nav/constants.h"
#include "nav/ins.h"
#include "nav/motion.h"
#include "nav/signal.h"

int insZuAlgo::algo_sensor_update() {
  const std::int64_t t = cur_epoch.time_ns;
  double imu[6];  // gyroscope x, y, z (rad/s), accelerometer x, y, z (m/s^2)
  std::copy_n(cur_epoch.gyr, 3, imu);
  std::copy_n(cur_epoch.acc, 3, imu + 3);

  last_sensor_time = t;
  double dt = zuvdr::elapsed_seconds(t, prev_epoch_time);
  prev_epoch_time = t;
  if (dt > zuvdr::kLongestStep) dt = 0.0;

  aLowPassFilter(imu + 3, acc_lpf);
  wLowPassFilter(imu, gyr_lpf);
  LPF_1Hz_order3(imu + 3, acc_lpf1hz);

  detect_quiet();

  pedestrian_sensor_epoch(imu, dt);

  if (vehicle_mode == 0) return 0;
  if (ins_aligned != 0) {
    propagate_vehicle(imu, dt);
  } else if (static_long == 1 && ins_init_enable != 0) {
    initialise_navigator(dt);
  }
  return 0;
}

void insZuAlgo::propagate_vehicle(double* imu, double dt) {
  ins_running = 1;
  const int disturbed = MP_MOVE(ins);
  InsUpdate(ins, imu, dt);
  if (disturbed != 0) {
    InsClear();
    motion_reset = 1;
    return;
  }
  motion_reset = 0;

  zuvdr::time_update(ins, kf, imu, dt);

  if (moving == 0) {
    if (static_long == 1) {
      wBiasupdate(kf, ins, gyr_lpf);
      tiltupdate(kf, ins, acc_lpf);
    }
    ZUPT(kf, ins);
  }
  if (att_converged == 0) {
    const double sigma = std::sqrt(kf.P[0]) * 180.0 / zuvdr::kPi;  // degrees
    if (sigma < zuvdr::kConvergedTilt) att_converged = 1;
  }
}
