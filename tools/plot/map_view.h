// From degrees to the pixels of a map, and the thinning that keeps the picture's file small.
#pragma once

#include <GeographicLib/LocalCartesian.hpp>
#include <vector>

#include "tools/logs/place.h"

namespace zuvdr::tools {

struct Pixel {
  double x;  // to the right
  double y;  // down
};

// Finite, and a latitude that exists.
bool on_earth(const Place& place);

// The positions on earth without the few, at most one in twenty, that lie several times farther out
// than all others.
std::vector<Place> without_outliers(const std::vector<Place>& positions);

// A map in local metres, north up, the same scale in both directions.
class MapView {
 public:
  // The largest scale that shows all positions on a map `width` pixels wide and between
  // `least_height` and `largest_height` high, with `margin` pixels free on every side; left and top
  // are the corner of the map. Positions that are not on earth do not count. Throws
  // std::invalid_argument when none is left.
  MapView(const std::vector<Place>& positions, double left, double top, double width,
          double least_height, double largest_height, double margin);

  // No farther from the map than drawing programs can count; NaN for a place that is not on earth.
  Pixel to_pixel(const Place& position) const;
  Place middle() const;
  bool contains(const Pixel& pixel) const;
  // Whether a part of the line between them can be on the map.
  bool may_contain(const Pixel& a, const Pixel& b) const;
  double metres_per_pixel() const { return metres_per_pixel_; }
  double left() const { return left_; }
  double width() const { return width_; }
  double height() const { return height_; }
  double top() const { return top_; }

 private:
  GeographicLib::LocalCartesian frame_;  // east, north, up about the middle of the positions
  double middle_east_;                   // m
  double middle_north_;                  // m
  double metres_per_pixel_;
  double left_;
  double width_;
  double height_;
  double top_;
};

// The line without the points that lie within `tolerance` of what is left (Douglas and Peucker).
// First and last point stay, and every two-hundredth.
std::vector<Pixel> thin_line(const std::vector<Pixel>& line, double tolerance);

// At most one dot, the first, of every square cell of the given size.
std::vector<Pixel> thin_dots(const std::vector<Pixel>& dots, double cell);

// The largest of 1, 2, 5, 10, 20, ... (and their fractions) that is not above `limit` > 0.
double round_length(double limit);

}  // namespace zuvdr::tools
