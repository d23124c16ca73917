// The journeys that can be simulated.
#pragma once

#include <cstdint>

#include "tools/simulation/trajectory.h"

namespace zuvdr::tools {

enum class Scenario { kDrive, kWalk, kMixed, kHandling };
enum class Road { kSmooth, kRough };
enum class Idle { kPetrol, kDiesel };

constexpr bool has_car(Scenario scenario) {
  return scenario == Scenario::kDrive || scenario == Scenario::kMixed;
}
constexpr bool has_walk(Scenario scenario) {
  return scenario == Scenario::kWalk || scenario == Scenario::kMixed;
}

struct RouteOptions {
  Scenario scenario = Scenario::kDrive;
  std::uint64_t seed = 1;
  double tunnel = 60.0;                // s in the tunnel; below 1 there is none
  Mounting car_mounting = {0, 75, 0};  // of the phone in the car
  Carry carry = Carry::kHand;          // where the walker has it
  double cadence = 1.85;               // steps/s
  Road road = Road::kSmooth;           // under the car
  Idle idle = Idle::kPetrol;           // at its stops; only a diesel moves it
  std::uint64_t walker = 0;            // who walks or handles the phone; 0: the average walker
};

// Lengths, speeds and turns vary a little with the seed. So does the order of events when the phone
// is handled, and in the walks of all but the average walker.
Trajectory make_trajectory(const RouteOptions& options);

}  // namespace zuvdr::tools
