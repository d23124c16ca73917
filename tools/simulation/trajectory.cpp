// The path velocity is v (cos s sin c, cos s cos c, sin s) with speed v, course c and slope s, each
// a chain of quintic blends. Its integral is taken numerically, everything else is closed form:
//
//   f = C^T (a - g),   [w x] = C^T dC/dt,   C = Rz(-yaw) Rx(pitch) Ry(roll) C_mounting
#include "tools/simulation/trajectory.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "nav/constants.h"
#include "nav/earth.h"
#include "tools/simulation/angles.h"

namespace zuvdr::tools {
namespace {

// A car's body squats and leans: about 5 degrees of roll and 4 of pitch per g.
constexpr double kPitchPerAcceleration = 0.007;  // rad per m/s^2, front up when speeding up
constexpr double kRollPerAcceleration = 0.009;   // rad per m/s^2, away from the inside of a bend

// Roads, levels as recorded in town and on main roads (docs/simulator.md): they hardly grow with
// the speed once the car moves.
constexpr double kRoughSpeed = 2.0;   // m/s, at which half of the motion is reached
constexpr double kSteering = 0.0018;  // rad rms, course
constexpr double kPitching = 0.0018;  // rad rms
constexpr double kRolling = 0.0018;   // rad rms
constexpr double kHeaving = 0.0025;   // m rms

// A hand held still, or a body that stands: breath, balance, attention.
constexpr double kHandTurning = 0.015;  // rad rms
constexpr double kHandMoving = 0.003;   // m rms

constexpr double kNodeInterval = 0.05;  // s, at most, between stored positions

template <class T>
using SquareMatrix = std::array<std::array<T, 3>, 3>;

template <class T>
SquareMatrix<T> multiply(const SquareMatrix<T>& a, const SquareMatrix<T>& b) {
  SquareMatrix<T> product;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      product[row][column] =
          a[row][0] * b[0][column] + a[row][1] * b[1][column] + a[row][2] * b[2][column];
    }
  }
  return product;
}

Vector3 transpose_multiply(const Matrix3& a, const Vector3& v) {
  Vector3 product;
  for (std::size_t column = 0; column < 3; ++column) {
    product[column] = a[0][column] * v[0] + a[1][column] * v[1] + a[2][column] * v[2];
  }
  return product;
}

// Rz(-yaw) Rx(pitch) Ry(roll), for axes x right, y forward, z up.
JetMatrix rotation(const Jet& roll, const Jet& pitch, const Jet& yaw) {
  const Jet zero, one = constant(1.0);
  const Jet sr = sin(roll), cr = cos(roll), sp = sin(pitch), cp = cos(pitch), sy = sin(yaw),
            cy = cos(yaw);
  const JetMatrix about_z = {{{cy, sy, zero}, {-sy, cy, zero}, {zero, zero, one}}};
  const JetMatrix about_x = {{{one, zero, zero}, {zero, cp, -sp}, {zero, sp, cp}}};
  const JetMatrix about_y = {{{cr, zero, sr}, {zero, one, zero}, {-sr, zero, cr}}};
  return multiply(multiply(about_z, about_x), about_y);
}

}  // namespace

Vector3 Kinematics::to_body(const Vector3& level) const {
  return transpose_multiply(body_to_level, level);
}

