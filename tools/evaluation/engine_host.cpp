#include "tools/evaluation/engine_host.h"

#include <limits>

#include "ZuVDR.h"
#include "tools/evaluation/engine_probe.h"

namespace zuvdr::tools {

EngineHost::EngineHost() {
  Reset();
}

void EngineHost::deliver(const SensorRow& row) {
  const std::size_t before = probe_engine().waiting_epochs;
  UpdateLocationbySensorEvent(row.event);
  // An event completes one epoch at most, and epochs are released two or more at a time: the queue
  // has kept its length only when no epoch was completed.
  if (probe_engine().waiting_epochs != before) ++epochs_paired_;
}

FixAnswer EngineHost::deliver(const FixRow& row) {
  const bool position_set = (GetCarFlag() & ZUVDR_CAR_POSITION_SET) != 0;
  const EngineProbe before = probe_engine();
  SyncGPSEventforFusion(&row.fix);
  const int status = UpdateLocationbyGPSEvent(row.sample);
  const EngineProbe probe = probe_engine();
  Location location{};
  GetLocation(&location);

  // A fix that sets the vehicle's position or the walker's filter is itself still answered without
  // them, so their state before the call decides; a walker that the fix restarts is not used
  // either.
  Output output = position_set ? Output::kVehicle : Output::kRaw;
  if (before.pedestrian_ready && probe.pedestrian_started) output = Output::kWalker;

  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  const TrackRow track{
      .time_ns = row.fix.time_ns,
      .output_time_ns = output == Output::kVehicle ? probe.last_epoch_time : row.fix.time_ns,
      .status = status,
      .latitude = location.latitude,
      .longitude = location.longitude,
      .car_flag = GetCarFlag(),
      .pdr_flag = GetPdrFlag(),
      .bout_steps = probe.bout_steps,
      .total_steps = probe.total_steps,
      .fix_latitude = row.fix.latitude,
      .fix_longitude = row.fix.longitude,
      .sample = row.sample,
      .fix_accepted = probe.fix_accepted,
      .truth_latitude = kNone,
      .truth_longitude = kNone};
  return {track,           output,
          probe.converged, probe,
          position_set,    before.pedestrian_started,
          row.fix.speed,   epochs_processed()};
}

std::int64_t EngineHost::epochs_processed() const {
  return epochs_paired_ - epochs_waiting();
}

std::int64_t EngineHost::epochs_waiting() const {
  return static_cast<std::int64_t>(probe_engine().waiting_epochs);
}

}  // namespace zuvdr::tools
