// Process noise of the vehicle filter, Qk = dt/2 ((Phi G) q G^T + (G q G^T) Phi^T).
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "kf/block_algebra.h"
#include "kf/kf.h"
#include "kf/time_update.h"
#include "kf/transition.h"
#include "nav/fixed_matrix.h"
#include "nav/ins.h"

using zuvdr::kAccBias;
using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kMounting;
using zuvdr::kNoises;
using zuvdr::kPosition;
using zuvdr::kStates;
using zuvdr::kVelocity;
using zuvdr::Matrix3;
using zuvdr::State;
using zuvdr::Transition;
using zuvdr::Vector3;

namespace {

constexpr double kMotionNoise = 0.01;    // sqrt(s), of the signed reading
constexpr double kGyroNoise = 0.00023;   // rad/s/sqrt(Hz)
constexpr double kAccNoise = 0.0038;     // m/s^2/sqrt(Hz)
constexpr double kGyroBiasWalk = 1e-10;  // (rad/s)^2/s
constexpr double kAccBiasWalk = 1e-6;    // (m/s^2)^2/s
constexpr double kMountingWalk = 4e-8;   // rad^2/s

double square(double x) {
  return x * x;
}

// Densities of the process noise.
struct Densities {
  Vector3 gyro;  // rad^2/s, body
  Vector3 acc;   // (m/s)^2/s, body
};

// Qk = (a + b) dt/2 by blocks. G brings the noise of the gyroscope into the attitude (-C = -Cnb),
// that of the accelerometer into the velocity (C) and the walks w into biases and mounting (I).
// a = (Phi G) q G^T is, with Phi_rc the block of Phi in row r and column c, N = C q C^T of the
// gyroscope and A the same of the accelerometer:
//
//   a          att            vel        pos   gyro b     acc b      mount
//   attitude   N                               Phi_ag w
//   velocity   Phi_va C q C^T A                           Phi_vb w
//   position                  Phi_pv A
//   gyro bias                                  Phi_gg w
//   acc bias                                              Phi_bb w
//   mounting                                                         w
//
// and b = (G q G^T) Phi^T its transpose but for rounding. False when an element, or the sum of all
// of them, is not finite.
bool noise_in_blocks(const Transition& phi, const double* Cnb, const Densities& density, double dt,
                     double* Qk) {
  Matrix3 C;
  std::copy_n(Cnb, 9, C.e.begin());
  const Matrix3 C_transposed = transposed(C);
  // (Phi G) q G^T of one block; the signs of G cancel.
  const auto times_noise = [&C_transposed](const Matrix3& phi_g, const Vector3& q) {
    return scale_columns(phi_g, q) * C_transposed;
  };
  const Matrix3 N = times_noise(C, density.gyro);
  const Matrix3 A = times_noise(C, density.acc);
  const Matrix3 attitude_gyro_bias = kGyroBiasWalk * phi.attitude_gyro_bias;
  const Matrix3 velocity_acc_bias = kAccBiasWalk * phi.velocity_acc_bias;
  const Vector3 gyro_bias = kGyroBiasWalk * phi.gyro_bias;
  const Vector3 acc_bias = kAccBiasWalk * phi.acc_bias;

  std::fill_n(Qk, kStates * kStates, 0.0);
  double sum = 0.0;  // finite only if all its terms are
  // One row of a block: (a + b) dt/2.
  const auto put_row = [Qk, dt, &sum](std::size_t row, std::size_t column, double x, double y,
                                      double z) {
    double* q = Qk + row * kStates + column;
    q[0] = x * dt * 0.5;
    q[1] = y * dt * 0.5;
    q[2] = z * dt * 0.5;
    sum += q[0] + q[1] + q[2];
  };
  const auto put = [&put_row](State row, State column, const Matrix3& m) {
    put_row(row, column, m.e[0], m.e[1], m.e[2]);
    put_row(row + 1, column, m.e[3], m.e[4], m.e[5]);
    put_row(row + 2, column, m.e[6], m.e[7], m.e[8]);
  };
  put(kAttitude, kAttitude, N + N);
  put(kAttitude, kVelocity, N * transposed(phi.velocity_attitude));
  put(kAttitude, kGyroBias, attitude_gyro_bias);
  put(kVelocity, kAttitude, times_noise(phi.velocity_attitude * C, density.gyro));
  put(kVelocity, kVelocity, A + A);
  put(kVelocity, kPosition, scale_columns(A, phi.position_velocity));
  put(kVelocity, kAccBias, velocity_acc_bias);
  put(kPosition, kVelocity, times_noise(scale_rows(phi.position_velocity, C), density.acc));
  put(kGyroBias, kAttitude, transposed(attitude_gyro_bias));
  put(kGyroBias, kGyroBias, zuvdr::diagonal(gyro_bias + gyro_bias));
  put(kAccBias, kVelocity, transposed(velocity_acc_bias));
  put(kAccBias, kAccBias, zuvdr::diagonal(acc_bias + acc_bias));
  constexpr double kTwice = 2.0 * kMountingWalk;
  put(kMounting, kMounting, zuvdr::diagonal({kTwice, kTwice, kTwice}));
  return std::isfinite(sum);
}

void noise_dense(KF& kf, const double* Cnb, const Densities& density, double dt) {
  double G[kStates][kNoises] = {};
  double q[kNoises][kNoises] = {};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      G[kAttitude + i][j] = -Cnb[3 * i + j];
      G[kVelocity + i][3 + j] = Cnb[3 * i + j];
    }
    q[6 + i][6 + i] = kGyroBiasWalk;
    q[9 + i][9 + i] = kAccBiasWalk;
    q[12 + i][12 + i] = kMountingWalk;
  }
  q[0][0] = density.gyro.x;
  q[1][1] = density.gyro.y;
  q[2][2] = density.gyro.z;
  q[3][3] = density.acc.x;
  q[4][4] = density.acc.y;
  q[5][5] = density.acc.z;
  for (std::size_t k = 0; k < 9; ++k) G[kGyroBias + k][6 + k] = 1.0;
  QkCal(kf, G, q, dt);
}

}  // namespace

