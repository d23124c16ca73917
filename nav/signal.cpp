#include "nav/signal.h"

#include <array>

namespace {

// Third-order low-pass in direct form II, one delay line per axis.
class ThirdOrderLowPass {
 public:
  void filter(const double in[3], double out[3]) {
    for (std::size_t axis = 0; axis < 3; ++axis) out[axis] = step(in[axis], delay_[axis]);
  }

 private:
  using DelayLine = std::array<double, 3>;  // newest first

  static constexpr double kA1 = 2.498217412522344;
  static constexpr double kA2 = 2.114650706171288;
  static constexpr double kA3 = 0.6038699029919804;
  static constexpr double kB0 = 0.0015704238321204136;
  static constexpr double kB1 = 0.004711271496361241;

  static double step(double in, DelayLine& w) {
    const double w0 = in + kA1 * w[0] - kA2 * w[1] + kA3 * w[2];
    const double out = kB0 * w0 + kB1 * w[0] + kB1 * w[1] + kB0 * w[2];
    w = {w0, w[0], w[1]};
    return out;
  }

  std::array<DelayLine, 3> delay_{};
};

ThirdOrderLowPass gyroscope_low_pass;
ThirdOrderLowPass accelerometer_low_pass;
ThirdOrderLowPass orientation_low_pass;

}  // namespace

void wLowPassFilter(const double in[3], double out[3]) {
  gyroscope_low_pass.filter(in, out);
}
void aLowPassFilter(const double in[3], double out[3]) {
  accelerometer_low_pass.filter(in, out);
}
void LPF_1Hz_order3(const double in[3], double out[3]) {
  orientation_low_pass.filter(in, out);
}

double CalStd(std::queue<double> values) {
  std::deque<double> elements;
  for (; !values.empty(); values.pop()) elements.push_back(values.front());
  return zuvdr::sample_standard_deviation(elements);
}

double mean(std::deque<double> values) {
  return zuvdr::arithmetic_mean(values);
}

double var(std::deque<double> values) {
  return zuvdr::population_variance(values);
}
