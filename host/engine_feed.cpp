// What the engine gets of a trip, and in which order.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/fix_quality.h"
#include "engine/limits.h"
#include "host/careful.h"
#include "host/earth_metres.h"
#include "host/engine_probe.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kExitInterval = 1.0;   // s
constexpr double kPrimeInterval = 0.5;  // s
constexpr float kPrimeSpeed = 5.5F;     // m/s
static_assert(kPrimeSpeed > kVehicleSpeed);
constexpr float kStanding = 0.3F;  // m/s
constexpr std::int64_t kRestSamples = 175;
// At the end of a made-up rest: the engine has to know that it is over before the vehicle's own
// acceleration comes, which it would take for a tilt.
constexpr std::int64_t kDepartingSamples = 25;
constexpr std::int64_t kRestInterval = 40'000'000;  // ns

std::int64_t seconds_before(std::int64_t time, double seconds) {
  return elapsed_ns(time, std::llround(seconds * kNanosecondsPerSecond));
}

// Where the fix was, by its velocity.
GpsData before(GpsData fix, double seconds) {
  fix.time_ns = seconds_before(fix.time_ns, seconds);
  move(fix.latitude, fix.longitude, -fix.vel_e * seconds, -fix.vel_n * seconds);
  return fix;
}

}  // namespace

// All but the GNSS epoch itself.
void Host::Careful::hand(const TripFix& entry) {
  GpsData fix = entry.fix;
  fix.time_ns = sensor_time(fix);
  if (entry.usable && passes_quality_test(fix)) prime(fix);
  if (entry.ends_outage) sync(before(fix, kExitInterval), 1);

  const bool standing = entry.usable && passes_quality_test(fix) && fix.speed < kStanding;
  const bool calm = options_.calm && standing && given_.standing &&
                    (GetCarFlag() & ZUVDR_CAR_ATTITUDE_CONVERGED) == 0;
  given_.standing = standing;
  if (options_.call_order) {
    sync(fix, entry.sample);
    std::uint64_t end = std::max(given_.samples, trip_.samples.begin());
    while (end < trip_.samples.end() && trip_.samples[end].time_ns < fix.time_ns) ++end;
    release(std::min(end + 1, trip_.samples.end()), calm);
  } else {
    release(entry.samples_end, calm);
    sync(fix, entry.sample);
  }
  given_.last_stamp = fix.time_ns;
}

// The engine levels itself at a standstill only after a fast fix. Before the first good one it gets
// a copy that is.
void Host::Careful::prime(const GpsData& fix) {
  if (!options_.prime || (GetCarFlag() & ZUVDR_CAR_VEHICLE_MODE) != 0) return;
  if (probe_engine().pedestrian_started) return;
  GpsData fast = fix;
  fast.time_ns = seconds_before(fix.time_ns, kPrimeInterval);
  if (given_.last_stamp && fast.time_ns <= *given_.last_stamp) {
    fast.time_ns = elapsed_ns(fix.time_ns, elapsed_ns(fix.time_ns, *given_.last_stamp) / 2);
    if (fast.time_ns <= *given_.last_stamp) return;
  }
  fast.speed = std::max(fast.speed, kPrimeSpeed);
  sync(fast, 0);
  UpdateLocationbyGPSEvent(0);
}

void Host::Careful::release(std::uint64_t end, bool calm) {
  given_.samples = std::max(given_.samples, trip_.samples.begin());
  if (!calm) {
    given_.calm_samples = 0;
    given_.calm_force = given_.calm_rate = {};
    for (; given_.samples < end; ++given_.samples) give(trip_.samples[given_.samples]);
    return;
  }
  for (std::uint64_t i = given_.samples; i < end; ++i) {
    given_.calm_force = given_.calm_force + trip_.samples[i].force;
    given_.calm_rate = given_.calm_rate + trip_.samples[i].rate;
    ++given_.calm_samples;
  }
  if (given_.calm_samples == 0) return;
  const double share = 1.0 / static_cast<double>(given_.calm_samples);
  for (; given_.samples < end; ++given_.samples) {
    give({trip_.samples[given_.samples].time_ns, share * given_.calm_force,
          share * given_.calm_rate});
  }
}

