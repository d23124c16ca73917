// Drives the engine as a host does: through the C interface, one call for every row of a log.
#pragma once

#include <cstdint>
#include <optional>

#include "tools/evaluation/engine_probe.h"
#include "tools/logs/event_log.h"
#include "tools/logs/track.h"

namespace zuvdr::tools {

// What a fused position is.
enum class Output { kRaw, kVehicle, kWalker };

struct FixAnswer {
  TrackRow row;  // without truth
  Output output;
  bool converged;  // the vehicle solution counts as converged
  // What decides when the engine goes from state to state.
  EngineProbe engine = {};        // after the fix
  bool position_was_set = false;  // before the fix
  bool walker_started = false;    // before the fix
  double speed = 0.0;             // of the fix, m/s
  std::int64_t epochs_processed = 0;
  std::optional<std::int64_t> log_time_ns = {};  // the log's own time where the fix's is wild

  std::int64_t time_ns() const { return log_time_ns.value_or(row.time_ns); }
};

// The engine is one per process, so there should be one host.
class EngineHost {
 public:
  EngineHost();  // resets the engine

  void deliver(const SensorRow& row);
  FixAnswer deliver(const FixRow& row);

  std::int64_t epochs_processed() const;
  std::int64_t epochs_waiting() const;  // for a later fix

 private:
  std::int64_t epochs_paired_ = 0;
};

}  // namespace zuvdr::tools
