// One GNSS fix: its quality, the vehicle's alignment, update or dead reckoning, the walker's
// update, and the published position with its status.
#include <algorithm>
#include <cmath>

#include "engine/insZuAlgo.h"
#include "kf/kf.h"
#include "nav/attitude.h"
#include "nav/clock.h"
#include "nav/constants.h"
#include "nav/geodesy.h"
#include "pdr/step_length.h"

namespace {

// Quality test: largest accuracies, 1 sigma. The receivers this was tuned on are least sure of
// north.
constexpr double kVelAccE = 1.91;  // m/s
constexpr double kVelAccN = 1.95;
constexpr double kVelAccU = 1.55;
constexpr float kPosAcc = 250.0F;  // m
constexpr float kSpeedAcc = 3.0F;  // m/s

constexpr float kVehicleSpeed = 5.0F;            // m/s, switches to the vehicle, and the walker off
constexpr float kAlignmentSpeed = 6.0F;          // m/s, course good enough for a heading
constexpr double kSlowestWalk = 0.46;            // m/s
constexpr std::int32_t kStepsToInitialise = 10;  // in the bout, more than these
constexpr double kSidewaysSigma = 0.1;           // m/s, pseudo-measurements of the GNSS update
constexpr double kVerticalSigma = 0.05;          // m/s

constexpr double kLargestLongitude = 180.0;  // degrees
constexpr double kLargestLatitude = 90.0;

// What the output is.
constexpr int kRaw = 0;
constexpr int kUpdated = 1;
constexpr int kDeadReckoned = 2;
constexpr int kLongOutage = 3;

}  // namespace

int insZuAlgo::algo_gps_update(int sample) {
  loc_lat = loc_lon = loc_alt = 0.0;
  ins_init_enable = fix_passes_quality_test() ? 1 : 0;
  const int stability = CarStability(sample);
  const int tunnel = CarTunnel(sample);
  int status = vehicle_gnss_epoch(stability, tunnel);

  const int walk_stability = PdrStability(sample);
  if (walk_stability == 0 || gps_fix.speed > kVehicleSpeed || gps_fix.speed < kSlowestWalk) {
    restart_pedestrian();
  }
  int history_length = static_cast<int>(pdr_window_len);
  double gnss_speed = gps_fix.speed;
  const double walking_speed = step_speed(pdr_acc_x, pdr_acc_y, pdr_acc_z, pdr_time, pdr_step_flags,
                                          history_length, gnss_speed);
  status = pedestrian_gnss_epoch(walking_speed, status);

  gps_status = status;
  // Only the north-eastern quadrant is served; a filtered position outside it is taken for a
  // runaway solution.
  if (status == kUpdated || status == kDeadReckoned) {
    if (loc_lon < 0.0 || loc_lon > kLargestLongitude || loc_lat < 0.0 ||
        loc_lat > kLargestLatitude) {
      InsClear();
      gps_status = status;
      restart_pedestrian();
      pdr_flag = 0;
      return kRaw;
    }
  }
  return status;
}

bool insZuAlgo::fix_passes_quality_test() const {
  const GpsData& fix = gps_fix;
  const bool small = static_cast<double>(fix.vel_acc_e) < kVelAccE &&
                     static_cast<double>(fix.vel_acc_n) < kVelAccN &&
                     static_cast<double>(fix.vel_acc_u) < kVelAccU && fix.pos_acc_e < kPosAcc &&
                     fix.pos_acc_n < kPosAcc && fix.pos_acc_u < kPosAcc &&
                     fix.speed_acc < kSpeedAcc;
  // Zero stands for "unknown".
  return small && fix.vel_acc_e > 0.0F && fix.vel_acc_n > 0.0F && fix.vel_acc_u > 0.0F &&
         fix.pos_acc_e > 0.0F && fix.pos_acc_n > 0.0F && fix.pos_acc_u > 0.0F &&
         fix.speed_acc > 0.0F;
}

int insZuAlgo::vehicle_gnss_epoch(int stability, int tunnel) {
  if (vehicle_mode == 0) {
    if (gps_fix.speed > kVehicleSpeed && ins_init_enable == 1) vehicle_mode = 1;
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
  if (psi == 0.0 || ins_init_enable == 0 || moving == 0 || gps_fix.speed <= kAlignmentSpeed) return;

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

int insZuAlgo::raw_output() {
  loc_lon = gps_pos[0];
  loc_lat = gps_pos[1];
  return kRaw;
}

int insZuAlgo::pedestrian_gnss_epoch(double walking_speed, int vehicle_status) {
  if (pdr_started == 0) return vehicle_status;
  if (pdr_ready == 0) {
    if (ins_init_enable == 1 && step_detector.bout_step_count > kStepsToInitialise) {
      initialise_pedestrian_filter();
    }
    return vehicle_status;
  }
  PseudoSpeedUpdate(pdr_kf, walking_speed);
  double enu[3];
  G2M(pdr_origin, gps_pos, glv, enu);
  // No gate: a fix that failed the quality test is used with whatever accuracies it has.
  PdrGpsUpdate(pdr_kf, gps_fix, enu);
  publish(pdr_origin, pdr_east, pdr_north, pdr_height);
  return kUpdated;
}

void insZuAlgo::initialise_pedestrian_filter() {
  pdr_ready = 1;
  PdrInit(gps_fix);
  PdrKfInit(pdr_kf);
  std::copy_n(gps_pos, 3, pdr_origin);
  GlvInit(glv);
  pdr_flag = 1;
}

void insZuAlgo::publish(const double* reference, double east, double north, double up) {
  double ref[3] = {reference[0], reference[1], reference[2]};  // M2G leaves it in radians
  double enu[3] = {east, north, up};
  double llh[3];
  M2G(ref, enu, glv, llh);
  loc_lon = llh[0];
  loc_lat = llh[1];
}

void insZuAlgo::restart_pedestrian() {
  pdr_started = 0;
  PdrClear();
  step_detector.bout_step_count = 0;
}
