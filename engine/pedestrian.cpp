// The walker's filter and history as members of the engine.
#include "engine/insZuAlgo.h"
#include "nav/clock.h"
#include "pdr/step_length.h"

namespace {

constexpr std::int64_t kPedestrianTimeout = 60000000001;  // ns: more than 60 s

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
