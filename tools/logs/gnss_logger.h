// The text of the Android GNSS logger.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/logs/line_reader.h"
#include "tools/logs/log_writer.h"
#include "tools/logs/recording.h"

namespace zuvdr::tools {

// Whether a line is a row of such a text, or a comment that lists the columns of one.
bool is_gnss_logger_line(std::string_view line);

Recording read_gnss_logger(LineReader& lines);

// A text of version 3.0, gzip when the path ends in ".gz".
std::unique_ptr<LogWriter> create_gnss_logger(const std::string& path);

}  // namespace zuvdr::tools
