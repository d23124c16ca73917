#include "tools/evaluation/summary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <variant>
#include <vector>

#include "tools/evaluation/replay.h"
#include "tools/evaluation/states.h"
#include "tools/simulation/simulation.h"

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();

// An answer to an accepted fix of 10 m/s.
FixAnswer answer(
    int car_flag, const std::function<void(FixAnswer&)>& change = [](FixAnswer&) {}) {
  FixAnswer result{};
  result.row.car_flag = car_flag;
  result.row.fix_accepted = true;
  result.engine.moving = true;
  result.engine.tilt_sigma = 0.15;
  result.speed = 10.0;
  change(result);
  return result;
}

TEST(StatesTest, NameTheConditionThatNeverCameTrue) {
  constexpr int kVehicle = ZUVDR_CAR_VEHICLE_MODE;
  constexpr int kAligned = kVehicle + ZUVDR_CAR_ALIGNED;
  constexpr int kTilt = kAligned + ZUVDR_CAR_ATTITUDE_CONVERGED;
  constexpr int kSet = kTilt + ZUVDR_CAR_POSITION_SET;
  const auto slow = [](FixAnswer& a) { a.speed = 4.96; };
  const auto refused = [](FixAnswer& a) { a.row.fix_accepted = false; };
  const auto vehicle = [](FixAnswer& a) { a.output = Output::kVehicle; };
  const struct {
    State state;
    std::vector<FixAnswer> answers;
    const char* obstacle;
  } cases[] = {
      {State::kVehicleMode, {}, "no fixes"},
      {State::kVehicleMode, {answer(0, refused)}, "no accepted fix"},
      {State::kVehicleMode,
       {answer(0, slow), answer(0, refused)},
       "no accepted fix above 5 m/s: the fastest had 5.0"},
      {State::kAligned, {answer(0)}, "not in vehicle mode"},
      {State::kAligned,
       {answer(kVehicle)},
       "no standstill quiet for 26 windows and 1.5 s in vehicle mode"},
      {State::kAligned,
       {answer(kVehicle, [](FixAnswer& a) { a.engine.long_quiet = true; })},
       "no standstill quiet for 26 windows and 1.5 s in vehicle mode with an accepted fix"},
      {State::kAligned,
       {answer(kVehicle, [](FixAnswer& a) { a.engine.navigator_ran = true; })},
       "lost before the next fix: the motion check started it over"},
      {State::kAttitude, {answer(kVehicle)}, "not aligned"},
      {State::kAttitude,
       {answer(kAligned, [](FixAnswer& a) { a.engine.tilt_sigma = 0.31; }),
        answer(kAligned, [](FixAnswer& a) { a.engine.tilt_sigma = 0.42; })},
       "tilt not known to 0.2 degrees: at best 0.31"},
      {State::kAttitude,
       {answer(kAligned, [](FixAnswer& a) { a.engine.tilt_sigma = NAN; })},
       "the tilt was no longer a number"},
      {State::kPosition, {answer(kAligned)}, "tilt not known"},
      // Fast, but before the tilt was known.
      {State::kPosition,
       {answer(kAligned), answer(kTilt, [](FixAnswer& a) { a.speed = 5.5; })},
       "no accepted fix above 6 m/s from then on: the fastest had 5.5"},
      {State::kPosition,
       {answer(kTilt, [](FixAnswer& a) { a.engine.moving = false; })},
       "the sensors stood still at every accepted fix above 6 m/s"},
      {State::kConverged, {answer(kTilt)}, "position not set"},
      {State::kConverged,
       {answer(kSet), answer(kSet, vehicle), answer(kSet, refused)},
       "fewer than 30 of 50 fixes accepted from then on: 1"},
      {State::kConverged,
       {answer(kSet), answer(0, [](FixAnswer& a) { a.position_was_set = true; })},
       "the position was given up: outside the north-eastern quadrant"},
      {State::kWalker, {answer(0)}, "no bout of 11 steps"},
      {State::kWalker,
       {answer(0,
               [](FixAnswer& a) {
                 a.walker_started = true;
                 a.row.fix_accepted = false;
               })},
       "no accepted fix during a bout of 11 steps"},
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
TEST(SummaryTest, AFrozenPositionInAnOutageIsAnError) {
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
  summary.finish(EngineHost(), 0);
  ASSERT_EQ(summary.outages().size(), 1U);
  EXPECT_NEAR(summary.outages()[0].error, 0.0, 1e-6);
  EXPECT_NEAR(summary.outages()[0].largest_error, 4 * 111.31949, 1e-4);
}

std::vector<EventRow> drive() {
  SimulationOptions options;
  options.route.scenario = Scenario::kDrive;
  options.route.seed = 3;
  options.route.tunnel = 10.0;
  return simulate(options);
}

struct Played {
  Summary summary;
  std::size_t with_truth = 0;
};
Played play(const std::vector<EventRow>& rows) {
  Played played;
  Replay replay([&](const TrackRow& row) { played.with_truth += !std::isnan(row.truth_latitude); });
  std::int64_t line = 0;
  for (const EventRow& row : rows) replay.play(row, ++line);
  played.summary = replay.finish(0);
  return played;
}

std::string line_with(const std::string& text, const std::string& begin) {
  const std::size_t found = text.find('\n' + begin);
  if (found == std::string::npos) return {};
  return text.substr(found + 1, text.find('\n', found + 1) - found - 1);
}

// The row of a kind closest behind the given time.
template <typename Row>
std::size_t row_at(const std::vector<EventRow>& rows, double seconds) {
  const std::int64_t time = 1000 * kSecond + static_cast<std::int64_t>(seconds * 1e9);
  std::size_t i = 0;
  for (;; ++i) {
    if (const auto* fix = std::get_if<FixRow>(&rows[i])) {
      if (std::is_same_v<Row, FixRow> && fix->fix.time_ns >= time) break;
    } else if (const auto* truth = std::get_if<TruthRow>(&rows[i])) {
      if (std::is_same_v<Row, TruthRow> && truth->time_ns >= time) break;
    } else if (const auto* sensor = std::get_if<SensorRow>(&rows[i])) {
      const bool gyroscope = sensor->event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED;
      if (std::is_same_v<Row, SensorRow> && gyroscope && sensor->event.timestamp >= time) break;
    }
  }
  return i;
}

TEST(SummaryTest, WildStampsCostOneRowOfTruth) {
  const std::vector<EventRow> rows = drive();
  const Played clean = play(rows);
  const std::string length = line_with(clean.summary.text(), "Log length");
  ASSERT_GT(clean.with_truth, 500U);
  for (const std::int64_t stamp :
       {1000 * kSecond + 5000 * kSecond, 1030 * kSecond, kLast, -kLast}) {
    std::vector<EventRow> wild = rows;
    std::get<FixRow>(wild[row_at<FixRow>(rows, 200.0)]).fix.time_ns = stamp;
    std::get<TruthRow>(wild[row_at<TruthRow>(rows, 300.0)]).time_ns = stamp;
    const Played played = play(wild);
    EXPECT_GE(played.with_truth + 2, clean.with_truth) << stamp;
    for (const ErrorGroup group : {ErrorGroup::kFused, ErrorGroup::kFixes}) {
      EXPECT_NEAR(static_cast<double>(played.summary.errors(group).count()),
                  static_cast<double>(clean.summary.errors(group).count()), 2.0)
          << stamp;
    }
    EXPECT_EQ(line_with(played.summary.text(), "Log length"), length) << stamp;
  }
}

TEST(SummaryTest, NotFiniteNamesItsCause) {
  const std::vector<EventRow> rows = drive();
  EXPECT_EQ(line_with(play(rows).summary.text(), "Not finite"), "");

  std::vector<EventRow> spoilt = rows;
  // Without effect: a gap before the navigator is aligned.
  const auto silence = [&spoilt](std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      if (auto* sensor = std::get_if<SensorRow>(&spoilt[i])) sensor->event.type = 4;
    }
  };
  silence(row_at<SensorRow>(rows, 5.0), row_at<SensorRow>(rows, 7.0));
  EXPECT_EQ(line_with(play(spoilt).summary.text(), "Not finite"), "");

  const std::size_t end = row_at<SensorRow>(rows, 202.0);
  silence(row_at<SensorRow>(rows, 200.0), end);
  const std::string gap = line_with(play(spoilt).summary.text(), "Not finite");
  EXPECT_NE(gap.find("sensor gap of 2.0 s at line "), std::string::npos) << gap;
  // The epoch behind the gap is complete with the gyroscope's event or the accelerometer's.
  const std::size_t line = std::stoul(gap.substr(gap.find("line ") + 5));
  EXPECT_NEAR(static_cast<double>(line), static_cast<double>(end + 1), 4.0) << gap;
}

}  // namespace
}  // namespace zuvdr::tools
