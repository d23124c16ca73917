// Which way a walker goes while there are no fixes.
#pragma once

#include <cstdint>
#include <optional>

#include "ZuVDR.h"
#include "host/ring.h"
#include "host/vector.h"

namespace zuvdr {

// The turn rate about up, integrated, follows the walker's course but for an offset and a drift;
// both are fitted to the courses of the last two minutes' fixes (least squares, Huber's weights).
// Up is kept by the gyroscope and drawn to the specific force, so that it swings with the phone.
class WalkerCourse {
 public:
  WalkerCourse();
  void add(const Sample& sample);
  void add(const GpsData& good_fix);  // on the sensors' clock
  void forget();

  struct Estimate {
    double course;  // rad, counter-clockwise from north
    double speed;   // m/s, mean of the last fixes
  };
  // Now; none: too few fixes in motion, or the phone's turns are not the walker's.
  std::optional<Estimate> estimate() const;

 private:
  struct Point {
    double time;        // s since the first sample
    double difference;  // course less angle, rad, continuous
    double speed;       // m/s
  };

  Ring<Point> points_;
  Vector up_{};
  std::int64_t first_time_ = 0;
  std::int64_t last_time_ = 0;
  bool started_ = false;
  double angle_ = 0.0;  // about up since the first sample, rad
};

}  // namespace zuvdr
