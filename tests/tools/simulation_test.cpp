#include "tools/simulation/simulation.h"

#include <gtest/gtest.h>

#include <GeographicLib/Geodesic.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <numbers>
#include <numeric>
#include <optional>
#include <queue>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "nav/signal.h"
#include "tests/tools/scratch.h"
#include "tools/simulation/gnss_model.h"
#include "tools/simulation/local_frame.h"
#include "tools/simulation/random.h"
#include "tools/simulation/sensor_model.h"

namespace zuvdr::tools {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

double distance(const Vector3& a, const Vector3& b) {
  return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

// East and north, m, along the geodesic.
template <class From, class To>
Vector3 way(const From& from, const To& to) {
  double distance = 0, azimuth = 0, back = 0;
  GeographicLib::Geodesic::WGS84().Inverse(from.latitude, from.longitude, to.latitude, to.longitude,
                                           distance, azimuth, back);
  return {distance * std::sin(azimuth * kDegree), distance * std::cos(azimuth * kDegree), 0.0};
}

// Expected numbers: a separate implementation of the published 64-bit Mersenne twister, with sums
// taken in rational arithmetic.
TEST(RandomStream, GivesTheSameNumbersEverywhere) {
  RandomStream random(2, "gyroscope noise");
  EXPECT_EQ((std::vector{random.uniform(), random.uniform(), random.normal(), random.normal()}),
            (std::vector{0.11361778119557531, 0.5984559705871583, -1.9243268170394003,
                         -1.1647702329792082}));
}

// The strapdown equations dC/dt = C [w x], dv/dt = C f + g, dp/dt = v by the classical fourth-order
// Runge-Kutta method. It errs where legs and movements meet: in ten minutes by 1e-4 m/s and
// centimetres on the road, by ten times as much where a hand moves quickly.
TEST(Trajectory, ForceAndRateLeadAlongTheTruth) {
  using State = std::array<Vector3, 5>;  // rows of the attitude, velocity, position
  const auto state_of = [](const Kinematics& now) -> State {
    const auto& [x, y, z] = now.body_to_level;
    return {x, y, z, now.velocity, now.position};
  };
  const auto slope = [](const State& state, const Kinematics& felt) -> State {
    const auto& [x, y, z] = felt.rate;
    State change{{{}, {}, {}, {0, 0, -9.80665}, state[3]}};
    for (std::size_t i = 0; i < 3; ++i) {
      const auto& [a, b, c] = state[i];
      change[i] = {b * z - c * y, c * x - a * z, a * y - b * x};
      for (std::size_t k = 0; k < 3; ++k) change[3][i] += state[i][k] * felt.specific_force[k];
    }
    return change;
  };
  const auto sum = [](State state, double factor, const State& change) {
    for (std::size_t i = 0; i < 15; ++i) state[i / 3][i % 3] += factor * change[i / 3][i % 3];
    return state;
  };
  for (const RouteOptions& options :
       {RouteOptions{.seed = 11, .car_mounting = {4, 70, -12}},
        {.seed = 2, .road = Road::kRough, .idle = Idle::kDiesel},
        {.scenario = Scenario::kMixed, .carry = Carry::kPocket, .cadence = 2.1},
        {.scenario = Scenario::kWalk, .carry = Carry::kSwing, .cadence = 1.3, .walker = 5},
        {.scenario = Scenario::kHandling, .seed = 3, .walker = 2}}) {
    const Trajectory trajectory = make_trajectory(options);
    constexpr double h = 5e-3;
    const double duration = ZUVDR_SANITIZED ? 60.0 : trajectory.duration();  // they are slow
    Kinematics begin, end = trajectory.at(0.0);
    State state = state_of(end);
    for (double t = 0; t + h < duration; t += h) {
      begin = end, end = trajectory.at(t + h);
      const Kinematics middle = trajectory.at(t + 0.5 * h);
      const State k1 = slope(state, begin), k2 = slope(sum(state, h / 2, k1), middle);
      const State k3 = slope(sum(state, h / 2, k2), middle), k4 = slope(sum(state, h, k3), end);
      state = sum(sum(sum(sum(state, h / 6, k1), h / 3, k2), h / 3, k3), h / 6, k4);
      const auto [x, y, z, velocity, position] = state_of(end);
      ASSERT_LT(std::hypot(distance(state[0], x), distance(state[1], y),
                           std::hypot(distance(state[2], z), distance(state[3], velocity))),
                2e-3)
          << "at " << t << " of scenario " << static_cast<int>(options.scenario);
      ASSERT_LT(distance(state[4], position), 0.2) << "at " << t;
    }
  }
}

// Phones in a car that stands facing north and then turns right while speeding up a slope.
TEST(Trajectory, MountingTurnsThePhoneAndTheCarLeans) {
  using Case = std::tuple<Mounting, Vector3, Vector3>;
  const auto times = [](double f, const Vector3& v) {
    return Vector3{f * v[0], f * v[1], f * v[2]};
  };
  for (const auto& [mounting, up, north] :  // phone axes
       {Case({0, 30, 0}, {0, 0.5, std::sqrt(0.75)}, {0, std::sqrt(0.75), -0.5}),
        Case({-90, 0, -90}, {1, 0, 0}, {0, 0, -1})}) {  // landscape, screen to the rear
    const Leg stand{.duration = 5, .speed = 0, .mounting = mounting};
    const Leg bend{10, 20, 90 * kDegree, 0.1, Carrier::kCar, Sky::kOpen, mounting};
    const Trajectory drive({stand, bend}, 0.0, mounting, {}, 1);
    EXPECT_LT(distance(drive.at(2).specific_force, times(9.80665, up)), 1e-12);
    EXPECT_LT(distance(drive.at(2).to_body({0, 1, 0}), north), 1e-12);
    EXPECT_LT(drive.at(10).attitude[0], -0.5 * kDegree);        // left side down
    EXPECT_GT(drive.at(10).attitude[1], 0.05 + 0.5 * kDegree);  // nose up
    // East and uphill in the end, along the car's front but for the sway of lane and road.
    const Vector3 velocity = drive.at(15).velocity;
    EXPECT_NEAR(velocity[0], 20 * std::cos(0.1), 0.15);
    EXPECT_LT(distance(drive.at(15).to_body(velocity), times(20, north)), 0.15);
  }
}

// v in a phone's axes, in the car's: undone are first roll about y, then pitch about x, then yaw
// about z. Degrees.
Vector3 in_car(const Mounting& mounting, Vector3 v) {
  const auto turn = [&v](std::size_t from, std::size_t to, double degrees) {
    const double c = std::cos(degrees * kDegree), s = std::sin(degrees * kDegree);
    const double a = v[from], b = v[to];
    v[from] = c * a - s * b;
    v[to] = s * a + c * b;
  };
  turn(2, 0, mounting.roll);
  turn(1, 2, mounting.pitch);
  turn(1, 0, mounting.yaw);
  return v;
}

TEST(Trajectory, EveryMountingFeelsTheSameCar) {
  const Trajectory flat = make_trajectory({.car_mounting = {}});
  for (const Mounting& mounting :
       {Mounting{0, 75, 40}, {-80, 0, -90}, {-80, 0, 130}, {20, -35, 180}, {180, 0, 0}}) {
    const Trajectory drive = make_trajectory({.car_mounting = mounting});
    for (double t = 1.0; t < 500.0; t += 7.3) {
      const Kinematics now = drive.at(t), usual = flat.at(t);
      ASSERT_LT(distance(in_car(mounting, now.specific_force), usual.specific_force), 1e-9) << t;
      ASSERT_LT(distance(in_car(mounting, now.rate), usual.rate), 1e-12) << t;
    }
  }
}

// Sums of the squared amplitudes, halved: 0.0378 (m/s^2)^2 upwards, 1.317e-5 (rad/s)^2 in all.
TEST(EngineIdle, ADieselShakesTheCarThatStands) {
  const Trajectory petrol = make_trajectory({}), diesel = make_trajectory({.idle = Idle::kDiesel});
  const auto extra = [&](double begin, double end) {
    std::pair<double, double> squares;
    for (double t = begin; t < end; t += 1e-3) {
      const Kinematics quiet = petrol.at(t), shaken = diesel.at(t);
      squares.first += std::pow(shaken.acceleration[2] - quiet.acceleration[2], 2);
      squares.second += std::pow(distance(shaken.rate, quiet.rate), 2);
    }
    const double samples = (end - begin) * 1e3;
    return std::pair(std::sqrt(squares.first / samples), std::sqrt(squares.second / samples));
  };
  const auto [standing, turning] = extra(0.0, 10.0);
  EXPECT_NEAR(standing, std::sqrt(0.0378), 0.004);
  EXPECT_NEAR(turning, std::sqrt(1.317e-5), 0.0001);
  EXPECT_LT(extra(25.0, 30.0).first, 0.3 * standing);                                   // 9 m/s
  EXPECT_LT(extra(petrol.duration() - 1.0, petrol.duration()).first, 0.01 * standing);  // parked
}

TEST(Movement, GoesSmoothlyAndEndsWhereItShould) {
  using Shape = Movement::Shape;
  using Case = std::tuple<Shape, double, double>;  // greatest share, share in the end
  for (const auto& [shape, greatest, last] :
       {Case(Shape::kShift, 1, 1), Case(Shape::kBump, 0.999, 0), Case(Shape::kWave, 0.9, 0),
        Case(Shape::kRing, 0.5, 0)}) {
    const Movement movement{.shape = shape, .begin = 1.0, .duration = 2.0, .frequency = 1.6};
    constexpr double h = 1e-4;
    double reached = 0.0;
    for (double t = 0.5; t < 3.5; t += 0.01) {  // across both ends
      const Jet before = movement.share(t - h), now = movement.share(t),
                after = movement.share(t + h);
      ASSERT_NEAR((after.value - before.value) / (2 * h), now.rate, 1e-4) << t;
      ASSERT_NEAR((after.rate - before.rate) / (2 * h), now.curvature, 0.2) << t;
      reached = std::max(reached, now.value);
    }
    EXPECT_GE(reached, greatest);
    EXPECT_LE(reached, 1.0);
    EXPECT_EQ(movement.share(1.0).value, 0.0);
    EXPECT_EQ(movement.share(3.5).value, last);
  }
}

double mean(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}
double deviation(std::vector<double> values) {
  const double middle = mean(values);
  for (double& value : values) value = std::pow(value - middle, 2);
  return std::sqrt(mean(values));
}

// Amplitude, m/s^2, of the force's magnitude at one cycle per step.
double once_per_step(const Trajectory& walk) {
  const std::vector<double> steps = walk.footfalls();
  double real = 0.0, imaginary = 0.0;
  int samples = 0;
  for (std::size_t i = 1; i < steps.size(); ++i) {
    if (steps[i] - steps[i - 1] > 1.2) continue;  // stood in between
    for (int part = 0; part < 16; ++part, ++samples) {
      const double share = part / 16.0, t = steps[i - 1] + share * (steps[i] - steps[i - 1]);
      const double angle = 360 * kDegree * share;
      const double force = distance(walk.at(t).specific_force, {});
      real += force * std::cos(angle);
      imaginary += force * std::sin(angle);
    }
  }
  return 2.0 * std::hypot(real, imaginary) / samples;
}

// Slow walks were recorded with 1 m/s^2 and more, joggers reach 5 to 10.
TEST(Gait, StepsAreFeltAtEveryCadenceWhereverThePhoneIs) {
  for (const Carry carry :
       {Carry::kHand, Carry::kPocket, Carry::kWaist, Carry::kBack, Carry::kSwing, Carry::kJacket}) {
    for (const auto& [cadence, least, most] :
         {std::tuple(1.2, 0.8, 2.2), {1.85, 1.9, 4.5}, {2.8, 4.5, 10.0}}) {
      const Trajectory walk =
          make_trajectory({.scenario = Scenario::kWalk, .carry = carry, .cadence = cadence});
      const double amplitude = once_per_step(walk);
      EXPECT_TRUE(amplitude > least && amplitude < most)
          << amplitude << " at " << cadence << ", carry " << static_cast<int>(carry);
    }
  }
}

// Recorded pockets, one amplitude per walk: median 2.5 m/s^2, 0.38 deviation of the logarithm.
TEST(Gait, WalkersDifferAsRecordedOnesDo) {
  constexpr int kWalkers = 40;
  std::vector<double> felt;
  int halts = 0;
  for (int walker = 0; walker < kWalkers; ++walker) {
    const auto number = static_cast<std::uint64_t>(walker + 1);
    const Trajectory walk = make_trajectory({.scenario = Scenario::kWalk,
                                             .seed = number,
                                             .carry = Carry::kPocket,
                                             .cadence = 1.76,
                                             .walker = number});
    felt.push_back(std::log(once_per_step(walk)));
    EXPECT_NEAR(walk.duration(), 255.0, 35.0);
    const std::vector<double> steps = walk.footfalls();
    for (std::size_t i = 10; i < steps.size(); ++i) {
      const double standing = steps[i] - steps[i - 1];
      halts += standing > 2.0;
      EXPECT_LT(standing, 25.0);  // halt, turn, slowing down, setting off
      // The pace changes by 10 %, and ten steps in a row by some per cent more.
      if (steps[i] - steps[i - 10] < 8.0) {
        EXPECT_NEAR(10.0 / (steps[i] - steps[i - 10]), 1.76, 0.16 * 1.76);
      }
    }
  }
  EXPECT_NEAR(mean(felt), std::log(2.5), 0.3);
  EXPECT_NEAR(deviation(felt), 0.38, 0.12);
  EXPECT_GT(halts, kWalkers);
}

TEST(RoughRoad, ShakesTheCarWhenItMoves) {
  RouteOptions options;
  const Trajectory smooth = make_trajectory(options);
  options.road = Road::kRough;
  const Trajectory rough = make_trajectory(options);
  double most = 0.0, squares[2] = {};
  for (double t = 0.0; t < rough.duration(); t += 0.04) {
    const double usual = smooth.at(t).acceleration[2];
    const double extra = rough.at(t).acceleration[2] - usual;
    if (rough.at(t).roughness == 0.0) {
      ASSERT_EQ(extra, 0.0) << t;
    }
    squares[0] += usual * usual;
    squares[1] += extra * extra;
    most = std::max(most, std::abs(extra));
  }
  EXPECT_GT(squares[1], 4.0 * squares[0]);
  EXPECT_GT(most, 2.0);  // m/s^2, more than many a footfall
  EXPECT_LT(most, 8.0);
}

TEST(TriaxialSensor, ErrorsAreThoseConfigured) {
  constexpr int kSeeds = 400, kSamples = 200;
  constexpr double kRate = 50.0;
  const SensorErrors& errors = kGyroscopeErrors;
  double squares[6] = {};  // of the draws, in units of the deviation wanted
  for (int seed = 0; seed < kSeeds; ++seed) {
    TriaxialSensor sensor(errors, kRate, static_cast<std::uint64_t>(seed), "test");
    const double start = sensor.bias()[0], walk = errors.bias_walk * std::sqrt(400 / kRate);
    std::vector<double> resting, along, across;
    for (int i = 0; i < kSamples; ++i) {
      resting.push_back(sensor.sample({0, 0, 0}, 0.0)[0]);
      ASSERT_NEAR(std::remainder(resting.back(), 1 / errors.counts_per_unit), 0.0, 1e-12);
      const Vector3 loaded = sensor.sample({0, 0, 10}, 0.0);
      across.push_back(loaded[0]);
      along.push_back(loaded[2]);
    }
    const double draws[6] = {mean(resting) / errors.bias,
                             (sensor.bias()[0] - start) / walk,
                             (sensor.bias_estimate()[0] - start) / errors.estimate_error,
                             deviation(resting) / (errors.noise * std::sqrt(kRate / 2)),
                             ((mean(along) - sensor.bias()[2]) / 10 - 1) / errors.scale,
                             (mean(across) - mean(resting)) / 10 / errors.misalignment};
    for (std::size_t k = 0; k < 6; ++k) squares[k] += draws[k] * draws[k];
  }
  // The deviation of n normal numbers is known to 1 / sqrt(2 n): bounds at 4 sigma.
  for (const double sum : squares) {
    EXPECT_NEAR(std::sqrt(sum / kSeeds), 1.0, 4.0 / std::sqrt(2.0 * kSeeds));
  }
}

TEST(Barometer, FollowsTheStandardAtmosphere) {
  const double change = Barometer(5.0, 1).sample(1000.0) - Barometer(5.0, 1).sample(0.0);
  EXPECT_NEAR(change, 898.74 - 1013.25, 0.01);  // by tables of the standard atmosphere
}

// The deviation is a sum of two uniform numbers: reach / sqrt(6).
TEST(SampleClock, StampsFollowTheSamples) {
  using Case = std::tuple<double, std::optional<double>, double>;
  for (const auto& [rate, jitter, reach] :
       {Case(25.0, {}, 1e-3), Case(500.0, {}, 0.4e-3), Case(25.0, 5e-3, 5e-3),
        Case(200.0, 5e-3, 2.25e-3), Case(100.0, 0.0, 0.0)}) {
    SampleClock clock(rate, 3, "test", jitter);
    std::int64_t last = -1'000'000'000;
    std::vector<double> deviations;
    for (int i = 0; i < 5000; ++i) {
      const auto [sampled, stamp] = clock.next();
      ASSERT_GT(stamp, std::exchange(last, stamp));
      deviations.push_back(static_cast<double>(stamp) * 1e-9 - sampled);
      ASSERT_NEAR(deviations.back(), 0.0, 1.001 * reach + 1e-9);
    }
    EXPECT_NEAR(deviation(deviations), reach / std::sqrt(6.0), 0.03 * reach + 1e-9) << rate;
  }
}

class Log : public ScratchTest {
 protected:
  std::string written() const {
    EventLogWriter writer(path("log"));
    for (const EventRow& row : simulate(options_)) writer.write(row);
    writer.close();
    return read_file(path("log"));
  }
  SimulationOptions options_;
};

TEST_F(Log, RowsStandInTheOrderOfHandOver) {
  options_.route.cadence = 2.1;
  for (const Scenario scenario : {Scenario::kDrive, Scenario::kWalk, Scenario::kMixed}) {
    options_.route.scenario = scenario;
    std::map<int, std::int64_t> last;  // by sensor type, or 0 fix, -1 truth, -2 step
    std::map<int, double> count;
    std::int64_t last_sensor = 0;
    int late_fixes = 0;
    for (const EventRow& row : simulate(options_)) {
      int kind = 1 - static_cast<int>(row.index());
      std::int64_t time = 0;
      if (const auto* sensor = std::get_if<SensorRow>(&row)) {
        kind = sensor->event.type;
        time = sensor->event.timestamp;
        ASSERT_GE(time, std::exchange(last_sensor, time));
      } else if (const auto* fix = std::get_if<FixRow>(&row)) {
        time = fix->fix.time_ns;
        // Sensor events before a fix are not much younger than its latency allows.
        ASSERT_LT(last_sensor - time, 240'000'000);
        late_fixes += last_sensor > time;
        ASSERT_TRUE(fix->fix.latitude > 0.0 && fix->fix.longitude > 0.0);
      } else {
        const auto* truth = std::get_if<TruthRow>(&row);
        time = truth != nullptr ? truth->time_ns : std::get<StepRow>(row).time_ns;
      }
      ASSERT_GT(time, std::exchange(last[kind], time));
      ++count[kind];
    }
    EXPECT_GT(late_fixes, 0.8 * count[0]);
    const Trajectory trajectory = make_trajectory(options_.route);
    const double duration = trajectory.duration();
    for (const auto& [kind, rate] :
         {std::pair{1, 25.0}, {16, 25.0}, {14, 10.0}, {6, 5.0}, {0, 1.0}, {-1, 10.0}}) {
      EXPECT_NEAR(count[kind] / duration, rate, 0.002 * rate + 1.0 / duration) << kind;
    }
    double steps = 0.0;
    for (double t = 0; t < duration; t += 0.1) steps += trajectory.at(t).walking > 0.5 ? 0.21 : 0.0;
    EXPECT_NEAR(count[-2], steps, 0.03 * steps);
  }
}

TEST_F(Log, OutageAndRecoveryRows) {
  options_.route.tunnel = 35.0;
  int lost = 0, recovered = 0;
  TruthRow truth{};
  GpsData before{};
  for (const EventRow& row : simulate(options_)) {
    if (const auto* now = std::get_if<TruthRow>(&row)) truth = *now;
    const auto* handed = std::get_if<FixRow>(&row);
    if (handed == nullptr) continue;
    const GpsData& fix = handed->fix;
    const auto [least, greatest] =
        std::minmax({fix.vel_acc_e, fix.vel_acc_n, fix.vel_acc_u, fix.pos_acc_e, fix.pos_acc_n,
                     fix.pos_acc_u, fix.speed_acc});
    const bool healthy = handed->sample == 0;
    EXPECT_TRUE(healthy ? least > 0.0F : greatest == 0.0F);
    if (!healthy && fix.speed == 0.0F) {
      ++lost;
      EXPECT_TRUE(fix.vel_e == 0.0F && fix.vel_n == 0.0F && fix.vel_u == 0.0F);
      EXPECT_EQ(std::tie(fix.latitude, fix.longitude, fix.altitude),
                std::tie(before.latitude, before.longitude, before.altitude));
      EXPECT_NEAR(static_cast<double>(fix.time_ns - before.time_ns), 1e9, lost == 1 ? 5e8 : 1e3);
    } else if (!healthy) {  // found again: where the car is, but not to be measured with
      ++recovered;
      EXPECT_LT(distance(way(truth, fix), {}), 25.0);
      EXPECT_LT(std::hypot(fix.vel_e - truth.velocity[0], fix.vel_n - truth.velocity[1]), 2.0);
    }
    before = fix;
  }
  EXPECT_NEAR(lost, 35, 1);
  EXPECT_EQ(recovered, 1);
}

// 2.5 times as large at first, 1 + 1.5 exp(-t / 5 s) after t seconds, and 1.6 times as large in
// height. A course is an angle from north by east.
TEST(GnssReceiver, ErrsAsItShould) {
  double first = 0.0, settled = 0.0;         // accuracies, 1 s and 25 s after the outage
  double squares[2] = {}, reported[2] = {};  // level and up
  for (const std::uint64_t seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
    const Trajectory drive = make_trajectory({.seed = seed, .tunnel = 20.0});
    GnssReceiver receiver(LocalFrame({48.2, 16.4}, 0.0), 0.1, seed);
    int since = -1;  // fixes since the receiver found its satellites again
    for (const auto& [time, handed] :
         receiver.observe(drive, [](double t) { return std::llround(t * 1e9); })) {
      const GpsData& fix = handed.fix;
      const bool found = handed.sample != 0 && fix.speed > 0.0F;
      since = found ? 0 : since + (since >= 0 ? 1 : 0);
      if (since == 1) first += fix.pos_acc_e;
      if (since == 25) settled += fix.pos_acc_e;
      if (handed.sample != 0) continue;
      const Vector3 truth = drive.at(static_cast<double>(fix.time_ns) * 1e-9).velocity;
      const double east = fix.vel_e - truth[0], north = fix.vel_n - truth[1];
      squares[0] += (east * east + north * north) / 2;
      squares[1] += std::pow(fix.vel_u - truth[2], 2);
      reported[0] += (fix.pos_acc_e + fix.pos_acc_n) / 2;
      reported[1] += fix.pos_acc_u;
      const double course = fix.bearing * kDegree;
      if (fix.speed < 0.31F) continue;  // the last course is kept
      ASSERT_NEAR(fix.speed * std::sin(course), fix.vel_e, 0.01);
      ASSERT_NEAR(fix.speed * std::cos(course), fix.vel_n, 0.01);
    }
  }
  const double expected = (1.0 + 1.5 * std::exp(-0.2)) / (1.0 + 1.5 * std::exp(-5.0));
  EXPECT_NEAR(first / settled, expected, 0.25);
  EXPECT_NEAR(std::sqrt(squares[1] / squares[0]), 1.6, 0.1);
  EXPECT_NEAR(reported[1] / reported[0], 1.6, 0.05);
}

TEST(LocalFrame, MetresBecomeDegreesOfTheEllipsoid) {
  for (const double latitude : {1.0, 48.2, 79.0}) {
    const Place origin{latitude, 16.4};
    const LocalFrame frame(origin, 0.0);
    for (const Vector3& metres : {Vector3{100, 0, 0}, Vector3{0, 100, 0}}) {
      EXPECT_LT(distance(way(origin, frame.place(metres)), metres), 0.01) << latitude;
    }
  }
}

// The engine takes a car for standing when 26 windows of its low-passed rates in a row are quiet.
TEST_F(Log, TheCarIsQuietAtStopsAndOnlyThere) {
  std::queue<double> windows[3];
  const double limits[3] = {0.00026375, 0.0002375, 0.000265};  // rad/s
  int quiet = 0, longest[2] = {};                              // standing, driving
  double speed = 0.0;
  for (const EventRow& row : simulate(options_)) {
    if (const auto* now = std::get_if<TruthRow>(&row))
      speed = distance(std::to_array(now->velocity), {});
    const auto* sensor = std::get_if<SensorRow>(&row);
    if (sensor == nullptr || sensor->event.type != ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) continue;
    double filtered[3];
    wLowPassFilter(sensor->event.values, filtered);
    bool still = true;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      windows[axis].push(filtered[axis]);
      if (windows[axis].size() > 25) windows[axis].pop();
      still = still && windows[axis].size() == 25 && CalStd(windows[axis]) < limits[axis];
    }
    quiet = still ? quiet + 1 : 0;
    longest[speed > 1.0] = std::max(longest[speed > 1.0], quiet);
  }
  EXPECT_LT(longest[1], 26);
  EXPECT_GT(longest[0], 200);
}

// Turns of the phone by a trapezoidal sum of the truth, against the samples at 25 to 200 Hz less
// the sensor's bias: scale, misalignment, noise and the bias walk leave some hundredths of a
// radian.
TEST_F(Log, SamplesAtEveryRateAddUpToTheTruth) {
  constexpr double kEnd = 150.0, kStep = 1e-2;
  const Trajectory drive = make_trajectory(options_.route);
  Vector3 turned{};
  for (double t = 0; t < kEnd; t += kStep) {
    const Vector3 begin = drive.at(t).rate, end = drive.at(t + kStep).rate;
    for (std::size_t k = 0; k < 3; ++k) turned[k] += (begin[k] + end[k]) / 2 * kStep;
  }
  for (const double rate : {25.0, 100.0, 200.0}) {
    options_.rate = rate;
    options_.jitter = 0.4 / rate;
    const TriaxialSensor sensor(kGyroscopeErrors, rate, options_.route.seed, "gyroscope");
    std::map<std::int64_t, int> stamps;
    Vector3 sum{};
    std::int64_t last = 1'000'000'000'000;
    for (const EventRow& row : simulate(options_)) {
      const auto* felt = std::get_if<SensorRow>(&row);
      if (felt == nullptr || felt->event.timestamp > 1'000'000'000'000 + std::llround(kEnd * 1e9))
        continue;
      ++stamps[felt->event.timestamp];
      if (felt->event.type != ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) continue;
      const double interval = static_cast<double>(felt->event.timestamp - last) * 1e-9;
      last = felt->event.timestamp;
      for (std::size_t k = 0; k < 3; ++k)
        sum[k] += (felt->event.values[k] - sensor.bias()[k]) * interval;
    }
    EXPECT_LT(distance(sum, turned), 0.06) << rate;
    EXPECT_NEAR(static_cast<double>(stamps.size()), (2 * rate + 15) * kEnd, 0.003 * rate * kEnd)
        << "every event has a stamp of its own";
  }
}

TEST_F(Log, BeginsOnTheRoad) {
  const std::string whole = written();
  options_.begin = 80.0;
  const std::string rest = written();
  EXPECT_TRUE(whole.ends_with(rest));
  EXPECT_NEAR(static_cast<double>(whole.size() - rest.size()) / static_cast<double>(whole.size()),
              80.0 / make_trajectory(options_.route).duration(), 0.01);
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    for (const Scenario scenario : {Scenario::kDrive, Scenario::kMixed}) {
      const Trajectory drive = make_trajectory({.scenario = scenario, .seed = seed});
      for (double t = 80; t < 110; t += 0.5)
        ASSERT_GT(distance(drive.at(t).velocity, {}), 4.0) << t;
    }
  }
}

