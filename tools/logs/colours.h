// What the colours of a track mean, in pictures and for map viewers alike.
#pragma once

#include <array>
#include <cstddef>

namespace zuvdr::tools {

inline constexpr std::array kStatusColours{"#66707a", "#1a6fdf", "#f08c00", "#d9302a"};
inline constexpr const char* kTruthColour = "#a5d6a0";
inline constexpr const char* kFixColour = "#3c4043";

// Fused tracks whose colour does not tell the status.
inline constexpr std::array kTrackColours{"#7048e8", "#0b7285", "#c2255c",
                                          "#7a4b1e", "#202124", "#5c940d"};

// A status beyond the table counts as 0.
constexpr const char* status_colour(int status) {
  const auto index = static_cast<std::size_t>(status);
  return kStatusColours[index < kStatusColours.size() ? index : 0];
}

}  // namespace zuvdr::tools
