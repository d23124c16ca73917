#include "tools/evaluation/steps.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <deque>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "tools/evaluation/engine_probe.h"
#include "tools/logs/event_log.h"
#include "tools/logs/text_fields.h"
#include "tools/logs/time_difference.h"

namespace zuvdr::tools {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StepSeries, declared, reference, from, to)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(WalkLog, path, subject, position, activity, steps, bout_steps,
                                   last_epoch, has_reference, skipped, first_skipped, scores)

namespace {

constexpr int kConfirmedBout = 10;  // steps
constexpr std::size_t kChildrenAtOnce = 2;
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

// times: of the epochs, s; reference: P rows, s.
std::string score_rows(const std::string& path, const std::vector<DetectedEpoch>& epochs,
                       const std::vector<double>& times, const std::vector<double>& reference) {
  std::vector<bool> near_reference(times.size());
  for (const double time : reference) {
    if (times.empty()) break;
    auto epoch = std::ranges::lower_bound(times, time);
    const bool first = epoch == times.begin();
    if (epoch == times.end() || (!first && time - *std::prev(epoch) < *epoch - time)) --epoch;
    near_reference[static_cast<std::size_t>(epoch - times.begin())] = true;
  }
  const std::string log = csv_field(path);
  std::string rows;
  for (std::size_t i = 0; i < epochs.size(); ++i) {
    const DetectedEpoch& epoch = epochs[i];
    const std::string scores =
        epoch.scored ? fmt::format("{},{}", epoch.acc_score, epoch.gyr_score) : ",";
    fmt::format_to(std::back_inserter(rows), "{},{:.6f},{},{},{},{:d},{:d},{:d},{:d},{:d}\n", log,
                   times[i], epoch.acc, epoch.gyr, scores, epoch.acc_hit, epoch.gyr_hit,
                   epoch.gate_open, epoch.step, bool{near_reference[i]});
  }
  return rows;
}

WalkLog read_in_this_process(const std::string& path, const WalkReading& reading) {
  Reset();
  EventLogReader reader(path, reading.lenient);
  WalkLog log;
  log.path = path;
  std::optional<std::int64_t> start_ns;
  std::vector<std::int64_t> reference_ns;
  std::vector<DetectedEpoch> epochs;
  std::vector<double> times;
  for (EventRow row; reader.next(row);) {
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      if (!start_ns) start_ns = sensor->event.timestamp;
      const auto epoch = detect_steps(sensor->event);
      if (!epoch) continue;
      log.last_epoch = seconds_between(*start_ns, epoch->time_ns);
      if (epoch->step) {
        log.steps.declared.push_back(log.last_epoch);
        log.bout_steps.push_back(epoch->bout_steps);
      }
      if (reading.scores) {
        epochs.push_back(*epoch);
        times.push_back(log.last_epoch);
      }
    } else if (const auto* step = std::get_if<StepRow>(&row)) {
      reference_ns.push_back(step->time_ns);
    }
  }
  for (const std::int64_t time_ns : reference_ns) {
    log.steps.reference.push_back(seconds_between(start_ns.value_or(0), time_ns));
  }
  log.has_reference = !reference_ns.empty();
  log.skipped = reader.skipped();
  log.first_skipped = reader.first_skipped();
  log.subject = reader.header("subject");
  log.position = reader.header("position");
  log.activity = reader.header("activity");
  set_counted_part(log.steps, path, reader.header("span_s"));
  log.scores = score_rows(path, epochs, times, log.steps.reference);
  return log;
}

enum ChildStatus { kRead = 0, kFailed = 1, kBadLog = 2 };

bool write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string read_all(int descriptor) {
  std::string text;
  std::array<char, 1 << 16> buffer;
  ssize_t count = 0;
  while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

// Answers with the log in CBOR, or with the message of the failure.
[[noreturn]] void run_child(int descriptor, const std::string& path, const WalkReading& reading) {
  try {
    std::string bytes;
    nlohmann::json::to_cbor(read_in_this_process(path, reading), bytes);
    _exit(write_all(descriptor, bytes) ? kRead : kFailed);
  } catch (const EventLogError& error) {
    write_all(descriptor, error.what());
    _exit(kBadLog);
  } catch (...) {
    _exit(kFailed);
  }
}

class Child {
 public:
  Child(const std::string& path, const WalkReading& reading) : path_(path) {
    std::array<int, 2> ends;
    if (pipe(ends.data()) != 0)
      throw std::runtime_error(fmt::format("pipe: {}", std::strerror(errno)));
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);  // or it would wait for ever to be read by a parent that is gone
      run_child(ends[1], path, reading);
    }
    close(ends[1]);
    end_ = ends[0];
    if (process_ < 0) {
      const int reason = errno;
      close(end_);
      throw std::runtime_error(fmt::format("fork: {}", std::strerror(reason)));
    }
  }

  ~Child() {
    close(end_);
    if (process_ <= 0) return;
    // It may be waiting to be read: a younger child holds the pipe's other end too.
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  WalkLog answer() {
    const std::string bytes = read_all(end_);
    int status = 0;
    waitpid(std::exchange(process_, 0), &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kBadLog) throw EventLogError(bytes);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != kRead) {
      throw std::runtime_error(fmt::format("{}: the step counter broke off", path_));
    }
    return nlohmann::json::from_cbor(bytes).get<WalkLog>();
  }

 private:
  std::string path_;
  int end_ = -1;
  pid_t process_ = 0;
};

