// A quantity of time together with its first and second time derivative. Composing motions from
// jets gives their exact rates and accelerations, with no differencing.
#pragma once

#include <array>
#include <cmath>

#include "tools/simulation/vectors.h"

namespace zuvdr::tools {

struct Jet {
  double value = 0.0;
  double rate = 0.0;       // per s
  double curvature = 0.0;  // per s^2
};

constexpr Jet constant(double value) {
  return {value, 0.0, 0.0};
}

// The derivative as a quantity of its own. Its curvature would need a third derivative and reads
// zero: good for values and rates.
constexpr Jet derivative(const Jet& a) {
  return {a.rate, a.curvature, 0.0};
}

constexpr Jet operator+(const Jet& a, const Jet& b) {
  return {a.value + b.value, a.rate + b.rate, a.curvature + b.curvature};
}
constexpr Jet operator-(const Jet& a) {
  return {-a.value, -a.rate, -a.curvature};
}
constexpr Jet operator-(const Jet& a, const Jet& b) {
  return a + (-b);
}
constexpr Jet operator*(double s, const Jet& a) {
  return {s * a.value, s * a.rate, s * a.curvature};
}
constexpr Jet operator*(const Jet& a, const Jet& b) {
  return {a.value * b.value, a.rate * b.value + a.value * b.rate,
          a.curvature * b.value + 2.0 * a.rate * b.rate + a.value * b.curvature};
}
constexpr Jet reciprocal(const Jet& a) {
  const double inverse = 1.0 / a.value, slope = -inverse * inverse;
  return {inverse, slope * a.rate, slope * (a.curvature - 2.0 * inverse * a.rate * a.rate)};
}
inline Jet sin(const Jet& a) {
  const double s = std::sin(a.value), c = std::cos(a.value);
  return {s, c * a.rate, c * a.curvature - s * a.rate * a.rate};
}
inline Jet cos(const Jet& a) {
  const double s = std::sin(a.value), c = std::cos(a.value);
  return {c, -s * a.rate, -s * a.curvature - c * a.rate * a.rate};
}

inline Jet exp(const Jet& a) {
  const double e = std::exp(a.value);
  return {e, e * a.rate, e * (a.curvature + a.rate * a.rate)};
}

// From one value to another along 10 s^3 - 15 s^4 + 6 s^5, s = elapsed / duration in [0, 1], which
// has zero first and second derivatives at both ends.
constexpr Jet blend(double elapsed, double duration, double from, double to) {
  const double s = elapsed / duration, r = 1.0 - s;
  const double change = to - from;
  return {from + change * s * s * s * (10.0 - 15.0 * s + 6.0 * s * s),
          change * 30.0 * s * s * r * r / duration,
          change * 60.0 * s * r * (r - s) / (duration * duration)};
}

using JetVector = std::array<Jet, 3>;
using JetMatrix = std::array<JetVector, 3>;

}  // namespace zuvdr::tools
