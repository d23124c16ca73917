#include "tools/logs/log_reader.h"

#include <fmt/format.h>

#include <iterator>

namespace zuvdr::tools {

std::string LogReader::header(const std::string& /*key*/) const {
  return {};
}

std::vector<std::string> LogReader::remarks() const {
  return skip_remarks(first_skipped(), skipped());
}

std::vector<std::string> skip_remarks(const std::vector<std::string>& first, std::int64_t count) {
  std::vector<std::string> lines;
  lines.reserve(first.size() + 1);
  for (const std::string& row : first) lines.push_back("skipped " + row);
  const std::int64_t others = count - std::ssize(first);
  if (others > 0) lines.push_back(fmt::format("... and {} more", others));
  return lines;
}

}  // namespace zuvdr::tools
