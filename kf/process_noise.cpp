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

constexpr double kMotionNoise = 0.01;    // share of the signed reading that counts as noise
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

// Qk by blocks. m1 = (Phi G) q G^T is (C = Cnb, F = the block of Phi from attitude to velocity, N
// and A = C q C^T of the gyroscope and of the accelerometer, w = the walk of the column's state,
// d = the decay of the biases):
//
//   m1         att         vel    pos   gyro b  acc b   mount
//   attitude   N                        Phi w
//   velocity   F C q C^T   A                    Phi w
//   position               dt A
//   gyro bias                           d w
//   acc bias                                    d w
//   mounting                                            w
//
// and m3 = (G q G^T) Phi^T is the transpose of that but for rounding.
// False when something came out that is not finite.
bool noise_in_blocks(const Transition& phi, const double* Cnb, const Densities& density, double dt,
                     double* Qk) {
  Matrix3 C;
  std::copy_n(Cnb, 9, C.e.begin());
  const Matrix3 C_transposed = transposed(C);
  const auto rotated = [&C_transposed](const Matrix3& phi_g, const Vector3& q) {
    return scale_columns(phi_g, q) * C_transposed;
  };
  const Matrix3 N = rotated(C, density.gyro);
  const Matrix3 A = rotated(C, density.acc);
  const Matrix3 attitude_gyro_bias = kGyroBiasWalk * phi.attitude_gyro_bias;
  const Matrix3 velocity_acc_bias = kAccBiasWalk * phi.velocity_acc_bias;

  std::fill_n(Qk, kStates * kStates, 0.0);
  double sum = 0.0;  // finite only if all its terms are
  // m1 + m3 of one block.
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
  put(kVelocity, kAttitude, rotated(phi.velocity_attitude * C, density.gyro));
  put(kVelocity, kVelocity, A + A);
  put(kVelocity, kPosition, scale_columns(A, phi.position_velocity));
  put(kVelocity, kAccBias, velocity_acc_bias);
  put(kPosition, kVelocity, rotated(scale_rows(phi.position_velocity, C), density.acc));
  put(kGyroBias, kAttitude, transposed(attitude_gyro_bias));
  put(kGyroBias, kGyroBias, zuvdr::diagonal(2.0 * kGyroBiasWalk * phi.gyro_bias));
  put(kAccBias, kVelocity, transposed(velocity_acc_bias));
  put(kAccBias, kAccBias, zuvdr::diagonal(2.0 * kAccBiasWalk * phi.acc_bias));
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
  // The reading keeps its sign: the noise is smallest a little below zero, on purpose.
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
  const double* g = G[0];
  const double* density = q[0];
  double phi_g[kStates * kNoises];
  double phi_g_q[kStates * kNoises];
  double g_q[kStates * kNoises];
  double m1[kStates * kStates];
  double m2[kStates * kStates];
  double m3[kStates * kStates];
  zuvdr::multiply<kStates, kStates, kNoises>(kf.Phi, g, phi_g);
  zuvdr::multiply<kStates, kNoises, kNoises>(phi_g, density, phi_g_q);
  zuvdr::multiply_transposed<kStates, kNoises, kStates>(phi_g_q, g, m1);
  zuvdr::multiply<kStates, kNoises, kNoises>(g, density, g_q);
  zuvdr::multiply_transposed<kStates, kNoises, kStates>(g_q, g, m2);
  zuvdr::multiply_transposed<kStates, kStates, kStates>(m2, kf.Phi, m3);
  for (std::size_t i = 0; i < kStates * kStates; ++i) kf.Qk[i] = (m1[i] + m3[i]) * dt * 0.5;
}
