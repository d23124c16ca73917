// Linked into a program beside the library, puts the dense forms in the place of the library's own:
// the engine calls these through their exported names, and the program's definitions come first.
// Stops the program when the covariance is not symmetric and positive definite; says at the end how
// often it was called.
#include <Eigen/Dense>
#include <cstdio>
#include <cstdlib>

#include "tests/kf/dense_filter.h"

namespace {

struct Calls {
  long count = 0;
  ~Calls() { std::fprintf(stderr, "%ld calls of the dense forms\n", count); }
} calls;

void check(const KF& kf) {
  const Eigen::Map<const Eigen::Matrix<double, 18, 18>> P(kf.P);
  ++calls.count;
  if (P == P.transpose() && P.llt().info() == Eigen::Success) return;
  std::fprintf(stderr, "call %ld: P is not symmetric and positive definite\n", calls.count);
  std::_Exit(1);
}

}  // namespace

void zuvdr::time_update(INS& ins, KF& kf, const double* imu, double dt) {
  double reading[6];
  std::copy_n(imu, 6, reading);
  kffk(ins, kf, dt);
  dense::QkUpdate(ins, kf, reading, dt);
  dense::KfUpdate(ins, kf, nullptr, nullptr, false);
  check(kf);
}

void MeasureUpdate(double* pos, double* vel, double* r, INS& ins, KF& kf, glvs& glv) {
  zuvdr::dense::MeasureUpdate(pos, vel, r, ins, kf, glv);
  check(kf);
}

void ZUPT(KF& kf, INS& ins) {
  zuvdr::dense::ZUPT(kf, ins);
  check(kf);
}

void NHC(KF& kf, INS& ins) {
  zuvdr::dense::NHC(kf, ins);
  check(kf);
}

void wBiasupdate(KF& kf, INS& ins, double* gyro) {
  zuvdr::dense::wBiasupdate(kf, ins, gyro);
  check(kf);
}

void tiltupdate(KF& kf, INS& ins, double* acc) {
  zuvdr::dense::tiltupdate(kf, ins, acc);
  check(kf);
}
