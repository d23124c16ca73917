#pragma once

#include <cmath>
#include <concepts>

namespace zuvdr::training {

template <std::floating_point T>
T logistic(T x) {
  return T{1} / (T{1} + std::exp(-x));
}

// The inverse.
inline double logit(double p) {
  return std::log(p / (1.0 - p));
}

}  // namespace zuvdr::training
