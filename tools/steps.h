// The step detector alone over a log, for walks that were recorded without fixes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zuvdr::tools {

// All of them counted in the same part of the log: its header "span_s", where the reference is
// complete, or else the whole log; never the first 6 s, in which the detector's band-pass still
// settles on gravity.
struct StepCounts {
  double seconds = 0.0;         // length of that part
  std::int64_t steps = 0;       // declared by the detector
  std::int64_t bouts = 0;       // with a counted step
  std::int64_t confirmed = 0;   // steps of bouts that reached ten
  std::int64_t reference = -1;  // P rows; -1 in a log without
  std::int64_t skipped = 0;     // malformed rows passed over
};

// Runs the detector in a child process: its filters keep their state for the life of a process, so
// that one log would colour the first seconds of the next. Throws EventLogError as the reader does.
StepCounts count_steps(const std::string& path, bool lenient);

}  // namespace zuvdr::tools
