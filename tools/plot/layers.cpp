#include "tools/plot/layers.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "tools/logs/colours.h"
#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

constexpr double kLongestStep = 10.0;  // s; rows further apart are not joined by a line

// Thinning starts unnoticeably fine and becomes coarser until the picture is small enough.
constexpr double kLineTolerance = 0.15;
constexpr double kDotCell = 1.5;
constexpr double kCoarsest = 6.0;           // times both
constexpr std::size_t kMostPoints = 16000;  // about 13 bytes each

constexpr std::array<const char*, 4> kStatusNames{"raw fix, or not yet converged",
                                                  "corrected by GNSS", "dead-reckoned",
                                                  "dead-reckoned, 30 s or more"};

// The way of `position` over the steps i-1 to i that `wanted` picks; unbroken runs become one line.
template <typename Position, typename Wanted>
Lines lines_of(const std::vector<TrackRow>& rows, const MapView& view, Position position,
               Wanted wanted) {
  Lines lines;
  bool joined = false;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const Place from = position(rows[i - 1]);
    const Place to = position(rows[i]);
    if (!wanted(i) || !on_earth(from) || !on_earth(to) ||
        !(seconds_between(rows[i - 1].time_ns, rows[i].time_ns) <= kLongestStep)) {
      joined = false;
      continue;
    }
    const Pixel start = view.to_pixel(from);
    const Pixel end = view.to_pixel(to);
    if (!view.may_contain(start, end)) {
      joined = false;
      continue;
    }
    if (!joined) lines.push_back({start});
    lines.back().push_back(end);
    joined = true;
  }
  return lines;
}

template <typename Wanted>
Lines dots_of(const std::vector<TrackRow>& rows, const MapView& view, Wanted wanted) {
  Lines dots(1);
  for (const TrackRow& row : rows) {
    if (!wanted(row) || !on_earth(fix_place(row))) continue;
    const Pixel pixel = view.to_pixel(fix_place(row));
    if (view.contains(pixel)) dots.front().push_back(pixel);
  }
  return dots;
}

void append(Lines& lines, Lines&& more) {
  lines.insert(lines.end(), std::make_move_iterator(more.begin()),
               std::make_move_iterator(more.end()));
}

bool is_empty(const Layer& layer) {
  return std::all_of(layer.lines.begin(), layer.lines.end(),
                     [](const std::vector<Pixel>& line) { return line.empty(); });
}

std::vector<Layer> thinned(const std::vector<Layer>& layers) {
  for (double coarseness = 1.0;; coarseness = std::min(1.5 * coarseness, kCoarsest)) {
    std::vector<Layer> result = layers;
    std::size_t points = 0;
    for (Layer& layer : result) {
      for (std::vector<Pixel>& line : layer.lines) {
        line = layer.dots ? thin_dots(line, kDotCell * coarseness)
                          : thin_line(line, kLineTolerance * coarseness);
        points += line.size();
      }
    }
    if (points <= kMostPoints || coarseness >= kCoarsest) return result;
  }
}

}  // namespace

std::vector<Stretch> stretches_without_fixes(const std::vector<TrackRow>& rows) {
  std::vector<Stretch> stretches;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].sample == 0) continue;
    if (i == 0 || rows[i - 1].sample == 0) stretches.push_back({i, i});
    stretches.back().last = i;
  }
  return stretches;
}

std::vector<Layer> layers_of(const std::vector<NamedTrack>& tracks, const MapView& view) {
  std::vector<Layer> layers{{"outage", "", "no fixes", false, {}},
                            {"truth", "", "truth", false, {}},
                            {"fix", "", "raw fix", true, {}},
                            {"refused", "", "raw fix, not accepted", true, {}}};
  for (const NamedTrack& track : tracks) {
    const std::vector<TrackRow>& rows = track.rows;
    append(layers[0].lines,
           lines_of(rows, view, way_place, [&](std::size_t i) { return rows[i].sample != 0; }));
    append(layers[1].lines, lines_of(rows, view, truth_place, [](std::size_t) { return true; }));
    append(layers[2].lines, dots_of(rows, view, [](const TrackRow& row) {
             return row.sample == 0 && row.fix_accepted;
           }));
    append(layers[3].lines, dots_of(rows, view, [](const TrackRow& row) {
             return row.sample == 0 && !row.fix_accepted;
           }));
  }
  if (tracks.size() == 1) {
    const std::vector<TrackRow>& rows = tracks.front().rows;
    for (int status = 0; status < static_cast<int>(kStatusNames.size()); ++status) {
      layers.push_back({fmt::format("fused status{}", status), "",
                        kStatusNames[static_cast<std::size_t>(status)], false,
                        lines_of(rows, view, fused_place,
                                 [&](std::size_t i) { return rows[i].status == status; })});
    }
  } else {
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      std::string style = fmt::format("stroke: {}", kTrackColours[i % kTrackColours.size()]);
      const std::size_t round = i / kTrackColours.size();
      if (round > 0) style += fmt::format("; stroke-dasharray: {} 5", 5 * round);
      layers.push_back(
          {"fused", style, tracks[i].name, false,
           lines_of(tracks[i].rows, view, fused_place, [](std::size_t) { return true; })});
    }
  }
  layers.erase(std::remove_if(layers.begin(), layers.end(), is_empty), layers.end());
  return thinned(layers);
}

}  // namespace zuvdr::tools
