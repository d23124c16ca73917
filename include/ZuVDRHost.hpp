// A careful host around the engine: it takes sensor events and fixes as phones deliver them, gives
// the engine what it is made for, and tells a position at every fix and at any time up to now. One
// per process, as the engine is; calls are serialised by the caller. include/ZuVDRHost.h is the
// same for C. What each kind of care gains: docs/host.md.
//
//   zuvdr::Host host;
//   host.sensor(event);                  // every event, as it comes
//   host.fix(fix);                       // every fix, as it comes
//   host.position(now)->latitude;        // at any time up to now
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include "ZuVDR.h"

namespace zuvdr {

inline constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

// A fix as a phone knows it. NaN: unknown; so is an accuracy that is not above 0, and a bearing
// where its accuracy is. Accuracies are those of 68 %: of a radius for the horizontal one, 1 sigma
// for the others.
struct PhoneFix {
  static constexpr double kUnknown = zuvdr::kUnknown;

  std::int64_t time_ns = 0;               // on the clock of the sensor events
  double latitude = kUnknown;             // degrees
  double longitude = kUnknown;            // degrees
  double altitude = kUnknown;             // m
  double horizontal_accuracy = kUnknown;  // m
  double vertical_accuracy = kUnknown;    // m
  double speed = kUnknown;                // over ground, m/s
  double speed_accuracy = kUnknown;       // m/s
  double bearing = kUnknown;              // degrees clockwise from north
  double bearing_accuracy = kUnknown;     // degrees
};

// Each kind of care by itself; without any a host makes the engine's plain calls.
struct HostOptions {
  // Drops sensor events that are not finite or whose time does not advance, and fixes likewise.
  bool time_stamps = true;
  // Events of a sensor that come in another order are sorted, by as much as they were late before,
  // at most a second.
  bool event_order = true;
  bool sample_rate = true;  // any rate to 25 Hz
  // A fix is used when all sensor epochs up to its time have been processed, so that the position
  // belongs to the fix and not to the one before.
  bool call_order = true;
  // While fixes stay away rows without one keep the engine going, one a second; those that a log
  // has of another host are left out.
  bool outages = true;
  bool everywhere = true;  // west, south, equator and date line too
  // Finds how the phone is turned in the vehicle and turns the samples to right, forward, up.
  bool mounting_yaw = true;
  // Short gaps of the sensors are filled, from fixes where there are any; longer ones reset the
  // engine.
  bool gaps = true;
  bool prime = true;         // vehicle navigation on from the first good fix
  bool calm = true;          // an idling engine's shaking taken out of standstills until aligned
  bool made_up_rest = true;  // a trip that began in motion gets a standstill in front
  bool walkers = true;       // a walker goes on while fixes stay away
  bool bad_fixes = true;     // refuses fixes far from where the vehicle can be
  bool fix_clock = true;  // finds by how much the stamps of fixes are ahead of the sensors' clock
  // s, taken off the stamps of fixes; set by hand it stands instead of what fix_clock finds.
  double fix_clock_offset = kUnknown;

