// Fields of comma-separated text, read without regard to the locale.
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace zuvdr::tools {

// Why a field cannot be read: "field NAME: WHAT ('TEXT')". The reader of the file adds file and
// line.
struct FieldError {
  std::string what;
};

[[noreturn]] void fail_field(std::string_view name, std::string_view what, std::string_view text);

// Without blanks, tabs and carriage returns at both ends.
std::string_view trim(std::string_view text);

// Walks over the comma-separated fields of a line; a line has one field more than it has commas.
class FieldSplitter {
 public:
  explicit FieldSplitter(std::string_view line) : rest_(line) {}

  bool at_end() const { return at_end_; }
  std::string_view next();  // trimmed; empty behind the last field

  // The next field as read_number reads it.
  template <typename Number>
  Number next_number(std::string_view name);

 private:
  // The field ends at this index of the rest.
  void pass(std::size_t end) {
    at_end_ = end >= rest_.size();
    rest_.remove_prefix(at_end_ ? rest_.size() : end + 1);
  }

  std::string_view rest_;
  bool at_end_ = false;
};

// As std::from_chars, which not every standard library has for real numbers.
std::from_chars_result parse_number(const char* begin, const char* end, double& value);
std::from_chars_result parse_number(const char* begin, const char* end, float& value);
template <std::integral Number>
std::from_chars_result parse_number(const char* begin, const char* end, Number& value) {
  return std::from_chars(begin, end, value);
}

// The whole of `text` as a number; nan and inf are numbers. Throws FieldError.
template <typename Number>
Number read_number(std::string_view name, std::string_view text) {
  Number value{};
  const auto [end, error] = parse_number(text.data(), text.data() + text.size(), value);
  if (text.empty()) fail_field(name, "empty", text);
  if (error == std::errc::result_out_of_range) fail_field(name, "out of range", text);
  if (error != std::errc{} || end != text.data() + text.size()) {
    fail_field(name, std::is_integral_v<Number> ? "not an integer" : "not a number", text);
  }
  return value;
}

template <typename Number>
Number FieldSplitter::next_number(std::string_view name) {
  // Most fields are a bare number up to the comma, and reading it finds the comma as well.
  Number value{};
  const char* const begin = rest_.data();
  const auto [end, error] = parse_number(begin, begin + rest_.size(), value);
  const auto length = static_cast<std::size_t>(end - begin);
  if (error != std::errc{} || (length < rest_.size() && *end != ',')) {
    return read_number<Number>(name, next());
  }
  pass(length);
  return value;
}

}  // namespace zuvdr::tools
