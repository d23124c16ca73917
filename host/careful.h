// The careful host: sensor events become samples, samples and fixes a trip, and the engine gets the
// trip fix by fix.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include "host/event_filter.h"
#include "host/event_order.h"
#include "host/fix_clock.h"
#include "host/fix_gate.h"
#include "host/gap_filling.h"
#include "host/mounting_estimate.h"
#include "host/pairing.h"
#include "host/road.h"
#include "host/sample_rate.h"
#include "host/trip.h"
#include "host/walker_course.h"

namespace zuvdr {

// A larger offset is taken for unknown.
inline bool offset_by_hand(const HostOptions& options) {
  return std::fabs(options.fix_clock_offset) < 10.0;
}

class Host::Careful final : public Host::Road {
 public:
  Careful(const HostOptions& options, Answer answer, Notify notify);

  void sensor(const SensorData& event) override;
  void fix(const GpsData& fix, int sample) override;
  void flush() override;
  std::int64_t epochs_processed() const override {
    return static_cast<std::int64_t>(given_.samples);
  }
  std::int64_t epochs_waiting() const override {
    return static_cast<std::int64_t>(trip_.samples.end() - given_.samples);
  }

 private:
  struct Pending {
    GpsData fix;
    int sample;
    std::int64_t since_ns;
  };
  // What depends on what the engine was given since its Reset.
  struct Given {
    std::uint64_t samples = 0;  // number of the next one
    std::optional<std::int64_t> last_stamp;
    bool standing = false;  // at the last fix
    std::int64_t calm_samples = 0;
    Vector calm_force{}, calm_rate{};  // sums
  };

  // careful.cpp: the way of an event and of a fix
  void in_order(const SensorData& event);
  void take(const Sample& sample);
  void keep(const Sample& sample);
  void keep_going();
  void answer_oldest();
  void answer_all();
  void answer_ready();
  bool sensors_stalled(const GpsData& fix) const;
  void phone_moved();
  // `sample`: what the engine is told; a row of the host's own is not a fix even where that is 0.
  void use(const GpsData& fix, int sample, bool own_row);
  GpsData standing_row(std::int64_t time) const;
  GpsData walker_row(std::int64_t time) const;
  std::int64_t sensor_time(const GpsData& fix) const;
  bool advances(const GpsData& fix);
  void reset();

  // engine_feed.cpp: what the engine gets
  void hand(const TripFix& entry);
  void prime(const GpsData& fix);
  void release(std::uint64_t end, bool calm);
  void give(const Sample& sample);
  void sync(GpsData fix, int sample);  // `sample`: for who watches
  void restart();
  void give_trip(bool with_rest);
  void make_up_rest();
  bool rest_is_known() const;

  // learning.cpp
  void learn(const TripFix& entry);
  void reconsider(const TripFix& entry);

  // gaps.cpp
  bool bridge(const Sample& next);
  bool fill(std::int64_t until);

  static constexpr std::size_t kMostPending = 64;
  static constexpr double kLongestFilled = 10.0;  // s, with fixes
  static constexpr double kLongestBlind = 2.0;    // s, without

  HostOptions options_;
  EventFilter filter_;
  EventOrder order_;
  SampleRate rate_;
  Pairing pairing_;
  Quadrant quadrant_;
  Trip trip_;
  Given given_;
  MountingEstimate estimate_;
  bool turned_ = false;  // the phone, since the mounting in use was learned
  std::optional<MountingEstimate::Result> used_;  // mounting that the engine is given
  FixClock clock_;
  double offset_ = 0.0;  // s, taken off the stamps of fixes
  FixGate gate_;
  WalkerCourse walker_course_;

  Ring<Pending> pending_{kMostPending};  // oldest first
  std::optional<std::int64_t> now_;      // newest sensor event
  std::optional<std::int64_t> last_sample_;
  std::optional<std::int64_t> last_real_sample_;
  std::optional<GpsData> last_fix_;      // good or bad
  std::optional<GpsData> interval_fix_;  // good, that the interval to be learned from begins with
  std::uint64_t interval_begin_ = 0;     // sample
  std::int64_t fix_arrival_ = 0;         // on the sensors' clock
  double fix_interval_ = 1.0;            // s, usual
  std::optional<std::int64_t> last_handed_;  // stamp of the last fix or row
  double latency_ = 0.0;                     // of late fixes, s
  bool in_outage_ = false;
  std::optional<std::int64_t> reconsidered_;  // time of the last restart
  double rest_tried_ = 0.0;                   // s of driving that the rest made up last knew
  int backward_fixes_ = 0;                    // in a row, each after the one before
  std::int64_t backward_stamp_ = 0;
};

}  // namespace zuvdr
