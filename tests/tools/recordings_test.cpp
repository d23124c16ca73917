// What phones' apps record, read as an event log. Expected values are those of the descriptions of
// the formats, or calculated by hand.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "engine/fix_quality.h"
#include "tests/tools/scratch.h"
#include "tools/logs/event_log.h"
#include "tools/logs/open_log.h"

namespace zuvdr::tools {
namespace {

struct Contents {
  std::vector<SensorData> sensors;  // in the order read
  std::vector<GpsData> fixes;
  std::vector<std::int64_t> times;  // of all rows
  std::vector<std::string> remarks;

  std::vector<SensorData> of(std::int32_t type) const {
    std::vector<SensorData> found;
    std::ranges::copy_if(sensors, std::back_inserter(found),
                         [type](const SensorData& event) { return event.type == type; });
    return found;
  }
};

Contents read_all(const std::string& path) {
  const auto reader = open_log(path);
  Contents contents;
  for (EventRow row; reader->next(row);) {
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      contents.sensors.push_back(sensor->event);
      contents.times.push_back(sensor->event.timestamp);
    } else if (const auto* fix = std::get_if<FixRow>(&row)) {
      EXPECT_EQ(fix->sample, 0);
      contents.fixes.push_back(fix->fix);
      contents.times.push_back(fix->fix.time_ns);
    }
  }
  contents.remarks = reader->remarks();
  EXPECT_TRUE(std::ranges::is_sorted(contents.times));
  return contents;
}

void expect_event(const SensorData& event, std::int32_t type, std::int64_t time,
                  const std::vector<double>& values) {
  EXPECT_EQ(event.type, type);
  EXPECT_EQ(event.timestamp, time);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(event.values[i], i < values.size() ? values[i] : 0.0, 1e-12) << time << ' ' << i;
  }
}

std::string data(const std::string& name) {
  return std::string(ZUVDR_DATA) + "/" + name;
}

#define REQUIRE_RECORDING(path) \
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no recording " << (path)

using GnssLogger = ScratchTest;

// Version 3.1 without and with its header, whose columns may stand elsewhere; rows out of order.
TEST_F(GnssLogger, RowsOfVersion3) {
  const std::string rows =
      "Raw,1,2,3\n"
      "UncalAccel,1700000000010,5000010000000,0.12,0.31,9.79,0.1,0.2,0.3,3\n"
      "Accel,1700000000011,5000011000000,1,1,1,3\n"
      "UncalGyro,1700000000012,5000012500000,0.0021,-0.0007,0.0102,0.0019,-0.0008,1e-4,3\n"
      "Gyro,1700000000012,5000012600000,1,1,1,3\n"
      "UncalMag,1700000000012,5000012700000,20,-30,-40,1,2,3,3\n"
      "Pressure,1700000000012,5000012800000,1013.25,3\n"
      "Fix,GPS,52,21,110.5,10,4,90,1700000000000,0.4,2,5000000400000,5.2,0,,,\n"
      "Fix,FLP,53,22,110.4,7.20,5.0,93.1,1700000000500,1.5,10.0,5000000400000,5.0,0,,,\n";
  const std::string moved =
      "# Version: v3.1.1.2 Platform: 13\r\n#\r\n#,\r\n"
      "# Pressure,utcTimeMillis,PressureHpa,elapsedRealtimeNanos\r\n"
      "Pressure,1700000000012,1013.25,5000012800000\r\n";
  for (const std::string& text :
       {rows, moved + rows.substr(0, rows.find("Pressure")) + rows.substr(rows.find("Fix"))}) {
    const Contents log = read_all(file("gnss.txt", text));
    EXPECT_TRUE(log.remarks.empty());
    ASSERT_EQ(log.sensors.size(), 4U);
    expect_event(log.sensors[0], 1, 5000010000000, {0.12, 0.31, 9.79});
    expect_event(log.sensors[1], 16, 5000012500000,
                 {0.0021, -0.0007, 0.0102, 0.0019, -0.0008, 0.0001});
    expect_event(log.sensors[2], 14, 5000012700000, {20, -30, -40, 1, 2, 3});
    expect_event(log.sensors[3], 6, 5000012800000, {1013.25});
    ASSERT_EQ(log.fixes.size(), 1U);
    const GpsData& fix = log.fixes[0];
    EXPECT_TRUE(passes_quality_test(fix));
    EXPECT_EQ(fix.time_ns, 5000000400000);
    EXPECT_EQ(fix.latitude, 52.0);
    EXPECT_NEAR(fix.vel_e, 10.0, 1e-6);
    EXPECT_NEAR(fix.vel_n, 0.0, 1e-6);
    EXPECT_NEAR(fix.vel_acc_e, 0.4, 1e-7);
    EXPECT_NEAR(fix.vel_acc_n, 0.349065850398866, 1e-7);  // 10 times 2 degrees
    EXPECT_NEAR(fix.pos_acc_e, 2.82842712474619, 1e-6);
    EXPECT_NEAR(fix.pos_acc_u, 5.2, 1e-6);
  }
}

