// The measurement update that the GNSS update and the four aids share.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>

#include "kf/kf.h"
#include "nav/fixed_matrix.h"
#include "nav/matrix.h"

namespace zuvdr {

// H of an update of m rows: the columns of the observed groups of states, in ascending order. All
// other columns are zero and take no part.
template <std::size_t m, State... observed>
class MeasurementMatrix {
 public:
  static constexpr std::size_t kColumns = 3 * sizeof...(observed);

  // The states that the columns belong to; their order is that of the sums.
  static constexpr std::array<std::size_t, kColumns> kObserved = [] {
    std::array<std::size_t, kColumns> states{};
    std::size_t column = 0;
    for (const std::size_t group : {observed...}) {
      for (std::size_t k = 0; k < 3; ++k) states[column++] = group + k;
    }
    return states;
  }();

  double& operator()(std::size_t row, std::size_t state) { return e_[index(row, state)]; }
  double operator()(std::size_t row, std::size_t state) const { return e_[index(row, state)]; }
  const double* data() const { return e_; }

 private:
  static_assert(std::is_sorted(kObserved.begin(), kObserved.end()));

  static constexpr std::array<std::size_t, kStates> kColumnOf = [] {
    std::array<std::size_t, kStates> columns{};
    columns.fill(kColumns);
    for (std::size_t column = 0; column < kColumns; ++column) columns[kObserved[column]] = column;
    return columns;
  }();

  static std::size_t index(std::size_t row, std::size_t state) {
    assert(kColumnOf[state] < kColumns);
    return row * kColumns + kColumnOf[state];
  }

  double e_[m * kColumns] = {};
};

// Where an update of m rows keeps its intermediate results: the record for the GNSS update, locals
// for the aids.
template <std::size_t m>
struct UpdateStorage {
  double* R;    // m x m, filled by the caller
  double* PHt;  // 18 x m
  double* S;    // m x m
  double* K;    // 18 x m
};

// P = P_prior - (K H) P_prior, symmetrised, with K = P_prior H^T (H P_prior H^T + R)^-1. H has only
// the columns of the observed states, so that it meets only their rows and columns of the other
// matrices. False when P comes out not finite.
template <std::size_t m, State... observed>
bool update_covariance(KF& kf, const MeasurementMatrix<m, observed...>& H,
                       const UpdateStorage<m>& work) {
  constexpr std::size_t c = MeasurementMatrix<m, observed...>::kColumns;
  constexpr auto states = MeasurementMatrix<m, observed...>::kObserved;
  double Ht[c * m];
  transpose<m, c>(H.data(), Ht);
  multiply_selected<kStates, m, kStates, states, kAll<c>>(kf.P_prior, Ht, work.PHt);

  double HPHt[m * m];
  double S_inverse[m * m];
  multiply_selected<m, m, c, kAll<c>, states>(H.data(), work.PHt, HPHt);
  add<m>(HPHt, work.R, work.S);
  MatrixInverse_n(work.S, S_inverse, static_cast<int>(m));
  multiply<kStates, m, m>(work.PHt, S_inverse, work.K);

  double KH[kStates * c];
  double KHP[kStates * kStates];
  multiply<kStates, m, c>(work.K, H.data(), KH);
  multiply_selected<kStates, kStates, c, kAll<c>, states>(KH, kf.P_prior, KHP);
  const double* P_prior = kf.P_prior;
  store_symmetric<kStates>([P_prior, &KHP](std::size_t k) { return P_prior[k] - KHP[k]; }, kf.P);
  return all_finite<kStates>(kf.P);
}

// The same with all 18 columns of H (m x 18) and no term left out.
void update_covariance_dense(KF& kf, double* H, int m, const double* R, double* PHt, double* S,
                             double* K);

// X += K z and the update of P above; z has m elements. P_prior receives P as it was before.
//
// Leaving out the columns that are zero changes no finite result. One that is not finite is
// computed again with all of H, so that the record is that of the full products in every case: zero
// times an infinity or a NaN is a NaN, which reaches states that are not observed.
template <std::size_t m, State... observed>
void update_core(KF& kf, const double* z, const MeasurementMatrix<m, observed...>& H,
                 const UpdateStorage<m>& work) {
  std::copy_n(kf.P, kStates * kStates, kf.P_prior);
  if (!update_covariance(kf, H, work)) {
    double full[m * kStates] = {};
    for (std::size_t row = 0; row < m; ++row) {
      for (const std::size_t state : H.kObserved) full[row * kStates + state] = H(row, state);
    }
    update_covariance_dense(kf, full, static_cast<int>(m), work.R, work.PHt, work.S, work.K);
  }
  double correction[kStates];
  multiply<kStates, m, 1>(work.K, z, correction);
  for (std::size_t i = 0; i < kStates; ++i) kf.X[i] += correction[i];
}

// The elements of H for the attitude and the velocity in a row that measures m . vn, m a row of
// Cmount: vn x m and m.
template <typename Matrix>
void vehicle_velocity_row(const double m[3], const double vn[3], std::size_t row, Matrix& H) {
  H(row, kAttitude) = m[2] * vn[1] - m[1] * vn[2];
  H(row, kAttitude + 1) = m[0] * vn[2] - m[2] * vn[0];
  H(row, kAttitude + 2) = m[1] * vn[0] - m[0] * vn[1];
  for (std::size_t i = 0; i < 3; ++i) H(row, kVelocity + i) = m[i];
}

}  // namespace zuvdr
