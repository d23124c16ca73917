#include "tools/evaluation/log_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <utility>
#include <variant>

#include "nav/clock.h"
#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

constexpr double kSlowest = 20.0;  // Hz; the engine is made for 25
constexpr double kFastest = 30.0;
constexpr double kLongestFixGap = 5.0;  // s; the host's stand-ins come once a second
// Gaps of the sensors that a careful host fills, as in host/gaps.cpp.
constexpr double kLongestFilled = 10.0;  // s, while fixes go on
constexpr double kLongestBlind = 2.0;    // s
constexpr double kFixesGoOn = 2.5;       // s since the last one
constexpr std::size_t kMostWaiting = 4096;
constexpr std::size_t kMostNanSources = 64;

constexpr std::array kStreamNames{"accelerometer", "gyroscope", "magnetometer", "pressure",
                                  "epochs",        "fixes",     "truth"};

constexpr std::array kFaultNames{
    "missing",      "clock apart",      "rate",         "gap",           "ends",
    "doubled",      "backward",         "jump back",    "wild",          "not finite",
    "out of range", "outside quadrant", "quality test", "none accepted", "stand-in"};

// Steps longer than this are no gap that anyone measures.
constexpr double kDay = 86400.0;  // s

bool near(std::int64_t a, std::int64_t b) {
  return std::fabs(seconds_between(a, b)) <= kLongestSilence;
}

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

bool is_anything(Stream stream) {
  return stream != Stream::kTruth;
}
bool is_sensor(Stream stream) {
  return is_anything(stream) && stream != Stream::kFixes;
}
bool is_fixes(Stream stream) {
  return stream == Stream::kFixes;
}

// What a careful host makes of a fault.
struct Cure {
  bool (*concerns)(Stream);
  Fault fault;
  bool HostOptions::*care;
  const char* text;
};
constexpr char kDropped[] = "dropped by the host";
// Up to 10 s ahead a stamp is believed; the gap that it makes of the sensor is judged by itself.
constexpr char kOvertaken[] = "dropped by the host, or those that it overtakes";
constexpr char kSorted[] = "sorted by the host";
constexpr char kRowsMade[] = "the host goes on with rows of its own";
constexpr Cure kCures[] = {
    {is_sensor, Fault::kRate, &HostOptions::sample_rate, "the host brings them to 25 Hz"},
    {is_sensor, Fault::kGap, &HostOptions::gaps, "filled by the host"},
    {is_fixes, Fault::kGap, &HostOptions::outages, kRowsMade},
    {is_fixes, Fault::kEnds, &HostOptions::outages, kRowsMade},
    {is_anything, Fault::kDoubled, &HostOptions::time_stamps, kDropped},
    {is_sensor, Fault::kBackward, &HostOptions::event_order, kSorted},
    {is_fixes, Fault::kBackward, &HostOptions::time_stamps, kDropped},
    {is_sensor, Fault::kWild, &HostOptions::time_stamps, kOvertaken},
    {is_anything, Fault::kNotFinite, &HostOptions::time_stamps, kDropped},
    {is_fixes, Fault::kOutsideQuadrant, &HostOptions::everywhere, "served by the host"},
    {is_fixes, Fault::kStandIn, &HostOptions::outages, "left out by the host"}};

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

