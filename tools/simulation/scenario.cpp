#include "tools/simulation/scenario.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "tools/simulation/random.h"

namespace zuvdr::tools {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kDegree = kPi / 180.0;

constexpr double kShortestTunnel = 1.0;  // s

// The screen towards the face, or upright in a trouser pocket with the screen towards the thigh.
Mounting carried(Carry carry) {
  return carry == Carry::kHand ? Mounting{0.0, 30.0, 0.0} : Mounting{8.0, 80.0, 20.0};
}

constexpr Mounting kGlance = {-20.0, 20.0, -30.0};

// Writes down a route leg by leg, with the small variations of traffic.
class RouteBuilder {
 public:
  RouteBuilder(std::uint64_t seed, const Mounting& mounting) : seed_(seed), mounting_(mounting) {}

  // The variations from here on depend on this name and the seed, not on what came before.
  void section(const char* name) { random_ = RandomStream(seed_, name); }

  void sky(Sky sky) { sky_ = sky; }
  void carrier(Carrier carrier) { carrier_ = carrier; }

  // Stands still for about this time, s.
  void stand(double duration) { add(varied(duration, 0.1), 0.0, 0.0, 0.0); }

  // Reaches about this speed, m/s, with about this mean acceleration, m/s^2.
  void reach(double speed, double acceleration) {
    const double target = varied(speed, 0.05);
    const double duration = std::abs(target - speed_) / varied(acceleration, 0.15);
    if (duration > 0.0) add(duration, target, 0.0, 0.0);
  }

  // Keeps about the present speed for exactly `duration` s, in stretches of some 9 s whose course
  // swings by at most `swing` rad and which, on the road, rise and fall.
  void cruise(double duration, double swing) {
    const double cruising = speed_;
    const double hills = carrier_ == Carrier::kCar ? 0.025 : 0.0;
    const int stretches = std::max(1, static_cast<int>(duration / 9.0));
    for (int stretch = 1; stretch <= stretches; ++stretch) {
      const double speed = varied(cruising, 0.06);
      const double turn = swing * random_.uniform(-1.0, 1.0);
      const double slope = hills * random_.uniform(-1.0, 1.0);
      add(duration / stretches, speed, turn, stretch < stretches ? slope : 0.0);
    }
  }

  // Turns by about this angle, rad clockwise, within about this time, s.
  void turn(double angle, double duration) {
    const double target = varied(angle, 0.08);
    add(varied(duration, 0.1), speed_, target, 0.0);
  }

  // Takes the phone from one place to another, standing: a glance at it on the way.
  void handle(const Mounting& mounting) {
    for (const Mounting& way_point : {kGlance, mounting}) {
      mounting_ = way_point;
      add(varied(1.2, 0.1), 0.0, 0.0, 0.0);
    }
  }

  std::vector<Leg> take() { return std::move(legs_); }

 private:
  double varied(double value, double relative) {
    return value * (1.0 + relative * random_.uniform(-1.0, 1.0));
  }

  void add(double duration, double speed, double turn, double slope) {
    legs_.push_back({duration, speed, turn, slope, carrier_, sky_, mounting_});
    speed_ = speed;
  }

