#include "tools/simulation/wander.h"

#include <cmath>

#include "nav/constants.h"
#include "tools/simulation/random.h"

namespace zuvdr::tools {

Wander::Wander(std::uint64_t seed, std::string_view name, double rms, double slowest,
               double fastest) {
  RandomStream random(seed, name);
  const auto count = static_cast<double>(waves_.size());
  double band = slowest;
  for (Wave& wave : waves_) {
    // One wave in each of equal bands, so that no two beat for long.
    const double width = (fastest - slowest) / count;
    wave.frequency = kTwoPi * random.uniform(band, band + width);
    wave.phase = random.uniform(0.0, kTwoPi);
    wave.amplitude = rms * std::sqrt(2.0 / count);
    band += width;
  }
}

Jet Wander::at(double t) const {
  Jet sum;
  for (const Wave& wave : waves_) {
    sum = sum + wave.amplitude * sin(Jet{wave.frequency * t + wave.phase, wave.frequency, 0.0});
  }
  return sum;
}

}  // namespace zuvdr::tools
