// What a reader passed over.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/logs/log_reader.h"

namespace zuvdr::tools {

// Names the first malformed rows of a log on standard error, and counts the others.
void print_skipped(const std::vector<std::string>& first, std::int64_t count);

// All that the reader has to say so far.
void print_skipped(const LogReader& reader);

}  // namespace zuvdr::tools
