#include "kf/time_update.h"

#include <cstddef>

#include "kf/kf.h"
#include "kf/transition.h"
#include "nav/fixed_matrix.h"
#include "nav/ins.h"
#include "nav/vector3.h"

using zuvdr::kStates;

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
