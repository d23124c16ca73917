// The vehicle filter written as full products of dense matrices, nothing skipped and nothing shared
// with kf/ but kffk and the feedback, nor with nav/ but the attitude and the inverse: the reference
// of the structured forms, and the slow side of the benchmarks. All sums run in ascending order of
// the inner index, from zero.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "kf/kf.h"
#include "nav/attitude.h"
#include "nav/ins.h"
#include "nav/matrix.h"
#include "nav/mounting.h"

namespace zuvdr::dense {

template <std::size_t rows, std::size_t columns>
struct Matrix {
  double e[rows][columns] = {};

  Matrix() = default;
  explicit Matrix(const double* a) { std::copy_n(a, rows * columns, &e[0][0]); }
  void store(double* a) const { std::copy_n(&e[0][0], rows * columns, a); }
};
using Square = Matrix<18, 18>;

template <std::size_t n, std::size_t m, std::size_t p>
Matrix<n, p> operator*(const Matrix<n, m>& a, const Matrix<m, p>& b) {
  Matrix<n, p> c;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < p; ++j) {
      for (std::size_t k = 0; k < m; ++k) c.e[i][j] += a.e[i][k] * b.e[k][j];
    }
  }
  return c;
}

template <std::size_t n, std::size_t m>
Matrix<m, n> transposed(const Matrix<n, m>& a) {
  Matrix<m, n> t;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < m; ++j) t.e[j][i] = a.e[i][j];
  }
  return t;
}

template <std::size_t n, std::size_t m, typename Operation>
Matrix<n, m> each(const Matrix<n, m>& a, const Matrix<n, m>& b, Operation operation) {
  Matrix<n, m> c;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < m; ++j) c.e[i][j] = operation(a.e[i][j], b.e[i][j]);
  }
  return c;
}

template <std::size_t n, std::size_t m>
Matrix<n, m> operator+(const Matrix<n, m>& a, const Matrix<n, m>& b) {
  return each(a, b, [](double x, double y) { return x + y; });
}

template <std::size_t n, std::size_t m>
Matrix<n, m> operator-(const Matrix<n, m>& a, const Matrix<n, m>& b) {
  return each(a, b, [](double x, double y) { return x - y; });
}

inline void symmetrise(KF& kf) {
  const Square P(kf.P);
  each(P, transposed(P), [](double x, double y) { return (x + y) * 0.5; }).store(kf.P);
}

// A^-1 for n <= 8 by Doolittle's factors, each inverted through all its cofactors.
inline void cofactor_inverse(double* A, double* Ainv, int size) {
  const auto n = static_cast<std::size_t>(size);
  double L[8][8] = {}, U[8][8] = {}, Ui[8][8] = {};
  for (std::size_t k = 0; k < n; ++k) {
    L[k][k] = 1.0;
    for (std::size_t j = k; j < n; ++j) {
      U[k][j] = A[k * n + j];
      for (std::size_t t = 0; t < k; ++t) U[k][j] -= L[k][t] * U[t][j];
    }
    for (std::size_t i = k + 1; i < n; ++i) {
      L[i][k] = A[i * n + k];
      for (std::size_t t = 0; t < k; ++t) L[i][k] -= L[i][t] * U[t][k];
      L[i][k] /= U[k][k];
    }
  }
  // Of an upper triangle T: (-1)^(j-i) det T[i..j-1][i+1..j] prod of the other diagonal elements
  // over det T, the determinant by Leibniz' sum over all permutations.
  const auto invert = [n](const auto& T, double(&inverse)[8][8]) {
    double det = 1.0;
    for (std::size_t k = 0; k < n; ++k) det *= T[k][k];
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = i; j < n; ++j) {
        double outside = 1.0, minor = 0.0;
        for (std::size_t k = 0; k < n; ++k) outside *= k < i || k > j ? T[k][k] : 1.0;
        std::size_t columns[8];
        for (std::size_t r = i; r < j; ++r) columns[r - i] = r + 1;
        do {
          double term = 1.0;
          for (std::size_t r = i; r < j; ++r) {
            term *= T[r][columns[r - i]];
            for (std::size_t s = i; s < r; ++s) {
              if (columns[s - i] > columns[r - i]) term = -term;
            }
          }
          minor += term;
        } while (std::next_permutation(columns, columns + (j - i)));
        inverse[i][j] = ((j - i) % 2 == 0 ? minor : -minor) * outside / det;
      }
    }
  };
  double Lt[8][8], Lti[8][8] = {};
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) Lt[i][j] = L[j][i];
  }
  invert(U, Ui);
  invert(Lt, Lti);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      Ainv[i * n + j] = 0.0;
      for (std::size_t k = 0; k < n; ++k) Ainv[i * n + j] += Ui[i][k] * Lti[j][k];
    }
  }
}

