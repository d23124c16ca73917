// Releasing the paired epochs that a fix was awaited for.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "engine/insZuAlgo.h"
#include "nav/clock.h"

namespace {

constexpr std::int64_t kAlignmentTolerance = 40000000;  // ns

// Without fixes the queue grows by an epoch a call, and to search all of it each time would cost
// the square of its length. So the last search of a longer queue than this that found nothing is
// remembered until the queue is short again: one that grows from the start is not taken for the one
// before. A long queue put in its place by hand is told by its ends.
constexpr std::size_t kShortQueue = 256;  // epochs, 10 s at 25 Hz

struct VainSearch {
  std::size_t epochs;  // searched; 0: nothing is remembered
  std::int64_t fix_time;
  std::int64_t oldest;
  std::int64_t newest;
};
VainSearch vain_search{};

// How many of the oldest epochs are known to hold no pair on both sides of the fix.
std::size_t epochs_searched(const std::deque<SensorEpoch>& queue, std::int64_t fix_time) {
  const VainSearch& last = vain_search;
  if (queue.size() <= kShortQueue || last.epochs == 0 || last.epochs > queue.size()) return 0;
  const bool same_queue =
      last.oldest == queue.front().time_ns && last.newest == queue[last.epochs - 1].time_ns;
  return same_queue && last.fix_time == fix_time ? last.epochs : 0;
}

// The newest epoch at or after the fix whose predecessor lies before it; 0 when there is none.
std::size_t first_after_fix(const std::deque<SensorEpoch>& queue, std::int64_t fix_time) {
  const std::size_t oldest = std::max(epochs_searched(queue, fix_time), std::size_t{1});
  // By iterators: an index into a deque costs several times a step to the neighbour.
  auto epoch = std::prev(queue.end());
  for (std::size_t k = queue.size() - 1; k >= oldest; --k) {
    const bool reached = epoch->time_ns >= fix_time;
    if ((--epoch)->time_ns < fix_time && reached) return k;
  }
  if (queue.size() > kShortQueue) {
    vain_search = {queue.size(), fix_time, queue.front().time_ns, queue.back().time_ns};
  }
  return 0;
}

}  // namespace

int insZuAlgo::GpsAlignment() {
  if (epoch_queue.size() <= kShortQueue) vain_search = {};
  if (epoch_queue.empty()) return 0;
  if (zuvdr::elapsed_ns(gps_time, epoch_queue.back().time_ns) > kAlignmentTolerance) return 0;
  if (zuvdr::elapsed_ns(epoch_queue.front().time_ns, gps_time) > kAlignmentTolerance) return 1;
  const std::size_t k = first_after_fix(epoch_queue, gps_time);
  if (k == 0) return 0;
  vain_search = {};
  for (std::size_t released = 0; released <= k; ++released) {
    const SensorEpoch& epoch = epoch_queue.front();
    std::copy_n(epoch.acc, 6, cur_epoch.acc);
    std::copy_n(epoch.gyr, 6, cur_epoch.gyr);
    std::copy_n(epoch.mag, 6, cur_epoch.mag);
    std::copy_n(epoch.pres, 6, cur_epoch.pres);
    cur_epoch.time_ns = epoch.time_ns;
    algo_sensor_update();
    epoch_queue.pop_front();
  }
  return 1;
}
