// The start of the vehicle filter.
#include "kf/kf.h"

#include <cstddef>

#include "nav/earth.h"

using zuvdr::kStates;

namespace {

constexpr double kTiltVariance = 0.00030461741978670857;    // (1 deg)^2, rad^2
constexpr double kMountingVariance = 0.007615435494667714;  // (5 deg)^2, rad^2
constexpr double kHeadingVariance = 2.4674011002723395;     // (90 deg)^2, rad^2
constexpr double kInitialP[kStates] = {
    kTiltVariance,
    kTiltVariance,
    kHeadingVariance,  // attitude, rad^2
    0.001,
    0.001,
    0.0015,  // velocity, (m/s)^2
    100.0,
    100.0,
    100.0,  // position, m^2
    4e-8,
    4e-8,
    4e-8,  // gyroscope bias, (rad/s)^2
    0.000256,
    0.000256,
    0.000256,  // accelerometer bias, (m/s^2)^2
    kMountingVariance,
    kMountingVariance,
    kHeadingVariance,  // mounting, rad^2
};
// Attitude, rad^2/s, and velocity, (m/s)^2/s; stands until the first process noise is computed.
constexpr double kInitialQ[6] = {1e-6, 1e-6, 1e-6, 0.00101735, 0.00068373, 0.00029099};
constexpr double kInitialVelocityR = 0.01;      // (m/s)^2
constexpr double kInitialPositionSigma = 10.0;  // m, made an angle by the earth's radius

}  // namespace

void KfInit(KF& kf, glvs& glv, double dt) {
  kf = KF{};
  for (std::size_t i = 0; i < kStates; ++i) kf.P[i * kStates + i] = kInitialP[i];
  for (std::size_t i = 0; i < 6; ++i) kf.Qk[i * kStates + i] = kInitialQ[i] * dt;
  const double position_sigma = kInitialPositionSigma / static_cast<double>(glv.Re);
  for (std::size_t i = 0; i < 3; ++i) {
    kf.R[i * zuvdr::kRows + i] = kInitialVelocityR;
    kf.R[(i + 3) * zuvdr::kRows + i + 3] = position_sigma * position_sigma;
  }
}
