// The status of the output position (UpdateLocationbyGPSEvent in include/ZuVDR.h).
#pragma once

namespace zuvdr {

inline constexpr int kRaw = 0;
inline constexpr int kUpdated = 1;
inline constexpr int kDeadReckoned = 2;
inline constexpr int kLongOutage = 3;

}  // namespace zuvdr
