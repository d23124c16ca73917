// What the engine was given since its start or its last Reset, to be given again in other axes or
// by another clock. The last three minutes are kept.
#pragma once

#include <cstdint>

#include "ZuVDR.h"
#include "host/ring.h"
#include "host/vector.h"

namespace zuvdr {

struct TripFix {
  GpsData fix;  // as it is handed over, in the world's coordinates and its own stamp
  int sample;
  bool usable;                // a fix, not a row without one, and not refused
  bool ends_outage;           // the first after rows without one
  std::uint64_t samples_end;  // that were there when it came
};

struct Trip {
  static constexpr std::size_t kMostSamples = 4500;  // 180 s at 25 Hz
  static constexpr std::size_t kMostFixes = 400;

  Ring<Sample> samples{kMostSamples};  // in the phone's axes
  Ring<TripFix> fixes{kMostFixes};
  std::uint64_t first_sample = 0;  // that the trip began with

  void begin_anew() {
    samples.clear();
    fixes.clear();
    first_sample = samples.end();
  }
  void begin_at(std::int64_t time) {
    const auto drop = [time](auto& ring, auto time_of) {
      std::uint64_t first = ring.begin();
      while (first < ring.end() && time_of(ring[first]) < time) ++first;
      ring.drop_before(first);
    };
    drop(samples, [](const Sample& sample) { return sample.time_ns; });
    drop(fixes, [](const TripFix& fix) { return fix.fix.time_ns; });
    first_sample = samples.begin();
  }
  bool complete() const { return samples.begin() == first_sample; }
};

}  // namespace zuvdr
