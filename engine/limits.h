// Limits of the engine that whoever looks at a log has to know too.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zuvdr {

inline constexpr float kVehicleSpeed = 5.0F;    // m/s, switches to the vehicle, and the walker off
inline constexpr float kAlignmentSpeed = 6.0F;  // m/s, course good enough for a heading

// A standstill that levels the attitude: quiet windows before the one that ends the motion, and s.
inline constexpr std::int32_t kQuietWindowsToStand = 25;
inline constexpr double kLongQuiet = 1.5;
inline constexpr double kConvergedTilt = 0.2;  // degrees, 1 sigma

inline constexpr std::size_t kConvergenceWindow = 50;      // GNSS epochs
inline constexpr std::ptrdiff_t kConvergenceSamples = 30;  // accepted ones that make a verdict

inline constexpr std::int32_t kStepsToStart = 11;  // in a bout, that start the walker's propagation
inline constexpr double kSlowestWalk = 0.46;       // m/s, below it the walker ends

inline constexpr std::int64_t kPairingTolerance = 40000000;  // ns, events of one epoch
inline constexpr double kLongestStep = 1.5;                  // s; a longer gap is not integrated

// Degrees; a filtered position outside 0 to these is taken for a runaway solution.
inline constexpr double kLargestLongitude = 180.0;
inline constexpr double kLargestLatitude = 90.0;

}  // namespace zuvdr
