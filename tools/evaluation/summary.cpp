#include "tools/evaluation/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <utility>
#include <variant>

#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

// m; a share of a shorter way says nothing about the drift.
constexpr double kLeastDriven = 10.0;

constexpr std::size_t kMostStretches = 3;
constexpr std::size_t kMostSuspects = 64;

constexpr std::array kStateNames{"vehicle mode", "aligned",   "attitude converged",
                                 "position set", "converged", "walker"};

constexpr std::array kGroupNames{"vehicle, corrected (1)",
                                 "vehicle, dead-reckoned (2)",
                                 "vehicle, long outage (3)",
                                 "no accepted fix (0)",
                                 "walker (1)",
                                 "all of these",
                                 "raw fixes, healthy"};

const char* status_name(const FixAnswer& answer) {
  constexpr std::array kStatusNames{"not converged", "corrected by fixes", "dead-reckoned",
                                    "dead-reckoned, long outage"};
  if (answer.output == Output::kRaw) return "raw fix";
  if (answer.output == Output::kWalker) return "walker";
  return kStatusNames[static_cast<std::size_t>(answer.row.status) % kStatusNames.size()];
}

std::string describe(const std::optional<NanSource>& source, const LogCheck& check) {
  if (!source) return "cause unknown";
  std::string text = source->text;
  if (source->line > 0) text += fmt::format(" at line {}", source->line);
  // A wild stamp tells no time.
  const double seconds = check.since_start(source->time_ns);
  if (seconds >= 0.0 && seconds <= check.length()) text += fmt::format(", {:.1f} s", seconds);
  return text;
}

// The host is left with the last known position, and the fix that ends the outage hides how far off
// that was.
std::string restart_remark(const Outage& outage) {
  if (!outage.restarted) return {};
  if (!std::isfinite(outage.largest_error)) return ", navigator restarted";
  return fmt::format(", navigator restarted, up to {:.1f} m off", outage.largest_error);
}

std::string counted(std::int64_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

// "-" for what there is none of.
std::string figure(double value, const char* unit, int decimals = 1) {
  return std::isfinite(value) ? fmt::format("{:.{}f} {}", value, decimals, unit) : "-";
}

}  // namespace

Summary::Summary(const HostOptions& care) : care_(care), check_(care) {}

void Summary::add(const EventRow& row, std::int64_t line) {
  check_.add(row, line);
  if (std::holds_alternative<StepRow>(row)) ++reference_steps_;
}

void Summary::watch(const FixAnswer& answer) {
  states_.add(answer);
  note_nan_sources(answer);
  if (states_.tilt_lost() && !std::exchange(tilt_lost_, true)) tilt_cause_ = cause();
  const bool finite = is_finite(fused_place(answer.row));
  if (finite) forget_suspects(answer);
  const bool begins = !finite && !not_finite_now_;
  not_finite_now_ = !finite;
  if (finite) return;
  ++not_finite_positions_;
  if (begins) {
    latest_cause_ = cause();
    if (not_finite_.size() < kMostStretches) {
      not_finite_.push_back({0, answer.time_ns(), latest_cause_});
    } else {
      ++not_finite_more_;
    }
  }
  if (not_finite_more_ == 0) ++not_finite_.back().count;
}

// Takes over what the engine has processed by now.
void Summary::note_nan_sources(const FixAnswer& answer) {
  const bool before = std::exchange(aligned_, (answer.row.car_flag & ZUVDR_CAR_ALIGNED) != 0);
  std::erase_if(check_.nan_sources(), [&](const NanSource& source) {
    if (source.epoch > answer.epochs_processed) return false;
    const bool sample = source.stream != Stream::kFixes && source.stream != Stream::kEpochs;
    if (sample && !filtered_) filtered_ = source;
    // A step that is no step harms a navigator only.
    const bool harmful = source.stream != Stream::kEpochs || aligned_ || before;
    if (harmful && suspects_.size() < kMostSuspects) suspects_.push_back({source});
    return true;
  });
}

// After a finite position. A fix shows its effect at once or by the two behind it, everything else
// in the next position of a vehicle.
void Summary::forget_suspects(const FixAnswer& answer) {
  const bool vehicle = answer.output == Output::kVehicle;
  if (vehicle) latest_cause_.reset();
  std::erase_if(suspects_, [&](Suspect& suspect) {
    if (suspect.source.stream == Stream::kFixes) return ++suspect.finite > 2;
    return vehicle || (suspect.source.stream == Stream::kEpochs && !aligned_);
  });
}

std::optional<NanSource> Summary::cause() const {
  if (!suspects_.empty()) return suspects_.front().source;
  return latest_cause_ ? latest_cause_ : filtered_;
}

void Summary::add(const FixAnswer& answer, const std::optional<Place>& truth_at_fix) {
  ++fixes_;
  if (answer.row.sample == 0) ++healthy_;
  if (answer.row.fix_accepted) ++accepted_;
  outages_.add(answer);
  note_errors(answer, truth_at_fix);
  last_ = answer;
}

void Summary::finish(const EngineHost& host, std::int64_t rows_skipped) {
  check_.finish();
  outages_.finish();
  epochs_processed_ = host.epochs_processed();
  epochs_waiting_ = host.epochs_waiting();
  counts_ = host.host().counts();
  rows_skipped_ = rows_skipped;
}

