// Gaps of the sensors: filled, or the engine reset.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/fix_quality.h"
#include "host/careful.h"
#include "host/engine_probe.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kFixesGoOn = 2.5;  // s since the last good one
constexpr std::uint64_t kFixesUsed = 16;

}  // namespace

// False: the gap before the sample is too long.
bool Host::Careful::bridge(const Sample& next) {
  const double gap = elapsed_seconds(next.time_ns, *last_sample_);
  if (gap < 2.5 * SampleRate::kBin / kNanosecondsPerSecond) return true;
  const double silence = elapsed_seconds(next.time_ns, *last_real_sample_);
  const bool fixes_go_on = last_fix_ && passes_quality_test(*last_fix_) &&
                           elapsed_seconds(next.time_ns, sensor_time(*last_fix_)) < kFixesGoOn;
  if (silence <= (fixes_go_on ? kLongestFilled : kLongestBlind) && fill(next.time_ns)) {
    // Done.
  } else if (silence <= kLongestBlind) {
    const Sample from = trip_.samples.back();
    for (std::int64_t t = from.time_ns + SampleRate::kBin; t < next.time_ns;
         t += SampleRate::kBin) {
      const double part = elapsed_seconds(t, from.time_ns) / gap;
      keep({t, from.force + part * (next.force - from.force),
            from.rate + part * (next.rate - from.rate) + unrest(t)});
    }
  } else {
    return false;
  }
  ++counts_.gaps_filled;
  note(Notice::kGapFilled, silence);
  return true;
}

// False: fixes do not tell enough.
bool Host::Careful::fill(std::int64_t until) {
  GapFilling filling;
  const auto add = [&](GpsData fix) {
    fix.time_ns = sensor_time(fix);
    if (passes_quality_test(fix)) filling.add(fix);
  };
  // The navigator knows where the samples ended better than any fix.
  std::int64_t from = std::numeric_limits<std::int64_t>::min();
  if ((GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0) {
    const EngineProbe engine = probe_engine();
    GpsData now{};
    now.time_ns = from = engine.last_epoch_time;
    now.vel_e = static_cast<float>(engine.east_velocity);
    now.vel_n = static_cast<float>(quadrant_.leave_north(engine.north_velocity));
    filling.add(now);
    // Straight on, should no fix come.
    now.time_ns += 1;
    filling.add(now);
  }
  const std::uint64_t end = trip_.fixes.end();
  for (std::uint64_t i = std::max(trip_.fixes.begin(), end > kFixesUsed ? end - kFixesUsed : 0);
       i < end; ++i) {
    if (trip_.fixes[i].usable && sensor_time(trip_.fixes[i].fix) > from) add(trip_.fixes[i].fix);
  }
  for (std::uint64_t i = pending_.begin(); i < pending_.end(); ++i) add(pending_[i].fix);
  if (!filling.usable() || trip_.samples.empty()) return false;
  const auto& learned = estimate_.result();
  const Mounting mounting = learned ? learned->mounting : estimate_.assumed_mounting();
  Vector force = learned ? learned->gravity : estimate_.mean_force();
  Vector rate = learned ? learned->bias : Vector{};
  if ((GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0) {
    // What agrees with the navigator does not tilt it.
    RestingSensors resting = probe_resting_sensors();
    if (options_.everywhere) quadrant_.enter(resting.force, resting.rate);
    force = used_ ? used_->mounting.to_phone(resting.force) : resting.force;
    rate = used_ ? used_->mounting.to_phone(resting.rate) : resting.rate;
  }
  for (std::int64_t t = *last_sample_ + SampleRate::kBin; t < until; t += SampleRate::kBin) {
    keep(filling.at(t, mounting, force, rate));
  }
  return true;
}

}  // namespace zuvdr
