// The journeys that can be simulated.
#pragma once

#include <cstdint>

#include "tools/simulation/trajectory.h"

namespace zuvdr::tools {

enum class Scenario { kDrive, kWalk, kMixed };

struct RouteOptions {
  Scenario scenario = Scenario::kDrive;
  std::uint64_t seed = 1;
  double tunnel = 60.0;                // s in the tunnel; below 1 there is none
  Mounting car_mounting = {0, 75, 0};  // of the phone in the car
  Carry carry = Carry::kHand;          // where the walker has it
  double cadence = 1.85;               // steps/s
};

// Lengths, speeds and turns vary a little with the seed; the order of events does not.
Trajectory make_trajectory(const RouteOptions& options);

}  // namespace zuvdr::tools
