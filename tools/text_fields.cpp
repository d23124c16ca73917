#include "tools/text_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace zuvdr::tools {

void fail_field(std::string_view name, std::string_view what, std::string_view text) {
  constexpr std::size_t kLongest =
      40;  // characters shown of a text that may be a whole binary file
  std::string shown(text.substr(0, kLongest));
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  const char* rest = text.size() > kLongest ? "..." : "";
  throw FieldError{fmt::format("field {}: {} ('{}{}')", name, what, shown, rest)};
}

std::string_view trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string_view FieldSplitter::next() {
  const std::size_t comma = rest_.find(',');
  const std::string_view field = rest_.substr(0, comma);
  at_end_ = comma == std::string_view::npos;
  rest_.remove_prefix(at_end_ ? rest_.size() : comma + 1);
  return trim(field);
}

}  // namespace zuvdr::tools
