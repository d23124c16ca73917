// Vectors of three, in the phone's axes unless said otherwise.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "ZuVDR.h"

namespace zuvdr {

using Vector = std::array<double, 3>;

inline Vector operator+(const Vector& a, const Vector& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline Vector operator-(const Vector& a, const Vector& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Vector operator*(double factor, const Vector& a) {
  return {factor * a[0], factor * a[1], factor * a[2]};
}
inline double dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline double norm(const Vector& a) {
  return std::sqrt(dot(a, a));
}

// One epoch of the motion sensors.
struct Sample {
  std::int64_t time_ns;
  Vector force;  // specific force, m/s^2
  Vector rate;   // turn rate, rad/s
};

inline SensorData event_of(std::int32_t type, const Vector& v, std::int64_t time_ns) {
  return {type, {v[0], v[1], v[2], 0.0, 0.0, 0.0}, time_ns};
}

// The vehicle's axes in the phone's.
struct Mounting {
  Vector right{1, 0, 0};
  Vector forward{0, 1, 0};
  Vector up{0, 0, 1};

  Vector to_vehicle(const Vector& v) const { return {dot(right, v), dot(forward, v), dot(up, v)}; }
  Vector to_phone(const Vector& v) const { return v[0] * right + v[1] * forward + v[2] * up; }
};

}  // namespace zuvdr
