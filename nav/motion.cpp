#include "nav/motion.h"

#include <cmath>
#include <cstddef>

#include "nav/attitude.h"
#include "nav/constants.h"
#include "nav/earth.h"
#include "nav/ins.h"
#include "nav/vector3.h"

namespace {

constexpr std::size_t kAttitudeWindow = 25;                    // epochs, 1 s at 25 Hz
constexpr double kLargestAttitudeChange = 0.4363323129985824;  // rad, 25 degrees
constexpr double kLandscapeTilt = 70.0;                        // degrees

}  // namespace

int MP_MOVE(INS& ins) {
  const bool full = ins.pitch_hist.size() >= kAttitudeWindow;
  if (full) {
    ins.pitch_hist.pop_front();
    ins.roll_hist.pop_front();
  }
  ins.pitch_hist.push_back(ins.att[0]);
  ins.roll_hist.push_back(ins.att[1]);
  if (!full) return 0;
  const double pitch_change = std::fabs(AngleMul(ins.pitch_hist.back(), ins.pitch_hist.front()));
  const double roll_change = std::fabs(AngleMul(ins.roll_hist.back(), ins.roll_hist.front()));
  // A NaN angle (an attitude matrix rounded past 90 degrees) does not hide the other one's motion.
  const bool moved = pitch_change > kLargestAttitudeChange || roll_change > kLargestAttitudeChange;
  return moved && ins.pitch_hist.front() != 0.0 ? 1 : 0;
}

int LandscapeDetector(const double acc[3]) {
  const double n = zuvdr::norm(acc);
  const double u[3] = {acc[0] / -n, acc[1] / -n, acc[2] / -n};
  const double tilt = std::atan2(u[0], std::sqrt(u[1] * u[1] + u[2] * u[2])) * 180.0 / zuvdr::kPi;
  return std::fabs(tilt) > kLandscapeTilt ? 2 : 1;
}

double StaticAccBias(const double acc[3]) {
  const double g = zuvdr::norm(acc) / zuvdr::kGravity;
  return (g - 1.0) / g;
}
