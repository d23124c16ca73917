// Filing raw events by type and pairing them into epochs around the gyroscope event.
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "engine/insZuAlgo.h"
#include "engine/limits.h"
#include "nav/clock.h"

namespace {

using zuvdr::kPairingTolerance;

constexpr std::int32_t kInertialPaired = 1;
constexpr std::int32_t kMagnetometerPaired = 2;
constexpr std::int32_t kPressurePaired = 4;

double distance(std::int64_t a, std::int64_t b) {
  return std::fabs(static_cast<double>(zuvdr::elapsed_ns(a, b)));
}

bool within_tolerance(std::int64_t a, std::int64_t b) {
  return distance(a, b) <= static_cast<double>(kPairingTolerance);
}

bool too_far(std::int64_t later, std::int64_t earlier) {
  return zuvdr::elapsed_ns(later, earlier) > kPairingTolerance;
}

// Drops the front event when the one behind it is closer to the time; a tie keeps the older event.
void keep_nearer(std::deque<SensorData>& queue, std::int64_t time) {
  if (queue.size() < 2) return;
  if (distance(time, queue[0].timestamp) > distance(queue[1].timestamp, time)) queue.pop_front();
}

// True when the fronts of both queues form a pair. Fronts that can no longer find a partner go.
bool pair_inertial(std::deque<SensorData>& gyroscope, std::deque<SensorData>& accelerometer) {
  while (!gyroscope.empty() && !accelerometer.empty()) {
    const std::int64_t g = gyroscope.front().timestamp;
    const std::int64_t a = accelerometer.front().timestamp;
    if (within_tolerance(g, a)) {
      keep_nearer(accelerometer, g);
      return true;
    }
    if (too_far(a, g)) {
      gyroscope.pop_front();
    } else {
      accelerometer.pop_front();
    }
  }
  return false;
}

// True when the queue's front belongs to the epoch at time g. With fewer than `needed` events
// queued a front in range stays for a later epoch. Older fronts are dropped, newer ones kept.
bool pair_auxiliary(std::deque<SensorData>& queue, std::int64_t g, std::size_t needed) {
  while (!queue.empty()) {
    const std::int64_t t = queue.front().timestamp;
    if (within_tolerance(g, t)) {
      if (queue.size() < needed) return false;
      keep_nearer(queue, g);
      return true;
    }
    if (too_far(t, g)) return false;
    queue.pop_front();
  }
  return false;
}

void take_values(std::deque<SensorData>& queue, float (&values)[6]) {
  for (std::size_t i = 0; i < 6; ++i) values[i] = static_cast<float>(queue.front().values[i]);
  queue.pop_front();
}

}  // namespace

int insZuAlgo::DataSort(SensorData event) {
  std::deque<SensorData>* queue = nullptr;
  switch (event.type) {
    case ZUVDR_SENSOR_ACCELEROMETER:
      queue = &acc_queue;
      break;
    case ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED:
      queue = &gyr_queue;
      break;
    case ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED:
      queue = &mag_queue;
      break;
    case ZUVDR_SENSOR_PRESSURE:
      queue = &pres_queue;
      break;
    default:
      return 0;
  }
  std::memset(&event, 0, offsetof(SensorData, values));
  queue->push_back(event);

  match_mask = 0;
  if (!pair_inertial(gyr_queue, acc_queue)) return 0;
  match_mask = kInertialPaired;
  const std::int64_t time = gyr_queue.front().timestamp;
  if (pair_auxiliary(mag_queue, time, 1)) match_mask += kMagnetometerPaired;
  // A lone pressure event waits for its successor, unlike a magnetometer event.
  if (pair_auxiliary(pres_queue, time, 2)) match_mask += kPressurePaired;

  SensorEpoch& epoch = epoch_queue.emplace_back();
  epoch.time_ns = time;
  epoch.match_mask = match_mask;
  take_values(acc_queue, epoch.acc);
  take_values(gyr_queue, epoch.gyr);
  if ((match_mask & kMagnetometerPaired) != 0) take_values(mag_queue, epoch.mag);
  if ((match_mask & kPressurePaired) != 0) take_values(pres_queue, epoch.pres);
  return 1;
}

int insZuAlgo::SensorUpdate(SensorData event) {
  return DataSort(event) == 0 ? 0 : GpsAlignment();
}

int insZuAlgo::algo_gpswin_update() {
  return epoch_queue.empty() ? 1 : 0;
}
