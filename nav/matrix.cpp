#include "nav/matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

void MatrixMul(double* A, double* B, double* C, int m, int n, int p) {
  if (m < 1 || n < 1 || p < 1) return;
  const auto rows = static_cast<std::size_t>(m);
  const auto inner = static_cast<std::size_t>(n);
  const auto columns = static_cast<std::size_t>(p);
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) {
      for (std::size_t k = 0; k < inner; ++k) {
        C[i * columns + j] += A[i * inner + k] * B[k * columns + j];
      }
    }
  }
}

void MatrixTranspose(double* A, double* B, int m, int n) {
  if (m < 1 || n < 1) return;
  const auto rows = static_cast<std::size_t>(m);
  const auto columns = static_cast<std::size_t>(n);
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) B[j * rows + i] = A[i * columns + j];
  }
}

namespace {

// The steps of the inverse work in place on a square matrix.
struct Square {
  double* data;
  std::size_t n;

  double& operator()(std::size_t i, std::size_t j) const { return data[i * n + j]; }

  // sum + sum(first <= k < end) a(i, k) a(k, j)
  double add_products(double sum, std::size_t i, std::size_t j, std::size_t first,
                      std::size_t end) const {
    for (std::size_t k = first; k < end; ++k) sum += data[i * n + k] * data[k * n + j];
    return sum;
  }
};

// A becomes U on and above the diagonal and L below it (unit diagonal not stored), without pivoting
// because the matrices of the filters are symmetric and positive definite:
// U[k][j] = A[k][j] - sum(t<k) L[k][t] U[t][j],  L[i][k] = (A[i][k] - sum(t<k) L[i][t] U[t][k]) /
// U[k][k].
void factorise(const Square& a) {
  for (std::size_t k = 0; k < a.n; ++k) {
    for (std::size_t j = k; j < a.n; ++j) a(k, j) -= a.add_products(0.0, k, j, 0, k);
    for (std::size_t i = k + 1; i < a.n; ++i) {
      a(i, k) = (a(i, k) - a.add_products(0.0, i, k, 0, k)) / a(k, k);
    }
  }
}

// U becomes U^-1, column by column.
void invert_upper(const Square& u) {
  for (std::size_t j = 0; j < u.n; ++j) {
    const double reciprocal = 1.0 / u(j, j);
    for (std::size_t i = 0; i < j; ++i) u(i, j) = -u.add_products(0.0, i, j, i, j) * reciprocal;
    u(j, j) = reciprocal;
  }
}

// L (unit diagonal not stored) becomes L^-1, column by column.
void invert_unit_lower(const Square& l) {
  for (std::size_t j = 0; j < l.n; ++j) {
    for (std::size_t i = j + 1; i < l.n; ++i) l(i, j) = -l.add_products(l(i, j), i, j, j + 1, i);
  }
}

// The product U^-1 L^-1. Row i needs only rows i and below of L^-1, and element (i, j) only columns
// max(i, j) and beyond of U^-1, so rows and columns in ascending order may overwrite the factors.
// The zero halves are never multiplied: an infinity spreads only along its own row and column.
void multiply_factors(const Square& a) {
  for (std::size_t i = 0; i < a.n; ++i) {
    for (std::size_t j = 0; j < i; ++j) a(i, j) = a.add_products(0.0, i, j, i, a.n);
    // From the diagonal on the first term is that of the ones of L^-1 (added to zero, as in every
    // sum, so that no zero is negative).
    for (std::size_t j = i; j < a.n; ++j) a(i, j) = a.add_products(0.0 + a(i, j), i, j, j + 1, a.n);
  }
}

}  // namespace

void MatrixInverse_n(double* A, double* Ainv, int n) {
  if (n < 1) return;
  const Square work{Ainv, static_cast<std::size_t>(n)};
  if (Ainv != A) std::copy_n(A, work.n * work.n, Ainv);
  factorise(work);
  invert_upper(work);
  invert_unit_lower(work);
  multiply_factors(work);
}

double MatrixLength(double* v, int n) {
  double sum = 0.0;
  for (int k = 0; k < n; ++k) sum += v[k] * v[k];
  return std::sqrt(sum);
}
