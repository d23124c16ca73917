// Where on the map there is room for a label or an inset.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "tools/plot/map_view.h"

namespace zuvdr::tools {

struct Box {
  double left;
  double top;
  double width;
  double height;

  bool contains(const Pixel& pixel) const;
  bool overlaps(const Box& other) const;
};

class FreeSpace {
 public:
  // `drawn` are points on everything that should stay visible.
  FreeSpace(const Box& area, std::vector<Pixel> drawn);

  // Takes the least crowded place for a box close to `at`.
  Box take_beside(const Pixel& at, double width, double height);

  // Takes an empty corner of the area, or none.
  std::optional<Box> take_corner(double width, double height, double margin);

 private:
  std::size_t crowding(const Box& box) const;

  Box area_;
  std::vector<Pixel> drawn_;
  std::vector<Box> taken_;
};

}  // namespace zuvdr::tools
