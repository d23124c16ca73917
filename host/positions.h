// The last positions, carried to any time up to now.
#pragma once

#include <cstdint>
#include <optional>

#include "ZuVDRHost.hpp"
#include "host/ring.h"

namespace zuvdr {

class Positions {
 public:
  struct Entry {
    HostPosition position;
    double east_velocity;  // m/s
    double north_velocity;
    double velocity_sigma;                 // m/s
    std::optional<std::int64_t> good_fix;  // time of the last one
  };
  Positions() : entries_(16) {}

  void add(const Entry& entry);
  void clear() { entries_.clear(); }
  std::optional<HostPosition> at(std::int64_t time_ns) const;

 private:
  Ring<Entry> entries_;
};

}  // namespace zuvdr
