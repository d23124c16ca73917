#include "tools/evaluation/log_check.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/tools/program.h"

namespace zuvdr::tools {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();

using Rows = std::vector<EventRow>;

// 20 s from 1000 s on, each of 52 rows: accelerometer and gyroscope together at 25 Hz, then a good
// fix and a true position. Row i is line i + 1.
constexpr std::size_t kRowsASecond = 52;
Rows good_log() {
  Rows rows;
  for (int second = 1000; second < 1020; ++second) {
    for (int i = 0; i < 25; ++i) {
      const std::int64_t t = second * kSecond + i * kSecond / 25;
      rows.push_back(SensorRow{{ZUVDR_SENSOR_ACCELEROMETER, {0, 0, 9.8}, t}});
      rows.push_back(SensorRow{{ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, {}, t}});
    }
    GpsData fix{};
    fix.time_ns = second * kSecond;
    fix.latitude = 40.0;
    fix.longitude = 100.0;
    fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = 0.5F;
    fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = 5.0F;
    rows.push_back(FixRow{fix, 0});
    rows.push_back(TruthRow{fix.time_ns, 40.0, 100.0, 0.0, {kNaN, kNaN, kNaN}, {kNaN, kNaN, kNaN}});
  }
  return rows;
}

// Of the given second.
SensorData& sensor(Rows& rows, std::size_t second, std::size_t row) {
  return std::get<SensorRow>(rows[second * kRowsASecond + row]).event;
}
FixRow& fix(Rows& rows, std::size_t second) {
  return std::get<FixRow>(rows[second * kRowsASecond + 50]);
}
void no_fix(Rows& rows, std::size_t second) {
  rows[second * kRowsASecond + 50] = StepRow{fix(rows, second).fix.time_ns};
}
TruthRow& truth(Rows& rows, std::size_t second) {
  return std::get<TruthRow>(rows[second * kRowsASecond + 51]);
}

std::string found(const Rows& rows) {
  LogCheck check;
  std::int64_t line = 0;
  for (const EventRow& row : rows) check.add(row, ++line);
  check.finish();
  std::string all;
  for (const Finding& finding : check.findings()) {
    all += std::string(finding.breaks ? "! " : "") + stream_name(finding.stream) + " " +
           fault_name(finding.fault) + " x" + std::to_string(finding.count) + " line " +
           std::to_string(finding.line) + "; ";
  }
  EXPECT_NEAR(check.length(), 19.96, 0.001) << all;
  return all;
}

TEST(LogCheckTest, FindsWhatIsWrongAndWhere) {
  const struct {
    const char* name;
    std::function<void(Rows&)> spoil;
    const char* findings;
  } cases[] = {
      {"nothing", [](Rows&) {}, ""},
      // Events 10 s + 0.04 s to 10 s + 1.48 s go: 1.52 s from epoch to epoch.
      {"37 epochs missing",
       [](Rows& rows) {
         for (int i = 2; i < 76; ++i) sensor(rows, 10 + (i >= 50), i % 50).type = 4;
       },
       "! epochs gap x1 line 600; "},
      {"36 epochs missing",
       [](Rows& rows) {
         for (int i = 2; i < 74; ++i) sensor(rows, 10 + (i >= 50), i % 50).type = 4;
       },
       ""},
      {"sensor dies",
       [](Rows& rows) {
         for (std::size_t s = 10; s < 20; ++s) {
           for (std::size_t i = 1; i < 50; i += 2) sensor(rows, s, i).type = 4;
         }
       },
       "! epochs ends x1 line 518; "},
      // The other half of the pair follows at once, and both find a partner.
      {"gyroscope stamp repeated", [](Rows& rows) { sensor(rows, 3, 3).timestamp -= kSecond / 25; },
       "! epochs doubled x1 line 160; gyroscope doubled x1 line 160; "},
      {"accelerometer back", [](Rows& rows) { sensor(rows, 3, 4).timestamp -= kSecond / 10; },
       "accelerometer backward x1 line 161; "},
      {"gyroscope far ahead", [](Rows& rows) { sensor(rows, 3, 3).timestamp = kLast; },
       "! epochs ends x1 line 158; ! gyroscope wild x1 line 160; "},
      {"gyroscope far behind", [](Rows& rows) { sensor(rows, 3, 3).timestamp = 0; },
       "gyroscope wild x1 line 160; "},
      {"first row wild", [](Rows& rows) { sensor(rows, 0, 0).timestamp = 0; },
       "accelerometer wild x1 line 1; "},
      {"fixes far ahead and far behind",
       [](Rows& rows) {
         fix(rows, 2).fix.time_ns = kLast;
         fix(rows, 7).fix.time_ns = -kLast;
       },
       "fixes wild x2 line 155; "},
      {"two good fixes with one stamp", [](Rows& rows) { fix(rows, 4).fix.time_ns -= kSecond; },
       "! fixes doubled x1 line 259; "},
      {"a stand-in with the stamp of a fix",
       [](Rows& rows) {
         fix(rows, 4).fix.time_ns -= kSecond;
         fix(rows, 4).fix.speed_acc = 0.0F;
         fix(rows, 4).sample = 1;
       },
       "fixes doubled x1 line 259; "},
      {"too large for float32", [](Rows& rows) { sensor(rows, 3, 1).values[2] = 1e39; },
       "! gyroscope not finite x1 line 158; "},
      {"not finite where nothing is read", [](Rows& rows) { sensor(rows, 3, 1).values[3] = kNaN; },
       ""},
      {"fix not finite", [](Rows& rows) { fix(rows, 4).fix.latitude = kNaN; },
       "! fixes not finite x1 line 259; "},
      {"longitude 200", [](Rows& rows) { fix(rows, 4).fix.longitude = 200.0; },
       "! fixes out of range x1 line 259; "},
      {"west", [](Rows& rows) { fix(rows, 4).fix.longitude = -1e-9; },
       "! fixes outside quadrant x1 line 259; "},
      {"accuracy at its limit and unknown",
       [](Rows& rows) {
         fix(rows, 4).fix.pos_acc_n = 250.0F;
         fix(rows, 6).fix.vel_acc_u = 0.0F;
       },
       "fixes quality test x2 line 259; "},
      {"no good fix, stand-ins or not",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) fix(rows, s).fix.speed_acc = 3;
         for (std::size_t s = 4; s < 20; ++s) fix(rows, s).sample = 1;
       },
       "! fixes none accepted x1 line 0; fixes quality test x4 line 51; "},
      {"fixes on another clock",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) fix(rows, s).fix.time_ns += 1'700'000'000 * kSecond;
       },
       "! fixes clock apart x1 line 0; "},
      {"truth on another clock",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) truth(rows, s).time_ns -= 900 * kSecond;
       },
       "truth clock apart x1 line 0; "},
      {"fixes begin late and end early",
       [](Rows& rows) {
         for (const std::size_t s : {0, 1, 2, 3, 4, 5, 14, 15, 16, 17, 18, 19}) no_fix(rows, s);
       },
       "! fixes ends x1 line 727; fixes gap x1 line 0; "},
      {"fixes every 10 s",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) {
           if (s % 10 != 5) no_fix(rows, s);
         }
       },
       "fixes gap x1 line 831; "},
      {"two wild fixes in a row",
       [](Rows& rows) {
         fix(rows, 8).fix.time_ns += 100 * kSecond;
         fix(rows, 9).fix.time_ns += 100 * kSecond;
       },
       "fixes wild x2 line 467; "},
      {"both sensors far ahead",
       [](Rows& rows) { sensor(rows, 3, 2).timestamp = sensor(rows, 3, 3).timestamp = kLast; },
       "! accelerometer wild x1 line 159; ! gyroscope wild x1 line 160; ! epochs wild x1 line "
       "160; "},
      {"neighbours swapped",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) {
           for (std::size_t i = 0; i < 48; i += 4) {
             std::swap(sensor(rows, s, i).timestamp, sensor(rows, s, i + 2).timestamp);
           }
         }
       },
       "accelerometer backward x240 line 3; "},
      {"a gap, then two stamps swapped",
       [](Rows& rows) {
         for (std::size_t i = 2 * kRowsASecond; i < 10 * kRowsASecond; ++i) {
           if (auto* row = std::get_if<SensorRow>(&rows[i])) row->event.type = 4;
         }
         std::swap(sensor(rows, 10, 0).timestamp, sensor(rows, 10, 2).timestamp);
       },
       "! epochs gap x1 line 522; accelerometer backward x1 line 523; "},
      {"stand-in that looks good", [](Rows& rows) { fix(rows, 4).sample = 2; },
       "fixes stand-in x1 line 259; "},
      {"every second gyroscope event missing",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) {
           for (std::size_t i = 1; i < 50; i += 4) sensor(rows, s, i).type = 4;
         }
       },
       "gyroscope rate x1 line 0; "},
      {"clocks of the sensors 100 s apart",
       [](Rows& rows) {
         for (std::size_t s = 0; s < 20; ++s) {
           for (std::size_t i = 1; i < 50; i += 2) sensor(rows, s, i).timestamp += 100 * kSecond;
         }
       },
       "! epochs missing x1 line 0; "},
  };
  for (const auto& [name, spoil, findings] : cases) {
    Rows rows = good_log();
    spoil(rows);
    EXPECT_EQ(found(rows), findings) << name;
  }
}

