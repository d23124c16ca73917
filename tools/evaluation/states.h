// What the engine goes through on its way to a solution, when, and what it waited for in vain.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "tools/evaluation/engine_host.h"

namespace zuvdr::tools {

// The vehicle's, in order, each of which needs the one before; and the walker's.
enum class State { kVehicleMode, kAligned, kAttitude, kPosition, kConverged, kWalker };
inline constexpr std::size_t kStates = 6;

class States {
 public:
  // The answer to every fix, in order.
  void add(const FixAnswer& answer);

  std::optional<std::int64_t> reached(State state) const {
    return reached_[static_cast<std::size_t>(state)];
  }

  // The condition that never came true for a state that was not reached.
  std::string obstacle(State state) const;

  bool tilt_lost() const { return tilt_lost_; }  // NaN after the navigator was aligned

 private:
  void note_times(const FixAnswer& answer);
  std::string why_not_aligned() const;
  std::string why_no_position() const;
  std::string why_not_converged() const;
  std::string why_no_walker() const;

  std::array<std::optional<std::int64_t>, kStates> reached_;  // time of the fix
  std::int64_t fixes_ = 0;
  // Accepted fixes, m/s; minus infinity when none of them had a speed.
  std::optional<double> fastest_;
  std::optional<double> fastest_ready_;  // the same while only the position was missing
  std::optional<double> moving_ready_;   // the same while the sensors did not stand still either
  bool processed_ = false;               // a sensor epoch
  bool walking_speed_ = false;           // of a fix, which alone does not end a bout of steps
  bool accepted_while_walking_ = false;
  bool quiet_ = false;  // for long enough, in vehicle mode
  bool navigator_ran_ = false;
  bool converged_ = false;
  bool corrected_ = false;  // by a fix, a vehicle position, after that
  bool given_up_ = false;   // at a fix, which only the guard of the quadrant does
  bool walker_started_ = false;
  std::optional<double> best_tilt_;   // degrees
  bool tilt_lost_ = false;            // not finite
  std::deque<bool> verdicts_;         // of the latest fixes since the position was set
  std::ptrdiff_t most_accepted_ = 0;  // of these
};

}  // namespace zuvdr::tools
