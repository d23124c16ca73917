// The dense forms under the names that the engine calls, to be linked with the engine's objects in
// the place of the structured forms. Stops the program when the covariance is not symmetric and
// positive definite; says at the end how often each was called.
#include <Eigen/Dense>
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "kf/time_update.h"
#include "tests/kf/dense_filter.h"

namespace {

enum Form { kTimeUpdate, kGnss, kZeroVelocity, kNonHolonomic, kGyroBias, kTilt, kForms };

struct Calls {
  long count[kForms] = {};
  ~Calls() {
    const char* const names[kForms] = {"time_update", "MeasureUpdate", "ZUPT",
                                       "NHC",         "wBiasupdate",   "tiltupdate"};
    for (int i = 0; i < kForms; ++i) std::fprintf(stderr, "%s %ld ", names[i], count[i]);
  }
} calls;

void check(Form form, const KF& kf) {
  const Eigen::Map<const Eigen::Matrix<double, 18, 18>> P(kf.P);
  ++calls.count[form];
  if (P == P.transpose() && P.llt().info() == Eigen::Success) return;
  std::fprintf(stderr, "P is not symmetric and positive definite\n");
  std::_Exit(1);
}

}  // namespace

void zuvdr::time_update(INS& ins, KF& kf, const double* imu, double dt) {
  double reading[6];
  std::copy_n(imu, 6, reading);
  kffk(ins, kf, dt);
  dense::QkUpdate(ins, kf, reading, dt);
  dense::KfUpdate(ins, kf, nullptr, nullptr, false);
  check(kTimeUpdate, kf);
}

void MeasureUpdate(double* pos, double* vel, double* r, INS& ins, KF& kf, glvs& glv) {
  zuvdr::dense::MeasureUpdate(pos, vel, r, ins, kf, glv);
  check(kGnss, kf);
}

void ZUPT(KF& kf, INS& ins) {
  zuvdr::dense::ZUPT(kf, ins);
  check(kZeroVelocity, kf);
}

void NHC(KF& kf, INS& ins) {
  zuvdr::dense::NHC(kf, ins);
  check(kNonHolonomic, kf);
}

void wBiasupdate(KF& kf, INS& ins, double* gyro) {
  zuvdr::dense::wBiasupdate(kf, ins, gyro);
  check(kGyroBias, kf);
}

void tiltupdate(KF& kf, INS& ins, double* acc) {
  zuvdr::dense::tiltupdate(kf, ins, acc);
  check(kTilt, kf);
}
