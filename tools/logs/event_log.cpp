#include "tools/logs/event_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tools/logs/line_reader.h"
#include "tools/logs/text_fields.h"
#include "tools/logs/text_file.h"

namespace zuvdr::tools {
namespace {

constexpr std::size_t kMostHeaders = 64;  // comment keys remembered
constexpr std::size_t kMostSkippedNamed = 10;
constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

constexpr std::string_view kSensorFields[] = {"type", "timestamp_ns", "v0", "v1",
                                              "v2",   "v3",           "v4", "v5"};
constexpr std::string_view kFixFields[] = {
    "time_ns",   "latitude",  "longitude", "altitude",  "speed",     "vel_acc_e",
    "vel_acc_n", "vel_acc_u", "pos_acc_e", "pos_acc_n", "pos_acc_u", "vel_e",
    "vel_n",     "vel_u",     "speed_acc", "bearing",   "sample"};
constexpr std::string_view kTruthFields[] = {"time_ns", "latitude", "longitude", "altitude",
                                             "vel_e",   "vel_n",    "vel_u",     "roll",
                                             "pitch",   "yaw"};
constexpr std::string_view kStepFields[] = {"time_ns"};

// The fields of one row behind its kind, taken in order and named by `names`.
class Fields {
 public:
  Fields(const FieldSplitter& after_kind, std::span<const std::string_view> names)
      : split_(after_kind), names_(names) {}

  bool at_end() const { return split_.at_end(); }

  template <typename... Numbers>
  void take(Numbers&... values) {
    (take_one(values), ...);
  }

  // To be called when everything the kind of row can hold has been taken.
  void finish() {
    if (!at_end()) fail_field(std::to_string(taken_ + 2), "one too many", split_.next());
  }

 private:
  template <typename Number>
  void take_one(Number& value) {
    const std::string_view name = names_[taken_++];
    if (at_end()) fail_field(name, "missing", {});
    value = split_.next_number<Number>(name);
  }

  FieldSplitter split_;
  std::span<const std::string_view> names_;
  std::size_t taken_ = 0;
};

SensorRow parse_sensor(const FieldSplitter& after_kind) {
  Fields fields(after_kind, kSensorFields);
  SensorData event{};
  fields.take(event.type, event.timestamp, event.values[0]);
  for (std::size_t i = 1; i < std::size(event.values) && !fields.at_end(); ++i) {
    fields.take(event.values[i]);
  }
  fields.finish();
  return {event};
}

// Hosts and truth alike; NaN and infinity are let through, to show how the engine takes them.
void check_latitude(double latitude) {
  constexpr double kPole = 90.0;  // degrees
  if (std::isfinite(latitude) && std::fabs(latitude) > kPole) {
    fail_field("latitude", "not within -90 to 90", fmt::format("{}", latitude));
  }
}

FixRow parse_fix(const FieldSplitter& after_kind) {
  Fields fields(after_kind, kFixFields);
  GpsData fix{};
  int sample = 0;
  fields.take(fix.time_ns, fix.latitude, fix.longitude, fix.altitude, fix.speed, fix.vel_acc_e,
              fix.vel_acc_n, fix.vel_acc_u, fix.pos_acc_e, fix.pos_acc_n, fix.pos_acc_u, fix.vel_e,
              fix.vel_n, fix.vel_u, fix.speed_acc, fix.bearing, sample);
  fields.finish();
  check_latitude(fix.latitude);
  return {fix, sample};
}

TruthRow parse_truth(const FieldSplitter& after_kind) {
  Fields fields(after_kind, kTruthFields);
  TruthRow truth{};
  double* const v = truth.velocity;
  double* const a = truth.attitude;
  std::fill_n(v, 3, kMissing);
  std::fill_n(a, 3, kMissing);
  fields.take(truth.time_ns, truth.latitude, truth.longitude, truth.altitude);
  if (!fields.at_end()) fields.take(v[0], v[1], v[2]);
  if (!fields.at_end()) fields.take(a[0], a[1], a[2]);
  fields.finish();
  check_latitude(truth.latitude);
  return truth;
}

StepRow parse_step(const FieldSplitter& after_kind) {
  Fields fields(after_kind, kStepFields);
  StepRow step{};
  fields.take(step.time_ns);
  fields.finish();
  return step;
}

EventRow parse_row(std::string_view row) {
  FieldSplitter fields(row);
  const std::string_view kind = fields.next();
  if (kind == "S") return parse_sensor(fields);
  if (kind == "G") return parse_fix(fields);
  if (kind == "T") return parse_truth(fields);
  if (kind == "P") return parse_step(fields);
  fail_field("kind", "not one of S, G, T, P", kind);
}

}  // namespace

struct EventLogReader::State {
  State(std::unique_ptr<LineReader> from, bool pass_over)
      : source(std::move(from)), lines(*source), lenient(pass_over) {}

  void remember_header(std::string_view comment);
  void skip(const FieldError& error);

