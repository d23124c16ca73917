// The engine's plain calls.
#pragma once

#include "host/road.h"

namespace zuvdr {

class Host::Plain final : public Host::Road {
 public:
  using Road::Road;

  void sensor(const SensorData& event) override;
  void fix(const GpsData& fix, int sample) override;
  std::int64_t epochs_processed() const override;
  std::int64_t epochs_waiting() const override;

 private:
  std::int64_t epochs_paired_ = 0;
};

}  // namespace zuvdr
