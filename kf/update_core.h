// The measurement update that the GNSS update and the four aids share.
#pragma once

#include <algorithm>
#include <cstddef>

#include "kf/kf.h"
#include "nav/fixed_matrix.h"
#include "nav/matrix.h"

namespace zuvdr {

// Where an update of m rows keeps its intermediate results: the record for the GNSS update, locals
// for the aids.
template <std::size_t m>
struct UpdateStorage {
  double* R;    // m x m, filled by the caller
  double* PHt;  // 18 x m
  double* S;    // m x m
  double* K;    // 18 x m
};

// X += K z and P = P_prior - (K H) P_prior (short form), symmetrised, with K = P H^T (H P H^T +
// R)^-1; z has m elements, H is m x 18. P_prior receives the copy of P.
template <std::size_t m>
void update_core(KF& kf, const double* z, const double* H, const UpdateStorage<m>& work) {
  std::copy_n(kf.P, kStates * kStates, kf.P_prior);
  multiply_transposed<kStates, kStates, m>(kf.P, H, work.PHt);
  multiply<m, kStates, m>(H, work.PHt, work.S);
  for (std::size_t i = 0; i < m * m; ++i) work.S[i] += work.R[i];
  double S_inverse[m * m];
  MatrixInverse_n(work.S, S_inverse, static_cast<int>(m));
  multiply<kStates, m, m>(work.PHt, S_inverse, work.K);
  for (std::size_t i = 0; i < kStates; ++i) {
    for (std::size_t k = 0; k < m; ++k) kf.X[i] += work.K[i * m + k] * z[k];
  }
  double KH[kStates * kStates];
  double KHP[kStates * kStates];
  multiply<kStates, m, kStates>(work.K, H, KH);
  multiply<kStates, kStates, kStates>(KH, kf.P_prior, KHP);
  for (std::size_t i = 0; i < kStates * kStates; ++i) kf.P[i] = kf.P_prior[i] - KHP[i];
  symmetrise<kStates>(kf.P);
}

// Columns 0 to 5 of the row of H that measures m . vn, m a row of Cmount: vn x m for the attitude,
// m for the velocity. row has 18 elements.
inline void vehicle_velocity_row(const double m[3], const double vn[3], double* row) {
  row[kAttitude] = m[2] * vn[1] - m[1] * vn[2];
  row[kAttitude + 1] = m[0] * vn[2] - m[2] * vn[0];
  row[kAttitude + 2] = m[1] * vn[0] - m[0] * vn[1];
  std::copy_n(m, 3, row + kVelocity);
}

}  // namespace zuvdr
