#include "tools/logs/event_log.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tools/logs/text_fields.h"

namespace zuvdr::tools {
namespace {

constexpr unsigned kChunkSize = 1 << 16;       // bytes asked of zlib at a time
constexpr std::size_t kLongestLine = 1 << 12;  // bytes; the longest row takes a few hundred
constexpr std::size_t kMostHeaders = 64;       // comment keys remembered
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
  Fields(const FieldSplitter& behind_kind, std::span<const std::string_view> names)
      : split_(behind_kind), names_(names) {}

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

SensorRow parse_sensor(const FieldSplitter& behind_kind) {
  Fields fields(behind_kind, kSensorFields);
  SensorData event{};
  fields.take(event.type, event.timestamp, event.values[0]);
  for (std::size_t i = 1; i < std::size(event.values) && !fields.at_end(); ++i) {
    fields.take(event.values[i]);
  }
  fields.finish();
  return {event};
}

FixRow parse_fix(const FieldSplitter& behind_kind) {
  Fields fields(behind_kind, kFixFields);
  GpsData fix{};
  int sample = 0;
  fields.take(fix.time_ns, fix.latitude, fix.longitude, fix.altitude, fix.speed, fix.vel_acc_e,
              fix.vel_acc_n, fix.vel_acc_u, fix.pos_acc_e, fix.pos_acc_n, fix.pos_acc_u, fix.vel_e,
              fix.vel_n, fix.vel_u, fix.speed_acc, fix.bearing, sample);
  fields.finish();
  return {fix, sample};
}

TruthRow parse_truth(const FieldSplitter& behind_kind) {
  Fields fields(behind_kind, kTruthFields);
  TruthRow truth{};
  double* const v = truth.velocity;
  double* const a = truth.attitude;
  std::fill_n(v, 3, kMissing);
  std::fill_n(a, 3, kMissing);
  fields.take(truth.time_ns, truth.latitude, truth.longitude, truth.altitude);
  if (!fields.at_end()) fields.take(v[0], v[1], v[2]);
  if (!fields.at_end()) fields.take(a[0], a[1], a[2]);
  fields.finish();
  return truth;
}

StepRow parse_step(const FieldSplitter& behind_kind) {
  Fields fields(behind_kind, kStepFields);
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
  std::string name;  // for messages
  bool lenient = false;
  gzFile file = nullptr;
  double size = kMissing;  // bytes on disk
  std::vector<char> chunk = std::vector<char>(kLongestLine + 1 + kChunkSize);
  std::string_view unread;  // part of the chunk
  std::string_view line;    // part of the chunk; only its first kLongestLine + 1 bytes
  std::int64_t line_number = 0;
  std::int64_t skipped = 0;
  std::map<std::string, std::string> headers;

  ~State() {
    if (file != nullptr) gzclose(file);
  }

  void open(const std::string& path);
  bool fill();
  bool next_line();
  void remember_header(std::string_view comment);
};

void EventLogReader::State::open(const std::string& path) {
  if (path == "-") {
    name = "standard input";
    file = gzdopen(dup(STDIN_FILENO), "rb");
  } else {
    name = path;
    errno = 0;
    file = gzopen(path.c_str(), "rb");
    struct stat status {};
    if (file != nullptr && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
      size = static_cast<double>(status.st_size);
    }
  }
  if (file == nullptr)
    throw EventLogError(fmt::format("{}: cannot open: {}", name, std::strerror(errno)));
}

// Reads more behind the unread begin of a line, of which what is too long is dropped; false at the
// end of the log. zlib reports a gzip stream that breaks off through gzerror only once everything
// before the break has been delivered.
bool EventLogReader::State::fill() {
  const std::size_t kept = std::min(unread.size(), kLongestLine + 1);
  if (kept > 0) std::memmove(chunk.data(), unread.data(), kept);
  unread = std::string_view(chunk.data(), kept);
  errno = 0;
  const int count = gzread(file, chunk.data() + kept, kChunkSize);
  if (count > 0) {
    unread = std::string_view(chunk.data(), kept + static_cast<std::size_t>(count));
    return true;
  }
  int code = Z_OK;
  const char* message = gzerror(file, &code);
  if (code == Z_ERRNO)
    throw EventLogError(fmt::format("{}: cannot read: {}", name, std::strerror(errno)));
  if (code == Z_BUF_ERROR) {
    throw EventLogError(fmt::format("{}: gzip stream breaks off after line {}", name, line_number));
  }
  if (count < 0 || (code != Z_OK && code != Z_STREAM_END)) {
    throw EventLogError(
        fmt::format("{}: damaged gzip stream after line {}: {}", name, line_number, message));
  }
  return false;
}

bool EventLogReader::State::next_line() {
  std::size_t end = unread.find('\n');
  while (end == std::string_view::npos && fill()) end = unread.find('\n');
  if (unread.empty()) return false;
  line = unread.substr(0, std::min(end, kLongestLine + 1));
  unread.remove_prefix(std::min(end, unread.size() - 1) + 1);
  ++line_number;
  return true;
}

void EventLogReader::State::remember_header(std::string_view comment) {
  const std::size_t colon = comment.find(':');
  if (colon == std::string_view::npos) return;
  const std::string key(trim(comment.substr(0, colon)));
  if (key.empty() || (headers.size() >= kMostHeaders && !headers.contains(key))) return;
  headers[key] = trim(comment.substr(colon + 1));
}

EventLogReader::EventLogReader(const std::string& path, bool lenient)
    : state_(std::make_unique<State>()) {
  state_->lenient = lenient;
  state_->open(path);
}

EventLogReader::~EventLogReader() = default;

bool EventLogReader::next(EventRow& row) {
  while (state_->next_line()) {
    std::string_view text = state_->line;
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (state_->line_number == 1 && text.starts_with(kByteOrderMark)) {
      text.remove_prefix(kByteOrderMark.size());
    }
    text = trim(text);
    if (text.empty()) continue;
    if (text.front() == '#') {
      state_->remember_header(text.substr(1));
      continue;
    }
    try {
      if (state_->line.size() > kLongestLine) fail_field("line", "too long", text);
      row = parse_row(text);
      return true;
    } catch (const FieldError& error) {
      if (!state_->lenient) {
        throw EventLogError(
            fmt::format("{}:{}: {}", state_->name, state_->line_number, error.what));
      }
      ++state_->skipped;
    }
  }
  return false;
}

std::int64_t EventLogReader::skipped() const {
  return state_->skipped;
}

std::string EventLogReader::header(const std::string& key) const {
  const auto found = state_->headers.find(key);
  return found == state_->headers.end() ? std::string{} : found->second;
}

double EventLogReader::progress() const {
  return static_cast<double>(gzoffset(state_->file)) / state_->size;
}

struct EventLogWriter::State {
  std::string name;
  gzFile file = nullptr;
  fmt::memory_buffer row;

  ~State() {
    if (file != nullptr) gzclose(file);
  }

  [[noreturn]] void fail_to_write() const {
    throw EventLogError(fmt::format("{}: cannot write: {}", name, std::strerror(errno)));
  }

  void put_row() {
    row.push_back('\n');
    errno = 0;
    if (gzwrite(file, row.data(), static_cast<unsigned>(row.size())) == 0) fail_to_write();
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

EventLogWriter::EventLogWriter(const std::string& path) : state_(std::make_unique<State>()) {
  constexpr const char* kPlain = "wbT";  // T: zlib hands the bytes through
  errno = 0;
  if (path == "-") {
    state_->name = "standard output";
    state_->file = gzdopen(dup(STDOUT_FILENO), kPlain);
  } else {
    state_->name = path;
    state_->file = gzopen(path.c_str(), path.ends_with(".gz") ? "wb" : kPlain);
  }
  if (state_->file == nullptr) {
    throw EventLogError(fmt::format("{}: cannot open: {}", state_->name, std::strerror(errno)));
  }
}

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
  if (state_->file == nullptr) return;
  errno = 0;
  if (gzclose(std::exchange(state_->file, nullptr)) != Z_OK) state_->fail_to_write();
}

}  // namespace zuvdr::tools
