#include "host/mounting_estimate.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "nav/clock.h"

namespace zuvdr {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t kMostIntervals = 300;
constexpr std::size_t kFewest = 8;
constexpr double kSlowest = 0.7;       // m/s
constexpr double kDriving = 3.0;       // m/s
constexpr double kStanding = 0.3;      // m/s
constexpr double kUpTime = 30.0;       // s, time constant
constexpr double kFastUpTime = 4.0;    // s
constexpr double kMoved = 15.0;        // degrees
constexpr double kLeastSpread = 0.01;  // (m/s^2)^2, of the residuals' mean square
constexpr double kLeastCoherence = 0.5;
constexpr std::size_t kRecent = 30;  // intervals
constexpr double kClearSigma = 3.0;  // degrees
constexpr double kTurned = 15.0;
constexpr double kDegree = std::numbers::pi / 180.0;

// With forward as near to `ahead` as it can be.
Mounting mounting_of(const Vector& gravity, const Vector& ahead) {
  const Vector up = (1.0 / norm(gravity)) * gravity;
  const Vector level = ahead - dot(ahead, up) * up;
  const Vector forward = (1.0 / norm(level)) * level;
  return {cross(forward, up), forward, up};
}

}  // namespace

double degrees_turned(const Mounting& from, const Mounting& to) {
  const Vector ahead = from.to_vehicle(to.forward);
  return std::fabs(std::atan2(ahead[0], ahead[1])) / kDegree;
}

MountingEstimate::MountingEstimate() : intervals_(kMostIntervals) {
  for (auto* values : {&vehicle_, &phone_}) values->reserve(kMostIntervals);
  for (auto* values : {&weights_, &residuals_, &sorted_}) values->reserve(kMostIntervals);
}

void MountingEstimate::forget() {
  intervals_.clear();
  result_.reset();
  rest_rate_.reset();
  settled_ = 0.0;
}

bool MountingEstimate::watch(const Sample& sample) {
  const double dt = elapsed_seconds(sample.time_ns, last_time_);
  last_time_ = sample.time_ns;
  if (settled_ == 0.0) {
    fast_up_ = slow_up_ = sample.force;
    settled_ = 1e-3;
    return false;
  }
  if (!(dt > 0.0 && dt < 1.0)) return false;
  settled_ += dt;
  fast_up_ = fast_up_ + dt / std::min(settled_, kFastUpTime) * (sample.force - fast_up_);
  slow_up_ = slow_up_ + dt / std::min(settled_, kUpTime) * (sample.force - slow_up_);
  const double lengths = norm(fast_up_) * norm(slow_up_);
  if (dot(fast_up_, slow_up_) >= std::cos(kMoved * kDegree) * lengths) return false;
  forget();
  return true;
}

bool MountingEstimate::add(const Interval& interval) {
  if (interval.speed < kStanding && std::fabs(interval.forward) < kStanding) {
    rest_rate_ = interval.rate;
  }
  if (!(interval.speed > kSlowest)) return false;
  intervals_.push(interval);
  result_ = estimate(intervals_.begin());
  if (!result_ || intervals_.size() < 2 * kRecent) return false;
  const std::uint64_t recent = intervals_.end() - kRecent;
  const std::optional<Result> now = estimate(recent);
  if (!now || now->sigma > kClearSigma) return false;
  if (degrees_turned(result_->mounting, now->mounting) < kTurned) return false;
  intervals_.drop_before(recent);
  result_ = now;
  return true;
}

Vector MountingEstimate::up() const {
  const double length = norm(slow_up_);
  return length > 1.0 ? (1.0 / length) * slow_up_ : Vector{};
}

Mounting MountingEstimate::assumed_mounting() const {
  const Vector above = up();
  const Vector axis = std::fabs(above[2]) > 0.7 ? Vector{0, 1, 0} : Vector{0, 0, -1};
  return mounting_of(above, axis);
}

