#include "tools/statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

namespace zuvdr::tools {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

Place output_place(const TrackRow& row) {
  return {row.latitude, row.longitude};
}
Place truth_place(const TrackRow& row) {
  return {row.truth_latitude, row.truth_longitude};
}

double driven_between(const TrackRow& a, const TrackRow& b) {
  const double metres = distance(truth_place(a), truth_place(b));
  return std::isfinite(metres) ? metres : distance(output_place(a), output_place(b));
}

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
  return distance(output_place(row), truth_place(row));
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

void OutageFinder::add(const FixAnswer& answer) {
  const TrackRow& row = answer.row;
  const bool vehicle = answer.output == Output::kVehicle;
  if (row.fix_accepted || !vehicle) {
    end_outage(!vehicle);
  } else {
    if (!current_ && previous_) {
      current_.emplace();
      current_->start_ns = previous_->output_time_ns;
    }
    if (current_) {
      current_->duration = seconds_between(current_->start_ns, row.output_time_ns);
      current_->driven += driven_between(*previous_, row);
      current_->error = output_error(row);
      current_->fixes += 1;
      current_->status = row.status;
    }
  }
  previous_.reset();
  if (vehicle) previous_ = row;
}

void OutageFinder::finish() {
  end_outage(false);
}

void OutageFinder::end_outage(bool restarted) {
  if (current_ && current_->fixes >= 2) {
    current_->restarted = restarted;
    outages_.push_back(*current_);
  }
  current_.reset();
}

}  // namespace zuvdr::tools
