#include "tools/evaluation/engine_host.h"

#include <limits>
#include <utility>

#include "ZuVDR.h"

namespace zuvdr::tools {
namespace {

TrackRow track_row(const HostAnswer& answer) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  return {.time_ns = answer.fix.time_ns,
          .output_time_ns = answer.time_ns,
          .status = answer.status,
          .latitude = answer.latitude,
          .longitude = answer.longitude,
          .car_flag = GetCarFlag(),
          .pdr_flag = GetPdrFlag(),
          .bout_steps = answer.engine.bout_steps,
          .total_steps = answer.engine.total_steps,
          .fix_latitude = answer.fix.latitude,
          .fix_longitude = answer.fix.longitude,
          .sample = answer.sample,
          .fix_accepted = answer.engine.fix_accepted,
          .truth_latitude = kNone,
          .truth_longitude = kNone};
}

}  // namespace

EngineHost::EngineHost(std::function<void(const FixAnswer&)> answer, const HostOptions& care)
    : answer_(std::move(answer)), host_(care, [this](const HostAnswer& given) {
        answer_({track_row(given), given.source, given.engine.converged, given.engine,
                 given.position_was_set, given.walker_started, given.fix.speed,
                 epochs_processed()});
      }) {}

}  // namespace zuvdr::tools
