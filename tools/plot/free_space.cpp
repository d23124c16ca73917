#include "tools/plot/free_space.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace zuvdr::tools {
namespace {

constexpr double kGaps[] = {9.0, 24.0, 48.0, 80.0, 120.0};  // from a point to its label, pixels
constexpr double kDrawnSpacing = 5.0;                       // pixels
constexpr double kGapCost = 0.1;  // covered points that are as bad as a pixel farther away
constexpr Pixel kDirections[] = {{1, 0},  {-1, 0},  {0, -1}, {0, 1},
                                 {1, -1}, {-1, -1}, {1, 1},  {-1, 1}};

}  // namespace

bool Box::contains(const Pixel& pixel) const {
  return pixel.x >= left && pixel.x <= left + width && pixel.y >= top && pixel.y <= top + height;
}

bool Box::overlaps(const Box& other) const {
  return left < other.left + other.width && other.left < left + width &&
         top < other.top + other.height && other.top < top + height;
}

void FreeSpace::avoid(Pixel from, Pixel to) {
  if (!area_.contains(from)) std::swap(from, to);
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  const double steps = std::ceil(length / kDrawnSpacing);
  for (double i = 0.0; i <= steps; ++i) {
    const double part = steps > 0.0 ? i / steps : 0.0;
    const Pixel pixel{from.x + part * (to.x - from.x), from.y + part * (to.y - from.y)};
    if (!area_.contains(pixel)) return;
    drawn_.push_back(pixel);
  }
}

void FreeSpace::avoid_outline(const Box& box) {
  const double right = box.left + box.width;
  const double bottom = box.top + box.height;
  avoid({box.left, box.top}, {right, box.top});
  avoid({right, box.top}, {right, bottom});
  avoid({right, bottom}, {box.left, bottom});
  avoid({box.left, bottom}, {box.left, box.top});
}

std::optional<std::size_t> FreeSpace::covered_by(const Box& box) const {
  if (!area_.contains({box.left, box.top}) ||
      !area_.contains({box.left + box.width, box.top + box.height}) ||
      std::any_of(taken_.begin(), taken_.end(),
                  [&](const Box& other) { return box.overlaps(other); })) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(std::count_if(
      drawn_.begin(), drawn_.end(), [&](const Pixel& pixel) { return box.contains(pixel); }));
}

std::optional<Box> FreeSpace::take_beside(const Pixel& at, double width, double height) {
  std::optional<Box> best;
  double least = std::numeric_limits<double>::infinity();
  for (const double gap : kGaps) {
    for (const Pixel& direction : kDirections) {
      const Box box{at.x + direction.x * gap + 0.5 * (direction.x - 1.0) * width,
                    at.y + direction.y * gap + 0.5 * (direction.y - 1.0) * height, width, height};
      const std::optional<std::size_t> covered = covered_by(box);
      if (!covered) continue;
      const double cost = static_cast<double>(*covered) + kGapCost * gap;
      if (cost < least) {
        least = cost;
        best = box;
      }
    }
  }
  if (best) taken_.push_back(*best);
  return best;
}

std::optional<Box> FreeSpace::take_corner(double width, double height, double margin) {
  const double right = area_.left + area_.width - margin - width;
  const double bottom = area_.top + area_.height - margin - height;
  for (const Pixel& corner :
       {Pixel{right, area_.top + margin}, Pixel{right, bottom},
        Pixel{area_.left + margin, area_.top + margin}, Pixel{area_.left + margin, bottom}}) {
    const Box box{corner.x, corner.y, width, height};
    if (covered_by(box) == 0U) {
      taken_.push_back(box);
      return box;
    }
  }
  return std::nullopt;
}

}  // namespace zuvdr::tools
