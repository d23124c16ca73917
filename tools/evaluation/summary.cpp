#include "tools/evaluation/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <variant>

#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

// m; a share of a shorter way says nothing about the drift.
constexpr double kLeastDriven = 10.0;

constexpr std::array kStateNames{"vehicle mode", "aligned",   "attitude converged",
                                 "position set", "converged", "walker"};

constexpr std::array kGroupNames{"vehicle, corrected (1)",   "vehicle, dead-reckoned (2)",
                                 "vehicle, long outage (3)", "walker (1)",
                                 "all fused, status 1 to 3", "raw fixes, healthy"};

const char* status_name(const FixAnswer& answer) {
  constexpr std::array kStatusNames{"not converged", "corrected by fixes", "dead-reckoned",
                                    "dead-reckoned, long outage"};
  if (answer.output == Output::kRaw) return "raw fix";
  if (answer.output == Output::kWalker) return "walker";
  return kStatusNames[static_cast<std::size_t>(answer.row.status) % kStatusNames.size()];
}

// Elsewhere the engine takes a filtered position for a runaway solution.
bool outside_served_quadrant(const TrackRow& row) {
  return row.fix_latitude < 0.0 || row.fix_latitude > 90.0 || row.fix_longitude < 0.0 ||
         row.fix_longitude > 180.0;
}

// "-" for what there is none of.
std::string figure(double value, const char* unit, int decimals = 1) {
  return std::isfinite(value) ? fmt::format("{:.{}f} {}", value, decimals, unit) : "-";
}

}  // namespace

void Summary::add(const EventRow& row) {
  if (const auto* sensor = std::get_if<SensorRow>(&row)) {
    note_time(sensor->event.timestamp);
  } else if (const auto* fix = std::get_if<FixRow>(&row)) {
    note_time(fix->fix.time_ns);
  } else if (std::holds_alternative<StepRow>(row)) {
    ++reference_steps_;
  }
}

void Summary::add(const FixAnswer& answer, const std::optional<Place>& truth_at_fix) {
  ++fixes_;
  if (answer.row.sample == 0) ++healthy_;
  if (answer.row.fix_accepted) ++accepted_;
  if (outside_served_quadrant(answer.row)) ++outside_;
  note_states(answer);
  note_errors(answer, truth_at_fix);
  outages_.add(answer);
  last_ = answer;
}

void Summary::finish(const EngineHost& host, std::int64_t rows_skipped) {
  outages_.finish();
  epochs_processed_ = host.epochs_processed();
  epochs_waiting_ = host.epochs_waiting();
  rows_skipped_ = rows_skipped;
}

void Summary::note_time(std::int64_t time_ns) {
  if (!first_time_) first_time_ = last_time_ = time_ns;
  first_time_ = std::min(*first_time_, time_ns);
  last_time_ = std::max(last_time_, time_ns);
}

void Summary::note_states(const FixAnswer& answer) {
  const TrackRow& row = answer.row;
  const auto flag = [&](int bit) { return (row.car_flag & bit) != 0; };
  const std::array<bool, kStates> holds{
      flag(ZUVDR_CAR_VEHICLE_MODE),
      flag(ZUVDR_CAR_ALIGNED),
      flag(ZUVDR_CAR_ATTITUDE_CONVERGED),
      flag(ZUVDR_CAR_POSITION_SET),
      answer.output == Output::kVehicle && row.status == 1 && answer.converged,
      row.pdr_flag != 0};
  for (std::size_t i = 0; i < kStates; ++i) {
    if (holds[i] && !reached_[i]) reached_[i] = row.time_ns;
  }
}

void Summary::note_errors(const FixAnswer& answer, const std::optional<Place>& truth_at_fix) {
  const TrackRow& row = answer.row;
  const auto note = [this](ErrorGroup group, double error) {
    errors_[static_cast<std::size_t>(group)].add(error);
  };
  if (truth_at_fix && row.sample == 0) {
    note(ErrorGroup::kFixes, distance({row.fix_latitude, row.fix_longitude}, *truth_at_fix));
  }
  if (row.status < 1 || std::isnan(row.truth_latitude)) return;
  const double error = output_error(row);
  note(ErrorGroup::kFused, error);
  if (answer.output == Output::kWalker) {
    note(ErrorGroup::kWalker, error);
  } else if (row.status == 1) {
    note(ErrorGroup::kCorrected, error);
  } else {
    note(row.status == 2 ? ErrorGroup::kDeadReckoned : ErrorGroup::kLongOutage, error);
  }
}

