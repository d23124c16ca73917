#include "tools/cli/care_options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace zuvdr::tools {
namespace {

constexpr double kLargestOffset = 10.0;  // s

void leave_out(const std::string& name, HostOptions& options) {
  const auto care = std::ranges::find(kCares, name, [](const Care& c) { return c.name; });
  if (care == kCares.end()) {
    throw CLI::ValidationError("--without", fmt::format("{} is no care of the host", name));
  }
  options.*care->option = false;
}

}  // namespace

std::string list_of_cares() {
  std::string list = "Kinds of care of the host:\n";
  for (const Care& care : kCares) {
    list += fmt::format("  {:<13} {}\n", care.name, care.description);
  }
  return list;
}

void add_care_options(CLI::App& command, HostOptions& options) {
  constexpr char kGroup[] = "Host";
  CLI::Option* const bare = command
                                .add_flag_callback(
                                    "--bare", [&options] { options = HostOptions::none(); },
                                    "The engine's plain calls, without a careful host")
                                ->group(kGroup);
  command
      .add_option_function<std::vector<std::string>>(
          "--without",
          [&options](const std::vector<std::string>& names) {
            for (const std::string& name : names) leave_out(name, options);
          },
          "Do without one kind of care, named below; repeatable")
      ->type_name("CARE")
      ->allow_extra_args(false)
      ->excludes(bare)
      ->group(kGroup);
  command
      .add_option_function<double>(
          "--fix-clock-offset",
          [&options](double seconds) {
            if (!(std::fabs(seconds) <= kLargestOffset)) {
              throw CLI::ValidationError(
                  "--fix-clock-offset",
                  fmt::format("not {} to {}", -kLargestOffset, kLargestOffset));
            }
            options.fix_clock_offset = seconds;
          },
          "By so much the stamps of fixes are ahead of the sensors' clock; found when not given")
      ->type_name("SECONDS")
      ->excludes(bare)
      ->group(kGroup);
}

}  // namespace zuvdr::tools
