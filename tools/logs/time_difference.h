// Differences of time stamps.
#pragma once

#include <cstdint>

namespace zuvdr::tools {

// later - earlier in seconds, to 0.2 us for any time of this century; defined for any two stamps.
inline double seconds_between(std::int64_t earlier, std::int64_t later) {
  return (static_cast<double>(later) - static_cast<double>(earlier)) * 1e-9;
}

}  // namespace zuvdr::tools
