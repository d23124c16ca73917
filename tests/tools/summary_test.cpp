#include "tools/evaluation/summary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <variant>
#include <vector>

#include "tests/tools/program.h"
#include "tools/evaluation/states.h"
#include "tools/simulation/simulation.h"

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
constexpr int kVehicle = ZUVDR_CAR_VEHICLE_MODE;
constexpr int kAligned = kVehicle + ZUVDR_CAR_ALIGNED;
constexpr int kTilt = kAligned + ZUVDR_CAR_ATTITUDE_CONVERGED;
constexpr int kSet = kTilt + ZUVDR_CAR_POSITION_SET;

// An answer to a fix, accepted when it has a positive speed.
FixAnswer answer(int car_flag, double speed, double tilt_sigma = 0.15) {
  FixAnswer result{};
  result.row.car_flag = car_flag;
  result.row.fix_accepted = !(speed <= 0.0);
  result.engine.moving = true;
  result.engine.tilt_sigma = tilt_sigma;
  result.position_was_set = car_flag == kSet;
  result.speed = speed;
  result.epochs_processed = 1;
  return result;
}

TEST(StatesTest, NameTheConditionThatNeverCameTrue) {
  // Every second fix of 70 accepted, then 60 not: 25 of 50 at most.
  std::vector<FixAnswer> half;
  half.reserve(130);
  for (int i = 0; i < 130; ++i) half.push_back(answer(kSet, i < 70 && i % 2 == 0 ? 10.0 : 0.0));
  const struct {
    State state;
    std::vector<FixAnswer> answers;
    const char* obstacle;
  } cases[] = {
      {State::kVehicleMode,
       {answer(0, 4.96), answer(0, NAN), answer(0, 0.0)},
       "no accepted fix above 5 m/s: the fastest had 5.0"},
      {State::kVehicleMode, {answer(0, NAN)}, "no accepted fix with a speed"},
      {State::kAligned, {FixAnswer{}}, "no sensor epoch was processed"},
      {State::kAttitude,
       {answer(kAligned, 9.0, 0.31), answer(kAligned, 9.0, 0.42)},
       "tilt not known to 0.2 degrees: at best 0.31"},
      // Fast, but before the tilt was known.
      {State::kPosition,
       {answer(kAligned, 9.0), answer(kTilt, 5.5)},
       "no accepted fix above 6 m/s from then on: the fastest had 5.5"},
      {State::kConverged, half, "at most 25 of 50 fixes in a row accepted, not 30"},
      {State::kWalker, {answer(0, 0.45)}, "no fix at 0.46 to 5 m/s: each one ends the bout"},
  };
  for (const auto& [state, answers, obstacle] : cases) {
    States states;
    for (const FixAnswer& one : answers) states.add(one);
    EXPECT_FALSE(states.reached(state)) << obstacle;
    EXPECT_EQ(states.obstacle(state), obstacle);
  }
}

// The position stays where the last fix was while the truth goes on, 111.3 m a second, until the
// fix that tells where the car is but does not count.
TEST(SummaryErrorsTest, AFrozenPositionInAnOutageIsAnError) {
  Summary summary;
  for (int second = 0; second <= 5; ++second) {
    FixAnswer frozen{};
    frozen.row.time_ns = frozen.row.output_time_ns = second * kSecond;
    frozen.row.truth_longitude = 1e-3 * second;
    frozen.row.longitude = second == 5 ? 5e-3 : 0.0;
    frozen.row.fix_accepted = second == 0;
    frozen.output = second < 2 ? Output::kVehicle : Output::kRaw;
    summary.add(frozen, std::nullopt);
  }
  const ErrorFigures& errors = summary.errors(ErrorGroup::kWithout);
  EXPECT_EQ(errors.count(), 5U);  // not the first, which a fix corrected
  EXPECT_NEAR(errors.largest(), 4 * 111.31949, 1e-4);
  EXPECT_EQ(summary.errors(ErrorGroup::kFused).count(), 5U);
  summary.finish(EngineHost({}), 0);
  ASSERT_EQ(summary.outages().size(), 1U);
  EXPECT_NEAR(summary.outages()[0].error, 0.0, 1e-6);
  EXPECT_NEAR(summary.outages()[0].largest_error, 4 * 111.31949, 1e-4);
}

TEST(SummaryErrorsTest, AreFiledUnderTheirStatus) {
  Summary summary;
  for (int metres : {1, 2, 3}) {  // each under the status of its number
    FixAnswer answer{};
    answer.row.status = metres;
    answer.row.longitude = metres / 111319.49079327358;  // of a degree on the equator
    answer.output = Output::kVehicle;
    summary.add(answer, std::nullopt);
  }
  EXPECT_NEAR(summary.errors(ErrorGroup::kCorrected).largest(), 1.0, 1e-6);
  EXPECT_NEAR(summary.errors(ErrorGroup::kDeadReckoned).largest(), 2.0, 1e-6);
  EXPECT_NEAR(summary.errors(ErrorGroup::kLongOutage).largest(), 3.0, 1e-6);
}

