#include "tools/simulation/delivery.h"

#include <gtest/gtest.h>

#include <GeographicLib/Geodesic.hpp>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kOrigin = 5'000'000'000'000, kMillisecond = 1'000'000;
constexpr int kSeconds = 400;

// Both sensors at 25 Hz, 7 ms apart; every second a fix for 0.3 s after it, at hand 0.2 s later.
// From 300 s on the fixes are stand-ins.
std::vector<EventRow> recording() {
  std::vector<EventRow> rows;
  for (std::int64_t ms = 0; ms < 1000 * kSeconds; ++ms) {
    const std::int64_t time = kOrigin + ms * kMillisecond;
    if (ms % 40 == 0) rows.push_back(SensorRow{{1, {0.001 * static_cast<double>(ms)}, time}});
    if (ms % 40 == 7) rows.push_back(SensorRow{{16, {0.002 * static_cast<double>(ms)}, time}});
    if (ms % 100 == 50) rows.push_back(TruthRow{time, 48, 16, 0, {}, {}});
    if (ms % 1000 != 500) continue;
    FixRow row{};
    row.fix.time_ns = time - 200 * kMillisecond;
    row.fix.latitude = 48.0 + 1e-4 * static_cast<double>(ms / 1000);
    row.fix.longitude = 16.0;
    row.fix.pos_acc_e = row.fix.pos_acc_n = ms % 2000 == 500 ? 8.0F : 1.5F;
    row.sample = ms < 300'000 ? 0 : 1;
    rows.push_back(row);
  }
  return rows;
}

using Mark = std::tuple<std::size_t, int, std::int64_t, double, double>;
Mark mark(const EventRow& row) {
  if (const auto* sensor = std::get_if<SensorRow>(&row))
    return {0, sensor->event.type, sensor->event.timestamp, sensor->event.values[0], 0.0};
  if (const auto* fix = std::get_if<FixRow>(&row))
    return {1, fix->sample, fix->fix.time_ns, fix->fix.latitude, fix->fix.longitude};
  return {2, 0, std::get<TruthRow>(row).time_ns, 0.0, 0.0};
}
std::vector<Mark> marks(const std::vector<EventRow>& rows, std::size_t least, std::size_t most) {
  std::vector<Mark> all;
  for (const EventRow& row : rows) {
    if (row.index() >= least && row.index() <= most) all.push_back(mark(row));
  }
  return all;
}
std::vector<Mark> sensors(const std::vector<EventRow>& rows) {
  return marks(rows, 0, 0);
}
std::vector<Mark> sorted(std::vector<Mark> all) {
  std::sort(all.begin(), all.end());
  return all;
}
double seconds(const Mark& row) {
  return static_cast<double>(std::get<2>(row) - kOrigin) * 1e-9;
}

TEST(Delivery, LeavesALogAloneUnlessAsked) {
  EXPECT_EQ(marks(deliver(recording(), {}, 1), 0, 2), marks(recording(), 0, 2));
  EXPECT_TRUE(deliver({}, {.late = 0.5, .jump_interval = 20.0}, 1).empty());
}

TEST(Delivery, GapsAndSilencesAreEmptyAndNothingElseIs) {
  DeliveryOptions options{.gaps = {{10, 5}, {100, 0.4}}, .silences = {{200, 3}}};
  const std::vector<EventRow> rows = deliver(recording(), options, 1);
  EXPECT_EQ(sensors(rows).size(), 2U * (25 * kSeconds - 125 - 10 - 75));
  EXPECT_EQ(marks(rows, 1, 1).size(), kSeconds - 3U);
  EXPECT_EQ(marks(rows, 2, 2), marks(recording(), 2, 2));
  for (const Mark& row : sensors(rows)) {
    for (const Gap& gap : {Gap{10, 5}, Gap{100, 0.4}, Gap{200, 3}}) {
      ASSERT_TRUE(seconds(row) < gap.begin || seconds(row) >= gap.begin + gap.length);
    }
  }
}

// 20,000 events: bounds at 4 sigma of a binomial count.
TEST(Delivery, DoubledEventsFollowAtOnce) {
  std::vector<Mark> all = sensors(deliver(recording(), {.doubled = 0.1}, 1));
  EXPECT_NEAR(static_cast<double>(all.size()), 20000 + 2000, 4 * std::sqrt(20000 * 0.1 * 0.9));
  all.erase(std::unique(all.begin(), all.end()), all.end());
  EXPECT_EQ(all, sensors(recording()));
}

