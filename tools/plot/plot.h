// A picture of a trip: truth, raw fixes and fused track on a map, as SVG.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/logs/track.h"

namespace zuvdr::tools {

struct NamedTrack {
  std::string name;
  std::vector<TrackRow> rows;
};

class PlotError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One track: the fused positions coloured by status, over truth, raw fixes and the stretches
// without fixes, each where the rows have it. On a map of a long trip with truth an inset shows
// where the fused track (status 1 to 3) is farthest from it. A few positions far from all others
// are left outside the map and counted below the title. The title is the name of the file. Throws
// PlotError when no row has a position, OutputError when the file cannot be written.
void plot_track(const std::vector<TrackRow>& rows, const std::string& svg_path);

// The same under a title of its own. Several tracks share one map and have one colour each.
void plot_tracks(const std::vector<NamedTrack>& tracks, const std::string& title,
                 const std::string& svg_path);

}  // namespace zuvdr::tools
