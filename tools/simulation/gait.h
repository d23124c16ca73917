// The motion of a phone on a walker, relative to the walker's smooth path: a few harmonics of the
// stride for displacement and rotation, with the unevenness of real walking (docs/simulator.md).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tools/simulation/jet.h"
#include "tools/simulation/wander.h"

namespace zuvdr::tools {

enum class Carry { kHand, kPocket };

class Gait {
 public:
  // cadence: steps per second, on average over a long walk.
  Gait(Carry carry, double cadence, std::uint64_t seed);

  struct Motion {
    JetVector offset;  // right, forward, up, m
    JetVector angles;  // roll (right side down), pitch (front up), yaw (clockwise), rad
  };

  // activity: 0 standing, 1 walking; scales the whole motion.
  Motion at(double t, const Jet& activity) const;

  // Times in [begin, end) at which a foot strikes the ground if the walker walks, s.
  std::vector<double> footfalls(double begin, double end) const;

  double walking_speed() const;  // m/s

 private:
  Jet stride_phase(double t) const;  // rad; a foot strikes at every multiple of pi

  Carry carry_;
  double cadence_;
  Wander timing_;                  // rad of stride phase
  Wander vigour_;                  // relative amplitude of the displacement
  std::array<Wander, 3> swaying_;  // rad, slow rotation of the hand or the cloth
};

}  // namespace zuvdr::tools
