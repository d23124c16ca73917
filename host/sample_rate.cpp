#include "host/sample_rate.h"

#include <algorithm>
#include <cmath>

#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kFarthest = 9e18;  // ns from 0: the ends of bins stay within int64

std::int64_t bin_of(std::int64_t time) {
  const std::int64_t quotient = time / SampleRate::kBin;
  return quotient - (time % SampleRate::kBin < 0 ? 1 : 0);
}

}  // namespace

void SampleRate::add(const SensorData& event) {
  if (std::abs(static_cast<double>(event.timestamp)) > kFarthest) return;
  if (event.type == ZUVDR_SENSOR_ACCELEROMETER) accelerometer_.add(event);
  if (event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) gyroscope_.add(event);
}

void SampleRate::Stream::add(const SensorData& event) {
  Vector next;
  std::copy_n(event.values, next.size(), next.begin());
  const std::int64_t gap = elapsed_ns(event.timestamp, time);
  if (!started || gap <= 0 || gap > kLongestGap) {
    started = true;
    integral = {};
    covered = 0;
  } else {
    const std::int64_t begin = time;
    const Vector from = values;
    // The straight line from the last sample to this one, cut at the ends of bins.
    for (std::int64_t bin = bin_of(begin); (bin + 1) * kBin <= event.timestamp; ++bin) {
      const std::int64_t end = (bin + 1) * kBin;
      const double part = static_cast<double>(end - begin) / static_cast<double>(gap);
      Vector between;
      for (std::size_t i = 0; i < between.size(); ++i) {
        between[i] = from[i] + part * (next[i] - from[i]);
      }
      integrate(end, between);
      complete(bin);
    }
    integrate(event.timestamp, next);
  }
  time = event.timestamp;
  values = next;
}

void SampleRate::Stream::integrate(std::int64_t until, const Vector& value) {
  const std::int64_t duration = until - time;
  for (std::size_t i = 0; i < value.size(); ++i) {
    integral[i] += 0.5 * (values[i] + value[i]) * static_cast<double>(duration);
  }
  covered += duration;
  time = until;
  values = value;
}

void SampleRate::Stream::complete(std::int64_t bin) {
  if (covered == kBin) {
    if (count == kMost) drop_oldest();
    Mean& mean = means[(first + count) % kMost];
    ++count;
    mean.bin = bin;
    for (std::size_t i = 0; i < integral.size(); ++i) {
      mean.values[i] = integral[i] / static_cast<double>(kBin);
    }
  }
  integral = {};
  covered = 0;
}

void SampleRate::Stream::drop_oldest() {
  first = (first + 1) % kMost;
  --count;
}

std::optional<Sample> SampleRate::next() {
  while (accelerometer_.count > 0 && gyroscope_.count > 0) {
    const Mean& acceleration = accelerometer_.means[accelerometer_.first];
    const Mean& rate = gyroscope_.means[gyroscope_.first];
    const std::int64_t newer = std::max(acceleration.bin, rate.bin);
    if (acceleration.bin == rate.bin) {
      const Sample sample{newer * kBin + kBin / 2, acceleration.values, rate.values};
      accelerometer_.drop_oldest();
      gyroscope_.drop_oldest();
      return sample;
    }
    if (acceleration.bin < newer) accelerometer_.drop_oldest();
    if (rate.bin < newer) gyroscope_.drop_oldest();
  }
  return std::nullopt;
}

}  // namespace zuvdr