double Summary::since_start(std::int64_t time_ns) const {
  return seconds_between(first_time_.value_or(0), time_ns);
}

std::string Summary::text() const {
  return describe_counts() + describe_states() + describe_outages() + describe_errors() +
         describe_steps();
}

std::string Summary::describe_counts() const {
  std::string text = fmt::format(
      "Log length   {:.1f} s\n"
      "Epochs       {} processed, {} waiting for a later fix\n"
      "Fixes        {}: {} healthy, {} without; {} accepted\n",
      since_start(last_time_), epochs_processed_, epochs_waiting_, fixes_, healthy_,
      fixes_ - healthy_, accepted_);
  if (fixes_ == 0) {
    text += "             The engine processes nothing without fixes; zuvdr steps counts steps.\n";
  }
  if (outside_ > 0) {
    text += fmt::format(
        "             {} lie outside the north-eastern quadrant, the only one the engine serves\n",
        outside_);
  }
  if (rows_skipped_ > 0) text += fmt::format("Skipped rows {} (malformed)\n", rows_skipped_);
  return text;
}

std::string Summary::describe_states() const {
  std::string text;
  const char* title = "States";
  for (std::size_t i = 0; i < kStates; ++i) {
    const std::string time = reached_[i] ? figure(since_start(*reached_[i]), "s") : "not reached";
    text += fmt::format("{:<12} {:<20} {:>11}\n", title, kStateNames[i], time);
    title = "";
  }
  if (last_) {
    text += fmt::format("At the end   status {} ({}), car flags {}, walker {}\n", last_->row.status,
                        status_name(*last_), last_->row.car_flag, last_->row.pdr_flag);
  }
  return text;
}

std::string Summary::describe_outages() const {
  if (outages().empty()) return "Outages      none while the position was set\n";
  std::string text =
      fmt::format("Outages      {:>9} {:>6} {:>9} {:>10} {:>10} {:>9}  {}\n", "start", "fixes",
                  "duration", "driven", "error", "of driven", "status");
  for (const Outage& outage : outages()) {
    const double part = outage.driven >= kLeastDriven ? 100.0 * outage.error / outage.driven
                                                      : std::numeric_limits<double>::quiet_NaN();
    text += fmt::format("{:12} {:>9} {:>6} {:>9} {:>10} {:>10} {:>9}  {}{}\n", "",
                        figure(since_start(outage.start_ns), "s"), outage.fixes,
                        figure(outage.duration, "s"), figure(outage.driven, "m"),
                        figure(outage.error, "m"), figure(part, "%"), outage.status,
                        outage.restarted ? ", navigator restarted" : "");
  }
  return text;
}

std::string Summary::describe_errors() const {
  if (std::all_of(errors_.begin(), errors_.end(),
                  [](const ErrorFigures& group) { return group.count() + group.lost() == 0; })) {
    return {};
  }
  std::string text = fmt::format("Errors       {:<27} {:>6} {:>10} {:>10} {:>10} {:>10}\n", "",
                                 "count", "rms", "median", "95 %", "max");
  for (std::size_t i = 0; i < kErrorGroups; ++i) {
    const ErrorFigures& group = errors_[i];
    if (group.count() + group.lost() == 0) continue;
    text += fmt::format("{:12} {:<27} {:>6} {:>10} {:>10} {:>10} {:>10}{}\n", "", kGroupNames[i],
                        group.count(), figure(group.rms(), "m"), figure(group.quantile(0.5), "m"),
                        figure(group.quantile(0.95), "m"), figure(group.largest(), "m"),
                        group.lost() > 0 ? fmt::format(", {} not finite", group.lost()) : "");
  }
  return text;
}

std::string Summary::describe_steps() const {
  if (!last_ || (last_->row.total_steps == 0 && reference_steps_ == 0)) return {};
  std::string text = fmt::format("Steps        {} in bouts of ten and more, {} in the last bout",
                                 last_->row.total_steps, last_->row.bout_steps);
  if (reference_steps_ > 0) {
    const double excess = last_->row.total_steps - static_cast<double>(reference_steps_);
    text += fmt::format("; reference {} ({:+.1f} %)", reference_steps_,
                        100.0 * excess / static_cast<double>(reference_steps_));
  }
  return text + '\n';
}

}  // namespace zuvdr::tools
