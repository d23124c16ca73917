// Whether the phone is at rest: quiet windows of the filtered rate.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>

#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "nav/constants.h"
#include "nav/signal.h"

namespace {

// Quiet means: standard deviation of the filtered rate below these, rad/s, tuned per axis.
constexpr std::size_t kQuietWindow = 25;  // epochs, 1 s at 25 Hz
constexpr double kQuietX = 0.00026375;
constexpr double kQuietY = 0.0002375;
constexpr double kQuietZ = 0.000265;

// Whether the standard deviation of a window is below the limit. In a full one two samples d apart
// put it at d / sqrt(2 (n - 1)) or above, d / 6.93, whatever the others are: most windows of a
// moving phone need no sums.
bool deviation_below(const std::deque<double>& window, double limit) {
  if (window.size() != kQuietWindow) return zuvdr::sample_standard_deviation(window) < limit;
  if (std::fabs(window.back() - window.front()) > 8.0 * limit) return false;
  std::array<double, kQuietWindow> samples;
  std::copy(window.begin(), window.end(), samples.begin());
  return zuvdr::sample_standard_deviation(samples) < limit;
}

}  // namespace

void insZuAlgo::detect_quiet() {
  const auto t = static_cast<double>(cur_epoch.time_ns);
  const auto long_quiet = [&] {
    return (t - static_start_time) / zuvdr::kNanosecondsPerSecond > zuvdr::kLongQuiet ? 1 : 0;
  };
  gyr_win_x.push_back(gyr_lpf[0]);
  gyr_win_y.push_back(gyr_lpf[1]);
  gyr_win_z.push_back(gyr_lpf[2]);
  if (gyr_win_x.size() != kQuietWindow) {
    if (moving == 0) static_long = long_quiet();
    return;
  }
  const bool quiet = deviation_below(gyr_win_x, kQuietX) && deviation_below(gyr_win_y, kQuietY) &&
                     deviation_below(gyr_win_z, kQuietZ);
  gyr_win_x.pop_front();
  gyr_win_y.pop_front();
  gyr_win_z.pop_front();
  if (quiet) {
    const std::int32_t before = static_count;
    if (static_count < std::numeric_limits<std::int32_t>::max()) ++static_count;
    moving = before < zuvdr::kQuietWindowsToStand ? 1 : 0;
    if (before >= zuvdr::kQuietWindowsToStand) static_long = long_quiet();
  } else {
    static_count = 0;
    moving = 1;
    static_long = 0;
    static_start_time = t;
  }
}
