// The walker: detection of his steps, his history, propagation and fixes, what starts and ends him.
#include <algorithm>

#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "engine/output_status.h"
#include "nav/clock.h"
#include "nav/earth.h"
#include "nav/geodesy.h"
#include "pdr/step_length.h"

namespace {

constexpr std::int64_t kPedestrianTimeout = 60000000001;  // ns: more than 60 s
constexpr std::int32_t kStepsToInitialise = 10;           // in the bout, more than these

}  // namespace

zuvdr::PedestrianSolution insZuAlgo::pedestrian() {
  return {pdr_east, pdr_north, pdr_heading, pdr_speed};
}

void insZuAlgo::PdrKfInit(PDRKF& filter) {
  zuvdr::init_pedestrian_filter(filter);
}

void insZuAlgo::PdrInit(GpsData& fix) {
  zuvdr::seed_from_fix(pedestrian(), fix);
}

void insZuAlgo::PdrUpdate(double dt) {
  zuvdr::advance(pedestrian(), dt);
}

void insZuAlgo::PdrKfPredit(PDRKF& filter, double dt) {
  zuvdr::predict_covariance(filter, pedestrian(), dt);
}

void insZuAlgo::PseudoSpeedUpdate(PDRKF& filter, double speed) {
  zuvdr::update_with_speed(filter, pedestrian(), speed);
}

void insZuAlgo::PdrGpsUpdate(PDRKF& filter, GpsData& fix, double* position) {
  zuvdr::update_with_fix(filter, pedestrian(), fix, position);
}

bool insZuAlgo::PdrStatus(long t) {
  return last_step_time_ns == 0 || zuvdr::elapsed_ns(t, last_step_time_ns) < kPedestrianTimeout;
}

void insZuAlgo::PdrDataSort(double* sample, long t, int step) {
  if (pdr_time.size() >= zuvdr::kPedestrianHistory) {
    pdr_acc_x.pop_front();
    pdr_acc_y.pop_front();
    pdr_acc_z.pop_front();
    pdr_time.pop_front();
    pdr_step_flags.pop_front();
  }
  pdr_acc_x.push_back(sample[3]);
  pdr_acc_y.push_back(sample[4]);
  pdr_acc_z.push_back(sample[5]);
  pdr_time.push_back(t);
  pdr_step_flags.push_back(step);
  pdr_window_len = static_cast<std::int64_t>(pdr_time.size());
  if (step != 0) last_step_time_ns = t;
}

void insZuAlgo::pedestrian_sensor_epoch(double* imu, double dt) {
  const std::int64_t t = cur_epoch.time_ns;
  sns_oem_step_detector_StateMachine(static_cast<unsigned long long>(t), cur_epoch.acc,
                                     cur_epoch.gyr, &step_detector);
  PdrDataSort(imu, t, step_detector.step_flag);
  if (!PdrStatus(t)) {
    restart_pedestrian();
    pdr_flag = 0;
  }
  if (pdr_started == 0) {
    if (step_detector.bout_step_count >= zuvdr::kStepsToStart) pdr_started = 1;
  } else if (pdr_ready != 0) {
    PdrUpdate(dt);
    PdrKfPredit(pdr_kf, dt);
  }
}

int insZuAlgo::pedestrian_gnss_epoch(int sample, int vehicle_status) {
  const int stability = PdrStability(sample);
  if (stability == 0 || gps_fix.speed > zuvdr::kVehicleSpeed ||
      gps_fix.speed < zuvdr::kSlowestWalk) {
    restart_pedestrian();
  }
  int history_length = static_cast<int>(pdr_window_len);
  double gnss_speed = gps_fix.speed;
  const double walking_speed = step_speed(pdr_acc_x, pdr_acc_y, pdr_acc_z, pdr_time, pdr_step_flags,
                                          history_length, gnss_speed);
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
  return zuvdr::kUpdated;
}

void insZuAlgo::initialise_pedestrian_filter() {
  pdr_ready = 1;
  PdrInit(gps_fix);
  PdrKfInit(pdr_kf);
  std::copy_n(gps_pos, 3, pdr_origin);
  GlvInit(glv);
  pdr_flag = 1;
}

void insZuAlgo::restart_pedestrian() {
  pdr_started = 0;
  PdrClear();
  step_detector.bout_step_count = 0;
}
