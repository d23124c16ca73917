// Simulated drives and walks with perfect truth, from the first event to the last fix.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <variant>

#include "tests/system/journey.h"

namespace zuvdr::tests {
namespace {

using tools::Carry;
using tools::ErrorGroup;
using tools::EventRow;
using tools::FixRow;
using tools::Mounting;
using tools::Outage;
using tools::Scenario;
using tools::SensorRow;
using tools::SimulationOptions;
using tools::TrackRow;

constexpr std::int64_t kSecond = 1000000000;  // ns

SimulationOptions options(Scenario scenario, std::uint64_t seed) {
  SimulationOptions result;
  result.route.scenario = scenario;
  result.route.seed = seed;
  return result;
}

const Outage& longest(const std::vector<Outage>& outages) {
  return *std::max_element(outages.begin(), outages.end(), [](const Outage& a, const Outage& b) {
    return a.duration < b.duration;
  });
}

class SimulatedDrive : public testing::TestWithParam<std::uint64_t> {};

TEST_P(SimulatedDrive, ConvergesAndCarriesOnThroughTheTunnel) {
  const Journey journey = play(simulate(options(Scenario::kDrive, GetParam())));

  // Every state follows the one it needs.
  const std::size_t vehicle = journey.first_with(ZUVDR_CAR_VEHICLE_MODE);
  const std::size_t aligned = journey.first_with(ZUVDR_CAR_ALIGNED);
  const std::size_t converged = journey.first_with(ZUVDR_CAR_ATTITUDE_CONVERGED);
  const std::size_t position = journey.first_with(ZUVDR_CAR_POSITION_SET);
  ASSERT_LT(position, journey.track.size());
  EXPECT_LT(vehicle, aligned);
  EXPECT_LE(aligned, converged);
  EXPECT_LT(converged, position);
  // 30 good fixes after the position, of which none is missing in the open, and not earlier.
  const auto first_updated = std::find_if(journey.track.begin(), journey.track.end(),
                                          [](const TrackRow& row) { return row.status == 1; });
  EXPECT_EQ(first_updated - journey.track.begin(), static_cast<std::ptrdiff_t>(position) + 30);

  // A filter that is worth its name is no worse than the fixes it was given, and a minute without
  // fixes costs a few per cent of the way.
  const tools::ErrorFigures& corrected = journey.summary.errors(ErrorGroup::kCorrected);
  ASSERT_GT(corrected.count(), 200U);
  EXPECT_LT(corrected.rms(), journey.summary.errors(ErrorGroup::kFixes).rms());
  const Outage& tunnel = longest(journey.summary.outages());
  EXPECT_NEAR(tunnel.duration, 60.0, 2.0);
  EXPECT_GT(tunnel.driven, 500.0);
  EXPECT_LT(tunnel.error, 0.05 * tunnel.driven);
  EXPECT_EQ(tunnel.status, 3);
  EXPECT_FALSE(tunnel.restarted);

  // Fixes bring it back within seconds.
  const auto recovered =
      std::find_if(journey.track.begin(), journey.track.end(), [&tunnel](const TrackRow& row) {
        return row.fix_accepted && row.output_time_ns > tunnel.start_ns + 65 * kSecond;
      });
  ASSERT_LT(recovered - journey.track.begin() + 5, static_cast<int>(journey.track.size()));
  for (auto row = recovered; row != recovered + 5; ++row) {
    EXPECT_LT(tools::output_error(*row), 10.0);
  }
  EXPECT_EQ(journey.track.back().status, 1);
}
INSTANTIATE_TEST_SUITE_P(Seeds, SimulatedDrive, testing::Values(1, 2, 3));

struct MountingCase {
  const char* name;
  Mounting mounting;
  double rms;  // m, largest
};

class SimulatedMounting : public testing::TestWithParam<MountingCase> {};

// Upright and flat phones align with their course. A landscape phone starts 90 degrees off and
// takes minutes, but its position is held by the fixes all the while.
TEST_P(SimulatedMounting, ConvergesInAnyPositionOfThePhone) {
  SimulationOptions drive = options(Scenario::kDrive, 4);
  drive.route.tunnel = 0.0;
  drive.route.car_mounting = GetParam().mounting;
  const Journey journey = play(simulate(drive));
  const tools::ErrorFigures& corrected = journey.summary.errors(ErrorGroup::kCorrected);
  ASSERT_GT(corrected.count(), 200U);
  EXPECT_LT(corrected.rms(), GetParam().rms);
}
INSTANTIATE_TEST_SUITE_P(Positions, SimulatedMounting,
                         testing::Values(MountingCase{"flat", {0, 0, 0}, 6.0},
                                         MountingCase{"upright", {0, 75, 0}, 6.0},
                                         MountingCase{"landscape", {90, 0, 0}, 12.0}),
                         [](const auto& tested) { return std::string(tested.param.name); });

struct WalkCase {
  const char* name;
  Carry carry;
  double cadence;  // steps/s
};

class SimulatedWalk : public testing::TestWithParam<WalkCase> {};

TEST_P(SimulatedWalk, CountsItsStepsAndFollowsTheWalker) {
  SimulationOptions walk = options(Scenario::kWalk, 5);
  walk.route.carry = GetParam().carry;
  walk.route.cadence = GetParam().cadence;
  const std::vector<EventRow> rows = simulate(walk);
  const auto reference = std::count_if(rows.begin(), rows.end(), [](const EventRow& row) {
    return std::holds_alternative<tools::StepRow>(row);
  });
  const Journey journey = play(rows);
  ASSERT_GT(reference, 200);
  EXPECT_NEAR(journey.track.back().total_steps / static_cast<double>(reference), 1.0, 0.05);
  const tools::ErrorFigures& walker = journey.summary.errors(ErrorGroup::kWalker);
  ASSERT_GT(walker.count(), 100U);
  EXPECT_LT(walker.rms(), 8.0);  // m
  EXPECT_EQ(journey.first_with(ZUVDR_CAR_VEHICLE_MODE), journey.track.size());
  // Without a vehicle status 1 is the walker's, and a fix too slow for him is not.
  tools::EngineHost host([](const tools::FixAnswer& answer) {
    EXPECT_EQ(answer.output == tools::Output::kWalker, answer.row.status == 1);
  });
  for (const EventRow& row : rows) {
    if (const auto* sensor = std::get_if<SensorRow>(&row)) host.deliver(*sensor);
    if (const auto* fix = std::get_if<FixRow>(&row)) host.deliver(*fix);
  }
}
INSTANTIATE_TEST_SUITE_P(Gaits, SimulatedWalk,
                         testing::Values(WalkCase{"hand_slow", Carry::kHand, 1.6},
                                         WalkCase{"hand_brisk", Carry::kHand, 2.1},
                                         WalkCase{"pocket_slow", Carry::kPocket, 1.6},
                                         WalkCase{"pocket_brisk", Carry::kPocket, 2.1}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(SimulatedTrip, GoesFromCarToWalkerToCar) {
  const Journey journey = play(simulate(options(Scenario::kMixed, 6)));
  const auto walking = [](const TrackRow& row) {
    return row.pdr_flag == 1 && row.status == 1 && row.bout_steps > 10;
  };
  const auto driving = [](const TrackRow& row) {
    return row.status == 1 && row.bout_steps == 0 && (row.car_flag & ZUVDR_CAR_POSITION_SET) != 0;
  };
  const auto first_drive = std::find_if(journey.track.begin(), journey.track.end(), driving);
  const auto walk = std::find_if(first_drive, journey.track.end(), walking);
  const auto second_drive = std::find_if(walk, journey.track.end(), driving);
  EXPECT_LT(first_drive, walk);
  EXPECT_LT(walk, second_drive);
  EXPECT_NE(second_drive, journey.track.end());
  EXPECT_LT(journey.summary.errors(ErrorGroup::kFused).rms(), 8.0);  // m
}

// What a bad bus and a tired operating system do to a stream: events lost, doubled with a later
// stamp, of types nobody asked for, and fixes lost. The drive must still come through its tunnel.
TEST(SimulatedDrive, SurvivesALossyStream) {
  std::vector<EventRow> rows;
  int n = 0;
  for (const EventRow& row : simulate(options(Scenario::kDrive, 7))) {
    ++n;
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      if (n % 53 == 0) continue;
      if (n % 101 == 0) {
        SensorRow unknown = *sensor;
        unknown.event.type = 4;
        rows.push_back(unknown);
      }
      rows.push_back(row);
      if (n % 97 == 0) {
        SensorRow doubled = *sensor;
        doubled.event.timestamp += 1000000;
        rows.push_back(doubled);
      }
      continue;
    }
    if (std::holds_alternative<FixRow>(row) && n % 29 == 0) continue;
    rows.push_back(row);
  }
  const Journey journey = play(rows);
  const Outage& tunnel = longest(journey.summary.outages());
  EXPECT_GT(tunnel.driven, 500.0);
  EXPECT_LT(tunnel.error, 0.05 * tunnel.driven);
  EXPECT_EQ(journey.track.back().status, 1);
}

}  // namespace
}  // namespace zuvdr::tests
