#include "tools/logs/text_fields.h"

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
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view FieldSplitter::next() {
  const std::size_t comma = rest_.find(',');
  const std::string_view field = rest_.substr(0, comma);
  pass(comma);
  return trim(field);
}

}  // namespace zuvdr::tools
