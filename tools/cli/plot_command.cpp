#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/cli/commands.h"
#include "tools/logs/track.h"
#include "tools/plot/plot.h"

namespace zuvdr::tools {

void add_plot_command(CLI::App& app) {
  struct Options {
    std::vector<std::string> tracks;
    std::string out;
    std::string title;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("plot", "Draw tracks as a map (SVG)");
  command->add_option("TRACK", options->tracks, "CSV tracks, as written by replay")->required();
  command->add_option("--out,-o", options->out, "Picture to write")->required();
  command->add_option("--title", options->title, "Title (default: the names of the tracks)");
  command->footer(
      "A track alone is coloured by status; several share the map with one colour each. Truth, "
      "raw\n"
      "fixes and stretches without fixes are drawn where the tracks have them.\n"
      "\n"
      "Example:\n"
      "  zuvdr plot drive.csv --title \"Home to work\" --out drive.svg");
  command->callback([options] {
    std::vector<NamedTrack> tracks;
    std::string names;
    for (const std::string& path : options->tracks) {
      tracks.push_back({std::filesystem::path(path).stem().string(), read_track_csv(path)});
      names += (names.empty() ? "" : ", ") + tracks.back().name;
    }
    plot_tracks(tracks, options->title.empty() ? names : options->title, options->out);
    fmt::print("{}\n", options->out);
  });
}

}  // namespace zuvdr::tools
