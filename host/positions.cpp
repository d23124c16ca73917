#include "host/positions.h"

#include <algorithm>
#include <cmath>

#include "host/earth_metres.h"
#include "nav/clock.h"

namespace zuvdr {
namespace {

// s; behind that the position stands, and may have gone on as before.
constexpr double kLongestCarried = 60.0;
// The velocity is not what it was: after this time, by that part.
constexpr double kVelocityKept = 5.0;  // s
constexpr double kVelocityLost = 0.3;

}  // namespace

void Positions::add(const Entry& entry) {
  entries_.push(entry);
}

std::optional<HostPosition> Positions::at(std::int64_t time_ns) const {
  for (std::uint64_t i = entries_.end(); i-- > entries_.begin();) {
    const Entry& entry = entries_[i];
    if (entry.position.time_ns > time_ns) continue;
    HostPosition position = entry.position;
    const double dt = elapsed_seconds(time_ns, position.time_ns);
    const double carried = std::min(dt, kLongestCarried);
    move(position.latitude, position.longitude, entry.east_velocity * carried,
         entry.north_velocity * carried);
    position.time_ns = time_ns;
    position.accuracy =
        std::hypot(position.accuracy, entry.velocity_sigma * carried) +
        position.speed * (kVelocityLost * std::max(carried - kVelocityKept, 0.0) + (dt - carried));
    position.fix_age = entry.good_fix ? elapsed_seconds(time_ns, *entry.good_fix) : kUnknown;
    return position;
  }
  return std::nullopt;
}

}  // namespace zuvdr
