#include "nav/ins.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/textbook.h"

namespace {

using namespace zuvdr::tests;
constexpr double kG = 9.80665;  // m/s^2

void step(INS& ins, const Matrix& gyro, const Matrix& acc, double dt) {
  double imu[6] = {gyro[0], gyro[1], gyro[2], acc[0], acc[1], acc[2]};
  InsUpdate(ins, imu, dt);
}

// Without rotation the trapezoid is exact: rest, free fall and a push are parabolas. Biases are
// added to what the sensors show.
TEST(Mechanisation, ConstantAccelerationIsAParabola) {
  const Matrix eb{0.01, -0.02, 0.03}, db{0.2, -0.1, 0.05}, start{3.0, 20.0, -1.0};
  for (const Matrix& f_n : {Matrix{0, 0, kG}, Matrix{0, 0, 0}, Matrix{1.5, -0.7, 10.0}}) {
    const Matrix C = attitude(1, 0.4, -1.1, 2.0);
    const Matrix a_n = f_n - Matrix{0, 0, kG}, f_b = C.transpose() * f_n;
    INS ins = navigator(1, C);
    store(eb, ins.eb);
    store(db, ins.db);
    store(start, ins.vn);
    for (int i = 0; i < 250; ++i) step(ins, eb, f_b + db, 0.04);
    EXPECT_LT(distance(ins.vn, start + 10.0 * a_n), 1e-11);
    EXPECT_LT(distance(ins.pos, 10.0 * start + 50.0 * a_n), 1e-10);
    EXPECT_LT(distance(ins.Cnb, C), 1e-13);
    EXPECT_LT(distance(ins.fb, f_b), 1e-13);
    EXPECT_LT(distance(ins.fn, f_n), 1e-13);
    EXPECT_LT(distance(ins.wb, Matrix::zero(3)), 1e-15);
    EXPECT_LT(distance(ins.an, {0.0, 0.0, a_n[2]}), 1e-13);
  }
}

// The rate of the call before counts, whichever record that was for. A new process has none: half
// the turn. A stale 3 rad/s tilts a record at rest.
TEST(Mechanisation, AttitudeStepAveragesTwoRates) {
  const double rates[] = {0.5, 0.5, 3.0, 0.0}, turned[] = {0.01, 0.02, 0.07, 0.06};  // rad
  for (std::size_t i = 0; i < std::size(rates); ++i) {
    INS ins = navigator(1, Matrix::identity(3));
    double gyro[3] = {0.0, rates[i], 0.0};
    qupdt3(ins, gyro, 0.04);
    EXPECT_NEAR(2.0 * std::atan2(ins.qnb[2], ins.qnb[0]), turned[i], 4e-5) << i;
    EXPECT_NEAR(Matrix(ins.qnb, 4).norm(), 1.0, 1e-15);
  }
}

// Half a turn about y and then about x, not the other way round: Heun's predictor is turned by the
// rate of the call before, its corrector by the new one. With unit quaternions j and i for the axes
// q = 1 + dt/4 (3 j + 3 i) + dt^2/8 (3 j)(3 i), and j i = -k.
TEST(Mechanisation, AttitudeStepTakesTwoAxesInTheirOrder) {
  INS ins = navigator(1, Matrix::identity(3));
  double about_y[3] = {0.0, 3.0, 0.0}, about_x[3] = {3.0, 0.0, 0.0};
  qupdt3(ins, about_y, 0.0);
  qupdt3(ins, about_x, 0.04);
  const Matrix expected{1.0, 0.03, 0.03, -0.0018};
  EXPECT_LT(distance(ins.qnb, 1.0 / expected.norm() * expected), 1e-15);
}

// A full circle to the left at 15 m/s with a radius of 50 m in a car that a phone watches askew.
// The errors of a second-order method fall to a quarter with half the step.
TEST(Mechanisation, CoordinatedTurnClosesTheCircleToSecondOrder) {
  const double rate = 0.3, lap = 2.0 * 3.141592653589793 / rate;
  const Matrix mounting = attitude(2, 0.7, 0.2, -0.4);  // body to car (x right, y forward)
  Matrix gyro = mounting.transpose() * Matrix{0, 0, rate};
  const Matrix acc = mounting.transpose() * Matrix{-15.0 * rate, 0, kG};
  double closing[2], quarter[2];
  for (const int fine : {0, 1}) {
    const int steps = 400 << fine;
    INS ins = navigator(2, mounting);
    ins.vn[1] = 15.0;
    qupdt3(ins, gyro.data(), 0.0);  // was turning before
    for (int i = 0; i < steps; ++i) {
      step(ins, gyro, acc, lap / steps);
      if (4 * (i + 1) == steps) quarter[fine] = distance(ins.pos, {-50, 50, 0});
    }
    closing[fine] = distance(ins.pos, Matrix::zero(3));
    EXPECT_LT(distance(ins.vn, {0, 15.0, 0}), 0.005);
  }
  EXPECT_LT(closing[1], 0.02);
  EXPECT_LT(quarter[1], 0.005);
  EXPECT_NEAR(closing[0] / closing[1], 4.0, 0.2);
  EXPECT_NEAR(quarter[0] / quarter[1], 4.0, 0.2);
}

TEST(Mechanisation, NoTimeLeavesTheSolutionButNoForce) {
  INS ins = navigator(1, attitude(1, 0.1, 0.2, 0.3));
  step(ins, {0.1, 0.2, 0.3}, {0.0, 1.0, kG}, 0.0);
  EXPECT_EQ(distance(ins.vn, Matrix::zero(3)) + distance(ins.pos, Matrix::zero(3)), 0.0);
  EXPECT_LT(distance(ins.Cnb, attitude(1, 0.1, 0.2, 0.3)), 1e-15);
  EXPECT_TRUE(std::isnan(ins.fb[0]) && std::isnan(ins.wb[0]) && std::isnan(ins.fn[0]));
}

// The navigator believes in yaw 0; the difference to the true heading comes out. The levelling uses
// the order of mode 1, which mode 2 shares only when one of the two angles is zero.
TEST(HeadingFromAcceleration, FindsTheYawThatTheNavigatorMisses) {
  const double tilts[][3] = {{1, 0.5, -0.8}, {1, -0.3, 2.0}, {2, 0.6, 0.0}, {2, 0.0, -0.7}};
  for (const auto& [code, pitch, roll] : tilts) {
    for (const double yaw : {-2.8, -0.5, 0.0, 3.0}) {
      const int mode = static_cast<int>(code);
      INS ins = navigator(mode, attitude(mode, pitch, roll, 0.0));
      Matrix f_n{1.2, -2.0, kG};
      Matrix acc = -1.0 / kG * (attitude(mode, pitch, roll, yaw).transpose() * f_n);
      EXPECT_NEAR(CalculateAccPsi(ins, f_n.data(), acc.data()), yaw, 1e-13) << mode;
    }
  }
}

}  // namespace