Trajectory::Trajectory(std::vector<Leg> legs, double course, const Mounting& mounting,
                       std::optional<Gait> gait, std::uint64_t seed,
                       std::vector<Movement> movements, std::optional<EngineIdle> idle)
    : legs_(std::move(legs)),
      gait_(std::move(gait)),
      movements_(std::move(movements)),
      idle_(std::move(idle)),
      steering_(seed, "road steering", kSteering, 0.08, 0.6),
      pitching_(seed, "road pitching", kPitching, 0.25, 1.6),
      rolling_(seed, "road rolling", kRolling, 0.25, 1.6),
      heaving_(seed, "road heaving", kHeaving, 0.7, 2.0),
      hand_turning_{Wander(seed, "hand rolling", kHandTurning, 0.1, 0.8),
                    Wander(seed, "hand pitching", kHandTurning, 0.1, 0.8),
                    Wander(seed, "hand yawing", kHandTurning, 0.1, 0.8)},
      hand_moving_{Wander(seed, "hand moving right", kHandMoving, 0.2, 1.2),
                   Wander(seed, "hand moving forward", kHandMoving, 0.2, 1.2),
                   Wander(seed, "hand moving up", kHandMoving, 0.2, 1.2)} {
  if (legs_.empty()) throw std::invalid_argument("a trajectory needs a leg");
  Knot knot{0.0, 0.0, course, 0.0, mounting, legs_.front().holding, legs_.front().engine};
  knots_.push_back(knot);
  for (const Leg& leg : legs_) {
    if (!(leg.duration > 0.0)) throw std::invalid_argument("a leg needs a duration");
    knot = {knot.time + leg.duration,
            leg.speed,
            knot.course + leg.turn,
            leg.slope,
            leg.mounting,
            leg.holding,
            leg.engine};
    knots_.push_back(knot);
  }
  Vector3 position{};
  for (std::size_t leg = 0; leg < legs_.size(); ++leg) {
    const int count = static_cast<int>(std::ceil(legs_[leg].duration / kNodeInterval));
    std::vector<Vector3>& nodes = nodes_.emplace_back(1, position);
    const double begin = knots_[leg].time;
    for (int node = 0; node < count; ++node) {
      const double step = legs_[leg].duration / count;
      const Vector3 moved = travelled(begin + node * step, begin + (node + 1) * step);
      for (std::size_t axis = 0; axis < 3; ++axis) position[axis] += moved[axis];
      nodes.push_back(position);
    }
  }
}

double Trajectory::duration() const {
  return knots_.back().time;
}

std::size_t Trajectory::leg_index(double t) const {
  const auto after =
      std::upper_bound(knots_.begin() + 1, knots_.end() - 1, t,
                       [](double time, const Knot& knot) { return time < knot.time; });
  return static_cast<std::size_t>(after - knots_.begin()) - 1;
}

Jet Trajectory::blend(std::size_t leg, double t, double from, double to) const {
  return tools::blend(t - knots_[leg].time, legs_[leg].duration, from, to);
}

Trajectory::Path Trajectory::path(std::size_t leg, double t) const {
  const Knot &begin = knots_[leg], &end = knots_[leg + 1];
  Path path;
  path.speed = blend(leg, t, begin.speed, end.speed);
  path.course = blend(leg, t, begin.course, end.course);
  path.slope = blend(leg, t, begin.slope, end.slope);
  if (legs_[leg].carrier == Carrier::kCar) {
    path.roughness = path.speed * reciprocal(path.speed + constant(kRoughSpeed));
    path.course = path.course + path.roughness * steering_.at(t);
  } else if (gait_) {
    const Jet pace = gait_->pace(t);  // steps lengthen with the pace
    path.speed = path.speed * pace * pace;
  }
  return path;
}

JetVector Trajectory::Path::velocity() const {
  const Jet horizontal = speed * cos(slope);
  return {horizontal * sin(course), horizontal * cos(course), speed * sin(slope)};
}

// Gauss-Legendre quadrature with three points; between nodes 0.05 s apart its error is far below
// a micrometre.
Vector3 Trajectory::travelled(double from, double to) const {
  static const double kOffset = std::sqrt(0.6);
  const double half = 0.5 * (to - from), middle = 0.5 * (to + from);
  const std::size_t leg = leg_index(middle);
  const JetVector early = path(leg, middle - half * kOffset).velocity();
  const JetVector centre = path(leg, middle).velocity();
  const JetVector late = path(leg, middle + half * kOffset).velocity();
  Vector3 sum;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    sum[axis] =
        half * (5.0 * (early[axis].value + late[axis].value) + 8.0 * centre[axis].value) / 9.0;
  }
  return sum;
}

