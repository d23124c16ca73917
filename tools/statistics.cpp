#include "tools/statistics.h"

#include <algorithm>
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

}  // namespace

double output_error(const TrackRow& row) {
  return distance(output_place(row), truth_place(row));
}

void ErrorFigures::add(double metres) {
  if (std::isfinite(metres)) {
    errors_.push_back(static_cast<float>(metres));
  } else {
    ++lost_;
  }
}

double ErrorFigures::rms() const {
  double sum = 0.0;
  for (const float error : errors_) sum += static_cast<double>(error) * static_cast<double>(error);
  return std::sqrt(sum / static_cast<double>(errors_.size()));
}

double ErrorFigures::quantile(double part) const {
  if (errors_.empty()) return kNone;
  const double rank = std::ceil(part * static_cast<double>(errors_.size()));
  const auto index = static_cast<std::ptrdiff_t>(std::max(rank, 1.0)) - 1;
  std::vector<float> sorted = errors_;
  std::nth_element(sorted.begin(), sorted.begin() + index, sorted.end());
  return sorted[static_cast<std::size_t>(index)];
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
