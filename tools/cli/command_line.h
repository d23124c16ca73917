// What the program says about its command line.
#pragma once

#include <span>
#include <string>

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace zuvdr::tools {

// Help is wrapped for a terminal of 100 columns.
void set_help_format(CLI::App& app);

// One line why the arguments (without the program's name) cannot be parsed. Of an unknown command
// or option it names the known one that is meant.
std::string complaint(const CLI::App& app, std::span<const char* const> arguments,
                      const CLI::Error& error);

}  // namespace zuvdr::tools
