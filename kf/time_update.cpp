// Start, transition and prediction of the vehicle filter.
#include <algorithm>
#include <array>
#include <cstddef>

#include "kf/kf.h"
#include "kf/time_update.h"
#include "kf/transition.h"
#include "nav/fixed_matrix.h"
#include "nav/ins.h"
#include "nav/vector3.h"

using zuvdr::kAccBias;
using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kPosition;
using zuvdr::kStates;
using zuvdr::kVelocity;

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
constexpr double kBiasDecay = -1.0 / 3600.0;    // 1/s, one over the correlation time

constexpr auto kIdentity = [] {
  std::array<double, kStates * kStates> identity{};
  for (std::size_t i = 0; i < kStates; ++i) identity[i * kStates + i] = 1.0;
  return identity;
}();

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

void kffk(INS& ins, KF& kf, double dt) {
  std::copy_n(kIdentity.data(), kIdentity.size(), kf.Phi);
  const auto phi = [&kf](std::size_t row, std::size_t column) -> double& {
    return kf.Phi[row * kStates + column];
  };
  const double decay = dt * kBiasDecay + 1.0;
  for (std::size_t i = 0; i < 3; ++i) {
    phi(kGyroBias + i, kGyroBias + i) = decay;
    phi(kAccBias + i, kAccBias + i) = decay;
    for (std::size_t j = 0; j < 3; ++j) {
      phi(kAttitude + i, kGyroBias + j) = -ins.Cnb[3 * i + j] * dt;
      phi(kVelocity + i, kAccBias + j) = ins.Cnb[3 * i + j] * dt;
    }
    phi(kPosition + i, kVelocity + i) = dt;
  }
  const double* f = ins.fn;
  phi(kVelocity, kAttitude + 1) = -f[2] * dt;
  phi(kVelocity, kAttitude + 2) = f[1] * dt;
  phi(kVelocity + 1, kAttitude) = f[2] * dt;
  phi(kVelocity + 1, kAttitude + 2) = -f[0] * dt;
  phi(kVelocity + 2, kAttitude) = -f[1] * dt;
  phi(kVelocity + 2, kAttitude + 1) = f[0] * dt;
}

void zuvdr::propagate_covariance(const KF& kf, const Transition* phi, double* __restrict out) {
  double phi_p[kStates * kStates];
  if (phi != nullptr) {
    // Phi times every column of P, then times every row of the result.
    for (std::size_t j = 0; j < kStates; ++j) phi->apply<kStates>(kf.P + j, phi_p + j);
    for (std::size_t i = 0; i < kStates; ++i) phi->apply<1>(phi_p + i * kStates, out + i * kStates);
    if (all_finite<kStates>(out)) return;
  }
  multiply<kStates, kStates, kStates>(kf.Phi, kf.P, phi_p);
  multiply_transposed<kStates, kStates, kStates>(phi_p, kf.Phi, out);
}

void KfPredict(KF& kf) {
  zuvdr::zero(kf.X);
  const auto phi = zuvdr::Transition::of(kf.Phi);
  double propagated[kStates * kStates];
  zuvdr::propagate_covariance(kf, phi ? &*phi : nullptr, propagated);
  zuvdr::add<kStates>(propagated, kf.Qk, kf.P);
}

void zuvdr::time_update(INS& ins, KF& kf, const double* imu, double dt) {
  kffk(ins, kf, dt);
  const Transition phi(kf.Phi);
  update_process_noise(ins, kf, imu, dt, &phi);
  zero(kf.X);
  double propagated[kStates * kStates];
  propagate_covariance(kf, &phi, propagated);
  const double* Qk = kf.Qk;
  store_symmetric<kStates>([&propagated, Qk](std::size_t k) { return propagated[k] + Qk[k]; },
                           kf.P);
}
