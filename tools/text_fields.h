// Fields of comma-separated text, read without regard to the locale.
#pragma once

#include <charconv>
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

 private:
  std::string_view rest_;
  bool at_end_ = false;
};

// The whole of `text` as a number; nan and inf are numbers. Throws FieldError.
template <typename Number>
Number read_number(std::string_view name, std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty()) fail_field(name, "empty", text);
  if (error == std::errc::result_out_of_range) fail_field(name, "out of range", text);
  if (error != std::errc{} || end != text.data() + text.size()) {
    fail_field(name, std::is_integral_v<Number> ? "not an integer" : "not a number", text);
  }
  return value;
}

}  // namespace zuvdr::tools
