// What a replay tells people at its end.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/evaluation/engine_host.h"
#include "tools/evaluation/error_figures.h"
#include "tools/evaluation/log_check.h"
#include "tools/evaluation/outages.h"
#include "tools/evaluation/states.h"
#include "tools/evaluation/truth_window.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// Groups of positions whose errors are told apart.
enum class ErrorGroup {
  kCorrected,
  kDeadReckoned,
  kLongOutage,
  kWithout,  // status 0 in an outage, or at a lone fix not accepted
  kWalker,
  kFused,  // all of these
  kFixes
};
inline constexpr std::size_t kErrorGroups = 7;

class Summary {
 public:
  explicit Summary(const HostOptions& care = HostOptions::none());

  // Every row of the log, in order; line 0: unknown.
  void add(const EventRow& row, std::int64_t line);

  // The answer to every fix, as soon as it is there.
  void watch(const FixAnswer& answer);

  // The answer to every fix, in order, with truth in its row where there is one. `truth_at_fix`:
  // at the time of the fix.
  void add(const FixAnswer& answer, const std::optional<Place>& truth_at_fix);

  // To be called once at the end of the log.
  void finish(const EngineHost& host, std::int64_t rows_skipped);

  const LogCheck& check() const { return check_; }
  const std::vector<Outage>& outages() const { return outages_.outages(); }
  const ErrorFigures& errors(ErrorGroup group) const {
    return errors_[static_cast<std::size_t>(group)];
  }

  // For people, several lines.
  std::string text() const;

 private:
  // Positions in a row that are not finite.
  struct NotFinite {
    std::int64_t count;
    std::int64_t from_ns;  // time of the first
    std::optional<NanSource> cause;
  };
  // What may have harmed the solution.
  struct Suspect {
    NanSource source;
    int finite = 0;  // positions since
  };

  void note_nan_sources(const FixAnswer& answer);
  void forget_suspects(const FixAnswer& answer);
  std::optional<NanSource> cause() const;
  void note_errors(const FixAnswer& answer, const std::optional<Place>& truth_at_fix);

  std::string describe_counts() const;
  std::string describe_host() const;
  std::string describe_states() const;
  std::string describe_not_finite() const;
  std::string describe_outages() const;
  std::string describe_errors() const;
  std::string describe_steps() const;

  HostOptions care_;
  HostCounts counts_;
  LogCheck check_;
  States states_;
  std::int64_t epochs_processed_ = 0;
  std::int64_t epochs_waiting_ = 0;
  std::int64_t rows_skipped_ = 0;
  std::int64_t fixes_ = 0;
  std::int64_t healthy_ = 0;
  std::int64_t accepted_ = 0;
  std::int64_t reference_steps_ = 0;
  std::vector<NotFinite> not_finite_;      // the first three stretches
  std::int64_t not_finite_more_ = 0;       // stretches behind them
  std::int64_t not_finite_positions_ = 0;  // in all stretches
  bool not_finite_now_ = false;
  std::vector<Suspect> suspects_;          // earliest first
  std::optional<NanSource> filtered_;      // first sample that stays in the engine's filters
  std::optional<NanSource> latest_cause_;  // until a vehicle position is finite again
  std::optional<NanSource> tilt_cause_;
  bool tilt_lost_ = false;
  bool aligned_ = false;  // at the fix before
  std::optional<FixAnswer> last_;
  OutageFinder outages_;
  std::array<ErrorFigures, kErrorGroups> errors_;
};

}  // namespace zuvdr::tools
