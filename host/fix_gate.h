// Fixes that jump: further from where the vehicle can be than their accuracy says.
#pragma once

#include <cstdint>
#include <optional>

#include "ZuVDRHost.hpp"

namespace zuvdr {

class FixGate {
 public:
  // `expected`: the last output carried to the fix; none: nothing to compare with. The distance in
  // metres when the fix is to be refused.
  std::optional<double> refuses(const GpsData& fix, const std::optional<HostPosition>& expected);
  void reset() { passed_ = 0; }

 private:
  int passed_ = 0;         // in a row
  bool refusing_ = false;  // the fix before
  std::optional<std::int64_t> last_good_;
};

}  // namespace zuvdr
