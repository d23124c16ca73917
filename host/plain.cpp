#include "host/plain.h"

#include "host/engine_probe.h"

namespace zuvdr {

void Host::Plain::sensor(const SensorData& event) {
  const std::size_t waiting = probe_engine().waiting_epochs;
  UpdateLocationbySensorEvent(event);
  // An event completes one epoch at most, and epochs are released two or more at a time: the queue
  // has kept its length only when no epoch was completed.
  if (probe_engine().waiting_epochs != waiting) ++epochs_paired_;
}

void Host::Plain::fix(const GpsData& fix, int sample) {
  SyncGPSEventforFusion(&fix);
  const HostAnswer answer = run_gnss_epoch(fix, sample, sample == 0, Quadrant{});
  keep_position();
  hand_out(answer);
}

std::int64_t Host::Plain::epochs_processed() const {
  return epochs_paired_ - epochs_waiting();
}

std::int64_t Host::Plain::epochs_waiting() const {
  return static_cast<std::int64_t>(probe_engine().waiting_epochs);
}

}  // namespace zuvdr
