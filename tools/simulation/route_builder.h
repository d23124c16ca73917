// Writes down a route leg by leg, with the small variations of traffic.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/simulation/random.h"
#include "tools/simulation/trajectory.h"

namespace zuvdr::tools {

struct Route {
  std::vector<Leg> legs;
  std::vector<Movement> movements;
};

class RouteBuilder {
 public:
  RouteBuilder(std::uint64_t seed, const Mounting& mounting) : seed_(seed), mounting_(mounting) {}

  // The variations from here on depend on this name and the seed, not on what came before.
  void section(const char* name) { random_ = RandomStream(seed_, name); }
  RandomStream& random() { return random_; }

  void sky(Sky sky) { sky_ = sky; }
  void carrier(Carrier carrier) { carrier_ = carrier; }
  // The next leg ends with the phone held like this.
  void mounting(const Mounting& mounting) { mounting_ = mounting; }
  void holding(double holding) { holding_ = holding; }
  void engine(double engine) { engine_ = engine; }

  // Stands still for about this time, s.
  void stand(double duration);
  // Stands still for exactly this time, s.
  void wait(double duration) { add(duration, 0.0, 0.0, 0.0); }

  // Reaches about this speed, m/s, with about this mean acceleration, m/s^2.
  void reach(double speed, double acceleration);

  // Keeps about the present speed for exactly `duration` s, in stretches of some 9 s whose course
  // swings by at most `swing` rad and which, on the road, rise and fall.
  void cruise(double duration, double swing);

  // Turns by about this angle, rad clockwise, within about this time, s.
  void turn(double angle, double duration);

  // Takes the phone from one place to another, standing: a glance at it on the way.
  void handle(const Mounting& mounting);

  void move(const Movement& movement) { route_.movements.push_back(movement); }
  // From begin to the present time, s.
  void roughen_road(double begin, double strength);

  double time() const { return time_; }  // s from the start
  Route take() { return std::move(route_); }

 private:
  double varied(double value, double relative);
  void add(double duration, double speed, double turn, double slope);

  std::uint64_t seed_;
  RandomStream random_{0, ""};
  Mounting mounting_;
  double holding_ = 0.0;
  double engine_ = 1.0;
  Carrier carrier_ = Carrier::kCar;
  Sky sky_ = Sky::kOpen;
  double speed_ = 0.0;
  double time_ = 0.0;
  Route route_;
};

}  // namespace zuvdr::tools
