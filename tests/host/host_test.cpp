// The care of a host, piece by piece and on whole simulated drives.
#include "ZuVDRHost.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

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
       {Case(48.2, 16.4, ZUVDR_SANITIZED ? 50.0 : 200.0), Case(-33.9, 18.4, 25.0),
        Case(-17.0, 179.995, ZUVDR_SANITIZED ? 50.0 : 100.0), Case(0.003, -0.002, 25.0),
        Case(64.1, -21.9, 50.0)}) {
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

// A trip that goes wrong without the care: too late to status 1, or too far off then.
struct CareCase {
  const char* care;
  tools::SimulationOptions trip;
  double first_at_most;  // s after the first fix
  double q95_at_most;    // m, of status 1
};

class CareOfHost : public testing::TestWithParam<CareCase> {};

TEST_P(CareOfHost, HelpsATripThatFailsWithoutIt) {
  const CareCase& given = GetParam();
  const auto rows = tools::simulate(given.trip);
  const auto keeps_bounds = [&](const HostOptions& options) {
    const Journey trip = play(rows, options);
    double first = HUGE_VAL;
    tools::ErrorFigures errors;
    for (const tools::TrackRow& row : trip.track) {
      if (row.status != 1) continue;
      const double time = static_cast<double>(row.time_ns - trip.track.front().time_ns) * 1e-9;
      first = std::min(first, time);
      errors.add(error(row));
    }
    return first <= given.first_at_most && errors.lost() == 0 &&
           errors.quantile(0.95) <= given.q95_at_most;
  };
  EXPECT_TRUE(keeps_bounds({}));
  HostOptions without;
  for (const Care& care : kCares) {
    if (std::string_view(care.name) == given.care) without.*care.option = false;
  }
  EXPECT_FALSE(keeps_bounds(without));
}

tools::SimulationOptions trip_of(std::uint64_t seed, const tools::DeliveryOptions& delivery = {}) {
  return {.route = {.seed = seed}, .delivery = delivery};
}
const tools::SimulationOptions kTurned{.route = {.seed = 5, .car_mounting = {0, 20, 180}}};
const tools::SimulationOptions kDiesel{.route = {.seed = 3, .idle = tools::Idle::kDiesel}};
const tools::SimulationOptions kFast{.route = {.seed = 5}, .rate = 200.0};
const tools::SimulationOptions kMovingStart{.route = {.seed = 5}, .begin = 80.0};

INSTANTIATE_TEST_SUITE_P(
    Cares, CareOfHost,
    testing::Values(CareCase{"mounting-yaw", kTurned, 60.0, 8.0},
                    CareCase{"sample-rate", kFast, 60.0, 8.0},
                    CareCase{"prime", trip_of(5), 60.0, 8.0}, CareCase{"calm", kDiesel, 60.0, 12.0},
                    CareCase{"made-up-rest", kMovingStart, 60.0, 8.0},
                    CareCase{"bad-fixes", trip_of(5, {.jump_interval = 40.0}), 60.0, 8.0},
                    CareCase{"fix-clock", trip_of(1, {.fix_clock = 0.3}), 60.0, 7.0}),
    [](const auto& test) {
      std::string name = test.param.care;
      std::erase(name, '-');
      return name;
    });

// What happens to a trip once, 200 s after its begin; from 60 s behind that on all is as it was.
struct Mishap {
  const char* name;
  std::function<void(std::vector<tools::EventRow>& rows, std::size_t at)> befall;
};

class MishapOfHost : public testing::TestWithParam<Mishap> {};

TEST_P(MishapOfHost, IsOvercome) {
  auto rows = tools::simulate(trip_of(2));
  const auto time_of = [](const tools::EventRow& row) {
    const auto* fix = std::get_if<tools::FixRow>(&row);
    return fix == nullptr ? 0 : fix->fix.time_ns;
  };
  const auto first = std::ranges::find_if(rows, [&](const auto& row) { return time_of(row) > 0; });
  const std::int64_t begin = time_of(*first) + 200 * kSecond;
  const auto at = std::ranges::find_if(rows, [&](const auto& row) { return time_of(row) > begin; });
  GetParam().befall(rows, static_cast<std::size_t>(at - rows.begin()));
  const Journey trip = play(rows, HostOptions{});
  int corrected = 0;
  for (const tools::TrackRow& row : trip.track) {
    const double after = static_cast<double>(row.time_ns - begin) * 1e-9;
    ASSERT_TRUE(std::isfinite(row.latitude) && std::isfinite(row.longitude)) << after;
    // Of the second for which the mishap itself is told there may be no truth.
    if (after > 0.0 && after < 100.0 && std::isfinite(row.truth_latitude)) {
      EXPECT_LT(error(row), 40.0) << after;
    }
    if (after > 60.0 && after < 100.0 && row.status == 1) ++corrected;
  }
  EXPECT_GT(corrected, 38);
}

tools::FixRow& fix_at(std::vector<tools::EventRow>& rows, std::size_t at) {
  return std::get<tools::FixRow>(rows[at]);
}
void set_accelerations(std::vector<tools::EventRow>& rows, std::size_t at, double value) {
  for (std::size_t i = at; i < at + 6; ++i) {
    auto* row = std::get_if<tools::SensorRow>(&rows[i]);
    if (row != nullptr) row->event.values[1] = value;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Mishaps, MishapOfHost,
    testing::Values(Mishap{"huge_values",
                           [](auto& rows, std::size_t at) { set_accelerations(rows, at, 1e300); }},
                    Mishap{"null_island",
                           [](auto& rows, std::size_t at) {
                             GpsData& fix = fix_at(rows, at).fix;
                             fix.latitude = fix.longitude = 0.0;
                             fix.pos_acc_e = fix.pos_acc_n = 5000.0F;
                           }},
                    Mishap{"no_position",
                           [](auto& rows, std::size_t at) {
                             GpsData& fix = fix_at(rows, at).fix;
                             fix.latitude = fix.longitude = 0.0;
                             fix.pos_acc_e = fix.pos_acc_n = 0.0F;
                           }},
                    Mishap{"absurd_speed",
                           [](auto& rows, std::size_t at) { fix_at(rows, at).fix.speed = 1e30F; }},
                    Mishap{
                        "beyond_the_pole",
                        [](auto& rows, std::size_t at) { fix_at(rows, at).fix.latitude = 1e300; }},
                    Mishap{"magnetometer_on_another_clock",
                           [](auto& rows, std::size_t at) {
                             for (std::size_t i = at; i < rows.size(); ++i) {
                               auto* row = std::get_if<tools::SensorRow>(&rows[i]);
                               if (row == nullptr) continue;
                               if (row->event.type == ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED) {
                                 row->event.timestamp += 3600 * kSecond;
                               }
                             }
                           }},
                    Mishap{"no_gyroscope_for_20_s",
                           [](auto& rows, std::size_t at) {
                             const std::int64_t from = fix_at(rows, at).fix.time_ns;
                             std::erase_if(rows, [from](const tools::EventRow& row) {
                               const auto* sensor = std::get_if<tools::SensorRow>(&row);
                               return sensor != nullptr && sensor->event.type == kGyroscope &&
                                      sensor->event.timestamp > from &&
                                      sensor->event.timestamp < from + 20 * kSecond;
                             });
                           }},
                    Mishap{"clock_of_fixes_back_by_4_s",
                           [](auto& rows, std::size_t at) {
                             const std::int64_t from = fix_at(rows, at).fix.time_ns;
                             for (tools::EventRow& row : rows) {
                               auto* fix = std::get_if<tools::FixRow>(&row);
                               if (fix != nullptr && fix->fix.time_ns == from)
                                 fix->fix.time_ns -= 4 * kSecond;
                             }
                           }},
                    Mishap{"half_the_fixes_fail",
                           [](auto& rows, std::size_t at) {
                             for (std::size_t i = at; i < at + 1000; ++i) {
                               auto* fix = std::get_if<tools::FixRow>(&rows[i]);
                               if (fix != nullptr && i % 2 == 0) fix->fix.vel_acc_u = 0.0F;
                             }
                           }}),
    [](const auto& test) { return std::string(test.param.name); });

// Of the errors at fixes two thirds are meant to lie inside; drives differ.
TEST(Host, StatesAccuraciesThatHold) {
  int inside = 0, all = 0;
  for (const std::uint64_t seed : {1U, 3U, 4U}) {
    const auto rows = tools::simulate(trip_of(seed));
    std::map<std::int64_t, tools::TruthRow> truth;
    for (const tools::EventRow& row : rows) {
      if (const auto* t = std::get_if<tools::TruthRow>(&row)) truth[t->time_ns] = *t;
    }
    Host host({}, [&](const HostAnswer& answer) {
      const auto true_row = truth.lower_bound(answer.position.time_ns);
      if (answer.position.source != Source::kCorrected || true_row == truth.end()) return;
      const auto at = host.position(true_row->first);
      if (!at) return;
      const tools::TruthRow& there = true_row->second;
      const double off =
          tools::distance({at->latitude, at->longitude}, {there.latitude, there.longitude});
      inside += off < at->accuracy ? 1 : 0;
      ++all;
    });
    for (const tools::EventRow& row : rows) {
      if (const auto* sensor = std::get_if<tools::SensorRow>(&row)) host.sensor(sensor->event);
      if (const auto* fix = std::get_if<tools::FixRow>(&row)) host.fix(fix->fix, fix->sample);
    }
  }
  EXPECT_GT(all, 1000);
  EXPECT_GT(inside, 0.5 * all);
  EXPECT_LT(inside, 0.85 * all);
}

TEST(Host, WalkerGoesOnWithoutFixes) {
  auto rows =
      tools::simulate({.route = {.scenario = tools::Scenario::kWalk, .seed = 2, .walker = 2}});
  const auto is_fix = [](const tools::EventRow& row) {
    return std::holds_alternative<tools::FixRow>(row);
  };
  const std::int64_t begin =
      std::get<tools::FixRow>(*std::ranges::find_if(rows, is_fix)).fix.time_ns + 150 * kSecond;
  std::erase_if(rows, [begin](const tools::EventRow& row) {
    const auto* fix = std::get_if<tools::FixRow>(&row);
    return fix != nullptr && fix->fix.time_ns > begin && fix->fix.time_ns < begin + 60 * kSecond;
  });
  const auto walked = [&rows](const HostOptions& options) {  // rows, and the largest error, m
    std::pair<int, double> result{0, 0.0};
    for (const tools::TrackRow& row : play(rows, options).track) {
      if (row.sample == 0 || row.status != 1) continue;
      ++result.first;
      result.second = std::max(result.second, error(row));
    }
    return result;
  };
  const auto [count, largest] = walked({});
  EXPECT_GT(count, 50);
  EXPECT_LT(largest, 30.0);  // of 80 m walked
  HostOptions without;
  without.walkers = false;
  EXPECT_LT(walked(without).first, 10);
}

// Slow receivers: no row stands in for a fix that is not missing.
TEST(Host, ServesFixesEveryOtherSecond) {
  auto rows = tools::simulate(trip_of(2));
  int fixes = 0;
  std::erase_if(rows, [&fixes](const tools::EventRow& row) {
    return std::holds_alternative<tools::FixRow>(row) && fixes++ % 2 == 0;
  });
  const Journey trip = play(rows, HostOptions{});
  const auto corrected = std::ranges::count(trip.track, 1, &tools::TrackRow::status);
  EXPECT_GT(corrected, 180);  // of 275 fixes outside the tunnel, 30 to converge
  EXPECT_LT(trip.summary.errors(tools::ErrorGroup::kCorrected).quantile(0.5), 3.0);
}

// Of a gap filled from fixes no position is far off, and none is a raw fix.
TEST(Host, PositionsInAGapStayNear) {
  const auto rows = tools::simulate(trip_of(5, {.gaps = {{150.0, 6.0}, {220.0, 9.0}}}));
  const auto near = [&rows](const HostOptions& options) {
    const Journey trip = play(rows, options);
    return std::ranges::all_of(trip.track, [&trip](const tools::TrackRow& row) {
      const double time = static_cast<double>(row.time_ns - trip.track.front().time_ns) * 1e-9;
      return time < 148.0 || time > 240.0 || (error(row) < 10.0 && row.status == 1);
    });
  };
  EXPECT_TRUE(near({}));
  HostOptions without;
  without.gaps = false;
  EXPECT_FALSE(near(without));
}

constexpr int kEvents = ZUVDR_SANITIZED ? 30'000 : 100'000;
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
  for (int i = 0; i < kEvents; ++i) {
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
    EXPECT_GT(host.epochs_processed(), 0.9 * 25 * kEvents * 9.5e-3);
  }
}
INSTANTIATE_TEST_SUITE_P(Care, HostOnNoise, testing::Range(kNone, kAll + 1));

}  // namespace
}  // namespace zuvdr::tests
