#include "nav/ins.h"

#include <algorithm>
#include <cmath>

#include "nav/attitude.h"
#include "nav/earth.h"
#include "nav/fixed_matrix.h"
#include "nav/vector3.h"

namespace {

using zuvdr::kGravity;
using zuvdr::zero;

}  // namespace

void zuvdr::clear(INS& ins) {
  // All of them: a member that is not named here does not compile.
  auto& [qnb, vn, pos, att, Cnb, fn, fb, after_fb, eb, db, an, after_an, wb, after_wb, pitch_hist,
         roll_hist, install_att, install_Cnb, Cmount, install_qnb, att_mode] = ins;
  zero(qnb, vn, pos, att, Cnb, fn, fb, after_fb[0], after_fb[1], eb, db, an, after_an[0],
       after_an[1], wb, after_wb, install_att, install_Cnb, Cmount, install_qnb);
  pitch_hist.clear();
  roll_hist.clear();
  att_mode = 0;
}

void InsInit1(double* qnb, INS& ins, double* db, double* eb, double* vn, double* pos, glvs& glv,
              int att_mode) {
  ins.att_mode = att_mode;
  std::copy_n(vn, 3, ins.vn);
  std::copy_n(pos, 3, ins.pos);
  zero(ins.after_wb);
  attsyn(qnb, ins);
  zero(ins.fn, ins.fb, ins.after_fb[0], ins.after_fb[1]);
  std::copy_n(eb, 3, ins.eb);
  std::copy_n(db, 3, ins.db);
  zero(ins.an, ins.after_an[0], ins.after_an[1], ins.wb);
  GlvInit(glv);
  std::copy_n(ins.qnb, 4, ins.install_qnb);
  std::copy_n(ins.att, 3, ins.install_att);
  std::copy_n(ins.Cnb, 9, ins.install_Cnb);
  zero(ins.Cmount);
  ins.Cmount[0] = ins.Cmount[4] = ins.Cmount[8] = 1.0;
}

void b2n(INS& ins, double* vb, double* vn_out) {
  const double b[3] = {vb[0], vb[1], vb[2]};
  for (int i = 0; i < 3; ++i) {
    vn_out[i] = ins.Cnb[3 * i] * b[0] + ins.Cnb[3 * i + 1] * b[1] + ins.Cnb[3 * i + 2] * b[2];
  }
}

void VnUpdate(INS& ins, double* wm, double* vm, double dt, double* vn_out) {
  // Half the cross product turns the increment back to the attitude at the epoch's start.
  double dv_b[3] = {vm[0] + 0.5 * (wm[1] * vm[2] - wm[2] * vm[1]),
                    vm[1] + 0.5 * (wm[2] * vm[0] - wm[0] * vm[2]),
                    vm[2] + 0.5 * (wm[0] * vm[1] - wm[1] * vm[0])};
  double dv_n[3];
  b2n(ins, dv_b, dv_n);
  for (int i = 0; i < 3; ++i) vn_out[i] = ins.vn[i] + dv_n[i];
  vn_out[2] += -kGravity * dt;
}

void InsUpdate(INS& ins, double* imu, double dt) {
  double wm[3];
  double vm[3];
  for (int i = 0; i < 3; ++i) {
    wm[i] = imu[i] * dt - ins.eb[i] * dt;
    vm[i] = imu[i + 3] * dt - ins.db[i] * dt;
  }
  double vn_new[3];
  VnUpdate(ins, wm, vm, dt, vn_new);
  for (int i = 0; i < 3; ++i) {
    ins.pos[i] += 0.5 * (ins.vn[i] + vn_new[i]) * dt;
    ins.vn[i] = vn_new[i];
    ins.fb[i] = vm[i] / dt;
    ins.wb[i] = wm[i] / dt;
  }
  b2n(ins, ins.fb, ins.fn);
  ins.an[2] = ins.fn[2] - kGravity;
  qupdt3(ins, imu, dt);
  attsyn(ins.qnb, ins);
}

double CalculateAccPsi(INS& ins, double* d, double* acc) {
  double a[3];
  for (int i = 0; i < 3; ++i) a[i] = -kGravity * (acc[i] + ins.Cnb[6 + i]);
  const double sp = std::sin(ins.att[0]), cp = std::cos(ins.att[0]);
  const double sr = std::sin(ins.att[1]), cr = std::cos(ins.att[1]);
  const double h0 = cr * a[0] + sr * sp * a[1] + sr * cp * a[2];
  const double h1 = cp * a[1] - sp * a[2];
  return std::atan2(d[1] * h0 - d[0] * h1, d[0] * h0 + d[1] * h1);
}
