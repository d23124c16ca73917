// What phones' apps record, read as an event log and written from one. Expected values are those of
// the descriptions of the formats, or calculated by hand.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

#include "engine/fix_quality.h"
#include "tests/tools/scratch.h"
#include "tools/logs/create_log.h"
#include "tools/logs/event_log.h"
#include "tools/logs/open_log.h"
#include "tools/logs/recording_writer.h"

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

class SensorLogger : public ScratchTest {
 protected:
  // Of CSV files by name; takes the place of the one before.
  std::string folder(const std::vector<std::pair<std::string, std::string>>& files) const {
    std::filesystem::remove_all(path("recording"));
    std::filesystem::create_directory(path("recording"));
    for (const auto& [name, text] : files) file("recording/" + name + ".csv", text);
    return path("recording");
  }
};

const std::string kVector = "time,seconds_elapsed,z,y,x\n";
const std::pair<std::string, std::string> kGyroscope{
    "GyroscopeUncalibrated", kVector + "200,0,0.3,0.2,0.1\n300,0,0.3,0.2,1e-1"};
std::pair<std::string, std::string> metadata(const std::string& platform,
                                             const std::string& standardisation) {
  return {"Metadata", "version,platform,standardisation\n3," + platform + "," + standardisation};
}

// Each reads x, y, z = 0.1, 0.2, 9.80665 m/s^2 at 100 ns, whatever the units and signs of the file.
TEST_F(SensorLogger, AccelerationByPlatform) {
  const std::string in_g = kVector + "100,0,-1,-0.0203943243,-0.0101971621\n";
  const std::string in_si = kVector + "100,0,9.80665,0.2,0.1\n";
  const std::string motion = kVector + "100,0,0,0.1,0.3\n101,0,1,1,1\n";
  const std::string gravity = kVector + "100,0,9.80665,0.1,-0.2\n";
  const std::string reversed_motion = kVector + "100,0,0,-0.1,-0.3\n";
  const std::string reversed_gravity = kVector + "100,0,-9.80665,-0.1,0.2\n";
  const std::vector<std::pair<std::string, std::string>> cases[] = {
      {metadata("android", "false"),
       {"TotalAcceleration", in_si},
       {"AccelerometerUncalibrated", in_g}},
      {{"TotalAcceleration", in_si}, {"AccelerometerUncalibrated", in_g}},
      {metadata("android", ""), {"AccelerometerUncalibrated", in_si}},
      {metadata("android", "true"), {"Accelerometer", motion}, {"Gravity", gravity}},
      {metadata("ios", "false"), {"AccelerometerUncalibrated", in_g}},
      {metadata("ios", ""), {"AccelerometerUncalibrated", in_g}},
      {{"AccelerometerUncalibrated", in_g}},
      {metadata("ios", "true"), {"AccelerometerUncalibrated", in_si}},
      {{"AccelerometerUncalibrated", in_si}},
      {metadata("ios", "false"), {"Accelerometer", reversed_motion}, {"Gravity", reversed_gravity}},
      {metadata("ios", "true"), {"Accelerometer", motion}, {"Gravity", gravity}}};
  for (const auto& files : cases) {
    auto all = files;
    all.push_back(kGyroscope);
    const Contents log = read_all(folder(all));
    ASSERT_EQ(log.of(1).size(), 1U);
    for (const auto& [axis, value] : {std::pair{0, 0.1}, {1, 0.2}, {2, 9.80665}}) {
      EXPECT_NEAR(log.of(1)[0].values[axis], value, 1e-8) << files[0].second << files.size();
    }
    EXPECT_EQ(log.of(16).size(), 2U);
  }
}

