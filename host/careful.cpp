// The way of a sensor event and of a fix to the trip.
#include "host/careful.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "engine/fix_quality.h"
#include "engine/limits.h"
#include "host/engine_probe.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr double kLongestWait = 1.0;  // s, for the epochs of a fix
// s without a fix, where they come every second, before the first row. The latency of receivers
// varies by 0.3 s and more, and a fix that comes after a row of a later stamp is lost.
constexpr double kOutageBegins = 1.5;
constexpr double kLongestInterval = 6.0;  // s, of fixes that are no outage
constexpr double kIntervalLearned = 0.1;  // by every fix
constexpr double kRowInterval = 1.0;      // s
constexpr double kLongestLatency = 5.0;   // s, of a receiver
constexpr double kLatencyKept = 0.95;     // of the longest one, by every fix
constexpr int kBackwardFixes = 3;
constexpr double kWildStamp = 10.0;  // s from all others
constexpr float kSlowestRow = 0.5F;  // m/s, of a walker
static_assert(kSlowestRow > kSlowestWalk);
constexpr float kCourseSigma = 0.15F;  // the walker's filter divides it by no speed: rad

// What a receiver on the earth may tell. An unknown position comes as 0, 0 without accuracy.
bool possible(const GpsData& fix) {
  const auto at_most = [](double most, auto... values) {
    return ((std::fabs(static_cast<double>(values)) <= most) && ...);
  };
  const bool somewhere = fix.latitude != 0.0 || fix.longitude != 0.0 || fix.pos_acc_e > 0.0F;
  return somewhere && at_most(4e18, fix.time_ns) && at_most(90.0, fix.latitude) &&
         at_most(360.0, fix.longitude, fix.bearing) && at_most(2e4, fix.altitude) &&
         at_most(500.0, fix.speed, fix.vel_e, fix.vel_n, fix.vel_u);
}

// Accuracies that pass nothing, and that the walker's filter, which asks nothing, learns nothing
// from.
void set_far(GpsData& fix) {
  fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = 1e3F;
  fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = 1e4F;
}

void place_as_expected(GpsData& fix, const HostPosition& expected) {
  const double bearing =
      std::isfinite(expected.bearing) ? expected.bearing * std::numbers::pi / 180.0 : 0.0;
  fix.latitude = expected.latitude;
  fix.longitude = expected.longitude;
  fix.vel_e = static_cast<float>(expected.speed * std::sin(bearing));
  fix.vel_n = static_cast<float>(expected.speed * std::cos(bearing));
  set_far(fix);
}

}  // namespace

Host::Careful::Careful(const HostOptions& options, Answer answer, Notify notify)
    : Road(std::move(answer), std::move(notify)), options_(options) {
  if (offset_by_hand(options_)) offset_ = options_.fix_clock_offset;
}

void Host::Careful::sensor(const SensorData& event) {
  // The engine uses no others, and their stamps are not to be trusted for nothing.
  if (event.type != ZUVDR_SENSOR_ACCELEROMETER &&
      event.type != ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) {
    return;
  }
  if (options_.time_stamps && !filter_.plausible(event)) {
    ++counts_.events_dropped;
    note(Notice::kEventDropped);
    return;
  }
  // Another sensor's events may be older; a clock that went back is followed.
  if (!now_ || event.timestamp > *now_ || elapsed_seconds(*now_, event.timestamp) > kWildStamp) {
    now_ = event.timestamp;
  }
  if (options_.event_order) {
    order_.add(event);
    while (const auto sorted = order_.next()) in_order(*sorted);
  } else {
    in_order(event);
  }
  answer_ready();
  if (options_.outages) keep_going();
}

void Host::Careful::in_order(const SensorData& event) {
  if (options_.time_stamps && !filter_.advances(event)) {
    ++counts_.events_dropped;
    note(Notice::kEventDropped);
    return;
  }
  if (options_.sample_rate) {
    rate_.add(event);
    while (const auto sample = rate_.next()) take(*sample);
  } else if (const auto sample = pairing_.add(event)) {
    take(*sample);
  }
}

void Host::Careful::take(const Sample& sample) {
  if (last_sample_) {
    const double step = elapsed_seconds(sample.time_ns, *last_sample_);
    const bool made_up = *last_sample_ != *last_real_sample_;
    if (step <= 0.0 && made_up && -step < kWildStamp)
      return;  // what a gap was filled for came late
    if (step <= 0.0) {
      if (options_.time_stamps) reset();
    } else if (options_.gaps) {
      if (!bridge(sample)) reset();
    } else if (options_.time_stamps && step > kLongestStep) {
      reset();
    }
  }
  last_real_sample_ = sample.time_ns;
  keep(sample);
}

// Fixes whose samples have come, or do not come.
void Host::Careful::answer_ready() {
  const double wait = kLongestWait + static_cast<double>(order_.hold()) / kNanosecondsPerSecond;
  while (!pending_.empty() && last_sample_) {
    const Pending& oldest = pending_.front();
    const bool complete = *last_sample_ >= sensor_time(oldest.fix);
    if (!complete && elapsed_seconds(*now_, oldest.since_ns) <= wait) return;
    answer_oldest();
  }
}

