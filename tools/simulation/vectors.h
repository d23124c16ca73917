// Vectors and matrices of a motion.
#pragma once

#include <array>

namespace zuvdr::tools {

using Vector3 = std::array<double, 3>;
using Matrix3 = std::array<Vector3, 3>;  // [row][column]

}  // namespace zuvdr::tools
