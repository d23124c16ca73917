#include "tools/evaluation/log_clock.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

constexpr int kProof = 2;  // advances

bool near(std::int64_t a, std::int64_t b) {
  return std::fabs(seconds_between(a, b)) <= kLongestSilence;
}

}  // namespace

LogClock::Verdict LogClock::add(std::int64_t time_ns) {
  if (!now_) {
    first_ = last_ = time_ns;
    begin_stretch(time_ns);
    return {.in_line = true, .released = false, .dropped = false, .start_was_wild = false};
  }
  Verdict verdict{};
  if (!near(*now_, time_ns) && held_ &&
      (time_ns > *held_ || (time_ns != *held_ && near(*held_, time_ns)))) {
    verdict.released = true;
    verdict.start_was_wild = !proven_ && advances_ == 0 && near(*held_, time_ns);
    begin_stretch(*held_);
    held_.reset();
  }
  verdict.dropped = held_.has_value();
  held_.reset();
  verdict.in_line = near(*now_, time_ns);
  if (verdict.in_line) {
    extend_stretch(time_ns);
  } else {
    held_ = time_ns;
  }
  return verdict;
}

void LogClock::begin_stretch(std::int64_t time_ns) {
  now_ = stretch_begin_ = time_ns;
  advances_ = 0;
  extend_stretch(time_ns);
}

void LogClock::extend_stretch(std::int64_t time_ns) {
  if (time_ns > *now_ && advances_ < kProof) ++advances_;
  now_ = std::max(*now_, time_ns);
  stretch_begin_ = std::min(stretch_begin_, time_ns);
  if (advances_ == kProof && !proven_) {
    proven_ = true;
    first_ = stretch_begin_;
    last_ = *now_;
  } else if (advances_ == kProof || !proven_) {
    first_ = std::min(first_, stretch_begin_);
    last_ = std::max(last_, *now_);
  }
}

}  // namespace zuvdr::tools