// Of 0.2 of the events all but those late by less than the 20 ms to the next one are overtaken.
// Of two sensors' batches of one length, each is older than the other's newest for its share of the
// interval, together half of all; give or take one event a batch.
TEST(Delivery, LateEventsComeWithinASecond) {
  struct Case {
    DeliveryOptions options;
    double greatest, overtaken, tolerance;
  };
  for (const auto& [options, greatest, overtaken, tolerance] :
       {Case{{.late = 0.2}, 1.0, 20000 * 0.2 * 0.98, 4 * std::sqrt(20000 * 0.2 * 0.8)},
        Case{{.batch = 0.6}, 0.6, 10000, 2 * kSeconds / 0.6}}) {
    const std::vector<Mark> all = sensors(deliver(recording(), options, 1));
    EXPECT_EQ(sorted(all), sorted(sensors(recording())));
    double newest = 0.0, latest = 0.0;
    int late = 0;
    std::map<int, double> last;
    for (const Mark& row : all) {
      newest = std::max(newest, seconds(row));
      latest = std::max(latest, newest - seconds(row));
      late += newest > seconds(row);
      double& before = last[std::get<1>(row)];
      if (options.batch > 0.0) {
        ASSERT_GE(seconds(row), before);
      }
      before = seconds(row);
    }
    EXPECT_LT(latest, greatest);
    EXPECT_GT(latest, 0.6 * greatest);
    EXPECT_NEAR(late, overtaken, tolerance);
  }
}

TEST(Delivery, FixesComeLateAndByAClockOfTheirOwn) {
  for (const auto& [delay, clock] : {std::pair(1.2, 0.0), {0.0, 0.35}, {0.4, -0.5}}) {
    double newest = 0.0;
    int number = 0;
    for (const EventRow& row : deliver(recording(), {.fix_delay = delay, .fix_clock = clock}, 1)) {
      if (row.index() == 0) newest = seconds(mark(row));
      if (row.index() != 1) continue;
      ASSERT_NEAR(seconds(mark(row)), number + 0.3 + clock, 1e-9);
      // At the end nothing comes any more.
      ASSERT_NEAR(newest, std::min(number + 0.5 + delay, kSeconds - 0.033), 0.041);
      ++number;
    }
    EXPECT_EQ(number, kSeconds);
  }
}

TEST(Delivery, JumpsLieAsideAndDoNotAdmitIt) {
  const auto distances = [](const DeliveryOptions& options) {
    std::map<int, double> moved;  // m, by the second of the fix
    std::vector<EventRow> before, after;
    for (const EventRow& row : recording())
      if (row.index() == 1) before.push_back(row);
    for (const EventRow& row : deliver(recording(), options, 1))
      if (row.index() == 1) after.push_back(row);
    for (std::size_t i = 0; i < before.size(); ++i) {
      const GpsData &was = std::get<FixRow>(before[i]).fix, &is = std::get<FixRow>(after[i]).fix;
      double distance = 0.0;
      GeographicLib::Geodesic::WGS84().Inverse(was.latitude, was.longitude, is.latitude,
                                               is.longitude, distance);
      EXPECT_EQ(is.pos_acc_e, distance > 0.0 ? std::min(was.pos_acc_e, 3.0F) : was.pos_acc_e);
      EXPECT_EQ(is.pos_acc_n, is.pos_acc_e);
      if (distance > 0.0) moved[static_cast<int>(i)] = distance;
    }
    return moved;
  };
  const auto asked = distances({.jumps = {{20, 5, 150}, {298, 9, 30}}});
  ASSERT_EQ(asked.size(), 7U);  // stand-ins stay
  for (const auto& [second, distance] : asked) {
    EXPECT_TRUE(second < 25 ? second >= 20 : second >= 298);
    EXPECT_NEAR(distance, second < 25 ? 150.0 : 30.0, 0.02);
  }
  const auto drawn = distances({.jump_interval = 20.0});
  int jumps = 0, last = -1;
  for (const auto& [second, distance] : drawn) {
    EXPECT_TRUE(distance > 19.9 && distance < 200.1) << distance;
    jumps += second != last + 1;
    last = second;
  }
  EXPECT_NEAR(jumps, 15, 4);
  EXPECT_NEAR(static_cast<double>(drawn.size()) / jumps, 5.5, 1.5);
}

TEST(Delivery, DisturbancesDoNotChangeOneAnother) {
  DeliveryOptions options{.late = 0.1, .jump_interval = 30.0};
  const std::vector<EventRow> few = deliver(recording(), options, 7);
  options.doubled = 0.3;
  const std::vector<EventRow> more = deliver(recording(), options, 7);
  options.gaps = {{50, 10}};
  options.jumps = {{350, 5, 90}};  // among stand-ins
  const std::vector<EventRow> most = deliver(recording(), options, 7);
  EXPECT_EQ(marks(few, 1, 1), marks(most, 1, 1));
  std::vector<Mark> once = sensors(more), left = sensors(more);
  once.erase(std::unique(once.begin(), once.end()), once.end());
  EXPECT_EQ(once, sensors(few));
  std::erase_if(left, [](const Mark& row) { return seconds(row) >= 50 && seconds(row) < 60; });
  EXPECT_EQ(left, sensors(most));
}

}  // namespace
}  // namespace zuvdr::tools
