// Products of row-major matrices whose sizes are known when compiling.
//
// Inner sums are unrolled (all sizes are at most 18): then compilers work on neighbouring columns
// side by side and keep a sum in its register. Rows of 18, two columns at a time, are unrolled as
// well. The order of every sum stays that of plain loops.
#pragma once

#include <array>
#include <cstddef>

namespace zuvdr {

// out (n x p) = A B, A: the columns a_columns of a (n rows of a_width), B: the rows b_rows of b
// (rows of p). The sums run in the order of these; out must not overlap a or b.
template <std::size_t n, std::size_t p, std::size_t a_width, auto a_columns, auto b_rows>
void multiply_selected(const double* __restrict a, const double* __restrict b,
                       double* __restrict out) {
  static_assert(a_columns.size() == b_rows.size());
  for (std::size_t i = 0; i < n; ++i) {
#pragma GCC unroll 9
    for (std::size_t j = 0; j < p; ++j) {
      double sum = 0.0;
#pragma GCC unroll 18
      for (std::size_t k = 0; k < a_columns.size(); ++k) {
        sum += a[i * a_width + a_columns[k]] * b[b_rows[k] * p + j];
      }
      out[i * p + j] = sum;
    }
  }
}

// 0, 1, ..., m - 1.
template <std::size_t m>
inline constexpr auto kAll = [] {
  std::array<std::size_t, m> numbers{};
  for (std::size_t k = 0; k < m; ++k) numbers[k] = k;
  return numbers;
}();

// out (n x p) = a (n x m) b (m x p); out must not overlap a or b.
template <std::size_t n, std::size_t m, std::size_t p>
void multiply(const double* a, const double* b, double* out) {
  multiply_selected<n, p, m, kAll<m>, kAll<m>>(a, b, out);
}

// out (m x n) = a^T with a n x m; out must not overlap a.
template <std::size_t n, std::size_t m>
void transpose(const double* __restrict a, double* __restrict out) {
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < m; ++j) out[j * n + i] = a[i * m + j];
  }
}

// out (n x p) = a (n x m) b^T with b p x m.
template <std::size_t n, std::size_t m, std::size_t p>
void multiply_transposed(const double* a, const double* b, double* out) {
  double b_transposed[m * p];
  transpose<p, m>(b, b_transposed);
  multiply<n, m, p>(a, b_transposed, out);
}

// out = a + b, all n x n and not overlapping.
template <std::size_t n>
void add(const double* __restrict a, const double* __restrict b, double* __restrict out) {
#pragma GCC unroll 9
  for (std::size_t k = 0; k < n * n; ++k) out[k] = a[k] + b[k];
}

// out = (A + A^T)/2; element(i n + j) gives A(i, j) and may read out, because both elements of a
// pair are taken before either is written. By pairs of small blocks, so that loops take no time.
template <std::size_t n, typename Element>
void store_symmetric(Element element, double* out) {
  constexpr std::size_t block = n % 3 == 0 ? 3 : 2;
  static_assert(n % block == 0);
  const auto store_pair = [&element, out](std::size_t i, std::size_t j) {
    out[i * n + j] = out[j * n + i] = (element(i * n + j) + element(j * n + i)) * 0.5;
  };
  for (std::size_t i = 0; i < n; i += block) {
#pragma GCC unroll 3
    for (std::size_t r = 0; r < block; ++r) {
#pragma GCC unroll 3
      for (std::size_t s = r; s < block; ++s) store_pair(i + r, i + s);
    }
    for (std::size_t j = i + block; j < n; j += block) {
#pragma GCC unroll 3
      for (std::size_t r = 0; r < block; ++r) {
#pragma GCC unroll 3
        for (std::size_t s = 0; s < block; ++s) store_pair(i + r, j + s);
      }
    }
  }
}

// P = (P + P^T)/2.
template <std::size_t n>
void symmetrise(double* p) {
  store_symmetric<n>([p](std::size_t k) { return p[k]; }, p);
}

// Whether all elements of a (n x n) are finite. A sum that contains an infinity or a NaN is not
// finite; one that overflows gives false for finite elements.
template <std::size_t n>
bool all_finite(const double* a) {
  double column_sums[n];
  for (std::size_t j = 0; j < n; ++j) {
    double sum = a[j];
#pragma GCC unroll 18
    for (std::size_t i = 1; i < n; ++i) sum += a[i * n + j];
    column_sums[j] = sum;
  }
  double sum = 0.0;
  for (const double column_sum : column_sums) sum += column_sum;
  return sum - sum == 0.0;
}

}  // namespace zuvdr
