// The navigator's start: levelled at a standstill, then heading and position from a fix in motion.
#include <algorithm>
#include <cmath>

#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "kf/kf.h"
#include "nav/attitude.h"
#include "nav/clock.h"
#include "nav/earth.h"
#include "nav/geodesy.h"
#include "nav/ins.h"
#include "nav/motion.h"

void insZuAlgo::initialise_navigator(double dt) {
  ins_aligned = 1;
  const int order = LandscapeDetector(acc_lpf1hz);
  double u[3];
  for (int i = 0; i < 3; ++i) u[i] = acc_lpf[i] / -zuvdr::kGravity;
  double angles[3] = {};  // yaw 0
  double R[9];
  double q[4] = {};
  zuvdr::tilt_from_gravity(u, order, angles);
  if (zuvdr::euler_to_matrix(angles, order, R)) rot2qua(R, q);
  double position[3] = {};
  if (ins_running != 0) {
    G2M(ref_pos, gps_pos, glv, position);
  } else {
    std::copy_n(gps_pos, 3, ref_pos);
  }
  double acc_bias[3] = {};
  InsInit1(q, ins, acc_bias, gyr_lpf, gps_vel, position, glv, order);
  euler_order = order;
  KfInit(kf, glv, dt);
}

// First heading and position of the navigator, from a fix in motion.
void insZuAlgo::align_navigator_with_gnss() {
  double acc_g[3];
  double acc_gnss[3];
  const double dt = zuvdr::elapsed_seconds(gps_time, gps_prev_time);
  for (int i = 0; i < 3; ++i) {
    acc_g[i] = (acc_lpf[i] - ins.db[i]) / -zuvdr::kGravity;
    acc_gnss[i] = (gps_vel[i] - gps_prev_vel[i]) / dt;
  }
  // The angle between both accelerations only gates: exactly zero means that there was none. NaN,
  // from two fixes with the same time, passes.
  const double psi = CalculateAccPsi(ins, acc_gnss, acc_g);
  if (psi == 0.0 || ins_init_enable == 0 || moving == 0 || gps_fix.speed <= zuvdr::kAlignmentSpeed)
    return;

  std::copy_n(gps_vel, 3, ins.vn);
  ins.att[2] = -std::atan2(gps_vel[0], gps_vel[1]);
  G2M(ref_pos, gps_pos, glv, ins.pos);
  double R[9];
  if (zuvdr::euler_to_matrix(ins.att, euler_order, R)) {
    rot2qua(R, ins.qnb);
    std::copy_n(R, 9, ins.Cnb);
  }
  ins_pos_set = 1;
}
