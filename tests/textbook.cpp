#include "tests/textbook.h"

#include <Eigen/Geometry>
#include <Eigen/LU>

namespace zuvdr::tests {
namespace {

using Eigen::Quaterniond, Eigen::Vector3d;
using Dense = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

const auto dense = [](const Matrix& m) { return Dense::Map(m.data(), m.rows, m.columns); };
const auto matrix = [](const Dense& m) {
  return Matrix(m.data(), static_cast<int>(m.rows()), static_cast<int>(m.cols()));
};
// Quaternions are w, x, y, z here.
const auto quaternion = [](const double* q) { return Quaterniond(q[0], q[1], q[2], q[3]); };
const auto coefficients = [](const Quaterniond& q) { return Matrix{q.w(), q.x(), q.y(), q.z()}; };

// Of a small rotation from b to a.
Matrix angles(const double* a, const double* b) {
  return 2.0 * coefficients(quaternion(a) * quaternion(b).conjugate()).part(1, 0);
}
void set_rotation(const Matrix& C, double* q) {
  store(coefficients(Quaterniond(Eigen::Matrix3d(dense(C)))), q);
}
void rotate(const Matrix& rv, double* q) {
  store(coefficients(quaternion(turn(rv).data()) * quaternion(q)), q);
}

}  // namespace

Matrix Matrix::zero(int rows, int columns) {
  return matrix(Dense::Zero(rows, columns));
}
Matrix Matrix::random(int rows, int columns) {
  return matrix(Dense::Random(rows, columns));
}
Matrix Matrix::diagonal(const Matrix& column) {
  Matrix m = zero(column.rows, column.rows);
  for (int i = 0; i < m.rows; ++i) m(i, i) = column.data()[i];
  return m;
}
Matrix Matrix::identity(int size) {
  return matrix(Dense::Identity(size, size));
}
Matrix Matrix::part(int row, int column, int height, int width) const {
  return matrix(dense(*this).block(row, column, height, width));
}
void Matrix::set_part(int row, int column, const Matrix& m) {
  Dense::Map(data(), rows, columns).block(row, column, m.rows, m.columns) = dense(m);
}
Matrix Matrix::transpose() const {
  return matrix(dense(*this).transpose());
}

Matrix operator*(const Matrix& a, const Matrix& b) {
  return matrix(dense(a).lazyProduct(dense(b)));
}
Matrix operator*(double factor, const Matrix& m) {
  return matrix(factor * dense(m));
}
Matrix operator+(const Matrix& a, const Matrix& b) {
  return matrix(dense(a) + dense(b));
}
Matrix solve(const Matrix& A, const Matrix& b) {
  return matrix(dense(A).partialPivLu().solve(dense(b)));
}
bool is_covariance(const double* P, int size) {
  Matrix left(P, size, size);  // by each step of the elimination
  if (left != left.transpose()) return false;
  for (int k = 0; k < size; ++k) {
    if (!(left(k, k) > 0.0)) return false;
    for (int i = k + 1; i < size; ++i) {
      const double factor = left(i, k) / left(k, k);
      for (int j = k + 1; j < size; ++j) left(i, j) -= factor * left(k, j);
    }
  }
  return true;
}
double distance(const double* a, const Matrix& b) {
  return (Matrix(a, b.rows, b.columns) - b).norm();
}

Matrix turn(const Matrix& rv) {
  const Vector3d v(rv.data());
  return coefficients(Quaterniond(Eigen::AngleAxisd(v.norm(), v.normalized())));
}
Matrix rotation(const Matrix& q) {
  return matrix(quaternion(q.data()).matrix());
}
Matrix attitude(int mode, double pitch, double roll, double yaw) {
  const Matrix heading = rotation(turn({0.0, 0.0, yaw}));
  return mode == 2 ? heading * rotation(turn({pitch, 0.0, 0.0})) * rotation(turn({0.0, roll, 0.0}))
                   : heading * rotation(turn({0.0, pitch, 0.0})) * rotation(turn({roll, 0.0, 0.0}));
}
INS navigator(int mode, const Matrix& C) {
  INS ins{};
  ins.att_mode = mode;
  set_rotation(C, ins.qnb);
  attsyn(ins.qnb, ins);
  return ins;
}

INS make_vehicle(int mode, double pitch, double roll, double yaw) {
  INS ins = navigator(mode, attitude(mode, pitch, roll, yaw));
  set_rotation(attitude(mode, 0.3, -0.6, 2.1), ins.install_qnb);
  InstallAttsyn(ins.install_qnb, ins);
  store(Matrix{7.0, -11.0, 0.8}, ins.vn);
  store(Matrix{120.0, -40.0, 6.0}, ins.pos);
  store(Matrix{0.002, -0.001, 0.003}, ins.eb);
  store(Matrix{0.03, -0.02, 0.05}, ins.db);
  return ins;
}
KF make_filter() {
  KF kf;
  std::fill_n(reinterpret_cast<double*>(&kf), sizeof(KF) / sizeof(double), 0.625);
  const Matrix root = Matrix::random(18, 18);
  const Matrix P = 0.1 * (root * root.transpose()) + 0.01 * Matrix::identity(18);
  store(0.5 * (P + P.transpose()), kf.P);
  return kf;
}
void correct(INS& ins, const Matrix& x) {
  rotate(x.part(0, 0), ins.qnb);
  attsyn(ins.qnb, ins);
  store(Matrix(ins.vn) - x.part(3, 0), ins.vn);
  store(Matrix(ins.pos) - x.part(6, 0), ins.pos);
  store(Matrix(ins.eb) + x.part(9, 0), ins.eb);
  store(Matrix(ins.db) + x.part(12, 0), ins.db);
  rotate(x.part(15, 0), ins.install_qnb);
  InstallAttsyn(ins.install_qnb, ins);
}
Matrix error_of(const INS& computed, const INS& truth) {
  Matrix x = Matrix::zero(18);
  x.set_part(0, 0, angles(truth.qnb, computed.qnb));
  x.set_part(3, 0, Matrix(computed.vn) - Matrix(truth.vn));
  x.set_part(6, 0, Matrix(computed.pos) - Matrix(truth.pos));
  x.set_part(9, 0, Matrix(truth.eb) - Matrix(computed.eb));
  x.set_part(12, 0, Matrix(truth.db) - Matrix(computed.db));
  x.set_part(15, 0, angles(truth.install_qnb, computed.install_qnb));
  return x;
}
Matrix derivative(const INS& ins, const std::function<Matrix(const INS&)>& z) {
  Matrix H = Matrix::zero(z(ins).rows, 18);
  for (int i = 0; i < 18; ++i) {
    INS less = ins, more = ins;
    const Matrix step = 1e-5 * Matrix::identity(18).part(0, i, 18);
    correct(less, step);
    correct(more, -1.0 * step);
    H.set_part(0, i, 1.0 / 2e-5 * (z(more) - z(less)));
  }
  return H;
}
Matrix vehicle_frame(const INS& ins) {
  return rotation(Matrix(ins.install_qnb, 4)) * rotation(Matrix(ins.qnb, 4)).transpose();
}
Estimate textbook_update(const Matrix& P, const Matrix& H, const Matrix& R, const Matrix& z) {
  const Matrix K = solve(H * P * H.transpose() + R, H * P).transpose();
  const Matrix A = Matrix::identity(P.rows) - K * H;
  return {K * z, A * P * A.transpose() + K * R * K.transpose()};
}

}  // namespace zuvdr::tests