TEST_F(SensorLogger, BiasIsThatOfEqualStampsAndRowsAreLeftOutByKind) {
  const std::string recording =
      folder({{"TotalAcceleration", kVector + "100,0,9,0,0\n100,0,8,0,0\nx,0,9,0,0\n"},
              kGyroscope,
              {"Gyroscope", kVector + "299,0,1,1,1\n300,0,0.5,0.25,0\n"},
              {"Barometer", "time,seconds_elapsed,relativeAltitude,pressure\n50,-1,0,1013.25\n"}});
  const Contents log = read_all(recording);
  expect_event(log.sensors.at(0), 6, 50, {1013.25});
  expect_event(log.sensors.at(1), 1, 100, {0, 0, 9});
  expect_event(log.sensors.at(2), 16, 200, {0.1, 0.2, 0.3});
  expect_event(log.sensors.at(3), 16, 300, {0.1, 0.2, 0.3, 0.1, -0.05, -0.2});
  const std::string file = recording + "/TotalAcceleration.csv";
  const std::vector<std::string> expected{
      "skipped 1 malformed TotalAcceleration row: " + file + ":4: field time: not an integer ('x')",
      "dropped 1 TotalAcceleration row with the time of another: " + file + ":3",
      recording + ": no rows in Location.csv, sensors only"};
  EXPECT_EQ(log.remarks, expected);
}

// A row: time in units of 0.1 s, seconds since the start, speed, its accuracy, bearing, its
// accuracy, latitude.
TEST_F(SensorLogger, FixesThatAreDropped) {
  struct Case {
    std::vector<std::string> rows;
    std::vector<std::int64_t> kept;  // times, in units of 0.1 s
    int passing;
  };
  const Case cases[] = {
      {{"10,1,5,0.4,90,2,48", "20,2,5,0.4,90,3,48"}, {10, 20}, 2},
      {{"10,-1,5,0.4,90,2,48", "20,1,5,0.4,90,2,48"}, {}, 0},     // cached, and delivered again
      {{"10,1,0,0.4,0,0,48", "20,2,0,0.4,0,0,48"}, {10, 20}, 2},  // at rest
      {{"10,1,5,0.4,90,2,", "20,2,5,0.4,90,2,48"}, {20}, 1},
      {{"10,1,5,0.4,90,2,48", "13,1.3,5,0.4,90,3,48"}, {10}, 1},
      {{"10,1,5,0,0,0,48", "13,1.3,5,0.4,90,2,48"}, {13}, 1},  // replaced by one that passes
      {{"10,1,5,0.4,90,2,48", "14,1.4,5,0.4,90,3,48"}, {10, 14}, 2},
      {{"10,1,4.9,0.4,-1,-1,48"}, {10}, 0},
      {{"10,1,0.5,0.4,-1,-1,48"}, {10}, 1},
      {{"10,1,-1,0.4,90,2,48"}, {10}, 0},
      {{"10,1,5,,90,2,48"}, {10}, 0}};
  for (const Case& expected : cases) {
    std::string text =
        "time,seconds_elapsed,speed,speedAccuracy,bearing,bearingAccuracy,latitude,longitude,"
        "altitude,horizontalAccuracy,verticalAccuracy\n";
    for (const std::string& row : expected.rows) {
      text += std::string(row).insert(row.find(','), "00000000") + ",16,100,4,3\n";
    }
    const Contents log = read_all(
        folder({{"TotalAcceleration", kVector + "100,0,9,0,0\n"}, kGyroscope, {"Location", text}}));
    std::vector<std::int64_t> times;
    for (const GpsData& fix : log.fixes) times.push_back(fix.time_ns / 100000000);
    EXPECT_EQ(times, expected.kept) << text;
    EXPECT_EQ(std::ranges::count_if(log.fixes, passes_quality_test), expected.passing) << text;
  }
}

// Against the log the samples were made from; the bounds, rounded there, are those of their
// description.
TEST_F(SensorLogger, SamplesAreWhatTheSimulatorMade) {
  const std::string truth_path = data("sensor-logger/truth.csv");
  REQUIRE_RECORDING(truth_path);
  constexpr std::int64_t kShift = 1760000001000000000 - 31695916018516;
  const Contents truth = read_all(truth_path);
  for (const auto& [name, pressures] :
       {std::pair{"android", 39}, {"android.zip", 39}, {"ios", 9}, {"ios.zip", 9}}) {
    const Contents log = read_all(data("sensor-logger/" + std::string(name)));
    EXPECT_EQ(log.of(6).size(), static_cast<std::size_t>(pressures));
    EXPECT_EQ(log.of(14).size(), 99U);
    EXPECT_EQ(log.fixes.size(), 8U);
    EXPECT_TRUE(std::ranges::all_of(log.fixes, passes_quality_test));
    for (const auto& [type, bound] : {std::pair{1, 6e-7}, {16, 3.5e-9}}) {
      const std::vector<SensorData> read = log.of(type);
      const std::vector<SensorData> made = truth.of(type);
      EXPECT_EQ(read.size(), 398U);
      for (const SensorData& event : read) {
        const auto same = std::ranges::find_if(made, [&](const SensorData& other) {
          return std::abs(other.timestamp + kShift - event.timestamp) <= 300;
        });
        ASSERT_NE(same, made.end()) << name << ' ' << event.timestamp;
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(event.values[i], same->values[i], bound) << name;
      }
    }
    for (const GpsData& fix : log.fixes) {
      EXPECT_TRUE(
          std::ranges::any_of(truth.fixes,
                              [&](const GpsData& made) {
                                return std::fabs(fix.latitude - made.latitude) < 5e-8 + 1e-12 &&
                                       std::fabs(fix.longitude - made.longitude) < 5e-8 + 1e-12;
                              }))
          << name << ' ' << fix.time_ns;
    }
  }
}