double ratio(std::int64_t part, std::int64_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

void set_counted_part(StepSeries& steps, const std::string& path, const std::string& header) {
  if (header.empty()) return;
  const std::size_t blank = std::min(header.find(' '), header.size());
  try {
    const std::string_view text = header;
    const auto from = read_number<double>("span_s", trim(text.substr(0, blank)));
    steps.to = read_number<double>("span_s", trim(text.substr(blank)));
    if (!(from < steps.to)) fail_field("span_s", "not FROM below TO", header);
    steps.from = std::max(from, kSettling);
  } catch (const FieldError& error) {
    throw EventLogError(fmt::format("{}: header {}", path, error.what));
  }
}

void read_walks(std::span<const std::string> paths, const WalkReading& reading,
                const std::function<void(WalkLog&&)>& visit) {
  std::deque<Child> children;
  for (std::size_t next = 0; next < paths.size() || !children.empty();) {
    while (next < paths.size() && children.size() < kChildrenAtOnce) {
      children.emplace_back(paths[next++], reading);
    }
    WalkLog log = children.front().answer();
    children.pop_front();
    visit(std::move(log));
  }
}

StepTotals& StepTotals::operator+=(const StepTotals& other) {
  logs += other.logs;
  seconds += other.seconds;
  steps += other.steps;
  bouts += other.bouts;
  confirmed += other.confirmed;
  return *this;
}

StepFigures& StepFigures::operator+=(const StepFigures& other) {
  if (with_reference.logs == 0) {
    latency = other.latency;
  } else if (other.with_reference.logs > 0 && other.latency != latency) {
    latency = kNone;
  }
  with_reference += other.with_reference;
  without_reference += other.without_reference;
  longest_bout = std::max(longest_bout, other.longest_bout);
  reference += other.reference;
  step_intervals.insert(step_intervals.end(), other.step_intervals.begin(),
                        other.step_intervals.end());
  agreement += other.agreement;
  count_errors.insert(count_errors.end(), other.count_errors.begin(), other.count_errors.end());
  return *this;
}

StepTotals StepFigures::total() const {
  StepTotals sum = with_reference;
  return sum += without_reference;
}

double StepFigures::excess() const {
  return ratio(with_reference.confirmed - reference, reference);
}

double StepFigures::cadence() const {
  if (step_intervals.empty()) return kNone;
  std::vector<double> sorted = step_intervals;
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  return 1.0 / *middle;
}

double StepFigures::steps_per_minute() const {
  return 60.0 * static_cast<double>(without_reference.steps) / without_reference.seconds;
}

double StepFigures::count_error() const {
  return std::accumulate(count_errors.begin(), count_errors.end(), 0.0) /
         static_cast<double>(count_errors.size());
}

StepFigures step_figures(const WalkLog& log, double latency) {
  const StepSeries& series = log.steps;
  StepFigures figures;
  StepTotals& totals = log.has_reference ? figures.with_reference : figures.without_reference;
  const auto counts = [&series](double time) { return series.counts(time); };
  totals.logs = 1;
  totals.seconds = std::max(0.0, std::min(log.last_epoch, series.to) - series.from);
  std::int64_t counted_of_bout = 0;
  std::int64_t unconfirmed = 0;  // those of a bout that has not reached ten
  for (std::size_t i = 0; i < series.declared.size(); ++i) {
    if (log.bout_steps[i] == 1) unconfirmed = counted_of_bout = 0;
    if (counts(series.declared[i])) {
      ++totals.steps;
      ++unconfirmed;
      if (++counted_of_bout == 1) {
        ++totals.bouts;
      } else {
        figures.step_intervals.push_back(series.declared[i] - series.declared[i - 1]);
      }
      figures.longest_bout = std::max(figures.longest_bout, counted_of_bout);
    }
    if (log.bout_steps[i] >= kConfirmedBout) totals.confirmed += std::exchange(unconfirmed, 0);
  }
  if (!log.has_reference) return figures;
  figures.reference = std::ranges::count_if(series.reference, counts);
  figures.latency = latency;
  figures.agreement = match_steps(series, latency);
  if (figures.agreement.reference > 0) {
    figures.count_errors.push_back(figures.agreement.count_error());
  }
  return figures;
}

}  // namespace zuvdr::tools