class CheckCommandTest : public ProgramTest {
 protected:
  std::string written(const std::string& name, const Rows& rows) const {
    EventLogWriter log(path(name));
    for (const EventRow& row : rows) log.write(row);
    log.close();
    return path(name);
  }
};

TEST_F(CheckCommandTest, ExitStatusTellsTheWorstAndNoLogStopsTheRest) {
  Rows rows = good_log();
  const std::string good = written("good.csv", rows);
  fix(rows, 4).fix.speed_acc = 0.0F;
  const std::string doubtful = written("doubtful.csv", rows);
  fix(rows, 5).fix.longitude = -1.0;
  const std::string broken = written("broken.csv", rows);
  const std::string bad = file("bad.csv", "G,1\n");
  EXPECT_EQ(run("check " + good + " " + doubtful).status, 0);
  EXPECT_EQ(run("check " + doubtful + " " + broken + " " + good).status, 3);
  const Result all = run("check --json " + broken + " " + bad + " none.csv " + good);
  EXPECT_EQ(all.status, 2);
  const auto logs = nlohmann::json::parse(all.out)["logs"];
  ASSERT_EQ(logs.size(), 4U);
  EXPECT_EQ(logs[0]["breaks"], true);
  EXPECT_NEAR(logs[0]["accelerometer_hz"].get<double>(), 25.0, 1e-6);
  const auto& west = logs[0]["findings"][0];
  EXPECT_EQ(west["line"], 5 * 52 + 51);
  EXPECT_NEAR(west["seconds"].get<double>(), 5.0, 1e-6);
  EXPECT_EQ(logs[0]["findings"].size(), 2U);
  EXPECT_EQ(logs[1]["error"], bad + ":1: field latitude: missing ('')");
  EXPECT_EQ(logs[3]["findings"].size(), 0U);
}

}  // namespace
}  // namespace zuvdr::tools
