#include "host/fix_clock.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr std::size_t kMostAngles = 256;  // 10 s at 25 Hz
constexpr std::size_t kMostCourses = 16;
constexpr double kSlowest = 3.0;          // m/s
constexpr double kLongestInterval = 2.5;  // s
constexpr double kTurning = 0.1;          // rad/s
constexpr double kMostResidual = 0.2;     // rad
constexpr int kFewestTurns = 12;
constexpr double kClear = 0.75 * 0.75;  // least cost to the grid's median
constexpr double kKept = 0.998;         // of the cost, by every interval
constexpr double kDriftKept = 0.98;

double wrapped(double angle) {
  return std::remainder(angle, 2.0 * std::numbers::pi);
}

}  // namespace

FixClock::FixClock() : angles_(kMostAngles), courses_(kMostCourses) {}

void FixClock::forget() {
  angles_.clear();
  courses_.clear();
  next_ = courses_.end();
  cost_ = {};
  turns_ = 0;
  offset_.reset();
}

void FixClock::add(const Sample& sample, const Vector& up) {
  const double rate = dot(up, sample.rate);
  double angle = 0.0;
  if (!angles_.empty()) {
    const double dt = elapsed_seconds(sample.time_ns, angles_.back().time_ns);
    if (dt > 0.0 && dt < 1.0) {
      angle = angles_.back().angle + 0.5 * (last_rate_ + rate) * dt;
    } else {
      angles_.clear();
    }
  }
  last_rate_ = rate;
  angles_.push({sample.time_ns, angle});
  for (; next_ + 1 < courses_.end(); ++next_) {
    if (next_ < courses_.begin()) next_ = courses_.begin();
    const Course& to = courses_[next_ + 1];
    if (elapsed_seconds(sample.time_ns, to.time_ns) < kFarthest) break;
    if (use(courses_[next_], to)) estimate();
  }
}

void FixClock::add(const GpsData& fix) {
  const double speed = std::hypot(fix.vel_e, fix.vel_n);
  const bool known = fix.speed_acc > 0.0F && fix.vel_acc_e > 0.0F && speed > kSlowest;
  courses_.push({fix.time_ns, std::atan2(-fix.vel_e, fix.vel_n), known});
}

std::optional<double> FixClock::angle_at(std::int64_t time) const {
  if (angles_.size() < 2 || angles_.front().time_ns > time || angles_.back().time_ns < time) {
    return std::nullopt;
  }
  std::uint64_t low = angles_.begin(), high = angles_.end() - 1;
  while (high - low > 1) {
    const std::uint64_t middle = low + (high - low) / 2;
    (angles_[middle].time_ns <= time ? low : high) = middle;
  }
  const double part = elapsed_seconds(time, angles_[low].time_ns) /
                      elapsed_seconds(angles_[high].time_ns, angles_[low].time_ns);
  return angles_[low].angle + part * (angles_[high].angle - angles_[low].angle);
}

bool FixClock::use(const Course& from, const Course& to) {
  const double duration = elapsed_seconds(to.time_ns, from.time_ns);
  if (!from.known || !to.known || duration > kLongestInterval) return false;
  const double turn = wrapped(to.angle - from.angle);
  std::array<double, kGrid> costs;
  double middle = 0.0;
  for (std::size_t i = 0; i < kGrid; ++i) {
    const auto shift = std::llround((static_cast<double>(i) * kStep - kFarthest) * 1e9);
    const auto begin = angle_at(from.time_ns + shift), end = angle_at(to.time_ns + shift);
    if (!begin || !end) return false;
    if (i == kGrid / 2) middle = *end - *begin;
    const double residual = wrapped(*end - *begin - drift_ * duration - turn);
    const double capped = std::min(std::fabs(residual), kMostResidual);
    costs[i] = capped * std::sqrt(capped);
  }
  for (std::size_t i = 0; i < kGrid; ++i) cost_[i] = kKept * cost_[i] + costs[i];
  if (std::fabs(turn) < 0.03 * duration && std::fabs(middle) < 0.1 * duration) {
    drift_ = kDriftKept * drift_ + (1.0 - kDriftKept) * (middle - turn) / duration;
  }
  if (std::fabs(turn) > kTurning * duration) ++turns_;
  return true;
}

void FixClock::estimate() {
  if (turns_ < kFewestTurns) return;
  const auto least = std::ranges::min_element(cost_) - cost_.begin();
  std::array<double, kGrid> sorted = cost_;
  std::ranges::nth_element(sorted, sorted.begin() + kGrid / 2);
  const bool inside = least > 0 && least + 1 < static_cast<std::ptrdiff_t>(kGrid);
  const auto i = static_cast<std::size_t>(least);
  if (!inside || cost_[i] > kClear * sorted[kGrid / 2]) return;
  const double before = cost_[i - 1], behind = cost_[i + 1];
  const double curvature = before - 2.0 * cost_[i] + behind;
  const double part = curvature > 0.0 ? 0.5 * (before - behind) / curvature : 0.0;
  // Agreement at t + d: the fix belongs to a sensor time d later than its stamp.
  offset_ = -((static_cast<double>(i) + part) * kStep - kFarthest);
}

}  // namespace zuvdr
