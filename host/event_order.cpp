#include "host/event_order.h"

#include <algorithm>
#include <cmath>

#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kForgotten = 0.005;           // of the lateness, by every second
constexpr std::int64_t kPunctual = 2'000'000;  // ns

}  // namespace

EventOrder::EventOrder() : events_(kMost) {}

void EventOrder::add(const SensorData& event) {
  const std::int64_t time = event.timestamp;
  for (Newest& newest : by_type_) {
    if (newest.type != event.type && newest.type != 0) continue;
    const std::int64_t late = newest.type == 0 ? 0 : elapsed_ns(newest.time, time);
    // Later than that it is another clock.
    if (late > 0 && late <= kLongestHold) hold_ = std::max(hold_, late);
    if (late <= 0 || late > kLongestHold) newest = {event.type, time};
    break;
  }
  const bool another_clock = elapsed_ns(newest_, time) > 2 * kLongestHold;
  if (count_ == 0 || another_clock || time > newest_) {
    const double passed = std::min(elapsed_seconds(time, newest_), 1.0);
    if (passed > 0.0) hold_ -= std::llround(static_cast<double>(hold_) * kForgotten * passed);
    if (hold_ < kPunctual) hold_ = 0;
    newest_ = time;
  }
  if (count_ == kMost) {
    first_ = (first_ + 1) % kMost;
    --count_;
  }
  std::size_t place = count_++;
  for (; place > 0 && !another_clock && at(place - 1).timestamp > time; --place) {
    at(place) = at(place - 1);
  }
  at(place) = event;
}

std::optional<SensorData> EventOrder::next() {
  if (count_ == 0) return std::nullopt;
  const std::int64_t age = elapsed_ns(newest_, at(0).timestamp);
  if (age < hold_ && age >= -kLongestHold) return std::nullopt;
  return next_held();
}

std::optional<SensorData> EventOrder::next_held() {
  if (count_ == 0) return std::nullopt;
  const SensorData event = at(0);
  first_ = (first_ + 1) % kMost;
  --count_;
  return event;
}

}  // namespace zuvdr