std::vector<EventRow> drive() {
  SimulationOptions options;
  options.route.scenario = Scenario::kDrive;
  options.route.seed = 3;
  options.route.tunnel = 10.0;
  return simulate(options);
}

// The engine keeps NaN for good, so every log is for a process of its own.
class SummaryTest : public ProgramTest {
 protected:
  std::string play(const std::vector<EventRow>& rows) const {
    EventLogWriter log(path("log.csv"));
    for (const EventRow& row : rows) log.write(row);
    log.close();
    return run("replay --bare log.csv").out;
  }
};

std::string line_with(const std::string& text, const std::string& begin) {
  const std::size_t found = text.find('\n' + begin);
  if (found == std::string::npos) return {};
  return text.substr(found + 1, text.find('\n', found + 1) - found - 1);
}

// Since the start of the drive, to be spoilt; sensor rows and fixes only.
double seconds_of(const EventRow& row) {
  const auto* sensor = std::get_if<SensorRow>(&row);
  const auto* fix = std::get_if<FixRow>(&row);
  const std::int64_t time = sensor ? sensor->event.timestamp : fix ? fix->fix.time_ns : 0;
  return static_cast<double>(time - 1000 * kSecond) * 1e-9;
}
using Change = std::function<void(EventRow&)>;
void spoil(std::vector<EventRow>& rows, double from, double to, const Change& change) {
  for (EventRow& row : rows) {
    const double seconds = seconds_of(row);
    if (seconds >= from && seconds < to) change(row);
  }
}
Change sensor(const std::function<void(SensorData&)>& change) {
  return [=](EventRow& row) {
    if (auto* sensor = std::get_if<SensorRow>(&row)) change(sensor->event);
  };
}
Change fix(const std::function<void(GpsData&)>& change) {
  return [=](EventRow& row) {
    if (auto* fix = std::get_if<FixRow>(&row)) change(fix->fix);
  };
}

// One on the fix that sets vehicle mode.
TEST_F(SummaryTest, WildStampsOfFixesCostNothing) {
  const std::string clean = play(drive());
  EXPECT_EQ(line_with(clean, "Not finite"), "");
  const auto mode = [](const std::string& text) {
    return std::stod(line_with(text, "States").substr(28));
  };
  for (const std::int64_t stamp : {1030 * kSecond, kLast}) {
    std::vector<EventRow> rows = drive();
    const auto wild = fix([=](GpsData& fix) { fix.time_ns = stamp; });
    spoil(rows, 200.0, 201.0, wild);
    spoil(rows, mode(clean) - 0.1, mode(clean) + 0.9, wild);
    const std::string text = play(rows);
    EXPECT_EQ(line_with(text, "Log length"), line_with(clean, "Log length")) << stamp;
    EXPECT_NEAR(mode(text), mode(clean), 0.11) << stamp;
  }
}

TEST_F(SummaryTest, NotFiniteNamesItsCause) {
  const auto gone = sensor([](SensorData& event) { event.type = 4; });
  const auto nan = sensor([](SensorData& event) { event.values[0] = NAN; });
  const auto ahead = sensor([](SensorData& event) { event.timestamp += 7 * kSecond; });
  const auto doubled = fix([](GpsData& fix) { fix.time_ns -= kSecond; });
  const struct {
    double from, to;
    Change change;
    const char* cause;
    const char* time;
  } cases[] = {{200.0, 202.0, gone, "sensor gap of 2.", ", 202.0 s"},
               {200.0, 205.0, nan, " sample not finite at line ", ", 200.0 s"},
               {200.0, 200.04, ahead, "sensor gap of 7.", ", 207.0 s"},
               {200.0, 201.0, doubled, "two fixes with one time stamp at line ", ", 199."}};
  for (const auto& [from, to, change, cause, time] : cases) {
    std::vector<EventRow> rows = drive();
    // Without effect: a value that only a walker takes, a gap before the navigator is aligned.
    spoil(rows, 5.0, 6.0, fix([](GpsData& fix) { fix.bearing = NAN; }));
    spoil(rows, 5.0, 7.0, gone);
    spoil(rows, from, to, change);
    const std::string text = line_with(play(rows), "Not finite");
    EXPECT_NE(text.find(cause), std::string::npos) << cause << text;
    EXPECT_NE(text.find(time), std::string::npos) << time << text;
  }
}

}  // namespace
}  // namespace zuvdr::tools
