#include "tools/evaluation/live_figures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kTick = 100'000'000;                       // ns
constexpr double kDegree = 6378137.0 * std::numbers::pi / 180.0;  // m, along the equator of WGS 84

// 10 m/s along the equator, told at 10 Hz by the truth and by sensors whose samples never get an
// engine going. Fixes once a second without a velocity, 0.4 s late, so that an app is shown a place
// 4 to 14 m behind the truth; none from 20.5 to 51.5 s. Motion sensors are silent from 60 to 64 s.
class LiveFiguresTest : public testing::Test {
 protected:
  void SetUp() override {
    for (std::int64_t tick = 0; tick < 1000; ++tick) {
      const std::int64_t t = tick * kTick;
      live_.play(TruthRow{t, 0.0, place(t), 0.0, {}, {}});
      live_.play(SensorRow{{ZUVDR_SENSOR_PRESSURE, {1000.0}, t}});
      if (tick < 600 || tick > 640) {
        live_.play(SensorRow{{ZUVDR_SENSOR_ACCELEROMETER, {0.0, 0.0, 9.8}, t}});
      }
      if (tick % 10 == 4 && (tick < 210 || tick > 520)) live_.play(fix(t - 4 * kTick));
    }
    live_.finish();
  }

  static double place(std::int64_t time_ns) {
    return 10.0 + 10e-9 * static_cast<double>(time_ns) / kDegree;
  }
  static FixRow fix(std::int64_t time_ns) {
    FixRow row{};
    row.fix.time_ns = time_ns;
    row.fix.longitude = place(time_ns);
    row.fix.vel_acc_e = row.fix.vel_acc_n = row.fix.vel_acc_u = row.fix.speed_acc = 1e-3F;
    row.fix.pos_acc_e = row.fix.pos_acc_n = row.fix.pos_acc_u = 6.5F;
    return row;
  }

  LiveFigures live_{HostOptions::none()};
  const LiveFigures::Figures& figures_ = live_.figures();
  static constexpr auto kRaw = static_cast<std::size_t>(LiveGroup::kRaw);
};

TEST_F(LiveFiguresTest, PositionsAreHeldAgainstTheTruthOfTheTimeAskedFor) {
  EXPECT_EQ(figures_.fixes, 69U);
  EXPECT_EQ(figures_.corrected, 0U);
  EXPECT_TRUE(std::isnan(figures_.begins));
  const LiveErrors& at_fix = figures_.at_fix[kRaw];
  EXPECT_EQ(at_fix.errors.count(), 69U);
  EXPECT_LT(at_fix.errors.largest(), 1e-6);
  const LiveErrors& later = figures_.later[kRaw];
  EXPECT_EQ(later.errors.count(), 69U);
  EXPECT_NEAR(later.errors.quantile(0.0), 5.0, 0.06);
  EXPECT_NEAR(later.errors.largest(), 5.0, 1e-3);
  // Of the times asked five a second, all steps of 0.2 s from 0.4 to 1.4 s behind the fix.
  const LiveErrors& now = figures_.now[kRaw];
  EXPECT_NEAR(now.errors.quantile(0.3), 8.0, 1.1);
  // Inside hypot(6.5, 6.5) = 9.2 m are three of five, but for the outage.
  EXPECT_NEAR(static_cast<double>(now.inside) / static_cast<double>(now.errors.count()),
              0.6 * 69.0 / 100.0, 0.05);
}

TEST_F(LiveFiguresTest, OutagesAndGapsHaveTheirOwnErrors) {
  for (std::size_t i = 0; i < kDriftTimes.size(); ++i) {
    const ErrorFigures& errors = figures_.drift[i].errors;
    EXPECT_EQ(errors.count(), kDriftTimes[i] <= 30 ? 1U : 0U) << kDriftTimes[i];
    if (errors.count() == 0) continue;
    EXPECT_NEAR(errors.largest(), 10.0 * kDriftTimes[i], 3.0);
  }
  EXPECT_EQ(figures_.outage_end.errors.count(), 1U);
  EXPECT_NEAR(figures_.outage_end.errors.largest(), 324.0, 1.1);
  EXPECT_EQ(figures_.after_outage.errors.count(), 1U);
  EXPECT_LT(figures_.after_outage.errors.largest(), 1e-6);
  EXPECT_NEAR(figures_.in_gaps.errors.largest(), 13.0, 1.1);
  EXPECT_EQ(figures_.regains.lost(), 1U);
}

}  // namespace
}  // namespace zuvdr::tools
