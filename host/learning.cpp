// What the host learns of phone, vehicle and receiver, and when the engine is to know it.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "engine/fix_quality.h"
#include "host/careful.h"
#include "host/engine_probe.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kShortestInterval = 0.7;  // s
constexpr double kLongestInterval = 5.5;
constexpr double kFewestSamples = 15.0;  // a second
constexpr double kSlowestCourse = 2.0;   // m/s

constexpr double kYawDriving = 20.0;  // s
constexpr double kYawSigma = 3.0;     // degrees
constexpr double kRestDriving = 40.0;
constexpr double kRestSigma = 2.0;
constexpr double kRefinedSigma = 1.5;
constexpr double kRefinedBy = 1.0;         // degrees
constexpr double kOffsetRefinedBy = 0.05;  // s
constexpr double kSinceTurn = 20.0;        // s, of what tells that the phone was turned
constexpr double kBetweenRestarts = 10.0;  // s

}  // namespace

void Host::Careful::learn(const TripFix& entry) {
  GpsData fix = entry.fix;
  if (!entry.usable || !passes_quality_test(fix)) return;
  if (options_.fix_clock) clock_.add(fix);
  fix.time_ns = sensor_time(fix);
  if (options_.walkers) walker_course_.add(fix);
  const double duration =
      interval_fix_ ? elapsed_seconds(fix.time_ns, interval_fix_->time_ns) : HUGE_VAL;
  if (duration < kShortestInterval) return;
  std::uint64_t i = std::max(interval_begin_, trip_.samples.begin());
  Vector force{}, rate{};
  std::int64_t count = 0;
  for (; i < trip_.samples.end() && trip_.samples[i].time_ns <= fix.time_ns; ++i) {
    force = force + trip_.samples[i].force;
    rate = rate + trip_.samples[i].rate;
    ++count;
  }
  interval_begin_ = i;
  if (duration <= kLongestInterval && static_cast<double>(count) > kFewestSamples * duration) {
    const double share = 1.0 / static_cast<double>(count);
    const GpsData& from = *interval_fix_;
    double turn = 0.0;
    if (std::min(from.speed, fix.speed) > kSlowestCourse) {
      const double change = std::atan2(-fix.vel_e, fix.vel_n) - std::atan2(-from.vel_e, from.vel_n);
      turn = std::remainder(change, 2.0 * std::numbers::pi) / duration;
    }
    turned_ = estimate_.add({fix.time_ns, duration, share * force, share * rate,
                             0.5 * (static_cast<double>(from.speed) + fix.speed),
                             (static_cast<double>(fix.speed) - from.speed) / duration, turn}) ||
              turned_;
  }
  interval_fix_ = fix;
}

bool Host::Careful::rest_is_known() const {
  const auto& now = estimate_.result();
  return options_.made_up_rest && now && now->sigma < kRestSigma && now->driving >= kRestDriving;
}

// Between good fixes: in an outage a trip given again may end anywhere.
void Host::Careful::reconsider(const TripFix& entry) {
  if (!entry.usable || !interval_fix_ || !last_sample_) return;
  const std::optional<double>& offset = clock_.offset();
  if (options_.fix_clock && !offset_by_hand(options_) && offset &&
      std::fabs(*offset - offset_) > kOffsetRefinedBy) {
    // From the next fix on: what was given before does not move.
    offset_ = *offset;
    counts_.fix_clock_offset = offset_;
    note(Notice::kFixClock, offset_);
    interval_fix_.reset();
  }
  if (probe_engine().pedestrian_started) return;
  const auto& now = estimate_.result();
  if (now) {
    counts_.mounting_yaw = now->yaw;
    counts_.mounting_yaw_sigma = now->sigma;
  }
  const bool waited =
      !reconsidered_ || elapsed_seconds(*last_sample_, *reconsidered_) > kBetweenRestarts;
  bool again = false;
  if (now && waited) {
    if (options_.mounting_yaw && now->sigma < kYawSigma && now->driving >= kYawDriving) {
      const double off = used_ ? degrees_turned(used_->mounting, now->mounting) : HUGE_VAL;
      const bool better =
          now->sigma < kRefinedSigma && off > std::max(kRefinedBy, 2.0 * now->sigma);
      if (turned_) {
        // What was given before the turn is in other axes.
        trip_.begin_at(elapsed_ns(*last_sample_, std::llround(kSinceTurn * kNanosecondsPerSecond)));
        given_.samples = std::max(given_.samples, trip_.samples.begin());
      }
      if (!used_ || turned_ || (better && trip_.complete())) {
        turned_ = false;
        used_ = now;
        note(Notice::kMountingYaw, now->yaw);
        again = true;
      }
    }
    const bool aligned = (GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0;
    // What did not help is tried again when a quarter more is known.
    if (!aligned && rest_is_known() && now->driving > 1.25 * rest_tried_) {
      rest_tried_ = now->driving;
      again = true;
    }
  }
  if (!again) return;
  reconsidered_ = *last_sample_;
  restart();
}

}  // namespace zuvdr
