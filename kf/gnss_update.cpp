// GNSS measurement update of the vehicle filter.
//
// H, eight rows (m0, m1, m2: rows of Cmount; vL, vF, vV: sideways, forward and vertical velocity of
// the vehicle; everything else zero):
//
//                    att      vel   pos   mounting
//   velocity (3)              I
//   position (3)                    I
//   m0 . vn = 0      vn x m0  m0          ( 0, -vV, vF)
//   m2 . vn = 0      vn x m2  m2          (-vF, vL,  0)
#include <cstddef>

#include "kf/feedback.h"
#include "kf/kf.h"
#include "kf/update_core.h"
#include "nav/ins.h"
#include "nav/mounting.h"
#include "nav/vector3.h"

using zuvdr::dot;
using zuvdr::kAttitude;
using zuvdr::kMounting;
using zuvdr::kPosition;
using zuvdr::kRows;
using zuvdr::kStates;
using zuvdr::kVelocity;
using zuvdr::zero;

namespace {

using GnssMatrix = zuvdr::MeasurementMatrix<kRows, kAttitude, kVelocity, kPosition, kMounting>;

GnssMatrix measurement_matrix(const INS& ins) {
  GnssMatrix H;
  const double* m0 = ins.Cmount;
  const double* m1 = ins.Cmount + 3;
  const double* m2 = ins.Cmount + 6;
  const double sideways = dot(m0, ins.vn);
  const double forward = dot(m1, ins.vn);
  const double vertical = dot(m2, ins.vn);
  for (std::size_t i = 0; i < 3; ++i) {
    H(i, kVelocity + i) = 1.0;
    H(3 + i, kPosition + i) = 1.0;
  }
  zuvdr::vehicle_velocity_row(m0, ins.vn, 6, H);
  H(6, kMounting + 1) = -vertical;
  H(6, kMounting + 2) = forward;
  zuvdr::vehicle_velocity_row(m2, ins.vn, 7, H);
  H(7, kMounting) = -forward;
  H(7, kMounting + 1) = sideways;
  return H;
}

}  // namespace

void MeasureUpdate(double* pos, double* vel, double* r, INS& ins, KF& kf, glvs& /*glv*/) {
  zero(kf.X);
  zuvdr::update_mounting_matrix(ins);
  double z[kRows];
  for (std::size_t i = 0; i < 3; ++i) {
    z[i] = ins.vn[i] - vel[i];
    z[3 + i] = ins.pos[i] - pos[i];
  }
  z[6] = dot(ins.Cmount, ins.vn);
  z[7] = dot(ins.Cmount + 6, ins.vn);
  KfUpdate(ins, kf, z, r, true);
  KfFeedback(ins, kf);
  zuvdr::rotate_mounting(ins, kf.X + kMounting);
  zero(ins.after_an[0], ins.after_wb);
}

void KfUpdate(INS& ins, KF& kf, double* z, double* r, bool update) {
  if (!update) {
    KfPredict(kf);
    zuvdr::symmetrise<kStates>(kf.P);
    return;
  }
  zuvdr::update_mounting_matrix(ins);
  zero(kf.R);
  for (std::size_t i = 0; i < kRows; ++i) kf.R[i * kRows + i] = r[i] * r[i];
  zuvdr::update_core(kf, z, measurement_matrix(ins), {kf.R, kf.PHt, kf.S, kf.K});
}
