#include "tools/logs/recording_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <variant>

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kBoot = 1'700'000'000'000'000'000;      // ns since 1970
constexpr std::int64_t kFirstUtc = 1'000'000'000'000'000'000;  // ns; no phone is up for 31 years
constexpr double kDegree = std::numbers::pi / 180.0;

double known_or_nan(double accuracy) {
  return accuracy > 0.0 ? accuracy : PhoneFix::kUnknown;
}

// The sigmas of a velocity in a direction of this sine and cosine, and across it.
void set_velocity_accuracies(const GpsData& fix, double sine, double cosine, PhoneFix& out) {
  constexpr double kRounding = 1e-6;  // of float32 squares
  const double east = std::pow(fix.vel_acc_e, 2), north = std::pow(fix.vel_acc_n, 2);
  const double total = east + north;
  double along = std::pow(fix.speed_acc, 2);
  double across = total - along;
  const double as_made = along * sine * sine + across * cosine * cosine;
  if (!(across > 0.0 && std::fabs(as_made - east) <= kRounding * total)) {
    along = east * sine * sine + north * cosine * cosine;
    across = total - along;
  }
  out.speed_accuracy = std::sqrt(along);
  out.bearing_accuracy = std::sqrt(across) / out.speed / kDegree;
}

}  // namespace

PhoneFix to_phone_fix(const GpsData& fix) {
  PhoneFix out;
  out.time_ns = fix.time_ns;
  out.latitude = fix.latitude;
  out.longitude = fix.longitude;
  out.altitude = fix.altitude;
  const double east = known_or_nan(fix.pos_acc_e), north = known_or_nan(fix.pos_acc_n);
  out.horizontal_accuracy = std::hypot(east, north);
  out.vertical_accuracy = known_or_nan(fix.pos_acc_u);

  const double vel_e = fix.vel_e, vel_n = fix.vel_n;
  const bool moving = vel_e != 0.0 || vel_n != 0.0;
  out.speed = moving ? std::hypot(vel_e, vel_n) : double{fix.speed};
  if (moving) {
    const double bearing = std::atan2(vel_e, vel_n) / kDegree;
    out.bearing = bearing < 0.0 ? bearing + 360.0 : bearing;
  }
  const float accuracies[] = {fix.vel_acc_e, fix.vel_acc_n, fix.vel_acc_u, fix.speed_acc};
  if (!std::ranges::all_of(accuracies, [](float accuracy) { return accuracy > 0.0F; })) return out;
  if (moving) {
    set_velocity_accuracies(fix, vel_e / out.speed, vel_n / out.speed, out);
  } else {
    // Made of a speed v without a course they are sqrt(s^2 + v^2) each.
    const double mean = (std::pow(fix.vel_acc_e, 2) + std::pow(fix.vel_acc_n, 2)) / 2.0;
    out.speed_accuracy = std::sqrt(mean - out.speed * out.speed);
  }
  return out;
}

std::int64_t utc_ns(std::int64_t time_ns) {
  return time_ns < kFirstUtc ? time_ns + kBoot : time_ns;
}

std::string number_or_empty(double value) {
  return std::isnan(value) ? std::string{} : fmt::format("{}", value);
}

void RecordingWriter::write(const EventRow& row) {
  if (const auto* sensor = std::get_if<SensorRow>(&row)) {
    if (!put(sensor->event)) ++left_out_["of other sensors"];
  } else if (const auto* fix = std::get_if<FixRow>(&row)) {
    if (fix->sample == 0) {
      put(to_phone_fix(fix->fix));
    } else {
      ++left_out_["without a fix"];
    }
  } else {
    ++left_out_[std::holds_alternative<StepRow>(row) ? "of steps" : "of truth"];
  }
}

std::vector<std::string> RecordingWriter::remarks() const {
  std::vector<std::string> lines;
  for (const auto& [what, count] : left_out_) {
    lines.push_back(fmt::format("left out {} row{} {}", count, count == 1 ? "" : "s", what));
  }
  return lines;
}

}  // namespace zuvdr::tools
