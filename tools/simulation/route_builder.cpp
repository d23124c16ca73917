#include "tools/simulation/route_builder.h"

#include <algorithm>
#include <cmath>

#include "tools/simulation/road.h"

namespace zuvdr::tools {
namespace {

constexpr Mounting kGlance = {-20.0, 20.0, -30.0};

}  // namespace

void RouteBuilder::stand(double duration) {
  add(varied(duration, 0.1), 0.0, 0.0, 0.0);
}

void RouteBuilder::reach(double speed, double acceleration) {
  const double target = varied(speed, 0.05);
  const double duration = std::abs(target - speed_) / varied(acceleration, 0.15);
  if (duration > 0.0) add(duration, target, 0.0, 0.0);
}

void RouteBuilder::cruise(double duration, double swing) {
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

void RouteBuilder::turn(double angle, double duration) {
  const double target = varied(angle, 0.08);
  add(varied(duration, 0.1), speed_, target, 0.0);
}

void RouteBuilder::handle(const Mounting& mounting) {
  for (const Mounting& way_point : {kGlance, mounting}) {
    mounting_ = way_point;
    add(varied(1.2, 0.1), 0.0, 0.0, 0.0);
  }
}

void RouteBuilder::roughen_road(double begin, double strength) {
  add_rough_road(route_.movements, random_, begin, time_, strength);
}

double RouteBuilder::varied(double value, double relative) {
  return value * (1.0 + relative * random_.uniform(-1.0, 1.0));
}

void RouteBuilder::add(double duration, double speed, double turn, double slope) {
  route_.legs.push_back(
      {duration, speed, turn, slope, carrier_, sky_, mounting_, holding_, engine_});
  speed_ = speed;
  time_ += duration;
}

}  // namespace zuvdr::tools
