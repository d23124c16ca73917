// What the host library adds to the engine: a drive through town as a phone delivers it, 100 Hz and
// a fix a second, and the calls of the engine alone that come of it.
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "ZuVDRHost.hpp"
#include "bench/roads.h"
#include "host/phone_fix.h"

namespace zuvdr::bench {
namespace {

constexpr int kRate = 100;                       // Hz
constexpr int kEvents = 2 * kRate + 1;           // of a second, the fix is one
constexpr int kSecondsBefore = 400;              // what the host learns from is full then
constexpr std::int64_t kSecond = 1'000'000'000;  // ns
constexpr std::int64_t kLatency = 200'000'000;   // ns, of a fix
constexpr std::int64_t kBin = 40'000'000;        // ns

// Ten seconds of standstill, ten of starting; then speed and course go up and down.
struct Drive {
  double speed, acceleration, turn;  // m/s, m/s^2, rad/s clockwise
  explicit Drive(double t) : speed(0.0), acceleration(0.0), turn(0.0) {
    constexpr double kSpeed = 2.0 * std::numbers::pi / 20.0, kTurn = 2.0 * std::numbers::pi / 30.0;
    if (t < 10.0) return;
    acceleration = t < 20.0 ? 1.2 : 3.0 * kSpeed * std::cos(kSpeed * (t - 20.0));
    speed = t < 20.0 ? 1.2 * (t - 10.0) : 12.0 + 3.0 * std::sin(kSpeed * (t - 20.0));
    turn = t < 20.0 ? 0.0 : 0.12 * std::sin(kTurn * (t - 20.0));
  }
};

// Values have the steps of a phone's sensors, as those of a journey.
SensorData force_at(double t, std::int64_t time) {
  const Drive drive(t);
  SensorData event{ZUVDR_SENSOR_ACCELEROMETER, {}, time};
  event.values[0] = std::round(400.0 * drive.speed * drive.turn) / 400.0;
  event.values[1] = std::round(400.0 * drive.acceleration) / 400.0;
  event.values[2] = 9.8;
  return event;
}
SensorData rate_at(double t, std::int64_t time) {
  const Drive drive(t);
  SensorData event{ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, {}, time};
  const double shaking = drive.speed > 0.0 ? 0.02 * std::sin(std::numbers::pi * t) : 0.0;
  event.values[0] = event.values[1] = std::round(4000.0 * shaking) / 4000.0;
  event.values[2] = std::round(4000.0 * (shaking - drive.turn)) / 4000.0;
  return event;
}

// One second after the other.
class Trip {
 public:
  static constexpr std::int64_t kBegin = 1'000'000'000'000;  // ns

  void next() {
    begin_ = kBegin + seconds_ * kSecond;
    auto* event = events.data();
    for (int i = 0; i < kRate; ++i) {
      const double t = seconds_ + i / static_cast<double>(kRate);
      const std::int64_t time = begin_ + i * kSecond / kRate;
      if (i == 0) set_fix(t, time);
      *event++ = force_at(t, time);
      *event++ = rate_at(t, time);
      const Drive drive(t);
      east_ += drive.speed * std::sin(course_) / kRate;
      north_ += drive.speed * std::cos(course_) / kRate;
      course_ += drive.turn / kRate;
    }
    // The last one lies behind the fix and releases the others.
    auto* epoch = epochs.data();
    for (int i = 0; i < 25; ++i) {
      const double t = seconds_ + 0.04 * (i - 24) + 0.02;
      const std::int64_t time = begin_ + (i - 24) * kBin + kBin / 2;
      *epoch++ = force_at(t, time);
      *epoch++ = rate_at(t, time);
    }
    ++seconds_;
  }

  std::array<SensorData, 2 * kRate> events;
  std::array<SensorData, 50> epochs;  // what the engine gets of them
  PhoneFix fix;                       // at the time of the first event

 private:
  void set_fix(double t, std::int64_t time) {
    fix.time_ns = time;
    fix.latitude = 48.0 + north_ / 111'200.0;
    fix.longitude = 16.0 + east_ / 74'600.0;
    fix.altitude = 180.0;
    fix.horizontal_accuracy = fix.vertical_accuracy = 4.0;
    fix.speed = Drive(t).speed;
    fix.speed_accuracy = 0.3;
    fix.bearing = std::remainder(course_, 2.0 * std::numbers::pi) * 180.0 / std::numbers::pi;
    fix.bearing_accuracy = fix.speed > 0.0 ? 2.0 : kUnknown;
  }

  std::int64_t begin_ = 0;
  int seconds_ = 0;
  double east_ = 0.0, north_ = 0.0, course_ = 0.0;  // m, m, rad clockwise from north
};

std::string fault_of_engine() {
  constexpr int kRunning = ZUVDR_CAR_POSITION_SET | ZUVDR_CAR_ALIGNED;
  return (GetCarFlag() & kRunning) == kRunning ? "" : "the vehicle's side is not in its state";
}

class HostRoad : public Road {
 public:
  HostRoad() {
    host_.emplace();
    for (int i = 0; i < kSecondsBefore; ++i) {
      trip_.next();
      run();
    }
    restarts_ = host_->counts().restarts;
  }
  void prepare() override { trip_.next(); }
  void run() override {
    bool fix_due = true;
    for (const SensorData& event : trip_.events) {
      host_->sensor(event);
      if (!fix_due || event.timestamp < trip_.fix.time_ns + kLatency) continue;
      host_->fix(trip_.fix);
      fix_due = false;
    }
  }
  std::string fault() const override {
    const HostCounts& counts = host_->counts();
    if (counts.restarts != restarts_) return "the trip was given again";
    if (counts.resets + counts.outage_rows + counts.gaps_filled + counts.fixes_refused != 0) {
      return "the drive was not all well to the host";
    }
    if (!(counts.mounting_yaw_sigma < 3.0)) return "the mounting is not known";
    return fault_of_engine();
  }

 private:
  Trip trip_;
  std::optional<Host> host_;
  std::int64_t restarts_ = 0;
};

class EngineOfHostRoad : public Road {
 public:
  EngineOfHostRoad() {
    Reset();
    for (int i = 0; i < kSecondsBefore; ++i) {
      trip_.next();
      if (i == 0) {  // a fast one for vehicle mode
        trip_.fix.speed = 6.0;
        trip_.fix.bearing = 0.0;
        trip_.fix.bearing_accuracy = 2.0;
      }
      run();
    }
  }
  void prepare() override { trip_.next(); }
  void run() override {
    const GpsData fix = to_gps_data(trip_.fix);
    SyncGPSEventforFusion(&fix);
    for (const SensorData& event : trip_.epochs) UpdateLocationbySensorEvent(event);
    UpdateLocationbyGPSEvent(0);
    GetLocation(&location_);
  }
  std::string fault() const override { return fault_of_engine(); }

 private:
  Trip trip_;
  Location location_{};
};

}  // namespace

void add_host_road(std::vector<NamedRoad>& roads) {
  constexpr int kRuns =
      128;  // fill the blocks of every queue of the engine a whole number of times
  roads.push_back({"host event", kEvents, [] { return std::make_unique<HostRoad>(); }, kRuns});
  roads.push_back(
      {"engine: host event", kEvents, [] { return std::make_unique<EngineOfHostRoad>(); }, kRuns});
}

}  // namespace zuvdr::bench
