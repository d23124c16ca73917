// A phone's GNSS receiver: one fix a second with errors that are correlated in time and grow
// between houses, accuracies that know the errors' size but not the errors, latency, and the rows a
// host hands over while there is no fix (docs/event-log.md).
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "tools/logs/event_log.h"
#include "tools/simulation/local_frame.h"
#include "tools/simulation/random.h"
#include "tools/simulation/trajectory.h"

namespace zuvdr::tools {

// A row and when the host hands it over.
struct HandedOver {
  double time;  // s
  FixRow row;
};

class GnssReceiver {
 public:
  // latency: mean delay between a fix's time and its arrival, s, below half a second; single
  // delays lie within 50 % of it.
  GnssReceiver(const LocalFrame& frame, double latency, std::uint64_t seed);

  // All fixes and outage rows of a journey. `clock` turns seconds of the journey into time stamps.
  std::vector<HandedOver> observe(const Trajectory& trajectory,
                                  const std::function<std::int64_t(double)>& clock);

 private:
  // First-order Gauss-Markov process of unit variance.
  struct Drift {
    double value = 0.0;
    void advance(RandomStream& random, double interval, double time_constant);
  };

  GpsData fix(const Kinematics& now, double since_outage);

  LocalFrame frame_;
  double latency_;
  RandomStream errors_;
  RandomStream accuracies_;
  RandomStream delays_;
  double phase_;  // s, of the fixes
  std::array<Drift, 3> position_drift_;
  std::array<Drift, 3> velocity_drift_;
  double bearing_ = 0.0;  // degrees, last one shown
};

}  // namespace zuvdr::tools
