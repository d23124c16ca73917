#include "host/host.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "engine/limits.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kLongestWait = 1.0;  // s, for the epochs of a fix
// s without a fix before the first row. The latency of receivers varies by 0.3 s and more, and a
// fix that comes after a row of a later stamp is lost.
constexpr double kOutageBegins = 1.5;
constexpr double kRowInterval = 1.0;     // s
constexpr double kLongestLatency = 3.0;  // s, of a receiver
constexpr double kLatencyKept = 0.95;    // of the longest one, by every fix
constexpr double kWildStamp = 10.0;      // s from all others
constexpr double kExitInterval = 1.0;    // s

constexpr double kMetresPerDegree = 111'319.49;  // of the equator; good to 1 % for a second's way

// Where the fix was `seconds` before, by its velocity.
GpsData before(GpsData fix, double seconds) {
  fix.time_ns = elapsed_ns(fix.time_ns, std::llround(seconds * kNanosecondsPerSecond));
  fix.latitude -= fix.vel_n * seconds / kMetresPerDegree;
  const double parallel = std::cos(fix.latitude * std::numbers::pi / 180.0);
  fix.longitude -= fix.vel_e * seconds / (kMetresPerDegree * std::max(parallel, 1e-3));
  return fix;
}

bool finite(const GpsData& fix) {
  return std::isfinite(fix.latitude) && std::isfinite(fix.longitude) &&
         std::isfinite(fix.altitude) && std::isfinite(fix.speed) && std::isfinite(fix.vel_e) &&
         std::isfinite(fix.vel_n) && std::isfinite(fix.vel_u) && std::isfinite(fix.bearing);
}

}  // namespace

Host::Host(const HostOptions& options, std::function<void(const HostAnswer&)> answer)
    : options_(options), answer_(std::move(answer)) {
  Reset();
}

void Host::sensor(SensorData event) {
  if (options_.time_stamps && !filter_.accepts(event)) {
    ++counts_.events_dropped;
    return;
  }
  now_ = event.timestamp;
  const bool inertial =
      event.type == ZUVDR_SENSOR_ACCELEROMETER || event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED;
  if (options_.sample_rate && inertial) {
    rate_.add(event);
    while (const auto sample = rate_.next()) {
      feed(sample->accelerometer);
      feed(sample->gyroscope);
    }
  } else {
    feed(event);
  }
  if (options_.outages) keep_going();
}

void Host::feed(SensorData event) {
  if (event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) {
    if (options_.time_stamps && last_gyroscope_) {
      const double step = elapsed_seconds(event.timestamp, *last_gyroscope_);
      if (step <= 0.0 || step > kLongestStep) reset();
    }
    last_gyroscope_ = event.timestamp;
  }
  if (options_.everywhere) quadrant_.enter(event);
  const std::size_t waiting = probe_engine().waiting_epochs;
  const int released = UpdateLocationbySensorEvent(event);
  // An event completes one epoch at most, and epochs are released two or more at a time: the queue
  // has kept its length only when no epoch was completed.
  if (probe_engine().waiting_epochs != waiting) ++epochs_paired_;
  if (!pending_) return;
  if (released == 1 || elapsed_seconds(event.timestamp, pending_->since_ns) > kLongestWait) {
    answer_pending();
  }
}

void Host::fix(const GpsData& fix, int sample) {
  if (options_.outages && sample != 0) return;
  if (now_) {
    const double latency = elapsed_seconds(*now_, fix.time_ns);
    if (latency < kLongestLatency) latency_ = std::max(latency, kLatencyKept * latency_);
  }
  if (options_.time_stamps && !advances(fix)) {
    ++counts_.fixes_dropped;
    return;
  }
  flush();
  if (options_.everywhere && quadrant_.choose_for(fix.latitude, fix.longitude)) reset();
  if (in_outage_) {
    in_outage_ = false;
    GpsData earlier = before(fix, kExitInterval);
    quadrant_.enter(earlier);
    SyncGPSEventforFusion(&earlier);
  }
  last_fix_ = fix;
  fix_arrival_ = now_.value_or(fix.time_ns);
  hand_over(fix, sample);
}

// A wild stamp is far both from the sensors and, where these are silent, from the last fix.
bool Host::advances(const GpsData& fix) const {
  if (!finite(fix)) return false;
  if (last_handed_ && fix.time_ns <= *last_handed_) return false;
  const auto near = [&fix](const std::optional<std::int64_t>& time) {
    return !time || std::fabs(elapsed_seconds(fix.time_ns, *time)) < kWildStamp;
  };
  return near(now_) || (last_handed_ && near(last_handed_));
}

void Host::hand_over(const GpsData& fix, int sample) {
  GpsData inside = fix;
  if (options_.everywhere) quadrant_.enter(inside);
  SyncGPSEventforFusion(&inside);
  last_handed_ = fix.time_ns;
  pending_ = Pending{fix, sample, now_.value_or(fix.time_ns)};
  if (!options_.call_order) answer_pending();
}

void Host::flush() {
  if (pending_) answer_pending();
}

void Host::answer_pending() {
  const Pending pending = *pending_;
  pending_.reset();
  // A fix that sets the vehicle's position or the walker's filter is itself still answered without
  // them, so their state before the call decides; a walker that the fix restarts is not used
  // either.
  const bool position_set = (GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0;
  const EngineProbe earlier = probe_engine();
  const int status = UpdateLocationbyGPSEvent(pending.sample);
  const EngineProbe engine = probe_engine();
  Location location{};
  GetLocation(&location);
  if (options_.everywhere) quadrant_.leave(location.latitude, location.longitude);
  Source source = position_set ? Source::kVehicle : Source::kRaw;
  if (earlier.pedestrian_ready && engine.pedestrian_started) source = Source::kWalker;
  answer_({.fix = pending.fix,
           .sample = pending.sample,
           .status = status,
           .source = source,
           .time_ns = source == Source::kVehicle ? engine.last_epoch_time : pending.fix.time_ns,
           .latitude = location.latitude,
           .longitude = location.longitude,
           .engine = engine,
           .position_was_set = position_set,
           .walker_started = earlier.pedestrian_started});
}

// A row without a fix: the last position, standing, with accuracies that pass nothing.
void Host::keep_going() {
  if (!last_fix_ || !last_handed_) return;
  if (!in_outage_ && elapsed_seconds(*now_, fix_arrival_) < kOutageBegins) return;
  // Behind the sensors as fixes are: the first one that comes again must lie after the last row.
  const std::int64_t time = elapsed_ns(*now_, std::llround(latency_ * kNanosecondsPerSecond));
  if (elapsed_seconds(time, *last_handed_) < kRowInterval) return;
  flush();
  GpsData row{};
  row.time_ns = time;
  row.latitude = last_fix_->latitude;
  row.longitude = last_fix_->longitude;
  row.altitude = last_fix_->altitude;
  in_outage_ = true;
  ++counts_.outage_rows;
  hand_over(row, 1);
}

void Host::reset() {
  flush();
  Reset();
  in_outage_ = false;
  last_fix_.reset();
  last_handed_.reset();
  ++counts_.resets;
}

std::int64_t Host::epochs_processed() const {
  return epochs_paired_ - epochs_waiting();
}

std::int64_t Host::epochs_waiting() const {
  return static_cast<std::int64_t>(probe_engine().waiting_epochs);
}

}  // namespace zuvdr
