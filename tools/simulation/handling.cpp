#include "tools/simulation/handling.h"

#include <cmath>
#include <vector>

#include "tools/simulation/angles.h"
#include "tools/simulation/road.h"

namespace zuvdr::tools {
namespace {

using Shape = Movement::Shape;

constexpr double kDuration = 300.0;  // s

// Where the phone is; a set of places is an or of them.
enum Place : unsigned {
  kTable = 1,
  kHand = 2,  // standing, portrait
  kWide = 4,  // standing, landscape
  kSeatHand = 8,
  kPocket = 16,
  kSeatPocket = 32,
  kStay = 0
};
constexpr unsigned kAnyHand = kHand | kWide | kSeatHand;
constexpr unsigned kStanding = kHand | kWide | kPocket;
constexpr unsigned kSeated = kSeatHand | kSeatPocket;

Mounting mounting_at(Place place) {
  switch (place) {
    case kHand:
      return {0, 35, 0};
    case kWide:
      return {-40, 0, -90};
    case kSeatHand:
      return {0, 25, 10};
    case kPocket:
      return {8, 80, 20};
    case kSeatPocket:
      return {5, 5, 15};
    default:
      return kOnTable;
  }
}

struct Range {
  double low, high;
};

// Sizes are the usual ones; each event draws its own, and its signs unless it is a shift.
struct Act {
  unsigned from;
  Place to;
  Shape shape;
  Range extent;     // s; number of waves in a kWave
  Range frequency;  // Hz
  int repeats;      // at most
  Vector3 offset;   // right, forward, up, m
  Vector3 turn;     // roll, pitch, yaw, degrees
  double shaking = 0.0;
};

constexpr Act kActs[] = {
    // Lying on the table; picked up, put down.
    {kTable, kStay, Shape::kBump, {5, 15}, {}, 1, {}, {}},
    {kTable, kHand, Shape::kShift, {0.7, 1.4}, {}, 1, {0, -0.2, 0.3}, {}},
    {kTable, kSeatHand, Shape::kShift, {0.7, 1.4}, {}, 1, {0, -0.15, 0.2}, {}},
    {kHand | kWide, kTable, Shape::kShift, {0.8, 1.5}, {}, 1, {0, 0.2, -0.3}, {}},
    {kSeatHand, kTable, Shape::kShift, {0.8, 1.5}, {}, 1, {0, 0.15, -0.2}, {}},
    // Typing with pauses for thought, in rhythm, scrolling.
    {kAnyHand,
     kStay,
     Shape::kWave,
     {6, 20},
     {2.5, 5},
     3,
     {0.001, 0.001, 0.002},
     {0.5, 1, 0.5},
     0.1},
    {kAnyHand, kStay, Shape::kWave, {3, 6}, {0.8, 2}, 3, {0.005, 0.005, 0.008}, {2, 3, 1}, 0.1},
    {kAnyHand, kStay, Shape::kWave, {3, 6}, {0.8, 1.6}, 3, {0.004, 0.012, 0.010}, {1, 5, 1}},
    // Portrait and landscape, tilted, to the ear.
    {kHand, kWide, Shape::kShift, {0.5, 1}, {}, 1, {0.03, 0, 0.03}, {}},
    {kWide, kHand, Shape::kShift, {0.5, 1}, {}, 1, {-0.03, 0, -0.03}, {}},
    {kAnyHand, kStay, Shape::kBump, {0.8, 2}, {}, 2, {0.05, 0.05, 0.05}, {50, 40, 40}},
    {kAnyHand, kStay, Shape::kBump, {3, 8}, {}, 1, {0.1, 0.2, 0.35}, {20, 60, 60}},
    // Gesturing, shaken.
    {kAnyHand, kStay, Shape::kWave, {3, 6}, {0.8, 2}, 3, {0.04, 0.04, 0.04}, {12, 12, 12}},
    {kAnyHand, kStay, Shape::kWave, {3, 8}, {2, 3.2}, 1, {0.02, 0.02, 0.02}, {15, 15, 15}},
    // Into the pocket and out of it.
    {kHand, kPocket, Shape::kShift, {0.8, 1.6}, {}, 1, {0.15, -0.2, -0.35}, {}},
    {kPocket, kHand, Shape::kShift, {0.8, 1.6}, {}, 1, {-0.15, 0.2, 0.35}, {}},
    // Sitting down and standing up, on a chair and in a car.
    {kHand, kSeatHand, Shape::kShift, {0.9, 1.6}, {}, 1, {0, -0.2, -0.4}, {}},
    {kPocket, kSeatPocket, Shape::kShift, {0.9, 1.6}, {}, 1, {0, -0.1, -0.35}, {}},
    {kSeatHand, kHand, Shape::kShift, {0.9, 1.6}, {}, 1, {0, 0.2, 0.4}, {}},
    {kSeatPocket, kPocket, Shape::kShift, {0.9, 1.6}, {}, 1, {0, 0.1, 0.35}, {}},
    {kHand, kSeatHand, Shape::kShift, {1.2, 2.2}, {}, 1, {-0.5, 0.1, -0.35}, {0, 0, 60}, 0.3},
    {kPocket, kSeatPocket, Shape::kShift, {1.2, 2.2}, {}, 1, {-0.5, 0.1, -0.3}, {0, 0, 60}, 0.3},
    {kSeatHand, kHand, Shape::kShift, {1.2, 2.2}, {}, 1, {0.5, 0.1, 0.35}, {0, 0, -60}, 0.3},
    {kSeatPocket, kPocket, Shape::kShift, {1.2, 2.2}, {}, 1, {0.5, 0.1, 0.3}, {0, 0, -60}, 0.3},
    // The jerk of a door, the body's swing about the seat, a restless leg.
    {kSeated, kStay, Shape::kRing, {0.6, 1.2}, {2, 5}, 1, {0.01, 0.01, 0.008}, {1, 2, 2}, 0.8},
    {kSeated, kStay, Shape::kBump, {0.8, 2}, {}, 3, {0.08, 0.08, 0.06}, {8, 10, 15}},
    {kSeatPocket, kStay, Shape::kWave, {8, 40}, {1.4, 5}, 1, {0.002, 0.003, 0.006}, {1, 3, 1}},
    {kSeatHand, kStay, Shape::kWave, {8, 40}, {1.4, 5}, 1, {0.001, 0.001, 0.003}, {1, 1, 1}},
    // Standing: bending down, a step or two up, on the spot or aside, the weight from leg to leg.
    {kHand | kPocket, kStay, Shape::kBump, {1.6, 3.5}, {}, 1, {0, 0.15, 0.35}, {0, 50, 0}},
    {kStanding, kStay, Shape::kShift, {0.45, 0.8}, {}, 2, {0.02, 0.25, 0.18}, {0, 8, 3}, 0.6},
    {kStanding, kStay, Shape::kBump, {0.45, 0.75}, {}, 2, {0.03, 0.04, 0.03}, {3, 5, 5}, 0.6},
    {kStanding, kStay, Shape::kBump, {0.8, 2}, {}, 3, {0.06, 0.03, 0.015}, {4, 3, 6}},
};

class Handling {
 public:
  Handling(std::uint64_t seed, std::uint64_t walker) : route_(seed, kOnTable) {
    if (walker == 0) return;
    RandomStream person(walker, "handling walker");
    vigour_ = std::exp(0.3 * person.normal());
    haste_ = std::exp(0.15 * person.normal());
  }

