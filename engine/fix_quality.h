// The quality test of a fix.
#pragma once

#include <array>

#include "ZuVDR.h"

namespace zuvdr {

// A fix passes when every accuracy lies above 0, which stands for "unknown", and below its
// limit (1 sigma, m/s and m). The receivers this was tuned on are least sure of north.
struct AccuracyLimit {
  float GpsData::*accuracy;
  double limit;
  const char* name;
};
inline constexpr std::array kAccuracyLimits{AccuracyLimit{&GpsData::vel_acc_e, 1.91, "vel_acc_e"},
                                            AccuracyLimit{&GpsData::vel_acc_n, 1.95, "vel_acc_n"},
                                            AccuracyLimit{&GpsData::vel_acc_u, 1.55, "vel_acc_u"},
                                            AccuracyLimit{&GpsData::pos_acc_e, 250.0, "pos_acc_e"},
                                            AccuracyLimit{&GpsData::pos_acc_n, 250.0, "pos_acc_n"},
                                            AccuracyLimit{&GpsData::pos_acc_u, 250.0, "pos_acc_u"},
                                            AccuracyLimit{&GpsData::speed_acc, 3.0, "speed_acc"}};

inline bool keeps(const AccuracyLimit& limit, const GpsData& fix) {
  const auto accuracy = static_cast<double>(fix.*limit.accuracy);
  return accuracy > 0.0 && accuracy < limit.limit;
}

inline bool passes_quality_test(const GpsData& fix) {
  for (const AccuracyLimit& limit : kAccuracyLimits) {
    if (!keeps(limit, fix)) return false;
  }
  return true;
}

}  // namespace zuvdr
