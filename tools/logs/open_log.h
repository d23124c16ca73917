// A log of any format, recognised by what is in it (docs/recordings.md).
#pragma once

#include <memory>
#include <string>

#include "tools/logs/log_reader.h"

namespace zuvdr::tools {

// An event log, the text of the Android GNSS logger or a recording of the app Sensor Logger (zip or
// folder); text plain or gzip; "-" for standard input.
// Throws InputError when it cannot be opened or is none of these. With lenient set, malformed rows
// of an event log are skipped and counted; those of the others always are.
std::unique_ptr<LogReader> open_log(const std::string& path, bool lenient = false);

}  // namespace zuvdr::tools
