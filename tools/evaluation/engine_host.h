// Drives the engine for a log, with the care of a host or without, and gathers what it answers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "ZuVDRHost.hpp"
#include "host/engine_probe.h"
#include "tools/logs/event_log.h"
#include "tools/logs/track.h"

namespace zuvdr::tools {

// Whether there is any care, or the calls are the plain ones.
bool is_careful(const HostOptions& options);

// What a fused position is.
enum class Output { kRaw, kVehicle, kWalker };

struct FixAnswer {
  TrackRow row;  // without truth
  Output output;
  bool converged;  // the vehicle solution counts as converged
  HostPosition position = {};
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
  // Resets the engine. Without care an answer comes in the call that hands the fix over.
  explicit EngineHost(std::function<void(const FixAnswer&)> answer,
                      const HostOptions& care = HostOptions::none());
  EngineHost(const EngineHost&) = delete;
  EngineHost& operator=(const EngineHost&) = delete;

  void deliver(const SensorRow& row) { host_.sensor(row.event); }
  void deliver(const FixRow& row) { host_.fix(row.fix, row.sample); }
  void flush() { host_.flush(); }  // at the end of a log

  const Host& host() const { return host_; }

  std::int64_t epochs_processed() const { return host_.epochs_processed(); }
  std::int64_t epochs_waiting() const { return host_.epochs_waiting(); }  // for a later fix

 private:
  std::function<void(const FixAnswer&)> answer_;
  Host host_;
};

}  // namespace zuvdr::tools
