#include "tools/simulation/sensor_model.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace zuvdr::tools {
namespace {

constexpr double kStampJitter = 1e-3;     // s, greatest deviation of a time stamp
constexpr double kMostJitter = 0.45;      // of the period: stamps keep increasing
constexpr double kClockRateError = 1e-3;  // relative, greatest deviation of a sensor's rate

// Barometer: 0.02 hPa of noise is 0.17 m; the weather moves by about 0.3 hPa in an hour.
constexpr double kPressureNoise = 0.02;    // hPa per sample
constexpr double kPressureWalk = 0.005;    // hPa/sqrt(s)
constexpr double kPressureOffset = 3.0;    // hPa, weather and calibration
constexpr double kPressureCounts = 500.0;  // 1/hPa

}  // namespace

// Usual figures of consumer MEMS sensors (docs/simulator.md). The gyroscope's noise is 2.5e-4 rad/s
// per sample at 25 Hz: phones that lie still must look still.
const SensorErrors kAccelerometerErrors = {.bias = 0.04,
                                           .bias_walk = 2e-4,
                                           .scale = 3e-3,
                                           .misalignment = 3e-3,
                                           .noise = 1.0e-3,
                                           .counts_per_unit = 400.0,
                                           .estimate_error = 0.0,
                                           .estimate_counts = 0.0};
const SensorErrors kGyroscopeErrors = {.bias = 0.008,
                                       .bias_walk = 1e-5,
                                       .scale = 5e-3,
                                       .misalignment = 3e-3,
                                       .noise = 7e-5,
                                       .counts_per_unit = 4000.0,
                                       .estimate_error = 1e-3,
                                       .estimate_counts = 2000.0};
const SensorErrors kMagnetometerErrors = {.bias = 25.0,
                                          .bias_walk = 0.02,
                                          .scale = 1e-2,
                                          .misalignment = 1e-2,
                                          .noise = 0.15,
                                          .counts_per_unit = 8.0,
                                          .estimate_error = 1.5,
                                          .estimate_counts = 8.0};

double quantise(double value, double counts) {
  return std::nearbyint(value * counts) / counts + 0.0;  // -0 becomes 0
}

TriaxialSensor::TriaxialSensor(const SensorErrors& errors, double rate, std::uint64_t seed,
                               std::string_view name)
    : errors_(errors),
      interval_(1.0 / rate),
      noise_(seed, std::string(name) + " noise"),
      shaking_(seed, std::string(name) + " vibration") {
  RandomStream constants(seed, std::string(name) + " constants");
  for (std::size_t axis = 0; axis < 3; ++axis) {
    bias_[axis] = errors.bias * constants.normal();
    const double estimate = bias_[axis] + errors.estimate_error * constants.normal();
    estimate_[axis] =
        errors.estimate_counts > 0.0 ? quantise(estimate, errors.estimate_counts) : 0.0;
    for (std::size_t other = 0; other < 3; ++other) {
      distortion_[axis][other] = axis == other ? 1.0 + errors.scale * constants.normal()
                                               : errors.misalignment * constants.normal();
    }
  }
}

Vector3 TriaxialSensor::sample(const Vector3& truth, double vibration) {
  Vector3 values;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double noise = errors_.noise * std::sqrt(0.5 / interval_) * noise_.normal();
    // The difference of white noise: what shakes a mounted phone moves it to and fro, so that its
    // sum stays bounded and the velocity and attitude do not wander.
    const double shake = shaking_.normal();
    const double disturbance = vibration * std::sqrt(0.5) * (shake - shake_[axis]);
    shake_[axis] = shake;
    const Vector3& row = distortion_[axis];
    const double distorted = row[0] * truth[0] + row[1] * truth[1] + row[2] * truth[2];
    values[axis] = quantise(distorted + bias_[axis] + noise + disturbance, errors_.counts_per_unit);
    bias_[axis] += errors_.bias_walk * std::sqrt(interval_) * noise_.normal();
  }
  return values;
}

Barometer::Barometer(double rate, std::uint64_t seed)
    : interval_(1.0 / rate),
      noise_(seed, "barometer noise"),
      offset_(kPressureOffset * RandomStream(seed, "barometer constants").normal()) {}

// International standard atmosphere, troposphere.
double Barometer::sample(double altitude) {
  const double pressure = 1013.25 * std::pow(1.0 - 0.0065 * altitude / 288.15, 5.25588);
  const double noise = kPressureNoise * noise_.normal();
  offset_ += kPressureWalk * std::sqrt(interval_) * noise_.normal();
  return quantise(pressure + offset_ + noise, kPressureCounts);
}

SampleClock::SampleClock(double rate, std::uint64_t seed, std::string_view name,
                         std::optional<double> jitter)
    : jitter_(seed, std::string(name) + " clock") {
  period_ = (1.0 + jitter_.uniform(-kClockRateError, kClockRateError)) / rate;
  phase_ = period_ * jitter_.uniform();
  reach_ =
      jitter ? std::min(*jitter, kMostJitter * period_) : std::min(kStampJitter, 0.2 * period_);
}

SampleClock::Tick SampleClock::next() {
  const double sampled = phase_ + static_cast<double>(count_++) * period_;
  const double deviation = reach_ * 0.5 * (jitter_.uniform(-1.0, 1.0) + jitter_.uniform(-1.0, 1.0));
  return {sampled, std::llround((sampled + deviation) * 1e9)};
}

}  // namespace zuvdr::tools
