// Low-pass filters for three-axis signals and statistics of short histories.
#pragma once

#include <cmath>
#include <cstddef>
#include <deque>
#include <queue>

#include "ZuVDR.h"

// Three identical third-order low-pass filters, each with delay lines of its own: unit gain at DC,
// -3 dB at 1 Hz when called at 25 Hz. The delay lines live as long as the process and no reset
// clears them: they follow the sensor, not the navigation.
ZUVDR_EXPORT void wLowPassFilter(const double in[3], double out[3]);  // gyroscope
ZUVDR_EXPORT void aLowPassFilter(const double in[3], double out[3]);  // accelerometer
ZUVDR_EXPORT void LPF_1Hz_order3(const double in[3], double out[3]);  // orientation test

// The three that follow are for hosts: the engine uses the forms without copies below.

// Sample standard deviation, n - 1 in the denominator. -0.0 when empty, NaN for one element.
ZUVDR_EXPORT double CalStd(std::queue<double> values);

// Arithmetic mean; NaN when empty.
ZUVDR_EXPORT double mean(std::deque<double> values);

// Population variance, n in the denominator; NaN when empty.
ZUVDR_EXPORT double var(std::deque<double> values);

namespace zuvdr {

// The sums behind the three functions above, in container order, without copies.
template <typename Container>
double arithmetic_mean(const Container& values) {
  double sum = 0.0;
  for (const double x : values) sum += x;
  return sum / static_cast<double>(values.size());
}

template <typename Container>
double sum_of_squared_deviations(const Container& values) {
  const double m = arithmetic_mean(values);
  double sum = 0.0;
  for (const double x : values) sum += (x - m) * (x - m);
  return sum;
}

template <typename Container>
double population_variance(const Container& values) {
  return sum_of_squared_deviations(values) / static_cast<double>(values.size());
}

template <typename Container>
double sample_standard_deviation(const Container& values) {
  return std::sqrt(sum_of_squared_deviations(values) / (static_cast<double>(values.size()) - 1.0));
}

}  // namespace zuvdr