  std::unique_ptr<LineReader> source;
  LineReader& lines;
  bool lenient;
  std::int64_t rows = 0;
  std::int64_t skipped = 0;
  std::vector<std::string> first_skipped;
  std::map<std::string, std::string> headers;
};

void EventLogReader::State::remember_header(std::string_view comment) {
  const std::size_t colon = comment.find(':');
  if (colon == std::string_view::npos) return;
  const std::string key(trim(comment.substr(0, colon)));
  const auto of_a_key = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  if (key.empty() || !std::ranges::all_of(key, of_a_key)) return;
  if (headers.size() >= kMostHeaders && !headers.contains(key)) return;
  headers[key] = trim(comment.substr(colon + 1));
}

void EventLogReader::State::skip(const FieldError& error) {
  if (!lenient) throw InputError(lines.described(error));
  ++skipped;
  if (first_skipped.size() < kMostSkippedNamed) first_skipped.push_back(lines.described(error));
}

EventLogReader::EventLogReader(const std::string& path, bool lenient)
    : EventLogReader(std::make_unique<LineReader>(path), lenient) {}

EventLogReader::EventLogReader(std::unique_ptr<LineReader> lines, bool lenient)
    : state_(std::make_unique<State>(std::move(lines), lenient)) {}

EventLogReader::~EventLogReader() = default;

bool EventLogReader::next(EventRow& row) {
  for (std::string_view text; state_->lines.next(text);) {
    if (text.empty()) continue;
    if (text.front() == '#') {
      state_->remember_header(text.substr(1));
      continue;
    }
    try {
      if (state_->lines.too_long()) fail_field("line", "too long", text);
      row = parse_row(text);
      ++state_->rows;
      return true;
    } catch (const FieldError& error) {
      state_->skip(error);
    }
  }
  if (state_->rows == 0) {
    const std::string skipped =
        state_->skipped > 0 ? fmt::format(" but {} malformed", state_->skipped) : "";
    throw InputError(fmt::format("{}: no rows{}", state_->lines.name(), skipped));
  }
  return false;
}

std::int64_t EventLogReader::line_number() const {
  return state_->lines.number();
}

std::int64_t EventLogReader::skipped() const {
  return state_->skipped;
}

const std::vector<std::string>& EventLogReader::first_skipped() const {
  return state_->first_skipped;
}

std::string EventLogReader::header(const std::string& key) const {
  const auto found = state_->headers.find(key);
  return found == state_->headers.end() ? std::string{} : found->second;
}

double EventLogReader::progress() const {
  return state_->lines.progress();
}

struct EventLogWriter::State {
  TextFile file;
  fmt::memory_buffer row;

  explicit State(const std::string& path) : file(path) {}

  void put_row() {
    row.push_back('\n');
    file.write({row.data(), row.size()});
    row.clear();
  }

  void append(std::string_view text) { row.append(text); }

  // Shortest digits that read back to the same number of the same type.
  template <typename Number>
  requires std::is_arithmetic_v<Number>
  void append(Number value) { fmt::format_to(std::back_inserter(row), "{}", value); }

  template <typename... Values>
  void append_all(const Values&... values) {
    ((row.push_back(','), append(values)), ...);
  }

  void format(const SensorRow& sensor) {
    const SensorData& event = sensor.event;
    append("S");
    append_all(event.type, event.timestamp);
    // The readers' default for what is left out is +0.
    std::size_t used = std::size(event.values);
    const std::size_t least = event.type == ZUVDR_SENSOR_PRESSURE ? 1 : 3;
    while (used > least && event.values[used - 1] == 0.0 && !std::signbit(event.values[used - 1])) {
      --used;
    }
    for (std::size_t i = 0; i < used; ++i) append_all(event.values[i]);
  }

  void format(const FixRow& row_in) {
    const GpsData& fix = row_in.fix;
    append("G");
    append_all(fix.time_ns, fix.latitude, fix.longitude, fix.altitude, fix.speed, fix.vel_acc_e,
               fix.vel_acc_n, fix.vel_acc_u, fix.pos_acc_e, fix.pos_acc_n, fix.pos_acc_u, fix.vel_e,
               fix.vel_n, fix.vel_u, fix.speed_acc, fix.bearing, row_in.sample);
  }

  // Velocity and attitude are left out from the end when the row has none.
  void format(const TruthRow& truth) {
    append("T");
    append_all(truth.time_ns, truth.latitude, truth.longitude, truth.altitude);
    const bool attitude = !std::isnan(truth.attitude[0]);
    if (attitude || !std::isnan(truth.velocity[0])) {
      append_all(truth.velocity[0], truth.velocity[1], truth.velocity[2]);
    }
    if (attitude) append_all(truth.attitude[0], truth.attitude[1], truth.attitude[2]);
  }

  void format(const StepRow& step) {
    append("P");
    append_all(step.time_ns);
  }
};

EventLogWriter::EventLogWriter(const std::string& path) : state_(std::make_unique<State>(path)) {}

EventLogWriter::~EventLogWriter() = default;

void EventLogWriter::comment(const std::string& text) {
  state_->append("# ");
  state_->append(text);
  state_->put_row();
}

void EventLogWriter::write(const EventRow& row) {
  std::visit([this](const auto& kind) { state_->format(kind); }, row);
  state_->put_row();
}

void EventLogWriter::close() {
  state_->file.close();
}

}  // namespace zuvdr::tools
