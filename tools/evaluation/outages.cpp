#include "tools/evaluation/outages.h"

#include <cmath>

#include "tools/evaluation/error_figures.h"
#include "tools/logs/time_difference.h"

namespace zuvdr::tools {
namespace {

double driven_between(const TrackRow& a, const TrackRow& b) {
  const double metres = distance(truth_place(a), truth_place(b));
  return std::isfinite(metres) ? metres : distance(fused_place(a), fused_place(b));
}

}  // namespace

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
