// What a replay tells people at its end.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/evaluation/engine_host.h"
#include "tools/evaluation/error_figures.h"
#include "tools/evaluation/outages.h"
#include "tools/evaluation/truth_window.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// Groups of positions whose errors are told apart.
enum class ErrorGroup { kCorrected, kDeadReckoned, kLongOutage, kWalker, kFused, kFixes };
inline constexpr std::size_t kErrorGroups = 6;

class Summary {
 public:
  // Every row of the log, in order.
  void add(const EventRow& row);

  // The answer to every fix, in order, with truth in its row where there is one. `truth_at_fix`:
  // at the time of the fix.
  void add(const FixAnswer& answer, const std::optional<Place>& truth_at_fix);

  // To be called once at the end of the log.
  void finish(const EngineHost& host, std::int64_t rows_skipped);

  const std::vector<Outage>& outages() const { return outages_.outages(); }
  const ErrorFigures& errors(ErrorGroup group) const {
    return errors_[static_cast<std::size_t>(group)];
  }

  // For people, several lines.
  std::string text() const;

 private:
  // What a drive goes through on its way to a converged solution, and the walker.
  static constexpr std::size_t kStates = 6;

  void note_time(std::int64_t time_ns);
  void note_states(const FixAnswer& answer);
  void note_errors(const FixAnswer& answer, const std::optional<Place>& truth_at_fix);
  double since_start(std::int64_t time_ns) const;

  std::string describe_counts() const;
  std::string describe_states() const;
  std::string describe_outages() const;
  std::string describe_errors() const;
  std::string describe_steps() const;

  std::optional<std::int64_t> first_time_;
  std::int64_t last_time_ = 0;
  std::int64_t epochs_processed_ = 0;
  std::int64_t epochs_waiting_ = 0;
  std::int64_t rows_skipped_ = 0;
  std::int64_t fixes_ = 0;
  std::int64_t healthy_ = 0;
  std::int64_t accepted_ = 0;
  std::int64_t outside_ = 0;  // the north-eastern quadrant
  std::int64_t reference_steps_ = 0;
  std::array<std::optional<std::int64_t>, kStates> reached_;  // time of the fix
  std::optional<FixAnswer> last_;
  OutageFinder outages_;
  std::array<ErrorFigures, kErrorGroups> errors_;
};

}  // namespace zuvdr::tools