void Summary::note_errors(const FixAnswer& answer, const std::optional<Place>& truth_at_fix) {
  const TrackRow& row = answer.row;
  const auto note = [this](ErrorGroup group, double error) {
    errors_[static_cast<std::size_t>(group)].add(error);
  };
  if (truth_at_fix && row.sample == 0) {
    note(ErrorGroup::kFixes, distance({row.fix_latitude, row.fix_longitude}, *truth_at_fix));
  }
  if ((row.status < 1 && !outages_.goes_on()) || std::isnan(row.truth_latitude)) return;
  const double error = output_error(row);
  note(ErrorGroup::kFused, error);
  if (answer.output == Output::kWalker) {
    note(ErrorGroup::kWalker, error);
  } else if (row.status == 0) {
    note(ErrorGroup::kWithout, error);
  } else if (row.status == 1) {
    note(ErrorGroup::kCorrected, error);
  } else {
    note(row.status == 2 ? ErrorGroup::kDeadReckoned : ErrorGroup::kLongOutage, error);
  }
}

std::string Summary::text() const {
  return check_.text() + describe_counts() + describe_host() + describe_states() +
         describe_not_finite() + describe_outages() + describe_errors() + describe_steps();
}

std::string Summary::describe_counts() const {
  std::string text = fmt::format(
      "Log length   {:.1f} s\n"
      "Epochs       {} processed, {} waiting\n"
      "Fixes        {}: {} healthy, {} without; {} accepted\n",
      check_.length(), epochs_processed_, epochs_waiting_, fixes_, healthy_, fixes_ - healthy_,
      accepted_);
  if (rows_skipped_ > 0) text += fmt::format("Skipped rows {} (malformed)\n", rows_skipped_);
  return text;
}

std::string Summary::describe_host() const {
  if (!is_careful(care_)) return {};
  std::string text = fmt::format(
      "Host         {} and {} dropped, {} refused, {} without a fix, {} filled, {}, {}",
      counted(counts_.events_dropped, "event", "events"),
      counted(counts_.fixes_dropped, "fix", "fixes"), counts_.fixes_refused,
      counted(counts_.outage_rows, "row", "rows"), counted(counts_.gaps_filled, "gap", "gaps"),
      counted(counts_.resets, "reset", "resets"), counted(counts_.restarts, "restart", "restarts"));
  if (std::isfinite(counts_.mounting_yaw)) {
    text += fmt::format("; phone's yaw {:.1f} degrees, sigma {:.1f}", counts_.mounting_yaw,
                        counts_.mounting_yaw_sigma);
  }
  const bool by_hand = std::isfinite(care_.fix_clock_offset);
  const double offset = by_hand ? care_.fix_clock_offset : counts_.fix_clock_offset;
  if (std::isfinite(offset)) {
    text += fmt::format("; clock of fixes {:+.2f} s{}", offset, by_hand ? " (given)" : "");
  }
  return text + '\n';
}

std::string Summary::describe_states() const {
  std::string text;
  const char* title = "States";
  for (std::size_t i = 0; i < kStates; ++i) {
    const auto state = static_cast<State>(i);
    text += fmt::format("{:<12} {:<20} ", title, kStateNames[i]);
    title = "";
    if (const auto time = states_.reached(state)) {
      text += fmt::format("{:>11}\n", figure(check_.since_start(*time), "s"));
    } else {
      text += fmt::format("{:>11}  {}", "not reached", states_.obstacle(state));
      if (state == State::kAttitude && states_.tilt_lost()) {
        text += ": " + describe(tilt_cause_, check_);
      }
      text += '\n';
    }
  }
  if (last_) {
    const bool finite = is_finite(fused_place(last_->row));
    text += fmt::format("At the end   status {} ({}{}), car flags {}, walker {}\n",
                        last_->row.status, status_name(*last_), finite ? "" : ", not finite",
                        last_->row.car_flag, last_->row.pdr_flag);
  }
  return text;
}

std::string Summary::describe_not_finite() const {
  std::string text;
  std::int64_t told = 0;
  for (const NotFinite& stretch : not_finite_) {
    text += fmt::format("{:<12} {} of {} positions, from {:.1f} s: {}\n",
                        text.empty() ? "Not finite" : "", stretch.count, fixes_,
                        check_.since_start(stretch.from_ns), describe(stretch.cause, check_));
    told += stretch.count;
  }
  if (not_finite_more_ > 0) {
    text += fmt::format("{:<12} {} more later\n", "", not_finite_positions_ - told);
  }
  return text;
}

std::string Summary::describe_outages() const {
  if (!states_.reached(State::kPosition)) return "Outages      none: the position was never set\n";
  if (outages().empty()) return "Outages      none while the position was set\n";
  std::string text =
      fmt::format("Outages      {:>9} {:>6} {:>9} {:>10} {:>10} {:>9}  {}\n", "start", "fixes",
                  "duration", "driven", "error", "of driven", "status");
  for (const Outage& outage : outages()) {
    const double part = outage.driven >= kLeastDriven ? 100.0 * outage.error / outage.driven
                                                      : std::numeric_limits<double>::quiet_NaN();
    text += fmt::format("{:12} {:>9} {:>6} {:>9} {:>10} {:>10} {:>9}  {}{}\n", "",
                        figure(check_.since_start(outage.start_ns), "s"), outage.fixes,
                        figure(outage.duration, "s"), figure(outage.driven, "m"),
                        figure(outage.error, "m"), figure(part, "%"), outage.status,
                        restart_remark(outage));
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
