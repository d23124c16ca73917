// The text of the Android GNSS logger.
#pragma once

#include <string_view>

#include "tools/logs/line_reader.h"
#include "tools/logs/recording.h"

namespace zuvdr::tools {

// Whether a line is a row of such a text, or a comment that lists the columns of one.
bool is_gnss_logger_line(std::string_view line);

Recording read_gnss_logger(LineReader& lines);

}  // namespace zuvdr::tools
