#include "tools/evaluation/live_figures.h"

#include <cmath>
#include <variant>

#include "engine/fix_quality.h"
#include "tools/logs/place.h"
#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

constexpr double kAskInterval = 0.2;          // s
constexpr std::int64_t kLater = 500'000'000;  // ns
constexpr double kOutage = 5.0;               // s
constexpr double kGap = 1.0;                  // s
constexpr double kBehindGap = 5.0;            // s
constexpr std::size_t kMostWaiting = 10'000;

bool is_motion(const SensorData& event) {
  return event.type == ZUVDR_SENSOR_ACCELEROMETER ||
         event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED;
}

}  // namespace

LiveFigures::LiveFigures(const HostOptions& care)
    : host_(care, [this](const HostAnswer& answer) { take(answer); }) {}

void LiveFigures::play(const EventRow& row) {
  if (const auto* event = std::get_if<SensorRow>(&row)) {
    sensor(event->event);
  } else if (const auto* fix_row = std::get_if<FixRow>(&row)) {
    fix(*fix_row);
  } else if (const auto* truth = std::get_if<TruthRow>(&row)) {
    truth_.add(*truth);
  }
  while (!asked_.empty() &&
         (truth_.covers(asked_.front().time_ns) || asked_.size() > kMostWaiting)) {
    settle(asked_.front());
    asked_.pop_front();
  }
}

void LiveFigures::finish() {
  host_.flush();
  for (const Asked& asked : asked_) settle(asked);
  asked_.clear();
  if (!regained_) figures_.regains.add(HUGE_VAL);
}

LiveGroup LiveFigures::group_of(const HostPosition& position) const {
  if (position.source == Source::kRawFix) return LiveGroup::kRaw;
  if (position.source == Source::kWalker) return LiveGroup::kWalker;
  constexpr std::array kGroups{LiveGroup::kNotConverged, LiveGroup::kCorrected,
                               LiveGroup::kDeadReckoned, LiveGroup::kLongOutage};
  return kGroups[static_cast<std::size_t>(status_) % kGroups.size()];
}

void LiveFigures::take(const HostAnswer& answer) {
  status_ = answer.status;
  const LiveGroup group = group_of(answer.position);
  const std::int64_t time = answer.fix.time_ns;
  const bool finite = std::isfinite(answer.position.latitude + answer.position.longitude);
  if (group == LiveGroup::kCorrected && answer.sample == 0 && finite) {
    ++figures_.corrected;
    if (std::isnan(figures_.begins) && first_good_) {
      figures_.begins = seconds_between(*first_good_, time);
    }
    if (!regained_ && seconds_between(*gap_end_, answer.position.time_ns) > 0.0) {
      regained_ = true;
      figures_.regains.add(seconds_between(*gap_end_, time));
    }
  }
  LiveErrors* const first = outage_ended_ && answer.sample == 0 ? &figures_.after_outage : nullptr;
  if (first != nullptr) outage_ended_ = false;
  file(time, answer.position, {&figures_.at_fix[static_cast<std::size_t>(group)], first});
  if (answer.sample == 0) fix_to_ask_ = time;
}

void LiveFigures::sensor(const SensorData& event) {
  host_.sensor(event);
  // A wild stamp is no time of an app's clock.
  if (now_ && std::fabs(seconds_between(*now_, event.timestamp)) > 600.0) return;
  if (is_motion(event)) {
    if (last_motion_ && seconds_between(*last_motion_, event.timestamp) > kGap) {
      if (!regained_) figures_.regains.add(HUGE_VAL);
      gap_end_ = event.timestamp;
      regained_ = false;
    }
    if (!last_motion_ || event.timestamp > *last_motion_) last_motion_ = event.timestamp;
  }
  if (!now_ || event.timestamp > *now_) now_ = event.timestamp;
  if (!first_good_) return;
  if (fix_to_ask_ && *now_ - *fix_to_ask_ >= kLater) {
    ask(*fix_to_ask_ + kLater, &figures_.later, {});
    fix_to_ask_.reset();
  }
  if (seconds_between(asked_at_, *now_) < kAskInterval) return;
  asked_at_ = *now_;
  ask_now();
}

void LiveFigures::ask_now() {
  Into into{&figures_.now_all};
  if (gap_end_ && seconds_between(*gap_end_, *now_) < kBehindGap) into[1] = &figures_.in_gaps;
  const double age = seconds_between(*last_good_, *now_);
  if (drifts_asked_ < kDriftTimes.size() && age >= kDriftTimes[drifts_asked_]) {
    into[2] = &figures_.drift[drifts_asked_++];
  }
  ask(*now_, &figures_.now, into);
}

void LiveFigures::fix(const FixRow& row) {
  const bool good = row.sample == 0 && passes_quality_test(row.fix);
  if (good && last_good_ && seconds_between(*last_good_, row.fix.time_ns) > kOutage) {
    ask(now_.value_or(row.fix.time_ns), nullptr, {&figures_.outage_end});
    outage_ended_ = true;
  }
  const bool in_gap = last_motion_ && seconds_between(*last_motion_, row.fix.time_ns) > kGap;
  host_.fix(row.fix, row.sample);
  if (in_gap) ask(row.fix.time_ns, nullptr, {&figures_.in_gaps});
  if (!good) return;
  ++figures_.fixes;
  if (!first_good_) first_good_ = row.fix.time_ns;
  last_good_ = row.fix.time_ns;
  drifts_asked_ = 0;
}

void LiveFigures::ask(std::int64_t time_ns, std::array<LiveErrors, kLiveGroups>* groups,
                      Into into) {
  const std::optional<HostPosition> position = host_.position(time_ns);
  if (!position) {
    ++figures_.unanswered;
    return;
  }
  if (groups != nullptr) into[3] = &(*groups)[static_cast<std::size_t>(group_of(*position))];
  file(time_ns, *position, into);
}

void LiveFigures::file(std::int64_t time_ns, const HostPosition& position, Into into) {
  asked_.push_back({time_ns, position, into});
}

void LiveFigures::settle(const Asked& asked) {
  const std::optional<Place> truth = truth_.at(asked.time_ns);
  if (!truth) return;
  const double error = distance({asked.position.latitude, asked.position.longitude}, *truth);
  for (LiveErrors* errors : asked.into) {
    if (errors == nullptr) continue;
    errors->errors.add(error);
    errors->stated.add(asked.position.accuracy);
    if (error <= asked.position.accuracy) ++errors->inside;
  }
}

}  // namespace zuvdr::tools
