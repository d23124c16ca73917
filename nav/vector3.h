// Small helpers on three-element vectors and fixed arrays.
#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>

namespace zuvdr {

inline double dot(const double a[3], const double b[3]) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline double norm(const double v[3]) {
  return std::sqrt(dot(v, v));
}

template <typename... Arrays>
void zero(Arrays&... arrays) {
  (std::fill(std::begin(arrays), std::end(arrays), 0.0), ...);
}

}  // namespace zuvdr
