// What the C interface does not tell, read from the engine itself. The only place outside it that
// knows the engine's class; its answers change with every call that drives the engine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "ZuVDR.h"
#include "engine/insZuAlgo.h"
#include "host/vector.h"

namespace zuvdr {

struct EngineProbe {
  std::int64_t last_epoch_time;  // of the epoch processed last, ns; 0 before the first
  std::size_t waiting_epochs;    // paired, not processed yet
  bool fix_accepted;             // the last fix passed the quality test
  bool converged;                // the vehicle solution counts as converged
  bool pedestrian_started;       // a bout of steps set the walker's propagation going
  bool pedestrian_ready;         // the walker's filter has been initialised
  double pedestrian_speed;       // m/s
  bool long_quiet;               // the sensors stand still, for long enough to align
  bool moving;                   // they do not stand still
  bool navigator_ran;            // the vehicle navigator has run since the last reset
  double tilt_sigma;             // degrees; 0 before the navigator is aligned
  double east_velocity;          // of the vehicle, m/s
  double north_velocity;
  double position_sigma;      // of the vehicle, m: of the distance, not of an axis
  double velocity_sigma;      // of the vehicle, m/s: of both components together
  double pedestrian_heading;  // rad, counter-clockwise from north
  double pedestrian_sigma;    // m, as position_sigma
  int bout_steps;
  int total_steps;  // of all bouts that reached ten
};

EngineProbe probe_engine();

// What the sensors of a vehicle at rest show, by the attitude and biases that the navigator has; in
// the axes and the mirror in which the engine got its samples.
struct RestingSensors {
  Vector force;  // m/s^2
  Vector rate;   // rad/s
};
RestingSensors probe_resting_sensors();

// Files the event and pairs it as the engine does; no fix is needed to release the epoch that it
// completes.
std::optional<SensorEpoch> pair_epoch(const SensorData& event);

}  // namespace zuvdr
