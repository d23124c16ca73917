#include "tools/simulation/random.h"

namespace zuvdr::tools {
namespace {

// FNV-1a over the name, started from the seed, with a finalising mix (splitmix64) so that
// neighbouring seeds give unrelated states.
std::uint64_t stream_state(std::uint64_t seed, std::string_view name) {
  std::uint64_t hash = 0xcbf29ce484222325u ^ (seed * 0x9e3779b97f4a7c15u);
  for (const char character : name) {
    hash ^= static_cast<unsigned char>(character);
    hash *= 0x100000001b3u;
  }
  hash = (hash ^ (hash >> 30)) * 0xbf58476d1ce4e5b9u;
  hash = (hash ^ (hash >> 27)) * 0x94d049bb133111ebu;
  return hash ^ (hash >> 31);
}

}  // namespace

RandomStream::RandomStream(std::uint64_t seed, std::string_view name)
    : bits_(stream_state(seed, name)) {}

double RandomStream::uniform() {
  return static_cast<double>(bits_() >> 11) * 0x1p-53;
}

double RandomStream::uniform(double low, double high) {
  return low + (high - low) * uniform();
}

double RandomStream::normal() {
  // Twelve 32-bit numbers, each with variance 2^64/12; the sum is exact in 64 bits. The half
  // counts at the cell centres: (k + 1/2) has mean 2^31.
  std::int64_t sum = 0;
  for (int draw = 0; draw < 6; ++draw) {
    const std::uint64_t word = bits_();
    sum += static_cast<std::int64_t>(word >> 32) + static_cast<std::int64_t>(word & 0xffffffffu);
  }
  return (static_cast<double>(sum - 6 * (std::int64_t{1} << 32)) + 6.0) * 0x1p-32;
}

}  // namespace zuvdr::tools
