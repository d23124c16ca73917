// Feeds the engine of this process as a host does: 25 epochs a second with fixes in between.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/insZuAlgo.h"

namespace zuvdr::test {

using Vec3 = std::array<double, 3>;
inline constexpr std::int64_t kSecond = 1'000'000'000;  // ns
inline constexpr std::int64_t kEpoch = 40'000'000;      // ns
inline constexpr std::int64_t kFirstTime = std::numeric_limits<std::int64_t>::min();
inline constexpr std::int64_t kLastTime = std::numeric_limits<std::int64_t>::max();
inline constexpr double kGravity = 9.80665;  // m/s^2
inline constexpr double kDegree = M_PI / 180.0;
inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
inline constexpr float kFloatNan = std::numeric_limits<float>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr Vec3 kFlat = {0.0, 0.0, kGravity};  // what a phone on a table feels

inline insZuAlgo& engine() {
  return *minsZuAlgo;
}

inline Location location() {
  Location l{};
  GetLocation(&l);
  return l;
}

inline SensorData event(int type, std::int64_t t, const Vec3& values = {}) {
  SensorData e{};
  e.type = type;
  std::copy(values.begin(), values.end(), e.values);
  e.timestamp = t;
  return e;
}

// One epoch's accelerometer (m/s^2) and gyroscope (rad/s) events. Returns what the second returned.
inline int feed_pair(std::int64_t t, const Vec3& acc = kFlat, const Vec3& gyr = {}) {
  UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_ACCELEROMETER, t, acc));
  return UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, t, gyr));
}

// A fix well inside every quality limit; its velocity is zero, whatever its speed.
inline GpsData good_fix(std::int64_t t, float speed = 0.0f, double longitude = 116.0,
                        double latitude = 40.0) {
  GpsData fix{};
  fix.time_ns = t;
  fix.longitude = longitude;
  fix.latitude = latitude;
  fix.altitude = 50.0;
  fix.speed = speed;
  fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = 0.2f;
  fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = 2.0f;
  return fix;
}

inline int feed_fix(const GpsData& fix, int sample = 0) {
  SyncGPSEventforFusion(&fix);
  return UpdateLocationbyGPSEvent(sample);
}

// One epoch straight through the driver, past pairing and release.
inline void run_epoch(std::int64_t t, const Vec3& acc = kFlat, const Vec3& gyr = {}) {
  SensorEpoch& epoch = engine().cur_epoch;
  for (std::size_t i = 0; i < 3; ++i) {
    epoch.acc[i] = static_cast<float>(acc[i]);
    epoch.gyr[i] = static_cast<float>(gyr[i]);
  }
  epoch.time_ns = t;
  engine().algo_sensor_update();
}

// Metres per degree of longitude and latitude on the WGS 84 ellipsoid at height 0.
inline std::array<double, 2> metres_per_degree(double latitude) {
  constexpr double a = 6378137.0, e2 = 0.00669437999014;
  const double s = std::sin(latitude * kDegree);
  const double w = 1.0 - e2 * s * s;
  return {kDegree * std::cos(latitude * kDegree) * a / std::sqrt(w),
          kDegree * a * (1.0 - e2) / (w * std::sqrt(w))};
}

// A car on a straight level road. The phone lies with its top forward, raised by 10 degrees, and
// shakes about its z axis while the car moves.
struct Car {
  static constexpr double kRise = 10.0 * kDegree;
  static constexpr double kHeading = 0.7;     // clockwise from north, rad
  double longitude = 116.0, latitude = 40.0;  // of the start, degrees
  std::int64_t t = 100 * kSecond;
  double speed = 0.0;     // m/s
  double distance = 0.0;  // m

  GpsData fix() const {
    const auto [per_lon, per_lat] = metres_per_degree(latitude);
    GpsData f =
        good_fix(t, static_cast<float>(speed), longitude + distance * std::sin(kHeading) / per_lon,
                 latitude + distance * std::cos(kHeading) / per_lat);
    f.vel_e = static_cast<float>(speed * std::sin(kHeading));
    f.vel_n = static_cast<float>(speed * std::cos(kHeading));
    return f;
  }
  void epoch(double acceleration = 0.0) {
    t += kEpoch;
    const double dt = static_cast<double>(kEpoch) / 1e9;
    distance += (speed + 0.5 * acceleration * dt) * dt;
    speed += acceleration * dt;
    const double c = std::cos(kRise), s = std::sin(kRise);
    feed_pair(
        t, {0.0, acceleration * c + kGravity * s, kGravity * c - acceleration * s},
        {0.0, 0.0, speed > 0.0 ? 0.004 * std::sin(2e-9 * M_PI * static_cast<double>(t)) : 0.0});
  }
  void second(double acceleration = 0.0) {
    for (int i = 0; i < 25; ++i) epoch(acceleration);
  }
  int good(double acceleration = 0.0) {
    second(acceleration);
    return feed_fix(fix());
  }
  int bad(int sample = 1) {  // an epoch in a tunnel
    second();
    GpsData f = fix();
    f.vel_acc_e = f.vel_acc_n = f.vel_acc_u = 0.0f;
    return feed_fix(f, sample);
  }
  // From Reset to the fix before the one that aligns: vehicle mode, a standstill, 5 m/s.
  void start() {
    Reset();
    second();
    feed_fix(good_fix(t, 8.0f, longitude, latitude));
    for (int i = 0; i < 10; ++i) good();
    for (int i = 0; i < 2; ++i) good(2.5);
  }
  // On to 20 m/s and the fixes that vote for convergence.
  void converge() {
    start();
    for (int i = 0; i < 40 && !engine().gps_converged; ++i) good(i < 6 ? 2.5 : 0.0);
  }
};

}  // namespace zuvdr::test