void Host::Careful::keep(const Sample& sample) {
  last_sample_ = sample.time_ns;
  trip_.samples.push(sample);
  if (estimate_.watch(sample)) phone_moved();
  clock_.add(sample, estimate_.up());
  walker_course_.add(sample);
}

// What was given before is in other axes. A walker's phone moves all the time.
void Host::Careful::phone_moved() {
  if (probe_engine().pedestrian_started) return;
  used_.reset();
  reset();
}

void Host::Careful::fix(const GpsData& fix, int sample) {
  if (options_.outages && sample != 0) return;
  if (options_.time_stamps && !possible(fix)) {
    ++counts_.fixes_dropped;
    note(Notice::kFixDropped);
    return;
  }
  if (now_) {
    const double latency = elapsed_seconds(*now_, sensor_time(fix));
    if (latency < kLongestLatency) latency_ = std::max(latency, kLatencyKept * latency_);
  }
  if (options_.time_stamps && !advances(fix)) {
    ++counts_.fixes_dropped;
    note(Notice::kFixDropped);
    return;
  }
  const bool good = sample == 0 && passes_quality_test(fix);
  if (sensors_stalled(fix)) {
    while (!pending_.empty()) {
      const std::int64_t wanted = sensor_time(pending_.front().fix);
      const double silence = elapsed_seconds(wanted, *last_real_sample_);
      const bool fillable = options_.gaps && silence <= kLongestFilled;
      const bool filled =
          wanted <= *last_sample_ || (fillable && fill(elapsed_ns(wanted, -SampleRate::kBin)));
      if (!filled && silence > kLongestBlind) {
        reset();
        break;
      }
      answer_oldest();
    }
    // The navigator stands where the samples ended, and fixes would tear it away.
    const double silence = elapsed_seconds(sensor_time(fix), *last_real_sample_);
    if (silence > (options_.gaps ? kLongestFilled : kLongestBlind) && !trip_.samples.empty()) {
      reset();
    }
  }
  if (pending_.size() == kMostPending) answer_oldest();
  if (options_.everywhere && (good || !quadrant_.chosen()) &&
      quadrant_.choose_for(fix.latitude, fix.longitude)) {
    answer_all();
    restart();
  }
  last_handed_ = fix.time_ns;
  if (last_fix_) {
    const double interval = elapsed_seconds(fix.time_ns, last_fix_->time_ns);
    if (interval < kLongestInterval) fix_interval_ += kIntervalLearned * (interval - fix_interval_);
  }
  // Not before the fix itself, where the sensors are silent.
  fix_arrival_ = std::max(now_.value_or(sensor_time(fix)), sensor_time(fix));
  pending_.push(Pending{fix, sample, now_.value_or(fix.time_ns)});
  if (!options_.call_order || !last_sample_) {
    answer_all();
  } else {
    answer_ready();
  }
}

// The samples stay away for longer than they are late.
bool Host::Careful::sensors_stalled(const GpsData& fix) const {
  if (!last_sample_ || !last_real_sample_) return false;
  const double wait = kLongestWait + static_cast<double>(order_.hold()) / kNanosecondsPerSecond;
  return elapsed_seconds(sensor_time(fix), *last_sample_) > wait;
}

std::int64_t Host::Careful::sensor_time(const GpsData& fix) const {
  return elapsed_ns(fix.time_ns, std::llround(offset_ * kNanosecondsPerSecond));
}

// A wild stamp is far from the sensors, or, where these are silent, from the last fix. Fixes that
// go back and then on and on are on another clock, which is followed.
bool Host::Careful::advances(const GpsData& fix) {
  const auto near = [&fix](std::int64_t time) {
    return std::fabs(elapsed_seconds(fix.time_ns, time)) < kWildStamp;
  };
  const bool silent = !last_sample_ || (last_handed_ && sensors_stalled(fix));
  if (now_ && !near(*now_) && !(silent && last_handed_ && near(*last_handed_))) return false;
  if (!last_handed_ || fix.time_ns > *last_handed_) {
    backward_fixes_ = 0;
    return true;
  }
  backward_fixes_ = backward_fixes_ > 0 && fix.time_ns > backward_stamp_ ? backward_fixes_ + 1 : 1;
  backward_stamp_ = fix.time_ns;
  if (backward_fixes_ < kBackwardFixes) return false;
  backward_fixes_ = 0;
  reset();
  return true;
}

void Host::Careful::flush() {
  while (const auto event = order_.next_held()) in_order(*event);
  answer_all();
}

void Host::Careful::answer_oldest() {
  const Pending pending = pending_.front();
  pending_.drop_before(pending_.begin() + 1);
  use(pending.fix, pending.sample, false);
}

void Host::Careful::answer_all() {
  while (!pending_.empty()) answer_oldest();
}

