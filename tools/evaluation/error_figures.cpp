#include "tools/evaluation/error_figures.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zuvdr::tools {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// Bins of the error in rounded decimetres. Below 2^kExactBits there is one for each, so that a
// quantile shows the decimal that the error itself would show, but for ties; each further octave
// has half as many, of double the width.
constexpr unsigned kExactBits = 14;
constexpr std::size_t kOctave = std::size_t{1} << (kExactBits - 1);
constexpr double kFarthest = 1e8;  // m, more than the Earth has room for

std::size_t bin_of(double metres) {
  const auto decimetres =
      static_cast<std::size_t>(std::nearbyint(10.0 * std::clamp(metres, 0.0, kFarthest)));
  const auto bits = static_cast<unsigned>(std::bit_width(decimetres));
  const unsigned shift = bits - std::min(bits, kExactBits);
  return shift * kOctave + (decimetres >> shift);
}

double middle_of(std::size_t bin) {
  if (bin < 2 * kOctave) return static_cast<double>(bin) / 10.0;
  const std::size_t shift = bin / kOctave - 1;
  const std::size_t width = std::size_t{1} << shift;
  const double first = static_cast<double>((bin - shift * kOctave) * width);
  return (first + 0.5 * static_cast<double>(width - 1)) / 10.0;
}

}  // namespace

double output_error(const TrackRow& row) {
  return distance(fused_place(row), truth_place(row));
}

void ErrorFigures::add(double metres) {
  if (!std::isfinite(metres)) {
    ++lost_;
    return;
  }
  const std::size_t bin = bin_of(metres);
  if (bin >= bins_.size()) bins_.resize(bin + 1);
  ++bins_[bin];
  ++count_;
  squares_ += metres * metres;
  smallest_ = std::fmin(smallest_, metres);
  largest_ = std::fmax(largest_, metres);
}

double ErrorFigures::rms() const {
  return std::sqrt(squares_ / static_cast<double>(count_));
}

double ErrorFigures::quantile(double part) const {
  if (count_ == 0) return kNone;
  const double rank = std::max(std::ceil(part * static_cast<double>(count_)), 1.0);
  std::size_t bin = 0;
  std::size_t reached = bins_[0];
  while (static_cast<double>(reached) < rank && bin + 1 < bins_.size()) reached += bins_[++bin];
  return std::clamp(middle_of(bin), smallest_, largest_);
}

}  // namespace zuvdr::tools
