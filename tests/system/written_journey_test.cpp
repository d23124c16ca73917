// A simulated drive, written in every format and read back, is answered as its event log is.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>
#include <variant>

#include "tests/system/journey.h"
#include "tests/tools/scratch.h"
#include "tools/logs/create_log.h"
#include "tools/logs/open_log.h"
#include "tools/logs/place.h"

namespace zuvdr::tests {
namespace {

using tools::EventRow;
using tools::FixRow;
using tools::SensorRow;

std::int64_t& time_of(EventRow& row) {
  auto* const sensor = std::get_if<SensorRow>(&row);
  return sensor != nullptr ? sensor->event.timestamp : std::get<FixRow>(row).fix.time_ns;
}

// The fix of a moving phone that knows its accuracies, as it comes back from speed and bearing: the
// velocity's sigmas along and across it, which are independent, make those to the east and north.
GpsData as_phones_tell(const GpsData& fix) {
  const double e = fix.vel_e, n = fix.vel_n, speed = std::hypot(e, n);
  const double along = std::hypot(fix.vel_acc_e * e, fix.vel_acc_n * n) / speed;
  const double across = std::hypot(fix.vel_acc_e * n, fix.vel_acc_n * e) / speed;
  GpsData told = fix;
  told.speed = static_cast<float>(speed);
  told.vel_u = 0.0F;
  told.vel_acc_e = static_cast<float>(std::hypot(along * e, across * n) / speed);
  told.vel_acc_n = static_cast<float>(std::hypot(along * n, across * e) / speed);
  if (speed <= 0.5) {  // a crawl, of which the course says little
    told.vel_acc_e = told.vel_acc_n = static_cast<float>(std::hypot(along, speed));
  }
  told.vel_acc_u = 1.0F;  // assumed
  told.speed_acc = static_cast<float>(along);
  told.pos_acc_e = told.pos_acc_n =
      static_cast<float>(std::hypot(fix.pos_acc_e, fix.pos_acc_n) / std::sqrt(2.0));
  return told;
}

// Sensor rows and fixes, each at its own time.
std::vector<EventRow> as_recorded(const std::vector<EventRow>& rows) {
  std::vector<EventRow> kept;
  for (const EventRow& row : rows) {
    const auto* const fix = std::get_if<FixRow>(&row);
    if (std::holds_alternative<SensorRow>(row)) kept.push_back(row);
    if (fix != nullptr && fix->sample == 0) kept.push_back(FixRow{as_phones_tell(fix->fix), 0});
  }
  std::ranges::stable_sort(kept, {}, [](EventRow row) {
    return std::pair(time_of(row), std::holds_alternative<FixRow>(row));
  });
  return kept;
}

class WrittenDrive : public tools::ScratchTest, public testing::WithParamInterface<const char*> {};

// Texts have all digits of a float64 and whole nanoseconds; what is lost is that the fixes' float32
// velocities and accuracies are rounded twice: 2^-23 of 30 m/s, over the 62 s of the tunnel 0.2 mm.
constexpr double kTolerance = 1e-3;  // m

TEST_P(WrittenDrive, IsAnsweredAsItsEventLog) {
  tools::SimulationOptions options;
  options.route.scenario = tools::Scenario::kDrive;
  const std::vector<EventRow> rows = simulate(options);
  const std::string name = path(GetParam());
  const auto writer = tools::create_log(name, tools::format_of_name(name));
  for (const EventRow& row : rows) writer->write(row);
  writer->close();
  std::vector<EventRow> read;
  const auto reader = tools::open_log(name);
  for (EventRow row; reader->next(row);) read.push_back(row);
  EXPECT_TRUE(reader->remarks().empty());

  std::vector<EventRow> expected = rows;
  if (tools::format_of_name(name) != tools::LogFormat::kEventLog) {
    expected = as_recorded(rows);
    ASSERT_EQ(read.size(), expected.size());
    // Of a clock that is UTC the origin is not that of the log.
    const std::int64_t shift = time_of(read.front()) - time_of(expected.front());
    for (EventRow& row : expected) time_of(row) += shift;
  }
  const Journey answer = play(read, HostOptions{}), wanted = play(expected, HostOptions{});
  ASSERT_EQ(answer.track.size(), wanted.track.size());
  EXPECT_LT(wanted.first_with(ZUVDR_CAR_POSITION_SET), wanted.track.size());
  for (std::size_t i = 0; i < wanted.track.size(); ++i) {
    const tools::TrackRow &row = answer.track[i], &other = wanted.track[i];
    ASSERT_EQ(row.time_ns, other.time_ns) << i;
    EXPECT_EQ(row.output_time_ns, other.output_time_ns) << i;
    EXPECT_EQ(row.status, other.status) << i;
    EXPECT_EQ(row.car_flag, other.car_flag) << i;
    EXPECT_EQ(row.sample, other.sample) << i;
    EXPECT_EQ(row.fix_accepted, other.fix_accepted) << i;
    EXPECT_LT(distance(fused_place(row), fused_place(other)), kTolerance) << i;
  }
}
INSTANTIATE_TEST_SUITE_P(Formats, WrittenDrive,
                         testing::Values("drive.csv", "drive.txt", "drive.txt.gz", "drive.zip"));

}  // namespace
}  // namespace zuvdr::tests
