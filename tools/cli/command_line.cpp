#include "tools/cli/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

namespace zuvdr::tools {
namespace {

constexpr std::size_t kHelpWidth = 100;      // columns
constexpr std::size_t kDescriptionAt = 30;   // column
constexpr std::size_t kLargestDistance = 2;  // of a word and what it is taken for

std::string wrapped(std::string_view text, std::size_t width) {
  std::string lines;
  while (text.size() > width) {
    const std::size_t blank = text.rfind(' ', width);
    if (blank == std::string_view::npos) break;
    lines.append(text.substr(0, blank)) += '\n';
    text.remove_prefix(blank + 1);
  }
  return lines.append(text);
}

class HelpFormat : public CLI::Formatter {
 public:
  HelpFormat() { column_width(kDescriptionAt); }

  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(CLI::Formatter::make_option_desc(option), kHelpWidth - kDescriptionAt);
  }
};

// Insertions, deletions and replacements that make one word the other.
std::size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t k = 0; k < b.size(); ++k) {
      const std::size_t replaced = diagonal + (a[i] == b[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({replaced, row[k] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string unknown(const char* kind, const std::string& word,
                    const std::vector<std::string>& known) {
  std::string message = fmt::format("unknown {} {}", kind, word);
  const auto distance = [&](const std::string& other) { return edit_distance(word, other); };
  const auto nearest = std::ranges::min_element(known, {}, distance);
  if (nearest != known.end() && distance(*nearest) <= kLargestDistance) {
    message += fmt::format("; did you mean {}?", *nearest);
  }
  return message;
}

std::vector<std::string> long_options(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

}  // namespace

void set_help_format(CLI::App& app) {
  app.formatter(std::make_shared<HelpFormat>());
}

std::string complaint(const CLI::App& app, std::span<const char* const> arguments,
                      const CLI::Error& error) {
  const CLI::App* command = &app;
  std::string help = "zuvdr";
  if (!arguments.empty() && *arguments[0] != '-') {
    std::vector<std::string> names;
    for (const CLI::App* known : app.get_subcommands(nullptr)) names.push_back(known->get_name());
    if (std::ranges::find(names, arguments[0]) == names.end()) {
      return unknown("command", arguments[0], names);
    }
    command = app.get_subcommand(arguments[0]);
    help += fmt::format(" {}", arguments[0]);
    arguments = arguments.subspan(1);
  }
  const std::vector<std::string> options = long_options(*command);
  for (const std::string argument : arguments) {
    const std::string name = argument.substr(0, argument.find('='));
    if (name == "--") break;
    if (name.starts_with("--") && std::ranges::find(options, name) == options.end()) {
      return unknown("option", name, options);
    }
  }
  std::string message = error.what();
  std::ranges::replace(message, '\n', ' ');
  return fmt::format("{} ({} --help tells more)", message, help);
}

}  // namespace zuvdr::tools
