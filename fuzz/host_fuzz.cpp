// Drives the host library with arbitrary events, fixes, options and questions. Whatever the
// numbers, nothing may crash, hang or trip a sanitizer. Of numbers that a phone can tell every
// position is finite; and with the care for time stamps the engine gets none, between two Resets,
// that does not advance.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "ZuVDRHost.hpp"
#include "fuzz/bytes.h"

// The host's calls of the engine come here: see the linker's --wrap.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
int __real_UpdateLocationbySensorEvent(SensorData event);
int __wrap_UpdateLocationbySensorEvent(SensorData event);
const GpsData* __real_SyncGPSEventforFusion(const GpsData* fix);
const GpsData* __wrap_SyncGPSEventforFusion(const GpsData* fix);
int __real_UpdateLocationbyGPSEvent(int sample);
int __wrap_UpdateLocationbyGPSEvent(int sample);
void __real_Reset(void);
void __wrap_Reset(void);
}

namespace {

void check(bool holds) {
  if (!holds) __builtin_trap();
}

bool stamps_must_advance = false;

// Stamps since the last Reset.
struct Stamps {
  std::optional<std::int64_t> accelerometer, gyroscope, epoch, predecessor, fix;
} stamps;

void advance(std::optional<std::int64_t>& last, std::int64_t stamp) {
  check(!stamps_must_advance || !last || stamp > *last);
  last = stamp;
}

}  // namespace

int __wrap_UpdateLocationbySensorEvent(SensorData event) {
  if (event.type == ZUVDR_SENSOR_ACCELEROMETER) advance(stamps.accelerometer, event.timestamp);
  if (event.type == ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED) advance(stamps.gyroscope, event.timestamp);
  return __real_UpdateLocationbySensorEvent(event);
}

// A fix that is only handed over, as the predecessor of the next, may lie before the last epoch.
const GpsData* __wrap_SyncGPSEventforFusion(const GpsData* fix) {
  stamps.predecessor = stamps.fix;
  stamps.fix = fix->time_ns;
  return __real_SyncGPSEventforFusion(fix);
}

int __wrap_UpdateLocationbyGPSEvent(int sample) {
  check(stamps.fix.has_value());
  advance(stamps.predecessor, *stamps.fix);
  advance(stamps.epoch, *stamps.fix);
  return __real_UpdateLocationbyGPSEvent(sample);
}

