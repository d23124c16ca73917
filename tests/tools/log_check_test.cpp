#include "tools/evaluation/log_check.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "tests/tools/program.h"

namespace zuvdr::tools {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kFar = std::numeric_limits<std::int64_t>::max() - 2000 * kSecond;

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

using Spoil = std::function<void(Rows&)>;

// Changes sensor events from the first to before the last of 50 a second, the gyroscope's odd.
Spoil sensors(std::size_t first, std::size_t last, std::size_t step,
              const std::function<void(SensorData&)>& change) {
  return [=](Rows& rows) {
    for (std::size_t i = first; i < last; i += step) {
      change(std::get<SensorRow>(rows[i / 50 * kRowsASecond + i % 50]).event);
    }
  };
}
Spoil gone(std::size_t first, std::size_t last, std::size_t step) {
  return sensors(first, last, step, [](SensorData& event) { event.type = 4; });
}
Spoil late(std::size_t first, std::size_t last, std::size_t step, std::int64_t by) {
  return sensors(first, last, step, [by](SensorData& event) { event.timestamp += by; });
}
// Exchanges the stamps of accelerometer events and the next ones.
Spoil swapped(std::size_t first, std::size_t last) {
  return [=](Rows& rows) {
    late(first, last, 4, kSecond / 25)(rows);
    late(first + 2, last + 2, 4, -kSecond / 25)(rows);
  };
}

FixRow& fix(Rows& rows, std::size_t second) {
  return std::get<FixRow>(rows[second * kRowsASecond + 50]);
}
Spoil fixes(std::size_t first, std::size_t last, const std::function<void(FixRow&)>& change) {
  return [=](Rows& rows) {
    for (std::size_t second = first; second < last; ++second) change(fix(rows, second));
  };
}
Spoil only_fixes(const std::set<std::size_t>& kept) {
  return [=](Rows& rows) {
    for (std::size_t s = 0; s < 20; ++s) {
      if (!kept.contains(s)) rows[s * kRowsASecond + 50] = StepRow{};
    }
  };
}

// "!": breaks; "~": cured by the host.
std::string found(const Rows& rows, const HostOptions& host = HostOptions::none()) {
  LogCheck check(host);
  std::int64_t line = 0;
  for (const EventRow& row : rows) check.add(row, ++line);
  check.finish();
  std::string all;
  for (const Finding& finding : check.findings()) {
    all += std::string(finding.breaks ? "! "
                       : finding.cure ? "~ "
                                      : "") +
           stream_name(finding.stream) + " " + fault_name(finding.fault) + " x" +
           std::to_string(finding.count) + " line " + std::to_string(finding.line) + "; ";
  }
  EXPECT_NEAR(check.length(), 19.96, 0.001) << all;
  return all;
}

TEST(LogCheckTest, FindsWhatIsWrongAndWhere) {
  const struct {
    const char* name;
    Spoil spoil;
    const char* findings;
  } cases[] = {
      {"nothing", gone(0, 0, 1), ""},
      // Events 10 s + 0.04 s to 10 s + 1.48 s go: 1.52 s from epoch to epoch.
      {"37 epochs missing", gone(502, 576, 1), "! epochs gap x1 line 600; "},
      {"36 epochs missing", gone(502, 574, 1), ""},
      {"sensor dies", gone(501, 1000, 2), "! epochs ends x1 line 518; "},
      // The other half of the pair follows at once, and both find a partner.
      {"gyroscope stamp repeated", late(153, 154, 1, -kSecond / 25),
       "! epochs doubled x1 line 160; gyroscope doubled x1 line 160; "},
      {"gyroscope far ahead", late(153, 154, 1, kFar),
       "! epochs ends x1 line 158; ! gyroscope wild x1 line 160; "},
      {"gyroscope far behind", late(153, 154, 1, -kFar), "gyroscope wild x1 line 160; "},
      {"first row wild", late(0, 1, 1, -kFar), "accelerometer wild x1 line 1; "},
      {"both sensors far ahead", late(152, 154, 1, kFar),
       "! accelerometer wild x1 line 159; ! gyroscope wild x1 line 160; ! epochs wild x1 line "
       "160; "},
      {"neighbours swapped", swapped(0, 1000), "accelerometer backward x250 line 3; "},
      {"a gap, then two stamps swapped",
       [](Rows& rows) {
         gone(100, 500, 1)(rows);
         swapped(500, 502)(rows);
       },
       "! epochs gap x1 line 522; accelerometer backward x1 line 523; "},
      {"every second gyroscope event missing", gone(1, 1000, 4), "gyroscope rate x1 line 0; "},
      {"clocks of the sensors 100 s apart", late(1, 1000, 2, 100 * kSecond),
       "! epochs missing x1 line 0; "},
      {"too large for float32", sensors(151, 152, 1, [](auto& event) { event.values[2] = 1e39; }),
       "! gyroscope not finite x1 line 158; "},
      {"two wild fixes in a row", fixes(8, 10, [](FixRow& row) { row.fix.time_ns += 9 * kSecond; }),
       "fixes wild x2 line 467; "},
      {"two good fixes with one stamp",
       fixes(4, 5, [](FixRow& row) { row.fix.time_ns -= kSecond; }),
       "! fixes doubled x1 line 259; "},
      {"a stand-in with the stamp of a fix",
       fixes(4, 5,
             [](FixRow& row) {
               row.fix.time_ns -= kSecond;
               row.fix.speed_acc = 0.0F;
               row.sample = 1;
             }),
       "fixes doubled x1 line 259; "},
      {"fix not finite", fixes(4, 5, [](FixRow& row) { row.fix.latitude = kNaN; }),
       "! fixes not finite x1 line 259; "},
      {"longitude 200", fixes(4, 5, [](FixRow& row) { row.fix.longitude = 200.0; }),
       "! fixes out of range x1 line 259; "},
      {"west", fixes(4, 5, [](FixRow& row) { row.fix.longitude = -1e-9; }),
       "! fixes outside quadrant x1 line 259; "},
      {"accuracy at its limit", fixes(4, 6, [](FixRow& row) { row.fix.pos_acc_n = 250.0F; }),
       "fixes quality test x2 line 259; "},
      {"no good fix, nor stand-in",
       fixes(0, 20,
             [n = 0](FixRow& row) mutable {
               row.sample = ++n > 4;
               row.fix.speed_acc = 3;
             }),
       "! fixes none accepted x1 line 0; fixes quality test x4 line 51; "},
      {"stand-in that looks good", fixes(4, 5, [](FixRow& row) { row.sample = 2; }),
       "fixes stand-in x1 line 259; "},
      {"fixes on another clock",
       fixes(0, 20, [](FixRow& row) { row.fix.time_ns += 1'700'000'000 * kSecond; }),
       "! fixes clock apart x1 line 0; "},
      {"fixes ahead", fixes(0, 20, [](FixRow& row) { row.fix.time_ns += 9 * kSecond; }),
       "! fixes clock apart x1 line 0; "},
      {"truth on another clock",
       [](Rows& rows) {
         for (EventRow& row : rows) {
           if (auto* truth = std::get_if<TruthRow>(&row)) truth->time_ns -= 900 * kSecond;
         }
       },
       "truth clock apart x1 line 0; "},
      {"fixes begin late and end early", only_fixes({6, 7, 8, 9, 10, 11, 12, 13}),
       "! fixes ends x1 line 727; fixes gap x1 line 0; "},
      {"fixes every 10 s", only_fixes({5, 15}), "fixes gap x1 line 831; "},
  };
  for (const auto& [name, spoil, findings] : cases) {
    Rows rows = good_log();
    spoil(rows);
    EXPECT_EQ(found(rows), findings) << name;
  }
}

TEST(LogCheckTest, ACarefulHostCuresMuch) {
  const auto and_fixes = [](const Spoil& sensors, const std::set<std::size_t>& kept) {
    return [=](Rows& rows) {
      sensors(rows);
      only_fixes(kept)(rows);
    };
  };
  const std::set<std::size_t> no_fix_in_gap{0, 1, 2, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
  const struct {
    const char* name;
    Spoil spoil;
    const char* findings;
  } cases[] = {
      {"8 s without sensors, with fixes", gone(102, 502, 1), "~ epochs gap x1 line 524; "},
      // Of either sensor the first event 11 s later is dropped, as it may be wild.
      {"11 s without sensors, with fixes", gone(102, 652, 1), "! epochs gap x1 line 682; "},
      {"7 s without anything", and_fixes(gone(102, 452, 1), no_fix_in_gap),
       "! epochs gap x1 line 472; ~ fixes gap x1 line 519; "},
      {"2 s without anything", and_fixes(gone(102, 200, 1), {0, 1, 4, 8, 12, 16, 19}),
       "~ epochs gap x1 line 210; "},
      {"gyroscope stamp repeated", late(153, 154, 1, -kSecond / 25),
       "~ gyroscope doubled x1 line 160; ~ epochs doubled x1 line 160; "},
      {"both sensors far ahead", late(152, 154, 1, kFar),
       "~ accelerometer wild x1 line 159; ~ gyroscope wild x1 line 160; "},
      {"gyroscope 7 s ahead", late(153, 154, 1, 7 * kSecond),
       "~ gyroscope wild x1 line 160; ~ epochs gap x1 line 521; "},
      {"every second gyroscope event missing", gone(1, 1000, 4), "~ gyroscope rate x1 line 0; "},
      {"neighbours swapped", swapped(0, 1000), "~ accelerometer backward x250 line 3; "},
      {"not finite", sensors(151, 152, 1, [](auto& event) { event.values[2] = kNaN; }),
       "~ gyroscope not finite x1 line 158; "},
      {"two good fixes with one stamp",
       fixes(4, 5, [](FixRow& row) { row.fix.time_ns -= kSecond; }),
       "~ fixes doubled x1 line 259; "},
      {"west", fixes(4, 5, [](FixRow& row) { row.fix.longitude = -1e-9; }),
       "~ fixes outside quadrant x1 line 259; "},
      {"fixes end early", only_fixes({0, 1, 2, 3, 4, 5, 6, 7}), "~ fixes ends x1 line 415; "},
      {"no gyroscope", gone(1, 1000, 2), "! gyroscope missing x1 line 0; "},
  };
  for (const auto& [name, spoil, findings] : cases) {
    Rows rows = good_log();
    spoil(rows);
    EXPECT_EQ(found(rows, {}), findings) << name;
  }
  HostOptions west_is_not_served;
  west_is_not_served.everywhere = false;
  Rows rows = good_log();
  fix(rows, 4).fix.longitude = -1.0;
  EXPECT_EQ(found(rows, west_is_not_served), "! fixes outside quadrant x1 line 259; ");
}

class CheckCommandTest : public ProgramTest {
 protected:
  void write(const std::string& name, const Rows& rows) const {
    EventLogWriter log(path(name));
    for (const EventRow& row : rows) log.write(row);
    log.close();
  }
};

TEST_F(CheckCommandTest, ExitStatusTellsTheWorstAndNoLogStopsTheRest) {
  Rows rows = good_log();
  write("good.csv", rows);
  fix(rows, 4).fix.speed_acc = 0.0F;
  write("doubtful.csv", rows);
  fix(rows, 5).fix.longitude = -1.0;
  write("broken.csv", rows);
  file("bad.csv", "G,1\n");
  EXPECT_EQ(run("check good.csv doubtful.csv").status, 0);
  EXPECT_EQ(run("check --bare doubtful.csv broken.csv good.csv").status, 3);
  const Result cured = run("check --json broken.csv");
  EXPECT_EQ(cured.status, 0);
  EXPECT_EQ(nlohmann::json::parse(cured.out)["logs"][0]["findings"][1]["host"],
            "served by the host");
  const Result all = run("check --bare --json broken.csv bad.csv none.csv good.csv");
  EXPECT_EQ(all.status, 2);
  const auto logs = nlohmann::json::parse(all.out)["logs"];
  ASSERT_EQ(logs.size(), 4U);
  EXPECT_EQ(logs[0]["breaks"], true);
  EXPECT_NEAR(logs[0]["accelerometer_hz"].get<double>(), 25.0, 1e-6);
  const auto& west = logs[0]["findings"][0];
  EXPECT_EQ(west["line"], 5 * 52 + 51);
  EXPECT_NEAR(west["seconds"].get<double>(), 5.0, 1e-6);
  EXPECT_EQ(logs[0]["findings"].size(), 2U);
  EXPECT_EQ(logs[1]["error"], "bad.csv:1: field latitude: missing ('')");
  EXPECT_EQ(logs[3]["findings"].size(), 0U);
}

}  // namespace
}  // namespace zuvdr::tools
