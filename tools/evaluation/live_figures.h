// How far from the truth a host's positions are when an app asks for them as it runs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>

#include "ZuVDRHost.hpp"
#include "tools/evaluation/error_figures.h"
#include "tools/evaluation/truth_window.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// Errors, and how many of them are inside the accuracy stated with the position (aim: 68 %).
struct LiveErrors {
  ErrorFigures errors;
  ErrorFigures stated;  // the accuracies, m
  std::size_t inside = 0;
};

// What a position comes from.
enum class LiveGroup { kCorrected, kNotConverged, kDeadReckoned, kLongOutage, kWalker, kRaw };
inline constexpr std::size_t kLiveGroups = 6;

inline constexpr std::array kDriftTimes{10, 30, 60, 120};  // s since the last good fix

// Plays a log to a host. The engine is one per process and keeps NaN for good, so there should be
// one of these in it.
class LiveFigures {
 public:
  explicit LiveFigures(const HostOptions& care);
  LiveFigures(const LiveFigures&) = delete;
  LiveFigures& operator=(const LiveFigures&) = delete;

  void play(const EventRow& row);
  void finish();  // after the last row

  struct Figures {
    std::size_t fixes = 0;                                     // good ones
    std::size_t corrected = 0;                                 // answered at status 1
    double begins = std::numeric_limits<double>::quiet_NaN();  // s, first good fix to status 1
    std::array<LiveErrors, kLiveGroups> at_fix;
    std::array<LiveErrors, kLiveGroups> later;  // 0.5 s after the time of the fix
    std::array<LiveErrors, kLiveGroups> now;    // every 0.2 s, at the time of the newest event
    LiveErrors now_all;
    std::size_t unanswered = 0;  // times asked without a position, after the first good fix
    // Outages are stretches of more than 5 s without a good fix.
    std::array<LiveErrors, kDriftTimes.size()> drift;
    LiveErrors outage_end;    // when the first good fix comes
    LiveErrors after_outage;  // at that fix
    // Gaps are stretches of more than 1 s without accelerometer or gyroscope.
    LiveErrors in_gaps;    // until 5 s behind them
    ErrorFigures regains;  // s from the end of a gap to status 1; lost: never
  };
  const Figures& figures() const { return figures_; }
  const HostCounts& counts() const { return host_.counts(); }

 private:
  struct Asked {
    std::int64_t time_ns;
    HostPosition position;
    std::array<LiveErrors*, 4> into;
  };
  using Into = std::array<LiveErrors*, 4>;

  void take(const HostAnswer& answer);
  void sensor(const SensorData& event);
  void fix(const FixRow& row);
  void ask_now();
  void ask(std::int64_t time_ns, std::array<LiveErrors, kLiveGroups>* groups, Into into);
  void file(std::int64_t time_ns, const HostPosition& position, Into into);
  void settle(const Asked& asked);
  LiveGroup group_of(const HostPosition& position) const;

  Figures figures_;
  Host host_;
  TruthWindow truth_;
  std::deque<Asked> asked_;  // wait for the truth
  int status_ = 0;           // of the latest answer
  std::optional<std::int64_t> now_;
  std::int64_t asked_at_ = 0;
  std::optional<std::int64_t> first_good_, last_good_;
  std::size_t drifts_asked_ = 0;  // in this outage
  bool outage_ended_ = false;
  std::optional<std::int64_t> fix_to_ask_;  // half a second behind it
  std::optional<std::int64_t> last_motion_;
  std::optional<std::int64_t> gap_end_;
  bool regained_ = true;
};

}  // namespace zuvdr::tools
