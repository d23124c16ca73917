// One GNSS fix: its quality, the vehicle's alignment, update or dead reckoning, then the walker.
#include "engine/fix_quality.h"
#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "engine/output_status.h"
#include "kf/kf.h"
#include "nav/clock.h"
#include "nav/geodesy.h"

using zuvdr::kDeadReckoned;
using zuvdr::kLongOutage;
using zuvdr::kRaw;
using zuvdr::kUpdated;

namespace {

constexpr double kSidewaysSigma = 0.1;   // m/s, pseudo-measurements of the GNSS update
constexpr double kVerticalSigma = 0.05;  // m/s

}  // namespace

int insZuAlgo::algo_gps_update(int sample) {
  loc_lat = loc_lon = loc_alt = 0.0;
  ins_init_enable = fix_passes_quality_test() ? 1 : 0;
  const int stability = CarStability(sample);
  const int tunnel = CarTunnel(sample);
  const int vehicle_status = vehicle_gnss_epoch(stability, tunnel);
  return guard_range(pedestrian_gnss_epoch(sample, vehicle_status));
}

bool insZuAlgo::fix_passes_quality_test() const {
  return zuvdr::passes_quality_test(gps_fix);
}

int insZuAlgo::vehicle_gnss_epoch(int stability, int tunnel) {
  if (vehicle_mode == 0) {
    if (gps_fix.speed > zuvdr::kVehicleSpeed && ins_init_enable == 1) vehicle_mode = 1;
    return raw_output();
  }
  if (ins_aligned == 0 || att_converged == 0) return raw_output();
  if (ins_pos_set == 0) {
    align_navigator_with_gnss();
    return raw_output();
  }
  if (gps_converged == 0) gps_converged = CarConvergence(ins_init_enable) ? 1 : 0;
  return ins_init_enable == 1 ? gnss_update() : dead_reckoning_epoch(stability, tunnel);
}

int insZuAlgo::gnss_update() {
  // The fix at the navigation time, which lies near the previous fix: epochs wait for the fix that
  // follows them. Not clamped.
  const double alpha = static_cast<double>(zuvdr::elapsed_ns(last_sensor_time, gps_prev_time)) /
                       static_cast<double>(zuvdr::elapsed_ns(gps_time, gps_prev_time));
  double previous[3];
  double latest[3];
  G2M(ref_pos, gps_prev_pos, glv, previous);
  G2M(ref_pos, gps_pos, glv, latest);
  double position[3];
  double velocity[3];
  for (int i = 0; i < 3; ++i) {
    position[i] = previous[i] + (latest[i] - previous[i]) * alpha;
    velocity[i] = gps_prev_vel[i] + (gps_vel[i] - gps_prev_vel[i]) * alpha;
  }
  double sigma[zuvdr::kRows] = {gps_fix.vel_acc_e, gps_fix.vel_acc_n, gps_fix.vel_acc_u,
                                gps_fix.pos_acc_e, gps_fix.pos_acc_n, gps_fix.pos_acc_u,
                                kSidewaysSigma,    kVerticalSigma};
  MeasureUpdate(position, velocity, sigma, ins, kf, glv);
  publish(ref_pos, ins.pos[0], ins.pos[1], ins.pos[2]);
  return gps_converged != 0 ? kUpdated : kRaw;
}

int insZuAlgo::dead_reckoning_epoch(int stability, int tunnel) {
  NHC(kf, ins);
  publish(ref_pos, ins.pos[0], ins.pos[1], ins.pos[2]);
  if (stability != 0) return gps_converged != 0 ? kDeadReckoned : kRaw;
  if (gps_converged != 0 && tunnel == 0) {
    gps_converged = 0;
    convergence_win.clear();
  }
  return kLongOutage;
}
