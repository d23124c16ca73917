// The step detector alone over logs of walks that were recorded without fixes.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "tools/evaluation/step_matching.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// What the detector made of one log. Times in s from the first sensor event.
struct WalkLog {
  std::string path;
  std::string subject, position, activity;  // headers; empty when the log has none
  // All steps. What counts is the part that the header "span_s" names, where the reference is
  // complete, else the whole log; never the seconds in which the detector's band-pass settles.
  StepSeries steps;
  std::vector<std::int32_t> bout_steps;  // for each declared step its number in its bout
  double last_epoch = 0.0;
  bool has_reference = false;              // P rows
  std::int64_t skipped = 0;                // malformed rows passed over
  std::vector<std::string> first_skipped;  // what was wrong with them
  std::string scores;                      // when asked for: CSV rows, one for each epoch
};

inline constexpr const char* kScoreColumns =
    "log,time_s,acc,gyr,acc_score,gyr_score,acc_hit,gyr_hit,gate_open,step,reference";

// Takes the part that counts from the text of the header "span_s: FROM TO"; empty leaves it alone.
// Throws InputError.
void set_counted_part(StepSeries& steps, const std::string& path, const std::string& header);

// Runs a fresh detector over the log that the reader has just opened, its events paired by the
// engine, which is reset; those of a recording are brought to the engine's rate before. Throws
// InputError.
WalkLog read_walk(LogReader& reader, const std::string& path, bool scores = false);

struct StepTotals {
  std::int64_t logs = 0;
  double seconds = 0.0;        // of the part that counts
  std::int64_t steps = 0;      // declared
  std::int64_t bouts = 0;      // with a counted step
  std::int64_t confirmed = 0;  // steps of bouts that reached ten

  StepTotals& operator+=(const StepTotals& other);
};

// Figures of one log, or of several added up. Those that do not apply are NaN.
struct StepFigures {
  StepTotals with_reference, without_reference;
  std::int64_t longest_bout = 0;       // counted steps
  std::int64_t reference = 0;          // P rows
  std::vector<double> step_intervals;  // between steps of one bout, s
  StepAgreement agreement;
  std::vector<double> count_errors;  // one for each log with reference steps
  // s, of the logs with reference; NaN once logs of different latency have been added up.
  double latency = std::numeric_limits<double>::quiet_NaN();

  StepFigures& operator+=(const StepFigures& other);
  StepTotals total() const;
  double excess() const;            // confirmed over reference steps, less 1
  double cadence() const;           // one over the median interval, 1/s
  double steps_per_minute() const;  // declared in logs without reference
  double count_error() const;       // mean over the logs
};

// The latency (s) counts in logs with reference only.
StepFigures step_figures(const WalkLog& log, double latency);

// Of logs of one kind, under the median latency of those with reference.
StepFigures step_figures(std::span<const WalkLog> logs);

}  // namespace zuvdr::tools
