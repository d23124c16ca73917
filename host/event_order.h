// Sorts sensor events that come late.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ZuVDR.h"

namespace zuvdr {

// Events are held back by the longest lateness seen lately, at most a second; as long as every
// sensor's come in order, by nothing.
class EventOrder {
 public:
  static constexpr std::int64_t kLongestHold = 1'000'000'000;  // ns

  EventOrder();
  void add(const SensorData& event);
  std::optional<SensorData> next();
  std::int64_t hold() const { return hold_; }  // ns
  std::optional<SensorData> next_held();       // those that still wait, at the end of a stream

 private:
  static constexpr std::size_t kMost = 4096;
  struct Newest {
    std::int32_t type = 0;
    std::int64_t time = 0;
  };
  const SensorData& at(std::size_t i) const { return events_[(first_ + i) % kMost]; }
  SensorData& at(std::size_t i) { return events_[(first_ + i) % kMost]; }

  std::vector<SensorData> events_;  // a ring, in the order of time
  std::size_t first_ = 0;
  std::size_t count_ = 0;
  std::int64_t hold_ = 0;  // ns
  std::int64_t newest_ = 0;
  Newest by_type_[4] = {};
};

}  // namespace zuvdr
