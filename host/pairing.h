// Samples at the sensors' own rate: every gyroscope event with the accelerometer's latest.
#pragma once

#include <algorithm>
#include <optional>

#include "ZuVDR.h"
#include "engine/limits.h"
#include "host/vector.h"
#include "nav/clock.h"

namespace zuvdr {

class Pairing {
 public:
  std::optional<Sample> add(const SensorData& event) {
    if (event.type == ZUVDR_SENSOR_ACCELEROMETER) accelerometer_ = event;
    if (event.type != ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED || !accelerometer_) return std::nullopt;
    const std::int64_t age = elapsed_ns(event.timestamp, accelerometer_->timestamp);
    if (age > kPairingTolerance || age < -kPairingTolerance) return std::nullopt;
    Sample sample{event.timestamp, {}, {}};
    std::copy_n(accelerometer_->values, 3, sample.force.begin());
    std::copy_n(event.values, 3, sample.rate.begin());
    return sample;
  }

 private:
  std::optional<SensorData> accelerometer_;
};

}  // namespace zuvdr
