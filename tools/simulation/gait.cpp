#include "tools/simulation/gait.h"

#include <cmath>
#include <numbers>

namespace zuvdr::tools {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kDegree = kPi / 180.0;

// amplitude * cos(order * stride phase + phase)
struct Harmonic {
  int order;         // of the stride: 2 is once per step
  double amplitude;  // m or rad
  double phase;      // rad, 0: greatest at a foot strike
};

using Series = std::array<Harmonic, 4>;

// Amplitudes and phases follow from stride-harmonic fits to recorded walks; docs/simulator.md has
// the figures. Displacements are the accelerations divided by -(order * stride rate)^2.
struct Pattern {
  Series right, forward, up;
  Series roll, pitch, yaw;
  double pendulum;  // m from the joint that the phone swings about, 0: none
};

// Cadence that the displacements are given for, steps/s. They grow in proportion to the cadence,
// and the accelerations with its third power.
constexpr double kUsualCadence = 1.85;

constexpr Pattern kHand = {
    .right = {{{1, 0.018, 90 * kDegree}}},
    .forward = {{{2, 0.007, 60 * kDegree}, {4, 0.0008, -30 * kDegree}}},
    .up = {{{1, 0.003, 40 * kDegree},
            {2, -0.028, -34 * kDegree},
            {4, -0.0026, -72 * kDegree},
            {6, -0.0004, -149 * kDegree}}},
    .roll = {{{1, 0.045, 20 * kDegree}, {2, 0.015, 10 * kDegree}}},
    .pitch = {{{1, 0.012, 70 * kDegree},
               {2, 0.026, 100 * kDegree},
               {4, 0.010, 40 * kDegree},
               {6, 0.004, -60 * kDegree}}},
    .yaw = {{{1, 0.040, -60 * kDegree}, {2, 0.010, 0.0}}},
    .pendulum = 0.0,
};

constexpr Pattern kPocket = {
    .right = {{{1, 0.015, 90 * kDegree}, {3, 0.002, 0.0}}},
    .forward = {{{2, 0.006, 60 * kDegree}, {3, 0.0020, 30 * kDegree}, {4, 0.0010, 0.0}}},
    .up = {{{2, -0.020, -38 * kDegree},
            {3, -0.0016, -100 * kDegree},
            {4, -0.0012, 110 * kDegree},
            {6, -0.0004, 40 * kDegree}}},
    .roll = {{{1, 0.07, 170 * kDegree}, {2, 0.020, 140 * kDegree}}},
    .pitch = {{{1, 0.25, 35 * kDegree}, {2, 0.035, 180 * kDegree}, {3, 0.012, -60 * kDegree}}},
    .yaw = {{{1, 0.09, 100 * kDegree}, {2, 0.020, 200 * kDegree}}},
    .pendulum = 0.25,
};

Jet evaluate(const Series& series, const Jet& phase) {
  Jet sum;
  for (const Harmonic& harmonic : series) {
    if (harmonic.order == 0) break;  // unused entries of the table
    const Jet argument = harmonic.order * phase + constant(harmonic.phase);
    sum = sum + harmonic.amplitude * cos(argument);
  }
  return sum;
}

}  // namespace

// Timing: 0.12 rad of the stride is 2 % of a stride's duration between one and the next.
Gait::Gait(Carry carry, double cadence, std::uint64_t seed)
    : carry_(carry),
      cadence_(cadence),
      timing_(seed, "gait timing", 0.12, 0.04, 0.25),
      vigour_(seed, "gait vigour", 0.12, 0.10, 0.60),
      swaying_{Wander(seed, "gait roll", 0.03, 0.1, 0.7),
               Wander(seed, "gait pitch", 0.03, 0.1, 0.7),
               Wander(seed, "gait yaw", 0.03, 0.1, 0.7)} {}

// People lengthen their steps as they hasten: 0.40 m per step and Hz, 0.74 m at 1.85 Hz.
double Gait::walking_speed() const {
  return 0.40 * cadence_ * cadence_;
}

Jet Gait::stride_phase(double t) const {
  return Jet{kPi * cadence_ * t, kPi * cadence_, 0.0} + timing_.at(t);
}

Gait::Motion Gait::at(double t, const Jet& activity) const {
  const Pattern& pattern = carry_ == Carry::kHand ? kHand : kPocket;
  const Jet phase = stride_phase(t);
  const Jet scale = activity * (constant(1.0) + vigour_.at(t));

  Motion motion;
  motion.angles = {scale * evaluate(pattern.roll, phase) + activity * swaying_[0].at(t),
                   scale * evaluate(pattern.pitch, phase) + activity * swaying_[1].at(t),
                   scale * evaluate(pattern.yaw, phase) + activity * swaying_[2].at(t)};
  const Jet stretch = (cadence_ / kUsualCadence) * scale;
  motion.offset = {stretch * evaluate(pattern.right, phase),
                   stretch * evaluate(pattern.forward, phase),
                   stretch * evaluate(pattern.up, phase)};

  // Hanging below the joint, the phone goes forward as its lower end swings forward (front up).
  const Jet& swing = motion.angles[1];
  motion.offset[1] = motion.offset[1] + pattern.pendulum * sin(swing);
  motion.offset[2] = motion.offset[2] + pattern.pendulum * (constant(1.0) - cos(swing));
  return motion;
}

std::vector<double> Gait::footfalls(double begin, double end) const {
  std::vector<double> times;
  double step = std::ceil(stride_phase(begin).value / kPi);
  for (;; step += 1.0) {
    // The phase rises by pi * cadence on average and never falls; Newton converges in a few steps.
    double t = times.empty() ? begin : times.back() + 1.0 / cadence_;
    for (int iteration = 0; iteration < 8; ++iteration) {
      const Jet phase = stride_phase(t);
      t -= (phase.value - step * kPi) / phase.rate;
    }
    if (t >= end) return times;
    times.push_back(t);
  }
}

}  // namespace zuvdr::tools