class Written : public ScratchTest, public testing::WithParamInterface<const char*> {
 protected:
  // What comes back of rows written under this name.
  Contents written(const std::vector<EventRow>& rows,
                   std::vector<std::string>* left_out = nullptr) {
    const std::string name = path(GetParam());
    const auto writer = create_log(name, format_of_name(name));
    writer->comment("source: a test");
    for (const EventRow& row : rows) writer->write(row);
    writer->close();
    if (left_out != nullptr) *left_out = writer->remarks();
    return read_all(name);
  }
};
INSTANTIATE_TEST_SUITE_P(Formats, Written, testing::Values("a.txt", "a.txt.gz", "a.zip"));

// The first in time is handed over late. Of two clocks: since boot, and UTC, which is kept in both
// formats.
TEST_P(Written, RowsComeBackInOrderAndOthersAreCounted) {
  for (const std::int64_t start : {std::int64_t{5'000'000'000'000}, 1'760'000'000'158'299'401}) {
    const auto at = [start](std::int64_t ms) { return start + ms * 1'000'000; };
    const FixRow fix{to_gps_data({.time_ns = start,
                                  .latitude = 48.2,
                                  .longitude = -16.4,
                                  .altitude = 180.5,
                                  .horizontal_accuracy = 4.0,
                                  .vertical_accuracy = 3.0,
                                  .speed = 10.0,
                                  .speed_accuracy = 0.4,
                                  .bearing = 300.0,
                                  .bearing_accuracy = 2.0}),
                     0};
    const FixRow stand_in{fix.fix, 1};
    std::vector<std::string> left_out;
    const Contents log =
        written({TruthRow{}, StepRow{start}, SensorRow{{1, {0.1, 9.81, -1e-7}, at(20)}},
                 SensorRow{{1, {0.2, 9.82, 0.0}, at(10)}},
                 SensorRow{{16, {0.25, -0.5, 1.0 / 3, 0.125, 0.25, -0.375}, at(10)}}, fix, stand_in,
                 SensorRow{{14, {20, -30, 40}, at(5)}}, SensorRow{{4, {}, start}},
                 SensorRow{{6, {1013.25}, at(4)}}},
                &left_out);
    const std::vector<std::string> expected{"left out 1 row of other sensors",
                                            "left out 1 row of steps", "left out 1 row of truth",
                                            "left out 1 row without a fix"};
    EXPECT_EQ(left_out, expected);
    EXPECT_TRUE(log.remarks.empty());
    const std::int64_t shift = log.times.at(0) - start;
    EXPECT_TRUE(shift == 0 ||
                (start < 1'000'000'000'000'000'000 && std::string(GetParam()) == "a.zip"));
    ASSERT_EQ(log.sensors.size(), 5U);
    expect_event(log.sensors[0], 6, at(4) + shift, {1013.25});
    expect_event(log.sensors[1], 14, at(5) + shift, {20, -30, 40});
    expect_event(log.sensors[2], 1, at(10) + shift, {0.2, 9.82});
    expect_event(log.sensors[3], 16, at(10) + shift, {0.25, -0.5, 1.0 / 3, 0.125, 0.25, -0.375});
    expect_event(log.sensors[4], 1, at(20) + shift, {0.1, 9.81, -1e-7});
    ASSERT_EQ(log.fixes.size(), 1U);
    EXPECT_EQ(log.fixes[0].time_ns, start + shift);
    EXPECT_EQ(log.fixes[0].latitude, 48.2);
    EXPECT_EQ(log.fixes[0].longitude, -16.4);
    EXPECT_EQ(log.fixes[0].altitude, 180.5);
  }
}