  ZUVDR_EXPORT static HostOptions none();
};

// The kinds of care by name, as programs offer them.
struct Care {
  const char* name;
  bool HostOptions::*option;
  const char* description;
};
inline constexpr std::array kCares{
    Care{"time-stamps", &HostOptions::time_stamps, "drops what is not finite or does not advance"},
    Care{"event-order", &HostOptions::event_order, "sorts events that come late"},
    Care{"sample-rate", &HostOptions::sample_rate, "any sensor rate to 25 Hz"},
    Care{"call-order", &HostOptions::call_order, "a position at the time of its fix"},
    Care{"outages", &HostOptions::outages, "keeps going while fixes stay away"},
    Care{"everywhere", &HostOptions::everywhere, "west, south, equator, date line"},
    Care{"mounting-yaw", &HostOptions::mounting_yaw, "finds how the phone is turned in the car"},
    Care{"gaps", &HostOptions::gaps, "fills gaps of the sensors"},
    Care{"prime", &HostOptions::prime, "vehicle mode from the first good fix"},
    Care{"calm", &HostOptions::calm, "an idling engine's shaking taken out"},
    Care{"made-up-rest", &HostOptions::made_up_rest, "a standstill for trips that had none"},
    Care{"walkers", &HostOptions::walkers, "a walker goes on without fixes"},
    Care{"bad-fixes", &HostOptions::bad_fixes, "refuses fixes that jump"},
    Care{"fix-clock", &HostOptions::fix_clock, "finds the offset of the clock of the fixes"}};

enum class Source { kRawFix, kCorrected, kDeadReckoned, kWalker };

struct HostPosition {
  std::int64_t time_ns;
  double latitude;   // degrees
  double longitude;  // degrees
  double altitude;   // m, of the last fix; NaN: unknown
  double speed;      // m/s
  double bearing;    // degrees clockwise from north, 0 to 360; NaN: unknown
  double accuracy;   // m, radius of 68 %; NaN: unknown
  Source source;
  double fix_age;  // s since the last good fix
};

// What the engine made of a fix, or of a second without one.
struct HostAnswer {
  GpsData fix;  // as the host got it, or as it made it for an outage
  int sample;   // 0 for a fix, else for a row without one
  bool refused;
  int status;             // of UpdateLocationbyGPSEvent
  HostPosition position;  // of a vehicle at the last epoch processed, else of the fix
  bool position_was_set;  // the navigator had its position before this fix
  bool walker_started;    // likewise, a walker was on his way
};

enum class Notice {
  kEventDropped,
  kFixDropped,   // not finite, or its time does not advance
  kFixRefused,   // value: m from where it could be
  kGapFilled,    // value: s
  kReset,        // of the engine
  kMountingYaw,  // value: degrees clockwise from the phone's forward to the vehicle's
  kFixClock,     // value: s
  kMadeUpRest
};

// What a host did for the engine.
struct HostCounts {
  std::int64_t events_dropped = 0;
  std::int64_t fixes_dropped = 0;
  std::int64_t fixes_refused = 0;
  std::int64_t outage_rows = 0;
  std::int64_t gaps_filled = 0;
  std::int64_t resets = 0;               // but for the one at the start; what was learned stays
  std::int64_t restarts = 0;             // the trip so far given to the engine again
  double mounting_yaw = kUnknown;        // degrees, as in Notice
  double mounting_yaw_sigma = kUnknown;  // degrees
  double fix_clock_offset = kUnknown;    // s
};

// What the engine is given, for who wants to see or keep it. Any may be null.
struct EngineFeed {
  std::function<void(const SensorData&)> sensor;
  std::function<void(const GpsData&, int sample)> fix;
  // The engine was reset, and what it had been given from this time on is given anew.
  std::function<void(std::int64_t from_ns)> again;
};

class ZUVDR_EXPORT Host {
 public:
  // Resets the engine. The answer to a fix comes in the call that hands it over or in one of those
  // that follow. Neither function may call the host.
  explicit Host(const HostOptions& options = {},
                std::function<void(const HostAnswer&)> answer = nullptr,
                std::function<void(Notice, double value)> notice = nullptr);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  void sensor(const SensorData& event);
  void fix(const PhoneFix& fix);
  // For hosts that know velocities; `sample` as UpdateLocationbyGPSEvent takes it.
  void fix(const GpsData& fix, int sample = 0);
  // The fix that still waits for its epochs is answered without them.
  void flush();

  // To be called before the first event. A host without any care shows nothing.
  void watch(EngineFeed feed);

  // Carried from the last position with its velocity, for a minute; behind that it stands, and its
  // accuracy grows by the way it may have gone. A new answer may lie a little behind it. None
  // before the first fix, and for times before the oldest of the last few answers.
  std::optional<HostPosition> position(std::int64_t time_ns) const;

  const HostCounts& counts() const;
  std::int64_t epochs_processed() const;  // those of a trip given again count once
  std::int64_t epochs_waiting() const;    // for a later fix

 private:
  class Road;
  class Plain;
  class Careful;
  std::unique_ptr<Road> road_;
};

}  // namespace zuvdr
