// A vehicle in an arbitrary state and the filter's textbook forms on Eigen.
#pragma once

#include <algorithm>
#include <cstring>

#include "kf/kf.h"
#include "nav/mounting.h"
#include "tests/nav/rotations.h"

namespace zuvdr::tests {

using Square18 = Eigen::Matrix<double, 18, 18, Eigen::RowMajor>;
using Vector18 = Eigen::Matrix<double, 18, 1>;
using Rows18 = Eigen::Matrix<double, Eigen::Dynamic, 18>;

inline INS make_vehicle(int mode, double pitch, double roll, double yaw) {
  INS ins = navigator(mode, attitude(mode, pitch, roll, yaw));
  store(Quaterniond(attitude(mode, 0.3, -0.6, 2.1)), ins.install_qnb);
  InstallAttsyn(ins.install_qnb, ins);
  Vector3d::Map(ins.vn) << 7.0, -11.0, 0.8;
  Vector3d::Map(ins.pos) << 120.0, -40.0, 6.0;
  Vector3d::Map(ins.eb) << 0.002, -0.001, 0.003;
  Vector3d::Map(ins.db) << 0.03, -0.02, 0.05;
  return ins;
}

// A full covariance; every other element of the record carries a mark.
inline KF make_filter() {
  KF kf;
  std::fill_n(reinterpret_cast<double*>(&kf), sizeof(KF) / sizeof(double), 0.625);
  const Square18 root = Square18::Random();
  const Square18 P = 0.1 * root * root.transpose() + 0.01 * Square18::Identity();
  Square18::Map(kf.P) = 0.5 * (P + P.transpose());
  return kf;
}

// Takes the error x out of the navigator, by its signs: attitudes are turned and biases raised by
// it, velocity and position lowered.
inline void correct(INS& ins, const Vector18& x) {
  store(turn(x.segment<3>(0)) * quaternion(ins.qnb), ins.qnb);
  attsyn(ins.qnb, ins);
  Vector3d::Map(ins.vn) -= x.segment<3>(3);
  Vector3d::Map(ins.pos) -= x.segment<3>(6);
  Vector3d::Map(ins.eb) += x.segment<3>(9);
  Vector3d::Map(ins.db) += x.segment<3>(12);
  store(turn(x.segment<3>(15)) * quaternion(ins.install_qnb), ins.install_qnb);
  InstallAttsyn(ins.install_qnb, ins);
}

// The error of the computed navigator, in the same signs, to first order in small angles.
inline Vector18 error_of(const INS& computed, const INS& truth) {
  const auto from = [](const double* a) { return Vector3d(a); };
  Vector18 x;
  x << 2.0 * (quaternion(truth.qnb) * quaternion(computed.qnb).conjugate()).vec(),
      from(computed.vn) - from(truth.vn), from(computed.pos) - from(truth.pos),
      from(truth.eb) - from(computed.eb), from(truth.db) - from(computed.db),
      2.0 * (quaternion(truth.install_qnb) * quaternion(computed.install_qnb).conjugate()).vec();
  return x;
}

// dz/dx of a function of the navigator.
template <typename Function>
Rows18 derivative(const INS& ins, Function z) {
  Rows18 H(z(ins).size(), 18);
  for (int i = 0; i < 18; ++i) {
    INS less = ins, more = ins;
    correct(less, 1e-5 * Vector18::Unit(i));
    correct(more, -1e-5 * Vector18::Unit(i));
    H.col(i) = (z(more) - z(less)) / 2e-5;
  }
  return H;
}

// From the navigation to the vehicle's frame: right, forward, up.
inline Matrix3d vehicle_frame(const INS& ins) {
  return (quaternion(ins.install_qnb) * quaternion(ins.qnb).conjugate()).matrix();
}

struct Estimate {
  Vector18 X;
  Square18 P;
};

// Gain by a solver and covariance in Joseph's form, with X = 0 before.
inline Estimate textbook_update(const Square18& P, const Rows18& H, const Eigen::VectorXd& sigma,
                                const Eigen::VectorXd& z) {
  const Eigen::MatrixXd R = sigma.cwiseAbs2().asDiagonal(), S = H * P * H.transpose() + R;
  const Eigen::MatrixXd K = S.ldlt().solve(H * P).transpose();
  const Square18 A = Square18::Identity() - K * H;
  return {K * z, A * P * A.transpose() + K * R * K.transpose()};
}

}  // namespace zuvdr::tests
