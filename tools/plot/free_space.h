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
  explicit FreeSpace(const Box& area) : area_(area) {}

  // Something drawn from `from` to `to` that should stay visible.
  void avoid(Pixel from, Pixel to);
  void avoid_outline(const Box& box);

  // Takes a box close to `at`, where it covers little of what is drawn; none when all are taken.
  std::optional<Box> take_beside(const Pixel& at, double width, double height);

  // Takes an empty corner of the area, or none.
  std::optional<Box> take_corner(double width, double height, double margin);

 private:
  // How many points of what is drawn; none where the box cannot be.
  std::optional<std::size_t> covered_by(const Box& box) const;

  Box area_;
  std::vector<Pixel> drawn_;
  std::vector<Box> taken_;
};

}  // namespace zuvdr::tools
