#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/cli/commands.h"
#include "tools/cli/messages.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/skipped_rows.h"
#include "tools/evaluation/log_check.h"
#include "tools/logs/event_row.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/open_log.h"
#include "tools/logs/output_file.h"

namespace zuvdr::tools {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
  std::vector<std::string> logs;
  bool json = false;
  bool lenient = false;
  bool bare = false;
};

struct CheckedLog {
  LogCheck check;
  std::int64_t skipped;
};

CheckedLog check_log(const std::string& path, const Options& options) {
  const auto reader = open_log(path, options.lenient);
  LogCheck check(options.bare ? HostOptions::none() : HostOptions{});
  try {
    ProgressBar bar;
    EventRow row;
    while (reader->next(row)) {
      check.add(row, reader->line_number());
      bar.show(reader->progress());
    }
  } catch (const InputError&) {
    print_skipped(*reader);
    throw;
  }
  print_skipped(*reader);
  check.finish();
  return {std::move(check), reader->skipped()};
}

void print_text(const std::string& path, const CheckedLog& log, bool several) {
  if (several) fmt::print("{}\n", path);
  fmt::print("Rows         {}, {:.1f} s\n", log.check.rows(), log.check.length());
  fmt::print("{}", log.check.text());
  if (log.skipped > 0) fmt::print("Skipped rows {} (malformed)\n", log.skipped);
  if (log.check.findings().empty()) fmt::print("Nothing found\n");
  if (several) fmt::print("\n");
}

Json to_json(const std::string& path, const CheckedLog& log) {
  const LogCheck& check = log.check;
  // nlohmann writes NaN as null.
  Json json{{"log", path},
            {"rows", check.rows()},
            {"skipped_rows", log.skipped},
            {"seconds", check.length()},
            {"accelerometer_hz", check.rate(Stream::kAccelerometer)},
            {"gyroscope_hz", check.rate(Stream::kGyroscope)},
            {"breaks", check.breaks()},
            {"findings", Json::array()}};
  for (const Finding& finding : check.findings()) {
    Json entry{{"stream", stream_name(finding.stream)},
               {"fault", fault_name(finding.fault)},
               {"breaks", finding.breaks},
               {"count", finding.count},
               {"line", nullptr},
               {"time_ns", nullptr},
               {"seconds", nullptr},
               {"worst", finding.worst},
               {"text", finding.text},
               {"host", nullptr}};
    if (finding.cure != nullptr) entry["host"] = finding.cure;
    if (finding.line > 0) entry["line"] = finding.line;
    if (finding.time_ns) {
      entry["time_ns"] = *finding.time_ns;
      entry["seconds"] = check.since_start(*finding.time_ns);
    }
    json["findings"].push_back(std::move(entry));
  }
  return json;
}

void run(const Options& options) {
  check_outputs(options.logs, {});
  int status = kDone;
  Json logs = Json::array();
  for (const std::string& path : options.logs) {
    try {
      const CheckedLog log = check_log(path, options);
      if (log.check.breaks() && status == kDone) status = kBreaksSolution;
      if (options.json) {
        logs.push_back(to_json(path, log));
      } else {
        print_text(path, log, options.logs.size() > 1);
        flush_standard_output();
      }
    } catch (const InputError& error) {
      status = kBadInput;
      print_message(error.what());
      if (options.json) logs.push_back({{"log", path}, {"error", error.what()}});
    }
  }
  if (options.json) {
    // Names of files need not be UTF-8.
    fmt::print("{}\n", Json{{"logs", logs}}.dump(2, ' ', false, Json::error_handler_t::replace));
  }
  flush_standard_output();
  if (status != kDone) throw CLI::RuntimeError(status);
}

}  // namespace

void add_check_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("check", "Tell what is wrong with logs, without the engine");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("LOG", options->logs,
                   "Logs of any format that replay takes; - for standard input")
      ->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->add_flag("--bare", options->bare,
                    "For the engine's plain calls, without a careful host that cures much of it");
  command->add_flag("--lenient", options->lenient,
                    "Skip and count malformed rows instead of stopping at the first");
  command->footer(
      R"(Sensor rates, gaps, time stamps that repeat, go back or stand apart, values that are not finite,
fixes that are out of range, outside the north-eastern quadrant or fail the quality test; of each
kind how often, and line and time of the first. docs/check.md tells what each means. What a careful
host cures is a note that says how, unless --bare is given.

Exit status: 0 nothing, or warnings only; 1 wrong usage, or the answer could not be written; 2 a log
could not be read (the others are still checked); 3 something would break the solution.

Example:
  zuvdr check drives/*.csv.gz)");
  command->callback([options] { run(*options); });
}

}  // namespace zuvdr::tools
