#include "tools/plot/map_view.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>

namespace zuvdr::tools {
namespace {

constexpr double kSmallestExtent = 10.0;  // m, so that a standstill does not fill the map
constexpr double kEarthRadius = 6.4e6;    // m
constexpr double kFarthest = 1e6;         // pixels from the middle

constexpr std::size_t kThinnedAtOnce = 200;  // points; the time grows with its square

constexpr std::size_t kFewestToJudge = 10;
constexpr double kOutlierDistance = 5.0;  // times that of the farthest other position
constexpr double kSmallestRadius = 20.0;  // m

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// From p to the nearest point of the segment between a and b, pixels.
double distance_to_segment(const Pixel& p, const Pixel& a, const Pixel& b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double length_squared = dx * dx + dy * dy;
  const double along =
      length_squared > 0.0
          ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / length_squared, 0.0, 1.0)
          : 0.0;
  return std::hypot(p.x - a.x - along * dx, p.y - a.y - along * dy);
}

}  // namespace

bool on_earth(const Place& place) {
  return is_finite(place) && std::abs(place.latitude) <= 90.0;
}

std::vector<Place> without_outliers(const std::vector<Place>& positions) {
  std::vector<Place> good;
  std::copy_if(positions.begin(), positions.end(), std::back_inserter(good), on_earth);
  if (good.size() < kFewestToJudge) return good;
  std::vector<double> latitudes;
  std::vector<double> longitudes;  // from the first, the short way round
  for (const Place& place : good) {
    latitudes.push_back(place.latitude);
    longitudes.push_back(std::remainder(place.longitude - good.front().longitude, 360.0));
  }
  const GeographicLib::LocalCartesian frame(median(std::move(latitudes)),
                                            good.front().longitude + median(std::move(longitudes)));
  std::vector<double> distances;
  for (const Place& place : good) {
    double east = 0.0;
    double north = 0.0;
    double up = 0.0;
    frame.Forward(place.latitude, place.longitude, 0.0, east, north, up);
    distances.push_back(std::hypot(east, north, up));
  }
  std::vector<double> sorted = distances;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = good.size() - std::max<std::size_t>(good.size() / 20, 1); i < good.size();
       ++i) {
    const double farthest = sorted[i - 1];
    if (sorted[i] <= kOutlierDistance * std::max(farthest, kSmallestRadius)) continue;
    std::vector<Place> near;
    for (std::size_t k = 0; k < good.size(); ++k) {
      if (distances[k] <= farthest) near.push_back(good[k]);
    }
    return near;
  }
  return good;
}

MapView::MapView(const std::vector<Place>& positions, double left, double top, double width,
                 double least_height, double largest_height, double margin)
    : left_(left), width_(width), top_(top) {
  const auto first = std::find_if(positions.begin(), positions.end(), on_earth);
  if (first == positions.end()) throw std::invalid_argument("no position to show");
  frame_.Reset(first->latitude, first->longitude);

  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  double west = kInfinity;
  double south = kInfinity;
  double east = -kInfinity;
  double north = -kInfinity;
  for (const Place& position : positions) {
    if (!on_earth(position)) continue;
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    frame_.Forward(position.latitude, position.longitude, 0.0, x, y, z);
    west = std::min(west, x);
    east = std::max(east, x);
    south = std::min(south, y);
    north = std::max(north, y);
  }
  middle_east_ = 0.5 * (west + east);
  middle_north_ = 0.5 * (south + north);
  const double metres_wide = std::max(east - west, kSmallestExtent);
  const double metres_high = std::max(north - south, kSmallestExtent);

  const double free_width = width - 2.0 * margin;
  const double free_height = largest_height - 2.0 * margin;
  metres_per_pixel_ = std::max(metres_wide / free_width, metres_high / free_height);
  height_ =
      std::clamp(metres_high / metres_per_pixel_ + 2.0 * margin, least_height, largest_height);
}

Pixel MapView::to_pixel(const Place& position) const {
  double east = 0.0;
  double north = 0.0;
  double up = 0.0;
  frame_.Forward(position.latitude, position.longitude, 0.0, east, north, up);
  if (up < -kEarthRadius) return {left_ - kFarthest, top_};  // the other side of the earth
  const double right = (east - middle_east_) / metres_per_pixel_;
  const double down = (middle_north_ - north) / metres_per_pixel_;
  const double shrink = kFarthest / std::max({kFarthest, std::abs(right), std::abs(down)});
  return {left_ + 0.5 * width_ + shrink * right, top_ + 0.5 * height_ + shrink * down};
}

Place MapView::middle() const {
  Place position{};
  double height = 0.0;
  frame_.Reverse(middle_east_, middle_north_, 0.0, position.latitude, position.longitude, height);
  return position;
}

bool MapView::contains(const Pixel& pixel) const {
  return pixel.x >= left_ && pixel.x <= left_ + width_ && pixel.y >= top_ &&
         pixel.y <= top_ + height_;
}

bool MapView::may_contain(const Pixel& a, const Pixel& b) const {
  return std::max(a.x, b.x) >= left_ && std::min(a.x, b.x) <= left_ + width_ &&
         std::max(a.y, b.y) >= top_ && std::min(a.y, b.y) <= top_ + height_;
}

std::vector<Pixel> thin_line(const std::vector<Pixel>& line, double tolerance) {
  if (line.size() < 3) return line;
  std::vector<bool> keep(line.size(), false);
  keep.front() = keep.back() = true;
  std::vector<std::pair<std::size_t, std::size_t>> open;
  for (std::size_t from = 0; from + 1 < line.size(); from += kThinnedAtOnce) {
    const std::size_t to = std::min(from + kThinnedAtOnce, line.size() - 1);
    keep[to] = true;
    open.emplace_back(from, to);
  }
  while (!open.empty()) {
    const auto [from, to] = open.back();
    open.pop_back();
    std::size_t farthest = from;
    double largest = tolerance;
    for (std::size_t i = from + 1; i < to; ++i) {
      const double distance = distance_to_segment(line[i], line[from], line[to]);
      if (distance > largest) {
        largest = distance;
        farthest = i;
      }
    }
    if (farthest == from) continue;
    keep[farthest] = true;
    open.emplace_back(from, farthest);
    open.emplace_back(farthest, to);
  }
  std::vector<Pixel> thinned;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (keep[i]) thinned.push_back(line[i]);
  }
  return thinned;
}

std::vector<Pixel> thin_dots(const std::vector<Pixel>& dots, double cell) {
  std::set<std::pair<std::int64_t, std::int64_t>> taken;
  std::vector<Pixel> thinned;
  for (const Pixel& dot : dots) {
    if (taken.emplace(std::llround(dot.x / cell), std::llround(dot.y / cell)).second) {
      thinned.push_back(dot);
    }
  }
  return thinned;
}

double round_length(double limit) {
  const double power = std::pow(10.0, std::floor(std::log10(limit)));
  for (const double factor : {5.0, 2.0}) {
    if (factor * power <= limit) return factor * power;
  }
  return power;
}

}  // namespace zuvdr::tools
