#include "tools/simulation/simulation.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "nav/constants.h"
#include "tools/simulation/angles.h"
#include "tools/simulation/gnss_model.h"
#include "tools/simulation/local_frame.h"
#include "tools/simulation/sensor_model.h"

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kStartTime = 1'000'000'000'000;  // ns on the clock of the log
constexpr double kTruthRate = 10.0;                     // Hz
constexpr double kStartAltitude = 180.0;                // m

// What shakes the phone besides its true motion, 1 sigma per axis.
struct Vibration {
  double acceleration;  // m/s^2
  double rate;          // rad/s
};

// An idling engine is felt by the accelerometer and hardly by the gyroscope; the road by both. On
// a walker it is the jolt of the footfalls beyond the modelled harmonics.
Vibration vibration(const Kinematics& now) {
  constexpr double kRatePerAcceleration = 0.06;  // rad/s per m/s^2
  const double more = now.shaking, jolt = now.jolt * now.walking;
  if (now.carrier == Carrier::kCar) {
    return {0.015 + 0.2 * now.roughness + more,
            5e-5 + 0.012 * now.roughness + kRatePerAcceleration * more};
  }
  return {0.01 + 0.6 * jolt + more, 2e-4 + 0.08 * jolt + kRatePerAcceleration * more};
}

// The field of a dipole along the earth's axis, uT; level axes.
Vector3 magnetic_field(double latitude) {
  const double angle = latitude * kPi / 180.0;
  return {0.0, 30.0 * std::cos(angle), -60.0 * std::sin(angle)};
}

class LogBuilder {
 public:
  explicit LogBuilder(const SimulationOptions& options)
      : options_(options),
        trajectory_(make_trajectory(options.route)),
        frame_({options.latitude, options.longitude}, kStartAltitude) {}

  std::vector<EventRow> build() {
    if (!options_.motion_only) add_truth();
    add_steps();
    add_triaxial(
        ZUVDR_SENSOR_ACCELEROMETER, kAccelerometerErrors, "accelerometer", options_.rate,
        [](const Kinematics& now) { return now.specific_force; },
        [](const Vibration& level) { return level.acceleration; });
    add_triaxial(
        ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, kGyroscopeErrors, "gyroscope", options_.rate,
        [](const Kinematics& now) { return now.rate; },
        [](const Vibration& level) { return level.rate; });
    if (!options_.motion_only) {
      const Vector3 field = magnetic_field(options_.latitude);
      add_triaxial(
          ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED, kMagnetometerErrors, "magnetometer",
          options_.magnetometer_rate, [field](const Kinematics& now) { return now.to_body(field); },
          [](const Vibration&) { return 0.0; });
      add_pressure();
      add_fixes();
    }
    // Stable: rows of one moment stay in the order of the lines above.
    std::stable_sort(rows_.begin(), rows_.end(),
                     [](const Timed& a, const Timed& b) { return a.time_ns < b.time_ns; });
    std::vector<EventRow> rows;
    rows.reserve(rows_.size());
    for (const Timed& timed : rows_) rows.push_back(timed.row);
    return rows;
  }

 private:
  struct Timed {
    std::int64_t time_ns;  // of the hand-over
    EventRow row;
  };

  static std::int64_t stamp(double t) { return kStartTime + std::llround(t * 1e9); }

  void add(std::int64_t time_ns, const EventRow& row) {
    if (time_ns >= stamp(options_.begin)) rows_.push_back({time_ns, row});
  }

  void add_truth() {
    const auto count = static_cast<std::int64_t>(trajectory_.duration() * kTruthRate);
    for (std::int64_t index = 0; index <= count; ++index) {
      const double t = static_cast<double>(index) / kTruthRate;
      const Kinematics now = trajectory_.at(t);
      const Place where = frame_.place(now.position);
      TruthRow row{};
      row.time_ns = stamp(t);
      row.latitude = quantise(where.latitude, 1e10);
      row.longitude = quantise(where.longitude, 1e10);
      row.altitude = quantise(frame_.altitude(now.position), 1e4);
      for (std::size_t axis = 0; axis < 3; ++axis) {
        row.velocity[axis] = quantise(now.velocity[axis], 1e5);
        row.attitude[axis] = quantise(now.attitude[axis] * 180.0 / kPi, 1e4);
      }
      const double turns = std::floor(row.attitude[2] / 360.0);
      row.attitude[2] = quantise(row.attitude[2] - 360.0 * turns, 1e4);
      add(row.time_ns, row);
    }
  }

