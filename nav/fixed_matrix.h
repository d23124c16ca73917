// Products of row-major matrices whose sizes are known when compiling.
#pragma once

#include <cstddef>

namespace zuvdr {

// out (n x p) = a (n x m) b (m x p), sums in ascending inner index.
template <std::size_t n, std::size_t m, std::size_t p>
void multiply(const double* a, const double* b, double* out) {
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < p; ++j) {
      double sum = 0.0;
      for (std::size_t k = 0; k < m; ++k) sum += a[i * m + k] * b[k * p + j];
      out[i * p + j] = sum;
    }
  }
}

// out (n x p) = a (n x m) b^T with b p x m, sums in ascending inner index.
template <std::size_t n, std::size_t m, std::size_t p>
void multiply_transposed(const double* a, const double* b, double* out) {
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < p; ++j) {
      double sum = 0.0;
      for (std::size_t k = 0; k < m; ++k) sum += a[i * m + k] * b[j * m + k];
      out[i * p + j] = sum;
    }
  }
}

// P = (P + P^T)/2.
template <std::size_t n>
void symmetrise(double* p) {
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = i; j < n; ++j) {
      p[i * n + j] = p[j * n + i] = (p[i * n + j] + p[j * n + i]) * 0.5;
    }
  }
}

}  // namespace zuvdr
