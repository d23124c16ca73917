#include "kf/transition.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "nav/ins.h"

using zuvdr::kAccBias;
using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kPosition;
using zuvdr::kStates;
using zuvdr::kVelocity;

namespace {

constexpr double kBiasDecay = -1.0 / 3600.0;  // 1/s, one over the correlation time

constexpr auto kIdentity = [] {
  std::array<double, kStates * kStates> identity{};
  for (std::size_t i = 0; i < kStates; ++i) identity[i * kStates + i] = 1.0;
  return identity;
}();

}  // namespace

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
