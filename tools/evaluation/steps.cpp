#include "tools/evaluation/steps.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "host/engine_probe.h"
#include "host/sample_rate.h"
#include "pdr/step_networks.h"
#include "pdr/step_state_machine.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/text_fields.h"
#include "tools/logs/time_difference.h"

namespace zuvdr::tools {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

// The detector's answer to one epoch, and what it rests on.
struct DetectedEpoch {
  std::int32_t bout_steps;
  float acc;        // newest band-passed |acceleration|, m/s^2
  float gyr;        // newest band-passed |rate|, rad/s
  float acc_score;  // 0 to 1, low: looks like a step; both scores are 0 while not scored
  float gyr_score;
  bool scored;  // the networks have run
  bool acc_hit;
  bool gyr_hit;
  bool gate_open;  // would have let a hit of this epoch pass
  bool step;
};

// A detector that has heard nothing yet. The engine's keeps its filters for the life of the
// process: one log would colour the first seconds of the next.
class Detector {
 public:
  DetectedEpoch take(const SensorEpoch& epoch) {
    const auto time = static_cast<std::uint64_t>(epoch.time_ns);
    if (machine_.take_samples(epoch.acc, epoch.gyr, state_)) {
      state_.acc_score = accelerometer_step_score(state_.acc_window, state_.acc_window_head);
      state_.gyr_score = gyroscope_step_score(state_.gyr_window);
      state_.nets_ready = 1;
    }
    machine_.decide(time, state_);
    const bool scored = state_.nets_ready != 0;
    const int newest = (scored ? kStepWindow : state_.sample_count) - 1;
    return {.bout_steps = state_.bout_step_count,
            .acc = state_.acc_window[newest],
            .gyr = state_.gyr_window[newest],
            .acc_score = state_.acc_score,
            .gyr_score = state_.gyr_score,
            .scored = scored,
            .acc_hit = state_.acc_hit != 0,
            .gyr_hit = state_.gyr_hit != 0,
            .gate_open = gate_open(state_, time),
            .step = state_.step_flag != 0};
  }

 private:
  StepStateMachine machine_;
  StepStateMachine::State state_{};
};

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
    throw InputError(fmt::format("{}: header {}", path, error.what));
  }
}

WalkLog read_walk(LogReader& reader, const std::string& path, bool scores) {
  Reset();  // of the queues that pair_epoch fills
  Detector detector;
  WalkLog log;
  log.path = path;
  std::optional<std::int64_t> start_ns;
  std::vector<std::int64_t> reference_ns;
  std::vector<DetectedEpoch> epochs;
  std::vector<double> times;
  const auto take = [&](const SensorData& event) {
    const auto paired = pair_epoch(event);
    if (!paired) return;
    const DetectedEpoch epoch = detector.take(*paired);
    log.last_epoch = seconds_between(*start_ns, paired->time_ns);
    if (epoch.step) {
      log.steps.declared.push_back(log.last_epoch);
      log.bout_steps.push_back(epoch.bout_steps);
    }
    if (scores) {
      epochs.push_back(epoch);
      times.push_back(log.last_epoch);
    }
  };
  SampleRate rate;
  for (EventRow row; reader.next(row);) {
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      if (!start_ns) start_ns = sensor->event.timestamp;
      if (!reader.is_recording()) {
        take(sensor->event);
        continue;
      }
      rate.add(sensor->event);
      while (const auto sample = rate.next()) {
        take(event_of(ZUVDR_SENSOR_ACCELEROMETER, sample->force, sample->time_ns));
        take(event_of(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, sample->rate, sample->time_ns));
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
    if (log.bout_steps[i] >= kConfirmingBout) totals.confirmed += std::exchange(unconfirmed, 0);
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

StepFigures step_figures(std::span<const WalkLog> logs) {
  std::vector<StepSeries> referenced;
  for (const WalkLog& log : logs) {
    if (log.has_reference) referenced.push_back(log.steps);
  }
  const double latency = median_latency(referenced);
  StepFigures figures;
  for (const WalkLog& log : logs) figures += step_figures(log, latency);
  return figures;
}

}  // namespace zuvdr::tools
