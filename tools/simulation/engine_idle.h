// The shaking of a car at rest by its engine: harmonics of the crankshaft's turning that move body
// and phone, with exact derivatives (docs/simulator.md).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tools/simulation/jet.h"
#include "tools/simulation/wander.h"

namespace zuvdr::tools {

class EngineIdle {
 public:
  // A diesel of four cylinders. The seed draws its idle speed.
  explicit EngineIdle(std::uint64_t seed);

  struct Motion {
    JetVector offset;  // right, forward, up, m
    JetVector angles;  // roll (right side down), pitch (front up), yaw (clockwise), rad
  };

  // activity: 0 off or drowned by the road, 1 idling at rest; scales the whole motion.
  Motion at(double t, const Jet& activity) const;

 private:
  static constexpr std::size_t kOrders = 4;

  double frequency_;                                   // of the crankshaft, Hz
  Wander unsteadiness_;                                // rad of crank angle
  std::array<std::array<double, 6>, kOrders> phases_;  // rad; offset, angles
};

}  // namespace zuvdr::tools
