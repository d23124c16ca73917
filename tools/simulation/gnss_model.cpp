#include "tools/simulation/gnss_model.h"

#include <algorithm>
#include <cmath>

#include "tools/simulation/angles.h"
#include "tools/simulation/sensor_model.h"

namespace zuvdr::tools {
namespace {

constexpr double kFixInterval = 1.0;  // s

// Resolutions of the rows
constexpr double kDegreeCounts = 1e8;    // 1e-8 degrees is 1 mm
constexpr double kMetreCounts = 1000.0;  // mm and mm/s
constexpr double kBearingCounts = 100.0;
constexpr double kAccuracyCounts = 1000.0;

// Errors under one kind of sky, 1 sigma. Height and up velocity are worse by kVerticalFactor.
struct ErrorLevels {
  double position_drift;   // m, correlated
  double position_time;    // s, correlation time
  double position_noise;   // m, white
  double velocity_drift;   // m/s, correlated
  double velocity_time;    // s
  double velocity_noise;   // m/s, white
  double accuracy_spread;  // relative scatter of the reported accuracies
};
constexpr ErrorLevels kOpenSky = {2.0, 80.0, 0.3, 0.06, 5.0, 0.06, 0.12};
// Between tall houses reflected signals pull the fixes aside for as long as one street lasts.
constexpr ErrorLevels kCanyon = {8.0, 20.0, 1.5, 0.5, 4.0, 0.35, 0.45};
constexpr double kVerticalFactor = 1.6;

// A receiver that has just found its satellites again starts out rough.
constexpr double kReacquisitionFactor = 1.5;  // more error, at once
constexpr double kReacquisitionTime = 5.0;    // s, of its decay

constexpr double kBearingHoldSpeed = 0.3;  // m/s; below it a receiver keeps the last bearing

float as_float(double value, double counts) {
  return static_cast<float>(quantise(value, counts));
}

bool has_fix(const Kinematics& now) {
  return now.sky != Sky::kTunnel;
}

}  // namespace

void GnssReceiver::Drift::advance(RandomStream& random, double interval, double time_constant) {
  const double kept = std::exp(-interval / time_constant);
  value = kept * value + std::sqrt(1.0 - kept * kept) * random.normal();
}

GnssReceiver::GnssReceiver(const LocalFrame& frame, double latency, std::uint64_t seed)
    : frame_(frame),
      latency_(latency),
      errors_(seed, "gnss errors"),
      accuracies_(seed, "gnss accuracies"),
      delays_(seed, "gnss delays"),
      phase_(0.1 + 0.8 * RandomStream(seed, "gnss phase").uniform()) {
  for (Drift& drift : position_drift_) drift.value = errors_.normal();
  for (Drift& drift : velocity_drift_) drift.value = errors_.normal();
}

GpsData GnssReceiver::fix(const Kinematics& now, double since_outage) {
  const ErrorLevels& levels = now.sky == Sky::kCanyon ? kCanyon : kOpenSky;
  const double rough = 1.0 + kReacquisitionFactor * std::exp(-since_outage / kReacquisitionTime);

  Vector3 position = now.position, velocity = now.velocity;
  double position_accuracy[3], velocity_accuracy[3];
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double factor = rough * (axis == 2 ? kVerticalFactor : 1.0);
    position_drift_[axis].advance(errors_, kFixInterval, levels.position_time);
    velocity_drift_[axis].advance(errors_, kFixInterval, levels.velocity_time);
    position[axis] += factor * (levels.position_drift * position_drift_[axis].value +
                                levels.position_noise * errors_.normal());
    velocity[axis] += factor * (levels.velocity_drift * velocity_drift_[axis].value +
                                levels.velocity_noise * errors_.normal());
    const auto report = [&](double drift, double noise) {
      const double spread = std::exp(levels.accuracy_spread * accuracies_.normal());
      return factor * spread * std::sqrt(drift * drift + noise * noise);
    };
    position_accuracy[axis] = report(levels.position_drift, levels.position_noise);
    velocity_accuracy[axis] = report(levels.velocity_drift, levels.velocity_noise);
  }

  GpsData row{};
  const Place where = frame_.place(position);
  row.latitude = quantise(where.latitude, kDegreeCounts);
  row.longitude = quantise(where.longitude, kDegreeCounts);
  row.altitude = quantise(frame_.altitude(position), kMetreCounts);
  const double speed = std::hypot(velocity[0], velocity[1]);
  row.speed = as_float(speed, kMetreCounts);
  row.vel_acc_e = as_float(velocity_accuracy[0], kAccuracyCounts);
  row.vel_acc_n = as_float(velocity_accuracy[1], kAccuracyCounts);
  row.vel_acc_u = as_float(velocity_accuracy[2], kAccuracyCounts);
  row.pos_acc_e = as_float(position_accuracy[0], kAccuracyCounts);
  row.pos_acc_n = as_float(position_accuracy[1], kAccuracyCounts);
  row.pos_acc_u = as_float(position_accuracy[2], kAccuracyCounts);
  row.vel_e = as_float(velocity[0], kMetreCounts);
  row.vel_n = as_float(velocity[1], kMetreCounts);
  row.vel_u = as_float(velocity[2], kMetreCounts);
  row.speed_acc = as_float(std::hypot(velocity_accuracy[0], velocity_accuracy[1]), kAccuracyCounts);
  if (speed > kBearingHoldSpeed) {
    const double course = std::atan2(velocity[0], velocity[1]) / kDegree;
    bearing_ = quantise(course < 0.0 ? course + 360.0 : course, kBearingCounts);
  }
  row.bearing = static_cast<float>(bearing_);
  return row;
}

std::vector<HandedOver> GnssReceiver::observe(const Trajectory& trajectory,
                                              const std::function<std::int64_t(double)>& clock) {
  std::vector<HandedOver> rows;
  // A fix is missing once it is later than the latest one can be.
  const double patience = 2.0 * latency_;
  FixRow last{};
  bool lost = false;
  double outage_end = -1e9;
  for (double t = phase_; t + patience < trajectory.duration(); t += kFixInterval) {
    const Kinematics now = trajectory.at(t);
    if (has_fix(now)) {
      if (lost) outage_end = t;
      FixRow row{fix(now, t - outage_end), 0};
      row.fix.time_ns = clock(t);
      if (lost) {
        // Only the predecessor of the next fix: the engine interpolates between the two, and must
        // not interpolate from the outage row's old position.
        row.fix.vel_acc_e = row.fix.vel_acc_n = row.fix.vel_acc_u = 0.0F;
        row.fix.pos_acc_e = row.fix.pos_acc_n = row.fix.pos_acc_u = 0.0F;
        row.fix.speed_acc = 0.0F;
        row.sample = 1;
      }
      lost = false;
      last = row;
      rows.push_back({t + latency_ * delays_.uniform(0.5, 1.5), row});
    } else if (!rows.empty()) {
      FixRow row{};
      row.fix.time_ns = clock(t + patience);
      row.fix.latitude = last.fix.latitude;
      row.fix.longitude = last.fix.longitude;
      row.fix.altitude = last.fix.altitude;
      row.fix.bearing = last.fix.bearing;
      row.sample = 1;
      lost = true;
      rows.push_back({t + patience, row});
    }
  }
  return rows;
}

}  // namespace zuvdr::tools
