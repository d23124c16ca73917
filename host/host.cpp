#include "ZuVDRHost.hpp"

#include <utility>

#include "host/careful.h"
#include "host/phone_fix.h"
#include "host/plain.h"

namespace zuvdr {

HostOptions HostOptions::none() {
  HostOptions options;
  for (const Care& care : kCares) options.*care.option = false;
  return options;
}

Host::Host(const HostOptions& options, std::function<void(const HostAnswer&)> answer,
           std::function<void(Notice, double)> notice) {
  bool any = offset_by_hand(options);
  for (const Care& care : kCares) any = any || options.*care.option;
  if (any) {
    road_ = std::make_unique<Careful>(options, std::move(answer), std::move(notice));
  } else {
    road_ = std::make_unique<Plain>(std::move(answer), std::move(notice));
  }
}

Host::~Host() = default;

void Host::sensor(const SensorData& event) {
  road_->sensor(event);
}

void Host::fix(const PhoneFix& fix) {
  road_->fix(to_gps_data(fix), 0);
}

void Host::fix(const GpsData& fix, int sample) {
  road_->fix(fix, sample);
}

void Host::flush() {
  road_->flush();
}

void Host::watch(EngineFeed feed) {
  road_->watch(std::move(feed));
}

std::optional<HostPosition> Host::position(std::int64_t time_ns) const {
  return road_->positions().at(time_ns);
}

const HostCounts& Host::counts() const {
  return road_->counts();
}

std::int64_t Host::epochs_processed() const {
  return road_->epochs_processed();
}

std::int64_t Host::epochs_waiting() const {
  return road_->epochs_waiting();
}

}  // namespace zuvdr
