// The host library in C++: a made-up drive north with a tunnel. Events at 100 Hz, a fix a second,
// positions whenever they are wanted.
#include "ZuVDRHost.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr double kMetresPerDegree = 110946.26;  // of latitude, at 36 degrees north

SensorData event(std::int32_t type, std::int64_t time_ns, double x, double y, double z) {
  return {type, {x, y, z, 0.0, 0.0, 0.0}, time_ns};
}

}  // namespace

int main() {
  constexpr double kStep = 0.01;  // s
  zuvdr::Host host;
  zuvdr::PhoneFix fix;
  fix.longitude = 117.0;
  fix.altitude = 50.0;
  fix.horizontal_accuracy = fix.vertical_accuracy = 4.0;
  fix.speed_accuracy = 0.3;
  double north = 0.0, speed = 0.0, error = 0.0, worst = 0.0;
  for (int k = 0; k < 10000; ++k) {
    const double t = k * kStep;
    const std::int64_t now = 1'000'000'000'000 + k * 10'000'000LL;
    const double acceleration = t >= 10.0 && t < 20.0 ? 1.2 : 0.0;
    const double shaking = speed > 0.0 ? 0.005 * std::sin(4.0 * t) : 0.0;
    // The phone lies flat, its top edge forward.
    host.sensor(event(ZUVDR_SENSOR_ACCELEROMETER, now, 0.0, acceleration, 9.80665));
    host.sensor(event(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, now, 0.0, 0.0, shaking));
    if (k % 100 == 0) {
      fix.time_ns = now;
      fix.latitude = 36.0 + north / kMetresPerDegree;
      fix.speed = speed;
      if (speed > 0.0) fix.bearing = 0.0, fix.bearing_accuracy = 2.0;
    }
    // It arrives a fifth of a second later, in the tunnel not at all.
    if (k % 100 == 20 && (t < 70.0 || t >= 90.0)) host.fix(fix);
    if (const auto position = host.position(now); position && k % 500 == 0) {
      error = (position->latitude - 36.0) * kMetresPerDegree - north;
      worst = std::fmax(worst, std::fabs(error));
      std::printf("%3.0f s  %.6f %.6f  %4.1f m/s  known to %4.1f m, %4.1f m off\n", t,
                  position->latitude, position->longitude, position->speed, position->accuracy,
                  error);
    }
    north += (speed + 0.5 * acceleration * kStep) * kStep;
    speed += acceleration * kStep;
  }
  // 240 m of the way lie in the tunnel.
  return worst < 24.0 && std::fabs(error) < 5.0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
