// Blocks of three states: the algebra in which the filter's sparse matrices are written out. Every
// sum is taken in the order in which a product of dense matrices would meet its terms, so that both
// forms give the same values (no term is fused; only the sign of a zero may differ).
#pragma once

#include <array>

namespace zuvdr {

struct Vector3 {
  double x, y, z;
};

// Row-major.
struct Matrix3 {
  std::array<double, 9> e;
};

inline Matrix3 diagonal(const Vector3& d) {
  return {{d.x, 0.0, 0.0, 0.0, d.y, 0.0, 0.0, 0.0, d.z}};
}

inline Matrix3 transposed(const Matrix3& a) {
  return {{a.e[0], a.e[3], a.e[6], a.e[1], a.e[4], a.e[7], a.e[2], a.e[5], a.e[8]}};
}

inline Vector3 operator+(const Vector3& a, const Vector3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline Vector3 operator*(double s, const Vector3& v) {
  return {s * v.x, s * v.y, s * v.z};
}

// diag(d) v.
inline Vector3 scale(const Vector3& d, const Vector3& v) {
  return {d.x * v.x, d.y * v.y, d.z * v.z};
}

inline Vector3 operator*(const Matrix3& a, const Vector3& v) {
  return {a.e[0] * v.x + a.e[1] * v.y + a.e[2] * v.z, a.e[3] * v.x + a.e[4] * v.y + a.e[5] * v.z,
          a.e[6] * v.x + a.e[7] * v.y + a.e[8] * v.z};
}

// sum + A v, the terms of A v added one by one.
inline Vector3 add_product(const Vector3& sum, const Matrix3& a, const Vector3& v) {
  return {sum.x + a.e[0] * v.x + a.e[1] * v.y + a.e[2] * v.z,
          sum.y + a.e[3] * v.x + a.e[4] * v.y + a.e[5] * v.z,
          sum.z + a.e[6] * v.x + a.e[7] * v.y + a.e[8] * v.z};
}

inline Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  const Vector3 x = a * Vector3{b.e[0], b.e[3], b.e[6]};
  const Vector3 y = a * Vector3{b.e[1], b.e[4], b.e[7]};
  const Vector3 z = a * Vector3{b.e[2], b.e[5], b.e[8]};
  return {{x.x, y.x, z.x, x.y, y.y, z.y, x.z, y.z, z.z}};
}

inline Matrix3 operator+(const Matrix3& a, const Matrix3& b) {
  return {{a.e[0] + b.e[0], a.e[1] + b.e[1], a.e[2] + b.e[2], a.e[3] + b.e[3], a.e[4] + b.e[4],
           a.e[5] + b.e[5], a.e[6] + b.e[6], a.e[7] + b.e[7], a.e[8] + b.e[8]}};
}

inline Matrix3 operator*(double s, const Matrix3& a) {
  return {{s * a.e[0], s * a.e[1], s * a.e[2], s * a.e[3], s * a.e[4], s * a.e[5], s * a.e[6],
           s * a.e[7], s * a.e[8]}};
}

// diag(d) A.
inline Matrix3 scale_rows(const Vector3& d, const Matrix3& a) {
  return {{d.x * a.e[0], d.x * a.e[1], d.x * a.e[2], d.y * a.e[3], d.y * a.e[4], d.y * a.e[5],
           d.z * a.e[6], d.z * a.e[7], d.z * a.e[8]}};
}

// A diag(d).
inline Matrix3 scale_columns(const Matrix3& a, const Vector3& d) {
  return {{a.e[0] * d.x, a.e[1] * d.y, a.e[2] * d.z, a.e[3] * d.x, a.e[4] * d.y, a.e[5] * d.z,
           a.e[6] * d.x, a.e[7] * d.y, a.e[8] * d.z}};
}

}  // namespace zuvdr
