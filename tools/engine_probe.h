// What the C interface does not tell, read from the engine itself. The only place in tools/ that
// knows the engine's class; its answers change with every call that drives the engine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "ZuVDR.h"

namespace zuvdr::tools {

struct EngineProbe {
  std::int64_t last_epoch_time;  // of the epoch processed last, ns; 0 before the first
  std::size_t waiting_epochs;    // paired, not processed yet
  bool fix_accepted;             // the last fix passed the quality test
  bool converged;                // the vehicle solution counts as converged
  bool pedestrian_started;       // a bout of steps set the walker's propagation going
  bool pedestrian_ready;         // the walker's filter has been initialised
  int bout_steps;
  int total_steps;  // of all bouts that reached ten
};

EngineProbe probe_engine();

// The step detector's answer to one epoch.
struct DetectedEpoch {
  std::int64_t time_ns;
  bool step;
  int bout_steps;
  int total_steps;
};

// Files the event and pairs it as the engine does. When that completes an epoch, runs the step
// detector on it, and nothing else: no fix is needed to release the epoch.
std::optional<DetectedEpoch> detect_steps(const SensorData& event);

}  // namespace zuvdr::tools
