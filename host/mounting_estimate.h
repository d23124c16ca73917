// How the phone is mounted in the vehicle, learned from the motion sensors and the fixes.
#pragma once

#include <complex>
#include <cstdint>
#include <optional>
#include <vector>

#include "ZuVDR.h"
#include "host/ring.h"
#include "host/vector.h"

namespace zuvdr {

// Sensors' means between two fixes.
struct Interval {
  std::int64_t time_ns;  // of its end
  double duration;       // s
  Vector force;          // m/s^2
  Vector rate;           // rad/s
  double speed;          // mean of both fixes, m/s
  double forward;        // change of speed, m/s^2
  double turn;           // of the course, rad/s, counter-clockwise; 0 where it is not known
};

// About up from one to the other, without its sign.
double degrees_turned(const Mounting& from, const Mounting& to);

// The vehicle accelerates forward by the change of its speed, and to the left by speed times turn
// rate. With both, and the levelled mean acceleration, as complex numbers a and A (forward + i
// left) the angle between phone and vehicle is
//   theta = arg sum w (a - mean a) conj(A - mean A),
// whatever the sensors' biases are; w = 1 / max(1, r / 2m) with residuals r and their median m
// (Huber's weights, three passes).
class MountingEstimate {
 public:
  MountingEstimate();

  // Of every sample, for the direction of up. True when that has turned: the phone was moved, and
  // what was learned is forgotten.
  bool watch(const Sample& sample);
  // True when the last half minute's motion tells clearly another mounting than all before: the
  // phone was turned about up, and what was learned before is forgotten.
  bool add(const Interval& interval);
  void forget();

  struct Result {
    Mounting mounting;
    double yaw;      // degrees that the phone is turned clockwise in the vehicle
    double sigma;    // degrees
    double driving;  // s that it was learned from
    Vector gravity;  // specific force of a vehicle at rest, m/s^2
    Vector bias;     // of the gyroscope, rad/s
  };
  Vector mean_force() const { return slow_up_; }  // over the last half minute
  Vector up() const;                              // unit vector; zero before the first sample
  // With the phone's own forward for the vehicle's: its top, or its back when it stands or lies on
  // its side.
  Mounting assumed_mounting() const;

  // None while it cannot be told.
  const std::optional<Result>& result() const { return result_; }

 private:
  std::optional<Result> estimate(std::uint64_t first);

  Ring<Interval> intervals_;
  // Of each interval, while an estimate is made.
  std::vector<std::complex<double>> vehicle_, phone_;
  std::vector<double> weights_, residuals_, sorted_;
  std::optional<Result> result_;
  Vector fast_up_{};  // m/s^2
  Vector slow_up_{};
  double settled_ = 0.0;  // s
  std::int64_t last_time_ = 0;
  std::optional<Vector> rest_rate_;  // at the last standstill
};

}  // namespace zuvdr
