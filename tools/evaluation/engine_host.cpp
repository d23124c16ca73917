#include "tools/evaluation/engine_host.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ZuVDR.h"

namespace zuvdr::tools {
namespace {

Output output_of(Source source) {
  switch (source) {
    case Source::kRawFix:
      return Output::kRaw;
    case Source::kWalker:
      return Output::kWalker;
    default:
      return Output::kVehicle;
  }
}

TrackRow track_row(const HostAnswer& answer, const EngineProbe& engine) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  return {.time_ns = answer.fix.time_ns,
          .output_time_ns = answer.position.time_ns,
          .status = answer.status,
          .latitude = answer.position.latitude,
          .longitude = answer.position.longitude,
          .car_flag = GetCarFlag(),
          .pdr_flag = GetPdrFlag(),
          .bout_steps = engine.bout_steps,
          .total_steps = engine.total_steps,
          .fix_latitude = answer.fix.latitude,
          .fix_longitude = answer.fix.longitude,
          .sample = answer.sample,
          .fix_accepted = engine.fix_accepted,
          .truth_latitude = kNone,
          .truth_longitude = kNone};
}

}  // namespace

bool is_careful(const HostOptions& options) {
  return std::isfinite(options.fix_clock_offset) ||
         std::ranges::any_of(kCares, [&](const Care& care) { return options.*care.option; });
}

EngineHost::EngineHost(std::function<void(const FixAnswer&)> answer, const HostOptions& care)
    : answer_(std::move(answer)), host_(care, [this](const HostAnswer& given) {
        const EngineProbe engine = probe_engine();
        answer_({track_row(given, engine), output_of(given.position.source), engine.converged,
                 given.position, engine, given.position_was_set, given.walker_started,
                 given.fix.speed, epochs_processed()});
      }) {}

}  // namespace zuvdr::tools
