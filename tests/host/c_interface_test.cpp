// The host for C: what a start takes over, what is told, and that nothing is thrown at a C program.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "ZuVDRHost.h"

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

struct Heard {
  std::vector<ZuVDRHostAnswer> answers;
  std::vector<int> notices;
};
void hear_answer(const ZuVDRHostAnswer* answer, void* user) {
  static_cast<Heard*>(user)->answers.push_back(*answer);
}
void hear_notice(int notice, double, void* user) {
  static_cast<Heard*>(user)->notices.push_back(notice);
}

ZuVDRPhoneFix fix_at(std::int64_t time, double speed = 4.0) {
  ZuVDRPhoneFix fix{};
  fix.time_ns = time;
  fix.latitude = -33.5;
  fix.longitude = -70.25;
  fix.altitude = 520.0;
  fix.horizontal_accuracy = fix.vertical_accuracy = 5.0;
  fix.speed = speed;
  fix.speed_accuracy = 0.5;
  fix.bearing = 270.0;
  fix.bearing_accuracy = 3.0;
  return fix;
}
int nan_event() {
  const SensorData event{ZUVDR_SENSOR_ACCELEROMETER, {NAN, 0, 0, 0, 0, 0}, kSecond};
  return ZuVDRHostSensor(&event);
}

TEST(HostForC, DoesNothingBeforeItsStartAndAfterItsStop) {
  const auto expect_nothing = [] {
    const SensorData event{ZUVDR_SENSOR_ACCELEROMETER, {0, 0, 9.8, 0, 0, 0}, kSecond};
    const ZuVDRPhoneFix fix = fix_at(kSecond);
    const GpsData gps{};
    ZuVDRHostPosition position{};
    ZuVDRHostCounts counts{};
    EXPECT_EQ(ZuVDRHostSensor(&event) + ZuVDRHostFix(&fix) + ZuVDRHostGpsFix(&gps, 0), 0);
    EXPECT_EQ(ZuVDRHostPositionAt(kSecond, &position), 0);
    EXPECT_EQ(ZuVDRHostCountsNow(&counts) + ZuVDRHostFlush(), 0);
  };
  expect_nothing();
  ASSERT_EQ(ZuVDRHostStart(nullptr, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(ZuVDRHostSensor(nullptr) + ZuVDRHostFix(nullptr) + ZuVDRHostGpsFix(nullptr, 0), 0);
  EXPECT_EQ(ZuVDRHostPositionAt(kSecond, nullptr) + ZuVDRHostCountsNow(nullptr), 0);
  ZuVDRHostStop();
  expect_nothing();
  ZuVDRHostStop();
}

// A fix of a host without events is answered raw; a second later it is 4 m farther west, where a
// degree is pi / 180 N cos(latitude) metres, N = 6,384,651 m the prime vertical's radius at 33.5.
TEST(HostForC, TellsAnswersAndPositions) {
  Heard heard;
  ASSERT_EQ(ZuVDRHostStart(nullptr, hear_answer, hear_notice, &heard), 1);
  const ZuVDRPhoneFix fix = fix_at(kSecond);
  ZuVDRHostPosition position{};
  ASSERT_EQ(ZuVDRHostFix(&fix), 1);
  EXPECT_EQ(ZuVDRHostPositionAt(kSecond - 1, &position), 0);
  EXPECT_EQ(ZuVDRHostPositionAt(kSecond, &position), 1);
  ASSERT_EQ(ZuVDRHostFlush(), 1);
  ASSERT_EQ(heard.answers.size(), 1U);
  EXPECT_EQ(heard.answers[0].fix.time_ns, kSecond);
  EXPECT_EQ(heard.answers[0].sample + heard.answers[0].refused + heard.answers[0].status, 0);
  EXPECT_EQ(heard.answers[0].position.latitude, fix.latitude);
  EXPECT_EQ(heard.answers[0].position.source, ZUVDR_SOURCE_RAW_FIX);

  ASSERT_EQ(ZuVDRHostPositionAt(2 * kSecond, &position), 1);
  EXPECT_EQ(position.time_ns, 2 * kSecond);
  EXPECT_NEAR(position.latitude, -33.5, 1e-7);
  const double degree = M_PI / 180.0 * 6'384'651.0 * std::cos(33.5 * M_PI / 180.0);
  EXPECT_NEAR(position.longitude, -70.25 - 4.0 / degree, 1e-7);
  EXPECT_EQ(position.altitude, 520.0);
  EXPECT_FLOAT_EQ(static_cast<float>(position.speed), 4.0F);
  EXPECT_NEAR(position.bearing, 270.0, 1e-4);
  EXPECT_EQ(position.reserved, 0);
  EXPECT_EQ(ZuVDRHostPositionAt(0, &position), 0);
  EXPECT_EQ(position.time_ns, 2 * kSecond);

  EXPECT_EQ(nan_event(), 1);
  EXPECT_EQ(heard.notices, std::vector<int>{ZUVDR_NOTICE_EVENT_DROPPED});
  ZuVDRHostCounts counts{};
  ASSERT_EQ(ZuVDRHostCountsNow(&counts), 1);
  EXPECT_EQ(counts.events_dropped, 1);
  EXPECT_EQ(counts.epochs_processed + counts.epochs_waiting, 0);
  EXPECT_TRUE(std::isnan(counts.mounting_yaw));
}

TEST(HostForC, TakesTheCaresThatAreAskedFor) {
  const struct {
    ZuVDRHostOptions options;
    std::int64_t dropped, shift;  // ns that the fix is answered earlier
  } cases[] = {{{0, 0, 0.5}, 0, 0},
               {{ZUVDR_CARE_TIME_STAMPS, 0, 0.5}, 1, 0},
               {{ZUVDR_ALL_CARES & ~ZUVDR_CARE_TIME_STAMPS, 0, 0.5}, 0, 0},
               {{ZUVDR_CARE_TIME_STAMPS, 1, 0.5}, 1, kSecond / 2}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options.cares);
    Heard heard;
    ASSERT_EQ(ZuVDRHostStart(&c.options, hear_answer, nullptr, &heard), 1);
    nan_event();
    ZuVDRHostCounts counts{};
    ASSERT_EQ(ZuVDRHostCountsNow(&counts), 1);
    EXPECT_EQ(counts.events_dropped, c.dropped);
    const ZuVDRPhoneFix fix = fix_at(5 * kSecond);
    ASSERT_EQ(ZuVDRHostFix(&fix) + ZuVDRHostFlush(), 2);
    ASSERT_EQ(heard.answers.size(), 1U);
    EXPECT_EQ(heard.answers[0].fix.time_ns, 5 * kSecond - c.shift);
  }
}

TEST(HostForC, KeepsExceptionsToItself) {
  const ZuVDRHostOptions plain{};
  const auto refuse = [](const ZuVDRHostAnswer*, void*) { throw std::runtime_error("full"); };
  ASSERT_EQ(ZuVDRHostStart(&plain, refuse, nullptr, nullptr), 1);
  const GpsData fix{};
  EXPECT_EQ(ZuVDRHostGpsFix(&fix, 1), 0);
  EXPECT_EQ(ZuVDRHostFlush(), 1);
}

}  // namespace
