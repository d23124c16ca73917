#include "tools/evaluation/log_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <variant>

#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

constexpr double kSlowest = 20.0;  // Hz; the engine is made for 25
constexpr double kFastest = 30.0;
constexpr double kLongestFixGap = 5.0;  // s; the host's stand-ins come once a second
constexpr std::size_t kMostWaiting = 4096;
constexpr std::size_t kMostNanSources = 64;

constexpr std::array kStreamNames{"accelerometer", "gyroscope", "magnetometer", "pressure",
                                  "epochs",        "fixes",     "truth"};

constexpr std::array kFaultNames{
    "missing",          "rate",         "gap",           "ends",       "doubled",
    "backward",         "jump back",    "wild",          "not finite", "out of range",
    "outside quadrant", "quality test", "none accepted", "stand-in"};

// In the order of kAccuracyLimits.
constexpr std::array kAccuracyNames{"vel_acc_e", "vel_acc_n", "vel_acc_u", "pos_acc_e",
                                    "pos_acc_n", "pos_acc_u", "speed_acc"};
static_assert(kAccuracyNames.size() == kAccuracyLimits.size());

std::optional<Stream> stream_of(int type) {
  switch (type) {
    case ZUVDR_SENSOR_ACCELEROMETER:
      return Stream::kAccelerometer;
    case ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED:
      return Stream::kGyroscope;
    case ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED:
      return Stream::kMagnetometer;
    case ZUVDR_SENSOR_PRESSURE:
      return Stream::kPressure;
    default:
      return std::nullopt;
  }
}

bool feeds_epochs(Stream stream) {
  return stream == Stream::kAccelerometer || stream == Stream::kGyroscope;
}

// Whether the engine, which keeps float32, takes them for numbers.
bool finite_sample(const SensorData& event) {
  return std::all_of(std::begin(event.values), std::begin(event.values) + 3,
                     [](double value) { return std::isfinite(static_cast<float>(value)); });
}

// What enters the vehicle's filter, or the walker's. Accuracies that only the quality test reads
// are no part of it.
bool finite_fix(const GpsData& fix) {
  const double values[] = {fix.latitude,  fix.longitude, fix.altitude,  fix.speed,
                           fix.vel_e,     fix.vel_n,     fix.vel_u,     fix.vel_acc_e,
                           fix.vel_acc_n, fix.pos_acc_e, fix.pos_acc_n, fix.speed_acc,
                           fix.bearing};
  return std::all_of(std::begin(values), std::end(values),
                     [](double value) { return std::isfinite(value); });
}

