#include "host/fix_gate.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/earth_metres.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

constexpr int kArmed = 20;         // fixes in a row that pass
constexpr double kLongest = 25.0;  // s: then the fixes are right and the output is wrong
// After a long outage the output may be wrong as well, but it comes back to the fixes soon.
constexpr int kArmedAfterOutage = 5;

}  // namespace

std::optional<double> FixGate::refuses(const GpsData& fix,
                                       const std::optional<HostPosition>& expected) {
  if (!expected || expected->source == Source::kWalker || expected->source == Source::kRawFix) {
    passed_ = 0;
    last_good_ = fix.time_ns;
    return std::nullopt;
  }
  const double age = last_good_ ? elapsed_seconds(fix.time_ns, *last_good_) : 0.0;
  if (age > kLongest) {
    passed_ = passed_ < kArmed || refusing_ ? 0 : kArmed - kArmedAfterOutage;
    refusing_ = false;
    last_good_ = fix.time_ns;
    return std::nullopt;
  }
  const double drift = 2.0 + 0.05 * expected->speed * age + 0.02 * age * age;
  const double sigma = std::hypot(fix.pos_acc_e, fix.pos_acc_n);
  const double off =
      metres_between(expected->latitude, expected->longitude, fix.latitude, fix.longitude);
  if (off > 3.0 * std::hypot(drift, sigma)) {
    if (passed_ >= kArmed) {
      refusing_ = true;
      return off;
    }
    passed_ = 0;
  } else {
    passed_ = std::min(passed_ + 1, kArmed);
  }
  refusing_ = false;
  last_good_ = fix.time_ns;
  return std::nullopt;
}

}  // namespace zuvdr
