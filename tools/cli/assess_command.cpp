#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/cli/care_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/skipped_rows.h"
#include "tools/evaluation/live_figures.h"
#include "tools/logs/event_row.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/open_log.h"
#include "tools/logs/output_file.h"

namespace zuvdr::tools {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
  std::string log;
  HostOptions care;
  bool json = false;
  bool lenient = false;
};

constexpr std::array kGroupNames{"corrected",   "not converged", "dead-reckoned",
                                 "long outage", "walker",        "raw fix"};

double share(std::size_t part, std::size_t all) {
  return all > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(all) : NAN;
}

// nlohmann writes NaN as null.
Json to_json(const LiveErrors& group) {
  const ErrorFigures& errors = group.errors;
  return {{"count", errors.count()},        {"lost", errors.lost()},
          {"median", errors.quantile(0.5)}, {"p95", errors.quantile(0.95)},
          {"max", errors.largest()},        {"stated", group.stated.quantile(0.5)},
          {"inside", group.inside}};
}

Json to_json(const std::array<LiveErrors, kLiveGroups>& groups) {
  Json json;
  for (std::size_t i = 0; i < kLiveGroups; ++i) json[kGroupNames[i]] = to_json(groups[i]);
  return json;
}

Json to_json(const LiveFigures& live, const std::string& log) {
  const LiveFigures::Figures& figures = live.figures();
  const HostCounts& counts = live.counts();
  Json json{{"log", log},
            {"good_fixes", figures.fixes},
            {"corrected_fixes", figures.corrected},
            {"begins", figures.begins},
            {"unanswered", figures.unanswered},
            {"at_fix", to_json(figures.at_fix)},
            {"later", to_json(figures.later)},
            {"now", to_json(figures.now)},
            {"now_all", to_json(figures.now_all)}};
  for (std::size_t i = 0; i < kDriftTimes.size(); ++i) {
    json["drift"][std::to_string(kDriftTimes[i])] = to_json(figures.drift[i]);
  }
  json["outage_end"] = to_json(figures.outage_end);
  json["after_outage"] = to_json(figures.after_outage);
  json["in_gaps"] = to_json(figures.in_gaps);
  json["regains"] = to_json(LiveErrors{figures.regains, {}, 0});
  json["host"] = {{"events_dropped", counts.events_dropped},
                  {"fixes_dropped", counts.fixes_dropped},
                  {"fixes_refused", counts.fixes_refused},
                  {"outage_rows", counts.outage_rows},
                  {"gaps_filled", counts.gaps_filled},
                  {"resets", counts.resets},
                  {"restarts", counts.restarts},
                  {"mounting_yaw", counts.mounting_yaw},
                  {"mounting_yaw_sigma", counts.mounting_yaw_sigma},
                  {"fix_clock_offset", counts.fix_clock_offset}};
  return json;
}

void print_row(const std::string& name, const LiveErrors& group) {
  const ErrorFigures& errors = group.errors;
  if (errors.count() + errors.lost() == 0) return;
  fmt::print("{:<24} {:>7} {:>9.1f} {:>9.1f} {:>9.1f} {:>9.1f} {:>8.0f}{}\n", name, errors.count(),
             errors.quantile(0.5), errors.quantile(0.95), errors.largest(),
             group.stated.quantile(0.5), share(group.inside, errors.count()),
             errors.lost() > 0 ? fmt::format(", {} not finite", errors.lost()) : "");
}

void print_text(const LiveFigures& live) {
  const LiveFigures::Figures& figures = live.figures();
  fmt::print("Good fixes {}, answered at status 1: {}, the first after {}\n", figures.fixes,
             figures.corrected,
             std::isfinite(figures.begins) ? fmt::format("{:.0f} s", figures.begins) : "-");
  fmt::print("{:<24} {:>7} {:>9} {:>9} {:>9} {:>9} {:>8}\n", "errors, m", "count", "median", "95 %",
             "max", "stated", "inside %");
  const auto print_groups = [](const char* when,
                               const std::array<LiveErrors, kLiveGroups>& groups) {
    for (std::size_t i = 0; i < kLiveGroups; ++i) {
      print_row(fmt::format("{}, {}", when, kGroupNames[i]), groups[i]);
    }
  };
  print_groups("at fix", figures.at_fix);
  print_groups("+0.5 s", figures.later);
  print_groups("now", figures.now);
  for (std::size_t i = 0; i < kDriftTimes.size(); ++i) {
    print_row(fmt::format("{} s without fixes", kDriftTimes[i]), figures.drift[i]);
  }
  print_row("end of outages", figures.outage_end);
  print_row("first fix behind", figures.after_outage);
  print_row("gaps of sensors, +5 s", figures.in_gaps);
}

void run(const Options& options) {
  check_outputs({{options.log}}, {});
  const auto reader = open_log(options.log, options.lenient);
  LiveFigures live(options.care);
  try {
    ProgressBar bar;
    EventRow row;
    while (reader->next(row)) {
      live.play(row);
      bar.show(reader->progress());
    }
  } catch (const InputError&) {
    print_skipped(*reader);
    throw;
  }
  live.finish();
  print_skipped(*reader);
  if (options.json) {
    fmt::print("{}\n",
               to_json(live, options.log).dump(2, ' ', false, Json::error_handler_t::replace));
  } else {
    print_text(live);
  }
  flush_standard_output();
}

}  // namespace

void add_assess_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("assess", "Ask for positions as an app does, and tell their errors");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("LOG", options->log,
                   "Log of any format that replay takes, with true positions; - for standard input")
      ->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->add_flag(
      "--lenient", options->lenient,
      "Skip malformed rows instead of stopping at the first; the first ten are named");
  add_care_options(*command, options->care);
  command->footer(list_of_cares() + R"(
A position is asked for at every fix, half a second behind it, and every 0.2 s for the time of the
newest sensor event; with --bare it is carried with its velocity likewise. "stated" is the median
of the accuracies that come with the positions, "inside %" the share of errors within them, which
should be 68.

Exit status: 0 done; 1 wrong usage, or the answer could not be written; 2 the log could not be read,
has a malformed row or no rows.

Example:
  zuvdr assess drive.csv.gz --without mounting-yaw)");
  command->callback([options] { run(*options); });
}

}  // namespace zuvdr::tools