  void add_steps() {
    for (const double t : trajectory_.footfalls()) {
      const std::int64_t time_ns = stamp(quantise(t, 1e6));
      add(time_ns, StepRow{time_ns});
    }
  }

  void add_triaxial(int type, const SensorErrors& errors, const char* name, double rate,
                    const std::function<Vector3(const Kinematics&)>& quantity,
                    const std::function<double(const Vibration&)>& disturbance) {
    SampleClock clock(rate, options_.route.seed, name, options_.jitter);
    TriaxialSensor sensor(errors, rate, options_.route.seed, name);
    const Vector3 estimate = sensor.bias_estimate();
    for (auto tick = clock.next(); tick.sampled < trajectory_.duration(); tick = clock.next()) {
      const Kinematics now = trajectory_.at(tick.sampled);
      const Vector3 value = sensor.sample(quantity(now), disturbance(vibration(now)));
      SensorRow row{};
      row.event.type = type;
      std::copy(value.begin(), value.end(), row.event.values);
      std::copy(estimate.begin(), estimate.end(), row.event.values + 3);
      row.event.timestamp = kStartTime + tick.stamp;
      add(row.event.timestamp, row);
    }
  }

  void add_pressure() {
    SampleClock clock(options_.pressure_rate, options_.route.seed, "barometer", options_.jitter);
    Barometer barometer(options_.pressure_rate, options_.route.seed);
    for (auto tick = clock.next(); tick.sampled < trajectory_.duration(); tick = clock.next()) {
      SensorRow row{};
      row.event.type = ZUVDR_SENSOR_PRESSURE;
      row.event.values[0] =
          barometer.sample(frame_.altitude(trajectory_.at(tick.sampled).position));
      row.event.timestamp = kStartTime + tick.stamp;
      add(row.event.timestamp, row);
    }
  }

  void add_fixes() {
    GnssReceiver receiver(frame_, options_.latency, options_.route.seed);
    for (const HandedOver& fix : receiver.observe(trajectory_, stamp)) {
      add(stamp(fix.time), fix.row);
    }
  }

  const SimulationOptions& options_;
  Trajectory trajectory_;
  LocalFrame frame_;
  std::vector<Timed> rows_;
};

const char* name_of(Scenario scenario) {
  switch (scenario) {
    case Scenario::kDrive:
      return "drive";
    case Scenario::kWalk:
      return "walk";
    case Scenario::kHandling:
      return "handling";
    case Scenario::kMixed:
      break;
  }
  return "mixed";
}

const char* name_of(Carry carry) {
  switch (carry) {
    case Carry::kHand:
      return "hand";
    case Carry::kWaist:
      return "waist";
    case Carry::kBack:
      return "back";
    case Carry::kSwing:
      return "swing";
    case Carry::kJacket:
      return "jacket";
    case Carry::kPocket:
      break;
  }
  return "pocket";
}

}  // namespace

std::vector<EventRow> simulate(const SimulationOptions& options) {
  return deliver(LogBuilder(options).build(), options.delivery, options.route.seed);
}

std::vector<std::string> describe(const SimulationOptions& options, bool truth) {
  const RouteOptions& route = options.route;
  std::vector<std::string> lines = {
      fmt::format("source: simulated {}, seed {}", name_of(route.scenario), route.seed)};
  const bool rides = has_car(route.scenario), walks = has_walk(route.scenario);
  if (rides) {
    const Mounting& mounting = route.car_mounting;
    lines.push_back(fmt::format("mounting: roll {} pitch {} yaw {} degrees", mounting.roll,
                                mounting.pitch, mounting.yaw));
  }
  if (rides && route.road == Road::kRough) lines.emplace_back("road: rough");
  if (rides && route.idle == Idle::kDiesel) lines.emplace_back("idle: diesel");
  if (walks) {
    lines.push_back(
        fmt::format("carry: {}, {} steps per second", name_of(route.carry), route.cadence));
  }
  if (route.walker != 0) lines.push_back(fmt::format("walker: {}", route.walker));
  if (options.begin > 0.0)
    lines.push_back(fmt::format("begin: {} s into the journey", options.begin));
  for (std::string& line : describe(options.delivery)) lines.push_back(std::move(line));
  if (options.motion_only || !truth) return lines;
  lines.emplace_back(
      "truth: T rows hold the phone's position and velocity and the attitude of what carries it");
  return lines;
}

}  // namespace zuvdr::tools