std::optional<MountingEstimate::Result> MountingEstimate::estimate(std::uint64_t first) {
  if (intervals_.end() - first < kFewest || norm(slow_up_) < 1.0) return std::nullopt;
  const Mounting assumed = assumed_mounting();
  const Vector& up = assumed.up;
  const Vector& forward = assumed.forward;
  const Vector left = -1.0 * assumed.right;

  double driving = 0.0, turned = 0.0, course = 0.0;
  for (std::uint64_t i = first; i < intervals_.end(); ++i) {
    const Interval& interval = intervals_[i];
    if (interval.speed < kDriving) continue;
    driving += interval.duration;
    turned += dot(up, interval.rate) * interval.duration;
    course += interval.turn * interval.duration;
  }
  const double drift = driving > 0.0 ? (turned - course) / driving : 0.0;
  const double bias_up = rest_rate_ ? dot(up, *rest_rate_) : drift;

  vehicle_.clear();
  phone_.clear();
  for (std::uint64_t i = first; i < intervals_.end(); ++i) {
    const Interval& interval = intervals_[i];
    const double turn = dot(up, interval.rate) - bias_up;
    vehicle_.emplace_back(interval.forward, interval.speed * turn);
    phone_.emplace_back(dot(forward, interval.force), dot(left, interval.force));
  }
  const std::size_t n = vehicle_.size();
  weights_.assign(n, 1.0);
  residuals_.resize(n);
  Complex product, phone_mean, vehicle_mean;
  double energy = 0.0, vehicle_energy = 0.0;
  for (int pass = 0; pass < 3; ++pass) {
    double sum = 0.0;
    phone_mean = vehicle_mean = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      sum += weights_[i];
      phone_mean += weights_[i] * phone_[i];
      vehicle_mean += weights_[i] * vehicle_[i];
    }
    phone_mean /= sum;
    vehicle_mean /= sum;
    product = 0.0;
    energy = vehicle_energy = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      product += weights_[i] * (vehicle_[i] - vehicle_mean) * std::conj(phone_[i] - phone_mean);
      energy += std::norm(phone_[i] - phone_mean);
      vehicle_energy += std::norm(vehicle_[i] - vehicle_mean);
    }
    if (!(std::abs(product) > 0.0)) return std::nullopt;
    const Complex turn = product / std::abs(product);
    for (std::size_t i = 0; i < n; ++i) {
      residuals_[i] =
          std::sqrt(std::norm(vehicle_[i] - vehicle_mean - turn * (phone_[i] - phone_mean)));
    }
    sorted_ = residuals_;
    const auto middle = sorted_.begin() + static_cast<std::ptrdiff_t>(n / 2);
    std::ranges::nth_element(sorted_, middle);
    const double scale = 2.0 * (*middle + 0.03);
    for (std::size_t i = 0; i < n; ++i) weights_[i] = 1.0 / std::max(1.0, residuals_[i] / scale);
  }
  const auto count = static_cast<double>(n);
  double spread = 0.0;
  for (std::size_t i = 0; i < n; ++i) spread += weights_[i] * residuals_[i] * residuals_[i] / 2.0;
  const double variance = std::max(spread / count, kLeastSpread) / energy * count / (count - 3.0);
  const bool coherent = std::abs(product) > kLeastCoherence * std::sqrt(energy * vehicle_energy);
  if (!coherent || !std::isfinite(variance)) return std::nullopt;

  const double theta = std::arg(product);
  Result result;
  // a = exp(i theta) A: the vehicle's forward is where A has the angle -theta.
  const Vector ahead = std::cos(theta) * forward - std::sin(theta) * left;
  result.mounting = {cross(ahead, up), ahead, up};
  result.yaw = -theta / kDegree;
  result.sigma = std::sqrt(variance) / kDegree;
  result.driving = driving;
  Vector gravity{};
  for (std::uint64_t i = first; i < intervals_.end(); ++i) {
    const auto k = static_cast<std::size_t>(i - first);
    const Vector moving{-vehicle_[k].imag(), vehicle_[k].real(), 0.0};
    gravity = gravity + (1.0 / count) * (intervals_[i].force - result.mounting.to_phone(moving));
  }
  result.gravity = gravity;
  result.mounting = mounting_of(gravity, ahead);
  if (rest_rate_) {
    result.bias = *rest_rate_;
  } else {
    // Over a while a vehicle pitches and rolls as much to and fro.
    Vector mean{};
    for (std::uint64_t i = first; i < intervals_.end(); ++i) {
      mean = mean + (1.0 / count) * intervals_[i].rate;
    }
    result.bias = mean + (drift - dot(up, mean)) * up;
  }
  return result;
}

}  // namespace zuvdr
