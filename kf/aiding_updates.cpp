// Updates without GNSS: zero velocity, non-holonomic constraint, gyroscope bias, tilt.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "kf/kf.h"
#include "kf/update_core.h"
#include "nav/attitude.h"
#include "nav/constants.h"
#include "nav/ins.h"

using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kStates;
using zuvdr::kVelocity;

namespace {

// Variances, used as they are (the GNSS update squares its values, these stand squared).
constexpr double kZeroVelocityR = 0.0001;                 // (0.01 m/s)^2
constexpr double kNonHolonomicR = 0.0025000000000000005;  // (0.05 m/s)^2
constexpr double kGyroBiasR = 8.999999999999999e-08;      // (3e-4 rad/s)^2
constexpr double kTiltR = 0.0016;                         // (0.04 rad)^2

// Clears X and runs the update with noise r on every row; H is m x 18.
template <std::size_t m>
void aid(KF& kf, const double (&z)[m], const double (&H)[m * kStates], double r) {
  std::fill(std::begin(kf.X), std::end(kf.X), 0.0);
  double R[m * m] = {};
  for (std::size_t i = 0; i < m; ++i) R[i * m + i] = r;
  double PHt[kStates * m];
  double S[m * m];
  double K[kStates * m];
  zuvdr::update_core<m>(kf, z, H, {R, PHt, S, K});
}

}  // namespace

void ZUPT(KF& kf, INS& ins) {
  double H[3 * kStates] = {};
  for (std::size_t k = 0; k < 3; ++k) H[k * kStates + kVelocity + k] = 1.0;
  const double z[3] = {ins.vn[0], ins.vn[1], ins.vn[2]};
  aid<3>(kf, z, H, kZeroVelocityR);
  KfFeedback(ins, kf);
}

void NHC(KF& kf, INS& ins) {
  zuvdr::update_mounting_matrix(ins);
  double H[2 * kStates] = {};
  double z[2];
  for (std::size_t k = 0; k < 2; ++k) {
    const double* m = ins.Cmount + 6 * k;  // rows 0 (sideways) and 2 (vertical)
    // The mounting columns stay zero: without GNSS the mounting is held.
    zuvdr::vehicle_velocity_row(m, ins.vn, H + k * kStates);
    z[k] = m[0] * ins.vn[0] + m[1] * ins.vn[1] + m[2] * ins.vn[2];
  }
  aid<2>(kf, z, H, kNonHolonomicR);
  KfFeedback(ins, kf);
}

void wBiasupdate(KF& kf, INS& ins, double* gyro) {
  double H[3 * kStates] = {};
  double z[3];
  for (std::size_t k = 0; k < 3; ++k) {
    H[k * kStates + kGyroBias + k] = 1.0;
    z[k] = gyro[k] - ins.eb[k];
  }
  aid<3>(kf, z, H, kGyroBiasR);
  for (std::size_t k = 0; k < 3; ++k) ins.eb[k] += kf.X[kGyroBias + k];
}

void tiltupdate(KF& kf, INS& ins, double* acc) {
  // At rest a is minus the third row of Cnb.
  double a[3];
  for (int i = 0; i < 3; ++i) a[i] = (acc[i] - ins.db[i]) / -zuvdr::kGravity;
  const double* C = ins.Cnb;
  double z[2] = {0.0, 0.0};
  if (ins.att_mode == 2) {
    z[0] = std::asin(C[7]) - std::atan2(-a[1], std::sqrt(a[0] * a[0] + a[2] * a[2]));
    z[1] = std::atan2(-C[6], C[8]) - std::atan2(a[0], -a[2]);
  } else if (ins.att_mode == 1) {
    z[0] = std::atan2(C[7], C[8]) - std::atan2(-a[1], -a[2]);
    z[1] = std::asin(-C[6]) - std::atan2(a[0], std::sqrt(a[1] * a[1] + a[2] * a[2]));
  }
  double H[2 * kStates] = {};
  H[kAttitude] = 1.0;
  H[kStates + kAttitude + 1] = 1.0;
  aid<2>(kf, z, H, kTiltR);
  // The measurement is computed minus true, so the correction enters with the opposite sign.
  const double correction[3] = {-kf.X[kAttitude], -kf.X[kAttitude + 1], 0.0};
  qdelphi(ins.qnb, correction);
  attsyn(ins.qnb, ins);
}
