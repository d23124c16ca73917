// The true motion of a phone that is carried along a route: positions, velocities and attitudes,
// and what ideal inertial sensors would feel, by exact kinematics.
//
// The world is the engine's: a flat level frame (east, north, up) that does not rotate, with
// constant gravity. The carrier's axes are x right, y forward, z up.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/simulation/engine_idle.h"
#include "tools/simulation/gait.h"
#include "tools/simulation/jet.h"
#include "tools/simulation/movement.h"
#include "tools/simulation/wander.h"

namespace zuvdr::tools {

enum class Carrier { kCar, kWalker };
enum class Sky { kOpen, kCanyon, kTunnel };

// How the phone lies in its carrier: lying flat with its top to the front, it is turned clockwise
// by yaw, then its top edge is raised by pitch, then its right edge is lowered by roll. Degrees.
struct Mounting {
  double roll = 0.0;
  double pitch = 0.0;
  double yaw = 0.0;
};

// A stretch of the route. Speed, course, slope and mounting go smoothly from what the leg before
// left to the values here, with two continuous derivatives, over the whole duration.
struct Leg {
  double duration;     // s
  double speed;        // reached at the end, m/s along the path
  double turn = 0.0;   // change of course, rad, clockwise
  double slope = 0.0;  // angle of the path reached at the end, rad, upwards
  Carrier carrier = Carrier::kCar;
  Sky sky = Sky::kOpen;
  Mounting mounting = {};  // reached at the end
  double holding = 0.0;    // reached at the end: 0 lying or fixed, 1 swaying with hand or body
  double engine = 1.0;     // reached at the end: 0 off, 1 running
};

struct Kinematics {
  Vector3 position;        // of the phone from the start of the route: east, north, up, m
  Vector3 velocity;        // m/s
  Vector3 acceleration;    // m/s^2
  Vector3 attitude;        // of the carrier: roll (right side down), pitch (front up), yaw
                           // (clockwise from north), rad
  Matrix3 body_to_level;   // phone axes to east, north, up
  Vector3 specific_force;  // phone axes, m/s^2
  Vector3 rate;            // phone axes, rad/s
  double roughness;        // of the road: 0 at rest or on foot, 1 driving
  double walking;          // 0 not walking, 1 walking
  double jolt;             // of the footfalls: 1 the average walker's
  double shaking;          // by passing movements, m/s^2 rms
  Carrier carrier;
  Sky sky;

  Vector3 to_body(const Vector3& level) const;  // east, north, up to phone axes
};

class Trajectory {
 public:
  // Begins at rest with this course (rad, clockwise from north). The gait moves the phone on the
  // walker's legs, in proportion to the speed; without one walkers glide. The seed shapes the road
  // and the sway of the hand. Without an idle motion the car at rest does not move.
  Trajectory(std::vector<Leg> legs, double course, const Mounting& mounting,
             std::optional<Gait> gait, std::uint64_t seed, std::vector<Movement> movements = {},
             std::optional<EngineIdle> idle = {});

  double duration() const;  // s

  // t in [0, duration]; outside it is clamped.
  Kinematics at(double t) const;

  // Times of the walker's steps, s: the foot strikes of the gait while the speed is at least half
  // the walking speed.
  std::vector<double> footfalls() const;

 private:
  struct Knot {  // state at the start of a leg
    double time;
    double speed, course, slope;
    Mounting mounting;
    double holding;
    double engine;
  };

  std::size_t leg_index(double t) const;
  Jet blend(std::size_t leg, double t, double from, double to) const;
  // Speed, course and slope with the sway of the lane.
  struct Path {
    Jet speed, course, slope;
    Jet roughness;  // 0 at rest, 1 on the road
    JetVector velocity() const;
  };
  Path path(std::size_t leg, double t) const;
  Vector3 travelled(double from, double to) const;  // integral of the path velocity, one leg

  std::vector<Leg> legs_;
  std::vector<Knot> knots_;  // one more than legs
  std::optional<Gait> gait_;
  std::vector<Movement> movements_;
  std::optional<EngineIdle> idle_;
  Wander steering_, pitching_, rolling_, heaving_;
  std::array<Wander, 3> hand_turning_, hand_moving_;  // rad, m
  std::vector<std::vector<Vector3>> nodes_;  // by leg: positions at equal steps from its start
};

}  // namespace zuvdr::tools
