// A phone on a journey, second by second: what it would hand the engine, 25 epochs and then a fix.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "ZuVDR.h"

namespace zuvdr::bench {

enum class Motion { kStanding, kDriving, kWalking };

struct Stretch {
  Motion motion;
  int seconds;
};

struct Second {
  std::array<SensorData, 50> events;  // accelerometer and gyroscope by turns
  GpsData fix;                        // at the time of the last two
};

// Straight north. Values have the steps of a phone's sensors, so that neither the compiler nor libm
// decides what the engine sees.
class Journey {
 public:
  Second next(Motion motion);

 private:
  std::int64_t time_ = 1'000'000'000'000;  // ns
  double north_ = 0.0;                     // m
  double speed_ = 0.0;                     // m/s
};

// Gets the vehicle's navigator going: speed, a standstill to align at, then fixes on the road.
inline const std::vector<Stretch> kVehicleStart = {
    {Motion::kDriving, 10}, {Motion::kStanding, 15}, {Motion::kDriving, 60}};

}  // namespace zuvdr::bench