// The inverse that the measurement updates below use; both do the same to rounding.
inline void (*inverse)(double*, double*, int) = MatrixInverse_n;

template <std::size_t m>
struct Intermediate {
  Matrix<18, m> PHt, K;
  Matrix<m, m> S;
};

// X += K z, P = P_prior - (K H) P_prior, symmetrised.
template <std::size_t m>
Intermediate<m> measurement_update(KF& kf, const double* z, const Matrix<m, 18>& H,
                                   const Matrix<m, m>& R) {
  const Square P(kf.P);
  P.store(kf.P_prior);
  const Matrix<18, m> PHt = P * transposed(H);
  const Matrix<m, m> S = H * PHt + R;
  double s[m * m], s_inverse[m * m];
  S.store(s);
  inverse(s, s_inverse, static_cast<int>(m));
  const Matrix<18, m> K = PHt * Matrix<m, m>(s_inverse);
  const Matrix<18, 1> correction = K * Matrix<m, 1>(z);
  for (std::size_t i = 0; i < 18; ++i) kf.X[i] += correction.e[i][0];
  (P - (K * H) * P).store(kf.P);
  symmetrise(kf);
  return {PHt, K, S};
}

template <std::size_t m>
Matrix<m, m> diagonal(double value) {
  Matrix<m, m> d;
  for (std::size_t i = 0; i < m; ++i) d.e[i][i] = value;
  return d;
}

inline void QkCal(KF& kf, double (*G)[15], double (*q)[15], double dt) {
  const Square Phi(kf.Phi);
  const Matrix<18, 15> g(G[0]);
  const Matrix<15, 15> density(q[0]);
  const Square m1 = Phi * g * density * transposed(g);
  const Square m3 = g * density * transposed(g) * transposed(Phi);
  each(m1, m3, [dt](double x, double y) { return (x + y) * dt * 0.5; }).store(kf.Qk);
}

inline void QkUpdate(INS& ins, KF& kf, double* imu, double dt) {
  double G[18][15] = {}, q[15][15] = {};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      G[i][j] = -ins.Cnb[3 * i + j];
      G[3 + i][3 + j] = ins.Cnb[3 * i + j];
    }
    const double gyro = 0.01 * imu[i] + 0.00023, acc = 0.01 * imu[3 + i] + 0.0038;
    q[i][i] = gyro * gyro;
    q[3 + i][3 + i] = acc * acc;
    q[6 + i][6 + i] = 1e-10;
    q[9 + i][9 + i] = 1e-6;
    q[12 + i][12 + i] = 4e-8;
  }
  for (std::size_t k = 0; k < 9; ++k) G[9 + k][6 + k] = 1.0;
  dense::QkCal(kf, G, q, dt);
}

inline void KfPredict(KF& kf) {
  std::fill_n(kf.X, 18, 0.0);
  const Square Phi(kf.Phi);
  (Phi * Square(kf.P) * transposed(Phi) + Square(kf.Qk)).store(kf.P);
}

// The row that measures (Cmount v)[axis]: v x m for the attitude, m for the velocity.
inline void vehicle_row(const INS& ins, std::size_t axis, double (&row)[18]) {
  const double* m = ins.Cmount + 3 * axis;
  const double* v = ins.vn;
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t j = (i + 1) % 3, k = (i + 2) % 3;
    row[i] = v[j] * m[k] - v[k] * m[j];
    row[3 + i] = m[i];
  }
}

inline double vehicle_velocity(const INS& ins, std::size_t axis) {
  const double* m = ins.Cmount + 3 * axis;
  return m[0] * ins.vn[0] + m[1] * ins.vn[1] + m[2] * ins.vn[2];
}

inline void update_mounting(INS& ins) {
  (Matrix<3, 3>(ins.install_Cnb) * transposed(Matrix<3, 3>(ins.Cnb))).store(ins.Cmount);
}