TEST_F(Log, DependsOnTheSeedAndTheOptionsAlone) {
  options_.route.tunnel = 20.0;
  const std::string once = written();
  EXPECT_TRUE(once == written());
  options_.route.tunnel = 40.0;  // changes nothing before the tunnel
  const std::string longer = written();
  EXPECT_TRUE(longer.starts_with(once.substr(0, once.size() / 2)));
  options_.route.seed = 52;
  EXPECT_FALSE(longer == written());
}

TEST_F(Log, MotionOnlyLeavesTheOtherRowsOut) {
  options_.route.scenario = Scenario::kWalk;
  const auto motion = [this] {
    std::vector<std::pair<std::int64_t, double>> kept;
    std::size_t rows = 0;
    for (const EventRow& row : simulate(options_)) {
      ++rows;
      if (const auto* step = std::get_if<StepRow>(&row)) kept.emplace_back(step->time_ns, 0.0);
      const auto* sensor = std::get_if<SensorRow>(&row);
      if (sensor == nullptr) continue;
      if (sensor->event.type == ZUVDR_SENSOR_ACCELEROMETER ||
          sensor->event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) {
        kept.emplace_back(sensor->event.timestamp, sensor->event.values[1]);
      }
    }
    return std::pair(rows, kept);
  };
  const auto [all, moved] = motion();
  options_.motion_only = true;
  const auto [few, same] = motion();
  EXPECT_GT(all, few);
  EXPECT_EQ(few, same.size());
  EXPECT_TRUE(moved == same);
}

