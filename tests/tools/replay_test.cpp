#include "tools/evaluation/replay.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tests/tools/program.h"
#include "tools/evaluation/error_figures.h"
#include "tools/evaluation/truth_window.h"
#include "tools/logs/event_log.h"
#include "tools/logs/time_difference.h"
#include "tools/logs/track.h"

namespace zuvdr::tools {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kSecond = 1'000'000'000;
// Along the equator of WGS 84 a ten-thousandth of a degree is 6378137 m * pi / 180 / 10000.
constexpr double kStep = 11.131949079327358;

TruthRow truth_row(std::int64_t time_ns, double latitude, double longitude) {
  return {time_ns, latitude, longitude, 0.0, {kNaN, kNaN, kNaN}, {kNaN, kNaN, kNaN}};
}

TEST(ErrorFiguresTest, AgreeWithHandCalculation) {
  ErrorFigures figures;
  EXPECT_TRUE(std::isnan(figures.quantile(0.5)));
  for (int i = 20; i > 0; --i) figures.add(i);
  figures.add(kNaN);
  figures.add(std::numeric_limits<double>::infinity());
  EXPECT_EQ(figures.count(), 20U);
  EXPECT_EQ(figures.lost(), 2U);
  EXPECT_DOUBLE_EQ(figures.rms(), std::sqrt(20.0 * 21.0 * 41.0 / 6.0 / 20.0));
  EXPECT_EQ(figures.quantile(0.42), 9.0);  // 8 errors would be 40 % only
}

TEST(ErrorFiguresTest, QuantilesAgreeWithSorting) {
  std::mt19937_64 random(1);
  for (const double largest : {3.0, 200.0, 1700.0, 2e7}) {
    ErrorFigures figures;
    std::vector<double> errors(5000);
    for (double& error : errors) {
      // All magnitudes below the largest equally often.
      error = largest * std::exp2(-14.0 * std::ldexp(static_cast<double>(random() >> 11), -53));
      figures.add(error);
    }
    std::sort(errors.begin(), errors.end());
    EXPECT_EQ(figures.largest(), errors.back());
    EXPECT_LE(figures.quantile(1.0), errors.back());
    EXPECT_GE(figures.quantile(0.0), errors.front());
    for (const std::size_t rank : {1U, 2U, 250U, 2500U, 4750U, 4999U, 5000U}) {
      const double exact = errors[rank - 1];
      const double part = (static_cast<double>(rank) - 0.5) / static_cast<double>(errors.size());
      EXPECT_NEAR(figures.quantile(part), exact, std::max(0.05, exact / 16384) + 1e-9) << rank;
    }
  }
}

TEST(TruthWindowTest, InterpolatesInsideAndKnowsItsBounds) {
  TruthWindow truth;
  EXPECT_FALSE(truth.at(0));
  EXPECT_FALSE(truth.covers(0));
  truth.add(truth_row(10 * kSecond, 40.0, 179.5));
  truth.add(truth_row(12 * kSecond, 41.0, -179.5));
  truth.add(truth_row(11 * kSecond, 99.0, 99.0));     // late: dropped
  truth.add(truth_row(17 * kSecond + 1, 50.0, 0.0));  // just over 5 s later: waits for the next
  truth.add(truth_row(17 * kSecond + 2, 50.0, 0.0));
  EXPECT_EQ(truth.at(10 * kSecond)->latitude, 40.0);
  EXPECT_DOUBLE_EQ(truth.at(10 * kSecond + kSecond / 2)->latitude, 40.25);
  EXPECT_DOUBLE_EQ(truth.at(10 * kSecond + kSecond / 2)->longitude, 179.75);  // the short way round
  EXPECT_FALSE(truth.at(10 * kSecond - 1));
  EXPECT_FALSE(truth.at(14 * kSecond));
  EXPECT_TRUE(truth.covers(17 * kSecond + 2));
  EXPECT_FALSE(truth.covers(17 * kSecond + 3));
  truth.add(truth_row(71 * kSecond, 51.0, 0.0));
  truth.add(truth_row(71 * kSecond + 1, 51.0, 0.0));  // the first rows leave the window
  EXPECT_FALSE(truth.at(10 * kSecond));
  EXPECT_TRUE(truth.at(12 * kSecond));
}

TEST(TruthWindowTest, WildStampsSilenceNothing) {
  TruthWindow truth;
  const std::int64_t last = std::numeric_limits<std::int64_t>::max();
  for (const std::int64_t time : {last, 10 * kSecond, 11 * kSecond, 5000 * kSecond, 12 * kSecond}) {
    truth.add(truth_row(time, static_cast<double>(time) * 1e-9, 0.0));
  }
  EXPECT_DOUBLE_EQ(truth.at(10 * kSecond + kSecond / 2)->latitude, 10.5);
  EXPECT_DOUBLE_EQ(truth.at(11 * kSecond + kSecond / 2)->latitude, 11.5);
  EXPECT_FALSE(truth.covers(13 * kSecond));
}

// A car drives along the equator by kStep a second; its fused position runs ahead by a tenth of
// that for every second without an accepted fix. One letter a second: + accepted, - not accepted,
// r not accepted and no solution, w not accepted and the walker's solution.
std::vector<Outage> outages(std::string_view fixes, double truth_latitude) {
  OutageFinder finder;
  int ahead = 0;
  for (int second = 1; const char fix : fixes) {
    ahead = fix == '+' ? 0 : ahead + 1;
    TrackRow row{};
    row.output_time_ns = second * kSecond;
    row.time_ns = row.output_time_ns + kSecond;
    row.status = fix == '+' ? 1 : fix == 'r' ? 0 : 2;
    row.longitude = 1e-4 * second + 1e-5 * ahead;
    row.fix_accepted = fix == '+';
    row.truth_latitude = truth_latitude;
    row.truth_longitude = 1e-4 * second;
    const Output other = fix == 'r' ? Output::kRaw : Output::kVehicle;
    finder.add({row, fix == 'w' ? Output::kWalker : other, true});
    ++second;
  }
  finder.finish();
  return finder.outages();
}

TEST(OutageFinderTest, FindsStretchesThatBeginInAVehicle) {
  const std::vector<Outage> found = outages("rrr+-+--+ww+--r-+---rr", 0.0);
  const struct {
    std::int64_t start;
    int fixes;
    bool restarted;
    int status;
  } expected[] = {{6, 2, false, 2}, {12, 4, true, 2}, {17, 5, true, 0}};
  ASSERT_EQ(found.size(), 3U);
  for (std::size_t i = 0; i < found.size(); ++i) {
    const auto& [start, fixes, restarted, status] = expected[i];
    EXPECT_EQ(found[i].start_ns, start * kSecond);
    EXPECT_EQ(found[i].fixes, fixes);
    EXPECT_DOUBLE_EQ(found[i].duration, fixes);
    EXPECT_NEAR(found[i].driven, fixes * kStep, 1e-6);
    EXPECT_NEAR(found[i].error, 0.1 * fixes * kStep, 1e-6);
    EXPECT_EQ(found[i].status, status);
    EXPECT_EQ(found[i].restarted, restarted);
  }
  // Without truth the output tells the distance.
  const std::vector<Outage> unknown = outages("+----+", kNaN);
  ASSERT_EQ(unknown.size(), 1U);
  EXPECT_NEAR(unknown[0].driven, 4 * 1.1 * kStep, 1e-6);
  EXPECT_TRUE(std::isnan(unknown[0].error));
}

FixRow fix_row(std::int64_t time_ns, double latitude, double longitude) {
  FixRow row{};
  row.fix.time_ns = time_ns;
  row.fix.latitude = latitude;
  row.fix.longitude = longitude;
  return row;
}

TEST(ReplayTest, RowsWaitForTheTruthBehindThem) {
  std::vector<TrackRow> rows;
  Replay replay([&](const TrackRow& row) { rows.push_back(row); });
  // Raw fixes, 3 m north of the truth; the truth comes 0.7 s behind the fix it belongs to.
  for (int second = 1; second <= 10; ++second) {
    replay.play(fix_row(second * kSecond, 2.7e-5, 1e-4 * second));
    EXPECT_EQ(rows.size(), static_cast<std::size_t>(second - 1));
    const double later = second + 0.7;
    replay.play(truth_row(std::llround(later * 1e9), 0.0, 1e-4 * later));
  }
  const Summary summary = replay.finish(0);
  ASSERT_EQ(rows.size(), 10U);
  EXPECT_TRUE(std::isnan(rows[0].truth_latitude));  // before the first truth
  for (std::size_t i = 1; i < rows.size(); ++i) {
    EXPECT_NEAR(rows[i].truth_longitude, 1e-4 * static_cast<double>(i + 1), 1e-12);
    EXPECT_EQ(rows[i].truth_latitude, 0.0);
  }
  const ErrorFigures& fixes = summary.errors(ErrorGroup::kFixes);
  EXPECT_EQ(fixes.count(), 9U);
  // Meridian radius of curvature at the equator, a (1 - e^2) = 6335439.327 m.
  EXPECT_NEAR(fixes.rms(), 2.7e-5 * 6335439.327 * std::numbers::pi / 180.0, 1e-5);
}

TEST(ReplayTest, WithoutTruthRowsFollowTheFixesBySeconds) {
  std::int64_t newest = 0;
  Replay replay([&](const TrackRow& row) { newest = row.time_ns; });
  for (int second = 1; second <= 30; ++second) replay.play(fix_row(second * kSecond, 48.0, 16.0));
  EXPECT_GE(newest, 24 * kSecond);
}

TEST_F(ProgramTest, ExitStatusAndMessageTellWhatIsWrong) {
  const std::string good = "G,1000000000,1,2,3,0,1,1,1,5,5,5,0,0,0,1,0,0\n";
  const std::string log = file("good.csv", good);
  const std::string bad = file("bad.csv", good + "\nS,1,5,x,1,2\n" + good);
  const std::string tracks =
      " --out " + path("t.csv") + " --out " + path("t.geojson") + " --plot " + path("t.svg");
  const std::string missing = path("none.csv") + ": cannot open";
  const std::string malformed = bad + ":3: field v0: not a number ('x')\n";
  const struct {
    std::string arguments;
    int status;
    std::string message;
  } cases[] = {
      {"replay " + log, 0, ""},
      {"--help", 0, ""},
      {"", 1, "subcommand"},
      {"replay " + log + " --out " + path("none/t.csv"), 1, "t.csv: cannot open"},
      {"replay " + log + " --out " + path("t.kml"), 1, "t.kml"},
      {"replay " + path("none.csv"), 2, missing},
      {"steps " + path("none.csv"), 2, missing},
      {"steps " + bad, 2, malformed},
      {"replay " + bad + tracks, 2, malformed},
  };
  for (const auto& [arguments, status, message] : cases) {
    const Result result = run(arguments);
    EXPECT_EQ(result.status, status) << arguments;
    EXPECT_NE(result.err.find(message), std::string::npos) << arguments << '\n' << result.err;
    EXPECT_EQ(result.err.empty(), status == 0) << arguments << '\n' << result.err;
    EXPECT_TRUE(status != 2 || result.err.find('\n') == result.err.size() - 1) << result.err;
  }
  // The track before the malformed row stays, and its picture.
  EXPECT_EQ(read_track_csv(path("t.csv")).size(), 1U);
  EXPECT_TRUE(read_file(path("t.geojson")).ends_with("]}\n"));
  EXPECT_TRUE(read_file(path("t.svg")).ends_with("</svg>\n"));
  EXPECT_NE(run("replay --lenient " + bad).out.find("Skipped rows 1"), std::string::npos);
}

TEST_F(ProgramTest, ReplayOfADriveAgreesWithItsTrack) {
  const std::string log = simulated("drive --seed 3 --tunnel 30", "drive.csv.gz");
  const std::string outputs = " --out " + path("t.csv") + " --plot " + path("t.svg");
  const Result replay = run("replay --bare " + log + outputs);
  ASSERT_EQ(replay.status, 0) << replay.err;
  EXPECT_EQ(replay.err, "");  // no bar in a pipe
  EXPECT_NE(read_file(path("t.svg")).find("</svg>"), std::string::npos);

  // The same through standard input and to standard output.
  const Result piped = run("replay --bare - --out - < " + log);
  EXPECT_EQ(piped.out, read_file(path("t.csv")));
  EXPECT_EQ(piped.err, replay.out);

  std::set<std::int64_t> epochs;
  EventLogReader reader(log);
  for (EventRow row; reader.next(row);) {
    const auto* sensor = std::get_if<SensorRow>(&row);
    if (sensor != nullptr && sensor->event.type == 16) epochs.insert(sensor->event.timestamp);
  }
  const auto square_error = [](const TrackRow& row, const TrackRow& truth) {
    return std::pow(
        distance({row.latitude, row.longitude}, {truth.truth_latitude, truth.truth_longitude}), 2);
  };
  double squares = 0.0;
  double squares_at_fix = 0.0;
  int corrected = 0;
  std::int64_t converged_ns = 0;
  const std::vector<TrackRow> rows = read_track_csv(path("t.csv"));
  for (std::size_t i = 0; i + 1 < rows.size(); ++i) {
    const TrackRow& row = rows[i];
    if (row.status == 0) continue;
    // The previous fix has released the epochs up to the first that is not before it.
    EXPECT_EQ(row.output_time_ns, *epochs.lower_bound(rows[i - 1].time_ns));
    if (row.status != 1) continue;
    if (converged_ns == 0) converged_ns = row.time_ns;
    squares += square_error(row, row);
    squares_at_fix += square_error(row, rows[i + 1]);
    ++corrected;
  }
  ASSERT_GT(corrected, 100);
  const double rms = std::sqrt(squares / corrected);
  EXPECT_GT(std::sqrt(squares_at_fix / corrected), 2.0 * rms);  // what a shift of 1 s would give

  const auto shown = [&replay](const char* pattern) {
    std::smatch match;
    return std::regex_search(replay.out, match, std::regex(pattern)) ? std::stod(match[1]) : kNaN;
  };
  EXPECT_NEAR(shown("corrected \\(1\\) +\\d+ +(\\S+) m"), rms, 0.051);
  EXPECT_NEAR(shown("converged +(\\S+) s\n +walker"),
              seconds_between(*epochs.begin(), converged_ns), 0.1);
  // The tunnel, from the last accepted fix to the recovery.
  EXPECT_NEAR(shown(" 3[012] +(\\S+) s +\\d+\\.\\d m"), 31.0, 1.0);
}

TEST_F(ProgramTest, EveryCareHasItsName) {
  const std::string log = simulated("drive --seed 3 --mounting-yaw 40 --rate 50", "drive.csv");
  const auto track = [&](const std::string& options) {
    return run("replay " + log + options + " --out -");
  };
  std::string without;
  for (const Care& care : kCares) without += std::string(" --without ") + care.name;
  const Result bare = track(" --bare");
  EXPECT_TRUE(track(without).out == bare.out);
  EXPECT_EQ(bare.err.find("\nHost "), std::string::npos);
  const std::string careful = track(" --fix-clock-offset 0.5").err;
  std::smatch told;
  ASSERT_TRUE(std::regex_search(careful, told,
                                std::regex("\nHost .*phone's yaw (\\S+) degrees, "
                                           "sigma (\\S+); clock of fixes (\\S+) s")))
      << careful;
  EXPECT_NEAR(std::stod(told[1]), 40.0, 5.0);
  EXPECT_LT(std::stod(told[2]), 3.0);
  EXPECT_EQ(told[3], "+0.50");
  EXPECT_EQ(track(" --without mounting-yaw --without fix-clock").err.find("clock of fixes"),
            std::string::npos);
}

// The peak is that of all programs that the test has run, so this case wants a process of its own.
TEST_F(ProgramTest, ReplayNeedsNoMoreMemoryForALongerLog) {
  if (ZUVDR_SANITIZED) GTEST_SKIP() << "the sanitizer keeps what was freed";
  const auto peak_kilobytes = [this](int fixes) {
    EventLogWriter log(path("log.csv"));
    for (int i = 1; i <= fixes; ++i) {
      const std::int64_t t = i * kSecond;
      log.write(SensorRow{{ZUVDR_SENSOR_ACCELEROMETER, {0.1, 0.2, 9.8, 0, 0, 0}, t}});
      log.write(SensorRow{{ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, {}, t}});
      const double place = 1e-4 * (i % 1000);
      log.write(truth_row(t, 20.0, place));
      GpsData fix{};
      fix.time_ns = t;
      fix.latitude = 20.0;
      fix.longitude = place + 1e-6 * (i % 7);
      log.write(FixRow{fix, 0});
    }
    log.close();
    EXPECT_EQ(run("replay " + path("log.csv") + " --out " + path("track.csv")).status, 0);
    rusage children{};
    getrusage(RUSAGE_CHILDREN, &children);
    return children.ru_maxrss;
  };
  const long for_minutes = peak_kilobytes(600);
  EXPECT_LT(peak_kilobytes(300'000), for_minutes + 600);
}

// From 20 s on, to 40 s after the first sensor event.
TEST_F(ProgramTest, OnlyTheNamedSpanOfAWalkCounts) {
  const std::string hand = simulated("walk --seed 4 --carry hand", "hand.csv");
  const std::string span = file("span.csv", "# span_s: 20 40\n" + read_file(hand));
  const std::string table = run("steps " + span).out;
  std::istringstream fields(table.substr(table.find("span.csv") + 8));
  double seconds = kNaN, steps = kNaN, bouts = kNaN, confirmed = kNaN, reference = kNaN;
  fields >> seconds >> steps >> bouts >> confirmed >> reference;
  EXPECT_EQ(seconds, 20.0);
  EXPECT_NEAR(reference, 20.0 * 1.85, 1);  // the walker's rate
  EXPECT_NEAR(steps, reference, 2);
  EXPECT_NEAR(confirmed, reference, 2);
}

// Of 100 Hz with a gap and a tunnel: the engine's rate without a break, and a row for every second.
TEST_F(ProgramTest, CaredLogHoldsWhatTheEngineWasGiven) {
  const std::string log = simulated("drive --seed 2 --rate 100 --gap 200,5", "drive.csv");
  ASSERT_EQ(run("convert " + log + " --cared --out " + path("cared.csv")).status, 0);
  EventLogReader reader(path("cared.csv"));
  std::int64_t last_sample = 0, last_fix = 0, samples = 0, rows = 0, truths = 0;
  for (EventRow row; reader.next(row);) {
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      if (sensor->event.type != ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) continue;
      const std::int64_t time = sensor->event.timestamp;
      if (samples++ > 0) {
        ASSERT_EQ(time - last_sample, kSecond / 25) << samples;
      }
      last_sample = time;
    } else if (const auto* fix = std::get_if<FixRow>(&row)) {
      if (last_fix != 0) {
        ASSERT_LT(fix->fix.time_ns - last_fix, 2 * kSecond);
      }
      last_fix = fix->fix.time_ns;
      rows += fix->sample != 0 ? 1 : 0;
    } else {
      ++truths;
    }
  }
  EXPECT_GT(samples, 25 * 600);                       // of 610 s, to the last fix
  EXPECT_NEAR(static_cast<double>(rows), 60.0, 4.0);  // s in the tunnel
  EXPECT_GT(truths, 500);
}

// A recording is brought to 25 Hz; the same walk as an event log is already.
TEST_F(ProgramTest, StepsOfARecordingAreThoseOfItsEventLog) {
  const std::string log = simulated("walk --seed 4 --carry hand", "walk.csv");
  ASSERT_EQ(run("simulate walk --seed 4 --carry hand --rate 100 --out " + path("walk.zip")).status,
            0);
  const auto steps = [this](const std::string& name) {
    const std::string table = run("steps " + path(name)).out;
    std::istringstream fields(table.substr(table.find(name) + name.size()));
    double seconds = kNaN, counted = kNaN;
    fields >> seconds >> counted;
    return counted;
  };
  EXPECT_NEAR(steps("walk.zip") / steps("walk.csv"), 1.0, 0.02);
}

}  // namespace
}  // namespace zuvdr::tools
