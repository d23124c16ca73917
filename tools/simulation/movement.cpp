#include "tools/simulation/movement.h"

#include <algorithm>
#include <cmath>

#include "nav/constants.h"

namespace zuvdr::tools {
namespace {

constexpr double kDamping = 0.2;  // of a ring, over the critical one

Jet rising(double elapsed, double duration) {
  if (elapsed <= 0.0) return {};
  return elapsed < duration ? blend(elapsed, duration, 0.0, 1.0) : constant(1.0);
}

}  // namespace

Jet Movement::strength(double t) const {
  const double elapsed = t - begin, left = duration - elapsed;
  if (elapsed <= 0.0 || left <= 0.0) return {};
  double rise = 0.5 * duration, fall = rise;
  if (shape == Shape::kWave) rise = fall = std::min(rise, 0.5 / frequency);
  if (shape == Shape::kRing) {
    rise = std::min(0.2 * duration, 0.25 / frequency);
    fall = 0.3 * duration;
  }
  const Jet end = rising(left, fall);
  return rising(elapsed, rise) * Jet{end.value, -end.rate, end.curvature};
}

Jet Movement::share(double t) const {
  if (shape == Shape::kShift) return rising(t - begin, duration);
  const Jet envelope = strength(t);
  if (shape == Shape::kBump || envelope.value == 0.0) return envelope;
  const Jet phase = {kTwoPi * frequency * (t - begin), kTwoPi * frequency, 0.0};
  const Jet wave = envelope * sin(phase);
  return shape == Shape::kRing ? wave * exp(-kDamping * phase) : wave;
}

Displacement displacement(const std::vector<Movement>& movements, double t, bool in_car,
                          const Jet& roughness) {
  Displacement sum{};
  for (const Movement& movement : movements) {
    if (t <= movement.begin) continue;
    const bool over = t >= movement.begin + movement.duration;
    if (over && movement.shape != Movement::Shape::kShift) continue;
    if (movement.of_road && !in_car) continue;
    Jet share = movement.share(t), strength = movement.strength(t);
    if (movement.of_road) {
      share = roughness * share;
      strength = roughness * strength;
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
      sum.offset[axis] = sum.offset[axis] + movement.offset[axis] * share;
      sum.angles[axis] = sum.angles[axis] + movement.turn[axis] * share;
    }
    sum.shaking += movement.shaking * strength.value;
  }
  return sum;
}

}  // namespace zuvdr::tools
