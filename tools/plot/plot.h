// A picture of a trip: truth, raw fixes and fused track on a map, as SVG.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/logs/output_file.h"
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
// where the fused track (status 1 to 3) is farthest from it. Several tracks share the map and have
// one colour each. A few positions far from all others are left outside the map and counted below
// the title. Closes the picture. Throws PlotError when no row has a position, OutputError when the
// picture cannot be written.
void plot_tracks(const std::vector<NamedTrack>& tracks, const std::string& title,
                 OutputFile& picture);

}  // namespace zuvdr::tools
