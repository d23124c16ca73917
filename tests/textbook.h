// Matrices, rotations and the vehicle filter's textbook forms, by Eigen: compiled in textbook.cpp
// alone, its templates do not slow down the build of every test.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <numeric>
#include <vector>

#include "kf/kf.h"
#include "nav/attitude.h"
#include "nav/ins.h"
#include "nav/mounting.h"

namespace zuvdr::tests {

// Stored by rows; a list in braces is a column.
struct Matrix : std::vector<double> {
  int rows, columns;

  Matrix(std::initializer_list<double> e) : Matrix(e.begin(), static_cast<int>(e.size())) {}
  explicit Matrix(const double* a, int height = 3, int width = 1)
      : vector(a, a + height * width), rows(height), columns(width) {}
  static Matrix zero(int rows, int columns = 1);
  static Matrix random(int rows, int columns = 1);  // from -1 to 1
  static Matrix diagonal(const Matrix& column);
  static Matrix identity(int size);
  double& operator()(int i, int j) { return (*this)[static_cast<std::size_t>(i * columns + j)]; }
  Matrix part(int row, int column, int height = 3, int width = 1) const;
  void set_part(int row, int column, const Matrix& m);
  Matrix transpose() const;
  double norm() const { return std::sqrt(std::inner_product(begin(), end(), begin(), 0.0)); }

  friend Matrix operator*(const Matrix& a, const Matrix& b);
  friend Matrix operator*(double factor, const Matrix& m);
  friend Matrix operator+(const Matrix& a, const Matrix& b);
  friend Matrix operator-(const Matrix& a, const Matrix& b) { return a + -1.0 * b; }
  friend void store(const Matrix& m, double* out) { std::copy(m.begin(), m.end(), out); }
};
Matrix solve(const Matrix& A, const Matrix& b);  // A^-1 b
bool is_covariance(const double* P, int size);   // symmetric and positive definite
// |a - b| with a by rows. NaN anywhere gives NaN, which fails every comparison.
double distance(const double* a, const Matrix& b);

Matrix turn(const Matrix& rv);     // quaternion of the rotation about rv by its length
Matrix rotation(const Matrix& q);  // its matrix
// Body to navigation; mode 2 turns about z, x, y, mode 1 about z, y, x.
Matrix attitude(int mode, double pitch, double roll, double yaw);
INS navigator(int mode, const Matrix& C);

INS make_vehicle(int mode, double pitch, double roll, double yaw);
// A full covariance; every other element of the record carries a mark.
KF make_filter();
// Takes the error x out of the navigator, by its signs: attitudes are turned and biases raised by
// it, velocity and position lowered.
void correct(INS& ins, const Matrix& x);
// The error of the computed navigator, in the same signs, to first order in small angles.
Matrix error_of(const INS& computed, const INS& truth);
// dz/dx of a function of the navigator.
Matrix derivative(const INS& ins, const std::function<Matrix(const INS&)>& z);
// From the navigation to the vehicle's frame: right, forward, up.
Matrix vehicle_frame(const INS& ins);

struct Estimate {
  Matrix X, P;
};
// Gain by a solver and covariance in Joseph's form, with X = 0 before.
Estimate textbook_update(const Matrix& P, const Matrix& H, const Matrix& R, const Matrix& z);

}  // namespace zuvdr::tests
