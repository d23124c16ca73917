// Random numbers that are the same on every platform. The bits come from a generator whose output
// the standard fixes; the transforms use integer arithmetic only, because the standard library's
// distributions differ between vendors.
#pragma once

#include <cstdint>
#include <random>
#include <string_view>

namespace zuvdr::tools {

// One independent stream per source of randomness: drawing more from one leaves the others alone.
class RandomStream {
 public:
  RandomStream(std::uint64_t seed, std::string_view name);

  // Uniform in [0, 1), a multiple of 2^-53.
  double uniform();
  double uniform(double low, double high);

  // 64 random bits, for another generator's seed.
  std::uint64_t bits() { return bits_(); }

  // Mean 0, variance 1, the centred sum of twelve uniform numbers; never beyond 6.
  double normal();

 private:
  std::mt19937_64 bits_;
};

}  // namespace zuvdr::tools
