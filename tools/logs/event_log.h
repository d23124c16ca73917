// The event log: one text file with everything a host would hand the engine, in the order in which
// it would hand it over (format: docs/event-log.md).
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "ZuVDR.h"

namespace zuvdr::tools {

// S row: one UpdateLocationbySensorEvent.
struct SensorRow {
  SensorData event;
};

// G row: one SyncGPSEventforFusion, then one UpdateLocationbyGPSEvent(sample).
struct FixRow {
  GpsData fix;
  int sample;  // 0: healthy fix, non-zero: epoch without one
};

// T row: true position, never handed to the engine. Degrees, metres, m/s; angles in degrees.
// Fields the row does not carry are NaN.
struct TruthRow {
  std::int64_t time_ns;
  double latitude;
  double longitude;
  double altitude;
  double velocity[3];  // east, north, up
  double attitude[3];  // roll, pitch, yaw
};

// P row: the walker's foot struck the ground. Never handed to the engine.
struct StepRow {
  std::int64_t time_ns;
};

using EventRow = std::variant<SensorRow, FixRow, TruthRow, StepRow>;

// Reads a log row by row, plain or gzip, "-" for standard input. The memory it needs does not grow
// with the length of the log.
class EventLogReader {
 public:
  // Throws InputError when the file cannot be opened. With lenient set, malformed rows are
  // skipped and counted instead of thrown.
  explicit EventLogReader(const std::string& path, bool lenient = false);
  ~EventLogReader();
  EventLogReader(const EventLogReader&) = delete;
  EventLogReader& operator=(const EventLogReader&) = delete;

  // The next row; false at the end of the log. Comment and blank lines are passed over. A log
  // without rows is an error at its end.
  bool next(EventRow& row);

  // Where the latest row stands in the log, from 1.
  std::int64_t line_number() const;

  // Rows passed over because they were malformed (lenient only), and what was wrong with the first
  // of them, at most ten.
  std::int64_t skipped() const;
  const std::vector<std::string>& first_skipped() const;

  // The comment lines met so far that have the form "# key: value" (later ones win); empty when
  // the key did not occur.
  std::string header(const std::string& key) const;

  // How much of the file has been read, 0 to 1; NaN when its size is not known (standard input).
  double progress() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Writes a log, which stands once it is closed (output_file.h); gzip when the path ends in ".gz",
// "-" for standard output. Numbers are written with the fewest digits that read back to the same
// float64 (float32 for the float32 fields of GpsData).
class EventLogWriter {
 public:
  // Throws OutputError when the file cannot be opened.
  explicit EventLogWriter(const std::string& path);
  ~EventLogWriter();
  EventLogWriter(const EventLogWriter&) = delete;
  EventLogWriter& operator=(const EventLogWriter&) = delete;

  void comment(const std::string& text);  // writes "# text"
  void write(const EventRow& row);
  // Throws OutputError when something could not be written.
  void close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zuvdr::tools
