// Constants of nature and notation that several units share.
#pragma once

namespace zuvdr {

inline constexpr double kPi = 3.141592653589793;      // rad
inline constexpr double kTwoPi = 6.283185307179586;   // rad
inline constexpr double kNanosecondsPerSecond = 1e9;  // ns/s

}  // namespace zuvdr
