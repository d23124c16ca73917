#include "host/road.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "host/engine_probe.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kSlowestCourse = 0.5;  // m/s

// Fixes err alike for tens of seconds, which the filters do not know: what the last good fix states
// of itself is joined with their own sigma. Fitted to 68 % of errors inside, over simulated drives
// and recordings with fixes cut out (docs/host.md).
struct Share {
  double filter;
  double fix;
};
constexpr Share kCorrectedShare{1.0, 0.85};
constexpr Share kDeadReckonedShare{0.85, 0.85};
constexpr double kLeastDrift = 0.003;  // m/s^2, without fixes, however sure the filter is
constexpr Share kWalkerShare{1.0, 1.2};
constexpr double kWalkerVelocity = 0.5;  // m/s
constexpr double kWalkerDrift = 0.15;    // of the way walked without fixes

double joined(const Share& share, double filter_sigma, double fix_sigma) {
  return std::hypot(share.filter * filter_sigma, share.fix * fix_sigma);
}

double bearing_of(double east, double north) {
  if (!(std::hypot(east, north) > kSlowestCourse)) return kUnknown;
  const double bearing = std::atan2(east, north) * 180.0 / std::numbers::pi;
  return bearing < 0.0 ? bearing + 360.0 : bearing;
}

}  // namespace

Host::Road::Road(Answer answer, Notify notify)
    : answer_(std::move(answer)), notify_(std::move(notify)) {
  Reset();
}

HostAnswer Host::Road::run_gnss_epoch(const GpsData& told, int sample, bool good,
                                      const Quadrant& quadrant) {
  // A fix that sets the vehicle's position or the walker's filter is itself still answered without
  // them, so their state before the call decides; a walker that the fix restarts is not used
  // either.
  const bool position_set = (GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0;
  const EngineProbe earlier = probe_engine();
  const int status = UpdateLocationbyGPSEvent(sample);
  const EngineProbe engine = probe_engine();
  Location location{};
  GetLocation(&location);
  quadrant.leave(location.latitude, location.longitude);

  const double fix_sigma = std::hypot(told.pos_acc_e, told.pos_acc_n);
  if (good && engine.fix_accepted) {
    good_fix_ = told.time_ns;
    good_fix_sigma_ = fix_sigma;
    good_fix_speed_ = told.speed;
  }
  const double age = good_fix_ ? elapsed_seconds(told.time_ns, *good_fix_) : 0.0;
  HostPosition position{};
  position.time_ns = told.time_ns;
  position.latitude = location.latitude;
  position.longitude = location.longitude;
  position.altitude = told.altitude != 0.0 || told.pos_acc_u > 0.0F ? told.altitude : kUnknown;
  double east = told.vel_e, north = told.vel_n;
  entry_.velocity_sigma = good ? std::hypot(told.vel_acc_e, told.vel_acc_n) : good_fix_speed_;
  if (earlier.pedestrian_ready && engine.pedestrian_started) {
    position.source = Source::kWalker;
    east = -engine.pedestrian_speed * std::sin(engine.pedestrian_heading);
    north = quadrant.leave_north(engine.pedestrian_speed * std::cos(engine.pedestrian_heading));
    position.accuracy = std::hypot(joined(kWalkerShare, engine.pedestrian_sigma, good_fix_sigma_),
                                   kWalkerDrift * engine.pedestrian_speed * age);
    entry_.velocity_sigma = kWalkerVelocity;
  } else if (position_set) {
    position.source = engine.fix_accepted ? Source::kCorrected : Source::kDeadReckoned;
    position.time_ns = engine.last_epoch_time;
    east = engine.east_velocity;
    north = quadrant.leave_north(engine.north_velocity);
    const bool corrected = position.source == Source::kCorrected;
    position.accuracy =
        joined(corrected ? kCorrectedShare : kDeadReckonedShare,
               std::max(engine.position_sigma, kLeastDrift * age * age), good_fix_sigma_);
    entry_.velocity_sigma = engine.velocity_sigma;
  } else {
    position.source = Source::kRawFix;
    // A row without a fix stands where the last one was.
    position.accuracy = good ? fix_sigma : std::hypot(good_fix_sigma_, good_fix_speed_ * age);
    if (!(position.accuracy > 0.0)) position.accuracy = kUnknown;
  }
  position.speed = std::hypot(east, north);
  position.bearing = bearing_of(east, north);
  position.fix_age = good_fix_ ? elapsed_seconds(position.time_ns, *good_fix_) : kUnknown;
  entry_.position = position;
  entry_.east_velocity = east;
  entry_.north_velocity = north;
  entry_.good_fix = good_fix_;
  return {.fix = told,
          .sample = sample,
          .refused = false,
          .status = status,
          .position = position,
          .position_was_set = position_set,
          .walker_started = earlier.pedestrian_started};
}

void Host::Road::fall_back_to_fix(HostAnswer& answer, bool good) {
  HostPosition& position = answer.position;
  position.source = Source::kRawFix;
  position.time_ns = answer.fix.time_ns;
  if (!good) {
    // Where it would be by now, rather than back where the last fix was.
    if (const auto carried = positions_.at(position.time_ns)) {
      position = *carried;
      position.source = Source::kRawFix;
    }
    return;
  }
  position.latitude = answer.fix.latitude;
  position.longitude = answer.fix.longitude;
  position.speed = std::hypot(answer.fix.vel_e, answer.fix.vel_n);
  position.bearing = bearing_of(answer.fix.vel_e, answer.fix.vel_n);
  position.accuracy = std::hypot(answer.fix.pos_acc_e, answer.fix.pos_acc_n);
  if (!(position.accuracy > 0.0)) position.accuracy = kUnknown;
  entry_ = {position, answer.fix.vel_e, answer.fix.vel_n,
            std::hypot(answer.fix.vel_acc_e, answer.fix.vel_acc_n), good_fix_};
}

void Host::Road::keep_position() {
  positions_.add(entry_);
}

void Host::Road::hand_out(const HostAnswer& answer) {
  if (answer_) answer_(answer);
}

}  // namespace zuvdr