inline void KfUpdate(INS& ins, KF& kf, double* z, double* r, bool update) {
  if (!update) {
    dense::KfPredict(kf);
    symmetrise(kf);
    return;
  }
  update_mounting(ins);
  Matrix<8, 18> H;
  Matrix<8, 8> R;
  for (std::size_t i = 0; i < 6; ++i) H.e[i][3 + i] = 1.0;
  vehicle_row(ins, 0, H.e[6]);
  vehicle_row(ins, 2, H.e[7]);
  H.e[6][16] = -vehicle_velocity(ins, 2);
  H.e[6][17] = vehicle_velocity(ins, 1);
  H.e[7][15] = -vehicle_velocity(ins, 1);
  H.e[7][16] = vehicle_velocity(ins, 0);
  for (std::size_t i = 0; i < 8; ++i) R.e[i][i] = r[i] * r[i];
  const Intermediate<8> kept = measurement_update(kf, z, H, R);
  R.store(kf.R);
  kept.PHt.store(kf.PHt);
  kept.S.store(kf.S);
  kept.K.store(kf.K);
}

inline void MeasureUpdate(double* pos, double* vel, double* r, INS& ins, KF& kf, glvs& /*glv*/) {
  std::fill_n(kf.X, 18, 0.0);
  update_mounting(ins);
  double z[8];
  for (std::size_t i = 0; i < 3; ++i) {
    z[i] = ins.vn[i] - vel[i];
    z[3 + i] = ins.pos[i] - pos[i];
  }
  z[6] = vehicle_velocity(ins, 0);
  z[7] = vehicle_velocity(ins, 2);
  dense::KfUpdate(ins, kf, z, r, true);
  KfFeedback(ins, kf);
  qdelphi(ins.install_qnb, kf.X + 15);
  InstallAttsyn(ins.install_qnb, ins);
  std::fill_n(ins.after_an[0], 3, 0.0);
  std::fill_n(ins.after_wb, 3, 0.0);
}

inline void ZUPT(KF& kf, INS& ins) {
  std::fill_n(kf.X, 18, 0.0);
  Matrix<3, 18> H;
  for (std::size_t k = 0; k < 3; ++k) H.e[k][3 + k] = 1.0;
  measurement_update(kf, ins.vn, H, diagonal<3>(0.0001));
  KfFeedback(ins, kf);
}

inline void NHC(KF& kf, INS& ins) {
  std::fill_n(kf.X, 18, 0.0);
  update_mounting(ins);
  Matrix<2, 18> H;
  vehicle_row(ins, 0, H.e[0]);
  vehicle_row(ins, 2, H.e[1]);
  const double z[2] = {vehicle_velocity(ins, 0), vehicle_velocity(ins, 2)};
  measurement_update(kf, z, H, diagonal<2>(0.0025000000000000005));
  KfFeedback(ins, kf);
}

inline void wBiasupdate(KF& kf, INS& ins, double* gyro) {
  std::fill_n(kf.X, 18, 0.0);
  Matrix<3, 18> H;
  double z[3];
  for (std::size_t k = 0; k < 3; ++k) {
    H.e[k][9 + k] = 1.0;
    z[k] = gyro[k] - ins.eb[k];
  }
  measurement_update(kf, z, H, diagonal<3>(8.999999999999999e-08));
  for (std::size_t k = 0; k < 3; ++k) ins.eb[k] += kf.X[9 + k];
}

inline void tiltupdate(KF& kf, INS& ins, double* acc) {
  std::fill_n(kf.X, 18, 0.0);
  const double* C = ins.Cnb;
  double a[3], z[2] = {};
  for (std::size_t i = 0; i < 3; ++i) a[i] = (acc[i] - ins.db[i]) / -9.80665;
  if (ins.att_mode == 2) {
    z[0] = std::asin(C[7]) - std::atan2(-a[1], std::sqrt(a[0] * a[0] + a[2] * a[2]));
    z[1] = std::atan2(-C[6], C[8]) - std::atan2(a[0], -a[2]);
  } else if (ins.att_mode == 1) {
    z[0] = std::atan2(C[7], C[8]) - std::atan2(-a[1], -a[2]);
    z[1] = std::asin(-C[6]) - std::atan2(a[0], std::sqrt(a[1] * a[1] + a[2] * a[2]));
  }
  Matrix<2, 18> H;
  H.e[0][0] = H.e[1][1] = 1.0;
  measurement_update(kf, z, H, diagonal<2>(0.0016));
  const double correction[3] = {-kf.X[0], -kf.X[1], 0.0};
  qdelphi(ins.qnb, correction);
  attsyn(ins.qnb, ins);
}

}  // namespace zuvdr::dense
