// A careful host around the engine: it takes what phones deliver and gives the engine what it is
// made for. One per process, as the engine is.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>

#include "ZuVDR.h"
#include "host/engine_probe.h"
#include "host/event_filter.h"
#include "host/quadrant.h"
#include "host/sample_rate.h"

namespace zuvdr {

// Each kind of care by itself; without any a host makes the engine's plain calls.
struct HostOptions {
  // Drops sensor events that are not finite or whose time does not advance, and fixes likewise;
  // resets the engine when the sensors were silent for longer than it can integrate.
  bool time_stamps = true;
  bool sample_rate = true;  // any rate to 25 Hz
  // A fix is used when all sensor epochs up to its time have been processed, so that the position
  // belongs to the fix and not to the one before.
  bool call_order = true;
  // While fixes stay away rows without one keep the engine going, one a second; those that a log
  // has of another host are left out.
  bool outages = true;
  bool everywhere = true;  // west, south, equator and date line too (host/quadrant.h)

  static HostOptions none() { return {false, false, false, false, false}; }
};

enum class Source { kRaw, kVehicle, kWalker };

// What the engine made of a fix, or of a second without one.
struct HostAnswer {
  GpsData fix;  // as the host got it, or as it made it for an outage
  int sample;   // 0 for a fix
  int status;   // of UpdateLocationbyGPSEvent
  Source source;
  std::int64_t time_ns;  // that the position belongs to, on the sensors' clock
  double latitude;       // degrees
  double longitude;
  EngineProbe engine;     // after the fix
  bool position_was_set;  // before the fix
  bool walker_started;    // before the fix
};

// What a host did for the engine.
struct HostCounts {
  std::int64_t events_dropped = 0;
  std::int64_t fixes_dropped = 0;
  std::int64_t outage_rows = 0;
  std::int64_t resets = 0;  // but for the one at the start
};

class Host {
 public:
  // Resets the engine. The answer to a fix comes in the call that hands it over or, with
  // `call_order`, in one of those that follow.
  Host(const HostOptions& options, std::function<void(const HostAnswer&)> answer);

  // In the order of time within each type; with `time_stamps` those that come too late are dropped.
  void sensor(SensorData event);
  // `sample` as UpdateLocationbyGPSEvent takes it.
  void fix(const GpsData& fix, int sample = 0);
  // The fix that still waits for its epochs is answered without them.
  void flush();

  const HostCounts& counts() const { return counts_; }
  std::int64_t epochs_processed() const;
  std::int64_t epochs_waiting() const;  // for a later fix

 private:
  struct Pending {
    GpsData fix;  // in the world's coordinates
    int sample;
    std::int64_t since_ns;
  };

  void feed(SensorData event);
  bool advances(const GpsData& fix) const;
  void hand_over(const GpsData& fix, int sample);
  void answer_pending();
  void keep_going();
  void reset();

  HostOptions options_;
  std::function<void(const HostAnswer&)> answer_;
  HostCounts counts_;
  EventFilter filter_;
  SampleRate rate_;
  Quadrant quadrant_;
  std::optional<Pending> pending_;
  std::optional<std::int64_t> now_;             // newest sensor event
  std::optional<std::int64_t> last_gyroscope_;  // that the engine got
  std::optional<GpsData> last_fix_;
  std::int64_t fix_arrival_ = 0;             // on the sensors' clock
  std::optional<std::int64_t> last_handed_;  // stamp of the last fix or row
  double latency_ = 0.0;                     // of late fixes, s
  bool in_outage_ = false;
  std::int64_t epochs_paired_ = 0;
};

}  // namespace zuvdr
