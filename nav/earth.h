// The earth's constants.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZuVDR.h"

namespace zuvdr {

inline constexpr double kGravity = 9.80665;  // standard gravity, m/s^2, everywhere on the earth

}  // namespace zuvdr

// Earth and unit constants (WGS 84).
struct glvs {
  std::uint32_t Re;  // equatorial radius, m
  double f;          // flattening
  double wie;        // earth rotation rate, rad/s
  double g0;         // standard gravity, m/s^2
  double reserved;   // not set, not read
  double hur;        // seconds per hour
  double e;          // first eccentricity
  double e2;         // its square
  double pi;
};
static_assert(sizeof(glvs) == 72);
static_assert(offsetof(glvs, f) == 8 && offsetof(glvs, hur) == 40 && offsetof(glvs, pi) == 64);

// Fills the constants.
ZUVDR_EXPORT void GlvInit(glvs& glv);
