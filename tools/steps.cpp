#include "tools/steps.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "tools/engine_probe.h"
#include "tools/event_log.h"
#include "tools/text_fields.h"
#include "tools/truth_window.h"

namespace zuvdr::tools {
namespace {

constexpr double kSettling = 6.0;   // s
constexpr int kConfirmedBout = 10;  // steps

// The part of a log in which steps count, s from its first sensor event.
struct Span {
  double from = kSettling;
  double to = std::numeric_limits<double>::infinity();
};

Span counted_span(const std::string& path, const std::string& header) {
  if (header.empty()) return {};
  const std::size_t blank = header.find(' ');
  try {
    const std::string_view text = header;
    const auto from = read_number<double>("span_s", trim(text.substr(0, blank)));
    const auto to = read_number<double>("span_s", trim(text.substr(std::min(blank, text.size()))));
    return {std::max(from, kSettling), to};
  } catch (const FieldError& error) {
    throw EventLogError(fmt::format("{}: header {}", path, error.what));
  }
}

class Counter {
 public:
  Counter(Span span, std::int64_t start_ns) : span_(span), start_ns_(start_ns) {}

  void add(const DetectedEpoch& epoch) {
    const double now = seconds_between(start_ns_, epoch.time_ns);
    counts_.seconds = std::max(0.0, std::min(now, span_.to) - span_.from);
    if (!epoch.step) return;
    const int counted = now >= span_.from && now <= span_.to ? 1 : 0;
    counts_.steps += counted;
    if (epoch.bout_steps == 1) unconfirmed_ = counted_of_bout_ = 0;
    unconfirmed_ += counted;
    counted_of_bout_ += counted;
    if (counted == 1 && counted_of_bout_ == 1) ++counts_.bouts;
    if (epoch.bout_steps >= kConfirmedBout) {
      counts_.confirmed += std::exchange(unconfirmed_, 0);
    }
  }

  void add_reference(std::int64_t time_ns) {
    const double time = seconds_between(start_ns_, time_ns);
    counts_.reference = std::max<std::int64_t>(counts_.reference, 0);
    if (time >= span_.from && time <= span_.to) ++counts_.reference;
  }

  const StepCounts& counts() const { return counts_; }

 private:
  Span span_;
  std::int64_t start_ns_;
  StepCounts counts_;
  std::int64_t counted_of_bout_ = 0;
  std::int64_t unconfirmed_ = 0;  // those of a bout that has not reached ten
};

StepCounts count_in_this_process(const std::string& path, bool lenient) {
  Reset();
  EventLogReader reader(path, lenient);
  std::optional<Counter> counter;
  EventRow row;
  while (reader.next(row)) {
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      if (!counter) {
        counter.emplace(counted_span(path, reader.header("span_s")), sensor->event.timestamp);
      }
      if (const auto epoch = detect_steps(sensor->event)) counter->add(*epoch);
    } else if (const auto* step = std::get_if<StepRow>(&row); step != nullptr && counter) {
      counter->add_reference(step->time_ns);
    }
  }
  StepCounts counts = counter ? counter->counts() : StepCounts{};
  counts.skipped = reader.skipped();
  return counts;
}

void write_all(int descriptor, const void* data, std::size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = write(descriptor, next, size);
    if (written <= 0) return;
    next += written;
    size -= static_cast<std::size_t>(written);
  }
}

std::string read_all(int descriptor) {
  std::string text;
  std::array<char, 512> buffer;
  ssize_t count = 0;
  while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

enum ChildStatus { kCounted = 0, kBadLog = 2 };

// Answers with the counts as bytes, or with the message of the failure.
[[noreturn]] void run_child(int descriptor, const std::string& path, bool lenient) {
  try {
    const StepCounts counts = count_in_this_process(path, lenient);
    write_all(descriptor, &counts, sizeof counts);
    _exit(kCounted);
  } catch (const EventLogError& error) {
    const std::string message = error.what();
    write_all(descriptor, message.data(), message.size());
    _exit(kBadLog);
  }
}

}  // namespace

StepCounts count_steps(const std::string& path, bool lenient) {
  static_assert(std::is_trivially_copyable_v<StepCounts>);
  std::array<int, 2> ends;
  if (pipe(ends.data()) != 0)
    throw std::runtime_error(fmt::format("pipe: {}", std::strerror(errno)));
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error(fmt::format("fork: {}", std::strerror(errno)));
  if (child == 0) run_child(ends[1], path, lenient);
  close(ends[1]);
  const std::string answer = read_all(ends[0]);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kBadLog) throw EventLogError(answer);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != kCounted ||
      answer.size() != sizeof(StepCounts)) {
    throw std::runtime_error(fmt::format("{}: the step counter broke off", path));
  }
  StepCounts counts;
  std::memcpy(&counts, answer.data(), sizeof counts);
  return counts;
}

}  // namespace zuvdr::tools
