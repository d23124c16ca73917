#include "host/engine_probe.h"

#include <cmath>
#include <numbers>

#include "nav/constants.h"

namespace zuvdr {
namespace {

constexpr std::size_t kEastVelocity = kVelocity * (kStates + 1);
constexpr std::size_t kNorthVelocity = (kVelocity + 1) * (kStates + 1);
constexpr std::size_t kEast = kPosition * (kStates + 1);  // on the diagonal of P
constexpr std::size_t kNorth = (kPosition + 1) * (kStates + 1);

}  // namespace

EngineProbe probe_engine() {
  const insZuAlgo& engine = *minsZuAlgo;
  return {.last_epoch_time = engine.last_sensor_time,
          .waiting_epochs = engine.epoch_queue.size(),
          .fix_accepted = engine.ins_init_enable != 0,
          .converged = engine.gps_converged != 0,
          .pedestrian_started = engine.pdr_started != 0,
          .pedestrian_ready = engine.pdr_ready != 0,
          .pedestrian_speed = engine.pdr_speed,
          .long_quiet = engine.static_long != 0,
          .moving = engine.moving != 0,
          .navigator_ran = engine.ins_running != 0,
          .tilt_sigma = std::sqrt(engine.kf.P[0]) * 180.0 / std::numbers::pi,
          .east_velocity = engine.ins.vn[0],
          .north_velocity = engine.ins.vn[1],
          .position_sigma = std::sqrt(engine.kf.P[kEast] + engine.kf.P[kNorth]),
          .velocity_sigma = std::sqrt(engine.kf.P[kEastVelocity] + engine.kf.P[kNorthVelocity]),
          .pedestrian_heading = engine.pdr_heading,
          .pedestrian_sigma = std::sqrt(engine.pdr_kf.P[0] + engine.pdr_kf.P[5]),
          .bout_steps = engine.step_detector.bout_step_count,
          .total_steps = engine.step_detector.total_steps};
}

RestingSensors probe_resting_sensors() {
  const INS& ins = minsZuAlgo->ins;
  RestingSensors resting;
  for (std::size_t i = 0; i < 3; ++i) {
    resting.force[i] = kGravity * ins.Cnb[6 + i] + ins.db[i];  // Cnb^T (0, 0, g)
    resting.rate[i] = ins.eb[i];
  }
  return resting;
}

std::optional<SensorEpoch> pair_epoch(const SensorData& event) {
  if (minsZuAlgo->DataSort(event) == 0) return std::nullopt;
  const SensorEpoch epoch = minsZuAlgo->epoch_queue.front();
  minsZuAlgo->epoch_queue.pop_front();
  return epoch;
}

}  // namespace zuvdr
