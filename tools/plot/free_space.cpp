#include "tools/plot/free_space.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zuvdr::tools {
namespace {

constexpr double kGaps[] = {9.0, 24.0, 48.0};  // from a point to its label, pixels
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

FreeSpace::FreeSpace(const Box& area, std::vector<Pixel> drawn)
    : area_(area), drawn_(std::move(drawn)) {}

std::size_t FreeSpace::crowding(const Box& box) const {
  constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();
  if (!area_.contains({box.left, box.top}) ||
      !area_.contains({box.left + box.width, box.top + box.height}) ||
      std::any_of(taken_.begin(), taken_.end(),
                  [&](const Box& other) { return box.overlaps(other); })) {
    return kNever;
  }
  return static_cast<std::size_t>(std::count_if(
      drawn_.begin(), drawn_.end(), [&](const Pixel& pixel) { return box.contains(pixel); }));
}

Box FreeSpace::take_beside(const Pixel& at, double width, double height) {
  Box best{at.x, at.y, width, height};
  std::size_t least = std::numeric_limits<std::size_t>::max();
  for (const double gap : kGaps) {
    for (const Pixel& direction : kDirections) {
      const Box box{at.x + direction.x * gap + 0.5 * (direction.x - 1.0) * width,
                    at.y + direction.y * gap + 0.5 * (direction.y - 1.0) * height, width, height};
      if (const std::size_t crowd = crowding(box); crowd < least) {
        least = crowd;
        best = box;
      }
    }
  }
  taken_.push_back(best);
  return best;
}

std::optional<Box> FreeSpace::take_corner(double width, double height, double margin) {
  const double right = area_.left + area_.width - margin - width;
  const double bottom = area_.top + area_.height - margin - height;
  for (const Pixel& corner :
       {Pixel{right, area_.top + margin}, Pixel{right, bottom},
        Pixel{area_.left + margin, area_.top + margin}, Pixel{area_.left + margin, bottom}}) {
    const Box box{corner.x, corner.y, width, height};
    if (crowding(box) == 0) {
      taken_.push_back(box);
      return box;
    }
  }
  return std::nullopt;
}

}  // namespace zuvdr::tools
