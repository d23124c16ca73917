#include "bench/journey.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zuvdr::bench {
namespace {

constexpr std::int64_t kEpoch = 40'000'000;  // ns
constexpr double kMostAcceleration = 2.0;    // m/s^2, at most
constexpr double kAccStep = 1.0 / 400.0;     // m/s^2
constexpr double kGyroStep = 1.0 / 4000.0;   // rad/s

double speed_of(Motion motion) {  // m/s
  switch (motion) {
    case Motion::kStanding:
      return 0.0;
    case Motion::kDriving:
      return 12.0;
    case Motion::kWalking:
      return 1.4;
  }
  return 0.0;
}

SensorData event(std::int32_t type, std::int64_t time, const double (&values)[3], double step) {
  SensorData event{};
  event.type = type;
  event.timestamp = time;
  for (int i = 0; i < 3; ++i) event.values[i] = std::round(values[i] / step) * step;
  return event;
}

}  // namespace

Second Journey::next(Motion motion) {
  Second second{};
  const double acceleration =
      std::clamp(speed_of(motion) - speed_, -kMostAcceleration, kMostAcceleration);
  for (std::size_t i = 0; i < 50; i += 2) {
    time_ += kEpoch;
    const double phase = 2.0 * std::numbers::pi * 1e-9 * static_cast<double>(time_);  // at 1 Hz
    double acc[3] = {0.1, acceleration, 9.8};
    double gyr[3] = {};
    if (motion == Motion::kDriving) {
      for (double& rate : gyr) rate = 0.02 * std::sin(0.5 * phase);
    } else if (motion == Motion::kWalking) {
      acc[1] += 0.8 * std::sin(2.0 * phase + 1.0);
      acc[2] += 3.0 * std::sin(2.0 * phase);
      gyr[0] = 0.5 * std::sin(phase);
      gyr[2] = 0.3 * std::sin(2.0 * phase);
    }
    second.events[i] = event(ZUVDR_SENSOR_ACCELEROMETER, time_, acc, kAccStep);
    second.events[i + 1] = event(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, time_, gyr, kGyroStep);
  }
  north_ += speed_ + 0.5 * acceleration;
  speed_ += acceleration;
  GpsData& fix = second.fix;
  fix.time_ns = time_;
  fix.latitude = 48.0 + north_ / 111'200.0;
  fix.longitude = 16.0;
  fix.altitude = 180.0;
  fix.speed = fix.vel_n = static_cast<float>(speed_);
  fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = 0.3F;
  fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = 3.0F;
  return second;
}

}  // namespace zuvdr::bench
