#include "tools/cli/skipped_rows.h"

#include <fmt/format.h>

#include <iterator>

#include "tools/cli/messages.h"

namespace zuvdr::tools {

void print_skipped(const std::vector<std::string>& first, std::int64_t count) {
  for (const std::string& row : first) print_message("skipped " + row);
  const std::int64_t others = count - std::ssize(first);
  if (others > 0) print_message(fmt::format("... and {} more", others));
}

}  // namespace zuvdr::tools
