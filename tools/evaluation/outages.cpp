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
  const std::int64_t time_ns =
      vehicle ? row.output_time_ns : answer.log_time_ns.value_or(row.output_time_ns);
  if (row.fix_accepted || answer.output == Output::kWalker) {
    end_outage();
  } else {
    if (!current_ && vehicle && previous_) {
      current_.emplace();
      current_->start_ns = previous_->output_time_ns;
    }
    if (current_) {
      current_->duration = seconds_between(current_->start_ns, time_ns);
      current_->driven += driven_between(*previous_, row);
      current_->error = output_error(row);
      current_->largest_error = std::fmax(current_->largest_error, current_->error);
      current_->fixes += 1;
      current_->status = row.status;
      if (!vehicle) current_->restarted = true;
    }
  }
  previous_.reset();
  if (vehicle || current_) previous_ = row;
}

void OutageFinder::finish() {
  end_outage();
}

void OutageFinder::end_outage() {
  if (current_ && current_->fixes >= 2) outages_.push_back(*current_);
  current_.reset();
}

}  // namespace zuvdr::tools
