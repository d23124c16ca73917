// Accelerometer and gyroscope of any rate at the rate the engine is made for.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "ZuVDR.h"
#include "host/vector.h"

namespace zuvdr {

// Means over bins of 40 ms, the same for both sensors: differences of the running integral of what
// lies linearly between samples. Stamped in the middle of the bin.
class SampleRate {
 public:
  static constexpr std::int64_t kBin = 40'000'000;  // ns
  static constexpr std::int64_t kLongestGap =
      500'000'000;  // ns; nothing is made up across longer ones

  // An accelerometer (m/s^2) or gyroscope event (rad/s); of other types nothing is kept. Times must
  // advance by type.
  void add(const SensorData& event);
  // Of the oldest bin that both sensors have completed; none: nothing is there.
  std::optional<Sample> next();

 private:
  struct Mean {
    std::int64_t bin;
    Vector values;
  };
  struct Stream {
    // As many bins as may wait for the other sensor, 2.5 s; the oldest goes when there are more.
    static constexpr std::size_t kMost = 64;
    std::array<Mean, kMost> means;
    std::size_t first = 0;
    std::size_t count = 0;

    bool started = false;
    std::int64_t time = 0;  // of the last sample
    Vector values{};
    Vector integral{};         // over the bin so far, times ns
    std::int64_t covered = 0;  // ns

    void add(const SensorData& event);
    void integrate(std::int64_t until, const Vector& value);
    void complete(std::int64_t bin);
    void drop_oldest();
  };
  Stream accelerometer_;
  Stream gyroscope_;
};

}  // namespace zuvdr