void __wrap_Reset(void) {
  stamps = {};
  __real_Reset();
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

void check_position(const zuvdr::HostPosition& position) {
  check(std::isfinite(position.latitude) && std::isfinite(position.longitude));
  check(std::isfinite(position.speed));
  check(!std::isinf(position.accuracy) && !(position.accuracy < 0.0));
  check(std::isnan(position.bearing) || (position.bearing >= 0.0 && position.bearing <= 360.0));
}

class Phone {
 public:
  explicit Phone(Bytes& bytes) : bytes_(bytes) {
    const auto kind = bytes.take<std::uint8_t>();
    tame_ = kind % 2 == 0;
    zuvdr::HostOptions options;
    if (kind % 4 >= 2) {
      auto mask = bytes.take<std::uint16_t>();
      for (const zuvdr::Care& care : zuvdr::kCares) {
        options.*care.option = mask % 2 == 1;
        mask /= 2;
      }
    }
    if (kind % 8 >= 4) options.fix_clock_offset = 2.0 / 128 * bytes.take<std::int8_t>();
    stamps_must_advance = options.time_stamps;
    finite_ = tame_ && options.time_stamps;
    host_.emplace(options, [this](const zuvdr::HostAnswer& answer) {
      if (finite_) check_position(answer.position);
    });
  }

  void run() {
    while (!bytes_.empty()) {
      const auto call = bytes_.take<std::uint8_t>();
      if (call == 255) {
        host_->flush();
      } else if (call % 32 == 31) {
        drive(call / 16, number(30.0), number(2.0));
      } else if (call % 8 == 7) {
        fix(call);
      } else {
        event(call);
      }
      ask(clock_);
    }
    ask(static_cast<double>(clock_) + number(5.0) * 1e9);
    host_->flush();
    host_->counts();
    check(host_->epochs_processed() >= 0 && host_->epochs_waiting() >= 0);
  }

 private:
  // A tame one lies within the limit; a wild one is any.
  double number(double limit) {
    if (tame_) return bytes_.take<std::int16_t>() / 32768.0 * limit;
    return bytes_.take<float>();
  }

  void ask(double time) {
    if (!(std::fabs(time) < 9e18)) return;
    const auto position = host_->position(static_cast<std::int64_t>(time));
    if (position && finite_) check_position(*position);
  }
  void ask(std::int64_t time) { ask(static_cast<double>(time)); }

  void event(unsigned call) {
    constexpr std::int32_t kTypes[4] = {1, 16, 14, 6};
    SensorData event{};
    event.type = call % 8 == 6 ? bytes_.take<std::int32_t>() : kTypes[call % 4];
    const double limit = event.type == 16 ? 20.0 : 80.0;
    for (double& value : event.values) value = number(limit);
    event.timestamp = next_time(bytes_, clock_);
    host_->sensor(event);
  }

  void fix(unsigned call) {
    const double latitude = number(85.0), longitude = number(180.0), altitude = number(9000.0);
    const double accuracy = std::fabs(number(20.0)), speed = std::fabs(number(60.0));
    const double bearing = std::fabs(number(360.0));
    if (call % 32 < 16) {
      zuvdr::PhoneFix fix;
      fix.time_ns = next_time(bytes_, clock_);
      fix.latitude = latitude;
      fix.longitude = longitude;
      fix.altitude = altitude;
      fix.horizontal_accuracy = fix.vertical_accuracy = accuracy;
      fix.speed = speed;
      fix.speed_accuracy = 0.05 * accuracy;
      fix.bearing = bearing;
      fix.bearing_accuracy = accuracy;
      host_->fix(fix);
    } else {
      GpsData fix{};
      fix.time_ns = next_time(bytes_, clock_);
      fix.latitude = latitude;
      fix.longitude = longitude;
      fix.altitude = altitude;
      fix.speed = static_cast<float>(speed);
      fix.bearing = static_cast<float>(bearing);
      fix.vel_e = static_cast<float>(number(40.0));
      fix.vel_n = static_cast<float>(number(40.0));
      fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = static_cast<float>(accuracy);
      fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = static_cast<float>(accuracy);
      host_->fix(fix, call >= 128 ? 1 : 0);
    }
  }

  // Some seconds north at 25 Hz with good fixes, or standing: what single records never come to.
  void drive(int seconds, double speed, double noise) {
    for (int i = 0; i < 25 * seconds && driven_ < 25 * 30; ++i, ++driven_) {
      clock_ += 40'000'000;
      const double shaking = speed > 3.0 ? noise * (i % 7 - 3) : 0.0;
      host_->sensor({ZUVDR_SENSOR_ACCELEROMETER, {0, shaking, 9.8, 0, 0, 0}, clock_});
      host_->sensor({ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, {0, 0, 0.1 * shaking, 0, 0, 0}, clock_});
      north_ += std::max(speed, 0.0) * 0.04;
      if (i % 25 != 24) continue;
      zuvdr::PhoneFix fix;
      fix.time_ns = clock_;
      fix.latitude = 45.0 + north_ / 111'000.0;
      fix.longitude = 10.0;
      fix.altitude = 100.0;
      fix.horizontal_accuracy = fix.vertical_accuracy = 4.0;
      fix.speed = std::max(speed, 0.0);
      fix.speed_accuracy = 0.3;
      if (fix.speed > 0.0) fix.bearing = 0.0, fix.bearing_accuracy = 3.0;
      host_->fix(fix);
    }
  }

  Bytes& bytes_;
  bool tame_ = false;
  bool finite_ = false;                 // all positions have to be
  std::int64_t clock_ = 1'000'000'000;  // ns
  double north_ = 0.0;                  // m
  int driven_ = 0;                      // epochs
  std::optional<zuvdr::Host> host_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  Phone(bytes).run();
  return 0;
}
