// The motion of a phone on a walker, relative to the walker's smooth path: a few harmonics of the
// stride for displacement and rotation, with the unevenness of real walking (docs/simulator.md).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tools/simulation/jet.h"
#include "tools/simulation/wander.h"

namespace zuvdr::tools {

// Where the walker has the phone: held before the body, trouser pocket, belt, lower back or small
// rucksack, hand of a swinging arm, jacket pocket.
enum class Carry { kHand, kPocket, kWaist, kBack, kSwing, kJacket };

// amplitude * cos(order * stride phase + phase)
struct Harmonic {
  int order = 0;           // of the stride: 2 is once per step; 0 ends a series
  double amplitude = 0.0;  // m or rad
  double phase = 0.0;      // rad, 0: greatest at a foot strike
};

using Series = std::array<Harmonic, 6>;

struct Pattern {
  Series right, forward, up;  // m
  Series roll, pitch, yaw;    // rad
  double pendulum;            // m from the joint that the phone swings about, 0: none
};

// How a person walks with the phone at one place.
struct Person {
  Pattern pattern;
  double limp = 0.0;       // rad of stride phase by which every second foot strike is early or late
  double timing = 0.12;    // rad rms, unevenness of the stride phase
  double vigour = 0.12;    // relative rms, unevenness of the strength
  double pace = 0.0;       // relative rms of slow changes of the cadence
  double patience = 10.0;  // s, period of the slowest change of vigour
  double jolt = 1.0;       // strength of the footfalls' jolts

  // Walker 0 is the average one; any other number is a person of its own.
  Person(Carry carry, std::uint64_t walker);
};

class Gait {
 public:
  // cadence: steps per second, on average over a long walk. The walker is a person, the seed one
  // walk of that person.
  Gait(Carry carry, double cadence, std::uint64_t walker, std::uint64_t seed);

  struct Motion {
    JetVector offset;  // right, forward, up, m
    JetVector angles;  // roll (right side down), pitch (front up), yaw (clockwise), rad
  };

  // activity: 0 standing, 1 walking; scales the whole motion.
  Motion at(double t, const Jet& activity) const;

  // Times in [begin, end) at which a foot strikes the ground if the walker walks, s.
  std::vector<double> footfalls(double begin, double end) const;

  double walking_speed() const;  // m/s, on average

  // Momentary cadence over its average; value and rate only.
  Jet pace(double t) const;

  double jolt() const { return person_.jolt; }

 private:
  Jet stride_phase(double t) const;  // rad; a foot strikes at every multiple of pi

  Person person_;
  double cadence_;
  Wander timing_;                  // rad of stride phase
  Wander pace_;                    // rad of stride phase, slower
  Wander vigour_;                  // relative amplitude of the displacement
  std::array<Wander, 3> swaying_;  // rad, slow rotation of the hand or the cloth
};

}  // namespace zuvdr::tools