std::string count_of(std::int64_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace

const char* stream_name(Stream stream) {
  return kStreamNames[static_cast<std::size_t>(stream)];
}

const char* fault_name(Fault fault) {
  return kFaultNames[static_cast<std::size_t>(fault)];
}

std::optional<std::int64_t> EpochPairing::add(bool gyroscope, std::int64_t time_ns) {
  const auto apart = [](std::int64_t a, std::int64_t b) {
    return std::fabs(static_cast<double>(a) - static_cast<double>(b));
  };
  // The newest are left out, so that a front which nothing pairs with blocks here as there.
  std::deque<std::int64_t>& queue = gyroscope ? gyroscope_ : accelerometer_;
  if (queue.size() < kMostWaiting) queue.push_back(time_ns);
  while (!gyroscope_.empty() && !accelerometer_.empty()) {
    const std::int64_t g = gyroscope_.front();
    const std::int64_t a = accelerometer_.front();
    if (apart(g, a) <= static_cast<double>(kPairingTolerance)) {
      if (accelerometer_.size() > 1 && apart(g, a) > apart(g, accelerometer_[1])) {
        accelerometer_.pop_front();
      }
      accelerometer_.pop_front();
      gyroscope_.pop_front();
      return g;
    }
    (a > g ? gyroscope_ : accelerometer_).pop_front();
  }
  return std::nullopt;
}

void LogCheck::add(const EventRow& row, std::int64_t line) {
  ++rows_;
  if (const auto* sensor = std::get_if<SensorRow>(&row)) {
    add_sensor(sensor->event, line);
  } else if (const auto* fix = std::get_if<FixRow>(&row)) {
    add_fix(*fix, line);
  } else if (const auto* truth = std::get_if<TruthRow>(&row)) {
    add_truth(*truth, line);
  }
}

void LogCheck::add_sensor(const SensorData& event, std::int64_t line) {
  clock_.add(event.timestamp);
  const std::optional<Stream> stream = stream_of(event.type);
  if (!stream) return;
  const Place place{line, event.timestamp};
  if (add_stamp(*stream, event.timestamp, line)) note(*stream, Fault::kDoubled, false, place);
  const bool finite = *stream == Stream::kPressure
                          ? std::isfinite(static_cast<float>(event.values[0]))
                          : finite_sample(event);
  if (!finite) note(*stream, Fault::kNotFinite, feeds_epochs(*stream), place);
  if (!feeds_epochs(*stream)) return;
  if (!finite) {
    note_nan_source(*stream, place, fmt::format("{} sample not finite", stream_name(*stream)));
  }
  const bool gyroscope = *stream == Stream::kGyroscope;
  if (const auto epoch = pairing_.add(gyroscope, event.timestamp)) add_epoch(*epoch, line);
}

void LogCheck::add_epoch(std::int64_t time_ns, std::int64_t line) {
  ++series(Stream::kEpochs).rows;
  series(Stream::kEpochs).line = line;
  if (last_epoch_) {
    const double step = seconds_between(*last_epoch_, time_ns);
    const Place place{line, time_ns};
    if (step > kLongestStep) {
      Finding& gap = note(Stream::kEpochs, Fault::kGap, true, place);
      gap.worst = std::fmax(gap.worst, step);
      note_nan_source(Stream::kEpochs, place, fmt::format("sensor gap of {:.1f} s", step));
    } else if (time_ns == *last_epoch_) {
      note(Stream::kEpochs, Fault::kDoubled, true, place);
      note_nan_source(Stream::kEpochs, place, "two epochs with one time stamp");
    }
  }
  last_epoch_ = time_ns;
}

void LogCheck::add_fix(const FixRow& row, std::int64_t line) {
  const GpsData& fix = row.fix;
  const Place place{line, fix.time_ns};
  clock_.add(fix.time_ns);
  const bool accepted = passes_quality_test(fix);
  if (add_stamp(Stream::kFixes, fix.time_ns, line)) {
    // One that fails the quality test is not interpolated from its predecessor.
    note(Stream::kFixes, Fault::kDoubled, accepted, place);
    if (accepted) note_nan_source(Stream::kFixes, place, "two fixes with one time stamp");
  }
  if (!finite_fix(fix)) {
    note(Stream::kFixes, Fault::kNotFinite, true, place);
    note_nan_source(Stream::kFixes, place, "fix with a value that is not finite");
  }
  if (std::fabs(fix.latitude) > kLargestLatitude || std::fabs(fix.longitude) > kLargestLongitude) {
    note(Stream::kFixes, Fault::kOutOfRange, true, place);
  } else if (fix.latitude < 0.0 || fix.longitude < 0.0) {
    note(Stream::kFixes, Fault::kOutsideQuadrant, true, place);
  }
  if (row.sample != 0) {
    if (accepted) note(Stream::kFixes, Fault::kStandIn, false, place);
    return;
  }
  ++healthy_;
  if (accepted) {
    ++healthy_accepted_;
    return;
  }
  note(Stream::kFixes, Fault::kQualityTest, false, place);
  for (std::size_t i = 0; i < kAccuracyLimits.size(); ++i) {
    if (keeps(kAccuracyLimits[i], fix)) continue;
    const float accuracy = fix.*kAccuracyLimits[i].accuracy;
    ++(accuracy > 0.0F ? failures_[i].too_large : failures_[i].unknown);
  }
}

void LogCheck::add_truth(const TruthRow& row, std::int64_t line) {
  const Place place{line, row.time_ns};
  if (add_stamp(Stream::kTruth, row.time_ns, line)) {
    note(Stream::kTruth, Fault::kDoubled, false, place);
  }
  if (!std::isfinite(row.latitude) || !std::isfinite(row.longitude)) {
    note(Stream::kTruth, Fault::kNotFinite, false, place);
  }
}

bool LogCheck::add_stamp(Stream stream, std::int64_t time_ns, std::int64_t line) {
  Series& rows = series(stream);
  ++rows.rows;
  const std::optional<std::int64_t> held = rows.clock.held();
  const std::optional<std::int64_t> last = rows.last;
  const LogClock::Verdict verdict = rows.clock.add(time_ns);
  if (verdict.dropped) note_wild(stream, *held, rows.held_line);
  if (verdict.start_was_wild) {
    note_wild(stream, *last, rows.line);
    rows.last = held;
  } else if (verdict.released) {
    step_to(stream, *held, rows.held_line);
  }
  if (!verdict.in_line) {
    rows.held_line = line;
    return held && *held == time_ns;
  }
  const bool doubled = rows.last && *rows.last == time_ns;
  step_to(stream, time_ns, line);
  return doubled;
}

// The stamp is that of the next row in the series.
void LogCheck::step_to(Stream stream, std::int64_t time_ns, std::int64_t line) {
  Series& rows = series(stream);
  if (rows.last) {
    const double step = seconds_between(*rows.last, time_ns);
    const Place place{line, time_ns};
    const bool drives = feeds_epochs(stream) || stream == Stream::kFixes;
    if (step < -kLongestSilence) {
      note(stream, Fault::kJumpBack, drives, place);
    } else if (step < 0.0) {
      note(stream, Fault::kBackward, false, place);
    } else if (stream == Stream::kFixes && step > kLongestFixGap) {
      Finding& gap = note(stream, Fault::kGap, false, place);
      gap.worst = std::fmax(gap.worst, step);
    }
    if (step > 0.0 && step <= kLongestStep) {
      ++rows.steps;
      rows.seconds += step;
    }
  }
  rows.last = time_ns;
  rows.line = line;
}

void LogCheck::note_wild(Stream stream, std::int64_t time_ns, std::int64_t line) {
  // Epochs stop until the other sensor has caught up with a stamp ahead; one behind finds no
  // partner and is dropped.
  const Series& rows = series(stream);
  const bool ahead = rows.clock.now() && time_ns > *rows.clock.now();
  note(stream, Fault::kWild, feeds_epochs(stream) && ahead, {line, time_ns});
}

Finding& LogCheck::note(Stream stream, Fault fault, bool breaks, Place place) {
  const auto [found, first] = findings_.try_emplace({stream, {fault, breaks}});
  Finding& finding = found->second;
  if (first) {
    finding.stream = stream;
    finding.fault = fault;
    finding.breaks = breaks;
    finding.line = place.line;
    finding.time_ns = place.time_ns;
  }
  ++finding.count;
  return finding;
}

void LogCheck::note_nan_source(Stream stream, Place place, std::string text) {
  if (nan_sources_.size() >= kMostNanSources) nan_sources_.pop_front();
  nan_sources_.push_back({stream, *place.time_ns, place.line, std::move(text)});
}

void LogCheck::finish() {
  for (std::size_t i = 0; i < kStreams; ++i) {
    const Series& rows = series_[i];
    if (const auto held = rows.clock.held()) {
      note_wild(static_cast<Stream>(i), *held, rows.held_line);
    }
  }
  const bool sensors =
      series(Stream::kAccelerometer).rows > 0 && series(Stream::kGyroscope).rows > 0;
  for (const Stream stream : {Stream::kAccelerometer, Stream::kGyroscope}) {
    const double hertz = rate(stream);
    if (series(stream).rows == 0) {
      note(stream, Fault::kMissing, true, {0, std::nullopt});
    } else if (hertz < kSlowest || hertz > kFastest) {
      note(stream, Fault::kRate, false, {0, std::nullopt}).worst = hertz;
    }
  }
  if (sensors && series(Stream::kEpochs).rows == 0) {
    note(Stream::kEpochs, Fault::kMissing, true, {0, std::nullopt});
  }
  if (last_epoch_ && seconds_between(*last_epoch_, clock_.last()) > kLongestSilence) {
    note(Stream::kEpochs, Fault::kEnds, true, {series(Stream::kEpochs).line, last_epoch_}).worst =
        seconds_between(*last_epoch_, clock_.last());
  }
  // Walks for the step detector alone have none, and need none.
  if (series(Stream::kFixes).rows == 0)
    note(Stream::kFixes, Fault::kMissing, false, {0, std::nullopt});
  if (healthy_ > 0 && healthy_accepted_ == 0) {
    note(Stream::kFixes, Fault::kNoneAccepted, true, {0, std::nullopt});
  }
  for (auto& [key, finding] : findings_) finding.text = describe(finding);
}

double LogCheck::length() const {
  return seconds_between(clock_.first(), clock_.last());
}

double LogCheck::since_start(std::int64_t time_ns) const {
  return seconds_between(clock_.first(), time_ns);
}

double LogCheck::rate(Stream stream) const {
  const Series& rows = series(stream);
  return static_cast<double>(rows.steps) / rows.seconds;
}

std::vector<Finding> LogCheck::findings() const {
  std::vector<Finding> all;
  for (const auto& [key, finding] : findings_) all.push_back(finding);
  std::stable_sort(all.begin(), all.end(), [](const Finding& a, const Finding& b) {
    return std::pair{!a.breaks, a.line} < std::pair{!b.breaks, b.line};
  });
  return all;
}

bool LogCheck::breaks() const {
  return std::any_of(findings_.begin(), findings_.end(),
                     [](const auto& entry) { return entry.second.breaks; });
}

std::string LogCheck::describe(const Finding& finding) const {
  const char* const name = stream_name(finding.stream);
  const std::int64_t n = finding.count;
  const bool fixes = finding.stream == Stream::kFixes;
  switch (finding.fault) {
    case Fault::kMissing:
      if (fixes) return "no fixes: a replay processes nothing; zuvdr steps needs none";
      if (finding.stream == Stream::kEpochs) {
        return "accelerometer and gyroscope never within 40 ms: no epochs";
      }
      return fmt::format("no {} rows: no epochs", name);
    case Fault::kRate:
      return fmt::format("{} at {:.1f} Hz, not within {:.0f} to {:.0f} Hz", name, finding.worst,
                         kSlowest, kFastest);
    case Fault::kGap:
      return fmt::format(
          "{}, longest {:.1f} s",
          fixes ? count_of(n, "gap of more than 5 s between fixes",
                           "gaps of more than 5 s between fixes")
                : count_of(n, "sensor gap of more than 1.5 s", "sensor gaps of more than 1.5 s"),
          finding.worst);
    case Fault::kEnds:
      return fmt::format("no epochs in the last {:.1f} s", finding.worst);
    case Fault::kDoubled:
      return fmt::format("{}: {}", name,
                         count_of(n, "time stamp repeated", "time stamps repeated"));
    case Fault::kBackward:
      return fmt::format("{}: {}", name,
                         count_of(n, "time stamp goes back", "time stamps go back"));
    case Fault::kJumpBack:
      return fmt::format("{}: time jumps back for good {}", name, count_of(n, "time", "times"));
    case Fault::kWild:
      return fmt::format(
          "{}: {}", name,
          count_of(n, "lone time stamp more than 5 s off", "lone time stamps more than 5 s off"));
    case Fault::kNotFinite:
      return fmt::format("{}: {} not finite", name,
                         count_of(n, "row with a value", "rows with values"));
    case Fault::kOutOfRange:
      return fmt::format("{} latitude beyond 90 or longitude beyond 180",
                         count_of(n, "fix with", "fixes with"));
    case Fault::kOutsideQuadrant:
      return fmt::format("{} outside the north-eastern quadrant, the only one the engine serves",
                         count_of(n, "fix", "fixes"));
    case Fault::kQualityTest: {
      std::string text = fmt::format("{} of {} healthy fixes fail the quality test:", n, healthy_);
      for (std::size_t i = 0; i < failures_.size(); ++i) {
        if (failures_[i].unknown > 0) {
          text += fmt::format(" {} unknown {},", kAccuracyNames[i], failures_[i].unknown);
        }
        if (failures_[i].too_large > 0) {
          text += fmt::format(" {} too large {},", kAccuracyNames[i], failures_[i].too_large);
        }
      }
      text.pop_back();
      return text;
    }
    case Fault::kNoneAccepted:
      return "no healthy fix passes the quality test: no solution begins";
    case Fault::kStandIn:
      return fmt::format("{} the quality test and will be used",
                         count_of(n, "stand-in for a fix (sample not 0) passes",
                                  "stand-ins for fixes (sample not 0) pass"));
  }
  return {};
}

std::string LogCheck::first_place(const Finding& finding) const {
  std::string place;
  if (finding.line > 0) place += fmt::format(" line {}", finding.line);
  // A wild stamp tells no time.
  if (finding.time_ns && finding.fault != Fault::kWild) {
    place += fmt::format("{} {:.1f} s", place.empty() ? "" : ",", since_start(*finding.time_ns));
  }
  if (place.empty()) return {};
  return (finding.count > 1 ? "; first at" : "; at") + place;
}

std::string LogCheck::text() const {
  std::string text = "Rates       ";
  const char* separator = "";
  for (const Stream stream : {Stream::kAccelerometer, Stream::kGyroscope}) {
    const double hertz = rate(stream);
    text += fmt::format("{} {} {}", separator, stream_name(stream),
                        std::isfinite(hertz) ? fmt::format("{:.1f} Hz", hertz) : "-");
    separator = ",";
  }
  text += '\n';
  const char* shown = "";
  for (const Finding& finding : findings()) {
    const char* const title = finding.breaks ? "Breaks" : "Warnings";
    text += fmt::format("{:<12} {}", title == shown ? "" : title, finding.text);
    shown = title;
    text += first_place(finding) + '\n';
  }
  return text;
}

}  // namespace zuvdr::tools
