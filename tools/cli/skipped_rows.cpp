#include "tools/cli/skipped_rows.h"

#include <fmt/format.h>

#include <cstdio>
#include <iterator>

namespace zuvdr::tools {

void print_skipped(const std::vector<std::string>& first, std::int64_t count) {
  for (const std::string& row : first) fmt::print(stderr, "zuvdr: skipped {}\n", row);
  const std::int64_t others = count - std::ssize(first);
  if (others > 0) fmt::print(stderr, "zuvdr: ... and {} more\n", others);
}

}  // namespace zuvdr::tools
