// What the networks learn from: motion-sensor epochs of one carried phone, with reference steps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/evaluation/step_matching.h"
#include "tools/logs/event_log.h"
#include "tools/simulation/scenario.h"

namespace zuvdr::training {

// s; stamps further apart than an int64 holds wrap.
inline double seconds_since(std::int64_t from_ns, std::int64_t to_ns) {
  const auto elapsed = static_cast<std::uint64_t>(to_ns) - static_cast<std::uint64_t>(from_ns);
  return static_cast<double>(static_cast<std::int64_t>(elapsed)) * 1e-9;
}

struct MotionEpoch {
  std::int64_t time_ns;
  float acc[3];  // m/s^2, gravity included
  float gyr[3];  // rad/s
};

// The data set of simulated journeys.
inline constexpr const char* kSimulatedSet = "simulated";

struct Recording {
  std::string name;
  std::string set;                 // data set
  std::string walker;              // who must be either trained on or not
  std::string position, activity;  // of the phone, of the walker; empty when the log does not tell
  std::vector<MotionEpoch> epochs;
  tools::StepSeries steps;    // declared: none; reference: none when nobody walks
  std::int64_t start_ns = 0;  // of the first sensor event

  bool walking() const { return !steps.reference.empty(); }

  double seconds(std::size_t epoch) const { return seconds_since(start_ns, epochs[epoch].time_ns); }
};

// Name of the group that a recording is judged in: its data set, or what that has of nobody
// walking.
inline std::string set_name(const Recording& recording) {
  return recording.set + (recording.walking() ? "" : ", nobody walks");
}

// Reads an event log and pairs its events as the engine does. Throws tools::InputError.
Recording read_recording(const std::string& path, const std::string& set);

// A simulated journey; the route's seed is the name.
Recording simulate_recording(const tools::RouteOptions& route);

// The same values in `factor` times the time, sampled at the interval of the original: another
// pace.
Recording warped(const Recording& recording, double factor);

}  // namespace zuvdr::training
