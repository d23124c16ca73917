#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands.h"
#include "tools/steps.h"

namespace zuvdr::tools {
namespace {

struct Options {
  std::vector<std::string> logs;
  bool lenient = false;
};

class Table {
 public:
  explicit Table(std::size_t name_width) : name_width_(name_width) {
    fmt::print("{:<{}} {:>9} {:>7} {:>6} {:>10} {:>10} {:>8}\n", "log", name_width_, "seconds",
               "steps", "bouts", "confirmed", "reference", "excess");
  }

  void add(const std::string& name, const StepCounts& counts) {
    print(name, counts, counts.confirmed);
    ++logs_;
    total_.seconds += counts.seconds;
    total_.steps += counts.steps;
    total_.bouts += counts.bouts;
    total_.confirmed += counts.confirmed;
    if (counts.reference >= 0) {
      total_.reference = std::max<std::int64_t>(total_.reference, 0) + counts.reference;
      confirmed_with_reference_ += counts.confirmed;
    }
    // The table grows as the logs are counted.
    std::fflush(stdout);
  }

  // The total compares only logs that have a reference.
  void finish() const {
    if (logs_ > 1) print(fmt::format("{} logs", logs_), total_, confirmed_with_reference_);
  }

 private:
  void print(const std::string& name, const StepCounts& counts, std::int64_t compared) const {
    const bool known = counts.reference >= 0;
    const double reference = static_cast<double>(counts.reference);
    const std::string excess =
        counts.reference > 0
            ? fmt::format("{:+.1f} %",
                          100.0 * (static_cast<double>(compared) - reference) / reference)
            : "-";
    fmt::print("{:<{}} {:>9.1f} {:>7} {:>6} {:>10} {:>10} {:>8}\n", name, name_width_,
               counts.seconds, counts.steps, counts.bouts, counts.confirmed,
               known ? std::to_string(counts.reference) : "-", excess);
  }

  std::size_t name_width_;
  int logs_ = 0;
  StepCounts total_;
  std::int64_t confirmed_with_reference_ = 0;
};

void run(const Options& options) {
  const auto name = [](const std::string& log) {
    return std::filesystem::path(log).filename().string();
  };
  std::size_t width = 8;
  for (const std::string& log : options.logs) width = std::max(width, name(log).size());
  Table table(width);
  for (const std::string& log : options.logs) {
    const StepCounts counts = count_steps(log, options.lenient);
    table.add(name(log), counts);
    if (counts.skipped > 0) {
      fmt::print(stderr, "{}: {} malformed rows skipped\n", log, counts.skipped);
    }
  }
  table.finish();
}

}  // namespace

void add_steps_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("steps", "Count the steps of walks with the step detector alone");
  const auto options = std::make_shared<Options>();
  command->add_option("LOG", options->logs, "Event logs, plain or gzip; - for standard input")
      ->required();
  command->add_flag("--lenient", options->lenient,
                    "Skip and count malformed rows instead of stopping at the first");
  command->footer(
      "Fixes are not needed. steps: declared by the detector; confirmed: those of bouts that "
      "reached\n"
      "ten steps, as the engine's total counts them (but fixes too slow or too fast for a walk end "
      "a\n"
      "bout there); reference: P rows; excess: confirmed over reference.\n"
      "Everything is counted in the part of the log that its header \"# span_s: FROM TO\" names\n"
      "(seconds from the first sensor event), else in all of it, but never in the first 6 s, in "
      "which\n"
      "the detector's filter settles.\n"
      "\n"
      "Example:\n"
      "  zuvdr steps walks/*.csv.gz");
  command->callback([options] { run(*options); });
}

}  // namespace zuvdr::tools
