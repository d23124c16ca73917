#include "host/gap_filling.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kSlowestCourse = 2.0;  // m/s
constexpr double kUnrest = 0.003;       // rad/s

}  // namespace

Vector unrest(std::int64_t time_ns) {
  const double phase =
      2.0 * std::numbers::pi * static_cast<double>(time_ns % 1'000'000'000) / kNanosecondsPerSecond;
  return {kUnrest * std::sin(phase), kUnrest * std::cos(phase), kUnrest * std::sin(phase)};
}

void GapFilling::add(const GpsData& fix) {
  if (count_ == fixes_.size()) {
    std::copy(fixes_.begin() + 1, fixes_.end(), fixes_.begin());
    --count_;
  }
  fixes_[count_++] = fix;
}

Sample GapFilling::at(std::int64_t time_ns, const Mounting& mounting, const Vector& resting_force,
                      const Vector& resting_rate) const {
  std::size_t k = 1;
  while (k + 1 < count_ && fixes_[k].time_ns < time_ns) ++k;
  const GpsData& from = fixes_[k - 1];
  const GpsData& to = fixes_[k];
  const double duration = std::max(elapsed_seconds(to.time_ns, from.time_ns), 1e-3);
  const bool inside = from.time_ns <= time_ns && time_ns <= to.time_ns;
  const double part = std::clamp(elapsed_seconds(time_ns, from.time_ns) / duration, 0.0, 1.0);
  const double first = std::hypot(from.vel_e, from.vel_n), last = std::hypot(to.vel_e, to.vel_n);
  const double speed = first + part * (last - first);
  double turn = 0.0, forward = 0.0;
  if (inside) {
    forward = (last - first) / duration;
    if (std::min(first, last) > kSlowestCourse) {
      const double change = std::atan2(-to.vel_e, to.vel_n) - std::atan2(-from.vel_e, from.vel_n);
      turn = std::remainder(change, 2.0 * std::numbers::pi) / duration;
    }
  }
  return {time_ns, resting_force + mounting.to_phone({-speed * turn, forward, 0.0}),
          resting_rate + turn * mounting.up + unrest(time_ns)};
}

}  // namespace zuvdr
