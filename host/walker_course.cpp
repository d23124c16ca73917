#include "host/walker_course.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr std::size_t kMostPoints = 120;
constexpr std::size_t kFewest = 15;
constexpr double kOldest = 120.0;  // s
constexpr double kSlowest = 0.6;   // m/s
constexpr double kUpTime = 5.0;    // s, time constant
constexpr double kRobust = 0.2;    // rad, where Huber's weights begin
constexpr double kRoughest = 0.5;  // rad, mean weighted residual of a usable fit
constexpr std::size_t kSpeedFixes = 20;
constexpr int kPasses = 4;

}  // namespace

WalkerCourse::WalkerCourse() : points_(kMostPoints) {}

void WalkerCourse::forget() {
  points_.clear();
  started_ = false;
}

void WalkerCourse::add(const Sample& sample) {
  const double length = norm(sample.force);
  const double dt = started_ ? elapsed_seconds(sample.time_ns, last_time_) : 0.0;
  last_time_ = sample.time_ns;
  if (!started_ || !(dt > 0.0 && dt < 1.0)) {
    if (!(length > 0.0)) return;
    forget();
    started_ = true;
    first_time_ = sample.time_ns;
    angle_ = 0.0;
    up_ = (1.0 / length) * sample.force;
    return;
  }
  angle_ += dot(up_, sample.rate) * dt;
  // A vector at rest turns the other way in the phone's axes.
  up_ = up_ - dt * cross(sample.rate, up_);
  if (length > 0.0) up_ = up_ + dt / kUpTime * ((1.0 / length) * sample.force - up_);
  up_ = (1.0 / std::max(norm(up_), 1e-6)) * up_;
}

void WalkerCourse::add(const GpsData& good_fix) {
  const double speed = std::hypot(good_fix.vel_e, good_fix.vel_n);
  if (!started_ || !(speed > kSlowest)) return;
  const double course = std::atan2(-good_fix.vel_e, good_fix.vel_n);
  const double before = points_.empty() ? 0.0 : points_.back().difference;
  const double change = std::remainder(course - angle_ - before, 2.0 * std::numbers::pi);
  points_.push({elapsed_seconds(good_fix.time_ns, first_time_), before + change, speed});
}

std::optional<WalkerCourse::Estimate> WalkerCourse::estimate() const {
  const double now = elapsed_seconds(last_time_, first_time_);
  std::uint64_t first = points_.begin();
  while (first < points_.end() && points_[first].time < now - kOldest) ++first;
  if (points_.end() - first < kFewest) return std::nullopt;
  double offset = 0.0, drift = 0.0, roughness = 0.0;  // offset: now
  std::array<double, kMostPoints> weights;
  weights.fill(1.0);
  for (int pass = 0; pass < kPasses; ++pass) {
    double w = 0.0, t = 0.0, tt = 0.0, d = 0.0, td = 0.0;
    for (std::uint64_t i = first; i < points_.end(); ++i) {
      const double weight = weights[i - first], time = points_[i].time - now;
      w += weight;
      t += weight * time;
      tt += weight * time * time;
      d += weight * points_[i].difference;
      td += weight * time * points_[i].difference;
    }
    const double determinant = w * tt - t * t;
    drift = determinant > 1.0 ? (w * td - t * d) / determinant : 0.0;
    offset = (d - drift * t) / w;
    roughness = 0.0;
    for (std::uint64_t i = first; i < points_.end(); ++i) {
      const double residual =
          std::fabs(points_[i].difference - offset - drift * (points_[i].time - now));
      weights[i - first] = 1.0 / std::max(1.0, residual / kRobust);
      roughness += weights[i - first] * residual / static_cast<double>(points_.end() - first);
    }
  }
  if (!(roughness < kRoughest)) return std::nullopt;
  const std::uint64_t recent =
      std::max(first, points_.end() > kSpeedFixes ? points_.end() - kSpeedFixes : first);
  double speed = 0.0;
  for (std::uint64_t i = recent; i < points_.end(); ++i) speed += points_[i].speed;
  return Estimate{angle_ + offset, speed / static_cast<double>(points_.end() - recent)};
}

}  // namespace zuvdr
