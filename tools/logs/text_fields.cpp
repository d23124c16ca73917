#include "tools/logs/text_fields.h"

#include <fast_float/fast_float.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace zuvdr::tools {
namespace {

template <typename Real>
std::from_chars_result parse_real(const char* begin, const char* end, Real& value) {
  const auto [behind, error] = fast_float::from_chars(begin, end, value);
  if (error != std::errc{} || (value != Real{0} && !std::isinf(value))) return {behind, error};
  // It gives infinity or 0 for what is out of range.
  const std::string_view text(begin, static_cast<std::size_t>(behind - begin));
  const std::string_view digits = text.substr(0, text.find_first_of("eE"));
  const std::string_view impossible = value == Real{0} ? "123456789" : "0123456789";
  const bool out_of_range = digits.find_first_of(impossible) != std::string_view::npos;
  return {behind, out_of_range ? std::errc::result_out_of_range : error};
}

}  // namespace

std::from_chars_result parse_number(const char* begin, const char* end, double& value) {
  return parse_real(begin, end, value);
}

std::from_chars_result parse_number(const char* begin, const char* end, float& value) {
  return parse_real(begin, end, value);
}

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
