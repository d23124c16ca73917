// Single movements of a phone or of what carries it, beside walking and the route: a hand that
// reaches out, a body that sits down, a pothole. With exact derivatives.
#pragma once

#include <vector>

#include "tools/simulation/jet.h"

namespace zuvdr::tools {

struct Movement {
  enum class Shape {
    kShift,  // goes there and stays
    kBump,   // there and back
    kWave,   // to and fro
    kRing    // a shock that rings down
  };
  Shape shape;
  double begin, duration;  // s
  double frequency = 0.0;  // Hz, of kWave and kRing
  Vector3 offset = {};     // right, forward, up, m
  Vector3 turn = {};       // roll (right side down), pitch (front up), yaw (clockwise), rad
  double shaking = 0.0;    // m/s^2 rms, vibration that comes along
  bool of_road = false;    // felt in a car, in proportion to the road's roughness

  // Share of offset and turn at the time t, s.
  Jet share(double t) const;
  // 0 before and after, 1 in the midst of the movement.
  Jet strength(double t) const;
};

struct Displacement {
  JetVector offset;  // right, forward, up, m
  JetVector angles;  // roll, pitch, yaw, rad
  double shaking;    // m/s^2 rms
};

// All the movements together.
Displacement displacement(const std::vector<Movement>& movements, double t, bool in_car,
                          const Jet& roughness);

}  // namespace zuvdr::tools
