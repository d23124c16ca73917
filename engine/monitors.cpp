// Sliding windows of 0/non-zero samples and their verdicts.
#include <algorithm>

#include "engine/insZuAlgo.h"
#include "engine/limits.h"

namespace {

constexpr std::size_t kStabilityWindow = 30;  // GNSS epochs
constexpr std::size_t kTunnelWindow = 60;
constexpr std::size_t kPdrStabilityWindow = 5;

// Appends the sample to a window of the given capacity and counts its non-zero entries.
std::ptrdiff_t slide(std::deque<std::int32_t>& window, std::size_t capacity, int sample) {
  if (window.size() >= capacity) window.pop_front();
  window.push_back(sample);
  return std::count_if(window.begin(), window.end(), [](std::int32_t s) { return s != 0; });
}

// 1: full of zeros, 0: full of non-zeros, -1: neither, or not full yet.
int unanimous(std::deque<std::int32_t>& window, std::size_t capacity, int sample) {
  const auto non_zero = static_cast<std::size_t>(slide(window, capacity, sample));
  if (window.size() < capacity) return -1;
  if (non_zero == 0) return 1;
  return non_zero == capacity ? 0 : -1;
}

}  // namespace

int insZuAlgo::CarStability(int sample) {
  return unanimous(stability_win, kStabilityWindow, sample);
}

int insZuAlgo::CarTunnel(int sample) {
  return unanimous(tunnel_win, kTunnelWindow, sample);
}

int insZuAlgo::PdrStability(int sample) {
  return unanimous(pdr_stability_win, kPdrStabilityWindow, sample);
}

bool insZuAlgo::CarConvergence(int sample) {
  return slide(convergence_win, zuvdr::kConvergenceWindow, sample) >= zuvdr::kConvergenceSamples;
}