Kinematics Trajectory::at(double t) const {
  t = std::clamp(t, 0.0, duration());
  const std::size_t index = leg_index(t);
  const Leg& leg = legs_[index];
  const Knot &begin = knots_[index], &end = knots_[index + 1];
  const auto [speed, course, slope, roughness] = path(index, t);
  const JetVector velocity = Path{speed, course, slope, roughness}.velocity();

  Kinematics now{};
  now.roughness = roughness.value;
  now.carrier = leg.carrier;
  now.sky = leg.sky;

  const std::vector<Vector3>& nodes = nodes_[index];
  const double step = leg.duration / static_cast<double>(nodes.size() - 1);
  const auto node = std::min(static_cast<std::size_t>((t - begin.time) / step), nodes.size() - 2);
  const double node_time = begin.time + static_cast<double>(node) * step;
  const Vector3 moved = t > node_time ? travelled(node_time, t) : Vector3{};

  const bool in_car = leg.carrier == Carrier::kCar;
  const Displacement displaced = displacement(movements_, t, in_car, roughness);
  now.shaking = displaced.shaking;
  now.jolt = 1.0;
  Jet roll, pitch, yaw = course;
  JetVector offset{};  // right, forward, up
  if (in_car) {
    pitch = slope + kPitchPerAcceleration * derivative(speed) + roughness * pitching_.at(t);
    roll = roughness * rolling_.at(t) - kRollPerAcceleration * (speed * derivative(course));
    offset[2] = roughness * heaving_.at(t);
    if (idle_) {
      const Jet running = blend(index, t, begin.engine, end.engine);
      const EngineIdle::Motion shaken = idle_->at(t, running * (constant(1.0) - roughness));
      roll = roll + shaken.angles[0];
      pitch = pitch + shaken.angles[1];
      yaw = yaw + shaken.angles[2];
      for (std::size_t axis = 0; axis < 3; ++axis)
        offset[axis] = offset[axis] + shaken.offset[axis];
    }
  } else if (gait_) {
    const Jet activity = (1.0 / gait_->walking_speed()) * blend(index, t, begin.speed, end.speed);
    const Gait::Motion motion = gait_->at(t, activity);
    now.walking = activity.value;
    now.jolt = gait_->jolt();
    roll = motion.angles[0];
    pitch = motion.angles[1];
    yaw = course + motion.angles[2];
    offset = motion.offset;
  }
  roll = roll + displaced.angles[0];
  pitch = pitch + displaced.angles[1];
  yaw = yaw + displaced.angles[2];
  for (std::size_t axis = 0; axis < 3; ++axis) offset[axis] = offset[axis] + displaced.offset[axis];
  if (begin.holding > 0.0 || end.holding > 0.0) {
    const Jet holding = blend(index, t, begin.holding, end.holding);
    roll = roll + holding * hand_turning_[0].at(t);
    pitch = pitch + holding * hand_turning_[1].at(t);
    yaw = yaw + holding * hand_turning_[2].at(t);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      offset[axis] = offset[axis] + holding * hand_moving_[axis].at(t);
    }
  }
  const auto [right, forward, up] = offset;
  offset = {cos(course) * right + sin(course) * forward,
            cos(course) * forward - sin(course) * right, up};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    now.position[axis] = nodes[node][axis] + moved[axis] + offset[axis].value;
    now.velocity[axis] = velocity[axis].value + offset[axis].rate;
    now.acceleration[axis] = velocity[axis].rate + offset[axis].curvature;
  }
  now.attitude = {roll.value, pitch.value, yaw.value};

  const JetMatrix carrier_to_level = rotation(roll, pitch, yaw);
  const JetMatrix phone_to_carrier =
      rotation(kDegree * blend(index, t, begin.mounting.roll, end.mounting.roll),
               kDegree * blend(index, t, begin.mounting.pitch, end.mounting.pitch),
               kDegree * blend(index, t, begin.mounting.yaw, end.mounting.yaw));
  const JetMatrix attitude = multiply(carrier_to_level, phone_to_carrier);
  Matrix3 change;
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      now.body_to_level[row][column] = attitude[row][column].value;
      change[row][column] = attitude[row][column].rate;
    }
  }
  now.specific_force = transpose_multiply(
      now.body_to_level,
      {now.acceleration[0], now.acceleration[1], now.acceleration[2] + kGravity});
  // Row i of C^T dC/dt: the axial vector of the skew matrix is the rate.
  const Vector3 first =
      transpose_multiply(now.body_to_level, {change[0][0], change[1][0], change[2][0]});
  const Vector3 second =
      transpose_multiply(now.body_to_level, {change[0][1], change[1][1], change[2][1]});
  now.rate = {second[2], -first[2], first[1]};
  return now;
}

std::vector<double> Trajectory::footfalls() const {
  std::vector<double> times;
  if (!gait_) return times;
  for (const double t : gait_->footfalls(0.0, duration())) {
    if (at(t).walking >= 0.5) times.push_back(t);
  }
  return times;
}

}  // namespace zuvdr::tools
