// What both kinds of host have in common: the engine's answer to a fix, told as a position.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "ZuVDRHost.hpp"
#include "host/positions.h"
#include "host/quadrant.h"

namespace zuvdr {

class Host::Road {
 public:
  using Answer = std::function<void(const HostAnswer&)>;
  using Notify = std::function<void(Notice, double)>;

  Road(Answer answer, Notify notify);
  virtual ~Road() = default;

  virtual void sensor(const SensorData& event) = 0;
  virtual void fix(const GpsData& fix, int sample) = 0;
  virtual void flush() {}
  virtual std::int64_t epochs_processed() const = 0;
  virtual std::int64_t epochs_waiting() const = 0;

  void watch(EngineFeed feed) { feed_ = std::move(feed); }

  const Positions& positions() const { return positions_; }
  const HostCounts& counts() const { return counts_; }

 protected:
  // Runs the engine's GNSS epoch on the fix stored last. `told`: that fix in the world's
  // coordinates and the sensors' time; `good`: it may correct the engine.
  HostAnswer run_gnss_epoch(const GpsData& told, int sample, bool good, const Quadrant& quadrant);
  // The answer without what the engine made of it: the fix where it is `good`, else what was known
  // before, carried.
  void fall_back_to_fix(HostAnswer& answer, bool good);
  void keep_position();
  void hand_out(const HostAnswer& answer);
  void note(Notice what, double value = 0.0) {
    if (notify_) notify_(what, value);
  }

  EngineFeed feed_;
  HostCounts counts_;
  Positions positions_;

 private:
  Answer answer_;
  Notify notify_;
  Positions::Entry entry_{};
  std::optional<std::int64_t> good_fix_;
  double good_fix_sigma_ = 0.0;  // m, of the distance
  double good_fix_speed_ = 0.0;  // m/s
};

}  // namespace zuvdr
