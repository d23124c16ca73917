#include "tools/plot/plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "tools/logs/time_difference.h"
#include "tools/plot/free_space.h"
#include "tools/plot/layers.h"
#include "tools/plot/map_view.h"

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
constexpr double kTextHeight = 18.0;
constexpr double kEdge = 20.0;        // text and legend to the edge of the picture
constexpr double kLegendLine = 24.0;  // from one line of the legend to the next
constexpr double kLegendSample = 24.0;
constexpr double kCharacter = 6.0;  // mean width at 13 px, rather too wide
constexpr double kLongestScaleBar = 150.0;

constexpr double kShortestLabelled = 5.0;  // s; stretches without fixes that get a label
constexpr std::size_t kMostLabels = 6;

// The inset enlarges what the scale of a long trip hides: how raw fixes, truth and output differ.
constexpr double kInsetWorthwhile = 1.0;  // m per pixel of the map
constexpr double kInsetDuration = 12.0;   // s

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
.truth { stroke: #a5d6a0; stroke-width: 6px }
.fix { stroke: #3c4043; stroke-width: 2.2px }
.refused { stroke: #c039b0; stroke-width: 2.8px }
.fused { stroke-width: 2.2px }
.status0 { stroke: #8d949b }
.status1 { stroke: #1a6fdf }
.status2 { stroke: #f08c00 }
.status3 { stroke: #d9302a }
.frame { fill: none; stroke: #5f6368 }
.ink { fill: #202124; stroke: #ffffff; stroke-width: 1.5px }
.rule { stroke: #3c4043; stroke-width: 1.5px; stroke-linecap: butt; stroke-linejoin: miter }
)";

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += c;
    }
  }
  return result;
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

std::string duration_text(double seconds) {
  const long whole = std::lround(seconds);
  if (whole < 120) return fmt::format("{} s", whole);
  return fmt::format("{} min {} s", whole / 60, whole % 60);
}

std::string length_text(double metres) {
  return metres < 1000.0 ? fmt::format("{:.4g} m", metres) : fmt::format("{:.3g} km", metres / 1e3);
}

// "8 min 10 s, 7.1 km driven, 75 s of it without fixes"
std::string caption_of(const std::vector<TrackRow>& rows) {
  std::string caption = duration_text(seconds_between(rows.front().time_ns, rows.back().time_ns));
  double way = 0.0;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const Place from = truth_place(rows[i - 1]);
    const Place to = truth_place(rows[i]);
    if (is_finite(from) && is_finite(to)) way += distance(from, to);
  }
  if (way > 0.0) caption += fmt::format(", {}", length_text(way));
  double missing = 0.0;
  for (const Stretch& stretch : stretches_without_fixes(rows)) {
    missing += seconds_between(rows[stretch.first].time_ns, rows[stretch.last].time_ns);
  }
  if (missing > 0.0) caption += fmt::format(", {} of it without fixes", duration_text(missing));
  return caption;
}

void write_label(std::string& svg, FreeSpace& space, const Pixel& at, const std::string& text) {
  const Box box = space.take_beside(at, kCharacter * static_cast<double>(text.size()), kTextHeight);
  write_text(svg, {box.left + 0.5 * box.width, box.top + 13.0}, "halo", text, "middle");
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
    if (!is_finite(middle)) continue;
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

void write_ends(std::string& svg, const std::vector<TrackRow>& rows, const MapView& view,
                FreeSpace& space) {
  const auto shown = [](const TrackRow& row) { return is_finite(fused_place(row)); };
  const auto first = std::find_if(rows.begin(), rows.end(), shown);
  const auto last = std::find_if(rows.rbegin(), rows.rend(), shown);
  if (first == rows.end()) return;
  const Pixel start = view.to_pixel(fused_place(*first));
  const Pixel end = view.to_pixel(fused_place(*last));
  const bool together = std::hypot(end.x - start.x, end.y - start.y) < 14.0;
  svg += fmt::format(
      "<rect class=\"ink end\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"10\" height=\"10\"/>\n",
      end.x - 5.0, end.y - 5.0);
  svg += fmt::format("<circle class=\"ink start\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5.5\"/>\n",
                     start.x, start.y);
  write_label(svg, space, start, together ? "start and end" : "start");
  if (!together) write_label(svg, space, end, "end");
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

// Everything on the map but its labels, cut off at its edges.
void write_map(std::string& svg, const std::vector<NamedTrack>& tracks, const MapView& view,
               const std::string& css_class) {
  const std::vector<Layer> layers = layers_of(tracks, view);
  const std::string box =
      fmt::format("x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\"", view.left(),
                  view.top(), view.width(), view.height());
  svg += fmt::format("<rect class=\"{}\" {}/>\n<svg {} viewBox=\"{:.1f} {:.1f} {:.1f} {:.1f}\">\n",
                     css_class, box, box, view.left(), view.top(), view.width(), view.height());
  for (const Layer& layer : layers) write_path(svg, layer, layer.lines);
  svg += "</svg>\n";
}

// How far the raw fix of a row lies from the true way around its time, pixels; 0 when unknown. The
// truth of a row is up to one fix interval older than its fix, hence the way and not the point.
// Where the output is the raw fix there is nothing to compare.
double off_the_way(const std::vector<TrackRow>& rows, std::size_t i, const MapView& view) {
  if (rows[i].sample != 0 || rows[i].status == 0 || !is_finite(fix_place(rows[i]))) return 0.0;
  const Pixel fix = view.to_pixel(fix_place(rows[i]));
  double nearest = std::numeric_limits<double>::infinity();
  for (std::size_t k = std::max<std::size_t>(i, 1); k < std::min(i + 3, rows.size()); ++k) {
    const Place from = truth_place(rows[k - 1]);
    const Place to = truth_place(rows[k]);
    if (!is_finite(from) || !is_finite(to)) return 0.0;
    nearest = std::min(nearest, distance_to_segment(fix, view.to_pixel(from), view.to_pixel(to)));
  }
  return std::isfinite(nearest) ? nearest : 0.0;
}

// The stretch of the inset's duration with the worst raw fixes; none without truth.
std::optional<Stretch> worst_fixes(const std::vector<TrackRow>& rows, const MapView& view) {
  std::optional<Stretch> worst;
  double largest = 0.0;
  double sum = 0.0;
  for (std::size_t first = 0, last = 0; last < rows.size(); ++last) {
    sum += off_the_way(rows, last, view);
    for (; seconds_between(rows[first].time_ns, rows[last].time_ns) > kInsetDuration; ++first) {
      sum -= off_the_way(rows, first, view);
    }
    if (sum > largest) {
      largest = sum;
      worst = Stretch{first, last};
    }
  }
  return worst;
}

void write_inset(std::string& svg, const NamedTrack& track, const MapView& view, FreeSpace& space) {
  if (view.metres_per_pixel() < kInsetWorthwhile) return;
  const std::optional<Stretch> shown = worst_fixes(track.rows, view);
  if (!shown) return;
  const std::optional<Box> box = space.take_corner(kInsetWidth, kInsetHeight, kInsetMargin);
  if (!box) return;
  std::vector<Place> positions;
  for (std::size_t i = shown->first; i <= shown->last; ++i) {
    positions.insert(positions.end(), {fused_place(track.rows[i]), truth_place(track.rows[i])});
    if (track.rows[i].sample == 0) positions.push_back(fix_place(track.rows[i]));
  }
  const MapView inset(positions, box->left, box->top, box->width, box->height, box->height, 30.0);
  // The part of the map that the inset enlarges.
  const double scale = inset.metres_per_pixel() / view.metres_per_pixel();
  const Pixel middle = view.to_pixel(inset.middle());
  svg += fmt::format(
      "<rect class=\"frame\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\"/>\n",
      middle.x - 0.5 * scale * box->width, middle.y - 0.5 * scale * box->height, scale * box->width,
      scale * box->height);
  write_map(svg, {track}, inset, "inset");
  write_text(svg, {box->left + 10.0, box->top + 19.0}, "halo", "where the raw fixes are worst");
  write_scale_bar(svg, inset, {box->left + box->width - 12.0, box->top + box->height - 10.0}, 80.0);
}

// The legend flows in lines from the left; returns the y below it.
double write_legend(std::string& svg, const std::vector<Layer>& layers, double top) {
  const double right = kWidth - kEdge - kLongestScaleBar - 2.0 * kEdge;
  Pixel at{kEdge, top + 0.5 * kLegendLine};
  for (const Layer& layer : layers) {
    const double width =
        kLegendSample + 8.0 + kCharacter * static_cast<double>(layer.legend.size());
    if (at.x > kEdge && at.x + width > right) at = {kEdge, at.y + kLegendLine};
    Lines sample{{{at.x, at.y}, {at.x + kLegendSample, at.y}}};
    if (layer.dots) {
      sample = {{{at.x + 4.0, at.y + 2.0}, {at.x + 12.0, at.y - 2.0}, {at.x + 20.0, at.y + 1.0}}};
    }
    write_path(svg, layer, sample);
    write_text(svg, {at.x + kLegendSample + 8.0, at.y + 4.5}, "", layer.legend);
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

}  // namespace

void plot_tracks(const std::vector<NamedTrack>& tracks, const std::string& title,
                 const std::string& svg_path) {
  std::vector<Place> positions;
  for (const NamedTrack& track : tracks) {
    for (const TrackRow& row : track.rows) {
      positions.push_back(fused_place(row));
      positions.push_back(truth_place(row));
    }
  }
  if (std::none_of(positions.begin(), positions.end(), is_finite)) {
    throw PlotError(fmt::format("{}: nothing to plot, the track has no positions", svg_path));
  }
  const MapView view(positions, 0.0, kHeader, kWidth, kLeastMap, kLargestMap, kMargin);
  std::vector<Pixel> drawn;
  for (const Place& position : positions) {
    if (is_finite(position)) drawn.push_back(view.to_pixel(position));
  }
  FreeSpace space({view.left(), view.top(), view.width(), view.height()}, std::move(drawn));

  std::string body;
  write_text(body, {kEdge, 30.0}, "title", title);
  write_north_arrow(body);
  write_map(body, tracks, view, "map");
  for (const NamedTrack& track : tracks) write_ends(body, track.rows, view, space);
  if (tracks.size() == 1) {
    const NamedTrack& track = tracks.front();
    write_text(body, {kEdge, 50.0}, "note", caption_of(track.rows));
    write_stretch_labels(body, track.rows, view, space);
    write_inset(body, track, view, space);
  }
  const double below_map = view.top() + view.height() + 10.0;
  const double height = write_legend(body, layers_of(tracks, view), below_map) + 10.0;
  write_scale_bar(body, view, {kWidth - kEdge, below_map + 20.0}, kLongestScaleBar);

  std::ofstream file(svg_path, std::ios::binary);
  file << fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1:.0f}\" "
      "viewBox=\"0 0 {0} {1:.0f}\">\n<title>{2}</title>\n<style>{3}</style>\n"
      "<rect class=\"page\" width=\"100%\" height=\"100%\"/>\n{4}</svg>\n",
      kWidth, height, escaped(title), kStyle, body);
  file.close();
  if (!file) throw PlotError(fmt::format("{}: cannot be written", svg_path));
}

void plot_track(const std::vector<TrackRow>& rows, const std::string& svg_path) {
  plot_tracks({{"", rows}}, std::filesystem::path(svg_path).stem().string(), svg_path);
}

}  // namespace zuvdr::tools
