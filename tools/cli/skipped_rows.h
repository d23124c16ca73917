// What --lenient passed over.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zuvdr::tools {

// Names the first malformed rows of a log on standard error, and counts the others.
void print_skipped(const std::vector<std::string>& first, std::int64_t count);

}  // namespace zuvdr::tools
