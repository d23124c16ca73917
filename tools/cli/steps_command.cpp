#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/cli/commands.h"
#include "tools/cli/messages.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/skipped_rows.h"
#include "tools/evaluation/steps.h"
#include "tools/evaluation/walk_groups.h"
#include "tools/logs/event_log.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/open_log.h"
#include "tools/logs/output_file.h"

namespace zuvdr::tools {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
  std::vector<std::string> logs;
  std::string by = "folder";
  std::string json;
  std::string scores;
  bool summary = false;
  bool lenient = false;
};

// A figure of the table and of the JSON file.
struct Column {
  const char* key;
  const char* heading[2];
  int width;
  int decimals;
  double (*value)(const StepFigures&);
};

double count(std::int64_t n) {
  return static_cast<double>(n);
}

using Figures = const StepFigures&;

double reference_steps(Figures f) {
  return f.with_reference.logs > 0 ? count(f.reference) : std::nan("");
}

constexpr Column kColumns[] = {
    {"seconds", {"", "seconds"}, 8, 1, [](Figures f) { return f.total().seconds; }},
    {"steps", {"", "steps"}, 6, 0, [](Figures f) { return count(f.total().steps); }},
    {"bouts", {"", "bouts"}, 6, 0, [](Figures f) { return count(f.total().bouts); }},
    {"confirmed", {"con-", "firmed"}, 7, 0, [](Figures f) { return count(f.total().confirmed); }},
    {"reference", {"refer-", "ence"}, 7, 0, reference_steps},
    {"excess", {"excess", "%"}, 7, 1, [](Figures f) { return f.excess(); }},
    {"cadence", {"cadence", "1/s"}, 8, 2, [](Figures f) { return f.cadence(); }},
    {"longest_bout", {"longest", "bout"}, 8, 0, [](Figures f) { return count(f.longest_bout); }},
    {"steps_per_minute", {"per", "min"}, 6, 1, [](Figures f) { return f.steps_per_minute(); }},
    {"latency", {"latency", "s"}, 8, 3, [](Figures f) { return f.latency; }},
    {"f1", {"", "F1"}, 6, 3, [](Figures f) { return f.agreement.f1(); }},
    {"recall", {"", "recall"}, 7, 3, [](Figures f) { return f.agreement.recall(); }},
    {"precision", {"preci-", "sion"}, 7, 3, [](Figures f) { return f.agreement.precision(); }},
    {"count_error", {"error", "%"}, 6, 1, [](Figures f) { return f.count_error(); }},
};

void print_row(std::FILE* to, const std::string& name, std::size_t name_width,
               const StepFigures& figures) {
  std::string line = fmt::format("{:<{}}", name, name_width);
  for (const Column& column : kColumns) {
    const double shown = column.value(figures) * (*column.heading[1] == '%' ? 100.0 : 1.0);
    const std::string cell =
        std::isfinite(shown) ? fmt::format("{:.{}f}", shown, column.decimals) : "-";
    line += fmt::format("{:>{}}", cell, column.width);
  }
  fmt::print(to, "{}\n", line);
}

void print_heading(std::FILE* to, std::size_t name_width) {
  for (const int i : {0, 1}) {
    std::string line = fmt::format("{:<{}}", i == 0 ? "" : "log", name_width);
    for (const Column& column : kColumns) {
      line += fmt::format("{:>{}}", column.heading[i], column.width);
    }
    fmt::print(to, "{}\n", line);
  }
}

void add_figures(Json& json, const StepFigures& figures) {
  for (const Column& column : kColumns) {
    const double value = column.value(figures);
    Json& field = json[column.key];  // null
    if (!std::isfinite(value)) continue;
    if (column.decimals == 0) {
      field = static_cast<std::int64_t>(value);
    } else {
      field = value;
    }
  }
  json["compared"] = figures.agreement.declared;
  json["matched"] = figures.agreement.matched;
}

// Short, for the table.
std::string label_of(const WalkGroup& group, const std::string& by) {
  std::string label = group.name.empty() ? "no " + by : group.name;
  if (by == "folder") {
    const std::filesystem::path folder = group.name;
    label = (folder.parent_path().filename() / folder.filename()).string();
  }
  return fmt::format("{} ({})", label, group.walks.size());
}

std::string file_name(const WalkLog& log) {
  return std::filesystem::path(log.path).filename().string();
}

void print_table(std::FILE* to, const std::vector<WalkGroup>& groups, const StepFigures& total,
                 const Options& options) {
  const bool summary = options.summary;
  std::size_t width = 10;
  for (const WalkGroup& group : groups) {
    width = std::max(width, label_of(group, options.by).size());
    if (summary) continue;
    for (const EvaluatedWalk* walk : group.walks) {
      width = std::max(width, file_name(walk->log).size());
    }
  }
  print_heading(to, width);
  for (const WalkGroup& group : groups) {
    for (const EvaluatedWalk* walk : group.walks) {
      if (!summary) print_row(to, file_name(walk->log), width, walk->figures);
    }
    if (summary || groups.size() > 1) {
      print_row(to, label_of(group, options.by), width, group.figures);
    }
    if (!summary && groups.size() > 1) fmt::print(to, "\n");
  }
  const std::int64_t logs = total.total().logs;
  if (logs > 1 && (!summary || groups.size() > 1)) {
    print_row(to, fmt::format("{} logs", logs), width, total);
  }
  flush_standard_output();
}