void Host::Careful::use(const GpsData& fix, int sample, bool own_row) {
  const bool is_fix = sample == 0 && !own_row;
  TripFix entry{fix, sample, is_fix, in_outage_ && is_fix, trip_.samples.end()};
  GpsData told = fix;
  told.time_ns = sensor_time(fix);
  std::optional<double> off;
  const std::optional<HostPosition> expected = positions_.at(told.time_ns);
  const bool passes = is_fix && passes_quality_test(fix);
  if (options_.bad_fixes && passes) off = gate_.refuses(told, expected);
  if (off) {
    entry.sample = 1;
    entry.usable = false;
    ++counts_.fixes_refused;
    note(Notice::kFixRefused, *off);
  }
  const bool navigating = expected && (expected->source == Source::kCorrected ||
                                       expected->source == Source::kDeadReckoned);
  if (off || (options_.bad_fixes && is_fix && !passes && navigating)) {
    // The engine interpolates a fix from the one before: a bad one it may not see at all.
    place_as_expected(entry.fix, *expected);
  }
  if (is_fix) in_outage_ = false;
  if (is_fix && !off) last_fix_ = fix;
  trip_.fixes.push(entry);
  hand(entry);
  HostAnswer answer = run_gnss_epoch(told, entry.sample, entry.usable, quadrant_);
  answer.sample = is_fix ? 0 : 1;
  answer.refused = off.has_value();
  const bool lost =
      !std::isfinite(answer.position.latitude) || !std::isfinite(answer.position.longitude);
  // A filtered position out of all range has made the engine start over.
  const bool runaway = answer.position_was_set && (GetCarFlag() & ZUVDR_CAR_POSITION_SET) == 0;
  const bool row_of_nothing = answer.position.source == Source::kRawFix && !entry.usable;
  if (lost || runaway || row_of_nothing) fall_back_to_fix(answer, entry.usable);
  if (entry.usable || !(lost || runaway || row_of_nothing)) keep_position();
  hand_out(answer);
  if (lost) {
    reset();
    return;
  }
  learn(entry);
  reconsider(entry);
}

void Host::Careful::keep_going() {
  if (!last_fix_ || !last_handed_) return;
  if (!in_outage_ &&
      elapsed_seconds(*now_, fix_arrival_) < kOutageBegins + std::max(fix_interval_ - 1.0, 0.0)) {
    return;
  }
  // Behind the sensors as fixes are: the first one that comes again must lie after the last row.
  // Not ahead of the samples either, which events that are sorted may hold back.
  const std::int64_t behind = elapsed_ns(*now_, std::llround(latency_ * kNanosecondsPerSecond));
  const std::int64_t time = elapsed_ns(std::min(behind, last_sample_.value_or(behind)),
                                       -std::llround(offset_ * kNanosecondsPerSecond));
  if (elapsed_seconds(time, *last_handed_) < kRowInterval) return;
  answer_all();
  in_outage_ = true;
  ++counts_.outage_rows;
  last_handed_ = time;
  const EngineProbe engine = probe_engine();
  const bool walker = options_.walkers && engine.pedestrian_started && engine.pedestrian_ready;
  // Five rows in a row that say that they are none end the walker.
  use(walker ? walker_row(time) : standing_row(time), walker ? 0 : 1, true);
}

// The last position, standing, with accuracies that pass nothing.
GpsData Host::Careful::standing_row(std::int64_t time) const {
  GpsData row{};
  row.time_ns = time;
  row.latitude = last_fix_->latitude;
  row.longitude = last_fix_->longitude;
  row.altitude = last_fix_->altitude;
  set_far(row);
  return row;
}

// His speed keeps the walker going; his steps tell how far, the gyroscope, where it can, whither.
GpsData Host::Careful::walker_row(std::int64_t time) const {
  GpsData row = standing_row(time);
  row.speed = std::clamp(last_fix_->speed, kSlowestRow, kVehicleSpeed);
  row.vel_e = last_fix_->vel_e;
  row.vel_n = last_fix_->vel_n;
  if (const auto estimate = walker_course_.estimate()) {
    row.vel_e = static_cast<float>(-estimate->speed * std::sin(estimate->course));
    row.vel_n = static_cast<float>(estimate->speed * std::cos(estimate->course));
    row.speed = std::clamp(static_cast<float>(estimate->speed), kSlowestRow, kVehicleSpeed);
    row.vel_acc_e = row.vel_acc_n = kCourseSigma;
  }
  return row;
}

void Host::Careful::reset() {
  Reset();
  trip_.begin_anew();
  given_ = {};
  given_.samples = trip_.samples.end();
  if (feed_.again) feed_.again(std::numeric_limits<std::int64_t>::max());
  in_outage_ = false;
  last_fix_.reset();
  last_handed_.reset();
  interval_fix_.reset();
  reconsidered_.reset();
  rest_tried_ = 0.0;
  gate_.reset();
  ++counts_.resets;
  note(Notice::kReset);
  answer_all();  // raw: what the navigator knew is over
}

}  // namespace zuvdr