// Fixes with UTC alone, 250 ms after the sensor row nearest in UTC, whose boot clock says 7 s. The
// phone's UTC was set in between.
TEST_F(GnssLogger, OlderVersionsGetTheClockFromSensorRows) {
  const std::string sensors =
      "Accel,1600000090000,5000000000,0,0,9.8\n"
      "Accel,1600000001000,7000000000,0,0,9.8\n"
      "Gyro,1600000001000,7000000000,0.1,0.2,0.3\n"
      "Mag,1600000001000,7000000000,20,-30,-40\n";
  const std::string old = "Fix,gps,52,21,110.5,7.25,4.1,1600000001250\n";
  const std::string newer = "Fix,GPS,52,21,110.5,0.1,4.1,,1600000001250,0.4,\n";
  for (const std::string& fix : {old, newer}) {
    const Contents log = read_all(file("gnss.txt", sensors + fix));
    ASSERT_EQ(log.sensors.size(), 4U);
    expect_event(log.sensors[2], 16, 7000000000, {0.1, 0.2, 0.3});
    expect_event(log.sensors[3], 14, 7000000000, {20, -30, -40});
    ASSERT_EQ(log.fixes.size(), 1U);
    EXPECT_EQ(log.fixes[0].time_ns, 7250000000);
    EXPECT_FALSE(passes_quality_test(log.fixes[0]));  // no vertical accuracy
  }
  const Contents alone = read_all(file("gnss.txt",
                                       "# Fix,Provider,Latitude,Longitude,Altitude,"
                                       "Speed,Accuracy,(UTC)TimeInMs\n" +
                                           old));
  ASSERT_EQ(alone.fixes.size(), 1U);
  EXPECT_EQ(alone.fixes[0].time_ns, 1600000001250000000);
  EXPECT_EQ(alone.remarks.size(), 1U);
}

TEST_F(GnssLogger, DamagedRowsAreCountedByKind) {
  const std::string path = file("gnss.txt",
                                "Accel,1600000001000,7000000000,0,0,9.8\n"
                                "Fix,GPS,-29co.199999,21,1,0,4,,1600000001250,0.4,\n"
                                "Fix,GPS,95,21,1,0,4,,1600000001250,0.4,\n"
                                "Accel,1600000001000,7000000000,0,nan,9.8\n"
                                "Accel,1600000001000,7000000000,0\n");
  const auto reader = open_log(path);
  EXPECT_EQ(reader->skipped(), 4);
  const std::vector<std::string> expected{
      "skipped 2 malformed Fix rows, first " + path +
          ":2: field LatitudeDegrees: not a number ('-29co.199999')",
      "skipped 2 malformed Accel rows, first " + path + ":4: field y: not finite ('nan')",
      path + ": no fix of the provider GPS, sensors only"};
  EXPECT_EQ(reader->remarks(), expected);
}

TEST_F(GnssLogger, SampleIsRead) {
  const std::string path = data("gnss-logger/v3.0.6_sample.txt");
  REQUIRE_RECORDING(path);
  const Contents log = read_all(path);
  EXPECT_TRUE(log.remarks.empty());
  for (const std::int32_t type : {1, 14, 16}) EXPECT_EQ(log.of(type).size(), 10U) << type;
  EXPECT_EQ(log.fixes.size(), 94U);
  expect_event(log.of(16)[0], 16, 16175376984694,
               {0.36483926, -0.033750303, 0.05467244, -0.0020647193, -0.0038371063, -0.0013321454});
  // At rest, without a bearing: sqrt(0.19259089^2 + 0).
  EXPECT_NEAR(log.fixes[0].vel_acc_e, 0.19259089, 1e-7);
  EXPECT_TRUE(std::ranges::all_of(log.fixes, passes_quality_test));
}

}  // namespace
}  // namespace zuvdr::tools
