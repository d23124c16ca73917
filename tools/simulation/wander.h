// A slow irregular variation with exact derivatives: a sum of sines of random frequency and phase.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tools/simulation/jet.h"

namespace zuvdr::tools {

class Wander {
 public:
  // rms: of the variation; its frequencies lie between slowest and fastest, Hz.
  Wander(std::uint64_t seed, std::string_view name, double rms, double slowest, double fastest);

  Jet at(double t) const;

 private:
  struct Wave {
    double amplitude;
    double frequency;  // rad/s
    double phase;      // rad
  };
  std::array<Wave, 6> waves_;
};

}  // namespace zuvdr::tools
