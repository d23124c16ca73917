// Rotations for the tests, composed by Eigen from elementary ones.
#pragma once

#include <Eigen/Dense>
#include <Eigen/Geometry>

#include "nav/attitude.h"
#include "nav/ins.h"

namespace zuvdr::tests {

using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;
using RowMajor3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

// The rotation about rv by its length.
inline Quaterniond turn(const Vector3d& rv) {
  return Quaterniond(Eigen::AngleAxisd(rv.norm(), rv.normalized()));
}

// Body to navigation; mode 2 turns about z, x, y, mode 1 about z, y, x.
inline Matrix3d attitude(int mode, double pitch, double roll, double yaw) {
  const Quaterniond tilt = mode == 2 ? turn({pitch, 0.0, 0.0}) * turn({0.0, roll, 0.0})
                                     : turn({0.0, pitch, 0.0}) * turn({roll, 0.0, 0.0});
  return (turn({0.0, 0.0, yaw}) * tilt).matrix();
}

inline Quaterniond quaternion(const double* q) {
  return {q[0], q[1], q[2], q[3]};
}
inline void store(const Quaterniond& q, double* out) {
  out[0] = q.w(), out[1] = q.x(), out[2] = q.y(), out[3] = q.z();
}
inline INS navigator(int mode, const Matrix3d& C) {
  INS ins{};
  ins.att_mode = mode;
  store(Quaterniond(C), ins.qnb);
  attsyn(ins.qnb, ins);
  return ins;
}

// |a - b| with a in plain row-major storage. NaN anywhere gives NaN, which fails every comparison.
template <typename Derived>
double distance(const double* a, const Eigen::MatrixBase<Derived>& b) {
  constexpr int rows = Derived::RowsAtCompileTime, columns = Derived::ColsAtCompileTime;
  using RowMajor = Eigen::Matrix<double, columns, rows>;  // its columns are the rows of a
  return (RowMajor::Map(a).transpose() - b).norm();
}

}  // namespace zuvdr::tests