void zuvdr::update_process_noise(const INS& ins, KF& kf, const double* imu, double dt,
                                 const Transition* phi) {
  // The reading keeps its sign: tuned so, the noise is smallest a little below zero.
  const auto gyro = [imu](int i) { return square(kMotionNoise * imu[i] + kGyroNoise); };
  const auto acc = [imu](int i) { return square(kMotionNoise * imu[3 + i] + kAccNoise); };
  const Densities densities{{gyro(0), gyro(1), gyro(2)}, {acc(0), acc(1), acc(2)}};
  if (phi != nullptr && noise_in_blocks(*phi, ins.Cnb, densities, dt, kf.Qk)) return;
  noise_dense(kf, ins.Cnb, densities, dt);
}

void QkUpdate(INS& ins, KF& kf, double* imu, double dt) {
  const auto phi = Transition::of(kf.Phi);
  zuvdr::update_process_noise(ins, kf, imu, dt, phi ? &*phi : nullptr);
}

void QkCal(KF& kf, double (*G)[15], double (*q)[15], double dt) {
  double g[kStates * kNoises];
  double densities[kNoises * kNoises];
  for (std::size_t i = 0; i < kStates; ++i) std::copy_n(G[i], kNoises, g + i * kNoises);
  for (std::size_t i = 0; i < kNoises; ++i) std::copy_n(q[i], kNoises, densities + i * kNoises);
  double phi_g[kStates * kNoises];
  double phi_g_q[kStates * kNoises];
  double g_q[kStates * kNoises];
  double phi_noise[kStates * kStates];
  double noise[kStates * kStates];
  double noise_phi[kStates * kStates];
  zuvdr::multiply<kStates, kStates, kNoises>(kf.Phi, g, phi_g);
  zuvdr::multiply<kStates, kNoises, kNoises>(phi_g, densities, phi_g_q);
  zuvdr::multiply_transposed<kStates, kNoises, kStates>(phi_g_q, g, phi_noise);
  zuvdr::multiply<kStates, kNoises, kNoises>(g, densities, g_q);
  zuvdr::multiply_transposed<kStates, kNoises, kStates>(g_q, g, noise);
  zuvdr::multiply_transposed<kStates, kStates, kStates>(noise, kf.Phi, noise_phi);
  for (std::size_t i = 0; i < kStates * kStates; ++i) {
    kf.Qk[i] = (phi_noise[i] + noise_phi[i]) * dt * 0.5;
  }
}
