#include "tools/simulation/gait.h"

#include <algorithm>
#include <cmath>

#include "nav/constants.h"
#include "tools/simulation/angles.h"
#include "tools/simulation/random.h"

namespace zuvdr::tools {
namespace {

constexpr double kPaceFrequency = 0.02;  // Hz, middle of the band in which the pace changes

// Amplitudes and phases follow from stride-harmonic fits to recorded walks; docs/simulator.md has
// the figures. Displacements are the accelerations divided by -(order * stride rate)^2. Waist,
// back, swing and jacket: the pelvis rises and falls by 4 cm and turns by some degrees, the arm
// swings by 20 degrees, the jacket hangs loose. Cadence that the displacements are given for,
// steps/s. The rise and fall of the body keeps its size at other cadences, so that its acceleration
// goes with their square. From the third harmonic on it is the accelerations that stay: foot
// strikes are no softer in slow walks.
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

constexpr Pattern kWaist = {
    .right = {{{1, 0.018, 90 * kDegree}, {3, 0.0012, 0.0}}},
    .forward = {{{2, 0.009, 60 * kDegree}, {4, 0.0014, -30 * kDegree}}},
    .up = {{{1, 0.003, 40 * kDegree},
            {2, -0.022, -36 * kDegree},
            {3, -0.0008, -100 * kDegree},
            {4, -0.0020, -60 * kDegree},
            {6, -0.0005, -100 * kDegree}}},
    .roll = {{{1, 0.07, 20 * kDegree}, {2, 0.02, 140 * kDegree}}},
    .pitch = {{{1, 0.04, 70 * kDegree}, {2, 0.035, 100 * kDegree}, {4, 0.010, 40 * kDegree}}},
    .yaw = {{{1, 0.09, -60 * kDegree}, {2, 0.02, 0.0}, {3, 0.008, 30 * kDegree}}},
    .pendulum = 0.0,
};

constexpr Pattern kBack = {
    .right = {{{1, 0.018, 90 * kDegree}, {3, 0.0012, 0.0}}},
    .forward = {{{2, 0.011, 60 * kDegree}, {4, 0.0016, -30 * kDegree}}},
    .up = {{{2, -0.021, -36 * kDegree}, {4, -0.0018, -70 * kDegree}, {6, -0.0004, -120 * kDegree}}},
    .roll = {{{1, 0.05, 20 * kDegree}}},
    .pitch = {{{2, 0.025, 100 * kDegree}, {4, 0.006, 40 * kDegree}}},
    .yaw = {{{1, 0.08, -60 * kDegree}, {3, 0.006, 30 * kDegree}}},
    .pendulum = 0.0,
};

constexpr Pattern kSwing = {
    .right = {{{1, 0.020, 90 * kDegree}}},
    .forward = {{{2, 0.008, 60 * kDegree}}},
    .up = {{{2, -0.021, -36 * kDegree}, {4, -0.0014, -70 * kDegree}, {6, -0.0003, -120 * kDegree}}},
    .roll = {{{1, 0.08, 60 * kDegree}, {2, 0.05, 0.0}}},
    .pitch = {{{1, 0.36, 15 * kDegree}, {2, 0.05, 120 * kDegree}, {3, 0.02, -60 * kDegree}}},
    .yaw = {{{1, 0.12, 40 * kDegree}, {2, 0.05, 80 * kDegree}}},
    .pendulum = 0.60,
};

constexpr Pattern kJacket = {
    .right = {{{1, 0.022, 90 * kDegree}, {3, 0.0015, 0.0}}},
    .forward = {{{1, 0.006, 0.0}, {2, 0.010, 45 * kDegree}, {4, 0.0010, -30 * kDegree}}},
    .up = {{{2, -0.022, -45 * kDegree}, {3, -0.0010, -100 * kDegree}, {4, -0.0014, -90 * kDegree}}},
    .roll = {{{1, 0.08, 0.0}, {2, 0.04, 60 * kDegree}}},
    .pitch = {{{1, 0.08, 45 * kDegree}, {2, 0.06, 120 * kDegree}, {3, 0.015, 0.0}}},
    .yaw = {{{1, 0.12, -40 * kDegree}, {2, 0.04, 20 * kDegree}}},
    .pendulum = 0.15,
};

const Pattern& usual_pattern(Carry carry) {
  switch (carry) {
    case Carry::kHand:
      return kHand;
    case Carry::kWaist:
      return kWaist;
    case Carry::kBack:
      return kBack;
    case Carry::kSwing:
      return kSwing;
    case Carry::kJacket:
      return kJacket;
    case Carry::kPocket:
      break;
  }
  return kPocket;
}

// Scatter from walker to walker: natural logarithm of amplitudes, 1 sigma; recorded pockets show
// 0.38 for the acceleration once per step, 0.6 to 0.7 beyond.
constexpr double kSlowSpread = 0.35;   // up to once per step
constexpr double kFastSpread = 0.60;   // from the third harmonic of the stride on
constexpr double kTwistSpread = 0.40;  // all rotations together
// The same time shift turns each harmonic's phase by its order.
constexpr double kPhaseSpread = 15.0 * kDegree;

double log_normal(RandomStream& random, double median, double spread) {
  return median * std::exp(spread * random.normal());
}

// most: greatest share of its usual size that a harmonic may reach.
void scatter(Series& series, RandomStream& random, double median, double most) {
  for (Harmonic& harmonic : series) {
    const double spread = harmonic.order <= 2 ? kSlowSpread : kFastSpread;
    harmonic.amplitude *= std::min(log_normal(random, median, spread), most);
    harmonic.phase += kPhaseSpread * harmonic.order * random.normal();
  }
}

// stretch: of the harmonics from the third on.
Jet evaluate(const Series& series, const Jet& phase, double stretch) {
  Jet sum;
  for (const Harmonic& harmonic : series) {
    if (harmonic.order == 0) break;
    const Jet argument = harmonic.order * phase + constant(harmonic.phase);
    const double amplitude = harmonic.amplitude * (harmonic.order <= 2 ? 1.0 : stretch);
    sum = sum + amplitude * cos(argument);
  }
  return sum;
}

}  // namespace

Person::Person(Carry carry, std::uint64_t walker) : pattern(usual_pattern(carry)) {
  if (walker == 0) return;
  RandomStream random(walker, "walker");
  timing = std::min(log_normal(random, 0.25, 0.35), 0.40);
  vigour = std::min(log_normal(random, 0.25, 0.25), 0.28);
  patience = 20.0;
  pace = random.uniform(0.01, 0.03);
  jolt = log_normal(random, 1.6, 0.4);
  limp = 0.04 * random.normal();
  const auto append = [&random](Series& series, int order, double amplitude) {
    const auto end = std::find_if(series.begin(), series.end(),
                                  [](const Harmonic& harmonic) { return harmonic.order == 0; });
    if (end != series.end()) *end = {order, amplitude, random.uniform(-kPi, kPi)};
  };
  // One leg treads harder than the other, and is felt more by a phone on its side.
  const bool central = carry == Carry::kHand || carry == Carry::kBack;
  append(pattern.up, 1, central ? 0.0035 : 0.008);
  append(pattern.up, 3, central ? 0.0009 : 0.0020);
  // People who look at the phone in their hand were recorded to tread harder than the average
  // walker, and the hand to nod at every step.
  const bool watching = carry == Carry::kHand;
  const double tread = watching ? 1.25 : 1.0;
  append(pattern.pitch, 2, watching ? 0.020 : 0.012);
  append(pattern.pitch, 4, watching ? 0.016 : 0.008);
  for (Series* series : {&pattern.right, &pattern.forward, &pattern.up}) {
    scatter(*series, random, tread, 4.0);
  }
  const double twist = log_normal(random, 1.0, kTwistSpread);
  for (Series* series : {&pattern.roll, &pattern.pitch, &pattern.yaw}) {
    scatter(*series, random, twist, 1.7);
  }
}

// Timing: 0.12 rad of the stride is 2 % of a stride's duration between one and the next.
Gait::Gait(Carry carry, double cadence, std::uint64_t walker, std::uint64_t seed)
    : person_(carry, walker),
      cadence_(cadence),
      timing_(seed, "gait timing", person_.timing, 0.04, 0.25),
      // The phase changes 2 pi f times as fast as it swings.
      pace_(seed, "gait pace", person_.pace * cadence / (2.0 * kPaceFrequency),
            0.5 * kPaceFrequency, 1.5 * kPaceFrequency),
      vigour_(seed, "gait vigour", person_.vigour, 1.0 / person_.patience, 6.0 / person_.patience),
      swaying_{Wander(seed, "gait roll", 0.03, 0.1, 0.7),
               Wander(seed, "gait pitch", 0.03, 0.1, 0.7),
               Wander(seed, "gait yaw", 0.03, 0.1, 0.7)} {}

// People lengthen their steps as they hasten: 0.40 m per step and Hz, 0.74 m at 1.85 Hz.
double Gait::walking_speed() const {
  return 0.40 * cadence_ * cadence_;
}

Jet Gait::pace(double t) const {
  return constant(1.0) + (1.0 / (kPi * cadence_)) * derivative(pace_.at(t));
}

Jet Gait::stride_phase(double t) const {
  const Jet even = Jet{kPi * cadence_ * t, kPi * cadence_, 0.0} + timing_.at(t) + pace_.at(t);
  return even + person_.limp * cos(even);
}

Gait::Motion Gait::at(double t, const Jet& activity) const {
  const Pattern& pattern = person_.pattern;
  const Jet phase = stride_phase(t);
  const Jet scale = activity * (constant(1.0) + vigour_.at(t));

  Motion motion;
  motion.angles = {scale * evaluate(pattern.roll, phase, 1.0) + activity * swaying_[0].at(t),
                   scale * evaluate(pattern.pitch, phase, 1.0) + activity * swaying_[1].at(t),
                   scale * evaluate(pattern.yaw, phase, 1.0) + activity * swaying_[2].at(t)};
  const double stretch = (kUsualCadence * kUsualCadence) / (cadence_ * cadence_);
  motion.offset = {scale * evaluate(pattern.right, phase, stretch),
                   scale * evaluate(pattern.forward, phase, stretch),
                   scale * evaluate(pattern.up, phase, stretch)};

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
