// What the picture of a trip shows, in pixels: the rows of the tracks as lines and dots.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/logs/track.h"
#include "tools/plot/map_view.h"
#include "tools/plot/plot.h"

namespace zuvdr::tools {

// Truth where it is known, else the fused position.
inline Place way_place(const TrackRow& row) {
  return is_finite(truth_place(row)) ? truth_place(row) : fused_place(row);
}

// Consecutive rows, [first, last].
struct Stretch {
  std::size_t first;
  std::size_t last;
};

// The runs of rows without a healthy fix, in the order of time.
std::vector<Stretch> stretches_without_fixes(const std::vector<TrackRow>& rows);

using Lines = std::vector<std::vector<Pixel>>;

// One kind of thing on the map: a path of lines or of dots, and its name in the legend.
struct Layer {
  std::string css_class;
  std::string style;  // in place of a class where the colour depends on the track
  std::string legend;
  bool dots;
  Lines lines;  // of dots: a single list
};

// Everything in view, lowest first, thinned towards 200 kB though no line by as much as a pixel;
// layers in which nothing occurs are left out. One track has a fused layer for each status, several
// have one each.
std::vector<Layer> layers_of(const std::vector<NamedTrack>& tracks, const MapView& view);

}  // namespace zuvdr::tools
