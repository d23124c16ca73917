// Updates without GNSS: zero velocity, non-holonomic constraint, gyroscope bias, tilt.
#include <cstddef>

#include "kf/feedback.h"
#include "kf/kf.h"
#include "kf/update_core.h"
#include "nav/attitude.h"
#include "nav/earth.h"
#include "nav/ins.h"
#include "nav/mounting.h"
#include "nav/vector3.h"

using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kStates;
using zuvdr::kVelocity;
using zuvdr::MeasurementMatrix;
using zuvdr::State;

namespace {

// Variances, used as they are (the GNSS update squares its values, these stand squared).
constexpr double kZeroVelocityR = 0.0001;       // (0.01 m/s)^2
constexpr double kNonHolonomicR = 0.05 * 0.05;  // (m/s)^2
constexpr double kGyroBiasR = 3e-4 * 3e-4;      // (rad/s)^2
constexpr double kTiltR = 0.0016;               // (0.04 rad)^2

// Clears X and runs the update with noise r on every row.
template <std::size_t m, State... observed>
void aid(KF& kf, const double (&z)[m], const MeasurementMatrix<m, observed...>& H, double r) {
  zuvdr::zero(kf.X);
  double R[m * m] = {};
  for (std::size_t i = 0; i < m; ++i) R[i * m + i] = r;
  double PHt[kStates * m];
  double S[m * m];
  double K[kStates * m];
  zuvdr::update_core(kf, z, H, {R, PHt, S, K});
}

}  // namespace

void ZUPT(KF& kf, INS& ins) {
  MeasurementMatrix<3, kVelocity> H;
  for (std::size_t k = 0; k < 3; ++k) H(k, kVelocity + k) = 1.0;
  const double z[3] = {ins.vn[0], ins.vn[1], ins.vn[2]};
  aid(kf, z, H, kZeroVelocityR);
  KfFeedback(ins, kf);
}

void NHC(KF& kf, INS& ins) {
  zuvdr::update_mounting_matrix(ins);
  MeasurementMatrix<2, kAttitude, kVelocity> H;
  double z[2];
  for (std::size_t k = 0; k < 2; ++k) {
    const double* m = ins.Cmount + 6 * k;  // rows 0 (sideways) and 2 (vertical)
    // The mounting is not observed: without GNSS it is held.
    zuvdr::vehicle_velocity_row(m, ins.vn, k, H);
    z[k] = zuvdr::dot(m, ins.vn);
  }
  aid(kf, z, H, kNonHolonomicR);
  KfFeedback(ins, kf);
}

void wBiasupdate(KF& kf, INS& ins, double* gyro) {
  MeasurementMatrix<3, kGyroBias> H;
  double z[3];
  for (std::size_t k = 0; k < 3; ++k) {
    H(k, kGyroBias + k) = 1.0;
    z[k] = gyro[k] - ins.eb[k];
  }
  aid(kf, z, H, kGyroBiasR);
  zuvdr::add_gyro_bias(ins, kf.X + kGyroBias);
}

void tiltupdate(KF& kf, INS& ins, double* acc) {
  double u[3];
  for (int i = 0; i < 3; ++i) u[i] = (acc[i] - ins.db[i]) / -zuvdr::kGravity;
  double computed[3] = {};
  double measured[2] = {};
  zuvdr::matrix_to_euler(ins.Cnb, ins.att_mode, computed);
  zuvdr::tilt_from_gravity(u, ins.att_mode, measured);
  const double z[2] = {computed[0] - measured[0], computed[1] - measured[1]};
  MeasurementMatrix<2, kAttitude> H;
  H(0, kAttitude) = 1.0;
  H(1, kAttitude + 1) = 1.0;
  aid(kf, z, H, kTiltR);
  // The innovation is -phi of the error state while H is +I: -X is the rotation. It is taken about
  // east and north, which pitch and roll are at yaw 0; elsewhere the zero velocity keeps the tilt.
  const double correction[3] = {-kf.X[kAttitude], -kf.X[kAttitude + 1], 0.0};
  zuvdr::rotate_attitude(ins, correction);
}
