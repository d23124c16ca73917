#include "nav/attitude.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "nav/mounting.h"
#include "tests/nav/rotations.h"

namespace {

using namespace zuvdr::tests;

TEST(Quaternions, ComposeAsTheirMatricesDo) {
  for (const double length : {1.1e-4, 1e-3, 0.1, 1.0, 3.1}) {
    for (int i = 0; i < 10; ++i) {
      const Vector3d rv = length * Vector3d::Random().normalized(), other = Vector3d::Random();
      INS ins = navigator(1, turn(3.0 * other).matrix());
      const Matrix3d before = quaternion(ins.qnb).matrix();
      EXPECT_LT(distance(ins.Cnb, before), 1e-14);
      double p[4], product[4], left[4];
      rv2q(rv.data(), p);
      EXPECT_LT((quaternion(p).coeffs() - turn(rv).coeffs()).norm(), 1e-15);
      qmul(p, ins.qnb, product);
      EXPECT_LT((quaternion(product).matrix() - turn(rv) * before).norm(), 1e-14);
      std::copy_n(ins.qnb, 4, left);
      qdelphi(left, rv.data());
      EXPECT_LT(distance(left, Eigen::Vector4d(product)), 1e-15);
      Vector3d overwritten = rv;
      qupdt2(ins, overwritten.data());
      EXPECT_LT((quaternion(ins.qnb).matrix() - before * turn(rv)).norm(), 1e-14);
      EXPECT_LT((overwritten - turn(rv).vec()).norm(), 1e-15);
    }
  }
}

TEST(Quaternions, AreRenormalisedWhenTheirSquareLeavesTheTolerance) {
  for (const auto& [square, renormalised] :
       {std::pair(1.0000008, false), {1.0000012, true}, {0.9999992, false}, {0.9999988, true}}) {
    INS ins = navigator(1, Matrix3d::Identity());
    ins.qnb[0] = std::sqrt(square);
    double rv[3] = {0.0, 0.01, 0.0};
    qupdt2(ins, rv);
    EXPECT_NEAR(Eigen::Vector4d(ins.qnb).squaredNorm(), renormalised ? 1.0 : square, 1e-14);
  }
}

// Below 1e-4 rad the factor is r^4/3840; for 9e-5 rad that is 6.561e-17 / 3840.
TEST(Quaternions, TinyRotationsAreDropped) {
  const double tiny[3] = {0.0, 9e-5, 0.0};
  double q[4], turned[4] = {0.5, -0.5, 0.5, 0.5};
  rv2q(tiny, q);
  EXPECT_NEAR(q[2], 1.537734375e-24, 1e-34);
  qdelphi(turned, tiny);
  EXPECT_EQ(Eigen::Vector4d(turned), Eigen::Vector4d(0.5, -0.5, 0.5, 0.5));
}

// Angles to matrix by each routine, to quaternion, and back by either attitude block; modes other
// than 1 and 2 keep the angles. Level again from gravity alone.
TEST(EulerAngles, RoundTripInBothOrders) {
  for (int i = 0; i < 100; ++i) {
    const Vector3d random = Vector3d::Random();
    const double pitch = 1.57 * random[0], roll = 3.14 * random[1], yaw = 3.14 * random[2];
    double att[3] = {pitch, roll, yaw}, e[3] = {yaw, pitch, roll}, C[3][3], R[4][9], q[4];
    a2mat(att, C);
    euler2rot_3(e, R[1]);
    euler2rot_2(e, R[2]);
    euler2rot_2(static_cast<const double*>(e), R[0]);
    EXPECT_EQ(distance(R[2], RowMajor3::Map(C[0])) + distance(R[0], RowMajor3::Map(C[0])), 0.0);
    std::copy_n(R[1], 9, R[3]);
    for (const int mode : {0, 1, 2, 3}) {
      const Vector3d zyx(roll, pitch, yaw), zxy(pitch, roll, yaw), kept(0, 0, 0);
      const Vector3d& angles = mode == 1 ? zyx : mode == 2 ? zxy : kept;
      EXPECT_LT(distance(R[mode], attitude(mode % 2 == 1 ? 1 : 2, pitch, roll, yaw)), 1e-14);
      rot2qua(R[mode], q);
      INS ins{};
      ins.att_mode = mode;
      InstallAttsyn(q, ins);
      EXPECT_EQ(distance(ins.att, kept) + distance(ins.Cnb, Matrix3d::Zero()), 0.0);
      attsyn(q, ins);
      EXPECT_LT(distance(ins.install_att, angles), 1e-12) << mode;
      EXPECT_LT(distance(ins.att, angles), 1e-12) << mode;
      EXPECT_EQ(distance(ins.install_Cnb, RowMajor3::Map(ins.Cnb)), 0.0);
      EXPECT_TRUE(std::equal(q, q + 4, ins.install_qnb) && std::equal(q, q + 4, ins.qnb));
    }
    const Vector3d acc = attitude(1, pitch, roll, yaw).transpose() * Vector3d(0, 0, 9.7);
    InitQnb(acc.data(), nullptr, q);
    EXPECT_LT((quaternion(q).matrix() - attitude(1, pitch, roll, 0.0)).norm(), 1e-13);
  }
  const double longer_than_one[4] = {0.7072, 0.7072, 0.0, 0.0};  // pitch 90 degrees
  INS upright = navigator(2, Matrix3d::Identity());
  attsyn(longer_than_one, upright);
  EXPECT_TRUE(std::isnan(upright.att[0]));
}

// Each half turn and its surroundings takes another of the four formulas; the component that it
// takes the root of comes out positive.
TEST(MatrixToQuaternion, EveryBranchInvertsTheMatrix) {
  for (int i = 0; i < 80; ++i) {
    Eigen::Vector4d wxyz = (i < 4 ? 0.0 : 0.25) * Eigen::Vector4d::Random(), q;
    wxyz[i % 4] = 1.0;
    wxyz.normalize();
    const RowMajor3 R = quaternion(wxyz.data()).matrix();
    rot2qua(R.data(), q.data());
    EXPECT_LT((q - wxyz).norm(), 1e-14) << i;
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
