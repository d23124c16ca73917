#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/cli/commands.h"
#include "tools/logs/output_file.h"
#include "tools/logs/track.h"
#include "tools/plot/plot.h"

namespace zuvdr::tools {
namespace {

std::string name_of(const std::string& track) {
  if (track == "-") return "standard input";
  std::filesystem::path name = std::filesystem::path(track).filename();
  if (name.extension() == ".gz") name = name.stem();
  return name.stem().string();
}

}  // namespace

void add_plot_command(CLI::App& app) {
  struct Options {
    std::vector<std::string> tracks;
    std::string out;
    std::string title;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("plot", "Draw tracks as a map (SVG)");
  command
      ->add_option("TRACK", options->tracks,
                   "CSV tracks, as written by replay, plain or gzip; - for standard input")
      ->required();
  command->add_option("--out,-o", options->out, "Picture to write; - for standard output")
      ->required();
  command->add_option("--title", options->title, "Title (default: the names of the tracks)");
  command->footer(
      R"(A track alone is coloured by status; several share the map with one colour each. Truth, raw
fixes and stretches without fixes are drawn where the tracks have them.

Exit status: 0 done; 1 wrong usage, or the picture could not be drawn or written; 2 a track
could not be read, has a malformed row or no rows.

Example:
  zuvdr plot drive.csv --title "Home to work" --out drive.svg)");
  command->callback([options] {
    check_outputs(options->tracks, {{options->out}});
    OutputFile picture(options->out);
    std::vector<NamedTrack> tracks;
    std::string names;
    for (const std::string& path : options->tracks) {
      tracks.push_back({name_of(path), read_track_csv(path)});
      names += (names.empty() ? "" : ", ") + tracks.back().name;
    }
    plot_tracks(tracks, options->title.empty() ? names : options->title, picture);
    if (!is_standard_output(options->out)) fmt::print("{}\n", options->out);
  });
}

}  // namespace zuvdr::tools
