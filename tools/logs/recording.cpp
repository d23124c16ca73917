#include "tools/logs/recording.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "tools/logs/text_fields.h"

namespace zuvdr::tools {

void Tally::add(const std::string& kind, const std::string& what, const std::string& where) {
  const auto same = [&](const Entry& entry) { return entry.kind == kind && entry.what == what; };
  const auto found = std::ranges::find_if(entries_, same);
  if (found != entries_.end()) {
    ++found->count;
  } else {
    entries_.push_back({kind, what, where, 1});
  }
}

std::int64_t Tally::count() const {
  return std::accumulate(entries_.begin(), entries_.end(), std::int64_t{0},
                         [](std::int64_t sum, const Entry& entry) { return sum + entry.count; });
}

std::vector<std::string> Tally::lines() const {
  std::vector<std::string> lines;
  for (const Entry& entry : entries_) {
    const bool one = entry.count == 1;
    lines.push_back(fmt::format("{} {} row{}{}{}{}{}", entry.count, entry.kind, one ? "" : "s",
                                entry.what.empty() ? "" : " ", entry.what, one ? ": " : ", first ",
                                entry.first));
  }
  return lines;
}

std::int64_t read_time(std::string_view name, std::string_view text) {
  const auto time = read_number<std::int64_t>(name, text);
  if (time < 0 || time > kLatestTime) fail_field(name, "out of range", text);
  return time;
}

double read_finite(std::string_view name, std::string_view text) {
  const auto value = read_number<double>(name, text);
  if (!std::isfinite(value)) fail_field(name, "not finite", text);
  return value;
}

double read_optional(std::string_view name, std::string_view text) {
  if (text.empty()) return std::numeric_limits<double>::quiet_NaN();
  return read_number<double>(name, text);
}

double read_angle(std::string_view name, std::string_view text, double limit) {
  const double angle = read_finite(name, text);
  if (std::fabs(angle) > limit) {
    fail_field(name, fmt::format("not within {} to {}", -limit, limit), text);
  }
  return angle;
}

void split_fields(std::string_view line, std::vector<std::string_view>& fields) {
  fields.clear();
  for (FieldSplitter split(line); fields.empty() || !split.at_end();)
    fields.push_back(split.next());
}

RecordingReader::RecordingReader(Recording recording) : recording_(std::move(recording)) {
  malformed_ = recording_.malformed.lines();
  if (recording_.sensors.empty() && recording_.fixes.empty()) {
    if (recording_.broke) throw *recording_.broke;
    std::string why = fmt::format("{}: no sensor rows and no fixes", recording_.name);
    for (const std::string& line : malformed_) why += "; " + line;
    throw InputError(why);
  }
  const auto sensor_time = [](const Recording::Sensor& row) { return row.event.timestamp; };
  const auto fix_time = [](const Recording::Fix& row) { return row.fix.time_ns; };
  std::ranges::stable_sort(recording_.sensors, {}, sensor_time);
  std::ranges::stable_sort(recording_.fixes, {}, fix_time);
}

bool RecordingReader::next(EventRow& row) {
  const auto& sensors = recording_.sensors;
  const auto& fixes = recording_.fixes;
  const bool fix_left = next_fix_ < fixes.size();
  if (next_sensor_ < sensors.size() &&
      (!fix_left || sensors[next_sensor_].event.timestamp <= fixes[next_fix_].fix.time_ns)) {
    line_ = sensors[next_sensor_].line;
    row = SensorRow{sensors[next_sensor_++].event};
    return true;
  }
  if (fix_left) {
    line_ = fixes[next_fix_].line;
    row = FixRow{fixes[next_fix_++].fix, 0};
    return true;
  }
  if (recording_.broke) throw *recording_.broke;
  return false;
}

std::vector<std::string> RecordingReader::remarks() const {
  std::vector<std::string> lines;
  for (const std::string& line : malformed_) lines.push_back("skipped " + line);
  for (const std::string& line : recording_.dropped.lines()) lines.push_back("dropped " + line);
  for (const std::string& note : recording_.notes) {
    lines.push_back(fmt::format("{}: {}", recording_.name, note));
  }
  return lines;
}

double RecordingReader::progress() const {
  return static_cast<double>(next_sensor_ + next_fix_) /
         static_cast<double>(recording_.sensors.size() + recording_.fixes.size());
}

}  // namespace zuvdr::tools
