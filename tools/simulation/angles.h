// Angles in degrees.
#pragma once

#include "nav/constants.h"

namespace zuvdr::tools {

inline constexpr double kDegree = kPi / 180.0;  // rad

}  // namespace zuvdr::tools
