#include "host/quadrant.h"

#include <cmath>

namespace zuvdr {
namespace {

// Degrees. A choice is made clear of the borders and kept as long as it can be.
constexpr double kClear = 5.0;
constexpr double kKept = 1.0;
constexpr double kMiddle = 90.0;
// Within half a degree of the equator.
constexpr double kClearOfEquator = 0.5;
constexpr double kKeptAtEquator = 0.2;
constexpr double kEquatorShift = 1.0;

double within_turn(double longitude) {  // 0 to 360
  const double turned = std::fmod(longitude, 360.0);
  return turned < 0.0 ? turned + 360.0 : turned;
}

}  // namespace

bool Quadrant::choose_for(double latitude, double longitude) {
  if (!std::isfinite(latitude) || !std::isfinite(longitude)) return false;
  if (chosen_) {
    const double east = within_turn(longitude + east_shift_);
    const double north = (mirrored_ ? -latitude : latitude) + north_shift_;
    const bool inside = north_shift_ == 0.0 ? north > kKeptAtEquator
                                            : std::fabs(latitude) < kEquatorShift - kKeptAtEquator;
    if (east > kKept && east < 180.0 - kKept && inside) return false;
  }
  const bool first = !chosen_;
  chosen_ = true;
  mirrored_ = latitude < -kClearOfEquator;
  north_shift_ = std::fabs(latitude) <= kClearOfEquator ? kEquatorShift : 0.0;
  const double east = within_turn(longitude);
  east_shift_ = east >= kClear && east <= 180.0 - kClear ? 0.0 : kMiddle - longitude;
  return !first;
}

void Quadrant::enter(GpsData& fix) const {
  if (east_shift_ != 0.0) fix.longitude = within_turn(fix.longitude + east_shift_);
  fix.latitude += north_shift_;
  if (!mirrored_) return;
  fix.latitude = -fix.latitude;
  fix.vel_n = -fix.vel_n;
  fix.bearing = fix.bearing <= 180.0F ? 180.0F - fix.bearing : 540.0F - fix.bearing;
}

void Quadrant::leave(double& latitude, double& longitude) const {
  latitude -= north_shift_;
  if (mirrored_) latitude = -latitude;
  if (east_shift_ == 0.0) return;
  longitude -= east_shift_;
  if (longitude > 180.0) longitude -= 360.0;
  if (longitude < -180.0) longitude += 360.0;
}

}  // namespace zuvdr
