#include "host/phone_fix.h"

#include <cmath>
#include <numbers>

namespace zuvdr {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kCrawl = 0.5;  // m/s: slower, a velocity of 0 is as good as one with a course

bool known(double accuracy) {
  return std::isfinite(accuracy) && accuracy > 0.0;
}
float accuracy_or_zero(double accuracy) {
  return known(accuracy) ? static_cast<float>(accuracy) : 0.0F;
}
double finite_or_zero(double value) {
  return std::isfinite(value) ? value : 0.0;
}

void set_velocity(const PhoneFix& fix, GpsData& out) {
  if (!(std::isfinite(fix.speed) && fix.speed >= 0.0)) return;
  out.speed = static_cast<float>(fix.speed);
  const bool course_told = std::isfinite(fix.bearing);
  const double sine = course_told ? std::sin(fix.bearing * kDegree) : 0.0;
  const double cosine = course_told ? std::cos(fix.bearing * kDegree) : 0.0;
  if (course_told) out.bearing = static_cast<float>(fix.bearing);
  out.vel_e = static_cast<float>(fix.speed * sine);
  out.vel_n = static_cast<float>(fix.speed * cosine);
  if (!known(fix.speed_accuracy)) return;
  const double along = fix.speed_accuracy;
  out.speed_acc = static_cast<float>(along);
  if (fix.speed <= kCrawl) {
    out.vel_acc_e = out.vel_acc_n = static_cast<float>(std::hypot(along, fix.speed));
  } else if (course_told && known(fix.bearing_accuracy)) {
    const double across = fix.speed * fix.bearing_accuracy * kDegree;
    out.vel_acc_e = static_cast<float>(std::hypot(along * sine, across * cosine));
    out.vel_acc_n = static_cast<float>(std::hypot(along * cosine, across * sine));
  } else {
    return;
  }
  out.vel_acc_u = static_cast<float>(kAssumedUpVelocityAccuracy);
}

}  // namespace

GpsData to_gps_data(const PhoneFix& fix) {
  GpsData out{};
  out.time_ns = fix.time_ns;
  out.latitude = finite_or_zero(fix.latitude);
  out.longitude = finite_or_zero(fix.longitude);
  out.altitude = finite_or_zero(fix.altitude);
  if (std::isfinite(fix.latitude) && std::isfinite(fix.longitude)) {
    // A radius of 68 % is close to sqrt(2) sigma of an axis.
    out.pos_acc_e = out.pos_acc_n = accuracy_or_zero(fix.horizontal_accuracy / std::numbers::sqrt2);
  }
  if (std::isfinite(fix.altitude)) out.pos_acc_u = accuracy_or_zero(fix.vertical_accuracy);
  set_velocity(fix, out);
  return out;
}

}  // namespace zuvdr
