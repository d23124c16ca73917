// Model, process noise and time update of the vehicle filter.
//
// Phi = I + F dt, blocks of 3 x 3 (C = Cnb, f = fn, d = 1 - dt/3600, everything else zero):
//
//              att      vel    pos    gyro b  acc b   mount
//   attitude   I                      -C dt
//   velocity   [f x]dt  I                     C dt
//   position            I dt   I
//   gyro bias                         d I
//   acc bias                                  d I
//   mounting                                          I
#include <algorithm>
#include <cstddef>

#include "kf/kf.h"
#include "nav/fixed_matrix.h"
#include "nav/ins.h"
#include "nav/vector3.h"

using zuvdr::kAccBias;
using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kMounting;
using zuvdr::kNoises;
using zuvdr::kPosition;
using zuvdr::kStates;
using zuvdr::kVelocity;

namespace {

constexpr double kTilt1Degree = 0.00030461741978670857;     // (1 deg)^2, rad^2
constexpr double kMounting5Degrees = 0.007615435494667714;  // (5 deg)^2, rad^2
constexpr double kHeading90Degrees = 2.4674011002723395;    // (90 deg)^2, rad^2
constexpr double kInitialP[kStates] = {
    kTilt1Degree,
    kTilt1Degree,
    kHeading90Degrees,  // attitude, rad^2
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
    kMounting5Degrees,
    kMounting5Degrees,
    kHeading90Degrees,  // mounting, rad^2
};
// Attitude, rad^2/s, and velocity, (m/s)^2/s; stands until the first QkCal.
constexpr double kInitialQ[6] = {1e-6, 1e-6, 1e-6, 0.00101735, 0.00068373, 0.00029099};
constexpr double kInitialVelocityR = 0.01;             // (m/s)^2
constexpr double kInitialPositionSigma = 10.0;         // m, made an angle by the earth's radius
constexpr double kBiasDecay = -0.0002777777777777778;  // 1/s, correlation time 3600 s

constexpr double kMotionNoise = 0.01;    // share of the signed reading that counts as noise
constexpr double kGyroNoise = 0.00023;   // rad/s/sqrt(Hz)
constexpr double kAccNoise = 0.0038;     // m/s^2/sqrt(Hz)
constexpr double kGyroBiasWalk = 1e-10;  // (rad/s)^2/s
constexpr double kAccBiasWalk = 1e-6;    // (m/s^2)^2/s
constexpr double kMountingWalk = 4e-8;   // rad^2/s

double square(double x) {
  return x * x;
}

}  // namespace

void KfInit(KF& kf, glvs& glv, double dt) {
  kf = KF{};
  for (std::size_t i = 0; i < kStates; ++i) kf.P[i * kStates + i] = kInitialP[i];
  for (std::size_t i = 0; i < 6; ++i) kf.Qk[i * kStates + i] = kInitialQ[i] * dt;
  const double position_variance = square(kInitialPositionSigma / static_cast<double>(glv.Re));
  for (std::size_t i = 0; i < 3; ++i) {
    kf.R[i * zuvdr::kRows + i] = kInitialVelocityR;
    kf.R[(i + 3) * zuvdr::kRows + i + 3] = position_variance;
  }
}

void kffk(INS& ins, KF& kf, double dt) {
  zuvdr::zero(kf.Phi);
  const auto phi = [&kf](std::size_t row, std::size_t column) -> double& {
    return kf.Phi[row * kStates + column];
  };
  for (std::size_t i = 0; i < kStates; ++i) {
    phi(i, i) = i >= kGyroBias && i < kMounting ? dt * kBiasDecay + 1.0 : 1.0;
  }
  for (std::size_t i = 0; i < 3; ++i) {
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

void QkUpdate(INS& ins, KF& kf, double* imu, double dt) {
  double G[kStates][kNoises] = {};
  double q[kNoises][kNoises] = {};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      G[kAttitude + i][j] = -ins.Cnb[3 * i + j];
      G[kVelocity + i][3 + j] = ins.Cnb[3 * i + j];
    }
    // The reading keeps its sign: the noise is smallest a little below zero, on purpose.
    q[i][i] = square(kMotionNoise * imu[i] + kGyroNoise);
    q[3 + i][3 + i] = square(kMotionNoise * imu[3 + i] + kAccNoise);
    q[6 + i][6 + i] = kGyroBiasWalk;
    q[9 + i][9 + i] = kAccBiasWalk;
    q[12 + i][12 + i] = kMountingWalk;
  }
  for (std::size_t k = 0; k < 9; ++k) G[kGyroBias + k][6 + k] = 1.0;
  QkCal(kf, G, q, dt);
}

void QkCal(KF& kf, double (*G)[15], double (*q)[15], double dt) {
  double g[kStates * kNoises];
  double densities[kNoises * kNoises];
  for (std::size_t i = 0; i < kStates; ++i) std::copy_n(G[i], kNoises, g + i * kNoises);
  for (std::size_t i = 0; i < kNoises; ++i) std::copy_n(q[i], kNoises, densities + i * kNoises);
  double phi_g[kStates * kNoises];
  double phi_g_q[kStates * kNoises];
  double g_q[kStates * kNoises];
  double m1[kStates * kStates];
  double m2[kStates * kStates];
  double m3[kStates * kStates];
  zuvdr::multiply<kStates, kStates, kNoises>(kf.Phi, g, phi_g);
  zuvdr::multiply<kStates, kNoises, kNoises>(phi_g, densities, phi_g_q);
  zuvdr::multiply_transposed<kStates, kNoises, kStates>(phi_g_q, g, m1);
  zuvdr::multiply<kStates, kNoises, kNoises>(g, densities, g_q);
  zuvdr::multiply_transposed<kStates, kNoises, kStates>(g_q, g, m2);
  zuvdr::multiply_transposed<kStates, kStates, kStates>(m2, kf.Phi, m3);
  for (std::size_t i = 0; i < kStates * kStates; ++i) kf.Qk[i] = (m1[i] + m3[i]) * dt * 0.5;
}

void KfPredict(KF& kf) {
  zuvdr::zero(kf.X);
  double phi_p[kStates * kStates];
  zuvdr::multiply<kStates, kStates, kStates>(kf.Phi, kf.P, phi_p);
  zuvdr::multiply_transposed<kStates, kStates, kStates>(phi_p, kf.Phi, kf.P);
  for (std::size_t i = 0; i < kStates * kStates; ++i) kf.P[i] += kf.Qk[i];
}
