// The event log: one text file with everything a host would hand the engine, in the order in which
// it would hand it over (format: docs/event-log.md).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/logs/event_row.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/log_reader.h"
#include "tools/logs/log_writer.h"

namespace zuvdr::tools {

// Reads a log row by row, plain or gzip, "-" for standard input. The memory it needs does not grow
// with the length of the log. A log without rows is an error at its end.
class EventLogReader final : public LogReader {
 public:
  // Throws InputError when the file cannot be opened. With lenient set, malformed rows are
  // skipped and counted instead of thrown.
  explicit EventLogReader(const std::string& path, bool lenient = false);
  EventLogReader(std::unique_ptr<LineReader> lines, bool lenient);
  ~EventLogReader() override;

  bool next(EventRow& row) override;
  std::int64_t line_number() const override;
  std::int64_t skipped() const override;
  // At most ten.
  const std::vector<std::string>& first_skipped() const override;
  double progress() const override;

  // The comment lines met so far that have the form "# key: value" (later ones win); empty when
  // the key did not occur.
  std::string header(const std::string& key) const override;
  bool is_recording() const override { return false; }

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Gzip when the path ends in ".gz", "-" for standard output. Numbers are written with the fewest
// digits that read back to the same float64 (float32 for the float32 fields of GpsData).
class EventLogWriter final : public LogWriter {
 public:
  // Throws OutputError when the file cannot be opened.
  explicit EventLogWriter(const std::string& path);
  ~EventLogWriter() override;

  void comment(const std::string& text) override;  // writes "# text"
  void write(const EventRow& row) override;
  void close() override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zuvdr::tools