void Host::Careful::give(const Sample& sample) {
  Vector force = used_ ? used_->mounting.to_vehicle(sample.force) : sample.force;
  Vector rate = used_ ? used_->mounting.to_vehicle(sample.rate) : sample.rate;
  if (options_.everywhere) quadrant_.enter(force, rate);
  const SensorData accelerometer = event_of(ZUVDR_SENSOR_ACCELEROMETER, force, sample.time_ns);
  const SensorData gyroscope = event_of(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, rate, sample.time_ns);
  if (feed_.sensor) {
    feed_.sensor(accelerometer);
    feed_.sensor(gyroscope);
  }
  UpdateLocationbySensorEvent(accelerometer);
  UpdateLocationbySensorEvent(gyroscope);
}

void Host::Careful::sync(GpsData fix, int sample) {
  if (options_.everywhere) quadrant_.enter(fix);
  if (feed_.fix) feed_.fix(fix, sample);
  SyncGPSEventforFusion(&fix);
}

// The trip once more from its beginning, in the axes and by the clock of now. Answers that were
// given stand.
void Host::Careful::restart() {
  give_trip(false);
  const bool aligned = (GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0;
  if (!aligned && rest_is_known()) {
    give_trip(true);
    note(Notice::kMadeUpRest);
  }
  ++counts_.restarts;
}

void Host::Careful::give_trip(bool with_rest) {
  Reset();
  given_ = {};
  given_.samples = trip_.samples.begin();
  if (feed_.again) {
    const bool all = trip_.complete() || trip_.samples.empty();
    feed_.again(all ? std::numeric_limits<std::int64_t>::min() : trip_.samples.front().time_ns);
  }
  if (with_rest) make_up_rest();
  for (std::uint64_t i = trip_.fixes.begin(); i < trip_.fixes.end(); ++i) {
    // The samples of older ones are gone.
    if (trip_.samples.empty() || sensor_time(trip_.fixes[i].fix) < trip_.samples.front().time_ns) {
      continue;
    }
    hand(trip_.fixes[i]);
    UpdateLocationbyGPSEvent(trip_.fixes[i].sample);
  }
}

// Seven seconds of gravity and bias in front of the trip's first sample, and a fast fix in front of
// them.
void Host::Careful::make_up_rest() {
  std::uint64_t i = trip_.fixes.begin();
  while (i < trip_.fixes.end() &&
         !(trip_.fixes[i].usable && passes_quality_test(trip_.fixes[i].fix))) {
    ++i;
  }
  if (i == trip_.fixes.end() || trip_.samples.empty()) return;
  const std::int64_t begin =
      elapsed_ns(trip_.samples.front().time_ns, kRestSamples * kRestInterval);
  // The navigator starts with the velocity of the fix that releases its first epoch.
  GpsData fix = trip_.fixes[i].fix;
  fix.vel_e = fix.vel_n = fix.vel_u = 0.0F;
  fix.speed = std::max(fix.speed, kPrimeSpeed);
  fix.time_ns = seconds_before(begin, 1.0);
  sync(fix, 0);
  UpdateLocationbyGPSEvent(0);
  for (std::int64_t k = 0; k < kRestSamples; ++k) {
    const std::int64_t time = begin + k * kRestInterval;
    const bool departing = k >= kRestSamples - kDepartingSamples;
    const Vector& bias = estimate_.result()->bias;
    if (k == kRestSamples - 1) {
      fix.time_ns = time;
      sync(fix, 1);
    }
    give({time, estimate_.result()->gravity, departing ? bias + unrest(time) : bias});
  }
}

}  // namespace zuvdr
