#include "tools/evaluation/replay.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>
#include <variant>

#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

// Truth may stand this much behind the fix it belongs to; a log without truth delays its rows by as
// much.
constexpr double kLatestTruth = 5.0;        // s
constexpr std::size_t kMostWaiting = 1000;  // rows, however dense the fixes are

}  // namespace

Replay::Replay(std::function<void(const TrackRow&)> deliver, const HostOptions& care)
    : deliver_(std::move(deliver)),
      host_([this](const FixAnswer& answer) { take(answer); }, care),
      summary_(care) {}

void Replay::play(const EventRow& row, std::int64_t line) {
  summary_.add(row, line);
  if (const auto* sensor = std::get_if<SensorRow>(&row)) {
    host_.deliver(*sensor);
  } else if (const auto* fix = std::get_if<FixRow>(&row)) {
    host_.deliver(*fix);
  } else if (const auto* truth = std::get_if<TruthRow>(&row)) {
    truth_.add(*truth);
  }
  while (!waiting_.empty() && settled(waiting_.front())) hand_out_front();
}

void Replay::take(FixAnswer answer) {
  if (std::fabs(seconds_between(answer.row.time_ns, now())) > kLongestSilence) {
    answer.log_time_ns = now();
  }
  summary_.watch(answer);
  waiting_.push_back({answer, now()});
}

// Not that of the fixes: a wild stamp would hold up all rows behind it.
std::int64_t Replay::now() const {
  return summary_.check().clock().now().value_or(0);
}

bool Replay::settled(const Waiting& waiting) const {
  const TrackRow& row = waiting.answer.row;
  return truth_.covers(std::max(row.time_ns, row.output_time_ns)) ||
         waiting_.size() > kMostWaiting ||
         std::fabs(seconds_between(waiting.since_ns, now())) > kLatestTruth;
}

void Replay::hand_out_front() {
  FixAnswer answer = waiting_.front().answer;
  waiting_.pop_front();
  if (const std::optional<Place> truth = truth_.at(answer.row.output_time_ns)) {
    answer.row.truth_latitude = truth->latitude;
    answer.row.truth_longitude = truth->longitude;
  }
  summary_.add(answer, truth_.at(answer.row.time_ns));
  deliver_(answer.row);
}

void Replay::flush() {
  host_.flush();
  while (!waiting_.empty()) hand_out_front();
}

Summary Replay::finish(std::int64_t rows_skipped) {
  flush();
  summary_.finish(host_, rows_skipped);
  return std::move(summary_);
}

}  // namespace zuvdr::tools
