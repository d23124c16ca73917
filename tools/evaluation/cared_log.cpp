#include "tools/evaluation/cared_log.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <variant>

namespace zuvdr::tools {
namespace {

std::int64_t time_of(const EventRow& row) {
  if (const auto* sensor = std::get_if<SensorRow>(&row)) return sensor->event.timestamp;
  if (const auto* fix = std::get_if<FixRow>(&row)) return fix->fix.time_ns;
  if (const auto* truth = std::get_if<TruthRow>(&row)) return truth->time_ns;
  return std::get<StepRow>(row).time_ns;
}

}  // namespace

CaredLog::CaredLog() {
  host_.watch({.sensor = [this](const SensorData& event) { given_.emplace_back(SensorRow{event}); },
               .fix =
                   [this](const GpsData& fix, int sample) {
                     given_.emplace_back(FixRow{fix, sample});
                   },
               .again =
                   [this](std::int64_t from) {
                     while (!given_.empty() && time_of(given_.back()) >= from) given_.pop_back();
                   }});
}

void CaredLog::add(const EventRow& row) {
  if (const auto* sensor = std::get_if<SensorRow>(&row)) {
    host_.sensor(sensor->event);
  } else if (const auto* fix = std::get_if<FixRow>(&row)) {
    host_.fix(fix->fix, fix->sample);
  } else {
    references_.push_back(row);
  }
}

std::vector<EventRow> CaredLog::finish() {
  host_.flush();
  std::ranges::move(references_, std::back_inserter(given_));
  std::ranges::stable_sort(given_, {}, time_of);
  return std::move(given_);
}

}  // namespace zuvdr::tools
