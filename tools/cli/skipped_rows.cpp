#include "tools/cli/skipped_rows.h"

#include "tools/cli/messages.h"

namespace zuvdr::tools {

void print_skipped(const std::vector<std::string>& first, std::int64_t count) {
  for (const std::string& line : skip_remarks(first, count)) print_message(line);
}

void print_skipped(const LogReader& reader) {
  for (const std::string& line : reader.remarks()) print_message(line);
}

}  // namespace zuvdr::tools
