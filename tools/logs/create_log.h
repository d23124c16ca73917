// A log to be written, of any format (docs/recordings.md).
#pragma once

#include <memory>
#include <string>

#include "tools/logs/log_writer.h"

namespace zuvdr::tools {

enum class LogFormat { kEventLog, kGnssLogger, kSensorLogger };

// By the ending of a name: .zip, .txt or .txt.gz; all others are event logs.
LogFormat format_of_name(const std::string& path);

// "-" for standard output. Throws OutputError when the file cannot be opened.
std::unique_ptr<LogWriter> create_log(const std::string& path, LogFormat format);

}  // namespace zuvdr::tools
