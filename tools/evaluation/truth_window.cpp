#include "tools/evaluation/truth_window.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

// A fused position may be as old as the last sensor epoch; when sensors stall for longer, it goes
// without truth.
constexpr double kWindow = 60.0;            // s
constexpr std::size_t kMostRows = 1 << 14;  // 60 s at 270 Hz
constexpr double kLongestGap = 5.0;         // s; a straight line over more says little

}  // namespace

void TruthWindow::add(const TruthRow& row) {
  const LogClock::Verdict verdict = clock_.add(row.time_ns);
  if (verdict.released) {
    if (held_.time_ns < rows_.back().time_ns) rows_.clear();
    append(held_);
  }
  if (verdict.in_line) {
    append(row);
  } else {
    held_ = row;
  }
}

void TruthWindow::append(const TruthRow& row) {
  if (!rows_.empty() && row.time_ns <= rows_.back().time_ns) return;
  rows_.push_back(row);
  while (rows_.size() > kMostRows ||
         seconds_between(rows_.front().time_ns, rows_.back().time_ns) > kWindow) {
    rows_.pop_front();
  }
}

bool TruthWindow::covers(std::int64_t time_ns) const {
  return !rows_.empty() && time_ns <= rows_.back().time_ns;
}

std::optional<Place> TruthWindow::at(std::int64_t time_ns) const {
  if (clock_.held() == time_ns) return Place{held_.latitude, held_.longitude};
  const auto after =
      std::lower_bound(rows_.begin(), rows_.end(), time_ns,
                       [](const TruthRow& row, std::int64_t time) { return row.time_ns < time; });
  if (after == rows_.end()) return std::nullopt;
  if (after->time_ns == time_ns) return Place{after->latitude, after->longitude};
  if (after == rows_.begin()) return std::nullopt;
  const auto before = std::prev(after);
  const double gap = seconds_between(before->time_ns, after->time_ns);
  if (gap > kLongestGap) return std::nullopt;
  const double part = seconds_between(before->time_ns, time_ns) / gap;
  const double east = std::remainder(after->longitude - before->longitude, 360.0);
  return Place{before->latitude + (after->latitude - before->latitude) * part,
               before->longitude + east * part};
}

}  // namespace zuvdr::tools
