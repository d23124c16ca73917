// What every reader of a log gives, whatever the format (docs/recordings.md).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/logs/event_row.h"

namespace zuvdr::tools {

class LogReader {
 public:
  LogReader() = default;
  virtual ~LogReader() = default;
  LogReader(const LogReader&) = delete;
  LogReader& operator=(const LogReader&) = delete;

  // The next row; false at the end of the log. Throws InputError.
  virtual bool next(EventRow& row) = 0;

  // Where the latest row stands in the log, from 1; 0 when it has no line of its own.
  virtual std::int64_t line_number() const = 0;

  // Rows passed over because they were malformed, and what was wrong with the first of them.
  virtual std::int64_t skipped() const = 0;
  virtual const std::vector<std::string>& first_skipped() const = 0;

  // "# key: value" lines of the log's head; empty when there is none, as in recordings.
  virtual std::string header(const std::string& key) const;

  // What a phone recorded, at its own rates; an event log was made for the engine.
  virtual bool is_recording() const { return true; }

  // What a user should know about the rows that were left out, and about the log; a line each.
  virtual std::vector<std::string> remarks() const;

  // How much of the log has been read, 0 to 1; NaN when its size is not known (standard input).
  virtual double progress() const = 0;
};

// "skipped ROW" for each of the first, and how many others there are.
std::vector<std::string> skip_remarks(const std::vector<std::string>& first, std::int64_t count);

}  // namespace zuvdr::tools
