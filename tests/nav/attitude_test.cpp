#include "nav/attitude.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "nav/mounting.h"
#include "tests/textbook.h"

namespace {

using namespace zuvdr::tests;

TEST(Quaternions, ComposeAsTheirMatricesDo) {
  for (const double length : {1.1e-4, 1e-3, 0.1, 1.0, 3.1}) {
    for (int i = 0; i < 10; ++i) {
      const Matrix axis = Matrix::random(3), rv = length / axis.norm() * axis;
      INS ins = navigator(1, rotation(turn(3.0 * Matrix::random(3))));
      const Matrix before = rotation(Matrix(ins.qnb, 4));
      EXPECT_LT(distance(ins.Cnb, before), 1e-14);
      double p[4], product[4], left[4];
      rv2q(rv.data(), p);
      EXPECT_LT(distance(p, turn(rv)), 1e-15);
      qmul(p, ins.qnb, product);
      EXPECT_LT((rotation(Matrix(product, 4)) - rotation(turn(rv)) * before).norm(), 1e-14);
      std::copy_n(ins.qnb, 4, left);
      qdelphi(left, rv.data());
      EXPECT_LT(distance(left, Matrix(product, 4)), 1e-15);
      Matrix overwritten = rv;
      qupdt2(ins, overwritten.data());
      EXPECT_LT((rotation(Matrix(ins.qnb, 4)) - before * rotation(turn(rv))).norm(), 1e-14);
      EXPECT_LT((overwritten - turn(rv).part(1, 0)).norm(), 1e-15);
    }
  }
}

TEST(Quaternions, AreRenormalisedWhenTheirSquareLeavesTheTolerance) {
  for (const auto& [square, renormalised] :
       {std::pair(1.0000008, false), {1.0000012, true}, {0.9999992, false}, {0.9999988, true}}) {
    INS ins = navigator(1, Matrix::identity(3));
    ins.qnb[0] = std::sqrt(square);
    double rv[3] = {0.0, 0.01, 0.0};
    qupdt2(ins, rv);
    EXPECT_NEAR(std::pow(Matrix(ins.qnb, 4).norm(), 2), renormalised ? 1.0 : square, 1e-14);
  }
}

// Below 1e-4 rad the factor is r^4/3840; for 9e-5 rad that is 6.561e-17 / 3840.
TEST(Quaternions, TinyRotationsAreDropped) {
  const double tiny[3] = {0.0, 9e-5, 0.0};
  double q[4], turned[4] = {0.5, -0.5, 0.5, 0.5};
  rv2q(tiny, q);
  EXPECT_NEAR(q[2], 1.537734375e-24, 1e-34);
  qdelphi(turned, tiny);
  EXPECT_EQ(distance(turned, {0.5, -0.5, 0.5, 0.5}), 0.0);
}

// Angles to matrix by each routine, to quaternion, and back by either attitude block; modes other
// than 1 and 2 keep the angles. Level again from gravity alone.
TEST(EulerAngles, RoundTripInBothOrders) {
  for (int i = 0; i < 100; ++i) {
    const Matrix random = Matrix::random(3);
    const double pitch = 1.57 * random[0], roll = 3.14 * random[1], yaw = 3.14 * random[2];
    double att[3] = {pitch, roll, yaw}, e[3] = {yaw, pitch, roll}, C[3][3], R[4][9], q[4];
    a2mat(att, C);
    euler2rot_3(e, R[1]);
    euler2rot_2(e, R[2]);
    euler2rot_2(static_cast<const double*>(e), R[0]);
    EXPECT_EQ(distance(R[2], Matrix(C[0], 3, 3)) + distance(R[0], Matrix(C[0], 3, 3)), 0.0);
    std::copy_n(R[1], 9, R[3]);
    for (const int mode : {0, 1, 2, 3}) {
      const Matrix zyx{roll, pitch, yaw}, zxy{pitch, roll, yaw}, kept{0, 0, 0};
      const Matrix& angles = mode == 1 ? zyx : mode == 2 ? zxy : kept;
      EXPECT_LT(distance(R[mode], attitude(mode % 2 == 1 ? 1 : 2, pitch, roll, yaw)), 1e-14);
      rot2qua(R[mode], q);
      INS ins{};
      ins.att_mode = mode;
      InstallAttsyn(q, ins);
      EXPECT_EQ(distance(ins.att, kept) + distance(ins.Cnb, Matrix::zero(3, 3)), 0.0);
      attsyn(q, ins);
      EXPECT_LT(distance(ins.install_att, angles), 1e-12) << mode;
      EXPECT_LT(distance(ins.att, angles), 1e-12) << mode;
      EXPECT_EQ(distance(ins.install_Cnb, Matrix(ins.Cnb, 3, 3)), 0.0);
      EXPECT_TRUE(std::equal(q, q + 4, ins.install_qnb) && std::equal(q, q + 4, ins.qnb));
    }
    const Matrix acc = attitude(1, pitch, roll, yaw).transpose() * Matrix{0, 0, 9.7};
    InitQnb(acc.data(), nullptr, q);
    EXPECT_LT((rotation(Matrix(q, 4)) - attitude(1, pitch, roll, 0.0)).norm(), 1e-13);
  }
  const double longer_than_one[4] = {0.7072, 0.7072, 0.0, 0.0};  // pitch 90 degrees
  INS upright = navigator(2, Matrix::identity(3));
  attsyn(longer_than_one, upright);
  EXPECT_TRUE(std::isnan(upright.att[0]));
}

// Each half turn and its surroundings takes another of the four formulas; the component that it
// takes the root of comes out positive.
TEST(MatrixToQuaternion, EveryBranchInvertsTheMatrix) {
  for (int i = 0; i < 80; ++i) {
    Matrix wxyz = (i < 4 ? 0.0 : 0.25) * Matrix::random(4);
    wxyz(i % 4, 0) = 1.0;
    double q[4];
    rot2qua(rotation(1.0 / wxyz.norm() * wxyz).data(), q);
    EXPECT_LT(distance(q, 1.0 / wxyz.norm() * wxyz), 1e-14) << i;
  }
}

TEST(AngleDifference, WrapsOppositeSignsTheShortWay) {
  EXPECT_DOUBLE_EQ(AngleMul(3.0, -3.0), -0.28318530717958623);
  EXPECT_DOUBLE_EQ(AngleMul(0.0, -3.0), 3.0);
  for (double a = -3.1; a < 3.14; a += 0.173) {
    for (double b = -3.05; b < 3.14; b += 0.211) {
      EXPECT_NEAR(AngleMul(a, b), std::remainder(a - b, 6.283185307179586), 1e-14) << a << ' ' << b;
    }
  }
}

}  // namespace