std::optional<EpochPairing::Epoch> EpochPairing::add(bool gyroscope, const Event& event) {
  const auto apart = [](const Event& a, const Event& b) {
    return std::fabs(static_cast<double>(elapsed_ns(a.time_ns, b.time_ns)));
  };
  // The newest are left out, so that a front which nothing pairs with blocks here as there.
  std::deque<Event>& queue = gyroscope ? gyroscope_ : accelerometer_;
  if (queue.size() < kMostWaiting) queue.push_back(event);
  while (!gyroscope_.empty() && !accelerometer_.empty()) {
    const Event g = gyroscope_.front();
    const Event a = accelerometer_.front();
    if (apart(g, a) <= static_cast<double>(kPairingTolerance)) {
      if (accelerometer_.size() > 1 && apart(g, a) > apart(g, accelerometer_[1])) {
        accelerometer_.pop_front();
      }
      const Epoch epoch{g, accelerometer_.front()};
      accelerometer_.pop_front();
      gyroscope_.pop_front();
      return epoch;
    }
    (a.time_ns > g.time_ns ? gyroscope_ : accelerometer_).pop_front();
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

// A fix that the clock holds is known by its next row.
LogClock::Verdict LogCheck::add_to_clock(std::int64_t time_ns) {
  const LogClock::Verdict verdict = clock_.add(time_ns);
  if (const std::optional<Place> fix = std::exchange(held_fix_, std::nullopt)) {
    if (verdict.dropped) {
      note_wild(Stream::kFixes, *fix->time_ns, fix->line);
    } else {
      step_to(Stream::kFixes, *fix->time_ns, fix->line);
    }
  }
  return verdict;
}

void LogCheck::add_sensor(const SensorData& event, std::int64_t line) {
  add_to_clock(event.timestamp);
  const std::optional<Stream> stream = stream_of(event.type);
  if (!stream) return;
  const Place place{line, event.timestamp};
  const bool reaches_engine = !host_.time_stamps || filter_.plausible(event);
  if (add_stamp(*stream, event.timestamp, line)) note(*stream, Fault::kDoubled, false, place);
  const bool finite = *stream == Stream::kPressure
                          ? std::isfinite(static_cast<float>(event.values[0]))
                          : finite_sample(event);
  if (!finite) note(*stream, Fault::kNotFinite, feeds_epochs(*stream), place);
  if (!feeds_epochs(*stream) || !reaches_engine) return;
  const bool gyroscope = *stream == Stream::kGyroscope;
  const auto epoch = pairing_.add(gyroscope, {event.timestamp, line, finite});
  if (epoch) add_epoch(*epoch, line);
}

void LogCheck::add_epoch(const EpochPairing::Epoch& epoch, std::int64_t line) {
  constexpr Stream kStream = Stream::kEpochs;
  Series& epochs = series(kStream);
  const std::int64_t ordinal = ++epochs.rows;
  const std::int64_t time_ns = epoch.gyroscope.time_ns;
  const Place place{line, time_ns};
  for (const Stream stream : {Stream::kAccelerometer, Stream::kGyroscope}) {
    const EpochPairing::Event& event =
        stream == Stream::kGyroscope ? epoch.gyroscope : epoch.accelerometer;
    if (event.finite) continue;
    note_nan_source(stream, {event.line, event.time_ns}, ordinal,
                    fmt::format("{} sample not finite", stream_name(stream)));
  }

  const double step = last_epoch_ ? seconds_between(*last_epoch_, time_ns) : 0.0;
  if (step > kLongestStep && !host_.gaps) {
    note_nan_source(kStream, place, ordinal,
                    step > kDay ? "wild time stamps of both sensors"
                                : fmt::format("sensor gap of {:.1f} s", step));
  } else if (last_epoch_ && time_ns == *last_epoch_) {
    if (note(kStream, Fault::kDoubled, true, place).cure == nullptr) {
      note_nan_source(kStream, place, ordinal, "two epochs with one time stamp");
    }
  }

  const std::optional<std::int64_t> held = epochs.clock.held();
  const LogClock::Verdict verdict = epochs.clock.add(time_ns);
  if (verdict.dropped) {
    note(kStream, Fault::kWild, true, {epochs.held_line, held});
  } else if (verdict.start_was_wild) {
    note(kStream, Fault::kWild, true, {0, std::nullopt});
  } else if (verdict.released && step_to_held_ > kLongestStep) {
    note_gap(kStream, true, {epochs.held_line, held}, step_to_held_);
  }
  if (verdict.in_line && !verdict.dropped && step > kLongestStep) {
    note_gap(kStream, true, place, step);
  }
  if (!verdict.in_line) {
    epochs.held_line = line;
    step_to_held_ = step;
  }
  epochs.line = line;
  last_epoch_ = time_ns;
}

void LogCheck::note_gap(Stream stream, bool breaks, Place place, double seconds) {
  const bool curable = stream == Stream::kFixes || host_fills(seconds, *place.time_ns);
  Finding& gap = note(stream, Fault::kGap, breaks, place, curable);
  gap.worst = std::fmax(gap.worst, seconds);
}

bool LogCheck::host_fills(double gap, std::int64_t end_ns) const {
  const std::optional<std::int64_t> fix = series(Stream::kFixes).last;
  const bool fixes_go_on = fix && seconds_between(*fix, end_ns) < kFixesGoOn;
  return gap <= (fixes_go_on ? kLongestFilled : kLongestBlind);
}

const char* LogCheck::cure_of(Stream stream, Fault fault) const {
  const auto cure = std::ranges::find_if(kCures, [&](const Cure& c) {
    return c.fault == fault && c.concerns(stream) && host_.*c.care;
  });
  return cure == std::end(kCures) ? nullptr : cure->text;
}

void LogCheck::add_fix(const FixRow& row, std::int64_t line) {
  const GpsData& fix = row.fix;
  const Place place{line, fix.time_ns};
  const bool accepted = passes_quality_test(fix);
  ++series(Stream::kFixes).rows;
  series(Stream::kFixes).clock.add(fix.time_ns);
  if (add_to_clock(fix.time_ns).in_line) {
    step_to(Stream::kFixes, fix.time_ns, line);
  } else {
    held_fix_ = place;
  }
  if (std::exchange(previous_fix_, fix.time_ns) == fix.time_ns) {
    // One that fails the quality test is not interpolated from its predecessor.
    const Finding& doubled = note(Stream::kFixes, Fault::kDoubled, accepted, place);
    if (doubled.breaks) {
      note_nan_source(Stream::kFixes, place, 0, "two fixes with one time stamp");
    }
  }
  if (!finite_fix(fix)) {
    if (note(Stream::kFixes, Fault::kNotFinite, true, place).breaks) {
      note_nan_source(Stream::kFixes, place, 0, "fix with a value that is not finite");
    }
  }
  if (std::fabs(fix.longitude) > kLargestLongitude) {
    note(Stream::kFixes, Fault::kOutOfRange, true, place);
  } else if (fix.latitude < 0.0 || fix.longitude < 0.0) {
    note(Stream::kFixes, Fault::kOutsideQuadrant, true, place);
  }
  if (accepted) ++accepted_;
  if (row.sample != 0) {
    if (accepted) note(Stream::kFixes, Fault::kStandIn, false, place);
    return;
  }
  ++healthy_;
  if (accepted) return;
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
    rows.held_agrees = clock_.now() && near(*clock_.now(), time_ns);
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
      note_gap(stream, false, place, step);
    }
    if (std::fabs(step) <= kLongestStep) {
      ++rows.steps;
      rows.seconds += step;
    }
  }
  if (stream == Stream::kFixes && !first_fix_) first_fix_ = time_ns;
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

Finding& LogCheck::note(Stream stream, Fault fault, bool breaks, Place place, bool curable) {
  const char* const cure = curable ? cure_of(stream, fault) : nullptr;
  if (cure != nullptr) breaks = false;
  const auto [found, first] = findings_.try_emplace({stream, {fault, breaks}});
  Finding& finding = found->second;
  if (first) {
    finding.stream = stream;
    finding.fault = fault;
    finding.breaks = breaks;
    finding.cure = cure;
    finding.line = place.line;
    finding.time_ns = place.time_ns;
  }
  ++finding.count;
  return finding;
}

void LogCheck::note_nan_source(Stream stream, Place place, std::int64_t epoch, std::string text) {
  if (nan_sources_.size() >= kMostNanSources) return;
  if (!nan_sources_.empty() && nan_sources_.back().stream == stream &&
      nan_sources_.back().text == text) {
    return;
  }
  nan_sources_.push_back({stream, *place.time_ns, place.line, epoch, std::move(text)});
}

// Of the stamps still held at the end those are right which the other rows bear out.
void LogCheck::judge_held() {
  if (held_fix_) note_wild(Stream::kFixes, *held_fix_->time_ns, held_fix_->line);
  for (const Stream stream : {Stream::kAccelerometer, Stream::kGyroscope, Stream::kMagnetometer,
                              Stream::kPressure, Stream::kTruth}) {
    const Series& rows = series(stream);
    const auto held = rows.clock.held();
    if (!held) continue;
    if (rows.held_agrees || near(clock_.last(), *held)) {
      step_to(stream, *held, rows.held_line);
    } else {
      note_wild(stream, *held, rows.held_line);
    }
  }
  const Series& epochs = series(Stream::kEpochs);
  if (const auto held = epochs.clock.held()) {
    const Place place{epochs.held_line, held};
    if (!near(clock_.last(), *held)) {
      note(Stream::kEpochs, Fault::kWild, true, place);
    } else if (step_to_held_ > kLongestStep) {
      note_gap(Stream::kEpochs, true, place, step_to_held_);
    }
  }
}

// Fixes and truth with no time in common with the sensors, and fixes that begin late or end early.
void LogCheck::compare_clocks() {
  const LogClock& epochs = series(Stream::kEpochs).clock;
  const Series& fixes = series(Stream::kFixes);
  const auto apart = [](const LogClock& a, const LogClock& b) {
    if (!a.now() || !b.now()) return 0.0;
    const double later = seconds_between(b.last(), a.first());
    const double earlier = seconds_between(a.last(), b.first());
    return later > kLongestSilence ? later : earlier > kLongestSilence ? -earlier : 0.0;
  };
  const auto note_apart = [this](Stream stream, bool breaks, double seconds) {
    findings_.erase({stream, {Fault::kWild, false}});
    note(stream, Fault::kClockApart, breaks, {0, std::nullopt}).worst = seconds;
  };
  if (const double seconds = apart(series(Stream::kTruth).clock, clock_); seconds != 0.0) {
    note_apart(Stream::kTruth, false, seconds);
  }
  if (const double seconds = apart(fixes.clock, epochs); seconds != 0.0) {
    note_apart(Stream::kFixes, true, seconds);
    return;
  }
  if (!fixes.last) {
    // None agrees with the rows around it. Epochs never reach fixes that are ahead.
    if (fixes.clock.now() && epochs.now()) {
      const double seconds = seconds_between(epochs.first(), fixes.clock.first());
      note_apart(Stream::kFixes, seconds > 0.0, seconds);
    }
    return;
  }
  const double until = seconds_between(clock_.first(), *first_fix_);
  if (until > kLongestFixGap) {
    note_gap(Stream::kFixes, false, {0, first_fix_}, until);
    Finding& gap = findings_.at({Stream::kFixes, {Fault::kGap, false}});
    gap.line = 0;
    gap.time_ns = first_fix_;
  }
  const double since = seconds_between(*fixes.last, clock_.last());
  if (since > kLongestFixGap) {
    note(Stream::kFixes, Fault::kEnds, true, {fixes.line, fixes.last}).worst = since;
  }
}

void LogCheck::finish() {
  judge_held();
  compare_clocks();
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
  if (series(Stream::kFixes).rows > 0 && accepted_ == 0) {
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
  return rows.seconds > 0.0 ? static_cast<double>(rows.steps) / rows.seconds
                            : std::numeric_limits<double>::quiet_NaN();
}

std::vector<Finding> LogCheck::findings() const {
  std::vector<Finding> all;
  for (const auto& [key, finding] : findings_) all.push_back(finding);
  std::stable_sort(all.begin(), all.end(), [](const Finding& a, const Finding& b) {
    return std::tuple{!a.breaks, a.cure != nullptr, a.line} <
           std::tuple{!b.breaks, b.cure != nullptr, b.line};
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
        return "no epochs: no accelerometer and gyroscope event paired" + blocked_by();
      }
      return fmt::format("no {} rows: no epochs", name);
    case Fault::kClockApart:
      return fmt::format("{} on another clock: {:.0f} s {} {}{}", name, std::fabs(finding.worst),
                         finding.worst > 0.0 ? "after" : "before",
                         fixes ? "the sensors" : "the other rows",
                         !fixes           ? ""
                         : finding.breaks ? ", no epoch is processed"
                                          : ", epochs are processed late");
    case Fault::kRate:
      return fmt::format("{} at {:.1f} Hz, not within {:.0f} to {:.0f} Hz", name, finding.worst,
                         kSlowest, kFastest);
    case Fault::kGap:
      return fmt::format(
          "{}, longest {:.1f} s",
          fixes ? count_of(n, "stretch of more than 5 s without a fix",
                           "stretches of more than 5 s without a fix")
                : count_of(n, "sensor gap of more than 1.5 s", "sensor gaps of more than 1.5 s"),
          finding.worst);
    case Fault::kEnds:
      return fmt::format("no {} in the last {:.1f} s{}", name, finding.worst,
                         !fixes                    ? blocked_by()
                         : finding.cure == nullptr ? ": nothing is processed any more"
                                                   : "");
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
          count_of(n, "time stamp more than 5 s off", "time stamps more than 5 s off"));
    case Fault::kNotFinite:
      return fmt::format("{}: {} not finite", name,
                         count_of(n, "row with a value", "rows with values"));
    case Fault::kOutOfRange:
      return fmt::format("{} longitude beyond 180 degrees", count_of(n, "fix with", "fixes with"));
    case Fault::kOutsideQuadrant:
      return fmt::format("{} outside the north-eastern quadrant, the only one the engine serves",
                         count_of(n, "fix", "fixes"));
    case Fault::kQualityTest: {
      std::string text = fmt::format("{} of {} healthy fixes fail the quality test:", n, healthy_);
      for (std::size_t i = 0; i < failures_.size(); ++i) {
        if (failures_[i].unknown > 0) {
          text += fmt::format(" {} unknown {},", kAccuracyLimits[i].name, failures_[i].unknown);
        }
        if (failures_[i].too_large > 0) {
          text += fmt::format(" {} too large {},", kAccuracyLimits[i].name, failures_[i].too_large);
        }
      }
      text.pop_back();
      return text;
    }
    case Fault::kNoneAccepted:
      return "no fix passes the quality test: no solution begins";
    case Fault::kStandIn:
      return fmt::format("{} the quality test{}",
                         count_of(n, "stand-in for a fix (sample not 0) passes",
                                  "stand-ins for fixes (sample not 0) pass"),
                         finding.cure == nullptr ? " and will be used" : "");
  }
  return {};
}

std::string LogCheck::blocked_by() const {
  for (const Stream stream : {Stream::kAccelerometer, Stream::kGyroscope}) {
    const auto wild = findings_.find({stream, {Fault::kWild, true}});
    if (wild == findings_.end()) continue;
    // Not one that the other sensor has caught up with, or paired with.
    const bool blocks = wild->second.line > series(Stream::kEpochs).line &&
                        seconds_between(clock_.last(), *wild->second.time_ns) > 0.0;
    if (!blocks) continue;
    return fmt::format(", blocked by the {} stamp at line {}", stream_name(stream),
                       wild->second.line);
  }
  return {};
}

std::string LogCheck::first_place(const Finding& finding) const {
  std::string place;
  if (finding.line > 0) place += fmt::format(" line {}", finding.line);
  // A wild stamp tells no time.
  if (finding.time_ns && seconds_between(clock_.first(), *finding.time_ns) > -kLongestSilence &&
      seconds_between(clock_.last(), *finding.time_ns) < kLongestSilence) {
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
    const char* const title = finding.breaks            ? "Breaks"
                              : finding.cure == nullptr ? "Warnings"
                                                        : "Notes";
    text += fmt::format("{:<12} {}", title == shown ? "" : title, finding.text);
    shown = title;
    text += first_place(finding);
    text += finding.cure == nullptr ? "\n" : fmt::format("; {}\n", finding.cure);
  }
  return text;
}

}  // namespace zuvdr::tools
