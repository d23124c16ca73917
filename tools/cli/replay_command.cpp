#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/cli/care_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/messages.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/skipped_rows.h"
#include "tools/evaluation/replay.h"
#include "tools/logs/event_row.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/open_log.h"
#include "tools/logs/output_file.h"
#include "tools/logs/track.h"
#include "tools/plot/plot.h"

namespace zuvdr::tools {
namespace {

struct Options {
  std::string log;
  std::vector<std::string> out;
  std::string plot;
  bool lenient = false;
  HostOptions care;
};

void run(const Options& options) {
  std::vector<std::string> outputs = options.out;
  if (!options.plot.empty()) outputs.push_back(options.plot);
  check_outputs({{options.log}}, outputs);
  const auto reader = open_log(options.log, options.lenient);
  // Whatever cannot be opened is refused before the replay.
  std::optional<OutputFile> picture;
  if (!options.plot.empty()) picture.emplace(options.plot);
  std::vector<std::unique_ptr<TrackWriter>> writers;
  for (const std::string& path : options.out) writers.push_back(TrackWriter::open(path));
  std::vector<NamedTrack> track(1);  // a picture needs all rows
  Replay replay(
      [&](const TrackRow& row) {
        for (const auto& writer : writers) writer->write(row);
        if (picture) track.front().rows.push_back(row);
      },
      options.care);
  const auto complete = [&] {
    for (const auto& writer : writers) writer->close();
    if (picture) plot_tracks(track, std::filesystem::path(options.plot).stem().string(), *picture);
  };

  bool anything = false;
  try {
    ProgressBar bar;
    EventRow row;
    while (reader->next(row)) {
      anything = true;
      replay.play(row, reader->line_number());
      bar.show(reader->progress());
    }
  } catch (const InputError&) {
    if (anything) {
      // What the log gave up to here is kept.
      replay.flush();
      try {
        complete();
      } catch (const PlotError& error) {
        print_message(error.what());
      }
    }
    print_skipped(*reader);
    throw;
  }
  const Summary summary = replay.finish(reader->skipped());
  complete();
  print_skipped(*reader);

  const bool output_taken = std::ranges::any_of(outputs, is_standard_output);
  fmt::print(output_taken ? stderr : stdout, "{}", summary.text());
}

}  // namespace

void add_replay_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "replay", "Play a log to the engine, with care; write the track and a summary");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("LOG", options->log,
                   "Event log, text of the Android GNSS logger or recording of Sensor Logger (zip "
                   "or folder); - for standard input")
      ->required();
  command
      ->add_option("--out,-o", options->out,
                   "Track to write, one row per fix or second without: .csv, .geojson or .json; - "
                   "for CSV on standard "
                   "output. May be given more than once")
      ->allow_extra_args(false);
  command->add_option(
      "--plot", options->plot,
      "Picture to draw (SVG), - for standard output; holds the whole track in memory");
  command->add_flag(
      "--lenient", options->lenient,
      "Skip malformed rows instead of stopping at the first; the first ten are named");
  add_care_options(*command, options->care);
  command->footer(list_of_cares() +
                  R"(
The summary goes to standard output, or to standard error when a track or picture goes there.
With T rows in the log it gives errors, each at the time that the position belongs to: that of the
fix; a vehicle's with --bare about one fix interval earlier. docs/host.md tells what the host does.

Exit status: 0 done; 1 wrong usage, or something could not be written or drawn; 2 the log could
not be read, has a malformed row or no rows. Track and picture then hold the fixes before that row.

Example:
  zuvdr replay drive.csv.gz --out drive.geojson --plot drive.svg)");
  command->callback([options] { run(*options); });
}

}  // namespace zuvdr::tools
