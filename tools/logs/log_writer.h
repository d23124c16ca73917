// What every writer of a log takes, whatever the format (docs/recordings.md).
#pragma once

#include <string>
#include <vector>

#include "tools/logs/event_row.h"

namespace zuvdr::tools {

// The log stands once it is closed (output_file.h). All members throw OutputError.
class LogWriter {
 public:
  LogWriter() = default;
  virtual ~LogWriter() = default;
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;

  virtual void comment(const std::string& text) = 0;  // one line; before the rows
  virtual void write(const EventRow& row) = 0;
  virtual void close() = 0;

  // What a user should know about rows that the format cannot hold; a line each.
  virtual std::vector<std::string> remarks() const { return {}; }
};

}  // namespace zuvdr::tools
