// Detectors on the attitude and on the direction of gravity.
#pragma once

#include "ZuVDR.h"

struct INS;

// Called once per epoch: keeps the last 25 values of att[0] and att[1] in ins and returns 1 when
// either changed by more than 25 degrees over the window, else 0. A window whose oldest pitch is
// exactly zero never reports motion. A change that is NaN does not count and does not hide the
// other one.
ZUVDR_EXPORT int MP_MOVE(INS& ins);

// Euler order for a device held so, from the accelerometer (m/s^2): 2 when the body x axis stands
// more than 70 degrees out of the horizontal plane, else 1 (also for a zero vector).
ZUVDR_EXPORT int LandscapeDetector(const double acc[3]);

// (G - 1)/G with G = |acc| in units of standard gravity. For hosts; the engine does not call it.
ZUVDR_EXPORT double StaticAccBias(const double acc[3]);