// Long stillness and movements as strong as steps, of which none is one.
TEST_F(Log, HandlingMovesThePhoneAndNobodyWalks) {
  options_.route.scenario = Scenario::kHandling;
  int still = 0, swings = 0;
  for (std::uint64_t seed = 1; seed <= 5; ++seed) {
    options_.route.seed = options_.route.walker = seed;
    std::vector<double> magnitude;
    for (const EventRow& row : simulate(options_)) {
      EXPECT_FALSE(std::holds_alternative<StepRow>(row));
      const auto* sensor = std::get_if<SensorRow>(&row);
      if (sensor == nullptr || sensor->event.type != ZUVDR_SENSOR_ACCELEROMETER) continue;
      const double* v = sensor->event.values;
      magnitude.push_back(std::hypot(v[0], v[1], v[2]));
    }
    EXPECT_NEAR(static_cast<double>(magnitude.size()) / 25.0, 315.0, 30.0);
    for (std::size_t i = 50; i < magnitude.size(); i += 50) {  // windows of 2 s
      const auto [low, high] = std::minmax_element(magnitude.begin() + static_cast<long>(i) - 50,
                                                   magnitude.begin() + static_cast<long>(i));
      still += *high - *low < 0.1;
      swings += *high - *low > 3.0;
    }
  }
  EXPECT_GT(still, 20);
  EXPECT_GT(swings, 50);
}

}  // namespace
}  // namespace zuvdr::tools