  std::uint64_t seed_;
  RandomStream random_{0, ""};
  Mounting mounting_;
  Carrier carrier_ = Carrier::kCar;
  Sky sky_ = Sky::kOpen;
  double speed_ = 0.0;
  std::vector<Leg> legs_;
};

// The blends of a leg are steepest in the middle: accelerations and rates of turn reach 1.9 times
// their mean there.
constexpr double kRight = 90.0 * kDegree;
constexpr double kLeft = -90.0 * kDegree;

void park(RouteBuilder& route) {
  route.reach(0.0, 1.3);
  route.stand(15.0);
}

// What the vehicle navigator needs before it can start: some seconds faster than 5 m/s, then a
// stop with the phone quiet.
void warm_up(RouteBuilder& route) {
  route.reach(9.0, 1.3);
  route.cruise(18.0, 8.0 * kDegree);
  route.reach(0.0, 1.4);
  route.stand(20.0);
}

void town_block(RouteBuilder& route, double angle, double straight) {
  route.reach(12.0, 1.2);
  route.cruise(straight, 4.0 * kDegree);
  route.reach(6.0, 1.3);
  route.turn(angle, 6.0);
}

void red_light(RouteBuilder& route, double duration) {
  route.reach(0.0, 1.4);
  route.stand(duration);
}

std::vector<Leg> drive(const RouteOptions& options) {
  RouteBuilder route(options.seed, options.car_mounting);
  route.section("town");
  route.stand(12.0);
  warm_up(route);
  town_block(route, kRight, 18.0);
  town_block(route, kLeft, 12.0);
  red_light(route, 15.0);
  town_block(route, kLeft, 18.0);
  town_block(route, kRight, 12.0);
  red_light(route, 8.0);
  town_block(route, kRight, 15.0);

  route.section("motorway");
  route.reach(24.0, 1.1);
  route.cruise(54.0, 8.0 * kDegree);
  route.reach(20.0, 0.8);
  if (options.tunnel >= kShortestTunnel) {
    route.section("tunnel");
    route.sky(Sky::kTunnel);
    route.cruise(options.tunnel, 10.0 * kDegree);
    route.sky(Sky::kOpen);
  }
  route.section("after the tunnel");
  route.cruise(36.0, 8.0 * kDegree);
  route.reach(10.0, 1.0);

  route.section("canyon");
  route.sky(Sky::kCanyon);
  route.cruise(25.0, 3.0 * kDegree);
  route.reach(6.0, 1.2);
  route.turn(kRight, 6.0);
  route.reach(10.0, 1.2);
  route.cruise(20.0, 3.0 * kDegree);
  red_light(route, 10.0);
  route.reach(10.0, 1.2);
  route.cruise(18.0, 3.0 * kDegree);
  route.sky(Sky::kOpen);
  route.reach(6.0, 1.2);
  route.turn(kLeft, 6.0);
  route.reach(12.0, 1.2);
  route.cruise(27.0, 5.0 * kDegree);
  park(route);
  return route.take();
}

void stroll(RouteBuilder& route, double speed) {
  constexpr double kSetOff = 1.0;  // m/s^2
  route.carrier(Carrier::kWalker);
  route.stand(8.0);
  route.reach(speed, kSetOff);
  route.cruise(45.0, 10.0 * kDegree);
  route.turn(kRight, 2.5);
  route.cruise(36.0, 10.0 * kDegree);
  route.turn(kLeft, 2.5);
  route.cruise(27.0, 10.0 * kDegree);
  route.reach(0.0, kSetOff);
  route.stand(12.0);
  route.turn(kRight, 3.0);
  route.reach(speed, kSetOff);
  route.cruise(45.0, 10.0 * kDegree);
  route.turn(kRight, 2.5);
  route.cruise(45.0, 10.0 * kDegree);
  route.reach(0.0, kSetOff);
  route.stand(8.0);
}

std::vector<Leg> walk(const RouteOptions& options, double speed) {
  RouteBuilder route(options.seed, carried(options.carry));
  route.section("walk");
  stroll(route, speed);
  return route.take();
}

std::vector<Leg> mixed(const RouteOptions& options, double speed) {
  RouteBuilder route(options.seed, options.car_mounting);
  const auto trip = [&route] {
    warm_up(route);
    town_block(route, kRight, 27.0);
    town_block(route, kLeft, 18.0);
    red_light(route, 10.0);
    town_block(route, kLeft, 27.0);
    park(route);
  };
  route.section("outward trip");
  route.stand(12.0);
  trip();
  route.handle(carried(options.carry));
  route.section("walk");
  stroll(route, speed);
  route.carrier(Carrier::kCar);
  route.handle(options.car_mounting);
  route.section("homeward trip");
  route.stand(8.0);
  trip();
  return route.take();
}

}  // namespace

Trajectory make_trajectory(const RouteOptions& options) {
  const double course = RandomStream(options.seed, "course").uniform(-kPi, kPi);
  const Gait gait(options.carry, options.cadence, options.seed);
  switch (options.scenario) {
    case Scenario::kWalk:
      return {walk(options, gait.walking_speed()), course, carried(options.carry), gait,
              options.seed};
    case Scenario::kMixed:
      return {mixed(options, gait.walking_speed()), course, options.car_mounting, gait,
              options.seed};
    case Scenario::kDrive:
      break;
  }
  return {drive(options), course, options.car_mounting, std::nullopt, options.seed};
}

}  // namespace zuvdr::tools
