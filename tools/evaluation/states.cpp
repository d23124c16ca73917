#include "tools/evaluation/states.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "ZuVDR.h"
#include "engine/limits.h"
#include "tools/evaluation/error_figures.h"

namespace zuvdr::tools {
namespace {

constexpr const char* kNothingProcessed = "no sensor epoch was processed";

bool has(const FixAnswer& answer, int car_flag) {
  return (answer.row.car_flag & car_flag) != 0;
}

bool corrected(const FixAnswer& answer) {
  return answer.output == Output::kVehicle && answer.row.status == 1 && answer.converged;
}

void keep_larger(std::optional<double>& largest, double value) {
  constexpr double kNone = -std::numeric_limits<double>::infinity();
  largest = std::max(largest.value_or(kNone), std::isfinite(value) ? value : kNone);
}

std::string no_faster_fix(const std::optional<double>& fastest, float needed, const char* when) {
  if (!fastest) return fmt::format("no accepted fix{}", when);
  if (std::isinf(*fastest)) return fmt::format("no accepted fix with a speed{}", when);
  return fmt::format("no accepted fix above {} m/s{}: the fastest had {:.1f}", needed, when,
                     *fastest);
}

}  // namespace

void States::add(const FixAnswer& answer) {
  const bool accepted = answer.row.fix_accepted;
  const EngineProbe& engine = answer.engine;
  note_times(answer);

  ++fixes_;
  if (accepted) keep_larger(fastest_, answer.speed);
  if (has(answer, ZUVDR_CAR_VEHICLE_MODE) && engine.long_quiet) quiet_ = true;
  if (engine.navigator_ran) navigator_ran_ = true;
  if (has(answer, ZUVDR_CAR_ALIGNED)) {
    if (!std::isfinite(engine.tilt_sigma)) {
      tilt_lost_ = true;
    } else if (!best_tilt_ || engine.tilt_sigma < *best_tilt_) {
      best_tilt_ = engine.tilt_sigma;
    }
  }
  if (accepted && has(answer, ZUVDR_CAR_ATTITUDE_CONVERGED) &&
      !has(answer, ZUVDR_CAR_POSITION_SET)) {
    keep_larger(fastest_ready_, answer.speed);
    if (engine.moving) keep_larger(moving_ready_, answer.speed);
  }

  if (answer.position_was_set) {
    if (verdicts_.size() == kConvergenceWindow) verdicts_.pop_front();
    verdicts_.push_back(accepted);
    most_accepted_ = std::max(most_accepted_, std::ranges::count(verdicts_, true));
    if (!has(answer, ZUVDR_CAR_POSITION_SET)) given_up_ = true;
  } else {
    verdicts_.clear();
  }
  if (answer.converged) converged_ = true;
  if (corrected(answer)) corrected_ = true;

  if (answer.epochs_processed > 0) processed_ = true;
  if (!(answer.speed < kSlowestWalk || answer.speed > kVehicleSpeed)) walking_speed_ = true;

  if (answer.walker_started) {
    walker_started_ = true;
    if (accepted) accepted_while_walking_ = true;
  }
}

void States::note_times(const FixAnswer& answer) {
  const TrackRow& row = answer.row;
  const std::array<bool, kStates> holds{has(answer, ZUVDR_CAR_VEHICLE_MODE),
                                        has(answer, ZUVDR_CAR_ALIGNED),
                                        has(answer, ZUVDR_CAR_ATTITUDE_CONVERGED),
                                        has(answer, ZUVDR_CAR_POSITION_SET),
                                        corrected(answer) && is_finite(fused_place(row)),
                                        row.pdr_flag != 0};
  for (std::size_t i = 0; i < kStates; ++i) {
    if (holds[i] && !reached_[i]) reached_[i] = answer.time_ns();
  }
}

std::string States::obstacle(State state) const {
  if (fixes_ == 0) return "no fixes";
  switch (state) {
    case State::kVehicleMode:
      return no_faster_fix(fastest_, kVehicleSpeed, "");
    case State::kAligned:
      return why_not_aligned();
    case State::kAttitude:
      if (!reached(State::kAligned)) return "not aligned";
      if (tilt_lost_) return "the tilt was no longer a number";
      return fmt::format("tilt not known to {} degrees: at best {:.2f}", kConvergedTilt,
                         best_tilt_.value_or(0.0));
    case State::kPosition:
      return why_no_position();
    case State::kConverged:
      return why_not_converged();
    case State::kWalker:
      return why_no_walker();
  }
  return {};
}

std::string States::why_not_aligned() const {
  if (!processed_) return kNothingProcessed;
  if (!reached(State::kVehicleMode)) return "not in vehicle mode";
  if (navigator_ran_) return "lost before the next fix: the motion check started it over";
  return fmt::format("no standstill quiet for {} windows and {} s in vehicle mode{}",
                     kQuietWindowsToStand + 1, kLongQuiet, quiet_ ? " with an accepted fix" : "");
}

std::string States::why_no_position() const {
  if (!reached(State::kAttitude)) return "tilt not known";
  if (!fastest_ready_ || *fastest_ready_ <= kAlignmentSpeed) {
    return no_faster_fix(fastest_ready_, kAlignmentSpeed, " from then on");
  }
  if (!moving_ready_ || *moving_ready_ <= kAlignmentSpeed) {
    return fmt::format("the sensors stood still at every accepted fix above {} m/s",
                       kAlignmentSpeed);
  }
  return fmt::format("the velocity did not change between the fixes above {} m/s", kAlignmentSpeed);
}

std::string States::why_not_converged() const {
  if (!reached(State::kPosition)) return "position not set";
  if (given_up_) return "the position was given up: outside the north-eastern quadrant";
  if (corrected_) return "converged, but to positions that are not finite";
  if (converged_) return "converged, but no fix corrected a vehicle position after that";
  return fmt::format("at most {} of {} fixes in a row accepted, not {}", most_accepted_,
                     kConvergenceWindow, kConvergenceSamples);
}

std::string States::why_no_walker() const {
  if (!processed_) return kNothingProcessed;
  const std::string walking = fmt::format("at {} to {} m/s", kSlowestWalk, kVehicleSpeed);
  if (!walking_speed_) return fmt::format("no fix {}: each one ends the bout", walking);
  if (!walker_started_) {
    return fmt::format("no bout of {} steps between fixes that end it", kStepsToStart);
  }
  return fmt::format("no accepted fix{} during a bout of {} steps",
                     accepted_while_walking_ ? " " + walking : "", kStepsToStart);
}

}  // namespace zuvdr::tools
