#include "tools/simulation/scenario.h"

#include <optional>
#include <utility>

#include "nav/constants.h"
#include "tools/simulation/angles.h"
#include "tools/simulation/handling.h"
#include "tools/simulation/random.h"
#include "tools/simulation/route_builder.h"

namespace zuvdr::tools {
namespace {

constexpr double kShortestTunnel = 1.0;  // s

Mounting usual_mounting(Carry carry) {
  switch (carry) {
    case Carry::kHand:  // the screen towards the face
      return {0.0, 30.0, 0.0};
    case Carry::kWaist:
      return {0.0, 80.0, 0.0};
    case Carry::kBack:
      return {0.0, 90.0, 0.0};
    case Carry::kSwing:  // the screen towards the leg
      return {-80.0, 10.0, 0.0};
    case Carry::kJacket:
      return {10.0, 70.0, -40.0};
    case Carry::kPocket:
      break;
  }
  return {8.0, 80.0, 20.0};  // upright in a trouser pocket, the screen towards the thigh
}

Mounting carried(const RouteOptions& options) {
  Mounting mounting = usual_mounting(options.carry);
  if (options.walker == 0) return mounting;
  RandomStream random(options.walker, "walker mounting");
  for (double* angle : {&mounting.roll, &mounting.pitch, &mounting.yaw}) {
    *angle += 12.0 * random.normal();
  }
  const bool free = options.carry != Carry::kHand && options.carry != Carry::kSwing;
  if (free && random.uniform() < 0.5) mounting.roll += 180.0;            // screen the other way
  if (free && random.uniform() < 0.5) mounting.pitch = -mounting.pitch;  // upside down
  return mounting;
}

// The blends of a leg are steepest in the middle: accelerations and rates of turn reach 1.9 times
// their mean there.
constexpr double kRight = 90.0 * kDegree;
constexpr double kLeft = -90.0 * kDegree;

void park(RouteBuilder& route) {
  route.reach(0.0, 1.3);
  route.engine(0.0);
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

Route drive(const RouteOptions& options) {
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
  route.section("rough road");
  if (options.road == Road::kRough) route.roughen_road(0.0, 1.0);
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

// The walk of a person with a mind of their own: halts, corners and ways back in any order.
void ramble(RouteBuilder& route, double speed) {
  constexpr double kDuration = 225.0;  // s, before the last halt
  RandomStream& random = route.random();
  const double set_off = random.uniform(0.8, 2.0);  // m/s^2
  // To either side, by the angle in degrees, within the time in s. One draw per statement: the
  // order of arguments is the compiler's.
  const auto veer = [&](double least, double most, double shortest, double longest) {
    const double side = random.uniform() < 0.5 ? -kDegree : kDegree;
    const double angle = random.uniform(least, most);
    route.turn(side * angle, random.uniform(shortest, longest));
  };
  const double end = route.time() + kDuration;
  route.carrier(Carrier::kWalker);
  route.holding(1.0);
  route.stand(8.0);
  route.reach(speed, set_off);
  while (route.time() < end) {
    route.cruise(random.uniform(6.0, 35.0), 15.0 * kDegree);
    const double event = random.uniform();
    if (event < 0.4) {
      veer(40.0, 110.0, 1.5, 3.5);
    } else if (event < 0.5) {
      veer(170.0, 190.0, 2.0, 4.0);
    } else if (event < 0.85) {
      route.reach(0.0, set_off);
      // Half the halts are not quite still: the weight goes to the other leg, the hand aside.
      if (random.uniform() < 0.5) {
        const auto size = [&random](double most) { return random.uniform(-most, most); };
        route.move({.shape = Movement::Shape::kBump,
                    .begin = route.time() + 0.3,
                    .duration = random.uniform(0.6, 1.6),
                    .offset = {size(0.08), size(0.06), size(0.04)},
                    .turn = {size(0.15), size(0.15), size(0.25)}});
      }
      route.wait(random.uniform(2.0, 15.0));
      if (random.uniform() < 0.5) {
        veer(60.0, 180.0, 1.5, 4.0);
      }
      route.reach(speed, set_off);
    } else {
      route.reach(speed * random.uniform(0.9, 1.1), 0.5);
    }
  }
  route.reach(0.0, set_off);
  route.stand(8.0);
  route.holding(0.0);
}

void walk_about(RouteBuilder& route, const RouteOptions& options, double speed) {
  route.section("walk");
  if (options.walker == 0) {
    stroll(route, speed);
  } else {
    ramble(route, speed);
  }
}

Route walk(const RouteOptions& options, double speed) {
  RouteBuilder route(options.seed, carried(options));
  walk_about(route, options, speed);
  return route.take();
}

Route mixed(const RouteOptions& options, double speed) {
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
  route.handle(carried(options));
  walk_about(route, options, speed);
  route.carrier(Carrier::kCar);
  route.handle(options.car_mounting);
  route.engine(1.0);
  route.section("homeward trip");
  route.stand(8.0);
  trip();
  route.section("rough road");
  if (options.road == Road::kRough) route.roughen_road(0.0, 1.0);
  return route.take();
}

}  // namespace

Trajectory make_trajectory(const RouteOptions& options) {
  const double course = RandomStream(options.seed, "course").uniform(-kPi, kPi);
  const Gait gait(options.carry, options.cadence, options.walker, options.seed);
  std::optional<EngineIdle> idle;
  if (options.idle == Idle::kDiesel) idle.emplace(options.seed);
  const auto along = [&](Route route, const Mounting& mounting, std::optional<Gait> walker) {
    return Trajectory(std::move(route.legs), course, mounting, std::move(walker), options.seed,
                      std::move(route.movements), idle);
  };
  switch (options.scenario) {
    case Scenario::kWalk:
      return along(walk(options, gait.walking_speed()), carried(options), gait);
    case Scenario::kMixed:
      return along(mixed(options, gait.walking_speed()), options.car_mounting, gait);
    case Scenario::kHandling:
      return along(handling(options.seed, options.walker), kOnTable, std::nullopt);
    case Scenario::kDrive:
      break;
  }
  return along(drive(options), options.car_mounting, std::nullopt);
}

}  // namespace zuvdr::tools
