#include "tools/simulation/engine_idle.h"

#include "nav/constants.h"
#include "tools/simulation/random.h"

namespace zuvdr::tools {
namespace {

constexpr double kSlowest = 12.5, kFastest = 14.5;  // Hz, 750 to 870 turns a minute
constexpr double kUnsteadiness = 0.2;               // rad rms, half a per cent of the idle speed

// Amplitudes at one order, a multiple of the crankshaft's frequency.
struct Harmonic {
  double order;
  Vector3 acceleration;  // right, forward, up, m/s^2
  Vector3 rate;          // roll, pitch, yaw, rad/s
};
// Cylinders that differ, imbalance, the firing of two cylinders a turn and its double. The engine
// lies across and rocks the car in pitch.
constexpr std::array<Harmonic, 4> kDiesel = {{
    {0.5, {0.01, 0.02, 0.03}, {0.0005, 0.0010, 0.0002}},
    {1.0, {0.03, 0.03, 0.06}, {0.0006, 0.0015, 0.0003}},
    {2.0, {0.08, 0.12, 0.25}, {0.0020, 0.0040, 0.0010}},
    {4.0, {0.03, 0.04, 0.08}, {0.0005, 0.0010, 0.0003}},
}};

}  // namespace

EngineIdle::EngineIdle(std::uint64_t seed)
    : unsteadiness_(seed, "idle unsteadiness", kUnsteadiness, 0.1, 0.5) {
  static_assert(kDiesel.size() == kOrders);
  RandomStream constants(seed, "idle constants");
  frequency_ = constants.uniform(kSlowest, kFastest);
  for (auto& order : phases_) {
    for (double& phase : order) phase = constants.uniform(-kPi, kPi);
  }
}

EngineIdle::Motion EngineIdle::at(double t, const Jet& activity) const {
  const double turning = kTwoPi * frequency_;  // rad/s
  const Jet crank = Jet{turning * t, turning, 0.0} + unsteadiness_.at(t);
  Motion motion;
  for (std::size_t index = 0; index < kOrders; ++index) {
    const Harmonic& harmonic = kDiesel[index];
    const double pulsation = harmonic.order * turning;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto wave = [&](std::size_t phase) {
        return activity * sin(harmonic.order * crank + constant(phases_[index][phase]));
      };
      const double shift = harmonic.acceleration[axis] / (pulsation * pulsation);
      const double turn = harmonic.rate[axis] / pulsation;
      motion.offset[axis] = motion.offset[axis] + shift * wave(axis);
      motion.angles[axis] = motion.angles[axis] + turn * wave(axis + 3);
    }
  }
  return motion;
}

}  // namespace zuvdr::tools
