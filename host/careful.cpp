// The way of a sensor event and of a fix to the trip.
#include "host/careful.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/fix_quality.h"
#include "engine/limits.h"
#include "host/engine_probe.h"
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
constexpr float kSlowestRow = 0.5F;      // m/s, of a walker
static_assert(kSlowestRow > kSlowestWalk);
constexpr float kCourseSigma = 0.15F;  // the walker's filter divides it by no speed: rad

bool finite(const GpsData& fix) {
  return std::isfinite(fix.latitude) && std::isfinite(fix.longitude) &&
         std::isfinite(fix.altitude) && std::isfinite(fix.speed) && std::isfinite(fix.vel_e) &&
         std::isfinite(fix.vel_n) && std::isfinite(fix.vel_u) && std::isfinite(fix.bearing);
}

// Accuracies that pass nothing, and that the walker's filter, which asks nothing, learns nothing
// from.
void set_far(GpsData& fix) {
  fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = 1e3F;
  fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = 1e4F;
}

}  // namespace

Host::Careful::Careful(const HostOptions& options, Answer answer, Notify notify)
    : Road(std::move(answer), std::move(notify)), options_(options) {
  if (std::isfinite(options_.fix_clock_offset)) offset_ = options_.fix_clock_offset;
}

void Host::Careful::sensor(const SensorData& event) {
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
  if (!pending_) return;
  if (sample.time_ns >= sensor_time(pending_->fix) ||
      elapsed_seconds(sample.time_ns, pending_->since_ns) > kLongestWait) {
    answer_pending();
  }
}

void Host::Careful::keep(const Sample& sample) {
  last_sample_ = sample.time_ns;
  trip_.samples.push(sample);
  if (estimate_.watch(sample)) {
    // The phone was moved: what was given before is in other axes.
    trip_.begin_anew();
    given_.samples = trip_.samples.end();
    trip_.samples.push(sample);
  }
  clock_.add(sample, estimate_.up());
  walker_course_.add(sample);
}

void Host::Careful::fix(const GpsData& fix, int sample) {
  if (options_.outages && sample != 0) return;
  if (now_) {
    const double latency = elapsed_seconds(*now_, sensor_time(fix));
    if (latency < kLongestLatency) latency_ = std::max(latency, kLatencyKept * latency_);
  }
  if (options_.time_stamps && !advances(fix)) {
    ++counts_.fixes_dropped;
    note(Notice::kFixDropped);
    return;
  }
  if (pending_ && options_.gaps && last_sample_) {
    // The sensors are silent for longer than they are late.
    const std::int64_t wanted = sensor_time(pending_->fix);
    if (elapsed_seconds(wanted, *last_sample_) > 0.0 &&
        elapsed_seconds(sensor_time(fix), *last_sample_) > kLongestWait &&
        elapsed_seconds(wanted, *last_real_sample_) < kLongestFilled) {
      fill(elapsed_ns(wanted, -SampleRate::kBin), &fix);
    }
  }
  if (pending_) answer_pending();
  if (options_.everywhere && quadrant_.choose_for(fix.latitude, fix.longitude)) restart();
  last_handed_ = fix.time_ns;
  pending_ = Pending{fix, sample, now_.value_or(fix.time_ns)};
  last_fix_ = fix;
  // Not before the fix itself, where the sensors are silent.
  fix_arrival_ = std::max(now_.value_or(sensor_time(fix)), sensor_time(fix));
  if (sample == 0 && passes_quality_test(fix)) good_fix_arrival_ = fix_arrival_;
  if (!options_.call_order || (last_sample_ && *last_sample_ >= sensor_time(fix))) answer_pending();
}

std::int64_t Host::Careful::sensor_time(const GpsData& fix) const {
  return elapsed_ns(fix.time_ns, std::llround(offset_ * kNanosecondsPerSecond));
}

// A wild stamp is far both from the sensors and, where these are silent, from the last fix.
bool Host::Careful::advances(const GpsData& fix) const {
  if (!finite(fix)) return false;
  if (last_handed_ && fix.time_ns <= *last_handed_) return false;
  const auto near = [&fix](const std::optional<std::int64_t>& time) {
    return !time || std::fabs(elapsed_seconds(fix.time_ns, *time)) < kWildStamp;
  };
  return near(now_) || (last_handed_ && near(last_handed_));
}

void Host::Careful::flush() {
  while (const auto event = order_.next_held()) in_order(*event);
  if (pending_) answer_pending();
}

void Host::Careful::answer_pending() {
  const Pending pending = *pending_;
  pending_.reset();
  use(pending.fix, pending.sample, false);
}

void Host::Careful::use(const GpsData& fix, int sample, bool own_row) {
  const bool is_fix = sample == 0 && !own_row;
  TripFix entry{fix, sample, is_fix, in_outage_ && is_fix, trip_.samples.end()};
  GpsData told = fix;
  told.time_ns = sensor_time(fix);
  std::optional<double> off;
  if (options_.bad_fixes && is_fix && passes_quality_test(fix)) {
    const std::optional<HostPosition> expected = positions_.at(told.time_ns);
    off = gate_.refuses(told, expected);
    if (off) {
      // The engine interpolates a fix from the one before: it may not see this one at all.
      entry.fix.latitude = expected->latitude;
      entry.fix.longitude = expected->longitude;
      set_far(entry.fix);
      entry.sample = 1;
      entry.good = false;
      ++counts_.fixes_refused;
      note(Notice::kFixRefused, *off);
    }
  }
  if (is_fix) in_outage_ = false;
  trip_.fixes.push(entry);
  hand(entry);
  HostAnswer answer = run_gnss_epoch(told, entry.sample, entry.good, quadrant_);
  answer.sample = is_fix ? 0 : 1;
  answer.refused = off.has_value();
  publish(answer);
  learn(entry);
  reconsider();
}

void Host::Careful::keep_going() {
  if (!last_fix_ || !last_handed_) return;
  if (!in_outage_ && elapsed_seconds(*now_, fix_arrival_) < kOutageBegins) return;
  // Behind the sensors as fixes are: the first one that comes again must lie after the last row.
  // Not ahead of the samples either, which events that are sorted may hold back.
  const std::int64_t behind = elapsed_ns(*now_, std::llround(latency_ * kNanosecondsPerSecond));
  const std::int64_t time = elapsed_ns(std::min(behind, last_sample_.value_or(behind)),
                                       -std::llround(offset_ * kNanosecondsPerSecond));
  if (elapsed_seconds(time, *last_handed_) < kRowInterval) return;
  if (pending_) answer_pending();
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
  if (pending_) answer_pending();
  Reset();
  trip_.begin_anew();
  given_ = {};
  given_.samples = trip_.samples.end();
  in_outage_ = false;
  last_fix_.reset();
  last_handed_.reset();
  interval_fix_.reset();
  gate_.reset();
  ++counts_.resets;
  note(Notice::kReset);
}

}  // namespace zuvdr