void write_json(OutputFile& file, const std::vector<EvaluatedWalk>& walks,
                const std::vector<WalkGroup>& groups, const StepFigures& total,
                const std::string& by) {
  Json json{{"logs", Json::array()}, {"by", by}, {"groups", Json::array()}};
  for (const auto& [log, figures] : walks) {
    Json entry{{"log", log.path},          {"folder", folder_of(log)},   {"subject", log.subject},
               {"position", log.position}, {"activity", log.activity},   {"from", log.steps.from},
               {"to", log.steps.to},       {"skipped_rows", log.skipped}};
    add_figures(entry, figures);
    entry["step_times"] = log.steps.declared;
    json["logs"].push_back(std::move(entry));
  }
  for (const WalkGroup& group : groups) {
    Json entry{{"name", group.name}, {"logs", group.walks.size()}};
    add_figures(entry, group.figures);
    json["groups"].push_back(std::move(entry));
  }
  json["total"] = {{"logs", walks.size()}};
  add_figures(json["total"], total);
  // Names of files need not be UTF-8.
  file.write(json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
  file.close();
}

struct Failure {
  InputError error;
  std::vector<std::string> first_skipped;
  std::int64_t skipped;
};

// Prints all but the last error, which the program prints as it ends.
void throw_last(const std::vector<Failure>& failures) {
  for (const Failure& failure : failures) {
    print_skipped(failure.first_skipped, failure.skipped);
    if (&failure != &failures.back()) print_message(failure.error.what());
  }
  throw failures.back().error;
}

void run(const Options& options) {
  std::vector<std::string> outputs;
  for (const std::string& path : {options.json, options.scores}) {
    if (!path.empty()) outputs.push_back(path);
  }
  check_outputs(options.logs, outputs);
  std::optional<OutputFile> json, scores;
  if (!options.json.empty()) json.emplace(options.json);
  if (!options.scores.empty()) {
    scores.emplace(options.scores).write(fmt::format("{}\n", kScoreColumns));
  }
  std::vector<WalkLog> logs;
  std::vector<Failure> failures;
  {
    ProgressBar bar;
    for (const std::string& path : options.logs) {
      std::unique_ptr<LogReader> reader;
      try {
        reader = open_log(path, options.lenient);
        logs.push_back(read_walk(*reader, path, scores.has_value()));
        if (scores) scores->write(std::exchange(logs.back().scores, {}));
      } catch (const InputError& error) {
        failures.push_back({error, {}, 0});
        if (reader) failures.back() = {error, reader->first_skipped(), reader->skipped()};
      }
      bar.show(count(std::ssize(logs) + std::ssize(failures)) / count(std::ssize(options.logs)));
    }
  }
  if (logs.empty()) throw_last(failures);
  const std::vector<EvaluatedWalk> walks = evaluate(std::move(logs));
  const std::vector<WalkGroup> groups = grouped(walks, options.by);
  StepFigures total;
  for (const EvaluatedWalk& walk : walks) total += walk.figures;
  const bool output_taken = std::ranges::any_of(outputs, is_standard_output);
  print_table(output_taken ? stderr : stdout, groups, total, options);
  if (json) write_json(*json, walks, groups, total, options.by);
  if (scores) scores->close();
  for (const EvaluatedWalk& walk : walks) print_skipped(walk.log.first_skipped, walk.log.skipped);
  if (!failures.empty()) throw_last(failures);
}

}  // namespace

void add_steps_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("steps", "Count the steps of walks with the step detector alone");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("LOG", options->logs,
                   "Event logs, texts of the Android GNSS logger or recordings of Sensor Logger; - "
                   "for standard input")
      ->required();
  command->add_flag("--summary", options->summary, "Print the lines of the groups only");
  command
      ->add_option("--by", options->by, "Group the logs by folder or by their header of that name")
      ->check(CLI::IsMember({"folder", "subject", "position", "activity"}))
      ->capture_default_str();
  command->add_option("--json", options->json,
                      "File for all figures and for the times of the steps; - for standard output");
  command->add_option(
      "--scores", options->scores,
      "CSV file for the detector's scores and answers, one row per epoch; - for standard "
      "output");
  command->add_flag(
      "--lenient", options->lenient,
      "Skip malformed rows instead of stopping at the first; the first ten are named");
  command->footer(
      R"(Fixes are not needed. What counts is the part of a log that its header "# span_s: FROM TO"
names (seconds from the first sensor event), else all of it, but never the first 6 s, in which
the detector's filter settles.

steps: declared by the detector; confirmed: those of bouts that reached ten; reference: P rows;
excess: confirmed over reference; cadence: of the median step; per min: in logs without P rows.
With P rows, declared steps less the latency (one for each folder) are matched with them, at
most 0.25 s apart: F1, recall, precision, and the error of the count, for groups the mean over
their logs. The table goes to standard error when a file goes to standard output. docs/steps.md
tells more, and the columns of the files.

Recordings of phones are brought to the engine's 25 Hz; they have no P rows.

Exit status: 0 done; 1 wrong usage, or something could not be written; 2 a log could not be
read, has a malformed row or no rows: the figures are then those of the other logs.

Examples:
  zuvdr steps walks/*.csv.gz --json walks.json
  zuvdr steps walk.zip)");
  command->callback([options] { run(*options); });
}

}  // namespace zuvdr::tools
