// A phone's motion sensors, magnetometer and barometer: what turns true values into event values,
// and the clock that stamps them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "tools/simulation/jet.h"
#include "tools/simulation/random.h"

namespace zuvdr::tools {

// Error budget of a three-axis sensor, in its unit u (m/s^2, rad/s or uT). Standard deviations
// unless said otherwise; each axis draws its own values.
struct SensorErrors {
  double bias;             // u, constant from the start
  double bias_walk;        // u/sqrt(s), random walk of the bias
  double scale;            // relative
  double misalignment;     // rad, of each axis towards each other one
  double noise;            // u/sqrt(Hz), white; sampled at rate f it is noise * sqrt(f / 2)
  double counts_per_unit;  // 1/u, resolution of the output
  double estimate_error;   // u, of the platform's own bias estimate
  double estimate_counts;  // 1/u, its resolution
};

extern const SensorErrors kAccelerometerErrors;
extern const SensorErrors kGyroscopeErrors;
extern const SensorErrors kMagnetometerErrors;

class TriaxialSensor {
 public:
  // rate: of the samples, Hz.
  TriaxialSensor(const SensorErrors& errors, double rate, std::uint64_t seed,
                 std::string_view name);

  // The next sample, rounded to the resolution. vibration: level of the bounded disturbance that
  // the mechanical surroundings add, u, 1 sigma per axis.
  Vector3 sample(const Vector3& truth, double vibration);

  // The bias as the platform estimated it at the start.
  Vector3 bias_estimate() const { return estimate_; }
  Vector3 bias() const { return bias_; }

 private:
  SensorErrors errors_;
  double interval_;  // s
  RandomStream noise_;
  RandomStream shaking_;
  Vector3 bias_;
  Vector3 estimate_;
  Matrix3 distortion_;  // scale and misalignment
  Vector3 shake_{};
};

// Static pressure with weather drift and noise.
class Barometer {
 public:
  Barometer(double rate, std::uint64_t seed);
  double sample(double altitude);  // m to hPa

 private:
  double interval_;
  RandomStream noise_;
  double offset_;  // hPa
};

// Times of one sensor's samples: its own phase and clock rate, stamps with jitter.
class SampleClock {
 public:
  // jitter: greatest deviation of a stamp, s, of which 45 % of the period are used at most; if none
  // is given 1 ms, and a fifth of the period at most.
  SampleClock(double rate, std::uint64_t seed, std::string_view name,
              std::optional<double> jitter = {});

  struct Tick {
    double sampled;      // s, when the value was true
    std::int64_t stamp;  // ns from the same origin; strictly increasing
  };
  Tick next();

 private:
  RandomStream jitter_;
  double period_;  // s
  double reach_;   // s, greatest deviation of a stamp
  double phase_;   // s
  std::int64_t count_ = 0;
};

// To the nearest multiple of 1 / counts, as the quotient, which prints with few digits.
double quantise(double value, double counts);

}  // namespace zuvdr::tools
