// The vehicle's error-state Kalman filter: its record and its operations.
//
// Error state (index names below). Signs: velocity and position errors are computed minus true and
// are subtracted by the feedback; attitude and mounting errors are the rotation that takes computed
// to true, C_true = (I + phi x) C_computed, and are applied on the left; bias errors are true minus
// computed and are added.
//
// All matrices are row-major; arrays passed in lie outside the filter's record. Nothing is checked;
// NaNs propagate. No heap is used.
#pragma once

#include <cstddef>

#include "ZuVDR.h"

struct INS;
struct glvs;

namespace zuvdr {

inline constexpr std::size_t kStates = 18;
inline constexpr std::size_t kRows = 8;     // of the largest measurement
inline constexpr std::size_t kNoises = 15;  // inputs of the process noise

// First index of each three-element group of the error state.
enum State : std::size_t {
  kAttitude = 0,   // about east, north, up, rad
  kVelocity = 3,   // east, north, up, m/s
  kPosition = 6,   // east, north, up, m
  kGyroBias = 9,   // body x, y, z, rad/s
  kAccBias = 12,   // body x, y, z, m/s^2
  kMounting = 15,  // about vehicle x (right), y (forward), z (up), rad
};

}  // namespace zuvdr

struct KF {
  double Qk[18 * 18];       // process noise of the current step
  double R[8 * 8];          // measurement noise of the last GNSS update
  double P[18 * 18];        // error covariance
  double H[8 * 18];         // zero; the updates build their matrix themselves
  double X[18];             // error-state estimate
  double Phi[18 * 18];      // transition of the current step
  double P_prior[18 * 18];  // P at the start of the last measurement update
  double PHt[18 * 8];       // P H^T of the last GNSS update
  double S[8 * 8];          // H P H^T + R of the last GNSS update
  double K[18 * 8];         // gain of the last GNSS update
};
static_assert(sizeof(KF) == 14992);
static_assert(offsetof(KF, R) == 2592 && offsetof(KF, P) == 3104 && offsetof(KF, H) == 5696);
static_assert(offsetof(KF, X) == 6848 && offsetof(KF, Phi) == 6992);
static_assert(offsetof(KF, P_prior) == 9584 && offsetof(KF, PHt) == 12176);
static_assert(offsetof(KF, S) == 13328 && offsetof(KF, K) == 13840);

// kf.cpp

// Zeroes the record and sets the initial P, Qk for a step of dt seconds, and R, which no update
// reads before it has set its own.
ZUVDR_EXPORT void KfInit(KF& kf, glvs& glv, double dt);

// transition.cpp

// Phi = I + F dt from ins.Cnb and ins.fn, dt in s.
ZUVDR_EXPORT void kffk(INS& ins, KF& kf, double dt);

// time_update.cpp

// X = 0, P = Phi P Phi^T + Qk; not symmetrised. For hosts, like QkUpdate and KfUpdate without an
// update: the engine runs zuvdr::time_update (kf/time_update.h), which gives the same values.
ZUVDR_EXPORT void KfPredict(KF& kf);

// process_noise.cpp

// Qk of a step of dt seconds; imu: gyroscope x, y, z (rad/s), accelerometer x, y, z (m/s^2).
ZUVDR_EXPORT void QkUpdate(INS& ins, KF& kf, double* imu, double dt);

// Qk = dt/2 (Phi G q G^T + G q G^T Phi^T), G 18 x 15, q 15 x 15; not symmetrised.
ZUVDR_EXPORT void QkCal(KF& kf, double (*G)[15], double (*q)[15], double dt);

// gnss_update.cpp

// The whole GNSS update: position pos (east, north, up, m) and velocity vel (m/s) in the
// navigator's frame, standard deviations r of the eight rows (velocity 3, position 3, sideways and
// vertical vehicle velocity). Corrects navigator and mounting; X keeps the estimate. glv is not
// used.
ZUVDR_EXPORT void MeasureUpdate(double* pos, double* vel, double* r, INS& ins, KF& kf, glvs& glv);

// update false: time update (z and r are not read). update true: measurement update with the eight
// innovations z (computed minus measured) and standard deviations r, which recomputes Cmount and
// adds K z to X without feeding it back. Ends with P symmetric.
ZUVDR_EXPORT void KfUpdate(INS& ins, KF& kf, double* z, double* r, bool update);

// feedback.cpp

// Corrects the navigator by states 0 to 14 of X. Neither clears X nor touches the mounting.
ZUVDR_EXPORT void KfFeedback(INS& ins, KF& kf);

// aiding_updates.cpp: each clears X, updates all of P, P_prior and X, and feeds back the part of X
// that it is for; the rest of X is not used. R, H, PHt, S and K of the record are left alone. None
// gates its measurement.

// Zero velocity at a standstill. Feeds back all but the mounting.
ZUVDR_EXPORT void ZUPT(KF& kf, INS& ins);

// No sideways and no vertical motion of the vehicle; recomputes Cmount. Feeds back all but the
// mounting.
ZUVDR_EXPORT void NHC(KF& kf, INS& ins);

// At a standstill the gyroscope (3, rad/s) shows its bias. Corrects eb only.
ZUVDR_EXPORT void wBiasupdate(KF& kf, INS& ins, double* gyro);

// Pitch and roll from the direction of gravity in the accelerometer sample (3, m/s^2, body frame).
// Corrects the attitude only; the angle differences are not wrapped.
ZUVDR_EXPORT void tiltupdate(KF& kf, INS& ins, double* acc);
