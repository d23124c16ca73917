// The ways in which an estimate of error states corrects the navigator.
#pragma once

struct INS;

namespace zuvdr {

// Rotation vector phi (rad) applied on the left to the attitude, or to the mounting; their matrices
// and angles follow.
void rotate_attitude(INS& ins, const double phi[3]);
void rotate_mounting(INS& ins, const double phi[3]);

// correction: true minus computed, rad/s.
void add_gyro_bias(INS& ins, const double correction[3]);

}  // namespace zuvdr
