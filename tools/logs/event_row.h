// The rows of an event log (docs/event-log.md).
#pragma once

#include <cstdint>
#include <variant>

#include "ZuVDR.h"

namespace zuvdr::tools {

// S row: one UpdateLocationbySensorEvent.
struct SensorRow {
  SensorData event;
};

// G row: one SyncGPSEventforFusion, then one UpdateLocationbyGPSEvent(sample).
struct FixRow {
  GpsData fix;
  int sample;  // 0: healthy fix, non-zero: epoch without one
};

// T row: true position, never handed to the engine. Degrees, metres, m/s; angles in degrees.
// Fields the row does not carry are NaN.
struct TruthRow {
  std::int64_t time_ns;
  double latitude;
  double longitude;
  double altitude;
  double velocity[3];  // east, north, up
  double attitude[3];  // roll, pitch, yaw
};

// P row: the walker's foot struck the ground. Never handed to the engine.
struct StepRow {
  std::int64_t time_ns;
};

using EventRow = std::variant<SensorRow, FixRow, TruthRow, StepRow>;

}  // namespace zuvdr::tools
