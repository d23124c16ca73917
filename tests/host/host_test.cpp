// The care of a host, piece by piece and on whole simulated drives.
#include "ZuVDRHost.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <tuple>

#include "host/event_filter.h"
#include "host/event_order.h"
#include "host/sample_rate.h"
#include "tests/system/journey.h"
#include "tools/logs/place.h"

namespace zuvdr::tests {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kMillisecond = 1'000'000;
constexpr int kAccelerometer = ZUVDR_SENSOR_ACCELEROMETER;
constexpr int kGyroscope = ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED;

TEST(EventFilter, TimesAdvanceAndOneWildStampSilencesNothing) {
  EventFilter filter;
  const std::int64_t wild = std::numeric_limits<std::int64_t>::max();
  const auto accepts = [&filter](int type, std::int64_t time, double value = 0.0) {
    const SensorData event{type, {value, 0, 0, 0, 0, 0}, time};
    return filter.plausible(event) && filter.advances(event);
  };
  EXPECT_TRUE(accepts(kAccelerometer, 5 * kSecond));
  EXPECT_TRUE(accepts(kGyroscope, 5 * kSecond));
  EXPECT_FALSE(accepts(kAccelerometer, 5 * kSecond));
  EXPECT_FALSE(accepts(kAccelerometer, 5 * kSecond - 1));
  EXPECT_FALSE(accepts(kAccelerometer, 6 * kSecond, NAN));
  EXPECT_TRUE(accepts(kAccelerometer, 6 * kSecond));
  for (const std::int64_t stamp : {wild, -wild, 5000 * kSecond, -5000 * kSecond}) {
    EXPECT_FALSE(accepts(kGyroscope, stamp)) << stamp;
  }
  EXPECT_TRUE(accepts(kGyroscope, 6 * kSecond));
  EXPECT_FALSE(accepts(kGyroscope, 500 * kSecond));
  EXPECT_TRUE(accepts(kGyroscope, 501 * kSecond));  // the sensors did stop
  EXPECT_FALSE(accepts(4, 7 * kSecond));
}

// The mean of p + q t + sin(w t) over a bin is known; 107 Hz with jitter, the gyroscope at 61 Hz.
TEST(SampleRate, BinsHoldTheMeanOfTheSignal) {
  const auto value = [](double t) { return 0.3 - 0.2 * t + std::sin(3.0 * t); };
  const auto mean = [](double a, double b) {
    return 0.3 - 0.1 * (a + b) + (std::cos(3.0 * a) - std::cos(3.0 * b)) / (3.0 * (b - a));
  };
  SampleRate rate;
  std::int64_t next[2] = {-2 * kSecond, -2 * kSecond + 7 * kMillisecond};
  int bins = 0;
  std::int64_t last = -3 * kSecond;
  for (int i = 0; next[0] < 3 * kSecond; ++i) {
    const int sensor = next[0] <= next[1] ? 0 : 1;
    const double x = value(static_cast<double>(next[sensor]) * 1e-9);
    rate.add({sensor == 0 ? kAccelerometer : kGyroscope, {x, 0, 2 * x, 0, 0, 1}, next[sensor]});
    next[sensor] += (sensor == 0 ? 9346 : 16393) * 1000 + i % 5 * 300'000;
    if (next[sensor] > kSecond && next[sensor] < kSecond + 600 * kMillisecond) {
      next[sensor] += 600 * kMillisecond;  // a gap: nothing is made up
    }
    while (const auto sample = rate.next()) {
      const std::int64_t time = sample->time_ns;
      ASSERT_EQ((time - 20 * kMillisecond) % (40 * kMillisecond), 0);
      ASSERT_GT(time, last);
      const double t = static_cast<double>(time) * 1e-9;
      ASSERT_NEAR(sample->force[0], mean(t - 0.02, t + 0.02), 2e-4) << t;
      ASSERT_NEAR(sample->rate[2], 2 * mean(t - 0.02, t + 0.02), 1e-3) << t;
      last = time;
      ++bins;
    }
  }
  EXPECT_NEAR(bins, 5.0 / 0.04 - 0.6 / 0.04 - 2, 3);  // two are cut by the gap
}

double error(const tools::TrackRow& row) {
  return tools::distance({row.latitude, row.longitude}, {row.truth_latitude, row.truth_longitude});
}

// Places where plain calls give nothing, and a rate at which they do not align.
TEST(Host, ServesTheWholeEarthAtAnyRate) {
  using Case = std::tuple<double, double, double>;  // degrees, degrees, Hz
  for (const auto& [latitude, longitude, rate] :
       {Case(48.2, 16.4, 200.0), Case(-33.9, 18.4, 25.0), Case(-17.0, 179.995, 100.0),
        Case(0.003, -0.002, 25.0), Case(64.1, -21.9, 50.0)}) {
    const Journey trip = play(
        tools::simulate(
            {.route = {.seed = 4}, .latitude = latitude, .longitude = longitude, .rate = rate}),
        HostOptions{});
    const tools::ErrorFigures& errors = trip.summary.errors(tools::ErrorGroup::kCorrected);
    EXPECT_GT(errors.count(), 200U) << latitude;
    EXPECT_LT(errors.quantile(0.5), 2.5) << latitude << ", " << longitude;
  }
}

// The log's own rows without a fix are left out.
class HostInATunnel : public testing::TestWithParam<double> {};  // s, delay of the fixes

TEST_P(HostInATunnel, KeepsGoingAndAnswersAtTheTimeOfTheFix) {
  const auto rows = tools::simulate(
      {.route = {.seed = 3, .tunnel = 40.0}, .delivery = {.fix_delay = GetParam()}});
  const Journey trip = play(rows, HostOptions{});
  int without_fix = 0, corrected = 0;
  const tools::TrackRow* before = nullptr;
  for (const tools::TrackRow& row : trip.track) {
    ASSERT_LT(row.time_ns - (before ? before->time_ns : row.time_ns), 2 * kSecond);
    if (row.sample != 0) ++without_fix;
    if (row.status == 1) {
      ++corrected;
      ASSERT_LE(std::abs(row.output_time_ns - row.time_ns), 60 * kMillisecond);
    }
    if (before != nullptr && before->status >= 2 && row.sample == 0) {
      EXPECT_LT(error(row), 20.0) << "first fix after the tunnel";
    }
    before = &row;
  }
  EXPECT_GT(without_fix, 35);
  EXPECT_GT(corrected, 200);
}

INSTANTIATE_TEST_SUITE_P(Delays, HostInATunnel, testing::Values(0.0, 1.0));

constexpr int kNone = -1;
constexpr int kAll = static_cast<int>(kCares.size());
class HostOnNoise : public testing::TestWithParam<int> {};

// Whatever comes and whichever care is off, nothing breaks; with all of it the engine's epochs
// advance in time, and hardly any is lost.
TEST_P(HostOnNoise, EpochsAdvance) {
  const int off = GetParam();  // one of kCares, all of them, or none
  HostOptions options;
  for (int i = 0; i < static_cast<int>(kCares.size()); ++i) {
    if (off == i || off == kAll) options.*kCares[static_cast<std::size_t>(i)].option = false;
  }
  std::mt19937_64 random(5);
  const auto one_in = [&random](int n) { return random() % static_cast<unsigned>(n) == 0; };
  Host host(options, [](const HostAnswer&) {});
  std::int64_t time = 0, newest = 0, resets = -1;
  for (int i = 0; i < 100'000; ++i) {
    time += static_cast<std::int64_t>(random() % 20) * kMillisecond;
    if (one_in(3000)) time += static_cast<std::int64_t>(random() % 20) * kSecond;
    if (one_in(20'000)) time -= 1000 * kSecond;
    std::int64_t stamp = time - (one_in(20) ? static_cast<std::int64_t>(random() % kSecond) : 0);
    if (one_in(1000)) stamp = static_cast<std::int64_t>(random());
    const int type = one_in(2) ? kAccelerometer : kGyroscope;
    const double value = one_in(500) ? NAN : static_cast<double>(random() % 100) * 0.1;
    host.sensor({type, {0.1, value, 9.8, 0, 0, 0}, stamp});
    if (one_in(90)) {
      GpsData fix{};
      fix.time_ns = one_in(20) ? std::numeric_limits<std::int64_t>::min() : stamp;
      fix.latitude = one_in(50) ? static_cast<double>(random() % 180) - 90.0 : 48.2;
      fix.longitude = one_in(50) ? value : 16.4;
      fix.speed = static_cast<float>(value);
      for (float* sigma : {&fix.vel_acc_e, &fix.vel_acc_n, &fix.vel_acc_u, &fix.pos_acc_e,
                           &fix.pos_acc_n, &fix.pos_acc_u, &fix.speed_acc}) {
        *sigma = 0.5F;
      }
      host.fix(fix, one_in(10) ? 1 : 0);
    }
    if (off != kNone) continue;
    std::int64_t& epoch = minsZuAlgo->cur_epoch.time_ns;
    if (const std::int64_t anew = host.counts().resets + host.counts().restarts; anew != resets) {
      epoch = newest = std::numeric_limits<std::int64_t>::min();
      resets = anew;
    }
    ASSERT_GE(epoch, newest) << i;
    newest = epoch;
  }
  if (off == kNone) {  // nine tenths of 25 Hz over 9.5 ms an event
    EXPECT_GT(host.epochs_processed(), 0.9 * 25 * 100'000 * 9.5e-3);
  }
}
INSTANTIATE_TEST_SUITE_P(Care, HostOnNoise, testing::Range(kNone, kAll + 1));

}  // namespace
}  // namespace zuvdr::tests
