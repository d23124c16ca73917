// Arithmetic on int64 nanosecond time stamps that is defined for any pair of stamps.
#pragma once

#include <cstdint>
#include <limits>

#include "nav/constants.h"

namespace zuvdr {

// later - earlier in ns; a difference that int64 cannot hold becomes the nearest value it can. A
// wrapped difference would turn a far future into the past, and pairing would never end.
inline std::int64_t elapsed_ns(std::int64_t later, std::int64_t earlier) {
  std::int64_t difference = 0;
  if (!__builtin_sub_overflow(later, earlier, &difference)) return difference;
  return later < earlier ? std::numeric_limits<std::int64_t>::min()
                         : std::numeric_limits<std::int64_t>::max();
}

inline double elapsed_seconds(std::int64_t later, std::int64_t earlier) {
  return static_cast<double>(elapsed_ns(later, earlier)) / kNanosecondsPerSecond;
}

}  // namespace zuvdr
