// What is wrong with a log, found from its rows alone: the engine is not driven, and the memory
// does not grow with the log (docs/check.md).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ZuVDRHost.hpp"
#include "engine/fix_quality.h"
#include "engine/limits.h"
#include "host/event_filter.h"
#include "tools/evaluation/log_clock.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// Rows of one kind, in order of time. The engine's epochs, accelerometer and gyroscope paired, are
// one as well.
enum class Stream { kAccelerometer, kGyroscope, kMagnetometer, kPressure, kEpochs, kFixes, kTruth };
inline constexpr std::size_t kStreams = 7;
const char* stream_name(Stream stream);

enum class Fault {
  kMissing,     // no row at all
  kClockApart,  // no time in common with the sensors
  kRate,        // outside 20 to 30 Hz
  kGap,         // epochs: more than 1.5 s, fixes: more than 5 s
  kEnds,        // none for more than 5 s before the end of the log
  kDoubled,     // the stamp of the row before
  kBackward,    // a stamp up to 5 s before the one of the row before
  kJumpBack,    // more than 5 s back, and the rows behind follow
  kWild,  // a stamp more than 5 s away from those before and behind it, a fix's also from those
          // of the other rows
  kNotFinite,   // NaN, or more than the type that the engine keeps it in can hold
  kOutOfRange,  // longitude
  kOutsideQuadrant,
  kQualityTest,   // a healthy fix that fails it
  kNoneAccepted,  // every fix fails it
  kStandIn,       // an epoch without a fix that passes the quality test
};

const char* fault_name(Fault fault);

struct Finding {
  Stream stream;
  Fault fault;
  bool breaks;  // the solution is lost, cannot begin or is not published
  std::int64_t count = 0;
  std::int64_t line = 0;                                    // of the first; 0 when unknown
  std::optional<std::int64_t> time_ns;                      // of the first
  double worst = std::numeric_limits<double>::quiet_NaN();  // longest gap, s; rate, Hz
  std::string text;                                         // what, how often, how bad
  const char* cure = nullptr;                               // what the host does about it
};

// A row after which an engine at work answers NaN.
struct NanSource {
  Stream stream;
  std::int64_t time_ns;
  std::int64_t line;
  std::int64_t epoch;  // that it is part of, from 1; fixes: 0
  std::string text;
};

// Pairs stamps into epochs as the engine pairs events (engine/sensor_intake.cpp).
class EpochPairing {
 public:
  struct Event {
    std::int64_t time_ns;
    std::int64_t line;
    bool finite;
  };
  struct Epoch {
    Event gyroscope, accelerometer;
  };
  // The epoch that the event completes.
  std::optional<Epoch> add(bool gyroscope, const Event& event);

 private:
  std::deque<Event> gyroscope_, accelerometer_;
};

class LogCheck {
 public:
  // For a host with that care: what it cures breaks nothing.
  explicit LogCheck(const HostOptions& host = HostOptions::none()) : host_(host) {}

  // Every row, in order; line 0: unknown.
  void add(const EventRow& row, std::int64_t line);
  // After the last row.
  void finish();

  std::int64_t rows() const { return rows_; }
  double length() const;                           // s, of sensor rows and fixes
  double since_start(std::int64_t time_ns) const;  // s
  double rate(Stream stream) const;                // Hz, gaps left out; NaN without two rows

  const LogClock& clock() const { return clock_; }  // of sensor rows and fixes

  // After finish: what breaks first, in each part the earliest first.
  std::vector<Finding> findings() const;
  bool breaks() const;

  // For people: a line on the rates, and one for each finding.
  std::string text() const;

  // Earliest first, at most 64 at a time, of equal neighbours the first; whoever has dealt with one
  // takes it out.
  std::deque<NanSource>& nan_sources() { return nan_sources_; }

 private:
  struct Series {
    LogClock clock;
    std::optional<std::int64_t> last;
    std::int64_t line = 0;  // of the latest row
    std::int64_t rows = 0;
    std::int64_t steps = 0;  // between neighbours, at most 1.5 s either way
    double seconds = 0.0;    // in these steps, those back counted off
    std::int64_t held_line = 0;
    bool held_agrees = false;  // with the clock of all rows
  };
  struct Place {
    std::int64_t line;
    std::optional<std::int64_t> time_ns;
  };

  void add_sensor(const SensorData& event, std::int64_t line);
  void add_fix(const FixRow& row, std::int64_t line);
  void add_truth(const TruthRow& row, std::int64_t line);
  void add_epoch(const EpochPairing::Epoch& epoch, std::int64_t line);
  void note_gap(Stream stream, bool breaks, Place place, double seconds);
  const char* cure_of(Stream stream, Fault fault) const;
  bool host_fills(double gap, std::int64_t end_ns) const;
  LogClock::Verdict add_to_clock(std::int64_t time_ns);
  void judge_held();
  void compare_clocks();
  // True when the stamp equals that of the row before.
  bool add_stamp(Stream stream, std::int64_t time_ns, std::int64_t line);
  void step_to(Stream stream, std::int64_t time_ns, std::int64_t line);
  void note_wild(Stream stream, std::int64_t time_ns, std::int64_t line);
  Finding& note(Stream stream, Fault fault, bool breaks, Place place, bool curable = true);
  void note_nan_source(Stream stream, Place place, std::int64_t epoch, std::string text);

  Series& series(Stream stream) { return series_[static_cast<std::size_t>(stream)]; }
  const Series& series(Stream stream) const { return series_[static_cast<std::size_t>(stream)]; }

  std::string describe(const Finding& finding) const;
  std::string first_place(const Finding& finding) const;
  std::string blocked_by() const;

  HostOptions host_;
  EventFilter filter_;
  std::int64_t rows_ = 0;
  LogClock clock_;
  std::array<Series, kStreams> series_;
  EpochPairing pairing_;
  std::optional<std::int64_t> last_epoch_;
  double step_to_held_ = 0.0;  // s, to the epoch that its clock holds
  std::optional<std::int64_t> previous_fix_;
  std::optional<std::int64_t> first_fix_;  // that is not wild
  std::optional<Place> held_fix_;          // by the clock of all rows
  std::int64_t healthy_ = 0;
  std::int64_t accepted_ = 0;
  struct Failures {
    std::int64_t unknown = 0;
    std::int64_t too_large = 0;
  };
  std::array<Failures, kAccuracyLimits.size()> failures_;
  std::map<std::pair<Stream, std::pair<Fault, bool>>, Finding> findings_;
  std::deque<NanSource> nan_sources_;
};

}  // namespace zuvdr::tools
