#include "tools/plot/plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "tools/logs/colours.h"
#include "tools/logs/time_difference.h"
#include "tools/plot/free_space.h"
#include "tools/plot/layers.h"
#include "tools/plot/map_view.h"
#include "tools/plot/text.h"

namespace zuvdr::tools {
namespace {

// Layout, pixels.
constexpr double kWidth = 900.0;
constexpr double kHeader = 64.0;
constexpr double kLeastMap = 280.0;
constexpr double kLargestMap = 640.0;
constexpr double kMargin = 48.0;
constexpr double kInsetWidth = 300.0;
constexpr double kInsetHeight = 220.0;
constexpr double kInsetMargin = 20.0;
constexpr double kInsetAround = 70.0;  // about the two positions that it compares
constexpr double kInsetTitle = 28.0;   // height of the strip above its map
constexpr double kTextHeight = 18.0;
constexpr double kEdge = 20.0;        // text and legend to the edge of the picture
constexpr double kLegendLine = 24.0;  // from one line of the legend to the next
constexpr double kLegendSample = 24.0;
constexpr double kFontSize = 13.0;
constexpr double kTitleSize = 19.0;
constexpr double kBold = 1.15;  // times the width of plain text
constexpr double kLongestScaleBar = 150.0;

constexpr double kShortestLabelled = 5.0;  // s; stretches without fixes that get a label
constexpr std::size_t kMostLabels = 6;
constexpr double kLongestBare = 15.0;  // pixels from a point to its label without a line

// The inset enlarges what the scale of a long trip hides: how raw fixes, truth and output differ.
constexpr double kInsetWorthwhile = 1.0;   // m per pixel of the map
constexpr double kInsetEnlargement = 3.0;  // at least

constexpr const char* kStyle = R"(
text { font: 13px "Helvetica Neue", Helvetica, Arial, "Liberation Sans", sans-serif; fill: #3c4043 }
.title { font-size: 19px; font-weight: 600; fill: #202124 }
.note { fill: #5f6368 }
.halo { stroke: #f6f7f9; stroke-width: 4px; stroke-linejoin: round; paint-order: stroke }
path { fill: none; stroke-linecap: round; stroke-linejoin: round }
.page { fill: #ffffff }
.map { fill: #f6f7f9 }
.inset { fill: #ffffff; stroke: #bdc1c6 }
.outage { stroke: #ead9b4; stroke-width: 16px; stroke-linecap: butt }
.truth { stroke-width: 6px }
.fix { stroke-width: 2.2px }
.refused { stroke: #c039b0; stroke-width: 2.8px }
.fused { stroke-width: 2.2px }
.frame { fill: none; stroke: #5f6368 }
.plate { fill: #ffffff; fill-opacity: 0.8 }
.leader { stroke: #5f6368; stroke-width: 1px }
.ink { fill: #202124; stroke: #ffffff; stroke-width: 1.5px }
.rule { stroke: #3c4043; stroke-width: 1.5px; stroke-linecap: butt; stroke-linejoin: miter }
.worst { stroke: #202124; stroke-width: 1.8px; stroke-dasharray: 4 3; stroke-linecap: butt }
.lost { fill: #ffffff; stroke: #202124 }
)";

std::string style_sheet() {
  std::string style = kStyle;
  const auto add = [&](const std::string& css_class, const char* colour) {
    style += fmt::format(".{} {{ stroke: {} }}\n", css_class, colour);
  };
  add("truth", kTruthColour);
  add("fix", kFixColour);
  for (std::size_t i = 0; i < kStatusColours.size(); ++i) {
    add(fmt::format("status{}", i), kStatusColours[i]);
  }
  return style;
}

void write_text(std::string& svg, const Pixel& at, const std::string& css_class,
                const std::string& text, const char* anchor = "start") {
  svg += fmt::format("<text class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n",
                     css_class, at.x, at.y, anchor, escaped(text));
}

void write_path(std::string& svg, const Layer& layer, const Lines& lines) {
  svg += fmt::format("<path class=\"{}\"", layer.css_class);
  if (!layer.style.empty()) svg += fmt::format(" style=\"{}\"", layer.style);
  svg += " d=\"";
  for (const std::vector<Pixel>& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      // A dot is a line of no length with round ends.
      const char command = i == 0 || layer.dots ? 'M' : 'L';
      svg += fmt::format("{}{:.1f} {:.1f}", command, line[i].x, line[i].y);
      if (layer.dots) svg += "h0";
    }
  }
  svg += "\"/>\n";
}

// "8 min 10 s, 7.1 km, 75 s without fixes". A position beside the map is no way.
std::string caption_of(const std::vector<TrackRow>& rows, const MapView& view) {
  std::string caption = duration_text(seconds_between(rows.front().time_ns, rows.back().time_ns));
  double way = 0.0;
  std::optional<Place> from;
  for (const TrackRow& row : rows) {
    const Place to = truth_place(row);
    if (is_finite(to) && !view.contains(view.to_pixel(to))) continue;
    if (from && is_finite(to)) way += distance(*from, to);
    from = is_finite(to) ? std::optional(to) : std::nullopt;
  }
  if (way > 0.0) caption += fmt::format(", {}", length_text(way));
  double missing = 0.0;
  for (const Stretch& stretch : stretches_without_fixes(rows)) {
    missing += seconds_between(rows[stretch.first].time_ns, rows[stretch.last].time_ns);
  }
  if (missing > 0.0) caption += fmt::format(", {} without fixes", duration_text(missing));
  return caption;
}

// "3 positions lie outside the map", of what would be drawn; empty when there are none.
std::string note_on_outliers(const std::vector<NamedTrack>& tracks, const MapView& view) {
  const auto outside = [&](const Place& place) {
    return is_finite(place) && !view.contains(view.to_pixel(place)) ? 1 : 0;
  };
  int count = 0;
  for (const NamedTrack& track : tracks) {
    for (const TrackRow& row : track.rows) {
      count += outside(fused_place(row)) + outside(truth_place(row));
      if (row.sample == 0) count += outside(fix_place(row));
    }
  }
  if (count == 0) return "";
  return count == 1 ? "1 position lies outside the map"
                    : fmt::format("{} positions lie outside the map", count);
}

// Beside the point, with a line to it where the nearest room is farther off.
void write_label(std::string& svg, FreeSpace& space, const Pixel& at, const std::string& text) {
  const std::optional<Box> box = space.take_beside(at, text_width(text, kFontSize), kTextHeight);
  if (!box) return;
  const double right = box->left + box->width;
  const Pixel near{std::clamp(at.x, box->left, right),
                   std::clamp(at.y, box->top, box->top + box->height)};
  if (std::hypot(near.x - at.x, near.y - at.y) > kLongestBare) {
    svg += fmt::format("<path class=\"leader\" d=\"M{:.1f} {:.1f}L{:.1f} {:.1f}\"/>\n", at.x, at.y,
                       near.x, near.y);
    space.avoid(at, near);
  }
  const double baseline = box->top + 13.0;
  if (at.x <= box->left) {
    write_text(svg, {box->left, baseline}, "halo", text);
  } else if (at.x >= right) {
    write_text(svg, {right, baseline}, "halo", text, "end");
  } else {
    write_text(svg, {box->left + 0.5 * box->width, baseline}, "halo", text, "middle");
  }
}

// The stretches without fixes that are long enough for a label, longest first.
std::vector<Stretch> notable_stretches(const std::vector<TrackRow>& rows) {
  const auto length = [&](const Stretch& s) {
    return seconds_between(rows[s.first].time_ns, rows[s.last].time_ns);
  };
  std::vector<Stretch> stretches;
  for (const Stretch& stretch : stretches_without_fixes(rows)) {
    if (length(stretch) >= kShortestLabelled) stretches.push_back(stretch);
  }
  std::stable_sort(stretches.begin(), stretches.end(),
                   [&](const Stretch& a, const Stretch& b) { return length(a) > length(b); });
  if (stretches.size() > kMostLabels) stretches.resize(kMostLabels);
  return stretches;
}

void write_stretch_labels(std::string& svg, const std::vector<TrackRow>& rows, const MapView& view,
                          FreeSpace& space) {
  for (const Stretch& stretch : notable_stretches(rows)) {
    const Place middle = way_place(rows[(stretch.first + stretch.last) / 2]);
    if (!view.contains(view.to_pixel(middle))) continue;
    const TrackRow& end = rows[stretch.last];
    std::string text =
        duration_text(seconds_between(rows[stretch.first].time_ns, end.time_ns)) + " without fixes";
    if (is_finite(truth_place(end)) && is_finite(fused_place(end))) {
      text +=
          fmt::format(", {:.1f} m off at the end", distance(truth_place(end), fused_place(end)));
    }
    write_label(svg, space, view.to_pixel(middle), text);
  }
}

// A track that has no position at an end shows where it was found first or lost, and when.
void write_ends(std::string& svg, const std::vector<TrackRow>& rows, const MapView& view,
                FreeSpace& space) {
  const auto shown = [](const TrackRow& row) { return on_earth(fused_place(row)); };
  const auto first = std::find_if(rows.begin(), rows.end(), shown);
  if (first == rows.end()) return;
  const TrackRow& last = *std::find_if(rows.rbegin(), rows.rend(), shown);
  const bool found_late = first != rows.begin();
  const bool lost = &last != &rows.back();
  const Pixel start = view.to_pixel(fused_place(*first));
  const Pixel end = view.to_pixel(fused_place(last));
  const bool together = !found_late && !lost && std::hypot(end.x - start.x, end.y - start.y) < 14.0;
  if (view.contains(end)) {
    svg += fmt::format(
        "<rect class=\"ink {}\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"10\" height=\"10\"/>\n",
        lost ? "lost" : "end", end.x - 5.0, end.y - 5.0);
  }
  if (view.contains(start)) {
    svg += fmt::format("<circle class=\"ink start\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5.5\"/>\n",
                       start.x, start.y);
    const std::string since =
        duration_text(seconds_between(rows.front().time_ns, first->time_ns)) + " after the start";
    write_label(svg, space, start,
                together     ? "start and end"
                : found_late ? "first position, " + since
                             : "start");
  }
  if (view.contains(end) && !together) {
    const std::string until =
        duration_text(seconds_between(last.time_ns, rows.back().time_ns)) + " before the end";
    write_label(svg, space, end, lost ? "last position, " + until : "end");
  }
}

void write_scale_bar(std::string& svg, const MapView& view, const Pixel& right_end,
                     double longest) {
  const double metres = round_length(longest * view.metres_per_pixel());
  const double length = metres / view.metres_per_pixel();
  svg += fmt::format("<path class=\"rule scale\" d=\"M{:.2f} {:.1f}v6H{:.2f}v-6\"/>\n",
                     right_end.x - length, right_end.y - 6.0, right_end.x);
  write_text(svg, {right_end.x - 0.5 * length, right_end.y - 8.0}, "", length_text(metres),
             "middle");
}

std::string corners(const Box& box) {
  return fmt::format("x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\"", box.left,
                     box.top, box.width, box.height);
}

// Everything on the map but its labels, cut off at its edges.
void write_map(std::string& svg, const std::vector<Layer>& layers, const MapView& view,
               const std::string& css_class) {
  const std::string box = corners({view.left(), view.top(), view.width(), view.height()});
  svg += fmt::format("<rect class=\"{}\" {}/>\n<svg {} viewBox=\"{:.1f} {:.1f} {:.1f} {:.1f}\">\n",
                     css_class, box, box, view.left(), view.top(), view.width(), view.height());
  for (const Layer& layer : layers) write_path(svg, layer, layer.lines);
  svg += "</svg>\n";
}

// A row whose fused position and truth are both on the map.
bool is_comparable(const TrackRow& row, const MapView& view) {
  return view.contains(view.to_pixel(fused_place(row))) &&
         view.contains(view.to_pixel(truth_place(row)));
}

// Where the output is not yet fused there is nothing to compare.
bool has_error(const TrackRow& row) {
  return row.status != 0 && is_finite(fused_place(row)) && is_finite(truth_place(row));
}

double error_of(const TrackRow& row) {
  return distance(fused_place(row), truth_place(row));
}

// None when no row is off.
const TrackRow* farthest_from_truth(const std::vector<TrackRow>& rows, const MapView& view) {
  const TrackRow* farthest = nullptr;
  for (const TrackRow& row : rows) {
    if (has_error(row) && is_comparable(row, view) &&
        error_of(row) > (farthest != nullptr ? error_of(*farthest) : 0.0)) {
      farthest = &row;
    }
  }
  return farthest;
}

// An enlarged part of the map.
struct Inset {
  Place fused;
  Place truth;
  std::string title;
  double width;
  Box frame;  // the part

  MapView view_at(double left, double top) const {
    return {{fused, truth}, left, top, width, kInsetHeight, kInsetHeight, kInsetAround};
  }
};

// Around the place where the fused track is farthest from the truth.
std::optional<Inset> inset_of(const std::vector<TrackRow>& rows, const MapView& view) {
  const TrackRow* const worst = farthest_from_truth(rows, view);
  if (worst == nullptr || view.metres_per_pixel() < kInsetWorthwhile) return std::nullopt;
  const bool all_on_map = std::all_of(rows.begin(), rows.end(), [&](const TrackRow& row) {
    return !has_error(row) || is_comparable(row, view);
  });
  Inset inset{fused_place(*worst),
              truth_place(*worst),
              fmt::format("fused track farthest from truth{}: {:.1f} m",
                          all_on_map ? "" : " on the map", error_of(*worst)),
              kInsetWidth,
              {}};
  inset.width = std::max(kInsetWidth, text_width(inset.title, kFontSize) + 20.0);
  const MapView part = inset.view_at(0.0, 0.0);
  const double scale = part.metres_per_pixel() / view.metres_per_pixel();
  if (scale * kInsetEnlargement > 1.0) return std::nullopt;
  const Pixel middle = view.to_pixel(part.middle());
  const double width = scale * inset.width;
  const double height = scale * kInsetHeight;
  inset.frame = {middle.x - 0.5 * width, middle.y - 0.5 * height, width, height};
  return inset;
}

bool write_inset(std::string& svg, const Inset& inset, const NamedTrack& track, FreeSpace& space) {
  const std::optional<Box> box =
      space.take_corner(inset.width, kInsetTitle + kInsetHeight, kInsetMargin);
  if (!box) return false;
  svg += fmt::format("<rect class=\"frame\" {}/>\n<rect class=\"inset\" {}/>\n",
                     corners(inset.frame), corners(*box));
  write_text(svg, {box->left + 10.0, box->top + 19.0}, "", inset.title);
  const MapView view = inset.view_at(box->left, box->top + kInsetTitle);
  write_map(svg, layers_of({track}, view), view, "inset");
  const Pixel fused = view.to_pixel(inset.fused);
  const Pixel truth = view.to_pixel(inset.truth);
  svg += fmt::format("<path class=\"worst\" d=\"M{:.1f} {:.1f}L{:.1f} {:.1f}\"/>\n", fused.x,
                     fused.y, truth.x, truth.y);
  const Pixel corner{box->left + box->width, box->top + box->height};
  svg += fmt::format("<rect class=\"plate\" {}/>\n",
                     corners({corner.x - 105.0, corner.y - 38.0, 100.0, 33.0}));
  write_scale_bar(svg, view, {corner.x - 15.0, corner.y - 10.0}, 80.0);
  return true;
}

// The legend flows in lines from the left, the first as far as the scale bar; returns the y below.
double write_legend(std::string& svg, const std::vector<Layer>& layers, double top) {
  double right = kWidth - kEdge - kLongestScaleBar - 2.0 * kEdge;
  Pixel at{kEdge, top + 0.5 * kLegendLine};
  for (const Layer& layer : layers) {
    const std::string name =
        shortened(layer.legend, kFontSize, right - kEdge - kLegendSample - 8.0);
    const double width = kLegendSample + 8.0 + text_width(name, kFontSize);
    if (at.x > kEdge && at.x + width > right) {
      at = {kEdge, at.y + kLegendLine};
      right = kWidth - kEdge;
    }
    Lines sample{{{at.x, at.y}, {at.x + kLegendSample, at.y}}};
    if (layer.dots) {
      sample = {{{at.x + 4.0, at.y + 2.0}, {at.x + 12.0, at.y - 2.0}, {at.x + 20.0, at.y + 1.0}}};
    }
    write_path(svg, layer, sample);
    write_text(svg, {at.x + kLegendSample + 8.0, at.y + 4.5}, "", name);
    at.x += width + 20.0;
  }
  return at.y + 0.5 * kLegendLine;
}

void write_north_arrow(std::string& svg) {
  const double x = kWidth - kEdge - 8.0;
  svg += fmt::format(
      "<path class=\"north\" style=\"fill: #3c4043\" d=\"M{:.1f} 14l7 20l-7 -5l-7 5z\"/>\n", x);
  write_text(svg, {x, 50.0}, "", "N", "middle");
}

void write_labels(std::string& svg, const std::vector<NamedTrack>& tracks, const MapView& view,
                  FreeSpace& space) {
  for (const NamedTrack& track : tracks) write_ends(svg, track.rows, view, space);
  if (tracks.size() == 1) write_stretch_labels(svg, tracks.front().rows, view, space);
}

// The labels have the first choice as long as a corner stays free for the inset.
void write_labels_and_inset(std::string& svg, const std::vector<NamedTrack>& tracks,
                            const MapView& view, FreeSpace space) {
  const std::optional<Inset> inset =
      tracks.size() == 1 ? inset_of(tracks.front().rows, view) : std::nullopt;
  if (inset) space.avoid_outline(inset->frame);
  FreeSpace left = space;
  std::string labels;
  write_labels(labels, tracks, view, left);
  if (!inset || write_inset(labels, *inset, tracks.front(), left)) {
    svg += labels;
  } else {
    write_inset(svg, *inset, tracks.front(), space);
    write_labels(svg, tracks, view, space);
  }
}

}  // namespace

void plot_tracks(const std::vector<NamedTrack>& tracks, const std::string& title,
                 OutputFile& picture) {
  std::vector<Place> shown;
  for (const NamedTrack& track : tracks) {
    std::vector<Place> positions;
    for (const TrackRow& row : track.rows) {
      positions.insert(positions.end(), {fused_place(row), truth_place(row)});
    }
    const std::vector<Place> good = without_outliers(positions);
    shown.insert(shown.end(), good.begin(), good.end());
  }
  if (shown.empty()) {
    throw PlotError(fmt::format("{}: nothing to plot, the track has no positions", picture.name()));
  }
  const MapView view(shown, 0.0, kHeader, kWidth, kLeastMap, kLargestMap, kMargin);
  const std::vector<Layer> layers = layers_of(tracks, view);
  FreeSpace space({view.left(), view.top(), view.width(), view.height()});
  for (const Layer& layer : layers) {
    for (const std::vector<Pixel>& line : layer.lines) {
      for (std::size_t i = 0; i < line.size(); ++i) {
        space.avoid(line[layer.dots || i == 0 ? i : i - 1], line[i]);
      }
    }
  }

  std::string body;
  write_text(body, {kEdge, 30.0}, "title",
             shortened(title, kTitleSize * kBold, kWidth - 3.0 * kEdge - 20.0));
  write_north_arrow(body);
  write_map(body, layers, view, "map");
  std::string caption = note_on_outliers(tracks, view);
  if (tracks.size() == 1) {
    caption = caption_of(tracks.front().rows, view) + (caption.empty() ? "" : "; ") + caption;
  }
  if (!caption.empty()) write_text(body, {kEdge, 50.0}, "note", caption);
  write_labels_and_inset(body, tracks, view, std::move(space));
  const double below_map = view.top() + view.height() + 10.0;
  const double height = write_legend(body, layers, below_map) + 10.0;
  write_scale_bar(body, view, {kWidth - kEdge, below_map + 20.0}, kLongestScaleBar);

  picture.write(
      fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1:.0f}\" "
                  "viewBox=\"0 0 {0} {1:.0f}\">\n<title>{2}</title>\n<style>{3}</style>\n"
                  "<rect class=\"page\" width=\"100%\" height=\"100%\"/>\n{4}</svg>\n",
                  kWidth, height, escaped(title), style_sheet(), body));
  picture.close();
}

}  // namespace zuvdr::tools
