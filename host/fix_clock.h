// By how much the stamps of fixes are ahead of the sensors' clock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "ZuVDR.h"
#include "host/ring.h"
#include "host/vector.h"

namespace zuvdr {

// The shift d for which the turn about up, integrated over [t(k) + d, t(k+1) + d], agrees best with
// the change of course from fix k to k+1: least sum of min(|residual|, 0.2 rad)^1.5 over a grid of
// d, and a parabola through the least three.
class FixClock {
 public:
  FixClock();
  // `up`: unit vector; not known yet: zero.
  void add(const Sample& sample, const Vector& up);
  void add(const GpsData& fix);  // in their own stamps
  void forget();

  // s, to be taken off the stamps; none while it cannot be told.
  std::optional<double> offset() const { return offset_; }

 private:
  static constexpr double kStep = 0.02;     // s
  static constexpr std::size_t kGrid = 81;  // shifts, from -0.8 to 0.8 s
  static constexpr double kFarthest = 0.8;  // s
  struct Angle {
    std::int64_t time_ns;
    double angle;  // about up since the start, rad
  };
  struct Course {
    std::int64_t time_ns;
    double angle;  // counter-clockwise, rad
    bool known;
  };
  std::optional<double> angle_at(std::int64_t time) const;
  bool use(const Course& from, const Course& to);
  void estimate();

  Ring<Angle> angles_;
  double last_rate_ = 0.0;  // about up, rad/s
  Ring<Course> courses_;
  std::uint64_t next_ = 0;  // of courses_, the first whose interval was not used
  std::array<double, kGrid> cost_{};
  double drift_ = 0.0;  // of the angle, rad/s
  int turns_ = 0;       // intervals with one
  std::optional<double> offset_;
};

}  // namespace zuvdr