// What a phone told comes back, what it did not know stays unknown, and whatever fails the quality
// test fails it again.
TEST_P(Written, FixesOfPhonesComeBack) {
  constexpr double kUnknown = PhoneFix::kUnknown;
  const PhoneFix known{5'000'000'000, 48.0, 16.0, 180.0, 4.0, 3.0, 10.0, 0.4, 30.0, 2.0};
  std::vector<PhoneFix> cases(12, known);
  cases[1].bearing = 45.0;  // where both axes have the same accuracy
  cases[2].bearing = 270.0;
  cases[3].bearing_accuracy = 8.0;
  cases[4].bearing = cases[4].bearing_accuracy = kUnknown;  // fails
  cases[5].bearing = kUnknown;
  cases[5].speed = 0.3;
  cases[6].bearing = kUnknown;
  cases[6].speed = 0.0;
  cases[7].speed_accuracy = kUnknown;       // fails
  cases[8].horizontal_accuracy = kUnknown;  // fails
  cases[9].vertical_accuracy = kUnknown;    // fails
  cases[10].speed = kUnknown;               // fails
  cases[11].latitude = -48.0;
  std::vector<EventRow> rows{SensorRow{{1, {0, 0, 9.8}, 1}}, SensorRow{{16, {}, 1}}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    cases[i].time_ns += static_cast<std::int64_t>(i) * 1'000'000'000;
    rows.push_back(FixRow{to_gps_data(cases[i]), 0});
  }
  const Contents log = written(rows);
  ASSERT_EQ(log.fixes.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const GpsData wanted = to_gps_data(cases[i]);
    const bool passes = i != 4 && (i < 7 || i == 11);
    EXPECT_EQ(passes_quality_test(log.fixes[i]), passes) << i;
    EXPECT_EQ(log.fixes[i].latitude, wanted.latitude) << i;
    const auto expect_near = [&](std::initializer_list<float GpsData::*> members) {
      for (const auto member : members) {
        EXPECT_NEAR(log.fixes[i].*member, wanted.*member, 2e-6) << i;  // float32 of 10 m/s
      }
    };
    expect_near({&GpsData::speed, &GpsData::pos_acc_e, &GpsData::pos_acc_n, &GpsData::pos_acc_u});
    if (passes || i == 8 || i == 9) {
      expect_near({&GpsData::vel_e, &GpsData::vel_n, &GpsData::vel_acc_e, &GpsData::vel_acc_n,
                   &GpsData::vel_acc_u, &GpsData::speed_acc});
    }
  }
}

// Eastwards at 10 m/s, so that the sigmas to the east and north are those along and across; and
// without one accuracy after the other.
TEST(ToPhoneFix, AccuraciesOfOtherReceivers) {
  GpsData fix{};
  fix.vel_e = 10.0F;
  fix.vel_acc_e = 0.3F;
  fix.vel_acc_n = 0.4F;
  fix.vel_acc_u = 0.7F;
  fix.speed_acc = 0.5F;
  fix.pos_acc_e = 3.0F;
  fix.pos_acc_n = 4.0F;
  const PhoneFix phone = to_phone_fix(fix);
  EXPECT_EQ(phone.speed, 10.0);
  EXPECT_EQ(phone.bearing, 90.0);
  EXPECT_NEAR(phone.speed_accuracy, 0.3, 1e-7);
  EXPECT_NEAR(phone.bearing_accuracy, 2.29183118, 1e-6);  // 0.04 rad
  EXPECT_EQ(phone.horizontal_accuracy, 5.0);
  EXPECT_TRUE(std::isnan(phone.vertical_accuracy));
  for (const auto member :
       {&GpsData::vel_acc_e, &GpsData::vel_acc_n, &GpsData::vel_acc_u, &GpsData::speed_acc}) {
    GpsData without = fix;
    without.*member = 0.0F;
    EXPECT_TRUE(std::isnan(to_phone_fix(without).speed_accuracy));
    EXPECT_TRUE(std::isnan(to_phone_fix(without).bearing_accuracy));
  }
}

}  // namespace
}  // namespace zuvdr::tools
