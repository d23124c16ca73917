// Step lengths and walking speed from the pedestrian history.
//
// The history: five deques aligned by index, one element per epoch, oldest first: raw acceleration
// x, y, z (m/s^2), time (ns), step flag (1.0 where a step was declared, else 0.0). z is taken as
// vertical whatever the attitude of the device. If the deques differ in length, the elements that
// all five have count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "ZuVDR.h"

namespace zuvdr {

// Epochs that a full history holds, 6 s at 25 Hz.
inline constexpr std::size_t kPedestrianHistory = 150;

}  // namespace zuvdr

// The length (m) of each step at the index of its epoch, 0 at every other index and for steps that
// could not be measured: the first one, one on the newest epoch, and those of the oldest part of
// the history that are not the last step in it. The history is only read. For hosts; the engine
// calls step_speed.
ZUVDR_EXPORT std::deque<double> steplen(std::deque<double>& acc_x, std::deque<double>& acc_y,
                                        std::deque<double>& acc_z, std::deque<std::int64_t>& time,
                                        std::deque<double>& step_flags);

// The walking speed (m/s) over the last 5 s. count: epochs held; below 150 the answer is 0. speed:
// the previous walking speed (m/s). Nothing is written.
ZUVDR_EXPORT double step_speed(std::deque<double>& acc_x, std::deque<double>& acc_y,
                               std::deque<double>& acc_z, std::deque<std::int64_t>& time,
                               std::deque<double>& step_flags, int& count, double& speed);
