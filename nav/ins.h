// The strapdown navigator of the vehicle: its record, initialisation and mechanisation. The frame
// is a flat, non-rotating local level frame (east, north, up, metres) with constant gravity; there
// are no earth-rate, transport-rate or Coriolis terms. Inputs are not checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "ZuVDR.h"
#include "nav/earth.h"

// State of the navigator. Body frame: the sensor axes; navigation frame: east, north, up.
struct INS {
  double qnb[4];                  // attitude quaternion, body to navigation
  double vn[3];                   // velocity, m/s
  double pos[3];                  // position from the engine's reference point, m
  double att[3];                  // Euler angles, rad, order by att_mode
  double Cnb[9];                  // body to navigation, 3 x 3
  double fn[3];                   // specific force of the last epoch, navigation frame, m/s^2
  double fb[3];                   // specific force of the last epoch less db, body frame, m/s^2
  double after_fb[2][3];          // zeroed by InsInit1, not read
  double eb[3];                   // gyroscope bias, rad/s
  double db[3];                   // accelerometer bias, m/s^2
  double an[3];                   // acceleration; InsUpdate writes only the up component, m/s^2
  double after_an[2][3];          // zeroed by InsInit1 (the first also by MeasureUpdate), not read
  double wb[3];                   // rate of the last epoch less eb, body frame, rad/s
  double after_wb[3];             // zeroed by InsInit1 and MeasureUpdate, not read
  std::deque<double> pitch_hist;  // the last 25 values of att[0], rad (MP_MOVE)
  std::deque<double> roll_hist;   // the last 25 values of att[1], rad (MP_MOVE)
  double install_att[3];          // mounting angles, rad, order as att
  double install_Cnb[9];          // mounting matrix, 3 x 3
  double Cmount[9];               // install_Cnb Cnb^T: navigation to vehicle frame, 3 x 3
  double install_qnb[4];          // mounting quaternion
  std::int32_t att_mode;          // Euler order, 1 or 2 (nav/attitude.h)
};
static_assert(offsetof(INS, vn) == 32 && offsetof(INS, pos) == 56 && offsetof(INS, att) == 80);
static_assert(offsetof(INS, Cnb) == 104 && offsetof(INS, fn) == 176 && offsetof(INS, eb) == 272);
static_assert(offsetof(INS, db) == 296 && offsetof(INS, wb) == 392);
static_assert(offsetof(INS, pitch_hist) == 440);

// Starts the navigator: attitude qnb (4), biases db (m/s^2) and eb (rad/s), velocity vn (m/s),
// position pos (m), Euler order att_mode. The mounting block is set to the attitude, Cmount to the
// identity, glv to its constants. The attitude histories are left alone.
ZUVDR_EXPORT void InsInit1(double* qnb, INS& ins, double* db, double* eb, double* vn, double* pos,
                           glvs& glv, int att_mode);

// One mechanisation step of dt seconds. imu: gyroscope x, y, z (rad/s), accelerometer x, y, z
// (m/s^2), body frame. dt = 0 makes fb, wb and fn NaN.
ZUVDR_EXPORT void InsUpdate(INS& ins, double* imu, double dt);

// vn_out = vn + Cnb (vm + wm x vm / 2) - [0, 0, g dt] from the increments wm (rad), vm (m/s) of dt
// seconds. ins is not changed.
ZUVDR_EXPORT void VnUpdate(INS& ins, double* wm, double* vm, double dt, double* vn_out);

// vn_out = Cnb vb.
ZUVDR_EXPORT void b2n(INS& ins, double* vb, double* vn_out);

// The signed angle (rad) from the levelled, yaw-free direction of the horizontal acceleration that
// the accelerometer shows to the direction d (east, north) that GNSS shows. acc: accelerometer less
// bias in units of -g.
ZUVDR_EXPORT double CalculateAccPsi(INS& ins, double* d, double* acc);

namespace zuvdr {

// Zeroes every member and empties the histories.
void clear(INS& ins);

}  // namespace zuvdr
