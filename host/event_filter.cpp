#include "host/event_filter.h"

#include <algorithm>
#include <cmath>

#include "nav/clock.h"

namespace zuvdr {
namespace {

// No phone measures more; the engine's low-pass filters would keep an infinity for good.
constexpr double kMostForce = 500.0;  // m/s^2
constexpr double kMostRate = 100.0;   // rad/s
constexpr double kFarthest = 4e18;  // ns from 0, 127 years: differences and bins stay within int64

bool near(std::int64_t a, std::int64_t b) {
  return std::abs(elapsed_seconds(a, b)) <
         static_cast<double>(EventFilter::kLongestJump) / kNanosecondsPerSecond;
}

}  // namespace

EventFilter::Stream* EventFilter::stream_of(const SensorData& event) {
  const auto stream =
      std::ranges::find(streams_, event.type, [](const Stream& s) { return s.type; });
  return stream == streams_.end() ? nullptr : &*stream;
}

bool EventFilter::plausible(const SensorData& event) {
  Stream* const stream = stream_of(event);
  if (stream == nullptr) return false;
  const double most = event.type == ZUVDR_SENSOR_ACCELEROMETER ? kMostForce : kMostRate;
  if (!std::all_of(event.values, event.values + 3,
                   [most](double v) { return std::fabs(v) <= most; })) {
    return false;
  }
  const std::int64_t time = event.timestamp;
  if (std::abs(static_cast<double>(time)) > kFarthest) return false;
  if (stream->last && !near(time, *stream->last)) {
    const bool confirmed = stream->suspect && near(time, *stream->suspect);
    stream->suspect = time;
    if (!confirmed) return false;
  }
  stream->last = time;
  stream->suspect.reset();
  return true;
}

bool EventFilter::advances(const SensorData& event) {
  Stream* const stream = stream_of(event);
  if (stream == nullptr) return false;
  if (stream->used && near(event.timestamp, *stream->used) && event.timestamp <= *stream->used) {
    return false;
  }
  stream->used = event.timestamp;
  return true;
}

}  // namespace zuvdr
