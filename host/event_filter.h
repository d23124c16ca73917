// Which events of the motion sensors may reach the engine: possible ones whose time advances.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "ZuVDR.h"

namespace zuvdr {

class EventFilter {
 public:
  // False: the event is to be dropped. A stamp more than kLongestJump away is believed when the
  // next one of its type comes with it: one wild stamp silences nothing.
  bool plausible(const SensorData& event);
  // Of plausible events in the order in which they are used. Times advance by type, but for such
  // a jump.
  bool advances(const SensorData& event);

  static constexpr std::int64_t kLongestJump = 10'000'000'000;  // ns

 private:
  struct Stream {
    std::int32_t type;
    std::optional<std::int64_t> last = {};  // plausible
    std::optional<std::int64_t> suspect = {};
    std::optional<std::int64_t> used = {};
  };
  Stream* stream_of(const SensorData& event);

  std::array<Stream, 2> streams_{
      {{ZUVDR_SENSOR_ACCELEROMETER}, {ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED}}};
};

}  // namespace zuvdr