  Route take() {
    route_.section("handling");
    route_.carrier(Carrier::kWalker);
    route_.wait(uniform({4, 10}));
    while (route_.time() < kDuration) {
      // Index past the acts: a ride.
      std::vector<const Act*> possible;
      for (const Act& act : kActs) {
        if ((act.from & place_) != 0) possible.push_back(&act);
      }
      const bool rides = (place_ & kStanding) != 0;
      const double choices = static_cast<double>(possible.size() + (rides ? 1 : 0));
      const auto choice = static_cast<std::size_t>(choices * route_.random().uniform());
      if (choice < possible.size()) {
        perform(*possible[choice]);
      } else {
        ride();
      }
    }
    return route_.take();
  }

 private:
  double uniform(const Range& range) { return route_.random().uniform(range.low, range.high); }

  Movement draw(const Act& act) {
    const double frequency = haste_ * uniform(act.frequency);
    const double extent = uniform(act.extent);
    Movement movement{act.shape, route_.time(),
                      act.shape == Shape::kWave ? extent / frequency : extent / haste_};
    movement.frequency = frequency;
    const auto size = [&](double usual) {
      const double factor = vigour_ * uniform({0.4, 1.4});
      const bool other_way = act.shape != Shape::kShift && uniform({0.0, 1.0}) < 0.5;
      return other_way ? -factor * usual : factor * usual;
    };
    for (std::size_t axis = 0; axis < 3; ++axis) {
      movement.offset[axis] = size(act.offset[axis]);
      movement.turn[axis] = size(act.turn[axis]) * kDegree;
    }
    movement.shaking = act.shaking;
    return movement;
  }

  void perform(const Act& act) {
    if (act.to != kStay) {
      place_ = act.to;
      const Mounting usual = mounting_at(place_);
      const Range scatter = place_ == kTable ? Range{0, 0} : Range{-12, 12};
      route_.mounting({usual.roll + uniform(scatter), usual.pitch + uniform(scatter),
                       usual.yaw + uniform(scatter)});
      route_.holding(place_ == kTable ? 0.0 : 1.0);
    }
    const int repeats = 1 + static_cast<int>(uniform({0, 1}) * act.repeats);
    for (int repeat = 0; repeat < repeats; ++repeat) {
      const Movement movement = draw(act);
      route_.move(movement);
      route_.wait(movement.duration);
      route_.wait(uniform({0.1, 0.8}));
    }
    route_.wait(uniform({0.3, 3.0}));
  }

  // A bus from one stop to the next; the passenger stands and keeps the balance.
  void ride() {
    const double begin = route_.time();
    route_.carrier(Carrier::kCar);
    route_.reach(9.0, 1.1);
    route_.cruise(uniform({10, 25}), 15.0 * kDegree);
    route_.reach(0.0, 1.2);
    route_.wait(uniform({1, 4}));
    route_.carrier(Carrier::kWalker);
    for (double t = begin + 2.0; t + 3.0 < route_.time(); t += uniform({1.5, 6.0})) {
      Movement sway{Shape::kBump, t, uniform({0.7, 2.5})};
      for (double& offset : sway.offset) offset = vigour_ * uniform({-0.05, 0.05});
      for (double& turn : sway.turn) turn = vigour_ * uniform({-6, 6}) * kDegree;
      route_.move(sway);
    }
    route_.roughen_road(begin, 0.5);
  }

  RouteBuilder route_;
  Place place_ = kTable;
  double vigour_ = 1.0;
  double haste_ = 1.0;
};

}  // namespace

Route handling(std::uint64_t seed, std::uint64_t walker) {
  return Handling(seed, walker).take();
}

}  // namespace zuvdr::tools
