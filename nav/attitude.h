// Attitude representations and their conversions. Free functions without state; no input is
// checked. Conventions (docs/conventions.md):
//
//   quaternion   4 doubles, scalar first, Hamilton product; qnb rotates body into navigation frame
//   matrix       3 x 3 row-major; v_n = Cnb v_b; navigation frame east, north, up
//   Euler angles rad; mode 2: [pitch, roll, yaw], pitch about body x (sequence z, x, y)
//                     mode 1: [roll, pitch, yaw], aerospace sequence (z, y, x)
//
// Matrices, quaternions and angles convert by the textbook formulas (Titterton and Weston,
// Strapdown Inertial Navigation Technology, ch. 3); only the small-angle rule of rv2q is this
// engine's own.
#pragma once

#include "ZuVDR.h"

struct INS;

// q = quaternion of the rotation vector rv (rad). A vector shorter than 1e-4 rad gives a quaternion
// whose vector part is practically zero: so small a rotation is dropped, not applied. q must not
// overlap rv.
ZUVDR_EXPORT void rv2q(const double rv[3], double q[4]);

// r = p (x) q, Hamilton product; r must not overlap p or q.
ZUVDR_EXPORT void qmul(const double p[4], const double q[4], double r[4]);

// ins.qnb <- ins.qnb (x) rv2q(rv), renormalised when |qnb|^2 leaves [0.999999, 1.000001]. rv is
// overwritten with the vector part of its quaternion. For hosts; the engine does not call it.
ZUVDR_EXPORT void qupdt2(INS& ins, double rv[3]);

// Attitude step of dt seconds with gyro (3, rad/s) less eb: Heun's method on the quaternion rate,
// using the rate of the previous call, whichever record that was for. Ends normalised.
ZUVDR_EXPORT void qupdt3(INS& ins, double* gyro, double dt);

// q <- rv2q(phi) (x) q: phi (rad) in the frame q rotates into. Not renormalised.
ZUVDR_EXPORT void qdelphi(double q[4], const double phi[3]);

// Stores q as ins.qnb and rebuilds ins.Cnb and, by ins.att_mode, ins.att (left alone in modes other
// than 1 and 2). asin gets the matrix element unclamped. q may be ins.qnb itself.
ZUVDR_EXPORT void attsyn(const double q[4], INS& ins);

// C from att = [pitch, roll, yaw], mode-2 sequence. For hosts.
ZUVDR_EXPORT void a2mat(const double att[3], double C[3][3]);

// R (3 x 3) from e = [yaw, pitch, roll], sequence z, x, y: the matrix of a2mat. The second form is
// for hosts that were built against it; an address is taken with the type that says which one is
// meant, as in static_cast<void (*)(const double*, double*)>(euler2rot_2).
ZUVDR_EXPORT void euler2rot_2(const double e[3], double R[9]);
ZUVDR_EXPORT void euler2rot_2(double* e, double* R);

// R (3 x 3) from e = [yaw, pitch, roll], sequence z, y, x.
ZUVDR_EXPORT void euler2rot_3(const double e[3], double R[9]);

// q of R (3 x 3); neither normalised nor forced to a sign.
ZUVDR_EXPORT void rot2qua(const double R[9], double q[4]);

// Levelling quaternion with yaw 0 from one accelerometer sample (m/s^2, body frame). The second
// argument is not read. For hosts.
ZUVDR_EXPORT void InitQnb(const double acc[3], double* ignored, double q[4]);

// a - b for angles in (-pi, pi], wrapped when their signs differ.
ZUVDR_EXPORT double AngleMul(double a, double b);

namespace zuvdr {

// q <- q / |q|.
void normalise(double q[4]);

// C of q, which is taken for a unit quaternion.
void quaternion_to_matrix(const double q[4], double C[9]);

// The following speak of att in the order of the mode. In modes other than 1 and 2 they leave their
// output alone.

// att (3) of the matrix C.
void matrix_to_euler(const double C[9], int mode, double att[3]);

// The matrix R of att (3); true when the mode has one.
bool euler_to_matrix(const double att[3], int mode, double R[9]);

// The first two angles of att (pitch and roll, or roll and pitch) of a body at rest; u: specific
// force in units of -g, which at rest is minus the third row of Cnb.
void tilt_from_gravity(const double u[3], int mode, double att[2]);

}  // namespace zuvdr
