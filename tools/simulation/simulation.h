// Simulated event logs: everything a phone would hand the engine on a journey, with the truth.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/logs/event_log.h"
#include "tools/simulation/delivery.h"
#include "tools/simulation/scenario.h"

namespace zuvdr::tools {

struct SimulationOptions {
  RouteOptions route;
  double latitude = 48.2;             // of the start, degrees; keep the route in the north-east
  double longitude = 16.4;            // degrees
  double rate = 25.0;                 // of accelerometer and gyroscope, Hz
  double magnetometer_rate = 10.0;    // Hz
  double pressure_rate = 5.0;         // Hz
  std::optional<double> jitter = {};  // of sensor stamps, s (SampleClock)
  double latency = 0.15;              // mean delay of a fix, s, at most 0.4
  bool motion_only = false;           // accelerometer, gyroscope and steps, nothing else
  double begin = 0.0;                 // s of the journey that are over when the log begins
  DeliveryOptions delivery = {};
};

// The rows of the log in the order in which they are handed over. The same options give the same
// rows on every platform.
std::vector<EventRow> simulate(const SimulationOptions& options);

// What the header of the log says: "key: value" lines. `truth`: its format has rows for it.
std::vector<std::string> describe(const SimulationOptions& options, bool truth = true);

}  // namespace zuvdr::tools
