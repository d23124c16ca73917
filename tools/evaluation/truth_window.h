// The latest stretch of true positions, interpolated linearly in time.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "tools/evaluation/log_clock.h"
#include "tools/logs/event_log.h"
#include "tools/logs/place.h"

namespace zuvdr::tools {

class TruthWindow {
 public:
  // Rows not later than the latest one are dropped, so are those that fell out of the window. A row
  // more than 5 s from the latest one counts once the next one shows that time has jumped.
  void add(const TruthRow& row);

  // True when a position at this time can get no better by waiting for more rows.
  bool covers(std::int64_t time_ns) const;

  // None outside the rows and in gaps of more than 5 s.
  std::optional<Place> at(std::int64_t time_ns) const;

 private:
  void append(const TruthRow& row);

  LogClock clock_;
  TruthRow held_{};  // the row whose stamp the clock holds
  std::deque<TruthRow> rows_;
};

}  // namespace zuvdr::tools
