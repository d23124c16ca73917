// The option of commands that write a log in any format.
#pragma once

#include <memory>
#include <string>

#include "tools/logs/create_log.h"

namespace CLI {
class App;
}

namespace zuvdr::tools {

struct LogOutput {
  std::string path;
  std::string format;  // empty: by the name

  LogFormat log_format() const;
  std::unique_ptr<LogWriter> create() const { return create_log(path, log_format()); }
};

// The option of these names, and --format.
void add_log_output(CLI::App& command, const std::string& names, LogOutput& output);

// For the end of a command's help.
extern const char* const kFormatsHelp;

// What the format written could not hold, on standard error.
void print_left_out(const LogWriter& writer);

}  // namespace zuvdr::tools
