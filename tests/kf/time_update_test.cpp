#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/textbook.h"

namespace {

using namespace zuvdr::tests;

// Standard deviations of the start. R is read by no update before it is set; hosts may look at it.
TEST(Start, KnowsWhatItDoesNotKnow) {
  constexpr double kDegree = 3.14159265358979323846 / 180.0, kDt = 0.04;
  glvs earth{};
  GlvInit(earth);
  KF kf = make_filter();
  KfInit(kf, earth, kDt);
  const double groups[6][3] = {{1.0 * kDegree, 1.0 * kDegree, 90.0 * kDegree},
                               {std::sqrt(1e-3), std::sqrt(1e-3), std::sqrt(1.5e-3)},
                               {10.0, 10.0, 10.0},
                               {2e-4, 2e-4, 2e-4},
                               {0.016, 0.016, 0.016},
                               {5.0 * kDegree, 5.0 * kDegree, 90.0 * kDegree}};
  const Matrix sigma = Matrix::diagonal(Matrix(groups[0], 18));
  EXPECT_LT(distance(kf.P, sigma * sigma), 1e-12);
  for (int i = 0; i < 3; ++i) {
    EXPECT_DOUBLE_EQ(kf.R[9 * i], 0.01);
    EXPECT_DOUBLE_EQ(kf.R[9 * (i + 3)], 10.0 / 6378137.0 * (10.0 / 6378137.0));
    EXPECT_DOUBLE_EQ(kf.Qk[19 * i], 1e-6 * kDt);
  }
}

// F = (Phi - I)/dt against what the mechanisation makes of a small error, in the limit of a short
// step. Only the decay of the biases is a model of the sensors, not of the mechanisation.
TEST(Transition, IsTheDerivativeOfTheMechanisation) {
  constexpr double kDt = 1e-4, kError = 1e-5;
  double imu[6] = {0.4, -0.3, 0.6, 2.0, -3.0, 8.5};
  const auto propagate = [&imu](INS ins) {
    qupdt3(ins, imu, 0.0);  // the attitude step remembers a rate: this navigator was turning before
    InsUpdate(ins, imu, kDt);
    return ins;
  };
  for (const int mode : {1, 2}) {
    const INS start = make_vehicle(mode, 0.4, -0.9, mode - 2.5);
    INS computed = propagate(start);
    KF kf = make_filter();
    kffk(computed, kf, kDt);
    Matrix F = 1.0 / kDt * (Matrix(kf.Phi, 18, 18) - Matrix::identity(18));
    for (int i = 9; i < 15; ++i) {
      EXPECT_NEAR(F(i, i), -1.0 / 3600.0, 1e-10);
      F(i, i) = 0.0;
    }
    for (int i = 0; i < 18; ++i) {
      const Matrix error = kError * Matrix::identity(18).part(0, i, 18);
      INS truth = start;
      correct(truth, error);
      const Matrix rate = 1.0 / (kError * kDt) * (error_of(computed, propagate(truth)) - error);
      EXPECT_LT((rate - F.part(0, i, 18)).norm(), 3e-3) << "state " << i << ", mode " << mode;
    }
  }
}

// Densities follow the signed readings and vanish at -0.023 rad/s and -0.38 m/s^2. The long step
// lets rotation and transition both show.
TEST(ProcessNoise, IsTheTrapezoidOfTheRotatedDensity) {
  constexpr double kDt = 0.5;
  INS ins = make_vehicle(2, 0.4, -0.9, 1.0);
  store(Matrix{1.1, -2.3, 10.2}, ins.fn);
  KF kf = make_filter();
  kffk(ins, kf, kDt);
  double imu[6] = {0.1, -0.023, -0.1, -0.38, -10.0, 10.0};
  QkUpdate(ins, kf, imu, kDt);
  const Matrix C = attitude(2, 0.4, -0.9, 1.0);
  const Matrix gyro = Matrix::diagonal({1.5129e-6, 0.0, 5.929e-7});
  const Matrix acc = Matrix::diagonal({0.0, 0.00925444, 0.01077444});
  Matrix q = Matrix::zero(18, 18);
  q.set_part(0, 0, C * gyro * C.transpose());
  q.set_part(3, 3, C * acc * C.transpose());
  q.set_part(9, 9, 1e-10 * Matrix::identity(3));
  q.set_part(12, 12, 1e-6 * Matrix::identity(3));
  q.set_part(15, 15, 4e-8 * Matrix::identity(3));
  const Matrix half = 0.5 * kDt * (Matrix(kf.Phi, 18, 18) * q);
  EXPECT_LT(distance(kf.Qk, half + half.transpose()), 1e-14 * half.norm());
}

TEST(Prediction, PropagatesTheCovarianceAndClearsTheEstimate) {
  INS ins = make_vehicle(1, -0.2, 0.7, 2.0);
  KF kf = make_filter();
  const Matrix Phi = Matrix::random(18, 18), Qk = Matrix::random(18, 18);
  store(Phi, kf.Phi);
  store(Qk, kf.Qk);
  KF updated = kf;
  const Matrix expected = Phi * Matrix(kf.P, 18, 18) * Phi.transpose() + Qk;
  KfPredict(kf);
  EXPECT_LT(distance(kf.P, expected), 1e-13);
  KfUpdate(ins, updated, nullptr, nullptr, false);
  EXPECT_LT(distance(updated.P, 0.5 * (expected + expected.transpose())), 1e-13);
  EXPECT_EQ(distance(updated.P, Matrix(updated.P, 18, 18).transpose()), 0.0);
  EXPECT_EQ(distance(kf.X, Matrix::zero(18)), 0.0);
  std::copy_n(kf.P, 324, updated.P);
  EXPECT_EQ(std::memcmp(&updated, &kf, sizeof(KF)), 0);
}

}  // namespace
