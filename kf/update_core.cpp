#include "kf/update_core.h"

#include <algorithm>
#include <cstddef>

#include "nav/fixed_matrix.h"
#include "nav/matrix.h"

namespace {

constexpr int kColumns = zuvdr::kStates;

// out (n x p) = a (n x m) b (m x p); MatrixMul adds to what is there.
void product(double* a, double* b, double* out, int n, int m, int p) {
  std::fill_n(out, static_cast<std::size_t>(n) * static_cast<std::size_t>(p), 0.0);
  MatrixMul(a, b, out, n, m, p);
}

}  // namespace

void zuvdr::update_covariance_dense(KF& kf, double* H, int m, const double* R, double* PHt,
                                    double* S, double* K) {
  double Ht[kStates * kRows];
  double S_inverse[kRows * kRows];
  double KH[kStates * kStates];
  double KHP[kStates * kStates];
  MatrixTranspose(H, Ht, m, kColumns);
  product(kf.P_prior, Ht, PHt, kColumns, kColumns, m);
  product(H, PHt, S, m, kColumns, m);
  for (int i = 0; i < m * m; ++i) S[i] += R[i];
  MatrixInverse_n(S, S_inverse, m);
  product(PHt, S_inverse, K, kColumns, m, m);
  product(K, H, KH, kColumns, m, kColumns);
  product(KH, kf.P_prior, KHP, kColumns, kColumns, kColumns);
  for (std::size_t k = 0; k < kStates * kStates; ++k) kf.P[k] = kf.P_prior[k] - KHP[k];
  symmetrise<kStates>(kf.P);
}
