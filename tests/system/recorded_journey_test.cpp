// Real drives, where the recordings are at hand. The figures of the town drive come from an
// independent calculation of the same filter, in another language.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/host/trace_rows.h"
#include "tests/system/journey.h"

namespace zuvdr::tests {
namespace {

using tools::ErrorGroup;
using tools::Outage;
using tools::TrackRow;

std::string recording(const std::string& name) {
  return std::string(ZUVDR_DATA) + "/vehicle/" + name + ".csv.gz";
}

#define REQUIRE_RECORDING(path) \
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no recording " << (path)

double seconds_to(const Journey& journey, int car_flag) {
  const std::size_t row = journey.first_with(car_flag);
  if (row == journey.track.size()) return NAN;
  return static_cast<double>(journey.track[row].time_ns) * 1e-9 - 1000.0;  // logs start at 1000 s
}

TEST(RecordedDrive, TownDriveBridgesBothHiddenStretches) {
  const std::string path = recording("vn100_town_25hz_phone_ne_outages");
  REQUIRE_RECORDING(path);
  const Journey journey = play(path);
  // From the log itself: speed passes 5 m/s at 23 s; it stands from 89 to 153 s and is quiet from
  // 91.5 s on; the first fix above 6 m/s after that is at 159 s, and 30 good fixes more converge.
  EXPECT_NEAR(seconds_to(journey, ZUVDR_CAR_VEHICLE_MODE), 23.0, 1.0);
  EXPECT_NEAR(seconds_to(journey, ZUVDR_CAR_ALIGNED), 95.0, 5.0);
  EXPECT_NEAR(seconds_to(journey, ZUVDR_CAR_POSITION_SET), 159.0, 1.0);

  EXPECT_NEAR(journey.summary.errors(ErrorGroup::kCorrected).rms(), 2.4, 0.1);
  const std::vector<Outage>& outages = journey.summary.outages();
  ASSERT_EQ(outages.size(), 2U);
  EXPECT_NEAR(outages[0].error, 14.6, 0.3);
  EXPECT_NEAR(outages[1].error, 6.8, 0.3);
  EXPECT_EQ(outages[0].status, 3);
  EXPECT_EQ(outages[1].status, 2);
  EXPECT_EQ(journey.track.back().status, 1);
}

// The same drive where it was driven: west of Greenwich no vehicle solution is ever published.
TEST(RecordedDrive, WesternPositionsNeverLeaveTheRawFix) {
  const std::string path = recording("vn100_town_25hz");
  REQUIRE_RECORDING(path);
  const Journey journey = play(path);
  EXPECT_LT(journey.first_with(ZUVDR_CAR_POSITION_SET), journey.track.size());
  EXPECT_TRUE(std::all_of(journey.track.begin(), journey.track.end(),
                          [](const TrackRow& row) { return row.status == 0; }));
}

// No stop passes the quiet test before the drive is over, or there is no stop at all.
TEST(RecordedDrive, DrivesWithoutAQuietStopStayInVehicleModeUnaligned) {
  for (const char* name : {"rtk_drive_25hz_phone_ne", "dashcam_minute_25hz_phone_ne"}) {
    const std::string path = recording(name);
    REQUIRE_RECORDING(path);
    const Journey journey = play(path);
    EXPECT_LT(journey.first_with(ZUVDR_CAR_VEHICLE_MODE), journey.track.size()) << name;
    EXPECT_EQ(journey.first_with(ZUVDR_CAR_POSITION_SET), journey.track.size()) << name;
    for (const TrackRow& row : journey.track) {
      ASSERT_EQ(row.latitude, row.fix_latitude) << name;
      ASSERT_EQ(row.longitude, row.fix_longitude) << name;
    }
  }
}

// In a process of its own: Reset keeps the filters' delay lines.
std::string trace_of(const std::string& log, bool through_host) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    std::FILE* const out = fdopen(ends[1], "w");
    trace_rows(
        log, [out](const std::string& line) { std::fputs((line + '\n').c_str(), out); },
        through_host);
    std::fclose(out);
    _exit(0);
  }
  close(ends[1]);
  std::string trace;
  char part[4096];
  for (ssize_t n = 0; (n = read(ends[0], part, sizeof part)) > 0;) {
    trace.append(part, static_cast<std::size_t>(n));
  }
  close(ends[0]);
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0 && !trace.empty() ? trace : "failed";
}

// Without any care the host makes the plain calls, on every log at hand.
TEST(RecordedDrive, HostWithoutCareIsTheBareEngine) {
  if (ZUVDR_SANITIZED) GTEST_SKIP() << "the answers are compared without the sanitizers";
  int logs = 0;
  for (const char* folder : {"/vehicle", "/reference"}) {
    const std::filesystem::path path = std::string(ZUVDR_DATA) + folder;
    if (!std::filesystem::exists(path)) continue;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      const std::string name = entry.path().filename();
      if (!name.ends_with(".csv.gz") || name.find("trace") != std::string::npos) continue;
      const std::string plain = trace_of(entry.path(), false);
      EXPECT_GT(plain.size(), 1000U) << name;
      EXPECT_TRUE(plain == trace_of(entry.path(), true)) << name;
      ++logs;
    }
  }
  if (logs == 0) GTEST_SKIP() << "no recordings in " << ZUVDR_DATA;
}

// Neither stands still in time for the bare engine, and the phone of the first lies across.
TEST(RecordedDrive, CarefulHostIsSoonConverged) {
  for (const char* name : {"vn100_town_25hz", "rtk_drive_25hz"}) {
    REQUIRE_RECORDING(recording(name));
    std::vector<tools::EventRow> rows;
    tools::EventLogReader reader(recording(name));
    for (tools::EventRow row; reader.next(row);) rows.push_back(row);
    const Journey journey = play(rows, HostOptions{});
    const auto first = std::ranges::find(journey.track, 1, &TrackRow::status);
    ASSERT_NE(first, journey.track.end()) << name;
    EXPECT_LT(static_cast<double>(first->time_ns - journey.track.front().time_ns) * 1e-9, 100.0);
    EXPECT_LT(journey.summary.errors(ErrorGroup::kCorrected).quantile(0.95), 5.0) << name;
  }
}

}  // namespace
}  // namespace zuvdr::tests
